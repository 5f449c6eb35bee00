#include "sdk/dsp/filters/OvMultiBandEQ.h"

#include <new>

#include "ov/OvAssert.h"
#include "ov/OvPipelineBuffer.h"

#include "sdk/dsp/filters/DesignBiquad.h"

OvMultiBandEQ::~OvMultiBandEQ()
{
    OV_ASSERT(m_pFilters == NULL);
}

OvResult OvMultiBandEQ::Init(IOvMemAlloc* in_pAllocator, uint16_t in_uNumChannels, uint16_t in_uNumBands)
{
    return InitWithRoom(in_pAllocator, in_uNumChannels, in_uNumBands, in_uNumBands);
}

OvResult OvMultiBandEQ::InitWithRoom(IOvMemAlloc* in_pAllocator, uint16_t in_uNumChannels, uint16_t in_uNumBands,
                                     uint16_t in_uMaxBands)
{
    OV_ASSERT_TEXT(in_uNumBands < sizeof(m_uEnabledBandMask) * 8,
                   "in_uNumBands < sizeof(m_uEnabledBandMask)*8");
    OV_ASSERT(m_pFilters == NULL);
    const uint16_t uMaxBands = in_uMaxBands > in_uNumBands ? in_uMaxBands : in_uNumBands;
    m_uNumChannels = in_uNumChannels;
    m_uNumBands = in_uNumBands;
    m_uNumFilters = uint32_t(in_uNumBands) * in_uNumChannels;
    m_uFilterRoom = uint32_t(uMaxBands) * in_uNumChannels;
    if (m_uFilterRoom == 0)
        return OV_Success;
    void* memory = in_pAllocator != nullptr ? in_pAllocator->Malloc(m_uFilterRoom * sizeof(OvBiquad)) : nullptr;
    if (memory == nullptr) {
        m_uNumFilters = 0;
        m_uFilterRoom = 0;
        m_uNumBands = 0;
        m_uNumChannels = 0;
        return OV_OutOfMemory;
    }
    m_pFilters = static_cast<OvBiquad*>(memory);
    for (uint32_t i = 0; i < m_uFilterRoom; ++i)
        new (&m_pFilters[i]) OvBiquad();
    return OV_Success;
}

OvResult OvMultiBandEQ::SetNumBands(uint16_t in_uNumBands)
{
    OV_ASSERT_TEXT(in_uNumBands < sizeof(m_uEnabledBandMask) * 8,
                   "in_uNumBands < sizeof(m_uEnabledBandMask)*8");
    const uint32_t uFilters = uint32_t(in_uNumBands) * m_uNumChannels;
    if (uFilters > m_uFilterRoom)
        return OV_Failure;
    for (uint32_t i = 0; i < uFilters; ++i) {
        m_pFilters[i].~OvBiquad();
        new (&m_pFilters[i]) OvBiquad();
    }
    m_uNumBands = in_uNumBands;
    m_uNumFilters = uFilters;
    return OV_Success;
}

void OvMultiBandEQ::SetCoefs(uint32_t in_uBand, float in_fSampleRate, int in_iType, float in_fFrequencyHz,
                             float in_fGainDb, float in_fQ)
{
    if (in_uBand >= m_uNumBands)
        return;
    for (uint32_t c = 0; c < m_uNumChannels; ++c)
        DesignBiquad(m_pFilters[c * m_uNumBands + in_uBand], in_iType, in_fSampleRate, in_fFrequencyHz,
                     in_fGainDb, in_fQ);
}

void OvMultiBandEQ::ProcessBuffer(OvPipelineBuffer* io_pBuffer)
{
    ProcessBufferWithFilters(m_pFilters, io_pBuffer);
}

void OvMultiBandEQ::ProcessBufferWithFilters(OvBiquad* in_pFilters, OvPipelineBuffer* io_pBuffer)
{
    uint32_t uNumChannels = io_pBuffer->NumChannels();
    OV_ASSERT(uNumChannels <= m_uNumChannels);
    if (uNumChannels > m_uNumChannels)
        uNumChannels = m_uNumChannels;
    if (in_pFilters == nullptr)
        return;
    const uint32_t frames = io_pBuffer->uValidFrames;
    // Two enabled bands at a time, the second a step behind the first, and
    // the channels' cascades side by side: each channel still runs its bands
    // in order, with its own filters.
    OvBiquadBatch batch;
    bool bSecond = false;
    for (uint32_t b = 0; b < m_uNumBands; ++b) {
        if (b < 32 && !((m_uEnabledBandMask >> b) & 1u))
            continue;
        if (bSecond)
            batch.NextStage();
        for (uint32_t c = 0; c < uNumChannels; ++c)
            in_pFilters[c * m_uNumBands + b].QueueSamples(batch, io_pBuffer->GetChannel(c), frames);
        if (bSecond)
            batch.Run();
        bSecond = !bSecond;
    }
    batch.Run();
}

void OvMultiBandEQ::Shutdown(IOvMemAlloc* in_pAllocator)
{
    if (m_pFilters != nullptr) {
        for (uint32_t i = 0; i < m_uFilterRoom; ++i)
            m_pFilters[i].~OvBiquad();
        if (in_pAllocator != nullptr)
            in_pAllocator->Free(m_pFilters);
    }
    m_pFilters = nullptr;
    m_uNumFilters = 0;
    m_uFilterRoom = 0;
}

void OvMultiBandEQ::Reset()
{
    for (uint32_t i = 0; i < m_uNumFilters; ++i)
        m_pFilters[i].ResetState();
}

void OvMultiBandEQ::EnableBand(uint32_t in_uBand, bool in_bOn)
{
    if (in_uBand >= sizeof(m_uEnabledBandMask) * 8)
        return;
    if (in_bOn)
        m_uEnabledBandMask |= 1u << in_uBand;
    else
        m_uEnabledBandMask &= ~(1u << in_uBand);
}

OvBiquad* OvMultiBandEQ::Filter(uint32_t in_uChannel, uint32_t in_uBand)
{
    if (in_uChannel >= m_uNumChannels || in_uBand >= m_uNumBands || m_pFilters == nullptr)
        return nullptr;
    return &m_pFilters[in_uChannel * m_uNumBands + in_uBand];
}
