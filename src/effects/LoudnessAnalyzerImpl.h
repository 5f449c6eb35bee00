// K-weighted loudness meter with gating, for ReplayGain. Each channel passes a
// 38 Hz high pass (Q 0.5) and then a +4 dB shelf around 1502.9 Hz (Q 0.71),
// both designed for the sample rate at Init, in float. Squares are summed in
// double over all channels with weight 1 (no surround weighting) into 100 ms
// blocks (sampleRate / 10 frames) that feed two gated measurements: the album
// one, which a new Init keeps, and the track one. Gains are against a
// reference of -18; peaks are linear sample peaks of the input.
// Process takes planar floats at a stride of maxFrames.
#pragma once

#include <cstdint>

#include "effects/LoudnessGating.h"
#include "common/AudioProcessor.h"
#include "lxaudioeffects/ReplayGainProcessor.h"

class LoudnessAnalyzerImpl final : public AudioProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static LoudnessAnalyzerImpl* Create();

    bool Init(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate) override;
    void Destroy() override;
    // *last closes the open 100 ms block once this call's frames are used up.
    void Process(float* samples, bool* last, uint32_t* frames) override;
    void SetBypass(bool bypass) override;
    // Clears both measurements; filter state and the open block stay.
    void Reset() override;
    // gain = reference - loudness; ReplayGainTrack (0) or the album (any other).
    void GetResult(ReplayGainType type, ReplayGainInfo& info) const;
    void ResetResult(ReplayGainType type);
    double GetReferenceLoudness() const { return -18.0; }

    virtual ~LoudnessAnalyzerImpl();

    // Holders sharing this analyser (copies of one ReplayGainProcessor).
    void AddOwner() { ++owners; }
    // Returns true when the caller was the last holder.
    bool ReleaseOwner() { return --owners == 0; }

private:
    // Direct-form biquad in float: y = b0 x + b1 x1 + b2 x2 - a1 y1 - a2 y2.
    struct Stage {
        float b0 = 1.0f, b1 = 0.0f, b2 = 0.0f, a1 = 0.0f, a2 = 0.0f;
        float x1 = 0.0f, x2 = 0.0f, y1 = 0.0f, y2 = 0.0f;
    };

    LoudnessAnalyzerImpl() = default;
    void ReleaseFilters();
    // Run frames samples of one channel, or of two side by side, through both
    // stages; return the sum of squared outputs and raise peak.
    static double FilterChannel(const float* in, uint32_t frames, Stage& highPass, Stage& shelf,
                                float& peak);
    static double FilterChannelPair(const float* inA, const float* inB, uint32_t frames, Stage* highPass,
                                    Stage* shelf, float& peak);

    uint32_t maxFrames = 0;
    uint32_t channels = 0;
    uint32_t sampleRate = 0;
    uint32_t blockFrames = 0;
    uint32_t blockPosition = 0;
    double blockEnergy = 0.0;
    Stage* stage1Filters = nullptr;  // high pass, per channel
    Stage* stage2Filters = nullptr;  // shelf, per channel
    LoudnessGating albumGating;
    LoudnessGating trackGating;
    float albumPeak = 0.0f;
    float trackPeak = 0.0f;
    bool bypass = false;
    uint32_t owners = 1;
};
