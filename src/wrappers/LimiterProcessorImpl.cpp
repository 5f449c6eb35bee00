#include "wrappers/LimiterProcessorImpl.h"

#include <new>

namespace {

// Start block of the parameter object: threshold 0 dB, ratio 50, look-ahead
// 0.02 s, divisor 1, release 0.05 s, output 0 dB, then hard ceiling, process
// LFE, channel link and infinite ratio all on.
struct LimiterStartBlock {
    uint8_t bytes[OvPeakLimiterFXParams::OV_PEAKLIMITERFX_BLOCK_BYTES];

    LimiterStartBlock()
    {
        const OvPeakLimiterFXParams::BlockValues values = {0.0f, 50.0f, 0.02f, 1.0f, 0.05f, 0.0f, 1, 1, 1, 1};
        OvPeakLimiterFXParams::PackBlock(values, bytes);
    }
};

const LimiterStartBlock kLimiterStartBlock;

}  // namespace

LimiterProcessor* LimiterProcessor::Create()
{
    return new (std::nothrow) LimiterProcessorImpl;
}

LimiterProcessorImpl::LimiterProcessorImpl() : OvProcessorWrapper(kLimiterStartBlock.bytes, sizeof kLimiterStartBlock.bytes)
{
}

void LimiterProcessorImpl::SetParams(const LimiterEffectParams& params)
{
    if (!m_pParam)
        return;
    const uint8_t bInfiniteRatio = params.InfiniteRatio ? 1 : 0;
    SendParamIfChanged(OV_PEAKLIMITERFXPARAM_THRESHOLD_ID, params.Threshold, m_pParam->fThreshold);
    SendParamIfChanged(OV_PEAKLIMITERFXPARAM_LOOKAHEAD_ID, params.Attack, m_pParam->fLookAhead);
    SendParamIfChanged(OV_PEAKLIMITERFXPARAM_RELEASE_ID, params.Release, m_pParam->fRelease);
    SendParamIfChanged(OV_PEAKLIMITERFXPARAM_OUTPUTGAIN_ID, params.OutputGain, m_pParam->fOutputGain);
    SendParamIfChanged(OV_PEAKLIMITERFXPARAM_INFINITERATIO_ID, bInfiniteRatio, m_pParam->bInfiniteRatio);
    SendParamIfChanged(OV_PEAKLIMITERFXPARAM_RATIO_ID, params.Ratio, m_pParam->fRatio);
}
