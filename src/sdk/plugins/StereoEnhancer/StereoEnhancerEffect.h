// Stereo enhancer: widens and polishes a stereo stream in the mid/side
// domain. Encodes L + R (mid) and L - R (side) in place, ramps the side by
// the stereoizer gain, then hands mid and side, as mono views of the block,
// to embedded plug-ins: with the spectrum shaper on, a multiband compressor
// each whose detector listens to a key-EQ'd copy; then a parametric EQ each
// (presence is an offset in dB on the mid EQ's 4 kHz peak); and above
// ambience 0 a room reverb fed with the side alone, whose output and tail
// add to the decoded (M + S) / 2, (M - S) / 2. Stereo only: any other layout
// fails Init with OV_BadChannelConfig.
//
// Memory: the key and wet buffers (stereo, the host's block length) and the
// seven plug-ins are taken at Init; ProcessBlock allocates nothing. The
// meter data the compressors could write is left out, no host reads it.
#pragma once

#include <cstdint>

#include "ov/IOvEffect.h"
#include "ov/OvPipelineBuffer.h"
#include "sdk/plugins/OvMultibandCompressor/OvMultibandCompressorFX.h"
#include "sdk/plugins/OvParametricEQ/OvParametricEQFX.h"
#include "sdk/plugins/OvRoomVerb/OvRoomVerbFX.h"
#include "sdk/plugins/StereoEnhancer/StereoEnhancerEffectParams.h"

class IOvEffectContext;

class StereoEnhancerEffect final : public IOvEffect {
public:
    // Presence 10 raises the mid peak by this much.
    static constexpr float STEREOENHANCER_MAX_PRESENCE_DB = 6.0f;

    StereoEnhancerEffect() = default;
    StereoEnhancerEffect(const StereoEnhancerEffect&) = delete;
    StereoEnhancerEffect& operator=(const StereoEnhancerEffect&) = delete;

    OvResult Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext, IOvEffectParams* in_pParams,
                  const OvStreamFormat& in_format) override;
    OvResult Shutdown(IOvMemAlloc* in_pAllocator) override;
    // Resets the seven plug-ins; the stereoizer and presence memories stay.
    OvResult Reset() override;
    void ProcessBlock(OvPipelineBuffer* io_pBuffer) override;

    // Forgets the presence offset applied so far, for a freshly loaded
    // preset: the next block applies presence again on top of it.
    void ForgetPresence()
    {
        m_fPrevPresenceDb = 0.0f;
        m_bPresenceBaseKnown = false;
    }
    // Fades the side in from silence at the next block, as after Init.
    void RestartSideFade() { m_fPrevStereoizerGain = 0.0f; }

private:
    void ApplyPresence();
    void ShapeSpectrum(OvPipelineBuffer* io_pMid, OvPipelineBuffer* io_pSide, uint32_t in_uFrames);
    // Runs the reverb on the side; false when it left its input as it was
    // (a rebuild it could not finish), so that there is no wet signal.
    bool RunAmbience(const float* in_pfSide, uint32_t in_uFrames, uint32_t in_uMaxFrames, OvResult in_eState,
                     OvPipelineBuffer* out_pWet);

    OvPipelineBuffer m_KeyBuffer;  // owned, stereo: mid key, side key
    OvPipelineBuffer m_WetBuffer;  // owned, stereo
    OvParametricEQFX* m_pMidKeyEQ = nullptr;
    OvParametricEQFX* m_pMidEQ = nullptr;
    OvParametricEQFX* m_pSideKeyEQ = nullptr;
    OvParametricEQFX* m_pSideEQ = nullptr;
    OvMultibandCompressorFX* m_pMidCompressor = nullptr;
    OvMultibandCompressorFX* m_pSideCompressor = nullptr;
    OvRoomVerbFX* m_pAmbience = nullptr;
    StereoEnhancerEffectParams* m_pParams = nullptr;
    IOvMemAlloc* m_pAllocator = nullptr;
    IOvEffectContext* m_pContext = nullptr;
    OvChannelConfig m_StereoConfig;
    OvChannelConfig m_MonoConfig;
    uint16_t m_uMaxFrames = 0;
    float m_fPrevStereoizerGain = 0.0f;  // linear; the first block fades the side in
    float m_fPrevPresenceDb = 0.0f;
    float m_fPresenceBaseDb = 0.0f;  // the mid peak's gain without presence
    float m_fWrittenGainDb = 0.0f;   // what presence last left in the band
    bool m_bPresenceBaseKnown = false;
};

// The factory of the plug-in list.
IOvEffect* CreateStereoEnhancerEffect(IOvMemAlloc* in_pAllocator);
