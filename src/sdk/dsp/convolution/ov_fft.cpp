#include "sdk/dsp/convolution/ov_fft.h"

#include <cmath>
#include <cstring>

#include "ov/OvAssert.h"
#include "ov/OvCommonDefs.h"

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define OV_FFT_SSE 1
#else
#define OV_FFT_SSE 0
#endif

namespace {

constexpr double kPi = 3.14159265358979323846;

// The state header, rounded up so that the twiddle table that follows it
// starts 16 bytes aligned.
constexpr size_t kHeaderBytes = (sizeof(ov_fft_state) + OV_SIMD_ALIGNMENT - 1) & ~size_t(OV_SIMD_ALIGNMENT - 1);

// The table's bytes rounded up to whole 16-byte units: an odd length needs
// the last 8 bytes too.
size_t StateBytes(int nfft)
{
    return kHeaderBytes + ((size_t(nfft) * sizeof(ov_fft_cpx) + OV_SIMD_ALIGNMENT - 1) & ~size_t(OV_SIMD_ALIGNMENT - 1));
}

inline ov_fft_cpx Mul(ov_fft_cpx a, ov_fft_cpx b)
{
    return {a.r * b.r - a.i * b.i, a.r * b.i + a.i * b.r};
}
inline ov_fft_cpx Add(ov_fft_cpx a, ov_fft_cpx b)
{
    return {a.r + b.r, a.i + b.i};
}
inline ov_fft_cpx Sub(ov_fft_cpx a, ov_fft_cpx b)
{
    return {a.r - b.r, a.i - b.i};
}

void Butterfly2(ov_fft_cpx* Fout, size_t fstride, const ov_fft_state* st, int m)
{
    ov_fft_cpx* Fout2 = Fout + m;
    if (m == 1) {
        const ov_fft_cpx t = *Fout2;
        *Fout2 = Sub(*Fout, t);
        *Fout = Add(*Fout, t);
        return;
    }
    const ov_fft_cpx* tw = st->twiddles;
    for (int k = 0; k < m; ++k) {
        const ov_fft_cpx t = Mul(Fout2[k], *tw);
        tw += fstride;
        Fout2[k] = Sub(Fout[k], t);
        Fout[k] = Add(Fout[k], t);
    }
}

// Radix 4, one k per step: the form for an odd m.
void Butterfly4Scalar(ov_fft_cpx* Fout, size_t fstride, const ov_fft_state* st, int m)
{
    const ov_fft_cpx* tw = st->twiddles;
    const bool bInverse = st->inverse != 0;
    for (int k = 0; k < m; ++k, ++Fout) {
        const ov_fft_cpx s0 = Mul(Fout[m], tw[k * fstride]);
        const ov_fft_cpx s1 = Mul(Fout[2 * m], tw[2 * k * fstride]);
        const ov_fft_cpx s2 = Mul(Fout[3 * m], tw[3 * k * fstride]);
        const ov_fft_cpx s5 = Sub(*Fout, s1);
        const ov_fft_cpx f0 = Add(*Fout, s1);
        const ov_fft_cpx s3 = Add(s0, s2);
        const ov_fft_cpx s4 = Sub(s0, s2);
        Fout[2 * m] = Sub(f0, s3);
        Fout[0] = Add(f0, s3);
        if (bInverse) {
            Fout[m] = {s5.r - s4.i, s5.i + s4.r};
            Fout[3 * m] = {s5.r + s4.i, s5.i - s4.r};
        } else {
            Fout[m] = {s5.r + s4.i, s5.i - s4.r};
            Fout[3 * m] = {s5.r - s4.i, s5.i + s4.r};
        }
    }
}

// The 4-point transform of the last stage of 1024 points (m 1, fstride 256):
// its rotation constants are the imaginary parts of twiddles 256 and 768.
void Butterfly4Last1024(ov_fft_cpx* Fout, const ov_fft_state* st)
{
    OV_ASSERT(st->nfft == 1024);
    const float fRot = st->twiddles[256].i;  // -1 forward, +1 inverse
    const float fRot3 = st->twiddles[768].i;
    const ov_fft_cpx s5 = Sub(Fout[0], Fout[2]);
    const ov_fft_cpx f0 = Add(Fout[0], Fout[2]);
    const ov_fft_cpx s3 = Add(Fout[1], Fout[3]);
    const ov_fft_cpx s4 = Sub(Fout[1], Fout[3]);
    Fout[2] = Sub(f0, s3);
    Fout[0] = Add(f0, s3);
    // s4 turned by -i (forward) or +i (inverse): (s4.i, -s4.r) * -rot.
    Fout[1] = {s5.r - fRot * s4.i, s5.i + fRot * s4.r};
    Fout[3] = {s5.r - fRot3 * s4.i, s5.i + fRot3 * s4.r};
}

#if OV_FFT_SSE
// Two complex products at once: a and b hold (r0, i0, r1, i1).
inline __m128 Mul2(__m128 a, __m128 b)
{
    const __m128 bRe = _mm_shuffle_ps(b, b, _MM_SHUFFLE(2, 2, 0, 0));
    const __m128 bIm = _mm_shuffle_ps(b, b, _MM_SHUFFLE(3, 3, 1, 1));
    const __m128 aSwap = _mm_shuffle_ps(a, a, _MM_SHUFFLE(2, 3, 0, 1));
    const __m128 sign = _mm_set_ps(1.0f, -1.0f, 1.0f, -1.0f);
    return _mm_add_ps(_mm_mul_ps(a, bRe), _mm_mul_ps(_mm_mul_ps(aSwap, bIm), sign));
}

// (r, i) -> (i, -r) for both samples: a turn by -i.
inline __m128 TurnMinusI(__m128 a)
{
    const __m128 sign = _mm_set_ps(-1.0f, 1.0f, -1.0f, 1.0f);
    return _mm_mul_ps(_mm_shuffle_ps(a, a, _MM_SHUFFLE(2, 3, 0, 1)), sign);
}

inline __m128 LoadPair(const ov_fft_cpx* a, const ov_fft_cpx* b)
{
    return _mm_castpd_ps(_mm_loadh_pd(_mm_load_sd(reinterpret_cast<const double*>(a)), reinterpret_cast<const double*>(b)));
}

// The radix-4 step for k and k + 1 with twiddle pairs already loaded.
inline void Radix4Pair(ov_fft_cpx* Fout, int m, __m128 tw1, __m128 tw2, __m128 tw3, bool bInverse)
{
    float* p0 = &Fout[0].r;
    float* p1 = &Fout[m].r;
    float* p2 = &Fout[2 * m].r;
    float* p3 = &Fout[3 * m].r;
    const __m128 s0 = Mul2(_mm_loadu_ps(p1), tw1);
    const __m128 s1 = Mul2(_mm_loadu_ps(p2), tw2);
    const __m128 s2 = Mul2(_mm_loadu_ps(p3), tw3);
    const __m128 f0 = _mm_loadu_ps(p0);
    const __m128 s5 = _mm_sub_ps(f0, s1);
    const __m128 f1 = _mm_add_ps(f0, s1);
    const __m128 s3 = _mm_add_ps(s0, s2);
    __m128 s4 = TurnMinusI(_mm_sub_ps(s0, s2));
    if (bInverse)
        s4 = _mm_sub_ps(_mm_setzero_ps(), s4);
    _mm_storeu_ps(p2, _mm_sub_ps(f1, s3));
    _mm_storeu_ps(p0, _mm_add_ps(f1, s3));
    _mm_storeu_ps(p1, _mm_add_ps(s5, s4));
    _mm_storeu_ps(p3, _mm_sub_ps(s5, s4));
}

// Radix 4, two k per step (m even).
void Butterfly4Pairs(ov_fft_cpx* Fout, size_t fstride, const ov_fft_state* st, int m)
{
    OV_ASSERT((m % 2) == 0);
    const ov_fft_cpx* tw = st->twiddles;
    const bool bInverse = st->inverse != 0;
    for (int k = 0; k < m; k += 2) {
        const size_t a = k * fstride, b = (k + 1) * fstride;
        Radix4Pair(Fout + k, m, LoadPair(tw + a, tw + b), LoadPair(tw + 2 * a, tw + 2 * b),
                   LoadPair(tw + 3 * a, tw + 3 * b), bInverse);
    }
}

// The fused leaf of 1024 points: the 16-point transform of the inputs at
// stride 64, as a first radix-4 pass straight from the input and a second
// with the twiddles of the stage-constant table.
void Leaf16(ov_fft_cpx* Fout, const ov_fft_cpx* f, const ov_fft_state* st)
{
    const bool bInverse = st->inverse != 0;
    // First pass: four 4-point transforms of f[q*64 + r*256], into Fout[4q + k].
    for (int q = 0; q < 4; ++q) {
        const ov_fft_cpx x0 = f[q * 64], x1 = f[q * 64 + 256], x2 = f[q * 64 + 512], x3 = f[q * 64 + 768];
        const ov_fft_cpx s5 = Sub(x0, x2), f0 = Add(x0, x2);
        const ov_fft_cpx s3 = Add(x1, x3), s4 = Sub(x1, x3);
        ov_fft_cpx* o = Fout + 4 * q;
        o[0] = Add(f0, s3);
        o[2] = Sub(f0, s3);
        if (bInverse) {
            o[1] = {s5.r - s4.i, s5.i + s4.r};
            o[3] = {s5.r + s4.i, s5.i - s4.r};
        } else {
            o[1] = {s5.r + s4.i, s5.i - s4.r};
            o[3] = {s5.r - s4.i, s5.i + s4.r};
        }
    }
    // Second pass: radix 4 over m = 4, k in pairs (0, 1) and (2, 3).
    const float* pTw = &st->simdTwiddles[0].r;
    Radix4Pair(Fout, 4, _mm_loadu_ps(pTw), _mm_loadu_ps(pTw + 4), _mm_loadu_ps(pTw + 8), bInverse);
    Radix4Pair(Fout + 2, 4, _mm_loadu_ps(pTw + 12), _mm_loadu_ps(pTw + 16), _mm_loadu_ps(pTw + 20), bInverse);
}
#endif

void Butterfly3(ov_fft_cpx* Fout, size_t fstride, const ov_fft_state* st, int m)
{
    const ov_fft_cpx* tw = st->twiddles;
    const float epi3 = st->twiddles[fstride * m].i;
    for (int k = 0; k < m; ++k, ++Fout) {
        const ov_fft_cpx s1 = Mul(Fout[m], tw[k * fstride]);
        const ov_fft_cpx s2 = Mul(Fout[2 * m], tw[2 * k * fstride]);
        const ov_fft_cpx s3 = Add(s1, s2);
        ov_fft_cpx s0 = Sub(s1, s2);
        ov_fft_cpx fm = {Fout[0].r - 0.5f * s3.r, Fout[0].i - 0.5f * s3.i};
        s0.r *= epi3;
        s0.i *= epi3;
        Fout[0] = Add(Fout[0], s3);
        Fout[2 * m] = {fm.r + s0.i, fm.i - s0.r};
        fm.r -= s0.i;
        fm.i += s0.r;
        Fout[m] = fm;
    }
}

void Butterfly5(ov_fft_cpx* Fout, size_t fstride, const ov_fft_state* st, int m)
{
    const ov_fft_cpx* tw = st->twiddles;
    const ov_fft_cpx ya = tw[fstride * m];
    const ov_fft_cpx yb = tw[fstride * 2 * m];
    ov_fft_cpx* F0 = Fout;
    ov_fft_cpx* F1 = F0 + m;
    ov_fft_cpx* F2 = F0 + 2 * m;
    ov_fft_cpx* F3 = F0 + 3 * m;
    ov_fft_cpx* F4 = F0 + 4 * m;
    for (int u = 0; u < m; ++u) {
        const ov_fft_cpx s0 = F0[u];
        const ov_fft_cpx s1 = Mul(F1[u], tw[u * fstride]);
        const ov_fft_cpx s2 = Mul(F2[u], tw[2 * u * fstride]);
        const ov_fft_cpx s3 = Mul(F3[u], tw[3 * u * fstride]);
        const ov_fft_cpx s4 = Mul(F4[u], tw[4 * u * fstride]);
        const ov_fft_cpx s7 = Add(s1, s4), s10 = Sub(s1, s4);
        const ov_fft_cpx s8 = Add(s2, s3), s9 = Sub(s2, s3);
        F0[u] = {s0.r + s7.r + s8.r, s0.i + s7.i + s8.i};
        const ov_fft_cpx s5 = {s0.r + s7.r * ya.r + s8.r * yb.r, s0.i + s7.i * ya.r + s8.i * yb.r};
        const ov_fft_cpx s6 = {s10.i * ya.i + s9.i * yb.i, -s10.r * ya.i - s9.r * yb.i};
        F1[u] = Sub(s5, s6);
        F4[u] = Add(s5, s6);
        const ov_fft_cpx s11 = {s0.r + s7.r * yb.r + s8.r * ya.r, s0.i + s7.i * yb.r + s8.i * ya.r};
        const ov_fft_cpx s12 = {-s10.i * yb.i + s9.i * ya.i, s10.r * yb.i - s9.r * ya.i};
        F2[u] = Add(s11, s12);
        F3[u] = Sub(s11, s12);
    }
}

void ButterflyGeneric(ov_fft_cpx* Fout, size_t fstride, const ov_fft_state* st, int m, int p)
{
    ov_fft_cpx scratch[OV_FFT_MAX_GENERIC_RADIX];
    const ov_fft_cpx* tw = st->twiddles;
    const size_t uNorig = size_t(st->nfft);
    for (int u = 0; u < m; ++u) {
        for (int q = 0, k = u; q < p; ++q, k += m)
            scratch[q] = Fout[k];
        for (int q1 = 0, k = u; q1 < p; ++q1, k += m) {
            size_t uTw = 0;
            ov_fft_cpx sum = scratch[0];
            for (int q = 1; q < p; ++q) {
                // The index wraps by subtraction: it grows by less than nfft per step.
                uTw += fstride * size_t(k);
                while (uTw >= uNorig)
                    uTw -= uNorig;
                sum = Add(sum, Mul(scratch[q], tw[uTw]));
            }
            Fout[k] = sum;
        }
    }
}

void Work(ov_fft_cpx* Fout, const ov_fft_cpx* f, size_t fstride, const int32_t* factors, const ov_fft_state* st)
{
    const int p = factors[0];
    const int m = factors[1];
    const ov_fft_cpx* const FoutEnd = Fout + size_t(p) * m;

    if (m == 1) {
        ov_fft_cpx* o = Fout;
        do {
            *o = *f;
            f += fstride;
        } while (++o != FoutEnd);
#if OV_FFT_SSE
    } else if (st->nfft == 1024 && factors[2] == 4 && factors[3] == 1 && fstride == 64) {
        Leaf16(Fout, f, st);
        return;
#endif
    } else if (p == 4 && factors[2] == 2 && factors[3] == 1) {
        // Four 2-point transforms, read straight from the input.
        for (int q = 0; q < 4; ++q) {
            const ov_fft_cpx a = f[q * fstride];
            const ov_fft_cpx b = f[q * fstride + 4 * fstride];
            Fout[2 * q] = Add(a, b);
            Fout[2 * q + 1] = Sub(a, b);
        }
    } else {
        ov_fft_cpx* o = Fout;
        do {
            Work(o, f, fstride * p, factors + 2, st);
            f += fstride;
            o += m;
        } while (o != FoutEnd);
    }

    switch (p) {
    case 2: Butterfly2(Fout, fstride, st, m); break;
    case 3: Butterfly3(Fout, fstride, st, m); break;
    case 4:
        if (m == 1 && fstride == 256 && st->nfft == 1024)
            Butterfly4Last1024(Fout, st);
#if OV_FFT_SSE
        else if ((m % 2) == 0)
            Butterfly4Pairs(Fout, fstride, st, m);
#endif
        else
            Butterfly4Scalar(Fout, fstride, st, m);
        break;
    case 5: Butterfly5(Fout, fstride, st, m); break;
    default: ButterflyGeneric(Fout, fstride, st, m, p); break;
    }
}

}  // namespace

int OV::FactorizeFft(int n, int32_t* out_pFactors)
{
    if (n < 1)
        return 0;
    if (n == 1) {
        // One stage that copies the sample.
        out_pFactors[0] = 1;
        out_pFactors[1] = 1;
        return 1;
    }
    const int iFloorSqrt = int(std::floor(std::sqrt(double(n))));
    int p = 4;
    int iCount = 0;
    do {
        while (n % p) {
            switch (p) {
            case 4: p = 2; break;
            case 2: p = 3; break;
            default: p += 2; break;
            }
            if (p > iFloorSqrt)
                p = n;
        }
        if (iCount == OV_FFT_MAX_FACTORS || p > OV_FFT_MAX_GENERIC_RADIX)
            return 0;  // more stages than the state holds, or a radix too large for the stack scratch
        n /= p;
        out_pFactors[2 * iCount] = p;
        out_pFactors[2 * iCount + 1] = n;
        ++iCount;
    } while (n > 1);
    return iCount;
}

ov_fft_cfg ov_fft_alloc(int nfft, int inverse, void* mem, size_t* lenmem)
{
    OV_ASSERT(lenmem != NULL);
    if (!lenmem)
        return nullptr;
    int32_t factors[2 * OV_FFT_MAX_FACTORS] = {};
    if (OV::FactorizeFft(nfft, factors) == 0)
        return nullptr;
    const size_t uNeeded = StateBytes(nfft);
    const size_t uGiven = *lenmem;
    *lenmem = uNeeded;
    if (!mem || uGiven < uNeeded || (reinterpret_cast<uintptr_t>(mem) % OV_SIMD_ALIGNMENT) != 0)
        return nullptr;

    ov_fft_state* st = static_cast<ov_fft_state*>(mem);
    st->nfft = nfft;
    st->inverse = inverse;
    std::memcpy(st->factors, factors, sizeof factors);
    st->twiddles = reinterpret_cast<ov_fft_cpx*>(static_cast<uint8_t*>(mem) + kHeaderBytes);
    st->simdTwiddles = nullptr;
    OV_ASSERT((reinterpret_cast<uintptr_t>(st->twiddles) % OV_SIMD_ALIGNMENT) == 0);
    const double dSign = inverse ? 1.0 : -1.0;
    for (int k = 0; k < nfft; ++k) {
        const double dPhase = dSign * 2.0 * kPi * double(k) / double(nfft);
        st->twiddles[k] = {float(std::cos(dPhase)), float(std::sin(dPhase))};
    }
    return st;
}

void ov_fft(ov_fft_cfg st, const ov_fft_cpx* fin, ov_fft_cpx* fout)
{
    OV_ASSERT(fin != fout);
    if (!st || !fin || !fout || fin == fout)
        return;
    if (st->nfft == 1024) {
        // The fused leaf's second pass, k in pairs: twiddles k*64*q for q = 1, 2, 3.
        alignas(16) ov_fft_cpx simdTwiddles[12];
        static const int kIndex[12] = {0, 64, 0, 128, 0, 192, 128, 192, 256, 384, 384, 576};
        for (int i = 0; i < 12; ++i)
            simdTwiddles[i] = st->twiddles[kIndex[i]];
        st->simdTwiddles = simdTwiddles;
        Work(fout, fin, 1, st->factors, st);
        st->simdTwiddles = nullptr;
        return;
    }
    Work(fout, fin, 1, st->factors, st);
}

int ov_fft_next_fast_size(int n)
{
    if (n < 1)
        n = 1;
    for (;; ++n) {
        int m = n;
        while ((m % 2) == 0)
            m /= 2;
        while ((m % 3) == 0)
            m /= 3;
        while ((m % 5) == 0)
            m /= 5;
        if (m <= 1)
            return n;
    }
}
