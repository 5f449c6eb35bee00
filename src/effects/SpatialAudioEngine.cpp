#include "effects/SpatialAudioEngine.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "effects/SpatialAudioResponses.h"
#include "effects/SpatialEarBins.h"

namespace {

static_assert(SpatialAudioEngine::kBins == kSpatialAudioResponseBins, "the tables hold the engine's bins");

constexpr uint32_t kPoints = SpatialAudioEngine::kFftPoints;
constexpr uint32_t kBlock = SpatialAudioEngine::kBlockFrames;
// FFmpegRealFft's inverse gives (N/2) y.
constexpr float kInverseScale = 1.0f / float(kPoints / 2);
constexpr float kOutputScale = 0.9f;
constexpr double kPrimaryHighPassHz = 240.0;
constexpr double kAmbientHighPassHz = 120.0;
constexpr double kHighPassQ = 0.5;
constexpr double kOutputDelaySeconds = 0.005;
constexpr double kAmbientDelaySeconds = 0.002;
constexpr uint32_t kMaxRate = 48000;
constexpr double kFactors[SpatialAudioEngine::kGains] = {1.0, 1.0, 0.3, 0.3, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5};

constexpr size_t kLineFloats = kFftAlignmentBytes / sizeof(float);
constexpr size_t Lines(size_t floats)
{
    return (floats + kLineFloats - 1) / kLineFloats * kLineFloats;
}
constexpr size_t kOutputDelayFloats = Lines(size_t(kMaxRate * kOutputDelaySeconds) + 1);
constexpr size_t kAmbientDelayFloats = Lines(size_t(kMaxRate * kAmbientDelaySeconds) + 1);
constexpr size_t kStorageFloats = (8 + kSpatialAudioSlots) * size_t(kPoints) + 4 * size_t(kBlock) +
                                  kOutputDelayFloats + 2 * kAmbientDelayFloats;

// A delay ring of fixed length over n values in place: each value swaps
// with the ring's oldest. Runs of the ring between wraps, so no per-value
// wrap test.
void Delay(float* ring, uint32_t length, uint32_t& at, float* data, uint32_t n)
{
    while (n > 0) {
        const uint32_t run = std::min(n, length - at);
        float* r = ring + at;
        for (uint32_t i = 0; i < run; ++i) {
            const float y = r[i];
            r[i] = data[i];
            data[i] = y;
        }
        data += run;
        n -= run;
        at = at + run == length ? 0 : at + run;
    }
}

// NaN has no place in [-1, 1]: it leaves as 0.
inline float Clip(float x)
{
    if (x > 1.0f)
        return 1.0f;
    if (x < -1.0f)
        return -1.0f;
    return x == x ? x : 0.0f;
}

bool InitHighPass(BiquadFilter* filter, uint32_t sampleRate, double frequency)
{
    if (!filter || !filter->Init(3, int32_t(sampleRate), 1))
        return false;
    BiquadParams p;
    p.type = BIQUAD_TYPE_HIGHPASS;
    p.poles = 2;
    p.widthType = BIQUAD_WIDTH_QFACTOR;
    p.width = kHighPassQ;
    p.gain = 0.0;
    p.mix = 1.0;
    p.frequency = frequency;
    return filter->SetParams(p);
}

}  // namespace

SpatialAudioEngine* SpatialAudioEngine::Create()
{
    return new (std::nothrow) SpatialAudioEngine();
}

void SpatialAudioEngine::Destroy()
{
    delete this;
}

SpatialAudioEngine::~SpatialAudioEngine()
{
    Release();
}

void SpatialAudioEngine::Release()
{
    if (primaryFilter)
        primaryFilter->Destroy();
    if (ambientFilter)
        ambientFilter->Destroy();
    primaryFilter = ambientFilter = nullptr;
    if (fft)
        fft->Destroy();
    fft = nullptr;
    FreeFftBuffer(storage);
    storage = nullptr;
    primarySpectrum = ambientSpectrum = ambientInvertedSpectrum = leftSpectrum = nullptr;
    mainLeft = mainRight = extraLeft = extraRight = nullptr;
    overlapMainLeft = overlapMainRight = overlapExtraLeft = overlapExtraRight = nullptr;
    outputDelay = ambientDelay = ambientInvertedDelay = nullptr;
    sampleRate = blockFrames = 0;
}

bool SpatialAudioEngine::Init(uint32_t sampleRate_, uint32_t channels, uint32_t blockFrames_)
{
    Release();
    if (channels != kChannels || blockFrames_ != kBlockFrames || sampleRate_ == 0)
        return false;
    blockFrames = blockFrames_;
    primaryFilter = BiquadFilter::Create();
    ambientFilter = BiquadFilter::Create();
    fft = FFmpegRealFft::Create(kFftBits);
    storage = static_cast<float*>(AllocateFftBuffer(kStorageFloats * sizeof(float)));
    if (!reverb.Init(sampleRate_, kChannels) || !reverb.Configure(5.0f, 25.0f, 0.35f) ||
        !InitHighPass(primaryFilter, sampleRate_, kPrimaryHighPassHz) ||
        !InitHighPass(ambientFilter, sampleRate_, kAmbientHighPassHz) || !fft || !storage) {
        Release();
        return false;
    }
    const bool at48k = sampleRate_ == 48000;
    // The engine runs at 44.1 or 48 kHz; other rates, as a caller's
    // mistake, are held to 48 kHz's lengths so the rings stay in bounds.
    const uint32_t delayRate = std::min(sampleRate_, kMaxRate);
    outputDelayLength = std::max(1u, uint32_t(std::floor(delayRate * kOutputDelaySeconds)));
    ambientDelayLength = std::max(1u, uint32_t(std::floor(delayRate * kAmbientDelaySeconds)));

    std::memset(storage, 0, kStorageFloats * sizeof(float));
    float* at = storage;
    float** const spectra[] = {&primarySpectrum, &ambientSpectrum, &ambientInvertedSpectrum, &leftSpectrum,
                               &mainLeft, &mainRight, &extraLeft, &extraRight};
    for (float** p : spectra) {
        *p = at;
        at += kPoints;
    }
    for (uint32_t s = 0; s < kSpatialAudioSlots; ++s) {
        SplitSpatialResponse(s < kSpatialAudioSharedSlots
                                 ? kSpatialAudioSharedResponses[s]
                                 : (at48k ? kSpatialAudioExtraResponses48k : kSpatialAudioExtraResponses44k)
                                       [s - kSpatialAudioSharedSlots],
                             at);
        splitResponses[s] = at;
        at += kPoints;
    }
    float** const overlaps[] = {&overlapMainLeft, &overlapMainRight, &overlapExtraLeft, &overlapExtraRight};
    for (float** p : overlaps) {
        *p = at;
        at += kBlock;
    }
    outputDelay = at;
    ambientDelay = at += kOutputDelayFloats;
    ambientInvertedDelay = at += kAmbientDelayFloats;
    outputDelayAt = ambientDelayAt = ambientInvertedDelayAt = 0;

    sampleRate = sampleRate_;
    for (int g = 0; g < kGains; ++g)
        gains[g] = float(1.0 * kFactors[g]);
    warmupCount = 1;
    return true;
}

void SpatialAudioEngine::SetGain(Gain which, float db, double factor)
{
    // NaN would stick in the overlaps and the reverb's lines until Reset.
    if (std::isnan(db))
        return;
    const double level = std::min(double(db), double(kMaxGainDb));
    gains[which] = float(std::pow(10.0, level / 20.0) * factor);
}

void SpatialAudioEngine::Reset()
{
    if (!storage)
        return;
    std::fill(overlapMainLeft, overlapMainLeft + kBlock, 0.0f);
    std::fill(overlapMainRight, overlapMainRight + kBlock, 0.0f);
    reverb.Reset();
    primaryFilter->Reset();
    ambientFilter->Reset();
    std::fill(outputDelay, outputDelay + outputDelayLength, 0.0f);
    std::fill(ambientDelay, ambientDelay + ambientDelayLength, 0.0f);
    std::fill(ambientInvertedDelay, ambientInvertedDelay + ambientDelayLength, 0.0f);
    outputDelayAt = ambientDelayAt = ambientInvertedDelayAt = 0;
    warmupCount = 1;
}

// The four per-ear sums of the block's products, bins 0 to 512, in the
// packed layout.
void SpatialAudioEngine::CombineSpectra()
{
    const SpatialEarGains g{gains[kCenter],    gains[kFrontLeft], gains[kFrontRight],
                            gains[kSideLeft],  gains[kSideRight], gains[kRearLeft],
                            gains[kRearRight], gains[kExtraLeft], gains[kExtraRight]};
    SumEarBinsSse({primarySpectrum, ambientSpectrum, ambientInvertedSpectrum, leftSpectrum}, splitResponses, g,
                     {mainLeft, mainRight, extraLeft, extraRight});
}

void SpatialAudioEngine::Process(float* const* planes, uint32_t* frames)
{
    if (!storage || !planes || !frames)
        return;
    const uint32_t n = std::min(*frames, kBlock);
    float* const left = planes[0];
    float* const right = planes[1];

    // Primary and ambient over the whole block, the factor in double.
    float* const primary = primarySpectrum;
    float* const ambient = ambientSpectrum;
    float* const inverted = ambientInvertedSpectrum;
    for (uint32_t i = 0; i < kBlock; ++i) {
        primary[i] = float(double(left[i] + right[i]) * 0.707);
        ambient[i] = float(double(left[i] - right[i]) * 0.707);
    }
    void* primaryPlane[1] = {primary};
    void* ambientPlane[1] = {ambient};
    primaryFilter->Process(primaryPlane, int32_t(kBlock));
    ambientFilter->Process(ambientPlane, int32_t(kBlock));
    // Decorrelation: the ambient signal 2 ms late, its inverse 2 ms later.
    Delay(ambientDelay, ambientDelayLength, ambientDelayAt, ambient, kBlock);
    for (uint32_t i = 0; i < kBlock; ++i)
        inverted[i] = -ambient[i];
    Delay(ambientInvertedDelay, ambientDelayLength, ambientInvertedDelayAt, inverted, kBlock);
    std::copy(left, left + kBlock, leftSpectrum);
    for (float* s : {primary, ambient, inverted, leftSpectrum}) {
        std::fill(s + kBlock, s + kPoints, 0.0f);
        fft->Forward(s);
    }

    CombineSpectra();
    for (float* s : {mainLeft, mainRight, extraLeft, extraRight})
        fft->Inverse(s);

    for (uint32_t i = 0; i < n; ++i) {
        const float l = left[i] + (mainLeft[i] * kInverseScale + overlapMainLeft[i]) +
                        (extraLeft[i] * kInverseScale + overlapExtraLeft[i]);
        const float r = right[i] + (mainRight[i] * kInverseScale + overlapMainRight[i]) +
                        (extraRight[i] * kInverseScale + overlapExtraRight[i]);
        left[i] = Clip(l * kOutputScale);
        right[i] = Clip(r * kOutputScale);
    }
    for (uint32_t i = 0; i < kBlock; ++i) {
        overlapMainLeft[i] = mainLeft[kBlock + i] * kInverseScale;
        overlapMainRight[i] = mainRight[kBlock + i] * kInverseScale;
        overlapExtraLeft[i] = extraLeft[kBlock + i] * kInverseScale;
        overlapExtraRight[i] = extraRight[kBlock + i] * kInverseScale;
    }

    if (enhance) {
        reverb.Process(planes, n);
        Delay(outputDelay, outputDelayLength, outputDelayAt, right, n);
    }

    if (warmupCount < 1) {
        ++warmupCount;
        *frames = 0;
    } else {
        *frames = n;
    }
}
