// The plug-ins' biquad with one memory per channel: one set of coefficients
// shared by all channels of a stream. The memories come from the plug-in
// allocator at Init and must be given back with FreeMemories before the
// filter ends. A new filter passes the signal unchanged.
#pragma once

#include <cstdint>

#include "ov/IOvMemAlloc.h"
#include "ov/OvCommonDefs.h"
#include "sdk/dsp/filters/OvBiquadBatch.h"
#include "sdk/dsp/filters/OvBiquadCoefs.h"

class OvBiquadMulti : public OvBiquadCoefs {
public:
    OvBiquadMulti() = default;
    ~OvBiquadMulti();
    OvBiquadMulti(const OvBiquadMulti&) = delete;
    OvBiquadMulti& operator=(const OvBiquadMulti&) = delete;

    // One zeroed memory per channel; OV_OutOfMemory when the allocator fails.
    OvResult AllocateMemories(IOvMemAlloc* in_pAllocator, uint32_t in_uChannels);
    void FreeMemories(IOvMemAlloc* in_pAllocator);

    // In place, with the memory of channel in_uMemory. A memory that does not
    // exist is reported and the samples are left alone.
    void ProcessSamples(float* io_pSamples, uint32_t in_uFrames, uint32_t in_uMemory);
    // The same run, queued on io_batch to go with other independent filters.
    void QueueSamples(OvBiquadBatch& io_batch, float* io_pSamples, uint32_t in_uFrames, uint32_t in_uMemory);

    // Zeroes all memories.
    void ResetState();

    uint32_t NumMemories() const { return m_uMemoriesBytes / uint32_t(sizeof(OvBiquadState)); }

private:
    OvBiquadState* m_pMemories = nullptr;
    uint32_t m_uMemoriesBytes = 0;
};
