#include "sdk/dsp/delays/DelayLine.h"

#include <cstring>

#include "ov/IOvMemAlloc.h"
#include "ov/OvAssert.h"

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

void DelayLine::ProcessBuffer(float* io_pBuffer, uint32_t in_uFrames)
{
    ProcessBuffer(io_pBuffer, io_pBuffer, in_uFrames);
}

void DelayLine::ProcessBuffer(const float* in_pBuffer, float* out_pBuffer, uint32_t in_uFrames)
{
    if (!pDelay)
        return;
    uint32_t uLeft = in_uFrames;
    while (uLeft) {
        const uint32_t uSpace = uDelayLineLength - uCurOffset;
        const uint32_t uChunk = uLeft < uSpace ? uLeft : uSpace;
        float* pLine = pDelay + uCurOffset;
        uint32_t i = 0;
        for (; i + 4 <= uChunk; i += 4) {
            const float f0 = pLine[i], f1 = pLine[i + 1], f2 = pLine[i + 2], f3 = pLine[i + 3];
            pLine[i] = in_pBuffer[i];
            pLine[i + 1] = in_pBuffer[i + 1];
            pLine[i + 2] = in_pBuffer[i + 2];
            pLine[i + 3] = in_pBuffer[i + 3];
            out_pBuffer[i] = f0;
            out_pBuffer[i + 1] = f1;
            out_pBuffer[i + 2] = f2;
            out_pBuffer[i + 3] = f3;
        }
        for (; i < uChunk; ++i) {
            const float fOld = pLine[i];
            pLine[i] = in_pBuffer[i];
            out_pBuffer[i] = fOld;
        }
        uCurOffset += uChunk;
        OV_ASSERT(uCurOffset <= uDelayLineLength);
        if (uCurOffset >= uDelayLineLength)
            uCurOffset = 0;
        in_pBuffer += uChunk;
        out_pBuffer += uChunk;
        uLeft -= uChunk;
    }
}
