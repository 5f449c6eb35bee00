#include "sdk/dsp/reverb/AllpassFilter.h"

#include <cstring>

#include "ov/IOvMemAlloc.h"
#include "ov/OvAssert.h"

namespace {

// The recursion over one stretch that does not pass the end of the history.
void RunSegment(const float* in_pfInput, float* out_pfOutput, float* io_pfPairs, uint32_t in_uFrames, float in_fGain)
{
    for (uint32_t i = 0; i < in_uFrames; ++i) {
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
