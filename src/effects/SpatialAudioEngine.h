// The DSP of spatial audio on blocks of its own fixed form: 44100 or
// 48000 Hz, two channels, 512 frames, 1024-point transforms.
//
// Per block: a primary signal (L + R) * 0.707, high-passed at 240 Hz, and an
// ambient signal (L - R) * 0.707, high-passed at 120 Hz, delayed by 2 ms,
// with its inverse delayed 2 ms more, feed a ring of virtual loudspeakers
// (head-related responses of SpatialAudioResponses):
//   centre        primary           slots 0, 1 to the left, right ear
//   front pair    left input only   slots 2 + 4 to the left ear, 3 + 5 to
//                                   the right (4 and 5 one table); the right
//                                   input takes no part, intended
//   side pair     ambient to the left speaker, inverted ambient to the right:
//                 left ear  = ambient * slot 6 + inverted * slot 8,
//                 right ear = inverted * slot 7 + ambient * slot 9
//                 (first terms same input per column, second terms crossed)
//   rear pair     as the side pair, slots 10 to 13
//   extra pair    as the side pair, slots 14 to 17, at 0.5 and no setter
// Azimuths: centre 0, front +-30, side +-90, rear +-135, extra +-60 degrees.
// Each ear's sum, with the speakers' gains, is added to the untouched input;
// then x 0.9 and a clip to [-1, 1]. With enhance on, the small reverb runs
// over both channels and the right channel lags 5 ms behind the left.
//
// How: the four real inputs (primary, ambient, inverted ambient, left) take
// one packed real transform each (FFmpegRealFft); the right input's transform
// would be read by nothing and is skipped. The products are summed per ear
// in the frequency domain with the gains of the block (SpatialEarBins,
// four bins per SSE step on tables split at Init), in two groups, since
// Reset clears one and keeps the other: the extra pair (whose overlap Reset
// keeps, intended) and all the others. So each block takes four forward and
// four inverse real transforms, the work of two complex ones each way,
// against five and ten complex in the plain form. A block's tail carries the
// gains the block was made with: a gain change reaches the tail of the block
// before one block later; intended, it smooths the change.
//
// LFE: a gain is kept for it, and nothing reads it; intended, no virtual
// speaker carries low frequencies.
#pragma once

#include <cstdint>

#include "common/FFmpegFft.h"
#include "effects/BiquadFilter.h"
#include "effects/SpatialReverb.h"

class SpatialAudioEngine {
public:
    static constexpr uint32_t kChannels = 2;
    static constexpr uint32_t kBlockFrames = 512;
    static constexpr int kFftBits = 10;
    static constexpr uint32_t kFftPoints = 1024;
    static constexpr uint32_t kBins = kFftPoints / 2 + 1;

    // The gains, in order.
    enum Gain { kCenter, kLfe, kFrontLeft, kFrontRight, kSideLeft, kSideRight, kRearLeft, kRearRight,
                kExtraLeft, kExtraRight, kGains };

    // Null when out of memory.
    static SpatialAudioEngine* Create();
    void Destroy();

    // False unless channels is 2 and blockFrames 512, or when memory runs
    // out. A rate of 48000 takes the 48 kHz extra pair, any other the
    // 44.1 kHz one. Gains back to their factors, enhance kept.
    bool Init(uint32_t sampleRate, uint32_t channels, uint32_t blockFrames);
    // In place on planes[0] (left) and planes[1] (right), which hold 512
    // frames each; *frames valid frames (at most 512) in, frames given out.
    void Process(float* const* planes, uint32_t* frames);
    // Overlap, filters, delays and reverb silent, but the extra pair's
    // overlap, which is kept; intended. Gains and enhance kept.
    void Reset();

    // Levels in dB, as gain = 10^(dB/20) * factor (1 for centre and LFE, 0.3
    // front, 0.5 side and rear). A NaN keeps the previous gain; the level is
    // held at or below kMaxGainDb, so +inf gives that; -inf gives 0.
    void SetCenter(float db) { SetGain(kCenter, db, 1.0); }
    void SetLfe(float db) { SetGain(kLfe, db, 1.0); }
    void SetFrontLeft(float db) { SetGain(kFrontLeft, db, 0.3); }
    void SetFrontRight(float db) { SetGain(kFrontRight, db, 0.3); }
    void SetSideLeft(float db) { SetGain(kSideLeft, db, 0.5); }
    void SetSideRight(float db) { SetGain(kSideRight, db, 0.5); }
    void SetRearLeft(float db) { SetGain(kRearLeft, db, 0.5); }
    void SetRearRight(float db) { SetGain(kRearRight, db, 0.5); }
    void SetEnhance(bool enhance_) { enhance = enhance_; }

    static constexpr float kMaxGainDb = 24.0f;

    float GainOf(Gain which) const { return gains[which]; }
    bool Enhance() const { return enhance; }
    bool WarmingUp() const { return warmupCount < 1; }
    uint32_t OutputDelayFrames() const { return outputDelayLength; }
    uint32_t AmbientDelayFrames() const { return ambientDelayLength; }
    const SpatialReverb& Reverb() const { return reverb; }

private:
    SpatialAudioEngine() = default;
    ~SpatialAudioEngine();
    SpatialAudioEngine(const SpatialAudioEngine&) = delete;
    SpatialAudioEngine& operator=(const SpatialAudioEngine&) = delete;

    void Release();
    void SetGain(Gain which, float db, double factor);
    void CombineSpectra();

    SpatialReverb reverb;
    BiquadFilter* primaryFilter = nullptr;
    BiquadFilter* ambientFilter = nullptr;
    FFmpegRealFft* fft = nullptr;

    // One FFT buffer holds the arrays below, each on a 64-byte boundary.
    float* storage = nullptr;
    float* primarySpectrum = nullptr;  // kFftPoints each, packed real spectra
    float* ambientSpectrum = nullptr;
    float* ambientInvertedSpectrum = nullptr;
    float* leftSpectrum = nullptr;
    float* mainLeft = nullptr;  // centre, front, side and rear, per ear
    float* mainRight = nullptr;
    float* extraLeft = nullptr;
    float* extraRight = nullptr;
    const float* splitResponses[18] = {};  // kFftPoints each, the tables split for SumEarBinsSse
    float* overlapMainLeft = nullptr;  // kBlockFrames each
    float* overlapMainRight = nullptr;
    float* overlapExtraLeft = nullptr;
    float* overlapExtraRight = nullptr;
    // The three delays: rings of fixed length, with room for 48 kHz.
    float* outputDelay = nullptr;
    float* ambientDelay = nullptr;
    float* ambientInvertedDelay = nullptr;
    uint32_t outputDelayLength = 0;
    uint32_t ambientDelayLength = 0;
    uint32_t outputDelayAt = 0;
    uint32_t ambientDelayAt = 0;
    uint32_t ambientInvertedDelayAt = 0;

    uint32_t sampleRate = 0;
    uint32_t blockFrames = 0;
    float gains[kGains] = {1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f};
    bool enhance = true;
    uint32_t warmupCount = 1;
};
