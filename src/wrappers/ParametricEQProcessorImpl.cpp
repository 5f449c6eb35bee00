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
    SendParamIfChanged(OvParametricEQBandParamID(index, OV_PARAMETRICEQ_FIELD_TYPE), params.FilterType,
                       band.FilterType);
    SendParamIfChanged(OvParametricEQBandParamID(index, OV_PARAMETRICEQ_FIELD_GAIN), params.Gain, band.fGain);
    SendParamIfChanged(OvParametricEQBandParamID(index, OV_PARAMETRICEQ_FIELD_FREQUENCY), params.Freq,
                       band.fFrequency);
    SendParamIfChanged(OvParametricEQBandParamID(index, OV_PARAMETRICEQ_FIELD_Q), params.Q, band.fQ);
    SendParamIfChanged(OvParametricEQBandParamID(index, OV_PARAMETRICEQ_FIELD_ON), uint8_t(params.on ? 1 : 0),
                       band.bOn);
}
