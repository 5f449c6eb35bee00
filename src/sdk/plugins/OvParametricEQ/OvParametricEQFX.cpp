#include "sdk/plugins/OvParametricEQ/OvParametricEQFX.h"

#include <algorithm>
#include <cmath>

#include "ov/OvAssert.h"
#include "ov/OvGainRamp.h"
#include "ov/OvPipelineBuffer.h"
#include "ov/OvPluginNew.h"
#include "ov/OvStreamFormat.h"
#include "sdk/dsp/filters/BiquadShape.h"

OvResult OvParametricEQFX::Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* /*in_pContext*/,
                                IOvEffectParams* in_pParams, const OvStreamFormat& in_format)
{
    OV_ASSERT(in_pAllocator != NULL);
    m_pAllocator = in_pAllocator;
    m_pParams = static_cast<OvParametricEQFXParams*>(in_pParams);
    m_uSampleRate = in_format.uSampleRate;
    m_uNumProcessedChannels = in_format.channelConfig.uNumChannels;
    if (in_format.channelConfig.HasLFE() && !m_pParams->bProcessLFE)
        --m_uNumProcessedChannels;
    if (m_uNumProcessedChannels != 0) {
        for (OvBiquadMulti& filter : m_Filters)
            if (filter.AllocateMemories(in_pAllocator, m_uNumProcessedChannels) != OV_Success)
                return OV_OutOfMemory;
    }
    m_pParams->SetAllBandsChanged();
    m_fInitOutputGain = m_fPrevOutputGain = std::pow(10.0f, m_pParams->fOutputGain * 0.05f);
    return OV_Success;
}

OvResult OvParametricEQFX::Shutdown(IOvMemAlloc* in_pAllocator)
{
    for (OvBiquadMulti& filter : m_Filters)
        filter.FreeMemories(in_pAllocator);
    OV::Delete(in_pAllocator, this);
    return OV_Success;
}

OvResult OvParametricEQFX::Reset()
{
    // As a new effect: silent memories, every band designed afresh at the
    // next block (a band of unknown type then passes the signal, as it does
    // after Init), and the output gain ramping from where Init left it.
    for (OvBiquadMulti& filter : m_Filters) {
        filter.ResetState();
        filter.SetCoefs(1.0f, 0.0f, 0.0f, 0.0f, 0.0f);
    }
    if (m_pParams)
        m_pParams->SetAllBandsChanged();
    m_fPrevOutputGain = m_fInitOutputGain;
    return OV_Success;
}

void OvParametricEQFX::DesignBand(uint32_t in_uBand, const OvParametricEQBandParams& in_band)
{
    if (in_uBand >= OV_PARAMETRICEQ_NUM_BANDS)
        return;
    const float A = std::pow(10.0f, in_band.fGain * 0.025f);
    // An unknown type keeps the band's previous design rather than the
    // not-a-number coefficients a zero a0 would give.
    if (!DesignBiquadShape(m_Filters[in_uBand], in_band.FilterType, float(m_uSampleRate), in_band.fFrequency, A,
                           in_band.fQ))
        OV_ASSERT_TEXT(false, "Invalid filter type.");
}

void OvParametricEQFX::ProcessBlock(OvPipelineBuffer* io_pBuffer)
{
    ProcessBlockAlongside(io_pBuffer, nullptr, nullptr);
}

void OvParametricEQFX::ProcessBlockAlongside(OvPipelineBuffer* io_pBuffer, OvParametricEQFX* in_pOther,
                                             OvPipelineBuffer* io_pOtherBuffer)
{
    Pass passes[2];
    OvParametricEQFX* owners[2];
    uint32_t uNumPasses = 0;
    if (Begin(io_pBuffer, passes[uNumPasses]))
        owners[uNumPasses++] = this;
    if (in_pOther && in_pOther != this && in_pOther->Begin(io_pOtherBuffer, passes[uNumPasses]))
        owners[uNumPasses++] = in_pOther;
    uint32_t uRounds = 0;
    for (uint32_t k = 0; k < uNumPasses; ++k)
        uRounds = std::max(uRounds, passes[k].uNumBands);
    // Two bands at a time, the second a step behind the first: each channel
    // still runs its bands in order.
    OvBiquadBatch batch;
    for (uint32_t r = 0; r < uRounds; ++r) {
        if (r % 2)
            batch.NextStage();
        for (uint32_t k = 0; k < uNumPasses; ++k)
            owners[k]->QueueRound(passes[k], r, batch);
        if (r % 2)
            batch.Run();
    }
    batch.Run();
    for (uint32_t k = 0; k < uNumPasses; ++k)
        owners[k]->End(passes[k]);
}

bool OvParametricEQFX::Begin(OvPipelineBuffer* io_pBuffer, Pass& out_pass)
{
    if (io_pBuffer == nullptr)
        return false;
    const uint32_t frames = io_pBuffer->uValidFrames;
    if (m_pParams == nullptr || m_uNumProcessedChannels == 0 || frames == 0)
        return false;
    out_pass.pBuffer = io_pBuffer;
    out_pass.uFrames = frames;
    out_pass.uNumBands = 0;
    for (uint32_t band = 0; band < OV_PARAMETRICEQ_NUM_BANDS; ++band) {
        if (m_pParams->m_Bands[band].bOn != 0)
            out_pass.uBands[out_pass.uNumBands++] = band;
        if (m_pParams->m_bBandChanged[band]) {
            DesignBand(band, m_pParams->m_Bands[band]);
            m_pParams->m_bBandChanged[band] = 0;
        }
    }
    out_pass.fGain = std::pow(10.0f, m_pParams->fOutputGain * 0.05f);
    out_pass.uChannels = std::min(m_uNumProcessedChannels, io_pBuffer->NumChannels());
    return true;
}

void OvParametricEQFX::QueueRound(const Pass& in_pass, uint32_t in_uRound, OvBiquadBatch& io_batch)
{
    if (in_uRound >= in_pass.uNumBands)
        return;
    OvBiquadMulti& filter = m_Filters[in_pass.uBands[in_uRound]];
    for (uint32_t c = 0; c < in_pass.uChannels; ++c)
        filter.QueueSamples(io_batch, in_pass.pBuffer->GetChannel(c), in_pass.uFrames, c);
}

void OvParametricEQFX::End(const Pass& in_pass)
{
    OV::ApplyGainToBuffer(in_pass.pBuffer, m_fPrevOutputGain, in_pass.fGain, m_pParams->bProcessLFE != 0);
    m_fPrevOutputGain = in_pass.fGain;
}
