// Power-of-two FFTs over FFmpeg's av_tx, kept to the conventions of FFmpeg's
// older av_fft and av_rdft calls, on which this library's spectral effects
// base their scalings and bin layout.
//
// Complex, FFmpegComplexFft: N = 2^bits FftComplex values, in place, bins in
// natural order. Forward X[k] = sum x[n] e^(-2 pi i k n / N); Inverse
// x[n] = sum X[k] e^(+2 pi i k n / N). Neither scales, so
// Inverse(Forward(x)) = N x.
//
// Real, FFmpegRealFft: N = 2^bits floats, in place. Forward gives the same
// e^(-i) spectrum of the real input, packed into the N floats: [0] = X[0] and
// [1] = X[N/2], both real, then [2k], [2k + 1] = Re, Im of X[k] for
// k = 1 .. N/2 - 1. Inverse takes that packing (for a real output the
// spectrum is conjugate-symmetric, so half of it says all) and returns
// (N/2) x: Inverse(Forward(x)) = (N/2) x, and a caller that multiplies two
// spectra of N-point blocks divides by N/2 once.
//
// Buffers handed to Forward and Inverse start on a kFftAlignmentBytes
// boundary, as av_tx's vector code requires: take them from AllocateFftBuffer
// and keep any offset into them a multiple of 64 bytes. Each object holds both
// directions and a scratch buffer made at Create; Forward and Inverse
// allocate nothing. One thread at a time per object.
#pragma once

#include <cstddef>
#include <cstdint>

struct AVTXContext;

// One complex sample: real part first, two floats, as av_tx lays it out.
struct FftComplex {
    float re;
    float im;
};

constexpr size_t kFftAlignmentBytes = 64;

// Memory for transform buffers from av_malloc, aligned to kFftAlignmentBytes.
// Null when out of memory. Release with FreeFftBuffer (null is fine).
void* AllocateFftBuffer(size_t bytes);
void FreeFftBuffer(void* buffer);

using FftTransformFunction = void (*)(AVTXContext*, void*, void*, std::ptrdiff_t);

class FFmpegComplexFft {
public:
    static constexpr int kMinBits = 2;
    static constexpr int kMaxBits = 17;

    // Null when bits is outside [kMinBits, kMaxBits], av_tx refuses the size
    // or memory runs out.
    static FFmpegComplexFft* Create(int bits);
    void Destroy();

    uint32_t Points() const { return points; }
    void Forward(FftComplex* data);
    void Inverse(FftComplex* data);

private:
    FFmpegComplexFft() = default;
    ~FFmpegComplexFft();
    FFmpegComplexFft(const FFmpegComplexFft&) = delete;
    FFmpegComplexFft& operator=(const FFmpegComplexFft&) = delete;

    uint32_t points = 0;
    AVTXContext* forwardContext = nullptr;
    AVTXContext* inverseContext = nullptr;
    FftTransformFunction forwardFunction = nullptr;
    FftTransformFunction inverseFunction = nullptr;
    // av_tx writes here and the result is copied back: its in-place FFT
    // takes time quadratic in N to set up (over a minute at 2^16 points).
    FftComplex* scratch = nullptr;
};

class FFmpegRealFft {
public:
    static constexpr int kMinBits = 4;
    static constexpr int kMaxBits = 17;

    // Null when bits is outside [kMinBits, kMaxBits], av_tx refuses the size
    // or memory runs out.
    static FFmpegRealFft* Create(int bits);
    void Destroy();

    uint32_t Points() const { return points; }
    void Forward(float* data);
    void Inverse(float* data);

private:
    FFmpegRealFft() = default;
    ~FFmpegRealFft();
    FFmpegRealFft(const FFmpegRealFft&) = delete;
    FFmpegRealFft& operator=(const FFmpegRealFft&) = delete;

    uint32_t points = 0;
    AVTXContext* forwardContext = nullptr;
    AVTXContext* inverseContext = nullptr;
    FftTransformFunction forwardFunction = nullptr;
    FftTransformFunction inverseFunction = nullptr;
    // av_tx's side of the spectrum: N/2 + 1 bins, DC and Nyquist with
    // imaginary parts of 0.
    FftComplex* spectrum = nullptr;
};
