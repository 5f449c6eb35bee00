// The chain: owns one instance of each effect and runs a block through them
// in a fixed order, in place on one planar float buffer. The only format
// conversions are at its two ends.
#pragma once

#include <cstdint>
#include <mutex>

#include "frontend/EffectSlots.h"
#include "frontend/ProcessorFactories.h"
#include "lxaudioeffects/LXAudioEffectsProcessor.h"

class OvSampleConverter;

class LXAudioEffectsProcessorImpl final : public LXAudioEffectsProcessor {
public:
    explicit LXAudioEffectsProcessorImpl(const ProcessorFactories& factories);
    virtual ~LXAudioEffectsProcessorImpl();

    bool Init(AUDIO_SAMPLEFORMAT format, uint32_t maxFrames, uint32_t channels,
              uint32_t sampleRate) override;
    void Destroy() override;
    void Process(void* data, uint32_t* frames, bool* done, int32_t timestamp) override;
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
    void SetRotate3DON(bool on) override;
    void SetRotate3DParams(float Velocity) override;
    void SetSpatialAudioON(bool on) override;
    void SetSpatialAudioParams(const SpatialAudioParams* params) override;
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
    void SetFIRON(bool on) override;
    void SetFIRImpulse(const void* data, uint64_t size) override;
    void SetHeadphoneON(bool on) override;
    void SetHeadphoneImpulse(const void* data, uint64_t size) override;
    void SetVibratoON(bool on) override;
    void SetVibratoParams(double Freq, double Range) override;
    void SetTremoloON(bool on) override;
    void SetTremoloParams(double Freq, double Range) override;
    void SetLimiterON(bool on) override;
    void SetLimiterParams(const LimiterEffectParams* params) override;
    void ResetEffects() override;

    // True when Process would hand every block back unchanged, with its frame
    // count and end flag: no effect exists, and the format comes through the
    // float planes bit for bit (8-bit, 16-bit, planar float). Valid until the
    // next Init or impulse load; the front end asks once per block.
    bool PassesThrough();

private:
    bool PassesThroughLocked() const;
    void Release();
    // Destroys an effect and clears its slot; an FIR effect that a load is
    // still filling is only unhooked, and the load destroys it.
    void Drop(Slot slot);
    bool CreateEffects();
    AudioProcessor* Make(Slot slot) const;
    // Bypass for an effect by the slot's rule and the switch given.
    bool BypassFor(Slot slot, bool on) const
    {
        return Info(slot).followsBypassMode ? !(on && !bypassMode) : !on;
    }
    // Stores a switch and passes the bypass to the effect, under the lock.
    void Switch(Slot slot, bool on);
    template <Slot S>
    SlotType<S>* Get() const
    {
        return static_cast<SlotType<S>*>(effects[Index(S)]);
    }
    // Turns a headphone image into the impulse the processor takes; leaves
    // the image as it came when it cannot be converted.
    void PrepareHeadphoneImpulse(const void* data, void** out_pImpulse, uint64_t* in_impulse_size,
                                 float* in_fBypassedGain, float* in_fActiveGain);

    const ProcessorFactories& factories;

    OvSampleConverter* inputConverter = nullptr;
    OvSampleConverter* outputConverter = nullptr;
    AudioProcessor* effects[kSlotCount] = {};

    std::mutex mutex;
    // Serialises SetFIRImpulse calls, which fill the FIR effect outside
    // mutex; taken before it.
    std::mutex firLoadMutex;
    // The FIR effect a load is filling, and a count that Init and a drop of
    // that effect advance, so that the load knows its effect is no longer
    // wanted. Both under mutex.
    AudioProcessor* firLoading = nullptr;
    uint32_t firLoadEpoch = 0;
    uint32_t sampleFormat = 0;
    uint32_t maxFrames = 0;
    uint32_t channels = 0;
    uint32_t sampleRate = 0;
    float* floatBuffer = nullptr;
    uint32_t floatBufferBytes = 0;

    bool bypassMode = false;
    // Per slot; only the limiter starts on.
    bool switches[kSlotCount] = {};
};
