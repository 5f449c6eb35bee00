// Mixed-radix complex FFT in single precision (decimation in time, radices
// 4, 2, 3, 5 and a generic O(p^2) stage for any other prime), with a fused
// path for 1024 points, the transform behind the convolution's 2048-point
// real FFT.
//
// Everything a transform needs lies in one caller-supplied block, built in
// two steps: ask for the size, then build in memory of that size.
//
//   size_t uBytes = 0;
//   ov_fft_alloc(1024, 0, nullptr, &uBytes);            // size only
//   void* pMem = allocator->Malloc(uBytes);
//   ov_fft_cfg st = ov_fft_alloc(1024, 0, pMem, &uBytes);
//   ov_fft(st, in, out);                                // out of place
//
// Forward: X[k] = sum x[n] e^(-2 pi i k n / N); inverse with e^(+...), not
// scaled: inverse(forward(x)) = N x. No allocation at transform time. The
// state's simdTwiddles pointer is set by every 1024-point call to a table on
// that call's stack, so a state serves one thread at a time; otherwise the
// state is only read and may serve many channels in turn.
//
// Speed: each radix-4 stage with an even m has its twiddles laid out in the
// block, in the order the two-at-a-time step reads them and already in the
// form its complex product needs. The 1024-point path runs its 16-point
// leaves two at a time (inputs j and j + 1 are neighbours in memory, so one
// register holds both), then the three radix-4 stages above them in turn.
//
// Lengths: any length whose factorisation fits in 8 stages and whose largest
// prime factor is at most OV_FFT_MAX_GENERIC_RADIX (the generic stage keeps
// its scratch on the stack); others are refused.
#pragma once

#include <cstddef>
#include <cstdint>

struct ov_fft_cpx {
    float r;
    float i;
};

constexpr int OV_FFT_MAX_FACTORS = 8;
constexpr int OV_FFT_MAX_GENERIC_RADIX = 1024;

struct ov_fft_state {
    int32_t nfft;
    int32_t inverse;
    int32_t factors[2 * OV_FFT_MAX_FACTORS];  // pairs (radix p, remaining length m)
    ov_fft_cpx* twiddles;                     // nfft entries inside this block, 16-byte aligned
    const ov_fft_cpx* simdTwiddles;           // the 1024-point path's stage constants, set per call
    // Per stage: for a radix-4 stage with even m, its twiddles for k and k + 1
    // taken together, inside this block, 16-byte aligned; null for any other
    // stage. Per pair of k, for q = 1, 2, 3: (re, re, re', re') then
    // (-im, im, -im', im') of twiddles q k fstride and q (k + 1) fstride.
    const float* pairTwiddles[OV_FFT_MAX_FACTORS];
};
typedef ov_fft_state* ov_fft_cfg;

// Two-phase construction. *lenmem (never null) receives the bytes needed.
// When mem is given and the old *lenmem was at least that, the state is built
// in mem (16-byte aligned) and returned; otherwise null. Null also for a
// length that is not served.
ov_fft_cfg ov_fft_alloc(int nfft, int inverse, void* mem, size_t* lenmem);

// One transform, out of place (fin != fout), nfft samples each.
void ov_fft(ov_fft_cfg st, const ov_fft_cpx* fin, ov_fft_cpx* fout);

// The smallest value at or above n with no prime factor but 2, 3 and 5.
int ov_fft_next_fast_size(int n);

namespace OV {
// The stored factor pairs of n (radix, remaining length), as the transform
// runs them; the count of pairs, or 0 when n is not served.
int FactorizeFft(int n, int32_t* out_pFactors);
}  // namespace OV
