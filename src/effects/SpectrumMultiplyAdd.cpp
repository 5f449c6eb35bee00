#include "effects/SpectrumMultiplyAdd.h"

#include <xmmintrin.h>

namespace {

inline void MultiplyAddBin(ConstSplitSpectrum x, ConstSplitSpectrum h, SplitSpectrum acc, uint32_t k)
{
    const float re = x.re[k] * h.re[k] - x.im[k] * h.im[k];
    const float im = x.re[k] * h.im[k] + x.im[k] * h.re[k];
    acc.re[k] += re;
    acc.im[k] += im;
}

}  // namespace

void MultiplyAddSpectraScalar(ConstSplitSpectrum x, ConstSplitSpectrum h, SplitSpectrum acc, uint32_t bins)
{
    for (uint32_t k = 0; k < bins; ++k)
        MultiplyAddBin(x, h, acc, k);
}

void MultiplyAddSpectraSse(ConstSplitSpectrum x, ConstSplitSpectrum h, SplitSpectrum acc, uint32_t bins)
{
    const uint32_t vectorBins = bins & ~3u;
    for (uint32_t k = 0; k < vectorBins; k += 4) {
        const __m128 xr = _mm_load_ps(x.re + k);
        const __m128 xi = _mm_load_ps(x.im + k);
        const __m128 hr = _mm_load_ps(h.re + k);
        const __m128 hi = _mm_load_ps(h.im + k);
        const __m128 re = _mm_sub_ps(_mm_mul_ps(xr, hr), _mm_mul_ps(xi, hi));
        const __m128 im = _mm_add_ps(_mm_mul_ps(xr, hi), _mm_mul_ps(xi, hr));
        _mm_store_ps(acc.re + k, _mm_add_ps(_mm_load_ps(acc.re + k), re));
        _mm_store_ps(acc.im + k, _mm_add_ps(_mm_load_ps(acc.im + k), im));
    }
    for (uint32_t k = vectorBins; k < bins; ++k)
        MultiplyAddBin(x, h, acc, k);
}
