// Look-ahead peak limiter. Delays the signal by m_uLookAheadFrames while a
// peak detector at the delay's input sees what is coming, so that the gain is
// already down when a peak leaves the delay. The detector holds a peak for as
// long as it stays in the delay, then falls to the loudest sample seen since.
//
// Two gain laws: the dB law smooths the over-threshold level in dB (attack
// over half the look-ahead, release time in seconds) and applies a ratio; the
// hard ceiling moves a linear gain in straight lines, down so that it reaches
// ceiling / peak exactly as the peak leaves the delay, and back up over the
// release time. Five inner routines (per channel, linked, linked without the
// LFE, and the hard ceiling for stereo and for any count) are chosen once in
// Configure, so nothing branches on the mode per frame.
//
// The threshold, as FastPow10FromDb gives it (0 dB is 0.999039), is a
// ceiling in the hard law and, with an infinite ratio, in the dB law too:
// every routine holds the limited channels to it, and the output gain then
// scales it. Below it the samples pass as the gain law leaves them. A left-out
// LFE is not limited.
//
// The delay's start-up zeros are dropped and the same count of frames is
// played as a tail at the end of the stream, so a stream keeps its length and
// no latency remains. The look-ahead is at least one frame and at most
// OV_PEAKLIMITERFX_MAX_LOOKAHEAD_FRAMES.
//
// A layout change restarts the limiter at the top of the next block. The side
// chains have room for every channel from Init; a delay for a new look-ahead
// is taken on the setter's thread (the parameter object calls
// PrepareForChange) and swapped in by that block, so ProcessBlock never
// allocates. The delay it lets go is freed at the next change or at Shutdown.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ov/IOvChangePreparer.h"
#include "ov/IOvEffect.h"
#include "ov/OvStreamFormat.h"
#include "ov/OvTailExtender.h"

class OvPeakLimiterFXParams;
class IOvEffectContext;

class OvPeakLimiterFX final : public IOvEffect, public IOvChangePreparer {
public:
    static constexpr uint32_t OV_PEAKLIMITERFX_MAX_LOOKAHEAD_FRAMES = 1u << 20;

    // Detector and gain state of one side chain. In the dB law fGain is the
    // smoothed level over the threshold in dB; with the hard ceiling it is the
    // linear gain.
    struct SideChain {
        float fGain = 0.0f;
        float fPeak = 0.0f;
        float fNextPeak = 0.0f;
        uint32_t uHoldFrames = 0;
    };

    // The inner routine in use; tests check which layout selects which.
    enum class Routine { None, PerChannelDb, LinkedDb, LinkedNoLfeDb, StereoHard, MultiChannelHard };

    OvResult Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext, IOvEffectParams* in_pParams,
                  const OvStreamFormat& in_format) override;
    OvResult Shutdown(IOvMemAlloc* in_pAllocator) override;
    // As a new effect: the audio state cleared, start-up again, and the output
    // gain ramping from the value Init saw.
    OvResult Reset() override;
    void ProcessBlock(OvPipelineBuffer* io_pBuffer) override;
    // Takes a delay for the look-ahead the parameters hold, when the one in use
    // has another size; on the setter's thread.
    void PrepareForChange() override;

    // Look-ahead in frames for a time in seconds: truncated, at least 1.
    static uint32_t LookAheadToFrames(float in_fLookAheadSeconds, uint32_t in_uSampleRate);

    Routine CurrentRoutine() const;
    uint32_t LookAheadFrames() const { return m_uLookAheadFrames; }
    uint32_t FramesToDiscard() const { return m_uFramesToDiscard; }
    const SideChain* SideChains() const { return m_pSideChains; }

private:
    typedef void (OvPeakLimiterFX::*ProcessFn)(OvPipelineBuffer* io_pBuffer);

    // Applies the layout in the parameters; OV_OutOfMemory, changing nothing,
    // when no delay of the size it needs is at hand.
    OvResult Configure();
    // Delay, detectors and the hard ceiling's gain steps back to silence and
    // start-up; what a layout change restarts. The output gain ramp stays.
    void ClearAudioState();
    size_t DelaySamplesFor(uint32_t in_uLookAheadFrames) const;
    void FreeMemory();
    void DiscardStartUpFrames(OvPipelineBuffer* io_pBuffer);
    float RatioFactor() const;
    // What the dB routines hold their output to: the threshold's ceiling
    // with an infinite ratio, infinity (nothing) with a finite one.
    float DbLawCeiling() const;

    void ProcessPerChannelDb(OvPipelineBuffer* io_pBuffer);
    template <bool T_EXCLUDE_LFE>
    void ProcessLinkedDb(OvPipelineBuffer* io_pBuffer);
    template <uint32_t T_NUM_CHANNELS>
    void ProcessHard(OvPipelineBuffer* io_pBuffer);

    OvPeakLimiterFXParams* m_pParams = nullptr;
    ProcessFn m_fnProcess = nullptr;
    IOvMemAlloc* m_pAllocator = nullptr;
    IOvEffectContext* m_pContext = nullptr;
    float m_fPrevOutputGain = 1.0f;
    float m_fInitOutputGain = 1.0f;  // as Init saw it, where Reset starts the ramp again
    OvStreamFormat m_format;
    uint32_t m_uNumPeakLimitedChannels = 0;
    uint32_t m_uNumSideChains = 0;
    uint32_t m_uLookAheadFrames = 1;
    SideChain* m_pSideChains = nullptr;
    uint32_t m_uSideChainRoom = 0;  // one per channel, at least one
    uint32_t m_uFramesToDiscard = 0;
    float* m_pDelayMem = nullptr;  // m_uLookAheadFrames * channels
    size_t m_uDelayMemSamples = 0;
    // While m_bSpareReady: a delay of m_uSpareSamples for the next layout.
    // Otherwise the delay the last layout change let go, or none.
    float* m_pSpareDelayMem = nullptr;
    size_t m_uSpareSamples = 0;
    bool m_bSpareReady = false;
    uint32_t m_uFramePos = 0;
    OvTailExtender m_tailExtender;
    // Coefficients of the dB law; per-frame gain steps of the hard ceiling.
    float m_fReleaseCoef = 0.0f;
    float m_fAttackCoef = 0.0f;
    bool m_bFirstBlock = true;
};
