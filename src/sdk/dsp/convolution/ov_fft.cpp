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

// Floats of a radix-4 stage's pair table: per pair of k, three twiddles in
// two four-float forms.
constexpr size_t kPairFloatsPerK = 12;

bool HasPairTable(int p, int m)
{
    return p == 4 && (m % 2) == 0;
}

// The header, the table's bytes rounded up to whole 16-byte units (an odd
// length needs the last 8 bytes too), then the pair tables of the radix-4
// stages (each a whole number of 16-byte units).
size_t StateBytes(int nfft, const int32_t* factors, int iStages)
{
    size_t uBytes = kHeaderBytes + ((size_t(nfft) * sizeof(ov_fft_cpx) + OV_SIMD_ALIGNMENT - 1) & ~size_t(OV_SIMD_ALIGNMENT - 1));
    for (int i = 0; i < iStages; ++i)
        if (HasPairTable(factors[2 * i], factors[2 * i + 1]))
            uBytes += size_t(factors[2 * i + 1]) * kPairFloatsPerK * sizeof(float);
    return uBytes;
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
// (r0, i0, r1, i1) -> (i0, r0, i1, r1).
inline __m128 SwapReIm(__m128 a)
{
    return _mm_shuffle_ps(a, a, _MM_SHUFFLE(2, 3, 0, 1));
}

// Two complex products at once, with the twiddles in the table's forms:
// wRe = (re, re, re', re'), wIm = (-im, im, -im', im').
inline __m128 MulPair(__m128 a, __m128 wRe, __m128 wIm)
{
    return _mm_add_ps(_mm_mul_ps(a, wRe), _mm_mul_ps(SwapReIm(a), wIm));
}

// The sign mask that turns (r, i) into (i, -r), a turn by -i, for the
// forward direction, and into (-i, r), by +i, for the inverse.
inline __m128 TurnMask(bool in_bInverse)
{
    return in_bInverse ? _mm_set_ps(0.0f, -0.0f, 0.0f, -0.0f) : _mm_set_ps(-0.0f, 0.0f, -0.0f, 0.0f);
}

inline __m128 Turn(__m128 a, __m128 turnMask)
{
    return _mm_xor_ps(SwapReIm(a), turnMask);
}

// The 4-point transform, two samples per register, in place: x0..x3 are the
// inputs in order (already multiplied by their twiddles).
inline void Dft4(__m128& x0, __m128& x1, __m128& x2, __m128& x3, __m128 turnMask)
{
    const __m128 s5 = _mm_sub_ps(x0, x2);
    const __m128 f0 = _mm_add_ps(x0, x2);
    const __m128 s3 = _mm_add_ps(x1, x3);
    const __m128 s4 = Turn(_mm_sub_ps(x1, x3), turnMask);
    x0 = _mm_add_ps(f0, s3);
    x2 = _mm_sub_ps(f0, s3);
    x1 = _mm_add_ps(s5, s4);
    x3 = _mm_sub_ps(s5, s4);
}

// Radix 4, two k per step (m even), twiddles from the stage's pair table.
void Butterfly4Pairs(ov_fft_cpx* Fout, int m, const float* pTable, __m128 turnMask)
{
    OV_ASSERT((m % 2) == 0);
    float* p0 = &Fout[0].r;
    float* p1 = &Fout[m].r;
    float* p2 = &Fout[2 * m].r;
    float* p3 = &Fout[3 * m].r;
    for (int k = 0; k < m; k += 2, pTable += 2 * kPairFloatsPerK) {
        const int i = 2 * k;
        __m128 x0 = _mm_loadu_ps(p0 + i);
        __m128 x1 = MulPair(_mm_loadu_ps(p1 + i), _mm_load_ps(pTable), _mm_load_ps(pTable + 4));
        __m128 x2 = MulPair(_mm_loadu_ps(p2 + i), _mm_load_ps(pTable + 8), _mm_load_ps(pTable + 12));
        __m128 x3 = MulPair(_mm_loadu_ps(p3 + i), _mm_load_ps(pTable + 16), _mm_load_ps(pTable + 20));
        Dft4(x0, x1, x2, x3, turnMask);
        _mm_storeu_ps(p0 + i, x0);
        _mm_storeu_ps(p1 + i, x1);
        _mm_storeu_ps(p2 + i, x2);
        _mm_storeu_ps(p3 + i, x3);
    }
}

// The 1024-point leaf's second-pass twiddles, index (k - 1) * 3 + (q - 1) for
// k, q in 1..3 (k = 0 has twiddle 1), each duplicated over both lanes.
struct LeafTwiddles {
    __m128 re[9];
    __m128 im[9];
};

// From the stage constants in simdTwiddles: entries 0..5 hold q = 1, 2, 3 for
// k = 0, 1 in pairs, entries 6..11 the same for k = 2, 3.
void MakeLeafTwiddles(const ov_fft_cpx* simdTwiddles, LeafTwiddles* out_pTw)
{
    for (int k = 1; k < 4; ++k) {
        for (int q = 1; q < 4; ++q) {
            const ov_fft_cpx w = simdTwiddles[(k / 2) * 6 + (q - 1) * 2 + (k % 2)];
            out_pTw->re[(k - 1) * 3 + q - 1] = _mm_set1_ps(w.r);
            out_pTw->im[(k - 1) * 3 + q - 1] = _mm_set_ps(w.i, -w.i, w.i, -w.i);
        }
    }
}

// Two 16-point leaves of 1024 points at once: leaf j takes the inputs
// in[j + 64 q + 256 r], leaf j + 1 their neighbours, so one register holds
// both leaves' sample. A first radix-4 pass over r, a second over q with
// the twiddles of m = 4; leaf j's result goes to out[0..15], leaf j + 1's to
// out[256..271] (the two differ in the last stage's block).
void LeafPair1024(ov_fft_cpx* out, const ov_fft_cpx* in, const LeafTwiddles& tw, __m128 turnMask)
{
    __m128 y[16];
    for (int q = 0; q < 4; ++q) {
        const float* p = &in[64 * q].r;
        __m128 x0 = _mm_loadu_ps(p), x1 = _mm_loadu_ps(p + 512), x2 = _mm_loadu_ps(p + 1024), x3 = _mm_loadu_ps(p + 1536);
        Dft4(x0, x1, x2, x3, turnMask);
        y[4 * q] = x0;
        y[4 * q + 1] = x1;
        y[4 * q + 2] = x2;
        y[4 * q + 3] = x3;
    }
    float* pA = &out[0].r;
    float* pB = &out[256].r;
    for (int k = 0; k < 4; k += 2) {
        __m128 z[2][4];
        for (int d = 0; d < 2; ++d) {
            const int kk = k + d;
            __m128 x0 = y[kk], x1 = y[4 + kk], x2 = y[8 + kk], x3 = y[12 + kk];
            if (kk > 0) {
                const int t = (kk - 1) * 3;
                x1 = MulPair(x1, tw.re[t], tw.im[t]);
                x2 = MulPair(x2, tw.re[t + 1], tw.im[t + 1]);
                x3 = MulPair(x3, tw.re[t + 2], tw.im[t + 2]);
            }
            Dft4(x0, x1, x2, x3, turnMask);
            z[d][0] = x0;
            z[d][1] = x1;
            z[d][2] = x2;
            z[d][3] = x3;
        }
        // Output k + 4c and k + 1 + 4c side by side: low halves are leaf j,
        // high halves leaf j + 1.
        for (int c = 0; c < 4; ++c) {
            _mm_storeu_ps(pA + 2 * (k + 4 * c), _mm_movelh_ps(z[0][c], z[1][c]));
            _mm_storeu_ps(pB + 2 * (k + 4 * c), _mm_movehl_ps(z[1][c], z[0][c]));
        }
    }
}

// 1024 points as 4 x 4 x 4 x 4 x 4, breadth first: the 64 leaves of 16
// points in pairs, then the radix-4 stages of m = 16, 64 and 256. Leaf j
// (j = q0 + 4 q1 + 16 q2) belongs at 256 q0 + 64 q1 + 16 q2, the place the
// depth-first recursion gives it.
void Fft1024(const ov_fft_state* st, const ov_fft_cpx* fin, ov_fft_cpx* fout)
{
    const __m128 turnMask = TurnMask(st->inverse != 0);
    LeafTwiddles tw;
    MakeLeafTwiddles(st->simdTwiddles, &tw);
    for (int q0 = 0; q0 < 4; q0 += 2)
        for (int q1 = 0; q1 < 4; ++q1)
            for (int q2 = 0; q2 < 4; ++q2)
                LeafPair1024(fout + 256 * q0 + 64 * q1 + 16 * q2, fin + q0 + 4 * q1 + 16 * q2, tw, turnMask);
    // Stage 2 is m = 16, stage 1 m = 64, stage 0 m = 256.
    for (int iBlock = 0; iBlock < 1024; iBlock += 64)
        Butterfly4Pairs(fout + iBlock, 16, st->pairTwiddles[2], turnMask);
    for (int iBlock = 0; iBlock < 1024; iBlock += 256)
        Butterfly4Pairs(fout + iBlock, 64, st->pairTwiddles[1], turnMask);
    Butterfly4Pairs(fout, 256, st->pairTwiddles[0], turnMask);
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
            Butterfly4Pairs(Fout, m, st->pairTwiddles[(factors - st->factors) / 2], TurnMask(st->inverse != 0));
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
    const int iStages = OV::FactorizeFft(nfft, factors);
    if (iStages == 0)
        return nullptr;
    const size_t uNeeded = StateBytes(nfft, factors, iStages);
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
    // The pair tables follow the twiddles, stage by stage, copied from them.
    float* pTable = reinterpret_cast<float*>(static_cast<uint8_t*>(mem) + StateBytes(nfft, factors, 0));
    size_t uFstride = 1;
    for (int i = 0; i < OV_FFT_MAX_FACTORS; ++i) {
        st->pairTwiddles[i] = nullptr;
        if (i >= iStages)
            continue;
        const int p = factors[2 * i], m = factors[2 * i + 1];
        if (HasPairTable(p, m)) {
            st->pairTwiddles[i] = pTable;
            for (int k = 0; k < m; ++k) {
                float* pPair = pTable + size_t(k / 2) * 2 * kPairFloatsPerK + 2 * (k % 2);
                for (int q = 1; q < 4; ++q) {
                    const ov_fft_cpx w = st->twiddles[size_t(q) * size_t(k) * uFstride];
                    float* pRe = pPair + (q - 1) * 8;
                    pRe[0] = pRe[1] = w.r;
                    pRe[4] = -w.i;
                    pRe[5] = w.i;
                }
            }
            pTable += size_t(m) * kPairFloatsPerK;
        }
        uFstride *= size_t(p);
    }
    OV_ASSERT(reinterpret_cast<uint8_t*>(pTable) == static_cast<uint8_t*>(mem) + uNeeded);
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
#if OV_FFT_SSE
        Fft1024(st, fin, fout);
#else
        Work(fout, fin, 1, st->factors, st);
#endif
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
