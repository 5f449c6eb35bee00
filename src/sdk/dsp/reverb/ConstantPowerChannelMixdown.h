// Mixes every channel of a block to one, at constant power: each speaker
// counts 1 in the power sum, but centre and LFE count the square of their
// level (each held to 1 at most), and the common gain is sqrt(1 / sum). The
// LFE channel is the buffer's last. An ambisonic block gives its W channel
// alone; a block of another type, or one whose power sum is 0, gives silence.
#pragma once

#include <cstdint>

class OvPipelineBuffer;

namespace OV {

// Writes in_uNumFrames samples, read from in_uFrameOffset on, to out_pfMono.
void ConstantPowerChannelMixdown(const OvPipelineBuffer& in_buffer, uint32_t in_uNumFrames, uint32_t in_uFrameOffset,
                                 float* out_pfMono, float in_fCenterLevel, float in_fLFELevel);

}  // namespace OV
