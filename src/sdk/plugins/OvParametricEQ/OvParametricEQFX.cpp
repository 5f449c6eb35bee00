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
    const uint32_t frames = io_pBuffer->uValidFrames;
    if (m_pParams == nullptr || m_uNumProcessedChannels == 0 || frames == 0)
        return;
    bool bOn[OV_PARAMETRICEQ_NUM_BANDS];
    for (uint32_t band = 0; band < OV_PARAMETRICEQ_NUM_BANDS; ++band) {
        bOn[band] = m_pParams->m_Bands[band].bOn != 0;
        if (m_pParams->m_bBandChanged[band]) {
            DesignBand(band, m_pParams->m_Bands[band]);
            m_pParams->m_bBandChanged[band] = 0;
        }
    }
    const float fGain = std::pow(10.0f, m_pParams->fOutputGain * 0.05f);

    const uint32_t channels = std::min(m_uNumProcessedChannels, io_pBuffer->NumChannels());
    for (uint32_t c = 0; c < channels; ++c) {
        float* pChannel = io_pBuffer->GetChannel(c);
        for (uint32_t band = 0; band < OV_PARAMETRICEQ_NUM_BANDS; ++band)
            if (bOn[band])
                m_Filters[band].ProcessSamples(pChannel, frames, c);
    }
    OV::ApplyGainToBuffer(io_pBuffer, m_fPrevOutputGain, fGain, m_pParams->bProcessLFE != 0);
    m_fPrevOutputGain = fGain;
}
