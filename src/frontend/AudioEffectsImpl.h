// The front end: takes interleaved PCM in chunks of any size, cuts it into
// blocks of bufferFrames, runs each through the chain and hands PCM of the same
// format back through a second FIFO. Keeps a copy of every setting so that a
// change of format, which rebuilds the chain, loses none.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "frontend/EffectSlots.h"
#include "frontend/ProcessorFactories.h"
#include "frontend/StoredSettings.h"
#include "lxaudioeffects/AudioEffects.h"

class AudioFifo;
class LXAudioEffectsProcessor;
class LXAudioEffectsProcessorImpl;

namespace audiofx {

class AudioEffectsImpl final : public AudioEffects {
public:
    AudioEffectsImpl();
    // For tests: a chain built from another set of effects.
    explicit AudioEffectsImpl(const ProcessorFactories& factories);
    virtual ~AudioEffectsImpl();

    bool Init(AUDIO_SAMPLEFORMAT format, uint32_t channels, uint32_t sampleRate,
              uint32_t bufferBytes) override;
    void Destroy() override;
    void SetLogger(IAudioEffectsLogger* logger) override;
    void Push(const void* data, uint32_t bytes, int32_t timestamp) override;
    void Pull(void* data, uint32_t* bytes, bool* end) override;
    void Reset() override;

    void SetBypassMode(bool bypass) override;
    void SetLoudnessON(bool on) override;
    void SetLoudnessParams(float gain, float peak) override;
    void SetReverbON(bool on) override;
    void SetReverbERParams(bool enable, uint32_t Pattern, float RoomSize,
                           float SurroundDelay) override;
    void SetReverbRVBParams(const ReverbParams* params) override;
    void SetReverbTCON(bool on) override;
    void SetReverbTCFilter(uint32_t index, const ReverbFilterParams* params) override;
    void SetReverbInputLevel(float Center, float LFE) override;
    void SetReverbRVBLevel(float Front, float Rear, float Center, float LFE) override;
    void SetReverbOutputLevel(float Dry, float ER, float Reverb) override;
    void SetStereoEnhancerON(bool on) override;
    void SetStereoEnhancerParams(float presence, float stereoizer, bool spectrumShaper,
                                 uint32_t ambience) override;
    void SetGraphEQON(bool on) override;
    void SetGraphEQGains(const float* gains) override;
    void SetBassTrebleON(bool on) override;
    void SetBassTrebleGains(float Bass, float Treble) override;
    void SetBassTrebleParams(float bassFreq, float bassQ, float trebleFreq, float trebleQ) override;
    void SetCompressorON(bool on) override;
    void SetCompressorParams(const CompressorEffectParams* params) override;
    void SetPostCompressorON(bool on) override;
    void SetPostCompressorParams(const CompressorEffectParams* params) override;
    void SetParametricEQON(bool on) override;
    void SetParametricEQGain(float Gain) override;
    void SetParametricEQFilter(uint32_t index, const ParametricEQFilterParams* params) override;
    void SetDelayON(bool on) override;
    void SetDelayParams(const DelayEffectParams* params) override;
    void SetVibratoON(bool on) override;
    void SetVibratoParams(double Freq, double Range) override;
    void SetTremoloON(bool on) override;
    void SetTremoloParams(double Freq, double Range) override;
    void SetFIRON(bool on) override;
    void SetFIRImpulse(const void* data, uint64_t size) override;
    void SetHeadphoneON(bool on) override;
    void SetHeadphoneImpulse(const void* data, uint64_t size) override;
    void SetLimiterON(bool on) override;
    void SetLimiterParams(const LimiterEffectParams* params) override;
    void ResetEffects() override;
    void DumpState() override;
    void SetRotate3DON(bool on) override;
    void SetRotate3DParams(float Velocity) override;
    void SetSpatialAudioON(bool on) override;
    void SetSpatialAudioParams(const SpatialAudioParams* params) override;

private:
    void ResetSteps();
    void ReleaseSteps();
    bool Fail();
    void ApplyStoredSettings();
    // One pass of the block loop, through the chain or past it; mutex held.
    uint32_t ProcessBlock(bool* done);
    uint32_t PassBlockThrough();
    // Stores a switch and passes it on, with its log line, when a chain exists.
    void SetSwitch(Slot slot, bool on);
    // Logs a switch and passes it to the chain; mutex held.
    void ForwardSwitch(const char* format, bool on, void (LXAudioEffectsProcessor::*op)(bool));
    template <typename... Args>
    void Log(int32_t level, const char* format, Args... args) const
    {
        if (IAudioEffectsLogger* sink = logger.load(std::memory_order_acquire))
            sink->Log("AudioEffects", level, format, args...);
    }

    // Guards the chain, the FIFOs, the work buffer and the stored settings;
    // every setter stores and forwards under it.
    std::mutex mutex;
    const ProcessorFactories& factories;
    LXAudioEffectsProcessorImpl* processor = nullptr;
    AudioFifo* inFifo = nullptr;
    AudioFifo* outFifo = nullptr;
    uint8_t* outBuffer = nullptr;
    bool endOfStream = false;
    int32_t sampleFormat = -1;
    uint32_t bufferFrames = 2048;
    uint32_t channels = 0xffffffffu;
    uint32_t sampleRate = 0xffffffffu;
    uint32_t bytesPerSample = 2;

    StoredSettings stored;

    // Set without the lock, read by whichever thread logs.
    std::atomic<IAudioEffectsLogger*> logger{nullptr};
    int32_t timestamp = -1;
};

}  // namespace audiofx
