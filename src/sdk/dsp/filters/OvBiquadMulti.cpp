#include "sdk/dsp/filters/OvBiquadMulti.h"

#include <cstring>

#include "ov/OvAssert.h"

OvBiquadMulti::~OvBiquadMulti()
{
    OV_ASSERT(m_pMemories == NULL);
}

OvResult OvBiquadMulti::AllocateMemories(IOvMemAlloc* in_pAllocator, uint32_t in_uChannels)
{
    OV_ASSERT(in_pAllocator != NULL);
    FreeMemories(in_pAllocator);
    if (in_pAllocator == nullptr)
        return OV_Failure;
    const uint32_t bytes = in_uChannels * uint32_t(sizeof(OvBiquadState));
    if (bytes == 0)
        return OV_Success;
    void* memory = in_pAllocator->Malloc(bytes);
    if (memory == nullptr)
        return OV_OutOfMemory;
    std::memset(memory, 0, bytes);
    m_pMemories = static_cast<OvBiquadState*>(memory);
    m_uMemoriesBytes = bytes;
    return OV_Success;
}

void OvBiquadMulti::FreeMemories(IOvMemAlloc* in_pAllocator)
{
    if (m_pMemories != nullptr && in_pAllocator != nullptr)
        in_pAllocator->Free(m_pMemories);
    m_pMemories = nullptr;
    m_uMemoriesBytes = 0;
}

void OvBiquadMulti::ProcessSamples(float* io_pSamples, uint32_t in_uFrames, uint32_t in_uMemory)
{
    OV_ASSERT(in_uMemory < NumMemories());
    if (in_uMemory >= NumMemories())
        return;
    Run(io_pSamples, in_uFrames, m_pMemories[in_uMemory]);
}

void OvBiquadMulti::QueueSamples(OvBiquadBatch& io_batch, float* io_pSamples, uint32_t in_uFrames,
                                 uint32_t in_uMemory)
{
    OV_ASSERT(in_uMemory < NumMemories());
    if (in_uMemory >= NumMemories())
        return;
    io_batch.Add(*this, io_pSamples, in_uFrames, m_pMemories[in_uMemory]);
}

void OvBiquadMulti::ResetState()
{
    if (m_pMemories != nullptr)
        std::memset(m_pMemories, 0, m_uMemoriesBytes);
}
