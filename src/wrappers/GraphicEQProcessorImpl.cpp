#include "wrappers/GraphicEQProcessorImpl.h"

#include <new>

GraphicEQProcessor* GraphicEQProcessor::Create()
{
    return new (std::nothrow) GraphicEQProcessorImpl;
}

void GraphicEQProcessorImpl::SetBandGains(const float* gains)
{
    if (!m_pParam || !gains)
        return;
    for (uint32_t i = 0; i < kNumBands; ++i) {
        // Written past SetParam, so held to the gains' domain here.
        float& current = m_pParam->m_Params.fBandGain[i];
        const float gain = OvGraphicEQFXParams::BandGainInDomain(gains[i], current);
        if (gain != current) {
            current = gain;
            m_pParam->m_ParamChangeHandler.MarkChanged(OV_GRAPHICEQ_ID_BANDGAIN0 + i);
        }
    }
}
