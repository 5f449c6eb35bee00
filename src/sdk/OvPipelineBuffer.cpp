#include "ov/OvPipelineBuffer.h"

#include <cstring>

void OvPipelineBuffer::PadToMaxFrames()
{
    OV_ASSERT(uValidFrames <= MaxFrames());
    if (m_pData && uValidFrames < m_uMaxFrames) {
        const size_t uPadFrames = size_t(m_uMaxFrames) - uValidFrames;
        for (uint32_t i = 0; i < NumChannels(); ++i)
            std::memset(m_pData + size_t(i) * m_uMaxFrames + uValidFrames, 0, uPadFrames * sizeof(float));
    }
    uValidFrames = m_uMaxFrames;
}

OvResult OvPipelineBuffer::AllocateSamples(IOvMemAlloc* in_pAllocator, OvChannelConfig in_channelConfig,
                                           uint16_t in_uMaxFrames)
{
    FreeSamples(in_pAllocator);
    if (!in_pAllocator)
        return OV_OutOfMemory;
    const size_t uSamples = size_t(in_uMaxFrames) * in_channelConfig.uNumChannels;
    const size_t uBytes = (uSamples ? uSamples : 1) * sizeof(float);
    float* pData = static_cast<float*>(in_pAllocator->Malloc(uBytes));
    if (!pData)
        return OV_OutOfMemory;
    std::memset(pData, 0, uBytes);
    AttachContiguousDeinterleaved(pData, in_channelConfig, in_uMaxFrames, 0);
    return OV_Success;
}

void OvPipelineBuffer::FreeSamples(IOvMemAlloc* in_pAllocator)
{
    float* pData = TakeSamples();
    if (pData && in_pAllocator)
        in_pAllocator->Free(pData);
}
