#include "sdk/plugins/OvDelay/OvDelayEcho.h"

#include <emmintrin.h>

#include "ov/OvAssert.h"
#include "sdk/dsp/delays/DelayLine.h"

namespace OV {

namespace {

float HoldSample(float in_fX)
{
    const float fHeld = in_fX > OV_DELAY_FEEDBACK_CEILING
                            ? OV_DELAY_FEEDBACK_CEILING
                            : (in_fX < -OV_DELAY_FEEDBACK_CEILING ? -OV_DELAY_FEEDBACK_CEILING : in_fX);
    return fHeld == fHeld ? fHeld : 0.0f;
}

// maxps and minps answer their second operand for a NaN, so a NaN comes out
// of the clamp as -ceiling and the ordered mask turns it into 0.
__m128 HoldLanes(__m128 in_x)
{
    const __m128 held = _mm_min_ps(_mm_max_ps(in_x, _mm_set1_ps(-OV_DELAY_FEEDBACK_CEILING)),
                                   _mm_set1_ps(OV_DELAY_FEEDBACK_CEILING));
    return _mm_and_ps(held, _mm_cmpord_ps(in_x, in_x));
}

// One contiguous stretch of the line.
template <bool kAddFed, bool kHold>
void EchoSpan(float* io_pIn, float* io_pFed, float* io_pLine, uint32_t in_uFrames, float in_fDry,
              float in_fFeedback, float in_fWet)
{
    const __m128 dry = _mm_set1_ps(in_fDry), feedback = _mm_set1_ps(in_fFeedback), wet = _mm_set1_ps(in_fWet);
    uint32_t i = 0;
    for (; i + 4 <= in_uFrames; i += 4) {
        __m128 x = _mm_mul_ps(_mm_loadu_ps(io_pIn + i), dry);
        if (kAddFed)
            x = _mm_add_ps(x, _mm_mul_ps(feedback, _mm_loadu_ps(io_pFed + i)));
        const __m128 old = _mm_loadu_ps(io_pLine + i);
        _mm_storeu_ps(io_pLine + i, x);
        const __m128 y = _mm_add_ps(x, _mm_mul_ps(wet, old));
        _mm_storeu_ps(io_pIn + i, y);
        _mm_storeu_ps(io_pFed + i, kHold ? HoldLanes(y) : old);
    }
    for (; i < in_uFrames; ++i) {
        float x = io_pIn[i] * in_fDry;
        if (kAddFed)
            x += in_fFeedback * io_pFed[i];
        const float fOld = io_pLine[i];
        io_pLine[i] = x;
        const float y = x + in_fWet * fOld;
        io_pIn[i] = y;
        io_pFed[i] = kHold ? HoldSample(y) : fOld;
    }
}

template <bool kAddFed, bool kHold>
void EchoLine(float* io_pIn, float* io_pFed, DelayLine& io_line, uint32_t in_uFrames, float in_fDry,
              float in_fFeedback, float in_fWet)
{
    // The line in contiguous stretches, as DelayLine::ProcessBuffer walks it.
    uint32_t uLeft = in_uFrames;
    while (uLeft) {
        const uint32_t uSpace = io_line.uDelayLineLength - io_line.uCurOffset;
        const uint32_t uChunk = uLeft < uSpace ? uLeft : uSpace;
        EchoSpan<kAddFed, kHold>(io_pIn, io_pFed, io_line.pDelay + io_line.uCurOffset, uChunk, in_fDry,
                                 in_fFeedback, in_fWet);
        io_line.uCurOffset += uChunk;
        OV_ASSERT(io_line.uCurOffset <= io_line.uDelayLineLength);
        if (io_line.uCurOffset >= io_line.uDelayLineLength)
            io_line.uCurOffset = 0;
        io_pIn += uChunk;
        io_pFed += uChunk;
        uLeft -= uChunk;
    }
}

}  // namespace

void HoldFedBack(const float* in_pOutput, float* out_pFed, uint32_t in_uFrames)
{
    uint32_t i = 0;
    for (; i + 4 <= in_uFrames; i += 4)
        _mm_storeu_ps(out_pFed + i, HoldLanes(_mm_loadu_ps(in_pOutput + i)));
    for (; i < in_uFrames; ++i)
        out_pFed[i] = HoldSample(in_pOutput[i]);
}

void EchoOnePass(float* io_pIn, float* io_pFed, DelayLine& io_line, uint32_t in_uFrames, float in_fDry,
                 float in_fFeedback, bool in_bAddFed, float in_fWet, bool in_bHold)
{
    if (!io_line.pDelay || io_line.uDelayLineLength == 0)
        return;
    // A position off the line's end would make an empty stretch for ever.
    if (io_line.uCurOffset >= io_line.uDelayLineLength)
        io_line.uCurOffset = 0;
    if (in_bAddFed) {
        if (in_bHold)
            EchoLine<true, true>(io_pIn, io_pFed, io_line, in_uFrames, in_fDry, in_fFeedback, in_fWet);
        else
            EchoLine<true, false>(io_pIn, io_pFed, io_line, in_uFrames, in_fDry, in_fFeedback, in_fWet);
    } else if (in_bHold) {
        EchoLine<false, true>(io_pIn, io_pFed, io_line, in_uFrames, in_fDry, in_fFeedback, in_fWet);
    } else {
        EchoLine<false, false>(io_pIn, io_pFed, io_line, in_uFrames, in_fDry, in_fFeedback, in_fWet);
    }
}

}  // namespace OV
