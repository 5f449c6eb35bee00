#include "wrappers/HeadphoneProcessorImpl.h"

#include <cmath>
#include <new>

#include "ov/OvMemAllocDefault.h"
#include "ov/OvPluginNew.h"
#include "wrappers/HeadphoneFreqData.h"

HeadphoneProcessor* HeadphoneProcessor::Create()
{
    return new (std::nothrow) HeadphoneProcessorImpl;
}

HeadphoneProcessorImpl::~HeadphoneProcessorImpl()
{
    ReleasePlugin();
}

bool HeadphoneProcessorImpl::Init(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate)
{
    m_uSampleRate = sampleRate;
    return m_Host.DescribeStream(maxFrames, channels, sampleRate);
}

void HeadphoneProcessorImpl::Process(float* samples, bool* draining, uint32_t* frames)
{
    if (!m_pPlugin)
        return;
    m_Host.RunPlugin(m_pPlugin, samples, draining, frames);
}

void HeadphoneProcessorImpl::SetBypass(bool bypass)
{
    if (bypass == m_bBypass)
        return;
    m_bBypass = bypass;
    UpdateLevels();
    if (!bypass && m_pPlugin)
        m_pPlugin->Reset();
}

void HeadphoneProcessorImpl::Reset()
{
    if (m_pPlugin)
        m_pPlugin->Reset();
}

void HeadphoneProcessorImpl::UpdateLevels()
{
    if (!m_pParam)
        return;
    const float fSilence = -INFINITY;
    const float fDry = m_bBypass ? m_fBypassedGain : fSilence;
    const float fWet = m_bBypass ? fSilence : m_fActiveGain;
    m_pParam->SetParam(OV_CONVREVERB_DRYLEVEL_ID, &fDry, sizeof fDry);
    m_pParam->SetParam(OV_CONVREVERB_WETLEVEL_ID, &fWet, sizeof fWet);
}

void HeadphoneProcessorImpl::ReleasePlugin()
{
    IOvMemAlloc* pAllocator = OV::DefaultAllocator();
    if (m_pPlugin)
        m_pPlugin->Shutdown(pAllocator);
    m_pPlugin = nullptr;
    if (m_pParam)
        m_pParam->Shutdown(pAllocator);
    m_pParam = nullptr;
    m_Host.FreeMedia();
}

bool HeadphoneProcessorImpl::SetImpulse(const void* data, uint64_t size, float in_fBypassedGain,
                                        float in_fActiveGain)
{
    ReleasePlugin();
    m_fBypassedGain = in_fBypassedGain;
    m_fActiveGain = in_fActiveGain;

    IOvMemAlloc* pAllocator = OV::DefaultAllocator();
    uint32_t uBytes = 0;
    uint8_t* pFreqData = BuildHeadphoneFreqData(static_cast<const uint8_t*>(data), data ? size : 0, m_uSampleRate,
                                                pAllocator, &uBytes);
    if (!pFreqData)
        return false;
    m_Host.SetMedia(pFreqData, uBytes);

    m_pParam = OV::New<OvConvolutionReverbFXParams>(pAllocator);
    if (!m_pParam || m_pParam->Init(pAllocator, nullptr, 0) != OV_Success)
        return false;
    const uint32_t uMode = OV_CONVREVERB_MODE_PERCHANNEL;
    if (m_pParam->SetParam(OV_CONVREVERB_MODE_ID, &uMode, sizeof uMode) != OV_Success)
        return false;
    UpdateLevels();

    m_pPlugin = OV::New<OvConvolutionReverbFX>(pAllocator);
    if (!m_pPlugin)
        return false;
    return m_pPlugin->Init(pAllocator, &m_Host, m_pParam, m_Host.StreamFormat()) == OV_Success &&
           m_pPlugin->Reset() == OV_Success;
}
