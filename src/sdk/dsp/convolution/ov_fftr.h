// Real FFT on top of ov_fft: an nfft-point real transform runs as one
// nfft/2-point complex transform of the samples taken in pairs, then a
// split step with "super twiddles" that separates the two halves.
//
// Forward (ov_fftr): nfft floats in, nfft/2 + 1 bins out, the plain DFT
// (DC and Nyquist with imaginary part 0). Inverse (ov_fftri): nfft/2 + 1 bins
// in, nfft floats out, scaled by nfft: ov_fftri(ov_fftr(x)) = nfft * x; the
// caller divides. Buffers 16-byte aligned.
//
// The state is one block built in two steps, as for ov_fft; it holds a work
// buffer, so one thread at a time uses it. Odd lengths are refused with the
// contract report "Real FFT optimization must be even.".
#pragma once

#include <cstddef>

#include "sdk/dsp/convolution/ov_fft.h"

struct ov_fftr_state {
    ov_fft_cfg substate;        // the nfft/2-point complex transform, inside this block
    ov_fft_cpx* tmpbuf;         // nfft/2 values
    ov_fft_cpx* super_twiddles; // nfft/4 values (at least one)
};
typedef ov_fftr_state* ov_fftr_cfg;

// Two-phase construction, as ov_fft_alloc: *lenmem receives the size; the
// state is built only in given memory at least that large.
ov_fftr_cfg ov_fftr_alloc(int nfft, int inverse, void* mem, size_t* lenmem);

// Forward: timedata nfft floats, freqdata nfft/2 + 1 bins.
void ov_fftr(ov_fftr_cfg st, const float* timedata, ov_fft_cpx* freqdata);

// Inverse, unscaled: freqdata nfft/2 + 1 bins, timedata nfft floats.
void ov_fftri(ov_fftr_cfg st, const ov_fft_cpx* freqdata, float* timedata);
