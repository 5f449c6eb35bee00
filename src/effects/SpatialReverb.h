// Small reverberation for spatial audio's enhance mode: per channel a
// feedback delay network of four lines whose lengths are powers of 2, 3, 5
// and 7 (so mutually prime) spread between the times sound takes across a
// small and a large room, fed back through a 0.345-scaled Hadamard matrix
// (row gain 0.69, so the tail always decays) with a one-pole damping filter
// in each path. The channels never mix.
//
// The rows of the matrix are summed one line at a time, each line shifted
// before the next row reads: row 1 already sees line 0 one entry on, and so
// on. Intended; it is this reverb's sound.
//
// Two channels whose lines stand at the same positions (the usual case) run
// together, one per lane of SSE2 double vectors, with the per-channel
// form's arithmetic in its order: the same bits.
#pragma once

#include <cstdint>

class SpatialReverb {
public:
    static constexpr uint32_t kLines = 4;

    SpatialReverb() = default;
    ~SpatialReverb();
    SpatialReverb(const SpatialReverb&) = delete;
    SpatialReverb& operator=(const SpatialReverb&) = delete;

    // False, holding nothing, when sampleRate or channels is 0 or memory runs
    // out. Configures with rooms of 5 and 25 m and a wet share of 0.5.
    bool Init(uint32_t sampleRate, uint32_t channels);
    // Room sizes in metres, wet share in [0, 1]. Sizes that are not positive
    // and finite, or a NaN wet share, keep the previous values (a size of 0
    // would reach a logarithm); lines are held to [1, kMaxLineFrames]
    // frames. Resizing keeps the oldest entries that fit. Allocates; false
    // when memory runs out, the old lines kept.
    bool Configure(float minRoomSize, float maxRoomSize, float wet);
    // In place, one array per channel.
    bool Process(float* const* channelData, uint32_t frames);
    // Lines and damping state silent.
    void Reset();

    uint32_t DelayLength(uint32_t line) const { return line < kLines ? delayLengths[line] : 0; }
    float Wet() const { return wet; }

    static constexpr uint32_t kMaxLineFrames = 1u << 20;

private:
    void Release();
    void ProcessChannel(uint32_t c, float* data, uint32_t frames);
    void ProcessPair(float* left, float* right, uint32_t frames);

    uint32_t sampleRate = 0;
    uint32_t channels = 0;
    float minRoomSize = 5.0f;
    float maxRoomSize = 25.0f;
    float wet = 0.5f;
    float direct = 1.0f;
    float inputGains[kLines] = {0.4f, 0.4f, 0.4f, 0.4f};
    float outputGains[kLines] = {0.4f, 0.4f, 0.4f, 0.4f};
    double feedbackMatrix[kLines][kLines] = {};
    uint32_t delayLengths[kLines] = {};
    float damping = 0.25f;
    // channels * kLines rings, line l of channel c at lineStart[l] + c * framesPerChannel.
    float* lines = nullptr;
    uint32_t framesPerChannel = 0;
    uint32_t lineStart[kLines] = {};
    uint32_t* positions = nullptr;  // channels * kLines: the oldest entry of each ring
    double* filterState = nullptr;  // channels * kLines
};
