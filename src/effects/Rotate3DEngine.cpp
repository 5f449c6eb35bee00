#include "effects/Rotate3DEngine.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "effects/Rotate3DResponses.h"

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define LXFX_ROTATE3D_SSE 1
#endif

namespace {

static_assert(Rotate3DEngine::kBins == kRotate3DResponseBins, "the tables hold the engine's bins");
static_assert(sizeof(FftComplex) == 2 * sizeof(float), "a table row is read as FftComplex");

// Rows cover 0 to 180 degrees; the other half of the circle reads them mirrored.
constexpr int kLastRow = int(kRotate3DResponseRows) - 1;  // 36, at 180 degrees
constexpr int kMirror = 2 * kLastRow;                      // 72, at 360 degrees
constexpr float kDegreesPerRow = float(kRotate3DResponseDegreesPerRow);
// FFmpegRealFft's inverse gives (N/2) y.
constexpr float kInverseScale = 1.0f / float(Rotate3DEngine::kFftPoints / 2);
// Floats per array, rounded up to whole 64-byte lines.
constexpr size_t kLineFloats = kFftAlignmentBytes / sizeof(float);
constexpr size_t Lines(size_t floats)
{
    return (floats + kLineFloats - 1) / kLineFloats * kLineFloats;
}
constexpr size_t kResponseFloats = Lines(2 * Rotate3DEngine::kBins);
constexpr size_t kSpectrumFloats = Lines(Rotate3DEngine::kFftPoints);
constexpr size_t kOverlapFloats = Lines(Rotate3DEngine::kBlockFrames);
constexpr size_t kStorageFloats = 2 * kResponseFloats + 4 * kSpectrumFloats + 2 * kOverlapFloats;

const FftComplex* Row(const float (&set)[kRotate3DResponseRows][2 * kRotate3DResponseBins], int row)
{
    return reinterpret_cast<const FftComplex*>(set[row]);
}

// The loops below run four floats a step where SSE2 is there, with the very
// operations of their scalar forms, so both give the same bits.

// out = w * a + v * b, count floats.
void Blend(float w, float v, const float* a, const float* b, float* out, uint32_t count)
{
    uint32_t i = 0;
#if LXFX_ROTATE3D_SSE
    const __m128 w4 = _mm_set1_ps(w), v4 = _mm_set1_ps(v);
    for (; i + 4 <= count; i += 4)
        _mm_storeu_ps(out + i, _mm_add_ps(_mm_mul_ps(w4, _mm_loadu_ps(a + i)), _mm_mul_ps(v4, _mm_loadu_ps(b + i))));
#endif
    for (; i < count; ++i)
        out[i] = w * a[i] + v * b[i];
}

// sum = (l + r) * 0.707 and diff = (l - r) * 0.707, the factor in double.
void SumAndDifference(const float* l, const float* r, float* sum, float* diff, uint32_t count)
{
    uint32_t i = 0;
#if LXFX_ROTATE3D_SSE
    const __m128d factor = _mm_set1_pd(0.707);
    auto scale = [&factor](__m128 x) {
        const __m128 low = _mm_cvtpd_ps(_mm_mul_pd(_mm_cvtps_pd(x), factor));
        const __m128 high = _mm_cvtpd_ps(_mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(x, x)), factor));
        return _mm_movelh_ps(low, high);
    };
    for (; i + 4 <= count; i += 4) {
        const __m128 a = _mm_loadu_ps(l + i), b = _mm_loadu_ps(r + i);
        _mm_storeu_ps(sum + i, scale(_mm_add_ps(a, b)));
        _mm_storeu_ps(diff + i, scale(_mm_sub_ps(a, b)));
    }
#endif
    for (; i < count; ++i) {
        sum[i] = float(double(l[i] + r[i]) * 0.707);
        diff[i] = float(double(l[i] - r[i]) * 0.707);
    }
}

// Bins 1 to 511 of the packed spectra (floats 2 to 1023, re and im):
// P = diff * g once, then yl = sum * hl + P and yr = sum * hr - P.
void MultiplyBins(const float* sum, const float* diff, const float* g, const float* hl, const float* hr, float* yl,
                  float* yr)
{
    uint32_t i = 2;
#if LXFX_ROTATE3D_SSE
    // Two bins a step: x * h = (xr hr - xi hi, xr hi + xi hr).
    const __m128 negateRe = _mm_castsi128_ps(_mm_set_epi32(0, int(0x80000000u), 0, int(0x80000000u)));
    auto multiply = [&negateRe](__m128 x, __m128 h) {
        const __m128 re = _mm_shuffle_ps(x, x, _MM_SHUFFLE(2, 2, 0, 0));
        const __m128 im = _mm_shuffle_ps(x, x, _MM_SHUFFLE(3, 3, 1, 1));
        const __m128 swapped = _mm_shuffle_ps(h, h, _MM_SHUFFLE(2, 3, 0, 1));
        return _mm_add_ps(_mm_mul_ps(re, h), _mm_xor_ps(_mm_mul_ps(im, swapped), negateRe));
    };
    for (; i + 4 <= Rotate3DEngine::kFftPoints; i += 4) {
        const __m128 s = _mm_loadu_ps(sum + i);
        const __m128 p = multiply(_mm_loadu_ps(diff + i), _mm_loadu_ps(g + i));
        _mm_storeu_ps(yl + i, _mm_add_ps(multiply(s, _mm_loadu_ps(hl + i)), p));
        _mm_storeu_ps(yr + i, _mm_sub_ps(multiply(s, _mm_loadu_ps(hr + i)), p));
    }
#endif
    for (; i < Rotate3DEngine::kFftPoints; i += 2) {
        const float sr = sum[i], si = sum[i + 1];
        const float dr = diff[i], di = diff[i + 1];
        // a - b is a + (-b) to the bit, as the vector form computes it.
        const float pr = dr * g[i] - di * g[i + 1];
        const float pi = dr * g[i + 1] + di * g[i];
        yl[i] = (sr * hl[i] - si * hl[i + 1]) + pr;
        yl[i + 1] = (sr * hl[i + 1] + si * hl[i]) + pi;
        yr[i] = (sr * hr[i] - si * hr[i + 1]) - pr;
        yr[i + 1] = (sr * hr[i + 1] + si * hr[i]) - pi;
    }
}

// out = y * scale + add, count floats.
void ScaleAndAdd(const float* y, float scale, const float* add, float* out, uint32_t count)
{
    uint32_t i = 0;
#if LXFX_ROTATE3D_SSE
    const __m128 scale4 = _mm_set1_ps(scale);
    for (; i + 4 <= count; i += 4)
        _mm_storeu_ps(out + i, _mm_add_ps(_mm_mul_ps(_mm_loadu_ps(y + i), scale4), _mm_loadu_ps(add + i)));
#endif
    for (; i < count; ++i)
        out[i] = y[i] * scale + add[i];
}

// out = y * scale, count floats.
void Scale(const float* y, float scale, float* out, uint32_t count)
{
    uint32_t i = 0;
#if LXFX_ROTATE3D_SSE
    const __m128 scale4 = _mm_set1_ps(scale);
    for (; i + 4 <= count; i += 4)
        _mm_storeu_ps(out + i, _mm_mul_ps(_mm_loadu_ps(y + i), scale4));
#endif
    for (; i < count; ++i)
        out[i] = y[i] * scale;
}

}  // namespace

Rotate3DEngine* Rotate3DEngine::Create()
{
    return new (std::nothrow) Rotate3DEngine();
}

void Rotate3DEngine::Destroy()
{
    delete this;
}

Rotate3DEngine::~Rotate3DEngine()
{
    Release();
}

void Rotate3DEngine::Release()
{
    if (fft)
        fft->Destroy();
    fft = nullptr;
    FreeFftBuffer(storage);
    storage = nullptr;
    leftResponse = rightResponse = nullptr;
    sumSpectrum = diffSpectrum = leftSpectrum = rightSpectrum = nullptr;
    overlapLeft = overlapRight = nullptr;
    sampleRate = channels = blockFrames = 0;
}

bool Rotate3DEngine::Init(uint32_t sampleRate_, uint32_t channels_, uint32_t blockFrames_)
{
    Release();
    if (sampleRate_ != kSampleRate || channels_ != kChannels || blockFrames_ != kBlockFrames)
        return false;
    fft = FFmpegRealFft::Create(kFftBits);
    storage = static_cast<float*>(AllocateFftBuffer(kStorageFloats * sizeof(float)));
    if (!fft || !storage) {
        Release();
        return false;
    }
    std::memset(storage, 0, kStorageFloats * sizeof(float));
    float* at = storage;
    leftResponse = reinterpret_cast<FftComplex*>(at);
    rightResponse = reinterpret_cast<FftComplex*>(at += kResponseFloats);
    sumSpectrum = at += kResponseFloats;
    diffSpectrum = at += kSpectrumFloats;
    leftSpectrum = at += kSpectrumFloats;
    rightSpectrum = at += kSpectrumFloats;
    overlapLeft = at += kSpectrumFloats;
    overlapRight = at += kOverlapFloats;
    sampleRate = sampleRate_;
    channels = channels_;
    blockFrames = blockFrames_;
    angle = 0.0f;
    warmupCount = 0;
    SetVelocity(velocity);
    return true;
}

void Rotate3DEngine::SetVelocity(float velocity_)
{
    // Anything but a positive number would stop or reverse the angle's
    // arithmetic; the caller refuses those already.
    if (!(velocity_ > 0.0f))
        return;
    velocity = velocity_;
    const double rate = sampleRate ? double(sampleRate) : double(kSampleRate);
    const double frames = blockFrames ? double(blockFrames) : double(kBlockFrames);
    angleStep = float((frames / rate * 360.0) / double(velocity));
}

void Rotate3DEngine::Reset()
{
    warmupCount = 0;
    if (overlapLeft) {
        std::fill(overlapLeft, overlapLeft + kBlockFrames, 0.0f);
        std::fill(overlapRight, overlapRight + kBlockFrames, 0.0f);
    }
}

void Rotate3DEngine::ResetAngle()
{
    angle = 0.0f;
}

// leftResponse and rightResponse for the present angle: w * row i0 +
// (1 - w) * row i1, real and imaginary parts alike.
void Rotate3DEngine::InterpolateResponses()
{
    const float p = angle / kDegreesPerRow;
    int i0 = int(std::floor(p));
    const FftComplex *left0, *left1, *right0, *right1;
    if (angle < 180.0f) {
        // p may round up to 36 just below 180 degrees: row 36 alone then.
        i0 = std::min(std::max(i0, 0), kLastRow - 1);
        left0 = Row(kRotate3DFarEar, i0);
        left1 = Row(kRotate3DFarEar, i0 + 1);
        right0 = Row(kRotate3DNearEar, i0);
        right1 = Row(kRotate3DNearEar, i0 + 1);
    } else {
        // Mirrored, the ears exchanged: rows 72 - i0 and 72 - i1.
        i0 = std::min(std::max(i0, kLastRow), kMirror - 1);
        left0 = Row(kRotate3DNearEar, kMirror - i0);
        left1 = Row(kRotate3DNearEar, kMirror - (i0 + 1));
        right0 = Row(kRotate3DFarEar, kMirror - i0);
        right1 = Row(kRotate3DFarEar, kMirror - (i0 + 1));
    }
    const float w = std::max(0.0f, std::min(1.0f, float(i0 + 1) - p));
    const float v = 1.0f - w;
    Blend(w, v, &left0[0].re, &left1[0].re, &leftResponse[0].re, 2 * kBins);
    Blend(w, v, &right0[0].re, &right1[0].re, &rightResponse[0].re, 2 * kBins);
}

void Rotate3DEngine::Process(float* const* planes, uint32_t* frames)
{
    if (!fft || !planes || !frames)
        return;
    const uint32_t n = std::min(*frames, kBlockFrames);
    float* const left = planes[0];
    float* const right = planes[1];

    // Sum and difference, the factor in double; zeros extend the block.
    SumAndDifference(left, right, sumSpectrum, diffSpectrum, n);
    std::fill(sumSpectrum + n, sumSpectrum + kFftPoints, 0.0f);
    std::fill(diffSpectrum + n, diffSpectrum + kFftPoints, 0.0f);
    fft->Forward(sumSpectrum);
    fft->Forward(diffSpectrum);

    InterpolateResponses();
    const FftComplex* const side = Row(kRotate3DNearEar, int(kRotate3DSideRow));

    // Packed real spectra: [0] bin 0 and [1] bin 512, both real, then bins
    // 1 to 511 as re, im. The tables' bins 0 and 512 are real.
    {
        const float dc = diffSpectrum[0] * side[0].re;
        const float nyquist = diffSpectrum[1] * side[kBins - 1].re;
        leftSpectrum[0] = sumSpectrum[0] * leftResponse[0].re + dc;
        rightSpectrum[0] = sumSpectrum[0] * rightResponse[0].re - dc;
        leftSpectrum[1] = sumSpectrum[1] * leftResponse[kBins - 1].re + nyquist;
        rightSpectrum[1] = sumSpectrum[1] * rightResponse[kBins - 1].re - nyquist;
    }
    MultiplyBins(sumSpectrum, diffSpectrum, &side[0].re, &leftResponse[0].re, &rightResponse[0].re, leftSpectrum,
                 rightSpectrum);
    fft->Inverse(leftSpectrum);
    fft->Inverse(rightSpectrum);

    ScaleAndAdd(leftSpectrum, kInverseScale, overlapLeft, left, n);
    ScaleAndAdd(rightSpectrum, kInverseScale, overlapRight, right, n);
    // One block of tail; what lies at 512 and beyond is dropped on purpose.
    Scale(leftSpectrum + kBlockFrames, kInverseScale, overlapLeft, kBlockFrames);
    Scale(rightSpectrum + kBlockFrames, kInverseScale, overlapRight, kBlockFrames);

    // The sum in float, the remainder in double. A remainder just below 360
    // may round to 360 in float, which is 0.
    angle = float(std::fmod(double(angle + angleStep), 360.0));
    if (!(angle < 360.0f) || !(angle >= 0.0f))
        angle = 0.0f;

    if (warmupCount < 1) {
        ++warmupCount;
        *frames = 0;
    } else {
        *frames = n;
    }
}
