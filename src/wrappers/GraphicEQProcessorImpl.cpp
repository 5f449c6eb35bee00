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
        if (gains[i] != m_pParam->m_Params.fBandGain[i]) {
            m_pParam->m_Params.fBandGain[i] = gains[i];
            m_pParam->m_ParamChangeHandler.MarkChanged(OV_GRAPHICEQ_ID_BANDGAIN0 + i);
        }
    }
}
