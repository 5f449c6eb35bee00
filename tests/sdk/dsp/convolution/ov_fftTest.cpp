// The library's FFT against a direct DFT in double precision: complex and
// real, both directions, unscaled inverse, over every kind of stage the
// factoriser makes; and the two-phase construction.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <random>
#include <vector>

#include "ov/OvCommonDefs.h"
#include "sdk/dsp/convolution/ov_fft.h"
#include "sdk/dsp/convolution/ov_fftr.h"

namespace {

using Complex = std::complex<double>;

std::vector<Complex> Dft(const std::vector<Complex>& x, bool inverse)
{
    const size_t n = x.size();
    std::vector<Complex> out(n);
    for (size_t k = 0; k < n; ++k)
        for (size_t j = 0; j < n; ++j)
            out[k] += x[j] * std::polar(1.0, (inverse ? 2.0 : -2.0) * M_PI * double((k * j) % n) / double(n));
    return out;
}

// 16-byte aligned memory for a state or a buffer.
struct Aligned {
    explicit Aligned(size_t bytes) : storage(bytes / 16 + 2) {}
    void* Get() { return storage.data(); }
    std::vector<long double> storage;  // 16-byte aligned elements
};

template <class Alloc>
auto Build(Alloc alloc, int n, int inverse, Aligned*& memory)
{
    size_t bytes = 0;
    EXPECT_EQ(alloc(n, inverse, nullptr, &bytes), nullptr);
    size_t tooSmall = bytes - 8;
    memory = new Aligned(bytes);
    EXPECT_EQ(alloc(n, inverse, memory->Get(), &tooSmall), nullptr) << n;
    EXPECT_EQ(tooSmall, bytes);
    return alloc(n, inverse, memory->Get(), &bytes);
}

double MaxError(const std::vector<Complex>& want, const ov_fft_cpx* got)
{
    double error = 0.0, peak = 1.0;
    for (size_t k = 0; k < want.size(); ++k) {
        error = std::max(error, std::abs(want[k] - Complex(got[k].r, got[k].i)));
        peak = std::max(peak, std::abs(want[k]));
    }
    return error / peak;
}

}  // namespace

TEST(OvFft, ComplexAndRealTransformsAgreeWithADirectDft)
{
    std::mt19937 rng(4051);
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    for (int n : {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 15, 16, 25, 30, 49, 64, 100, 128, 243, 256, 1000, 1024, 2048}) {
        for (int inverse : {0, 1}) {
            Aligned* memory = nullptr;
            ov_fft_cfg st = Build(ov_fft_alloc, n, inverse, memory);
            ASSERT_NE(st, nullptr) << n;
            EXPECT_EQ(reinterpret_cast<uintptr_t>(st->twiddles) % OV_SIMD_ALIGNMENT, 0u);
            std::vector<ov_fft_cpx> in(n), out(n);
            std::vector<Complex> x(n);
            for (int i = 0; i < n; ++i) {
                in[i] = {unit(rng), unit(rng)};
                x[i] = Complex(in[i].r, in[i].i);
            }
            ov_fft(st, in.data(), out.data());
            EXPECT_LT(MaxError(Dft(x, inverse), out.data()), 2e-6) << "complex n " << n << " inverse " << inverse;
            delete memory;
        }
        if (n % 2)
            continue;
        // Real: forward against the DFT, then the inverse returns nfft * x.
        Aligned *fwdMemory = nullptr, *invMemory = nullptr;
        ov_fftr_cfg fwd = Build(ov_fftr_alloc, n, 0, fwdMemory);
        ov_fftr_cfg inv = Build(ov_fftr_alloc, n, 1, invMemory);
        ASSERT_TRUE(fwd && inv) << n;
        Aligned timeMemory(n * 4 + 16), freqMemory((n / 2 + 1) * 8 + 16);
        float* time = static_cast<float*>(timeMemory.Get());
        ov_fft_cpx* freq = static_cast<ov_fft_cpx*>(freqMemory.Get());
        std::vector<Complex> x(n);
        for (int i = 0; i < n; ++i)
            x[i] = time[i] = unit(rng);
        ov_fftr(fwd, time, freq);
        std::vector<Complex> want = Dft(x, false);
        want.resize(n / 2 + 1);
        EXPECT_LT(MaxError(want, freq), 2e-6) << "real n " << n;
        EXPECT_EQ(freq[0].i, 0.0f);
        EXPECT_EQ(freq[n / 2].i, 0.0f);
        ov_fftri(inv, freq, time);
        double error = 0.0;
        for (int i = 0; i < n; ++i)
            error = std::max(error, std::abs(time[i] / n - x[i].real()));
        EXPECT_LT(error, 2e-6) << "real round trip n " << n;
        delete fwdMemory;
        delete invMemory;
    }
}

TEST(OvFft, RefusesWhatItCannotServeAndFindsFastSizes)
{
    size_t bytes = 0;
    EXPECT_EQ(ov_fftr_alloc(15, 0, nullptr, &bytes), nullptr);
    bytes = 0;
    EXPECT_EQ(ov_fft_alloc(0, 0, nullptr, &bytes), nullptr);
    EXPECT_EQ(ov_fft_alloc(4099 * 4099, 0, nullptr, &bytes), nullptr);  // a prime radix beyond the stack scratch
    for (auto [n, fast] : {std::pair{1, 1}, {7, 8}, {11, 12}, {13, 15}, {17, 18}, {97, 100}, {1025, 1080}, {2049, 2160}})
        EXPECT_EQ(ov_fft_next_fast_size(n), fast) << n;
    // An odd length needs its whole last twiddle: the state has room for it.
    for (int n : {3, 5, 15, 1001}) {
        bytes = 0;
        ov_fft_alloc(n, 0, nullptr, &bytes);
        EXPECT_GE(bytes, sizeof(ov_fft_state) + size_t(n) * sizeof(ov_fft_cpx)) << n;
    }
}

TEST(OvFft, StateIsBuiltInsideTheSizeItReports)
{
    // Bytes past the reported size keep a marker; the stage tables start aligned.
    for (int n : {4, 8, 64, 100, 1000, 1024, 4096}) {
        size_t bytes = 0;
        ov_fft_alloc(n, 1, nullptr, &bytes);
        Aligned memory(bytes + 64);
        auto* raw = static_cast<unsigned char*>(memory.Get());
        std::fill(raw, raw + bytes + 64, 0xA5);
        ov_fft_cfg st = ov_fft_alloc(n, 1, raw, &bytes);
        ASSERT_NE(st, nullptr) << n;
        for (size_t i = bytes; i < bytes + 64; ++i)
            ASSERT_EQ(raw[i], 0xA5) << n << " byte " << i;
        for (const float* table : st->pairTwiddles)
            EXPECT_EQ(reinterpret_cast<uintptr_t>(table) % OV_SIMD_ALIGNMENT, 0u) << n;
    }
}
