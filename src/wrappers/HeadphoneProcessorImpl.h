// The chain's headphone correction: a convolution with a mono impulse that
// arrives as a RIFF WAVE image. SetImpulse turns the image into a frequency
// data block once (HeadphoneFreqData.h, partitions of 1024 samples at the
// stream's rate) and builds OvConvolutionReverbFX on it in per-channel mode;
// every channel of the stream is convolved with the one impulse.
//
// Bypass works through the plug-in's levels, not by a crossfade: active,
// the output is the wet signal alone at the active gain (Dry -inf, Wet
// active dB); bypassed, the dry signal alone at the bypassed gain (Dry
// bypassed dB, Wet -inf). A switch ramps both levels over one process block
// of 1024 frames. The plug-in runs in both states, so the effect's latency
// (0 for blocks of 1024 frames or a multiple; otherwise what
// OvMismatchBuffering adds) and its tail at the end of the stream (1024
// frames per partition) are the same in both. Levels are held to at most
// +24 dB; a NaN level keeps the previous one.
//
// A new impulse is meant for a new object (the chain makes one per
// SetHeadphoneImpulse and keeps the old effect until the new one has
// loaded); a second SetImpulse replaces everything.
#pragma once

#include <cstdint>

#include "sdk/plugins/OvConvolutionReverb/OvConvolutionReverbFX.h"
#include "sdk/plugins/OvConvolutionReverb/OvConvolutionReverbFXParams.h"
#include "wrappers/HeadphoneHost.h"
#include "wrappers/HeadphoneProcessor.h"

class HeadphoneProcessorImpl final : public HeadphoneProcessor {
public:
    HeadphoneProcessorImpl() = default;
    virtual ~HeadphoneProcessorImpl();

    // Describes the stream to the host; the plug-in comes with the impulse.
    bool Init(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate) override;
    void Destroy() override { delete this; }
    // Runs the plug-in on the block with flush-to-zero set; with no impulse
    // loaded the block passes untouched.
    void Process(float* samples, bool* draining, uint32_t* frames) override;
    void SetBypass(bool bypass) override;
    void Reset() override;
    // Gains in dB. False for an image that is refused, or any failure to
    // build; no message.
    bool SetImpulse(const void* data, uint64_t size, float in_fBypassedGain, float in_fActiveGain) override;

    const OvConvolutionReverbFX* Plugin() const { return m_pPlugin; }
    const OvConvolutionReverbFXParams* Params() const { return m_pParam; }

private:
    HeadphoneProcessorImpl(const HeadphoneProcessorImpl&) = delete;
    HeadphoneProcessorImpl& operator=(const HeadphoneProcessorImpl&) = delete;

    void ReleasePlugin();
    void UpdateLevels();

    HeadphoneHost m_Host;
    OvConvolutionReverbFX* m_pPlugin = nullptr;        // owned
    OvConvolutionReverbFXParams* m_pParam = nullptr;  // owned
    float m_fBypassedGain = 0.0f;                     // dB
    float m_fActiveGain = 0.0f;                       // dB
    bool m_bBypass = true;
    uint32_t m_uSampleRate = 0;
};
