#include "wrappers/BassTrebleProcessorImpl.h"

#include <new>

#include "wrappers/ParametricEQDefaultBlock.h"

namespace {
// IDs of the bass band (band 1) and the treble band (band 3).
constexpr uint16_t kBassGainId = OvParametricEQBandParamID(BAND1, OV_PARAMETRICEQ_FIELD_GAIN);
constexpr uint16_t kBassFreqId = OvParametricEQBandParamID(BAND1, OV_PARAMETRICEQ_FIELD_FREQUENCY);
constexpr uint16_t kBassQId = OvParametricEQBandParamID(BAND1, OV_PARAMETRICEQ_FIELD_Q);
constexpr uint16_t kTrebleGainId = OvParametricEQBandParamID(BAND3, OV_PARAMETRICEQ_FIELD_GAIN);
constexpr uint16_t kTrebleFreqId = OvParametricEQBandParamID(BAND3, OV_PARAMETRICEQ_FIELD_FREQUENCY);
constexpr uint16_t kTrebleQId = OvParametricEQBandParamID(BAND3, OV_PARAMETRICEQ_FIELD_Q);
}  // namespace

BassTrebleProcessor* BassTrebleProcessor::Create()
{
    return new (std::nothrow) BassTrebleProcessorImpl;
}

BassTrebleProcessorImpl::BassTrebleProcessorImpl()
    : OvProcessorWrapper(ParametricEQDefaultBlock(), OV_PARAMETRICEQ_BLOCK_BYTES)
{
}

void BassTrebleProcessorImpl::SetGains(float bass, float treble)
{
    if (!m_pParam)
        return;
    SendParamIfChanged(kBassGainId, bass, m_pParam->m_Bands[BAND1].fGain);
    SendParamIfChanged(kTrebleGainId, treble, m_pParam->m_Bands[BAND3].fGain);
}

void BassTrebleProcessorImpl::SetFilters(float bassFreq, float bassQ, float trebleFreq, float trebleQ)
{
    if (!m_pParam)
        return;
    SendParamIfChanged(kBassFreqId, bassFreq, m_pParam->m_Bands[BAND1].fFrequency);
    SendParamIfChanged(kBassQId, bassQ, m_pParam->m_Bands[BAND1].fQ);
    SendParamIfChanged(kTrebleFreqId, trebleFreq, m_pParam->m_Bands[BAND3].fFrequency);
    SendParamIfChanged(kTrebleQId, trebleQ, m_pParam->m_Bands[BAND3].fQ);
}
