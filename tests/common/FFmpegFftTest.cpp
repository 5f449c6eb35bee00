#include "common/FFmpegFft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "support/AllocationCounter.h"

namespace {

using Complex = std::complex<double>;

struct BufferFree {
    void operator()(void* p) const { FreeFftBuffer(p); }
};

template <class T>
std::unique_ptr<T[], BufferFree> MakeBuffer(size_t count)
{
    return std::unique_ptr<T[], BufferFree>(static_cast<T*>(AllocateFftBuffer(count * sizeof(T))));
}

// Bin k of sum x[n] e^(sign 2 pi i k n / N), in double, from a table of the N roots.
class DirectDft {
public:
    explicit DirectDft(size_t n) : roots(n)
    {
        for (size_t i = 0; i < n; ++i)
            roots[i] = std::polar(1.0, -2.0 * M_PI * double(i) / double(n));
    }
    Complex Bin(const std::vector<Complex>& x, size_t k, int sign) const
    {
        const size_t n = roots.size();
        Complex sum = 0.0;
        for (size_t i = 0; i < n; ++i) {
            const Complex w = roots[(k * i) % n];
            sum += x[i] * (sign < 0 ? w : std::conj(w));
        }
        return sum;
    }

private:
    std::vector<Complex> roots;
};

double Norm(const std::vector<Complex>& x)
{
    double sum = 0.0;
    for (const Complex& v : x)
        sum += std::norm(v);
    return std::sqrt(sum);
}

// Every bin up to 4096 points; beyond, about 130 bins spread over the range
// and the last one, as the direct sums cost N each.
std::vector<size_t> BinsToCheck(size_t first, size_t end)
{
    std::vector<size_t> bins;
    const size_t step = end - first <= 4096 ? 1 : (end - first) / 128 + 1;
    for (size_t k = first; k < end; k += step)
        bins.push_back(k);
    if (bins.back() != end - 1)
        bins.push_back(end - 1);
    return bins;
}

// Rounding error per bin grows with log N times the input's norm; 1e-5 leaves
// room for float at 2^17 points and catches any wrong bin or sign.
constexpr double kTolerance = 1e-5;

TEST(FFmpegFft, ComplexForwardAndInverseMatchDirectDftUnscaled)
{
    for (int bits : {2, 3, 6, 10, 12, 17}) {
        SCOPED_TRACE(bits);
        const size_t n = size_t(1) << bits;
        FFmpegComplexFft* fft = FFmpegComplexFft::Create(bits);
        ASSERT_NE(fft, nullptr);
        ASSERT_EQ(fft->Points(), n);
        std::mt19937 rng{uint32_t(bits)};
        std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
        std::vector<Complex> x(n);
        auto forward = MakeBuffer<FftComplex>(n), inverse = MakeBuffer<FftComplex>(n),
             roundTrip = MakeBuffer<FftComplex>(n);
        for (size_t i = 0; i < n; ++i) {
            forward[i] = inverse[i] = {dist(rng), dist(rng)};
            x[i] = Complex(forward[i].re, forward[i].im);
        }
        fft->Forward(forward.get());
        fft->Inverse(inverse.get());
        std::copy(forward.get(), forward.get() + n, roundTrip.get());
        fft->Inverse(roundTrip.get());

        const DirectDft dft(n);
        const double limit = kTolerance * Norm(x);
        for (size_t k : BinsToCheck(0, n)) {
            ASSERT_LT(std::abs(Complex(forward[k].re, forward[k].im) - dft.Bin(x, k, -1)), limit) << "bin " << k;
            ASSERT_LT(std::abs(Complex(inverse[k].re, inverse[k].im) - dft.Bin(x, k, +1)), limit) << "sample " << k;
        }
        double roundTripError = 0.0;
        for (size_t k = 0; k < n; ++k)
            roundTripError += std::norm(Complex(roundTrip[k].re, roundTrip[k].im) - double(n) * x[k]);
        EXPECT_LT(std::sqrt(roundTripError), kTolerance * double(n) * Norm(x));
        fft->Destroy();
    }
}

// Forward against the direct DFT in the packed layout, DC and Nyquist
// included; Inverse(Forward(x)) gives (N/2) x.
TEST(FFmpegFft, RealTransformPacksDirectDftAndInverseGainsHalfN)
{
    for (int bits : {4, 5, 9, 12, 16, 17}) {
        SCOPED_TRACE(bits);
        const size_t n = size_t(1) << bits, half = n / 2;
        FFmpegRealFft* fft = FFmpegRealFft::Create(bits);
        ASSERT_NE(fft, nullptr);
        ASSERT_EQ(fft->Points(), n);
        std::mt19937 rng{uint32_t(100 + bits)};
        std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
        std::vector<Complex> x(n);
        auto data = MakeBuffer<float>(n);
        for (size_t i = 0; i < n; ++i)
            x[i] = data[i] = dist(rng);
        fft->Forward(data.get());

        const DirectDft dft(n);
        const double limit = kTolerance * Norm(x);
        EXPECT_NEAR(data[0], dft.Bin(x, 0, -1).real(), limit);
        EXPECT_NEAR(data[1], dft.Bin(x, half, -1).real(), limit);
        for (size_t k : BinsToCheck(1, half)) {
            const Complex expected = dft.Bin(x, k, -1);
            ASSERT_LT(std::abs(Complex(data[2 * k], data[2 * k + 1]) - expected), limit) << "bin " << k;
        }

        fft->Inverse(data.get());
        double error = 0.0;
        for (size_t i = 0; i < n; ++i)
            error += std::norm(double(data[i]) - double(half) * x[i]);
        EXPECT_LT(std::sqrt(error), kTolerance * double(half) * Norm(x));
        fft->Destroy();
    }
}

// The product of two packed spectra, run back through Inverse and divided by
// N/2, is the circular convolution; with both signals short enough it is the
// linear one. The transforms allocate nothing.
TEST(FFmpegFft, RealSpectrumProductGivesConvolution)
{
    struct Case {
        int bits;
        size_t lengthA, lengthB;
    };
    for (const Case& c : {Case{4, 16, 16}, Case{7, 100, 29}, Case{10, 1024, 1024}, Case{12, 3000, 1000}}) {
        SCOPED_TRACE(c.bits);
        const size_t n = size_t(1) << c.bits;
        FFmpegRealFft* fft = FFmpegRealFft::Create(c.bits);
        ASSERT_NE(fft, nullptr);
        std::mt19937 rng{uint32_t(c.lengthA)};
        std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
        auto a = MakeBuffer<float>(n), b = MakeBuffer<float>(n);
        std::vector<double> da(n, 0.0), db(n, 0.0);
        double normA = 0.0, normB = 0.0;
        for (size_t i = 0; i < n; ++i) {
            a[i] = i < c.lengthA ? dist(rng) : 0.0f;
            b[i] = i < c.lengthB ? dist(rng) : 0.0f;
            da[i] = a[i];
            db[i] = b[i];
            normA += da[i] * da[i];
            normB += db[i] * db[i];
        }

        size_t allocations = 0;
        {
            testsupport::AllocationCounter counter;
            fft->Forward(a.get());
            fft->Forward(b.get());
            a[0] *= b[0];
            a[1] *= b[1];
            for (size_t k = 1; k < n / 2; ++k) {
                const float re = a[2 * k] * b[2 * k] - a[2 * k + 1] * b[2 * k + 1];
                const float im = a[2 * k] * b[2 * k + 1] + a[2 * k + 1] * b[2 * k];
                a[2 * k] = re;
                a[2 * k + 1] = im;
            }
            fft->Inverse(a.get());
            allocations = counter.Count();
        }
        EXPECT_EQ(allocations, 0u);

        const double limit = kTolerance * std::sqrt(normA * normB);
        for (size_t i = 0; i < n; ++i) {
            double expected = 0.0;
            for (size_t j = 0; j < n; ++j)
                expected += da[j] * db[(i + n - j) % n];
            ASSERT_NEAR(a[i] / double(n / 2), expected, limit) << "sample " << i;
        }
        fft->Destroy();
    }
}

TEST(FFmpegFft, CreateKeepsToItsSizesAndBuffersAreAligned)
{
    for (int bits : {0, 1, 3, 18, 30})
        EXPECT_EQ(FFmpegRealFft::Create(bits), nullptr) << bits;
    for (int bits : {-1, 1, 18})
        EXPECT_EQ(FFmpegComplexFft::Create(bits), nullptr) << bits;
    for (int bits : {FFmpegRealFft::kMinBits, FFmpegRealFft::kMaxBits}) {
        FFmpegRealFft* fft = FFmpegRealFft::Create(bits);
        ASSERT_NE(fft, nullptr) << bits;
        fft->Destroy();
    }
    for (int bits : {FFmpegComplexFft::kMinBits, FFmpegComplexFft::kMaxBits}) {
        FFmpegComplexFft* fft = FFmpegComplexFft::Create(bits);
        ASSERT_NE(fft, nullptr) << bits;
        fft->Destroy();
    }
    for (size_t bytes : {size_t(1), size_t(60), size_t(8192 + 4)}) {
        void* p = AllocateFftBuffer(bytes);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % kFftAlignmentBytes, 0u) << bytes;
        FreeFftBuffer(p);
    }
}

}  // namespace
