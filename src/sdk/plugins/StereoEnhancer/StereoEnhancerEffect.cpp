#include "sdk/plugins/StereoEnhancer/StereoEnhancerEffect.h"

#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ov/IOvEffectContext.h"
#include "ov/IOvGlobalContext.h"
#include "ov/OvAssert.h"
#include "ov/OvGainRamp.h"
#include "ov/OvPluginNew.h"
#include "ov/OvSpeakerConfig.h"
#include "ov/OvStreamFormat.h"

namespace {

// A mono view of one channel of a block.
OvPipelineBuffer MonoView(float* in_pfChannel, OvChannelConfig in_monoConfig, uint16_t in_uMaxFrames,
                          uint32_t in_uFrames, OvResult in_eState)
{
    OvPipelineBuffer view;
    view.AttachContiguousDeinterleaved(in_pfChannel, in_monoConfig, in_uMaxFrames, uint16_t(in_uFrames));
    view.eState = in_eState;
    return view;
}

// Mid and side in place of left and right: L + R, L - R (no factor of one
// half: the decode halves).
void Encode(float* io_pfL, float* io_pfR, uint32_t in_uFrames)
{
    uint32_t i = 0;
    for (; i + 4 <= in_uFrames; i += 4) {
        const __m128 l = _mm_loadu_ps(io_pfL + i), r = _mm_loadu_ps(io_pfR + i);
        _mm_storeu_ps(io_pfL + i, _mm_add_ps(l, r));
        _mm_storeu_ps(io_pfR + i, _mm_sub_ps(l, r));
    }
    for (; i < in_uFrames; ++i) {
        const float l = io_pfL[i], r = io_pfR[i];
        io_pfL[i] = l + r;
        io_pfR[i] = l - r;
    }
}

// Left and right back from mid and side, (M + S) / 2 and (M - S) / 2, plus
// the wet channels when there are any. The same sums, four frames at a time.
void Decode(float* io_pfL, float* io_pfR, const float* in_pfWetL, const float* in_pfWetR, uint32_t in_uFrames)
{
    const __m128 half = _mm_set1_ps(0.5f);
    uint32_t i = 0;
    for (; i + 4 <= in_uFrames; i += 4) {
        const __m128 m = _mm_loadu_ps(io_pfL + i), s = _mm_loadu_ps(io_pfR + i);
        __m128 l = _mm_mul_ps(_mm_add_ps(m, s), half);
        __m128 r = _mm_mul_ps(_mm_sub_ps(m, s), half);
        if (in_pfWetL) {
            l = _mm_add_ps(l, _mm_loadu_ps(in_pfWetL + i));
            r = _mm_add_ps(r, _mm_loadu_ps(in_pfWetR + i));
        }
        _mm_storeu_ps(io_pfL + i, l);
        _mm_storeu_ps(io_pfR + i, r);
    }
    for (; i < in_uFrames; ++i) {
        const float m = io_pfL[i], s = io_pfR[i];
        io_pfL[i] = (m + s) * 0.5f;
        io_pfR[i] = (m - s) * 0.5f;
        if (in_pfWetL) {
            io_pfL[i] += in_pfWetL[i];
            io_pfR[i] += in_pfWetR[i];
        }
    }
}

}  // namespace

OvResult StereoEnhancerEffect::Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext,
                                    IOvEffectParams* in_pParams, const OvStreamFormat& in_format)
{
    OV_ASSERT(in_pAllocator != NULL);
    m_pAllocator = in_pAllocator;
    m_pContext = in_pContext;
    const OvChannelConfig config = in_format.channelConfig;
    if (config.eConfigType != OV_ChannelConfigType_Standard || config.uChannelMask != OV_SPEAKER_SETUP_STEREO)
        return OV_BadChannelConfig;
    m_pParams = static_cast<StereoEnhancerEffectParams*>(in_pParams);
    if (!m_pAllocator || !m_pParams || !m_pContext || !m_pContext->GetGlobalContext())
        return OV_Failure;
    m_StereoConfig = config;
    OvStreamFormat monoFormat = in_format;
    monoFormat.channelConfig.SetStandardOrAnonymous(1, OV_SPEAKER_SETUP_MONO);
    monoFormat.uBlockAlign = 4;
    m_MonoConfig = monoFormat.channelConfig;

    m_pMidKeyEQ = OV::New<OvParametricEQFX>(m_pAllocator);
    m_pMidEQ = OV::New<OvParametricEQFX>(m_pAllocator);
    m_pSideKeyEQ = OV::New<OvParametricEQFX>(m_pAllocator);
    m_pSideEQ = OV::New<OvParametricEQFX>(m_pAllocator);
    m_pMidCompressor = OV::New<OvMultibandCompressorFX>(m_pAllocator);
    m_pSideCompressor = OV::New<OvMultibandCompressorFX>(m_pAllocator);
    m_pAmbience = OV::New<OvRoomVerbFX>(m_pAllocator);
    if (!m_pMidKeyEQ || !m_pMidEQ || !m_pSideKeyEQ || !m_pSideEQ || !m_pMidCompressor || !m_pSideCompressor ||
        !m_pAmbience)
        return OV_Failure;

    StereoEnhancerEffectParams& p = *m_pParams;
    struct {
        IOvEffect* pPlugin;
        IOvEffectParams* pParams;
        const OvStreamFormat* pFormat;
    } const embedded[] = {
        {m_pMidKeyEQ, &p.m_MidKeyEQ, &monoFormat},         {m_pMidEQ, &p.m_MidEQ, &monoFormat},
        {m_pSideKeyEQ, &p.m_SideKeyEQ, &monoFormat},       {m_pSideEQ, &p.m_SideEQ, &monoFormat},
        {m_pMidCompressor, &p.m_MidCompressor, &monoFormat}, {m_pSideCompressor, &p.m_SideCompressor, &monoFormat},
        {m_pAmbience, &p.m_Ambience, &in_format},
    };
    // Whatever an embedded plug-in reports, the enhancer reports a failure.
    for (const auto& e : embedded)
        if (e.pPlugin->Init(m_pAllocator, m_pContext, e.pParams, *e.pFormat) != OV_Success)
            return OV_Failure;

    m_uMaxFrames = m_pContext->GetGlobalContext()->GetMaxFrames();
    if (m_KeyBuffer.AllocateSamples(m_pAllocator, m_StereoConfig, m_uMaxFrames) != OV_Success ||
        m_WetBuffer.AllocateSamples(m_pAllocator, m_StereoConfig, m_uMaxFrames) != OV_Success)
        return OV_Failure;
    return OV_Success;
}

OvResult StereoEnhancerEffect::Shutdown(IOvMemAlloc* in_pAllocator)
{
    OV_ASSERT(in_pAllocator != NULL);
    IOvEffect* plugins[] = {m_pMidKeyEQ,       m_pMidEQ,          m_pSideKeyEQ, m_pSideEQ,
                            m_pMidCompressor, m_pSideCompressor, m_pAmbience};
    for (IOvEffect* pPlugin : plugins)
        if (pPlugin)
            pPlugin->Shutdown(in_pAllocator);
    m_KeyBuffer.FreeSamples(in_pAllocator);
    m_WetBuffer.FreeSamples(in_pAllocator);
    OV::Delete(in_pAllocator, this);
    return OV_Success;
}

OvResult StereoEnhancerEffect::Reset()
{
    IOvEffect* plugins[] = {m_pMidKeyEQ,       m_pMidEQ,          m_pSideKeyEQ, m_pSideEQ,
                            m_pMidCompressor, m_pSideCompressor, m_pAmbience};
    for (IOvEffect* pPlugin : plugins)
        if (pPlugin)
            pPlugin->Reset();
    return OV_Success;
}

void StereoEnhancerEffect::ApplyPresence()
{
    OvFXParameterChangeHandler<StereoEnhancerEffectParams::STEREOENHANCER_MAX_PARAM_ID>& changes =
        m_pParams->m_changes;
    const float fBandGainDb = m_pParams->m_MidEQ.GetBand(BAND2).fGain;
    // The gain without presence: the preset's, taken at the first block after
    // Init or a new preset, or after anyone else rewrote the band.
    if (!m_bPresenceBaseKnown || fBandGainDb != m_fWrittenGainDb) {
        m_fPresenceBaseDb = fBandGainDb - m_fPrevPresenceDb;
        m_fWrittenGainDb = fBandGainDb;
        m_bPresenceBaseKnown = true;
    }
    if (changes.IsChanged(STEREOENHANCER_PARAM_PRESENCE_ID)) {
        const float fPresenceDb = m_pParams->fPresence / StereoEnhancerEffectParams::STEREOENHANCER_MAX_PRESENCE *
                                  STEREOENHANCER_MAX_PRESENCE_DB;
        if (fPresenceDb != m_fPrevPresenceDb) {
            // An offset on the preset's own gain of the 4 kHz peak: heard
            // only in presets that switch that band on. Added to the base
            // rather than to the last gain, so that the same presence gives
            // the same gain whatever the way to it.
            const float fGainDb = m_fPresenceBaseDb + fPresenceDb;
            m_pParams->m_MidEQ.SetParam(OvParametricEQBandParamID(BAND2, OV_PARAMETRICEQ_FIELD_GAIN), &fGainDb,
                                        sizeof fGainDb);
            m_fWrittenGainDb = m_pParams->m_MidEQ.GetBand(BAND2).fGain;
            m_fPrevPresenceDb = fPresenceDb;
        }
    }
    changes.ClearAllChanges();
}

void StereoEnhancerEffect::ShapeSpectrum(OvPipelineBuffer* io_pMid, OvPipelineBuffer* io_pSide, uint32_t in_uFrames)
{
    float* pfMidKey = m_KeyBuffer.GetChannel(0);
    float* pfSideKey = m_KeyBuffer.GetChannel(1);
    std::memcpy(pfMidKey, io_pMid->GetData(), in_uFrames * sizeof(float));
    std::memcpy(pfSideKey, io_pSide->GetData(), in_uFrames * sizeof(float));
    OvPipelineBuffer midKey = MonoView(pfMidKey, m_MonoConfig, m_uMaxFrames, in_uFrames, io_pMid->eState);
    OvPipelineBuffer sideKey = MonoView(pfSideKey, m_MonoConfig, m_uMaxFrames, in_uFrames, io_pSide->eState);
    m_pMidKeyEQ->ProcessBlockAlongside(&midKey, m_pSideKeyEQ, &sideKey);
    // Mid and side are independent: their compressors run side by side.
    m_pMidCompressor->ProcessBlocksWithKey(io_pMid, &midKey, m_pSideCompressor, io_pSide, &sideKey);
}

bool StereoEnhancerEffect::RunAmbience(const float* in_pfSide, uint32_t in_uFrames, uint32_t in_uMaxFrames,
                                       OvResult in_eState, OvPipelineBuffer* out_pWet)
{
    // The wet buffer's stride follows the block's length, so that the tail
    // the reverb appends never runs past the block.
    out_pWet->AttachContiguousDeinterleaved(m_WetBuffer.GetData(), m_StereoConfig, uint16_t(in_uMaxFrames),
                                            uint16_t(in_uFrames));
    out_pWet->eState = in_eState;
    std::memcpy(out_pWet->GetChannel(0), in_pfSide, in_uFrames * sizeof(float));
    std::memcpy(out_pWet->GetChannel(1), in_pfSide, in_uFrames * sizeof(float));
    m_pAmbience->ProcessBlock(out_pWet);
    // A rebuild the reverb could not finish (no memory) leaves its mark set
    // and the side untouched in the wet buffer: that is no ambience, and
    // adding it would double the side.
    return !m_pParams->m_Ambience.rebuild.bChanged;
}

void StereoEnhancerEffect::ProcessBlock(OvPipelineBuffer* io_pBuffer)
{
    if (!m_pParams || !m_pAmbience || !m_WetBuffer.GetData() || !io_pBuffer || !io_pBuffer->GetData() ||
        io_pBuffer->GetChannelConfig() != m_StereoConfig)
        return;
    StereoEnhancerEffectParams& params = *m_pParams;
    ApplyPresence();

    // Blocks longer than Init's length are cut to it: the key and wet
    // buffers hold no more.
    const uint32_t uMaxFrames = std::min<uint32_t>(io_pBuffer->MaxFrames(), m_uMaxFrames);
    const uint32_t n = std::min<uint32_t>(io_pBuffer->uValidFrames, uMaxFrames);
    float* pfL = io_pBuffer->GetChannel(0);
    float* pfR = io_pBuffer->GetChannel(1);

    // With no frames (the blocks that drain a tail) the side gain waits for
    // audio, and the embedded EQs and compressors are not called.
    if (n != 0) {
        Encode(pfL, pfR, n);
        OvPipelineBuffer mid = MonoView(pfL, m_MonoConfig, io_pBuffer->MaxFrames(), n, io_pBuffer->eState);
        OvPipelineBuffer side = MonoView(pfR, m_MonoConfig, io_pBuffer->MaxFrames(), n, io_pBuffer->eState);

        const float fStereoizerGain = powf(10.0f, params.fStereoizer * 0.05f);
        OV::ApplyGainToBuffer(&side, m_fPrevStereoizerGain, fStereoizerGain, true);
        m_fPrevStereoizerGain = fStereoizerGain;

        if (params.bSpectrumShaper)
            ShapeSpectrum(&mid, &side, n);
        m_pMidEQ->ProcessBlockAlongside(&mid, m_pSideEQ, &side);
    }

    OvPipelineBuffer wet;
    if (params.uAmbience != 0 && RunAmbience(pfR, n, uMaxFrames, io_pBuffer->eState, &wet)) {
        const float* pfWetL = wet.GetChannel(0);
        const float* pfWetR = wet.GetChannel(1);
        Decode(pfL, pfR, pfWetL, pfWetR, n);
        // The reverb's tail: no dry part.
        const uint32_t uWetFrames = std::min<uint32_t>(wet.uValidFrames, uMaxFrames);
        for (uint32_t i = n; i < uWetFrames; ++i) {
            pfL[i] = pfWetL[i];
            pfR[i] = pfWetR[i];
        }
        io_pBuffer->uValidFrames = uint16_t(std::max(uWetFrames, n));
        io_pBuffer->eState = wet.eState;
        return;
    }
    Decode(pfL, pfR, nullptr, nullptr, n);
}

IOvEffect* CreateStereoEnhancerEffect(IOvMemAlloc* in_pAllocator)
{
    return OV::New<StereoEnhancerEffect>(in_pAllocator);
}
