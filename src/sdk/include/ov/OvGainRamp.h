// Gain over one block, linear from a start to an end value; equal values take
// the fast path (nothing at all for 1.0). The bulk runs four samples per step.
#pragma once

#include <cstdint>

class OvPipelineBuffer;

namespace OV {

// Multiplies in_uFrames samples by a ramp from in_fStart towards in_fEnd.
// The largest multiple of four frames ramps with step (end - start) / that
// count; the one to three frames left restart from in_fStart with step
// (end - start) / in_uFrames, so such a block ends in a short dip towards
// the start gain; intended.
void ApplyGainRamp(float* io_pChannel, float in_fStart, float in_fEnd, uint32_t in_uFrames);

// ApplyGainRamp over the valid frames of every channel; the LFE channel is
// left alone unless in_bProcessLFE.
void ApplyGainToBuffer(OvPipelineBuffer* io_pBuffer, float in_fPrev, float in_fTarget, bool in_bProcessLFE);

}  // namespace OV
