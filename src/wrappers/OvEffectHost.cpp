#include "wrappers/OvEffectHost.h"

#include <cstring>

#include "ov/OvMemAllocDefault.h"
#include "ov/OvStreamFormat.h"
#include "sdk/dsp/delays/Mix2Interp.h"
#include "wrappers/FlushToZeroScope.h"

bool OvEffectHost::DescribeStream(uint32_t in_uMaxFrames, uint32_t in_uChannels, uint32_t in_uSampleRate)
{
    if (in_uMaxFrames > 0xFFFF || in_uChannels > 0xFF)
        return false;  // the buffer's fields could not hold them
    m_channelConfig.SetStandardOrAnonymous(in_uChannels, OV::ChannelMaskFromNumChannels(in_uChannels));
    m_uMaxFrames = uint16_t(in_uMaxFrames);
    m_buffer.AttachContiguousDeinterleaved(nullptr, m_channelConfig, m_uMaxFrames, 0);
    m_uSampleRate = in_uSampleRate;
    return true;
}

OvStreamFormat OvEffectHost::StreamFormat() const
{
    OvStreamFormat format;
    format.uSampleRate = m_uSampleRate;
    format.channelConfig = m_channelConfig;
    format.uBitsPerSample = 32;
    format.uBlockAlign = (uint32_t(m_channelConfig.uNumChannels) * 4) & 0x3FF;
    format.uTypeID = OV_SAMPLETYPE_FLOAT;
    format.uInterleaveID = OV_NONINTERLEAVED;
    return format;
}

bool OvEffectHost::InitPlugin(IOvEffect* in_pPlugin, IOvEffectParams* in_pParams, uint32_t in_uMaxFrames,
                              uint32_t in_uChannels, uint32_t in_uSampleRate, const void* in_pParamsBlock,
                              uint32_t in_uBlockSize)
{
    if (!in_pPlugin || !in_pParams)
        return false;
    if (!DescribeStream(in_uMaxFrames, in_uChannels, in_uSampleRate))
        return false;
    const OvStreamFormat format = StreamFormat();

    IOvMemAlloc* pAllocator = GetAllocator();
    if (in_pParams->Init(pAllocator, in_pParamsBlock, in_uBlockSize) != OV_Success)
        return false;
    if (in_pPlugin->Init(pAllocator, this, in_pParams, format) != OV_Success)
        return false;
    return in_pPlugin->Reset() == OV_Success;
}

void OvEffectHost::ProcessCrossfaded(IOvEffect* in_pPlugin, float* io_pSamples, bool* io_pbDraining,
                                     uint32_t* io_puFrames, bool in_bPrevBypass, bool in_bBypass)
{
    if (in_bPrevBypass == in_bBypass) {
        if (!in_bBypass)
            RunPlugin(in_pPlugin, io_pSamples, io_pbDraining, io_puFrames);
        return;
    }

    const uint32_t uFrames = m_uMaxFrames;
    uint32_t uFadeChannels = m_channelConfig.uNumChannels;
    if (uFrames == 0 || !io_pSamples) {
        RunPlugin(in_pPlugin, io_pSamples, io_pbDraining, io_puFrames);
        return;
    }
    if (uFadeChannels * uFrames > kMaxDryChannels * kMaxDryFrames)
        uFadeChannels = (kMaxDryChannels * kMaxDryFrames) / uFrames;

    alignas(16) float dry[kMaxDryChannels * kMaxDryFrames];
    std::memcpy(dry, io_pSamples, size_t(uFadeChannels) * uFrames * sizeof(float));

    RunPlugin(in_pPlugin, io_pSamples, io_pbDraining, io_puFrames);

    const float fWetStart = in_bBypass ? 1.0f : 0.0f;
    const float fWetEnd = in_bBypass ? 0.0f : 1.0f;
    for (uint32_t c = 0; c < uFadeChannels; ++c) {
        float* pChannel = io_pSamples + size_t(c) * uFrames;
        OV::Mix2Interp(pChannel, dry + size_t(c) * uFrames, fWetStart, fWetEnd, fWetEnd, fWetStart, uFrames);
    }
}

void OvEffectHost::RunPlugin(IOvEffect* in_pPlugin, float* io_pSamples, bool* io_pbDraining, uint32_t* io_puFrames)
{
    if (!in_pPlugin)
        return;
    uint16_t uValidFrames = uint16_t(*io_puFrames & 0xFFFF);
    if (uValidFrames > m_uMaxFrames)
        uValidFrames = m_uMaxFrames;
    m_buffer.AttachContiguousDeinterleaved(io_pSamples, m_channelConfig, m_uMaxFrames, uValidFrames);
    m_buffer.eState = *io_pbDraining ? OV_BufferEnded : OV_BufferHasData;
    {
        FlushToZeroScope flushToZero;
        in_pPlugin->ProcessBlock(&m_buffer);
    }
    *io_pbDraining = m_buffer.eState == OV_BufferEnded;
    *io_puFrames = m_buffer.uValidFrames <= m_uMaxFrames ? m_buffer.uValidFrames : m_uMaxFrames;
}

IOvGlobalContext* OvEffectHost::GetGlobalContext() const
{
    return const_cast<OvEffectHost*>(this);
}

OvResult OvEffectHost::FetchMedia(uint32_t, const uint8_t** out_pData, uint32_t* out_uSize)
{
    if (out_pData)
        *out_pData = nullptr;
    if (out_uSize)
        *out_uSize = 0;
    return OvResult(0);
}

OvResult OvEffectHost::PostMeterData(const void*, uint32_t)
{
    return OvResult(0);
}

OvResult OvEffectHost::PostMonitorMessage(const char*)
{
    return OvResult(0);
}

IOvMemAlloc* OvEffectHost::GetAllocator()
{
    return OV::DefaultAllocator();
}
