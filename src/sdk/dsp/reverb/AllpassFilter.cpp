#include "sdk/dsp/reverb/AllpassFilter.h"

#include <cstring>

#include "ov/IOvMemAlloc.h"
#include "ov/OvAssert.h"

#if defined(__SSE__) || defined(_M_X64)
#include <xmmintrin.h>
#define OV_ALLPASS_SSE 1
#endif

namespace {

// The recursion over one stretch that does not pass the end of the history.
// Each position is visited once in a stretch, so four consecutive samples are
// independent: they run side by side, with the same arithmetic per sample.
void RunSegment(const float* in_pfInput, float* out_pfOutput, float* io_pfPairs, uint32_t in_uFrames, float in_fGain)
{
    uint32_t i = 0;
#ifdef OV_ALLPASS_SSE
    const __m128 g = _mm_set1_ps(in_fGain);
    for (; i + 4 <= in_uFrames; i += 4) {
        const __m128 p01 = _mm_loadu_ps(io_pfPairs + 2 * i), p23 = _mm_loadu_ps(io_pfPairs + 2 * i + 4);
        const __m128 px = _mm_shuffle_ps(p01, p23, _MM_SHUFFLE(2, 0, 2, 0));
        const __m128 py = _mm_shuffle_ps(p01, p23, _MM_SHUFFLE(3, 1, 3, 1));
        const __m128 x = _mm_loadu_ps(in_pfInput + i);
        const __m128 y = _mm_add_ps(_mm_mul_ps(g, _mm_sub_ps(x, py)), px);
        _mm_storeu_ps(io_pfPairs + 2 * i, _mm_unpacklo_ps(x, y));
        _mm_storeu_ps(io_pfPairs + 2 * i + 4, _mm_unpackhi_ps(x, y));
        _mm_storeu_ps(out_pfOutput + i, y);
    }
#endif
    for (; i < in_uFrames; ++i) {
        const float x = in_pfInput[i];
        const float y = in_fGain * (x - io_pfPairs[2 * i + 1]) + io_pfPairs[2 * i];
        io_pfPairs[2 * i] = x;
        io_pfPairs[2 * i + 1] = y;
        out_pfOutput[i] = y;
    }
}

}  // namespace

OvResult AllpassFilter::Init(IOvMemAlloc* in_pAllocator, uint32_t in_uDelayLineLength, float in_fGain)
{
    Term(in_pAllocator);
    const uint32_t uLength = in_uDelayLineLength == 0 ? 1 : in_uDelayLineLength;
    pfHistory = in_pAllocator ? static_cast<float*>(in_pAllocator->Malloc(size_t(uLength) * 2 * sizeof(float)))
                              : nullptr;
    if (!pfHistory)
        return OV_OutOfMemory;
    uDelayLineLength = uLength;
    uCurOffset = 0;
    fGain = in_fGain;
    return OV_Success;
}

void AllpassFilter::Term(IOvMemAlloc* in_pAllocator)
{
    if (pfHistory && in_pAllocator)
        in_pAllocator->Free(pfHistory);
    pfHistory = nullptr;
    uDelayLineLength = 0;
    uCurOffset = 0;
}

void AllpassFilter::Reset()
{
    if (pfHistory)
        std::memset(pfHistory, 0, size_t(uDelayLineLength) * 2 * sizeof(float));
}

void AllpassFilter::ProcessBuffer(float* io_pfBuffer, uint32_t in_uNumFrames)
{
    ProcessBuffer(io_pfBuffer, io_pfBuffer, in_uNumFrames);
}

void AllpassFilter::ProcessBuffer(const float* in_pfInput, float* out_pfOutput, uint32_t in_uNumFrames)
{
    if (!pfHistory)
        return;
    uint32_t uLeft = in_uNumFrames;
    while (uLeft) {
        const uint32_t uRoom = uDelayLineLength - uCurOffset;
        const uint32_t uRun = uLeft < uRoom ? uLeft : uRoom;
        RunSegment(in_pfInput, out_pfOutput, pfHistory + 2 * size_t(uCurOffset), uRun, fGain);
        uCurOffset += uRun;
        OV_ASSERT(uCurOffset <= uDelayLineLength);
        // A block that ends exactly on the end leaves the position at 0.
        if (uCurOffset >= uDelayLineLength)
            uCurOffset = 0;
        in_pfInput += uRun;
        out_pfOutput += uRun;
        uLeft -= uRun;
    }
}
