#include "wrappers/StereoEnhancerProcessorImpl.h"

#include <new>

#include "ov/OvAssert.h"
#include "sdk/plugins/StereoEnhancer/StereoEnhancerPresets.h"

StereoEnhancerProcessor* StereoEnhancerProcessor::Create()
{
    return new (std::nothrow) StereoEnhancerProcessorImpl;
}

StereoEnhancerProcessorImpl::StereoEnhancerProcessorImpl()
    : OvProcessorWrapper(StereoEnhancerPreset(1), STEREOENHANCER_PRESET_BYTES)
{
}

void StereoEnhancerProcessorImpl::SetParams(float presence, float stereoizer, bool spectrumShaper, uint32_t ambience)
{
    OV_ASSERT(m_pParam);
    if (!m_pParam)
        return;
    SendParamIfChanged(STEREOENHANCER_PARAM_PRESENCE_ID, presence, m_pParam->fPresence);
    SendParamIfChanged(STEREOENHANCER_PARAM_STEREOIZER_ID, stereoizer, m_pParam->fStereoizer);
    SendParamIfChanged(STEREOENHANCER_PARAM_SPECTRUMSHAPER_ID, uint8_t(spectrumShaper ? 1 : 0),
                       m_pParam->bSpectrumShaper);
    if (ambience == m_pParam->uAmbience)
        return;
    SendParam(STEREOENHANCER_PARAM_AMBIENCE_ID, ambience);
    m_pParam->SetAllParams(StereoEnhancerPreset(ambience), STEREOENHANCER_PRESET_BYTES);
    if (m_pPlugin) {
        m_pPlugin->ForgetPresence();
        m_pPlugin->Reset();
    }
}

void StereoEnhancerProcessorImpl::Reset()
{
    OvProcessorWrapper::Reset();
    if (m_pPlugin)
        m_pPlugin->RestartSideFade();
}
