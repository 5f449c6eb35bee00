#include "sdk/plugins/OvGraphicEQ/OvGraphicEQFX.h"

#include <algorithm>
#include <cmath>

#include "ov/IOvEffectContext.h"
#include "ov/IOvGlobalContext.h"
#include "ov/OvAssert.h"
#include "ov/OvGainRamp.h"
#include "ov/OvPipelineBuffer.h"
#include "ov/OvPluginNew.h"
#include "ov/OvStreamFormat.h"

namespace {

// DesignBiquad types.
constexpr int kPeak = 1;
constexpr int kLowShelfQ = 7;
constexpr int kHighShelfQ = 8;

// The grid holds at most 30 bands, whatever the parameters say.
uint16_t UsableBands(uint32_t in_uNumBands)
{
    return uint16_t(std::min(in_uNumBands, OV_GRAPHICEQ_MAX_BANDS));
}

}  // namespace

OvResult OvGraphicEQFX::Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext,
                             IOvEffectParams* in_pParams, const OvStreamFormat& in_format)
{
    OV_ASSERT(in_pAllocator != NULL);
    m_pAllocator = in_pAllocator;
    m_pParams = static_cast<OvGraphicEQFXParams*>(in_pParams);
    m_FXInfo.uSampleRate = in_format.uSampleRate;
    m_FXInfo.uNumChannels = in_format.channelConfig.uNumChannels;
    m_FXInfo.uBlockFrames = in_pContext ? in_pContext->GetGlobalContext()->GetMaxFrames() : 0;
    m_FXParams = m_pParams->m_Params;
    // Room for the most bands the grid takes, so a new band count needs no memory.
    const OvResult eResult = m_EQ.InitWithRoom(in_pAllocator, uint16_t(m_FXInfo.uNumChannels),
                                               UsableBands(m_FXParams.uNumBands), OV_GRAPHICEQ_MAX_BANDS);
    if (eResult != OV_Success)
        return eResult;
    const OvResult eUpdate = UpdateFilters(m_FXParams);
    if (eUpdate != OV_Success)
        return eUpdate;
    m_fInitOutputGain = m_fPrevOutputGain = m_FXParams.fOutputGain;
    return OV_Success;
}

OvResult OvGraphicEQFX::Shutdown(IOvMemAlloc* in_pAllocator)
{
    m_EQ.Shutdown(in_pAllocator);
    OV::Delete(in_pAllocator, this);
    return OV_Success;
}

OvResult OvGraphicEQFX::Reset()
{
    // Silent memories, and the output gain ramps again from where Init left it.
    m_EQ.Reset();
    m_fPrevOutputGain = m_fInitOutputGain;
    return OV_Success;
}

void OvGraphicEQFX::ComputeBands(uint32_t in_uNumBands, float in_fStartFrequency, float in_fBandwidth,
                                 bool in_bShelves)
{
    const uint32_t N = UsableBands(in_uNumBands);
    const float base = std::pow(2.0f, in_fBandwidth);
    m_fBandQ = std::sqrt(base) / (base - 1.0f);
    if (N == 0)
        return;
    if (in_bShelves) {
        // The low shelf half a band above the start, the first peak one band
        // above it, the high shelf N - 2 bands above the low shelf.
        m_fBandFrequency[0] = std::sqrt(in_fStartFrequency * base * in_fStartFrequency);
        m_iBandType[0] = kLowShelfQ;
        m_fBandFrequency[N - 1] = m_fBandFrequency[0] * std::pow(base, float(N) - 2.0f);
        m_iBandType[N - 1] = kHighShelfQ;
        if (N >= 2) {
            m_fBandFrequency[1] = in_fStartFrequency * base;
            m_iBandType[1] = kPeak;
        }
        for (uint32_t i = 2; i + 2 <= N; ++i) {
            m_fBandFrequency[i] = m_fBandFrequency[i - 1] * base;
            m_iBandType[i] = kPeak;
        }
    } else {
        m_fBandFrequency[0] = in_fStartFrequency;
        m_iBandType[0] = kPeak;
        for (uint32_t i = 1; i < N; ++i) {
            m_fBandFrequency[i] = m_fBandFrequency[i - 1] * base;
            m_iBandType[i] = kPeak;
        }
    }
}

OvResult OvGraphicEQFX::UpdateFilters(const OvGraphicEQFXParamsBlock& in_FXParams)
{
    OV_ASSERT(in_FXParams.uNumBands >= 3);
    OvFXParameterChangeHandler<37>& changes = m_pParams->m_ParamChangeHandler;
    const uint16_t uNumBands = UsableBands(in_FXParams.uNumBands);
    if (changes.IsChanged(OV_GRAPHICEQ_ID_NUMBANDS)) {
        const OvResult eResult = m_EQ.SetNumBands(uNumBands);
        if (eResult != OV_Success)
            return eResult;
        m_EQ.Reset();
    }
    const bool bAll = changes.IsChanged(OV_GRAPHICEQ_ID_NUMBANDS) ||
                      changes.IsChanged(OV_GRAPHICEQ_ID_STARTFREQUENCY) ||
                      changes.IsChanged(OV_GRAPHICEQ_ID_BANDWIDTH) || changes.IsChanged(OV_GRAPHICEQ_ID_SHELVES);
    if (bAll) {
        changes.MarkAllChanged();
        ComputeBands(in_FXParams.uNumBands, in_FXParams.fStartFrequency, in_FXParams.fBandwidth,
                     in_FXParams.bShelves != 0);
    }
    const bool bLowQ = changes.IsChanged(OV_GRAPHICEQ_ID_LOWSHELFQ);
    const bool bHighQ = changes.IsChanged(OV_GRAPHICEQ_ID_HIGHSHELFQ);
    const uint32_t uLast = uNumBands - 1u;
    for (uint32_t i = 0; i < uNumBands; ++i) {
        const bool bRedesign = bAll || changes.IsChanged(OV_GRAPHICEQ_ID_BANDGAIN0 + i) || (bLowQ && i == 0) ||
                               (bHighQ && i == uLast);
        if (!bRedesign)
            continue;
        float q = m_fBandQ;
        if (in_FXParams.bShelves) {
            if (i == 0)
                q = in_FXParams.fLowShelfQ;
            else if (i == uLast)
                q = in_FXParams.fHighShelfQ;
        }
        m_EQ.SetCoefs(i, float(m_FXInfo.uSampleRate), m_iBandType[i], m_fBandFrequency[i],
                      in_FXParams.fBandGain[i], q);
    }
    changes.ClearAllChanges();
    return OV_Success;
}

void OvGraphicEQFX::ProcessBlock(OvPipelineBuffer* io_pBuffer)
{
    if (m_pParams == nullptr)
        return;
    m_FXParams = m_pParams->m_Params;
    if (UpdateFilters(m_FXParams) != OV_Success) {
        io_pBuffer->eState = OV_Failure;
        return;
    }
    OV_ASSERT(m_FXInfo.uNumChannels == io_pBuffer->NumChannels());
    m_EQ.ProcessBuffer(io_pBuffer);
    OV::ApplyGainToBuffer(io_pBuffer, m_fPrevOutputGain, m_FXParams.fOutputGain, true);
    m_fPrevOutputGain = m_FXParams.fOutputGain;
}
