#include "wrappers/CompressorProcessorImpl.h"

#include <new>

CompressorProcessor* CompressorProcessor::Create()
{
    return new (std::nothrow) CompressorProcessorImpl;
}

void CompressorProcessorImpl::SetParams(const CompressorEffectParams& params)
{
    if (!m_pParam)
        return;
    const OvCompressorFXParamStruct& current = m_pParam->m_Params;
    SendParamIfChanged(OV_COMPRESSORFXPARAM_THRESHOLD_ID, params.Threshold, current.fThreshold);
    SendParamIfChanged(OV_COMPRESSORFXPARAM_RATIO_ID, params.Ratio, current.fRatio);
    SendParamIfChanged(OV_COMPRESSORFXPARAM_ATTACK_ID, params.Attack, current.fAttack);
    SendParamIfChanged(OV_COMPRESSORFXPARAM_RELEASE_ID, params.Release, current.fRelease);
    SendParamIfChanged(OV_COMPRESSORFXPARAM_RANGE_ID, params.Range, current.fRange);
    SendParamIfChanged(OV_COMPRESSORFXPARAM_PREGAIN_ID, params.PreGain, current.fPreGain);
    SendParamIfChanged(OV_COMPRESSORFXPARAM_POSTGAIN_ID, params.PostGain, current.fPostGain);
}
