#include "effects/SpatialEarBins.h"

#include <emmintrin.h>

#include <cstddef>

namespace {

constexpr size_t kPoints = kSpatialEarBinFloats;
constexpr size_t kHalf = kPoints / 2;
constexpr uint32_t kSlots = 18;

// Bins 0 and 512, real, at [x] of the transforms; t[s] is slot s's value there.
void SumEdgeBin(const SpatialInputBins& in, const float* t, const SpatialEarGains& g, const SpatialEarSums& out,
                size_t x)
{
    const float p = in.primary[x], a = in.ambient[x], i = in.inverted[x], l = in.left[x];
    out.mainLeft[x] = g.center * (p * t[0]) + g.frontLeft * (l * t[2] + l * t[4]) +
                      g.sideLeft * (a * t[6] + i * t[8]) + g.rearLeft * (a * t[10] + i * t[12]);
    out.mainRight[x] = g.center * (p * t[1]) + g.frontRight * (l * t[3] + l * t[5]) +
                       g.sideRight * (i * t[7] + a * t[9]) + g.rearRight * (i * t[11] + a * t[13]);
    out.extraLeft[x] = g.extraLeft * (a * t[14] + i * t[16]);
    out.extraRight[x] = g.extraRight * (i * t[15] + a * t[17]);
}

// A complex transform, four bins per vector.
struct Bins {
    __m128 re, im;
};

// Bins k to k + 3 of a packed transform, k a multiple of 4.
inline Bins LoadPacked(const float* x, size_t k)
{
    const __m128 a = _mm_load_ps(x + 2 * k), b = _mm_load_ps(x + 2 * k + 4);
    return {_mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)), _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))};
}

inline void StorePacked(float* x, size_t k, Bins v)
{
    _mm_store_ps(x + 2 * k, _mm_unpacklo_ps(v.re, v.im));
    _mm_store_ps(x + 2 * k + 4, _mm_unpackhi_ps(v.re, v.im));
}

// x times bins k to k + 3 of a split table: re = xr hr - xi hi,
// im = xr hi + xi hr, as the scalar form.
inline Bins Product(Bins x, const float* split, size_t k)
{
    const __m128 hr = _mm_load_ps(split + k), hi = _mm_load_ps(split + kHalf + k);
    return {_mm_sub_ps(_mm_mul_ps(x.re, hr), _mm_mul_ps(x.im, hi)),
            _mm_add_ps(_mm_mul_ps(x.re, hi), _mm_mul_ps(x.im, hr))};
}

inline Bins Add(Bins a, Bins b)
{
    return {_mm_add_ps(a.re, b.re), _mm_add_ps(a.im, b.im)};
}

inline Bins Scale(__m128 g, Bins a)
{
    return {_mm_mul_ps(g, a.re), _mm_mul_ps(g, a.im)};
}

}  // namespace

void SumEarBinsScalar(const SpatialInputBins& in, const float* const* h, const SpatialEarGains& g,
                         const SpatialEarSums& out)
{
    for (int edge = 0; edge < 2; ++edge) {
        const size_t t = edge ? 2 * kHalf : 0;
        float values[kSlots];
        for (uint32_t s = 0; s < kSlots; ++s)
            values[s] = h[s][t];
        SumEdgeBin(in, values, g, out, size_t(edge));
    }
    const float gc = g.center, gfl = g.frontLeft, gfr = g.frontRight, gsl = g.sideLeft, gsr = g.sideRight;
    const float grl = g.rearLeft, grr = g.rearRight, gel = g.extraLeft, ger = g.extraRight;
    const float *P = in.primary, *A = in.ambient, *I = in.inverted, *L = in.left;
    float *mainLeft = out.mainLeft, *mainRight = out.mainRight, *extraLeft = out.extraLeft,
          *extraRight = out.extraRight;
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

void SplitSpatialResponse(const float* response, float* split)
{
    split[0] = response[0];
    split[kHalf] = response[2 * kHalf];
    for (size_t k = 1; k < kHalf; ++k) {
        split[k] = response[2 * k];
        split[kHalf + k] = response[2 * k + 1];
    }
}

void SumEarBinsSse(const SpatialInputBins& in, const float* const* h, const SpatialEarGains& g,
                      const SpatialEarSums& out)
{
    const __m128 gc = _mm_set1_ps(g.center), gfl = _mm_set1_ps(g.frontLeft), gfr = _mm_set1_ps(g.frontRight);
    const __m128 gsl = _mm_set1_ps(g.sideLeft), gsr = _mm_set1_ps(g.sideRight);
    const __m128 grl = _mm_set1_ps(g.rearLeft), grr = _mm_set1_ps(g.rearRight);
    const __m128 gel = _mm_set1_ps(g.extraLeft), ger = _mm_set1_ps(g.extraRight);
    // The first group's first bin pairs bins 0 and 512 as if they were one
    // complex bin; SumEdgeBin writes them over afterwards.
    for (size_t k = 0; k < kHalf; k += 4) {
        const Bins p = LoadPacked(in.primary, k), a = LoadPacked(in.ambient, k);
        const Bins i = LoadPacked(in.inverted, k), l = LoadPacked(in.left, k);
        StorePacked(out.mainLeft, k,
                    Add(Add(Add(Scale(gc, Product(p, h[0], k)),
                                Scale(gfl, Add(Product(l, h[2], k), Product(l, h[4], k)))),
                            Scale(gsl, Add(Product(a, h[6], k), Product(i, h[8], k)))),
                        Scale(grl, Add(Product(a, h[10], k), Product(i, h[12], k)))));
        StorePacked(out.mainRight, k,
                    Add(Add(Add(Scale(gc, Product(p, h[1], k)),
                                Scale(gfr, Add(Product(l, h[3], k), Product(l, h[5], k)))),
                            Scale(gsr, Add(Product(i, h[7], k), Product(a, h[9], k)))),
                        Scale(grr, Add(Product(i, h[11], k), Product(a, h[13], k)))));
        StorePacked(out.extraLeft, k, Scale(gel, Add(Product(a, h[14], k), Product(i, h[16], k))));
        StorePacked(out.extraRight, k, Scale(ger, Add(Product(i, h[15], k), Product(a, h[17], k))));
    }
    for (size_t edge = 0; edge < 2; ++edge) {
        float values[kSlots];
        for (uint32_t s = 0; s < kSlots; ++s)
            values[s] = h[s][edge * kHalf];
        SumEdgeBin(in, values, g, out, edge);
    }
}
