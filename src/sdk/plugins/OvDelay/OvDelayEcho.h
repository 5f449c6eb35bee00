// The per-channel work of the echo in one pass over the block, for levels
// that hold still over it: the dry gain, the fed-back block added at the
// feedback factor, the exchange with the line, and the line's output mixed
// in at the wet level. Sample for sample it does the arithmetic of those
// steps run one after the other (x * dry, + feedback * fed, + wet * line), in
// the same order, so its output has the same bits; four samples per step in
// SSE lanes, the rest one by one.
#pragma once

#include <cstdint>

class DelayLine;

namespace OV {

// What is fed back is held to +-OV_DELAY_FEEDBACK_CEILING, and a NaN becomes 0.
constexpr float OV_DELAY_FEEDBACK_CEILING = 1000.0f;

// Copies in_uFrames samples of in_pOutput to out_pFed, held to the ceiling.
void HoldFedBack(const float* in_pOutput, float* out_pFed, uint32_t in_uFrames);

// io_pIn is the block's channel; io_line must have memory. When in_bAddFed,
// io_pFed holds the previous block's output, added at in_fFeedback. On return
// io_pFed holds this block's output held to the ceiling when in_bHold, else
// the line's output.
void EchoOnePass(float* io_pIn, float* io_pFed, DelayLine& io_line, uint32_t in_uFrames, float in_fDry,
                 float in_fFeedback, bool in_bAddFed, float in_fWet, bool in_bHold);

}  // namespace OV
