// The SSE2 form of the block converters: four samples per step through the
// same operations as the scalar form, in the same order and the same
// precision, so the bits are those of the scalar form. Mono runs straight
// through, stereo splits and joins the channels with shuffles, other channel
// counts gather four frames of one channel at a time. The frames that do not
// fill a step go through the scalar per-sample functions.
#include "frontend/SampleConversion.h"

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>

#include <cstring>

namespace sampleconversion {

namespace {

// +0 for NaN and infinity (exponent all ones), the value itself otherwise.
inline __m128 FiniteOrZero(__m128 x)
{
    const __m128i bits = _mm_castps_si128(x);
    const __m128i exponent = _mm_set1_epi32(0x7f800000);
    const __m128i special = _mm_cmpeq_epi32(_mm_and_si128(bits, exponent), exponent);
    return _mm_castsi128_ps(_mm_andnot_si128(special, bits));
}

struct U8 {
    using Sample = uint8_t;
    static float ToFloat(Sample s) { return U8ToFloat(s); }
    static Sample FromFloat(float x) { return FloatToU8(x); }
    static __m128 Scale(__m128i v) { return _mm_mul_ps(_mm_cvtepi32_ps(v), _mm_set1_ps(0.0078125f)); }
    static __m128 Load(const Sample* p)
    {
        int32_t word;
        std::memcpy(&word, p, 4);
        const __m128i zero = _mm_setzero_si128();
        const __m128i bytes = _mm_cvtsi32_si128(word);
        return Scale(_mm_unpacklo_epi16(_mm_unpacklo_epi8(bytes, zero), zero));
    }
    static void Load8(const Sample* p, __m128* a, __m128* b)
    {
        const __m128i zero = _mm_setzero_si128();
        const __m128i words = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)), zero);
        *a = Scale(_mm_unpacklo_epi16(words, zero));
        *b = Scale(_mm_unpackhi_epi16(words, zero));
    }
    static __m128 Gather(const Sample* p, size_t step)
    {
        return Scale(_mm_setr_epi32(p[0], p[step], p[2 * step], p[3 * step]));
    }
    // The low byte of each lane, in 0..255.
    static __m128i Ints(__m128 x)
    {
        const __m128 biased = _mm_mul_ps(_mm_add_ps(FiniteOrZero(x), _mm_set1_ps(128.0f)), _mm_set1_ps(128.0f));
        return _mm_and_si128(_mm_cvttps_epi32(biased), _mm_set1_epi32(0xff));
    }
    static void Store(Sample* p, __m128 x)
    {
        __m128i v = Ints(x);
        v = _mm_packs_epi32(v, v);
        v = _mm_packus_epi16(v, v);
        const int32_t word = _mm_cvtsi128_si32(v);
        std::memcpy(p, &word, 4);
    }
    static void Store8(Sample* p, __m128 a, __m128 b)
    {
        const __m128i v = _mm_packs_epi32(Ints(a), Ints(b));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(v, v));
    }
    static void Scatter(Sample* p, size_t step, __m128 x)
    {
        alignas(16) int32_t lanes[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(lanes), Ints(x));
        for (size_t k = 0; k < 4; ++k)
            p[k * step] = Sample(lanes[k]);
    }
};

struct S16 {
    using Sample = int16_t;
    static float ToFloat(Sample s) { return S16ToFloat(s); }
    static Sample FromFloat(float x) { return FloatToS16(x); }
    static __m128 Scale(__m128i v) { return _mm_mul_ps(_mm_cvtepi32_ps(v), _mm_set1_ps(1.0f / 32768.0f)); }
    static __m128 Load(const Sample* p)
    {
        const __m128i words = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
        return Scale(_mm_srai_epi32(_mm_unpacklo_epi16(words, words), 16));
    }
    static void Load8(const Sample* p, __m128* a, __m128* b)
    {
        const __m128i words = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        *a = Scale(_mm_srai_epi32(_mm_unpacklo_epi16(words, words), 16));
        *b = Scale(_mm_srai_epi32(_mm_unpackhi_epi16(words, words), 16));
    }
    static __m128 Gather(const Sample* p, size_t step)
    {
        return Scale(_mm_setr_epi32(p[0], p[step], p[2 * step], p[3 * step]));
    }
    // The low 16 bits of each lane, sign-extended, so that packing cannot saturate.
    static __m128i Ints(__m128 x)
    {
        const __m128i v = _mm_cvttps_epi32(_mm_mul_ps(FiniteOrZero(x), _mm_set1_ps(32768.0f)));
        return _mm_srai_epi32(_mm_slli_epi32(v, 16), 16);
    }
    static void Store(Sample* p, __m128 x)
    {
        const __m128i v = Ints(x);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packs_epi32(v, v));
    }
    static void Store8(Sample* p, __m128 a, __m128 b)
    {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_packs_epi32(Ints(a), Ints(b)));
    }
    static void Scatter(Sample* p, size_t step, __m128 x)
    {
        alignas(16) int32_t lanes[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(lanes), Ints(x));
        for (size_t k = 0; k < 4; ++k)
            p[k * step] = Sample(lanes[k]);
    }
};

// Eight samples as two steps of four, for the formats whose four fill a register.
template <typename F, typename Sample>
struct TwoSteps {
    static void Load8(const Sample* p, __m128* a, __m128* b)
    {
        *a = F::Load(p);
        *b = F::Load(p + 4);
    }
    static void Store8(Sample* p, __m128 a, __m128 b)
    {
        F::Store(p, a);
        F::Store(p + 4, b);
    }
};

struct S32 : TwoSteps<S32, int32_t> {
    using Sample = int32_t;
    static float ToFloat(Sample s) { return S32ToFloat(s); }
    static Sample FromFloat(float x) { return FloatToS32(x); }
    static __m128 Scale(__m128i v)
    {
        return _mm_mul_ps(_mm_cvtepi32_ps(v), _mm_set1_ps(1.0f / 2147483648.0f));
    }
    static __m128 Load(const Sample* p) { return Scale(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))); }
    static __m128 Gather(const Sample* p, size_t step)
    {
        return Scale(_mm_setr_epi32(p[0], p[step], p[2 * step], p[3 * step]));
    }
    // Out of range gives 0x80000000, the same rule as the scalar truncation.
    static __m128i Ints(__m128 x)
    {
        return _mm_cvttps_epi32(_mm_mul_ps(FiniteOrZero(x), _mm_set1_ps(2147483648.0f)));
    }
    static void Store(Sample* p, __m128 x) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), Ints(x)); }
    static void Scatter(Sample* p, size_t step, __m128 x)
    {
        alignas(16) int32_t lanes[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(lanes), Ints(x));
        for (size_t k = 0; k < 4; ++k)
            p[k * step] = lanes[k];
    }
};

struct F32 : TwoSteps<F32, float> {
    using Sample = float;
    static float ToFloat(Sample s) { return FloatToFloat(s); }
    static Sample FromFloat(float x) { return FloatToFloat(x); }
    static __m128 Load(const Sample* p) { return FiniteOrZero(_mm_loadu_ps(p)); }
    static __m128 Gather(const Sample* p, size_t step)
    {
        return FiniteOrZero(_mm_setr_ps(p[0], p[step], p[2 * step], p[3 * step]));
    }
    static void Store(Sample* p, __m128 x) { _mm_storeu_ps(p, FiniteOrZero(x)); }
    static void Scatter(Sample* p, size_t step, __m128 x)
    {
        alignas(16) float lanes[4];
        _mm_store_ps(lanes, FiniteOrZero(x));
        for (size_t k = 0; k < 4; ++k)
            p[k * step] = lanes[k];
    }
};

struct F64 : TwoSteps<F64, double> {
    using Sample = double;
    static float ToFloat(Sample s) { return DoubleToFloat(s); }
    static Sample FromFloat(float x) { return FloatToDouble(x); }
    // Rounded to float first, then tested: a double beyond float range is infinite there.
    static __m128 Narrow(__m128d low, __m128d high)
    {
        return FiniteOrZero(_mm_movelh_ps(_mm_cvtpd_ps(low), _mm_cvtpd_ps(high)));
    }
    static __m128 Load(const Sample* p) { return Narrow(_mm_loadu_pd(p), _mm_loadu_pd(p + 2)); }
    static __m128 Gather(const Sample* p, size_t step)
    {
        return Narrow(_mm_setr_pd(p[0], p[step]), _mm_setr_pd(p[2 * step], p[3 * step]));
    }
    static void Store(Sample* p, __m128 x)
    {
        const __m128 f = FiniteOrZero(x);
        _mm_storeu_pd(p, _mm_cvtps_pd(f));
        _mm_storeu_pd(p + 2, _mm_cvtps_pd(_mm_movehl_ps(f, f)));
    }
    static void Scatter(Sample* p, size_t step, __m128 x)
    {
        alignas(16) double lanes[4];
        Store(lanes, x);
        for (size_t k = 0; k < 4; ++k)
            p[k * step] = lanes[k];
    }
};

template <typename F>
void ToPlanesOf(const void* input, float* planes, uint32_t frames, uint32_t channels, uint32_t stride)
{
    using Sample = typename F::Sample;
    const Sample* in = static_cast<const Sample*>(input);
    if (channels == 2) {
        float* left = planes;
        float* right = planes + stride;
        uint32_t i = 0;
        for (; i + 4 <= frames; i += 4) {
            __m128 a, b;  // l0 r0 l1 r1, l2 r2 l3 r3
            F::Load8(in + size_t(i) * 2, &a, &b);
            _mm_storeu_ps(left + i, _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)));
            _mm_storeu_ps(right + i, _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1)));
        }
        for (; i < frames; ++i) {
            left[i] = F::ToFloat(in[size_t(i) * 2]);
            right[i] = F::ToFloat(in[size_t(i) * 2 + 1]);
        }
        return;
    }
    for (uint32_t c = 0; c < channels; ++c) {
        float* plane = planes + size_t(c) * stride;
        const Sample* s = in + c;
        uint32_t i = 0;
        if (channels == 1) {
            for (; i + 4 <= frames; i += 4)
                _mm_storeu_ps(plane + i, F::Load(s + i));
        } else {
            for (; i + 4 <= frames; i += 4)
                _mm_storeu_ps(plane + i, F::Gather(s + size_t(i) * channels, channels));
        }
        for (; i < frames; ++i)
            plane[i] = F::ToFloat(s[size_t(i) * channels]);
    }
}

template <typename F>
void FromPlanesOf(const float* planes, void* output, uint32_t frames, uint32_t channels, uint32_t stride)
{
    using Sample = typename F::Sample;
    Sample* out = static_cast<Sample*>(output);
    if (channels == 2) {
        const float* left = planes;
        const float* right = planes + stride;
        uint32_t i = 0;
        for (; i + 4 <= frames; i += 4) {
            const __m128 l = _mm_loadu_ps(left + i);
            const __m128 r = _mm_loadu_ps(right + i);
            F::Store8(out + size_t(i) * 2, _mm_unpacklo_ps(l, r), _mm_unpackhi_ps(l, r));
        }
        for (; i < frames; ++i) {
            out[size_t(i) * 2] = F::FromFloat(left[i]);
            out[size_t(i) * 2 + 1] = F::FromFloat(right[i]);
        }
        return;
    }
    for (uint32_t c = 0; c < channels; ++c) {
        const float* plane = planes + size_t(c) * stride;
        Sample* s = out + c;
        uint32_t i = 0;
        if (channels == 1) {
            for (; i + 4 <= frames; i += 4)
                F::Store(s + i, _mm_loadu_ps(plane + i));
        } else {
            for (; i + 4 <= frames; i += 4)
                F::Scatter(s + size_t(i) * channels, channels, _mm_loadu_ps(plane + i));
        }
        for (; i < frames; ++i)
            s[size_t(i) * channels] = F::FromFloat(plane[i]);
    }
}

}  // namespace

void ToPlanesSse2(AUDIO_SAMPLEFORMAT format, const void* input, float* planes, uint32_t frames,
                  uint32_t channels, uint32_t stride)
{
    switch (format) {
    case AUDIO_SAMPLEFORMAT_U8:
        ToPlanesOf<U8>(input, planes, frames, channels, stride);
        break;
    case AUDIO_SAMPLEFORMAT_S16:
        ToPlanesOf<S16>(input, planes, frames, channels, stride);
        break;
    case AUDIO_SAMPLEFORMAT_S32:
        ToPlanesOf<S32>(input, planes, frames, channels, stride);
        break;
    case AUDIO_SAMPLEFORMAT_FLOAT:
        ToPlanesOf<F32>(input, planes, frames, channels, stride);
        break;
    case AUDIO_SAMPLEFORMAT_DOUBLE:
        ToPlanesOf<F64>(input, planes, frames, channels, stride);
        break;
    default:
        break;
    }
}

void FromPlanesSse2(AUDIO_SAMPLEFORMAT format, const float* planes, void* output, uint32_t frames,
                    uint32_t channels, uint32_t stride)
{
    switch (format) {
    case AUDIO_SAMPLEFORMAT_U8:
        FromPlanesOf<U8>(planes, output, frames, channels, stride);
        break;
    case AUDIO_SAMPLEFORMAT_S16:
        FromPlanesOf<S16>(planes, output, frames, channels, stride);
        break;
    case AUDIO_SAMPLEFORMAT_S32:
        FromPlanesOf<S32>(planes, output, frames, channels, stride);
        break;
    case AUDIO_SAMPLEFORMAT_FLOAT:
        FromPlanesOf<F32>(planes, output, frames, channels, stride);
        break;
    case AUDIO_SAMPLEFORMAT_DOUBLE:
        FromPlanesOf<F64>(planes, output, frames, channels, stride);
        break;
    default:
        break;
    }
}

}  // namespace sampleconversion

#else  // no SSE2: the scalar form

namespace sampleconversion {

void ToPlanesSse2(AUDIO_SAMPLEFORMAT format, const void* input, float* planes, uint32_t frames,
                  uint32_t channels, uint32_t stride)
{
    ToPlanesScalar(format, input, planes, frames, channels, stride);
}

void FromPlanesSse2(AUDIO_SAMPLEFORMAT format, const float* planes, void* output, uint32_t frames,
                    uint32_t channels, uint32_t stride)
{
    FromPlanesScalar(format, planes, output, frames, channels, stride);
}

}  // namespace sampleconversion

#endif
