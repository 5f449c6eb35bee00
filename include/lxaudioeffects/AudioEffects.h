// The front end a player talks to: push interleaved PCM in chunks of any
// size, pull processed PCM of the same format.
#pragma once

#include <cstdint>

#include "lxaudioeffects/AudioTypes.h"
#include "lxaudioeffects/Export.h"

namespace audiofx {

class LXFX_API IAudioEffects {
public:
    // Prepares for a stream; also the call for a change of format mid-stream.
    // bufferBytes is the size of the host's buffers, 0 for no preference.
    virtual bool Init(AUDIO_SAMPLEFORMAT format, uint32_t channels, uint32_t sampleRate,
                      uint32_t bufferBytes) = 0;
    virtual void Destroy() = 0;
    virtual void SetLogger(IAudioEffectsLogger* logger) = 0;
    // Null data or zero bytes marks the end of the stream; the whole tail is
    // processed within that call.
    virtual void Push(const void* data, uint32_t bytes, int32_t timestamp) = 0;
    // *bytes holds the buffer size on entry and the bytes written on return;
    // *end turns true once the stream has ended and everything was pulled.
    virtual void Pull(void* data, uint32_t* bytes, bool* end) = 0;
    virtual void Reset() = 0;

protected:
    ~IAudioEffects() = default;
};

class LXFX_API AudioEffects : public IAudioEffects {
public:
    // Returns a front end with default settings, or null when out of memory.
    static AudioEffects* Create();

    virtual void SetBypassMode(bool bypass) = 0;
    virtual void SetLoudnessON(bool on) = 0;
    virtual void SetLoudnessParams(float gain, float peak) = 0;
    virtual void SetReverbON(bool on) = 0;
    virtual void SetReverbERParams(bool enable, uint32_t Pattern, float RoomSize,
                                   float SurroundDelay) = 0;
    virtual void SetReverbRVBParams(const ReverbParams* params) = 0;
    virtual void SetReverbTCON(bool on) = 0;
    // index is 1 to 3; any other value is ignored.
    virtual void SetReverbTCFilter(uint32_t index, const ReverbFilterParams* params) = 0;
    virtual void SetReverbInputLevel(float Center, float LFE) = 0;
    virtual void SetReverbRVBLevel(float Front, float Rear, float Center, float LFE) = 0;
    virtual void SetReverbOutputLevel(float Dry, float ER, float Reverb) = 0;
    virtual void SetStereoEnhancerON(bool on) = 0;
    virtual void SetStereoEnhancerParams(float presence, float stereoizer, bool spectrumShaper,
                                         uint32_t ambience) = 0;
    virtual void SetGraphEQON(bool on) = 0;
    // Ten gains in dB, lowest band first.
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
    // index is 0 to 8; any other value is ignored.
    virtual void SetParametricEQFilter(uint32_t index, const ParametricEQFilterParams* params) = 0;
    virtual void SetDelayON(bool on) = 0;
    virtual void SetDelayParams(const DelayEffectParams* params) = 0;
    virtual void SetVibratoON(bool on) = 0;
    virtual void SetVibratoParams(double Freq, double Range) = 0;
    virtual void SetTremoloON(bool on) = 0;
    virtual void SetTremoloParams(double Freq, double Range) = 0;
    virtual void SetFIRON(bool on) = 0;
    // A RIFF WAVE image in memory; the bytes are copied.
    virtual void SetFIRImpulse(const void* data, uint64_t size) = 0;
    virtual void SetHeadphoneON(bool on) = 0;
    virtual void SetHeadphoneImpulse(const void* data, uint64_t size) = 0;
    virtual void SetLimiterON(bool on) = 0;
    virtual void SetLimiterParams(const LimiterEffectParams* params) = 0;
    virtual void ResetEffects() = 0;
    // Writes every stored setting to the logger at level 2.
    virtual void DumpState() = 0;
    virtual void SetRotate3DON(bool on) = 0;
    virtual void SetRotate3DParams(float Velocity) = 0;
    virtual void SetSpatialAudioON(bool on) = 0;
    virtual void SetSpatialAudioParams(const SpatialAudioParams* params) = 0;

protected:
    ~AudioEffects() = default;
};

}  // namespace audiofx
