// Complex multiply-accumulate of two spectra in split form (real parts in
// one array, imaginary parts in another): acc += x * h, bin by bin. This is
// the inner loop of partitioned convolution, run once per partition per
// block, so the split layout lets four bins go through plain vector
// multiplies and adds with no shuffles.
#pragma once

#include <cstdint>

struct SplitSpectrum {
    float* re;
    float* im;
};

struct ConstSplitSpectrum {
    const float* re;
    const float* im;
};

// Reference form; any bin count.
void MultiplyAddSpectraScalar(ConstSplitSpectrum x, ConstSplitSpectrum h, SplitSpectrum acc, uint32_t bins);

// SSE form: the same arithmetic in the same order per bin, so its results
// equal the reference's bit for bit. All six arrays start on a 16-byte
// boundary; a bin count that is not a multiple of 4 ends in scalar steps.
void MultiplyAddSpectraSse(ConstSplitSpectrum x, ConstSplitSpectrum h, SplitSpectrum acc, uint32_t bins);
