// Loudness normalisation at the head of the chain: applies a gain measured
// elsewhere (relative to a -18 dB reference), moved to the target level,
// -12 dB by default, so a track ends 6 dB above its measured gain. A new gain
// applies at once; switching on or off ramps over the next block. No peak
// check: a gain above 1 may exceed full scale until the limiter.
#pragma once

#include <cstdint>

#include "wrappers/LoudnessProcessor.h"

class LoudnessProcessorImpl final : public LoudnessProcessor {
public:
    static constexpr float kReferenceLoudnessDb = -18.0f;
    static constexpr float kDefaultTargetLoudnessDb = -12.0f;

    LoudnessProcessorImpl() = default;

    bool Init(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate) override;
    void Destroy() override { delete this; }
    // At unity it costs two comparisons.
    void Process(float* samples, bool* draining, uint32_t* frames) override;
    // Takes effect as a ramp over the next block.
    void SetBypass(bool bypass) override;
    // Drops a pending ramp: the current gain jumps to the target.
    void Reset() override { fCurrentGain = fTargetGain; }
    // Gain in dB (+-40) and peak (kept, not used). A changed gain applies
    // without a ramp. A NaN keeps the previous value.
    void SetParams(const LoudnessInfo& info) override;
    // dB (-60 to 0); takes effect with the next change of gain or bypass.
    void SetTargetLevel(float targetLoudnessDb);

    float CurrentGain() const { return fCurrentGain; }
    float TargetGain() const { return fTargetGain; }

private:
    ~LoudnessProcessorImpl() = default;
    float LinearGain() const;

    uint32_t maxFrames = 0;
    uint32_t channels = 0;
    uint32_t sampleRate = 0;
    float fGain = 0.0f;  // dB
    float fPeak = 1.0f;
    float fTargetGain = 1.0f;  // linear
    float fCurrentGain = 1.0f;  // linear
    float fTargetLoudness = kDefaultTargetLoudnessDb;  // dB
    bool bBypass = false;
};
