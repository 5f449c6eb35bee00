// The chain of effects, exported for hosts that drive it without the front
// end. Parameter setters take no lock: such a host must serialise them
// against Process itself.
#pragma once

#include <cstdint>

#include "lxaudioeffects/AudioTypes.h"
#include "lxaudioeffects/Export.h"

class LXFX_API LXAudioEffectsProcessor {
public:
    // Returns an empty chain, or null when out of memory.
    static LXAudioEffectsProcessor* Create();

    // Builds every effect for blocks of at most maxFrames frames. All or nothing.
    virtual bool Init(AUDIO_SAMPLEFORMAT format, uint32_t maxFrames, uint32_t channels,
                      uint32_t sampleRate) = 0;
    virtual void Destroy() = 0;
    // Runs one interleaved block in place. *frames and *done are in and out;
    // an effect with output still to give clears *done.
    virtual void Process(void* data, uint32_t* frames, bool* done, int32_t timestamp) = 0;
    virtual void Reset() = 0;
    virtual void SetBypassMode(bool bypass) = 0;
    virtual void SetLoudnessON(bool on) = 0;
    virtual void SetLoudnessParams(float gain, float peak) = 0;
    virtual void SetReverbON(bool on) = 0;
    virtual void SetReverbERParams(bool enable, uint32_t Pattern, float RoomSize,
                                   float SurroundDelay) = 0;
    virtual void SetReverbRVBParams(const ReverbParams* params) = 0;
    virtual void SetReverbTCON(bool on) = 0;
    virtual void SetReverbTCFilter(uint32_t index, const ReverbFilterParams* params) = 0;
    virtual void SetReverbInputLevel(float Center, float LFE) = 0;
    virtual void SetReverbRVBLevel(float Front, float Rear, float Center, float LFE) = 0;
    virtual void SetReverbOutputLevel(float Dry, float ER, float Reverb) = 0;
    virtual void SetStereoEnhancerON(bool on) = 0;
    virtual void SetStereoEnhancerParams(float presence, float stereoizer, bool spectrumShaper,
                                         uint32_t ambience) = 0;
    virtual void SetRotate3DON(bool on) = 0;
    virtual void SetRotate3DParams(float Velocity) = 0;
    virtual void SetSpatialAudioON(bool on) = 0;
    virtual void SetSpatialAudioParams(const SpatialAudioParams* params) = 0;
    virtual void SetGraphEQON(bool on) = 0;
    virtual void SetGraphEQGains(const float* gains) = 0;
    virtual void SetBassTrebleON(bool on) = 0;
    virtual void SetBassTrebleGains(float Bass, float Treble) = 0;
    virtual void SetBassTrebleParams(float bassFreq, float bassQ, float trebleFreq,
                                     float trebleQ) = 0;
    virtual void SetCompressorON(bool on) = 0;
    virtual void SetCompressorParams(const CompressorEffectParams* params) = 0;
    virtual void SetPostCompressorON(bool on) = 0;
    virtual void SetPostCompressorParams(const CompressorEffectParams* params) = 0;
    virtual void SetParametricEQON(bool on) = 0;
    virtual void SetParametricEQGain(float Gain) = 0;
    virtual void SetParametricEQFilter(uint32_t index, const ParametricEQFilterParams* params) = 0;
    virtual void SetDelayON(bool on) = 0;
    virtual void SetDelayParams(const DelayEffectParams* params) = 0;
    virtual void SetFIRON(bool on) = 0;
    virtual void SetFIRImpulse(const void* data, uint64_t size) = 0;
    virtual void SetHeadphoneON(bool on) = 0;
    virtual void SetHeadphoneImpulse(const void* data, uint64_t size) = 0;
    virtual void SetVibratoON(bool on) = 0;
    virtual void SetVibratoParams(double Freq, double Range) = 0;
    virtual void SetTremoloON(bool on) = 0;
    virtual void SetTremoloParams(double Freq, double Range) = 0;
    virtual void SetLimiterON(bool on) = 0;
    virtual void SetLimiterParams(const LimiterEffectParams* params) = 0;
    // Sends fixed reset values down the chain; loudness, limiter parameters and
    // loaded impulses are left alone.
    virtual void ResetEffects() = 0;

protected:
    ~LXAudioEffectsProcessor() = default;
};
