// Three-input mixes with a gain ramp per input, on one channel of float
// samples, with the same two paths as Mix2Interp: when every gain's start
// equals its end exactly, a fast path without ramps (four samples per step,
// the frames left one by one); otherwise each gain starts at its start value
// and grows by (end - start) / in_uNumFrames after every sample, so the last
// sample uses end - step and the next block begins exactly on end.
#pragma once

#include <cstdint>

namespace OV {

// out = g1 * in1 + g2 * in2 + g3 * in3. The output may alias neither of the
// first two inputs.
void Mix3Interp(const float* in_pfInput1, const float* in_pfInput2, const float* in_pfInput3, float* out_pfOutput,
                float in_fStartGain1, float in_fEndGain1, float in_fStartGain2, float in_fEndGain2,
                float in_fStartGain3, float in_fEndGain3, uint32_t in_uNumFrames);

// In place: io = gio * io + g1 * in1 + g2 * in2, the products summed in that order.
void Mix3Interp(float* io_pfBuffer, const float* in_pfInput1, const float* in_pfInput2, float in_fStartGainIO,
                float in_fEndGainIO, float in_fStartGain1, float in_fEndGain1, float in_fStartGain2,
                float in_fEndGain2, uint32_t in_uNumFrames);

}  // namespace OV
