#include "effects/SpatialAudioEngine.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "effects/SpatialAudioResponses.h"

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
constexpr size_t kStorageFloats = 8 * size_t(kPoints) + 4 * size_t(kBlock) + kOutputDelayFloats + 2 * kAmbientDelayFloats;

// One step of a delay ring of fixed length: the oldest value out, x in.
inline float Delay(float* ring, uint32_t length, uint32_t& at, float x)
{
    const float y = ring[at];
    ring[at] = x;
    at = at + 1 == length ? 0 : at + 1;
    return y;
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
    for (uint32_t s = 0; s < kSpatialAudioSlots; ++s)
        responses[s] = s < kSpatialAudioSharedSlots
                           ? kSpatialAudioSharedResponses[s]
                           : (at48k ? kSpatialAudioExtraResponses48k : kSpatialAudioExtraResponses44k)
                                 [s - kSpatialAudioSharedSlots];
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
// packed layout: [0] bin 0 and [1] bin 512, both real, then bins 1 to 511
// as re, im. The tables' bins 0 and 512 are real.
void SpatialAudioEngine::CombineSpectra()
{
    const float gc = gains[kCenter], gfl = gains[kFrontLeft], gfr = gains[kFrontRight];
    const float gsl = gains[kSideLeft], gsr = gains[kSideRight], grl = gains[kRearLeft], grr = gains[kRearRight];
    const float gel = gains[kExtraLeft], ger = gains[kExtraRight];
    const float* const* h = responses;
    const float* P = primarySpectrum;
    const float* A = ambientSpectrum;
    const float* I = ambientInvertedSpectrum;
    const float* L = leftSpectrum;

    // Bin 0 at [0] of both, bin 512 at [1] of the spectra and [1024] of the tables.
    for (int edge = 0; edge < 2; ++edge) {
        const size_t x = size_t(edge), t = edge ? 2 * (kBins - 1) : 0;
        const float p = P[x], a = A[x], i = I[x], l = L[x];
        mainLeft[x] = gc * (p * h[0][t]) + gfl * (l * h[2][t] + l * h[4][t]) + gsl * (a * h[6][t] + i * h[8][t]) +
                      grl * (a * h[10][t] + i * h[12][t]);
        mainRight[x] = gc * (p * h[1][t]) + gfr * (l * h[3][t] + l * h[5][t]) + gsr * (i * h[7][t] + a * h[9][t]) +
                       grr * (i * h[11][t] + a * h[13][t]);
        extraLeft[x] = gel * (a * h[14][t] + i * h[16][t]);
        extraRight[x] = ger * (i * h[15][t] + a * h[17][t]);
    }
    for (size_t k = 2; k < kPoints; k += 2) {
        const float pr = P[k], pi = P[k + 1], ar = A[k], ai = A[k + 1];
        const float ir = I[k], ii = I[k + 1], lr = L[k], li = L[k + 1];
        auto re = [k](float xr, float xi, const float* t) { return xr * t[k] - xi * t[k + 1]; };
        auto im = [k](float xr, float xi, const float* t) { return xr * t[k + 1] + xi * t[k]; };
        mainLeft[k] = gc * re(pr, pi, h[0]) + gfl * (re(lr, li, h[2]) + re(lr, li, h[4])) +
                      gsl * (re(ar, ai, h[6]) + re(ir, ii, h[8])) + grl * (re(ar, ai, h[10]) + re(ir, ii, h[12]));
        mainLeft[k + 1] = gc * im(pr, pi, h[0]) + gfl * (im(lr, li, h[2]) + im(lr, li, h[4])) +
                          gsl * (im(ar, ai, h[6]) + im(ir, ii, h[8])) + grl * (im(ar, ai, h[10]) + im(ir, ii, h[12]));
        mainRight[k] = gc * re(pr, pi, h[1]) + gfr * (re(lr, li, h[3]) + re(lr, li, h[5])) +
                       gsr * (re(ir, ii, h[7]) + re(ar, ai, h[9])) + grr * (re(ir, ii, h[11]) + re(ar, ai, h[13]));
        mainRight[k + 1] = gc * im(pr, pi, h[1]) + gfr * (im(lr, li, h[3]) + im(lr, li, h[5])) +
                           gsr * (im(ir, ii, h[7]) + im(ar, ai, h[9])) + grr * (im(ir, ii, h[11]) + im(ar, ai, h[13]));
        extraLeft[k] = gel * (re(ar, ai, h[14]) + re(ir, ii, h[16]));
        extraLeft[k + 1] = gel * (im(ar, ai, h[14]) + im(ir, ii, h[16]));
        extraRight[k] = ger * (re(ir, ii, h[15]) + re(ar, ai, h[17]));
        extraRight[k + 1] = ger * (im(ir, ii, h[15]) + im(ar, ai, h[17]));
    }
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
    for (uint32_t i = 0; i < kBlock; ++i)
        ambient[i] = Delay(ambientDelay, ambientDelayLength, ambientDelayAt, ambient[i]);
    for (uint32_t i = 0; i < kBlock; ++i)
        inverted[i] = Delay(ambientInvertedDelay, ambientDelayLength, ambientInvertedDelayAt, -ambient[i]);
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
        for (uint32_t i = 0; i < n; ++i)
            right[i] = Delay(outputDelay, outputDelayLength, outputDelayAt, right[i]);
    }

    if (warmupCount < 1) {
        ++warmupCount;
        *frames = 0;
    } else {
        *frames = n;
    }
}
