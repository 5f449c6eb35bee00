// Two-input mixes with a gain ramp per input, on one channel of float samples.
// When every gain's start equals its end exactly the mix takes a fast path
// without ramps; otherwise each gain starts at its start value and grows by
// (end - start) / in_uNumFrames after every sample, so the last sample uses
// end - step and the next block begins exactly on end.
#pragma once

#include <cstdint>

namespace OV {

// out = g1 * in1 + g2 * in2. The output may alias neither input. The fast path
// works 32 samples per step and expects a frame count that is a multiple of 32.
void Mix2Interp(const float* in_pfInput1, const float* in_pfInput2, float* out_pfOutput,
                float in_fStartGain1, float in_fEndGain1, float in_fStartGain2, float in_fEndGain2,
                uint32_t in_uNumFrames);

// In place: io = gio * io + gin * in. The fast path works 4 samples per step
// and expects a frame count that is a multiple of 4.
void Mix2Interp(float* io_pfBuffer, const float* in_pfInput, float in_fStartGainIO, float in_fEndGainIO,
                float in_fStartGainIn, float in_fEndGainIn, uint32_t in_uNumFrames);

// The in-place form for a frame count that need not be a multiple of 4: with
// constant gains the fast path takes the whole groups of four and the frames
// left are mixed one by one with the same sums, so the fast path's contract
// holds; with a ramp, as the in-place form.
void Mix2InterpAnyLength(float* io_pfBuffer, const float* in_pfInput, float in_fStartGainIO, float in_fEndGainIO,
                         float in_fStartGainIn, float in_fEndGainIn, uint32_t in_uNumFrames);

// In place with fixed gains, sample by sample: io = g1 * io + g2 * in.
void Mix2(float* io_pfBuffer, const float* in_pfInput, float in_fGainIO, float in_fGainIn, uint32_t in_uNumFrames);

}  // namespace OV
