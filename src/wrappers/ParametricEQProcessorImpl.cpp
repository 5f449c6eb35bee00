#include "wrappers/ParametricEQProcessorImpl.h"

#include <new>

#include "wrappers/ParametricEQDefaultBlock.h"

ParametricEQProcessor* ParametricEQProcessor::Create()
{
    return new (std::nothrow) ParametricEQProcessorImpl;
}

ParametricEQProcessorImpl::ParametricEQProcessorImpl()
    : OvProcessorWrapper(ParametricEQDefaultBlock(), OV_PARAMETRICEQ_BLOCK_BYTES)
{
}

void ParametricEQProcessorImpl::SetOutputGain(float gain)
{
    if (m_pParam)
        SendParamIfChanged(OV_PARAMETRICEQ_ID_OUTPUTGAIN, gain, m_pParam->fOutputGain);
}

void ParametricEQProcessorImpl::SetFilter(uint32_t index, const ParametricEQFilterParams& params)
{
    if (index > BAND9 || !m_pParam)
        return;
    const OvParametricEQBandParams& band = m_pParam->m_Bands[index];
    const uint16_t id = uint16_t(index * 5);
    SendParamIfChanged(uint16_t(id + 0), params.FilterType, band.FilterType);
    SendParamIfChanged(uint16_t(id + 1), params.Gain, band.fGain);
    SendParamIfChanged(uint16_t(id + 2), params.Freq, band.fFrequency);
    SendParamIfChanged(uint16_t(id + 3), params.Q, band.fQ);
    SendParamIfChanged(uint16_t(id + 4), uint8_t(params.on ? 1 : 0), band.bOn);
}
