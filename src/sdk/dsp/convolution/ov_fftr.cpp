#include "sdk/dsp/convolution/ov_fftr.h"

#include <cmath>
#include <cstdint>

#include "ov/OvAssert.h"
#include "ov/OvCommonDefs.h"

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define OV_FFTR_SSE 1
#else
#define OV_FFTR_SSE 0
#endif

namespace {

constexpr double kPi = 3.14159265358979323846;

size_t RoundUp16(size_t in_uBytes)
{
    return (in_uBytes + OV_SIMD_ALIGNMENT - 1) & ~size_t(OV_SIMD_ALIGNMENT - 1);
}

size_t HeaderBytes()
{
    return RoundUp16(sizeof(ov_fftr_state));
}

size_t SuperTwiddleCount(int ncfft)
{
    return ncfft / 2 > 0 ? size_t(ncfft / 2) : 1;
}

#if OV_FFTR_SSE
// Two complex products: (r0, i0, r1, i1) by (wr0, wi0, wr1, wi1).
inline __m128 Mul2(__m128 a, __m128 w)
{
    const __m128 wRe = _mm_shuffle_ps(w, w, _MM_SHUFFLE(2, 2, 0, 0));
    const __m128 wIm = _mm_shuffle_ps(w, w, _MM_SHUFFLE(3, 3, 1, 1));
    const __m128 aSwap = _mm_shuffle_ps(a, a, _MM_SHUFFLE(2, 3, 0, 1));
    const __m128 sign = _mm_set_ps(1.0f, -1.0f, 1.0f, -1.0f);
    return _mm_add_ps(_mm_mul_ps(a, wRe), _mm_mul_ps(_mm_mul_ps(aSwap, wIm), sign));
}

// (a, b) -> (b, a), one complex sample per half.
inline __m128 SwapHalves(__m128 a)
{
    return _mm_shuffle_ps(a, a, _MM_SHUFFLE(1, 0, 3, 2));
}

inline __m128 ConjMask()
{
    return _mm_set_ps(-0.0f, 0.0f, -0.0f, 0.0f);
}

// The split step of either direction for bins k and k + 1 (and their mirrors
// ncfft - k and ncfft - k - 1): a = in[k..k+1], b = conj(in[ncfft-k]),
// conj(in[ncfft-k-1]); w = (a - b) tw; lo = scale (a + b + w) to out[k..k+1],
// hi = scale conj(a + b - w) to out[ncfft-k-1..ncfft-k], the mirror stored
// last as the scalar order does (the middle bin is written by both).
inline void SplitPair(const ov_fft_cpx* in, const ov_fft_cpx* tw, ov_fft_cpx* out, int ncfft, int k, __m128 scale)
{
    const __m128 a = _mm_loadu_ps(&in[k].r);
    const __m128 b = _mm_xor_ps(SwapHalves(_mm_loadu_ps(&in[ncfft - k - 1].r)), ConjMask());
    const __m128 f1 = _mm_add_ps(a, b);
    const __m128 w = Mul2(_mm_sub_ps(a, b), _mm_loadu_ps(&tw[k - 1].r));
    const __m128 lo = _mm_mul_ps(scale, _mm_add_ps(f1, w));
    const __m128 hi = _mm_mul_ps(scale, _mm_xor_ps(_mm_sub_ps(f1, w), ConjMask()));
    _mm_storeu_ps(&out[k].r, lo);
    _mm_storeu_ps(&out[ncfft - k - 1].r, SwapHalves(hi));
}
#endif

}  // namespace

ov_fftr_cfg ov_fftr_alloc(int nfft, int inverse, void* mem, size_t* lenmem)
{
    OV_ASSERT(lenmem != NULL);
    if (!lenmem)
        return nullptr;
    if (nfft < 2 || (nfft & 1)) {
        OV_ASSERT_TEXT(false, "Real FFT optimization must be even.");
        return nullptr;
    }
    const int ncfft = nfft / 2;
    size_t uSubBytes = 0;
    ov_fft_alloc(ncfft, inverse, nullptr, &uSubBytes);
    if (uSubBytes == 0)
        return nullptr;
    int32_t factors[2 * OV_FFT_MAX_FACTORS];
    if (OV::FactorizeFft(ncfft, factors) == 0)
        return nullptr;

    const size_t uTmpBytes = RoundUp16(size_t(ncfft) * sizeof(ov_fft_cpx));
    const size_t uSuperBytes = RoundUp16(SuperTwiddleCount(ncfft) * sizeof(ov_fft_cpx));
    const size_t uNeeded = HeaderBytes() + uSubBytes + uTmpBytes + uSuperBytes;
    const size_t uGiven = *lenmem;
    *lenmem = uNeeded;
    if (!mem || uGiven < uNeeded || (reinterpret_cast<uintptr_t>(mem) % OV_SIMD_ALIGNMENT) != 0)
        return nullptr;

    uint8_t* pBytes = static_cast<uint8_t*>(mem);
    ov_fftr_state* st = reinterpret_cast<ov_fftr_state*>(pBytes);
    size_t uSub = uSubBytes;
    st->substate = ov_fft_alloc(ncfft, inverse, pBytes + HeaderBytes(), &uSub);
    if (!st->substate)
        return nullptr;
    st->tmpbuf = reinterpret_cast<ov_fft_cpx*>(pBytes + HeaderBytes() + uSubBytes);
    st->super_twiddles = reinterpret_cast<ov_fft_cpx*>(pBytes + HeaderBytes() + uSubBytes + uTmpBytes);
    OV_ASSERT((reinterpret_cast<uintptr_t>(st->tmpbuf) % OV_SIMD_ALIGNMENT) == 0);
    OV_ASSERT((reinterpret_cast<uintptr_t>(st->super_twiddles) % OV_SIMD_ALIGNMENT) == 0);

    st->super_twiddles[0] = {1.0f, 0.0f};
    for (int i = 0; i < ncfft / 2; ++i) {
        double dPhase = kPi * (double(i + 1) / double(ncfft) + 0.5);
        if (!inverse)
            dPhase = -dPhase;
        st->super_twiddles[i] = {float(std::cos(dPhase)), float(std::sin(dPhase))};
    }
    return st;
}

void ov_fftr(ov_fftr_cfg st, const float* timedata, ov_fft_cpx* freqdata)
{
    if (!st || !timedata || !freqdata)
        return;
    OV_ASSERT(st->substate->inverse == 0);
    const int ncfft = st->substate->nfft;
    // The samples in pairs are the complex input.
    ov_fft(st->substate, reinterpret_cast<const ov_fft_cpx*>(timedata), st->tmpbuf);
    const ov_fft_cpx* t = st->tmpbuf;
    const ov_fft_cpx* tw = st->super_twiddles;

    const ov_fft_cpx dc = t[0];
    freqdata[0] = {dc.r + dc.i, 0.0f};
    freqdata[ncfft] = {dc.r - dc.i, 0.0f};
    // Bin k and its mirror from one pair; the middle bin comes out of both
    // halves with the same value.
    int k = 1;
#if OV_FFTR_SSE
    for (; k + 1 <= ncfft / 2; k += 2)
        SplitPair(t, tw, freqdata, ncfft, k, _mm_set1_ps(0.5f));
#endif
    for (; k <= ncfft / 2; ++k) {
        const ov_fft_cpx fpk = t[k];
        const ov_fft_cpx fpnk = {t[ncfft - k].r, -t[ncfft - k].i};
        const ov_fft_cpx f1k = {fpk.r + fpnk.r, fpk.i + fpnk.i};
        const ov_fft_cpx f2k = {fpk.r - fpnk.r, fpk.i - fpnk.i};
        const ov_fft_cpx w = tw[k - 1];
        const ov_fft_cpx tk = {f2k.r * w.r - f2k.i * w.i, f2k.r * w.i + f2k.i * w.r};
        freqdata[k] = {0.5f * (f1k.r + tk.r), 0.5f * (f1k.i + tk.i)};
        freqdata[ncfft - k] = {0.5f * (f1k.r - tk.r), 0.5f * (tk.i - f1k.i)};
    }
}

void ov_fftri(ov_fftr_cfg st, const ov_fft_cpx* freqdata, float* timedata)
{
    if (!st || !timedata || !freqdata)
        return;
    OV_ASSERT(st->substate->inverse != 0);
    const int ncfft = st->substate->nfft;
    ov_fft_cpx* tmp = st->tmpbuf;
    const ov_fft_cpx* tw = st->super_twiddles;

    tmp[0] = {freqdata[0].r + freqdata[ncfft].r, freqdata[0].r - freqdata[ncfft].r};
    int k = 1;
#if OV_FFTR_SSE
    for (; k + 1 <= ncfft / 2; k += 2)
        SplitPair(freqdata, tw, tmp, ncfft, k, _mm_set1_ps(1.0f));
#endif
    for (; k <= ncfft / 2; ++k) {
        const ov_fft_cpx fk = freqdata[k];
        const ov_fft_cpx fnkc = {freqdata[ncfft - k].r, -freqdata[ncfft - k].i};
        const ov_fft_cpx fek = {fk.r + fnkc.r, fk.i + fnkc.i};
        const ov_fft_cpx d = {fk.r - fnkc.r, fk.i - fnkc.i};
        const ov_fft_cpx w = tw[k - 1];
        const ov_fft_cpx fok = {d.r * w.r - d.i * w.i, d.r * w.i + d.i * w.r};
        tmp[k] = {fek.r + fok.r, fek.i + fok.i};
        tmp[ncfft - k] = {fek.r - fok.r, fok.i - fek.i};
    }
    ov_fft(st->substate, tmp, reinterpret_cast<ov_fft_cpx*>(timedata));
}
