#include "sdk/dsp/delays/DelayLine.h"

#include <cstring>

#include "ov/IOvMemAlloc.h"
#include "ov/OvAssert.h"

#if defined(__SSE__) || defined(_M_X64)
#include <xmmintrin.h>
#define OV_DELAYLINE_SSE 1
#endif

OvResult DelayLine::Init(IOvMemAlloc* in_pAllocator, uint32_t in_uLengthSamples)
{
    OV_ASSERT(in_pAllocator != NULL);
    if (pDelay)
        Shutdown(in_pAllocator);
    if (!in_pAllocator || in_uLengthSamples > kMaxLengthSamples)
        return OV_OutOfMemory;
    const uint32_t uLength = in_uLengthSamples < kMinLengthSamples ? kMinLengthSamples : in_uLengthSamples;
    const uint32_t uAllocated = (uLength + 3u) & ~3u;
    pDelay = static_cast<float*>(in_pAllocator->Malloc(size_t(uAllocated) * sizeof(float)));
    if (!pDelay)
        return OV_OutOfMemory;
    uDelayLineLength = uLength;
    uCurOffset = 0;
    return OV_Success;
}

void DelayLine::Shutdown(IOvMemAlloc* in_pAllocator)
{
    if (pDelay && in_pAllocator)
        in_pAllocator->Free(pDelay);
    pDelay = nullptr;
    uDelayLineLength = 0;
    uCurOffset = 0;
}

void DelayLine::Reset()
{
    if (pDelay)
        std::memset(pDelay, 0, size_t(uDelayLineLength) * sizeof(float));
}

namespace {

// Exchanges two disjoint runs of samples, four at a time where it can.
void SwapSamples(float* io_pA, float* io_pB, uint32_t in_uCount)
{
    uint32_t i = 0;
#ifdef OV_DELAYLINE_SSE
    for (; i + 4 <= in_uCount; i += 4) {
        const __m128 a = _mm_loadu_ps(io_pA + i), b = _mm_loadu_ps(io_pB + i);
        _mm_storeu_ps(io_pA + i, b);
        _mm_storeu_ps(io_pB + i, a);
    }
#endif
    for (; i < in_uCount; ++i) {
        const float f = io_pA[i];
        io_pA[i] = io_pB[i];
        io_pB[i] = f;
    }
}

// A plain move; the short pieces a short line leaves are copied inline
// rather than through a library call.
inline void CopySamples(float* out_pTo, const float* in_pFrom, uint32_t in_uCount)
{
    if (in_uCount <= 8) {
        for (uint32_t i = 0; i < in_uCount; ++i)
            out_pTo[i] = in_pFrom[i];
        return;
    }
    std::memcpy(out_pTo, in_pFrom, size_t(in_uCount) * sizeof(float));
}

}  // namespace

void DelayLine::Advance(uint32_t in_uFrames)
{
    uCurOffset += in_uFrames;
    OV_ASSERT(uCurOffset <= uDelayLineLength);
    if (uCurOffset >= uDelayLineLength)
        uCurOffset = 0;
}

void DelayLine::ProcessBuffer(float* io_pBuffer, uint32_t in_uFrames)
{
    if (!pDelay)
        return;
    // A line no longer than the block: what leaves is the old line, then the
    // block itself moved up by the length. Done out of place through a stack
    // buffer, piece by piece.
    constexpr uint32_t kPiece = 256;
    if (uDelayLineLength <= in_uFrames && uDelayLineLength <= kPiece) {
        alignas(16) float fOut[kPiece];
        while (in_uFrames) {
            const uint32_t n = in_uFrames < kPiece ? in_uFrames : kPiece;
            ProcessBuffer(io_pBuffer, fOut, n);
            std::memcpy(io_pBuffer, fOut, size_t(n) * sizeof(float));
            io_pBuffer += n;
            in_uFrames -= n;
        }
        return;
    }
    // Otherwise at most two stretches, each exchanged with the line.
    uint32_t uLeft = in_uFrames;
    while (uLeft) {
        const uint32_t uSpace = uDelayLineLength - uCurOffset;
        const uint32_t uChunk = uLeft < uSpace ? uLeft : uSpace;
        SwapSamples(pDelay + uCurOffset, io_pBuffer, uChunk);
        Advance(uChunk);
        io_pBuffer += uChunk;
        uLeft -= uChunk;
    }
}

void DelayLine::ProcessBuffer(const float* in_pBuffer, float* out_pBuffer, uint32_t in_uFrames)
{
    if (in_pBuffer == out_pBuffer) {
        ProcessBuffer(out_pBuffer, in_uFrames);
        return;
    }
    if (!pDelay)
        return;
    const uint32_t uLength = uDelayLineLength;
    if (uLength <= in_uFrames) {
        // The whole line leaves first, oldest sample first, then the block
        // follows it; the last uLength samples of the block stay in the line,
        // where the position reaches them.
        const uint32_t uFirst = uLength - uCurOffset;
        CopySamples(out_pBuffer, pDelay + uCurOffset, uFirst);
        CopySamples(out_pBuffer + uFirst, pDelay, uCurOffset);
        CopySamples(out_pBuffer + uLength, in_pBuffer, in_uFrames - uLength);
        const float* pTail = in_pBuffer + (in_uFrames - uLength);
        const uint32_t uEnd = uint32_t((uint64_t(uCurOffset) + in_uFrames) % uLength);
        // Sample k of the tail belongs at (uEnd + k) mod uLength.
        CopySamples(pDelay + uEnd, pTail, uLength - uEnd);
        CopySamples(pDelay, pTail + (uLength - uEnd), uEnd);
        uCurOffset = uEnd;
        return;
    }
    // Shorter than the line: one or two stretches, each two plain moves.
    uint32_t uLeft = in_uFrames;
    while (uLeft) {
        const uint32_t uSpace = uLength - uCurOffset;
        const uint32_t uChunk = uLeft < uSpace ? uLeft : uSpace;
        CopySamples(out_pBuffer, pDelay + uCurOffset, uChunk);
        CopySamples(pDelay + uCurOffset, in_pBuffer, uChunk);
        Advance(uChunk);
        in_pBuffer += uChunk;
        out_pBuffer += uChunk;
        uLeft -= uChunk;
    }
}
