// The shape the engine relies on in rotate 3D's measured tables: 37 rows of
// 513 bins per ear, each the 1024-point forward DFT of a real response whose
// main peak lies inside the first 256 taps, delayed and not wrapped; the
// engine's forward transform is the one that built them; the near ear is
// the louder at 90 degrees. The measurement's own values differ from the
// check values once quoted for these tables, which come from another set.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "common/FFmpegFft.h"
#include "effects/Rotate3DResponses.h"

namespace {

constexpr uint32_t kPoints = 1024;

// The response of a row: its Hermitian spectrum through the unscaled complex
// inverse, over 1024. Also returns the largest imaginary part met.
std::vector<double> Response(const float* row, double* imaginary = nullptr)
{
    FFmpegComplexFft* fft = FFmpegComplexFft::Create(10);
    FftComplex* x = static_cast<FftComplex*>(AllocateFftBuffer(kPoints * sizeof(FftComplex)));
    for (uint32_t k = 0; k < kPoints; ++k) {
        const uint32_t b = k <= 512 ? k : kPoints - k;
        x[k] = FftComplex{row[2 * b], k <= 512 ? row[2 * b + 1] : -row[2 * b + 1]};
    }
    fft->Inverse(x);
    std::vector<double> h(kPoints);
    double im = 0.0;
    for (uint32_t n = 0; n < kPoints; ++n) {
        h[n] = double(x[n].re) / kPoints;
        im = std::max(im, std::fabs(double(x[n].im) / kPoints));
    }
    if (imaginary)
        *imaginary = im;
    FreeFftBuffer(x);
    fft->Destroy();
    return h;
}

double Energy(const std::vector<double>& h, size_t from, size_t to)
{
    double sum = 0.0;
    for (size_t n = from; n < to; ++n)
        sum += h[n] * h[n];
    return sum;
}

size_t PeakTap(const std::vector<double>& h)
{
    return size_t(std::max_element(h.begin(), h.end(), [](double a, double b) { return std::fabs(a) < std::fabs(b); }) -
                  h.begin());
}

TEST(Rotate3DResponses, EveryRowIsTheSpectrumOfAReal256TapResponseDelayedNotWrapped)
{
    static_assert(sizeof(kRotate3DFarEar) == 37 * 513 * 2 * sizeof(float), "37 rows of 513 complex bins");
    static_assert(sizeof(kRotate3DNearEar) == sizeof(kRotate3DFarEar), "two sets of one shape");
    for (const auto* set : {&kRotate3DFarEar, &kRotate3DNearEar}) {
        for (uint32_t row = 0; row < kRotate3DResponseRows; ++row) {
            SCOPED_TRACE(testing::Message() << (set == &kRotate3DFarEar ? "far" : "near") << " row " << row);
            const float* bins = (*set)[row];
            // Rows lie back to back.
            ASSERT_EQ(bins, &(*set)[0][0] + size_t(row) * 2 * kRotate3DResponseBins);
            EXPECT_EQ(bins[1], 0.0f);     // bin 0 is real
            EXPECT_EQ(bins[1025], 0.0f);  // and bin 512
            double imaginary = 0.0;
            const std::vector<double> h = Response(bins, &imaginary);
            const double total = Energy(h, 0, kPoints);
            EXPECT_GT(total, 1e-3);
            EXPECT_LT(imaginary, 1e-6);
            // All of it in the first 256 taps: nothing later, nothing wrapped.
            EXPECT_LT(Energy(h, 256, kPoints), 1e-9 * total);
            // The main peak inside, well after tap 0: delayed, not wrapped.
            const size_t peak = PeakTap(h);
            EXPECT_GE(peak, 20u);
            EXPECT_LT(peak, 128u);
            // Nothing before the sound arrives.
            EXPECT_LT(Energy(h, 0, 10), 1e-4 * total);
        }
    }
}

// The engine's forward transform, FFmpegRealFft (e^-i), gives the table row
// back from the row's response: the table was built with its sign. With the
// other sign the response would be time-reversed, its peak near tap 1024.
TEST(Rotate3DResponses, TheEnginesForwardTransformBuiltThem)
{
    FFmpegRealFft* fft = FFmpegRealFft::Create(10);
    float* x = static_cast<float*>(AllocateFftBuffer(kPoints * sizeof(float)));
    for (uint32_t row : {0u, 7u, 18u, 29u, 36u}) {
        for (const auto* set : {&kRotate3DFarEar, &kRotate3DNearEar}) {
            const float* bins = (*set)[row];
            const std::vector<double> h = Response(bins);
            for (uint32_t n = 0; n < kPoints; ++n)
                x[n] = float(h[n]);
            fft->Forward(x);
            double worst = 0.0, peak = 0.0;
            for (uint32_t k = 1; k < 512; ++k) {
                worst = std::max({worst, std::fabs(double(x[2 * k]) - bins[2 * k]),
                                  std::fabs(double(x[2 * k + 1]) - bins[2 * k + 1])});
                peak = std::max(peak, std::hypot(double(bins[2 * k]), double(bins[2 * k + 1])));
            }
            worst = std::max({worst, std::fabs(double(x[0]) - bins[0]), std::fabs(double(x[1]) - bins[1024])});
            EXPECT_LT(worst, 1e-5 * peak) << "row " << row;
            // The phase of a delay d is e^(-i w d): bins turn clockwise.
            const size_t d = PeakTap(h);
            double turn = 0.0;
            for (uint32_t k = 1; k < 64; ++k) {
                const double w = 2.0 * M_PI * k / kPoints * double(d);
                turn += bins[2 * k] * std::cos(w) - bins[2 * k + 1] * std::sin(w);  // Re(X e^(+i w d))
            }
            EXPECT_GT(turn, 0.0) << "row " << row;
        }
    }
    FreeFftBuffer(x);
    fft->Destroy();
}

// Head shadow: at 90 degrees the near ear takes far more energy than the far
// ear, above all high up; over the side rows the near ear stays the louder.
TEST(Rotate3DResponses, TheNearEarIsLouderThanTheFarEarAt90Degrees)
{
    const std::vector<double> nearEar = Response(kRotate3DNearEar[18]);
    const std::vector<double> farEar = Response(kRotate3DFarEar[18]);
    EXPECT_GT(Energy(nearEar, 0, kPoints), 4.0 * Energy(farEar, 0, kPoints));
    // Above 4 kHz (bins 93 and up) the shadow is deeper still.
    auto band = [](const float* row, uint32_t from, uint32_t to) {
        double sum = 0.0;
        for (uint32_t k = from; k < to; ++k)
            sum += double(row[2 * k]) * row[2 * k] + double(row[2 * k + 1]) * row[2 * k + 1];
        return sum;
    };
    EXPECT_GT(band(kRotate3DNearEar[18], 93, 400), 10.0 * band(kRotate3DFarEar[18], 93, 400));
    for (uint32_t row = 4; row <= 32; ++row)
        EXPECT_GT(Energy(Response(kRotate3DNearEar[row]), 0, kPoints), Energy(Response(kRotate3DFarEar[row]), 0, kPoints))
            << "row " << row;
    // Straight ahead and straight behind both ears hear alike.
    for (uint32_t row : {0u, 36u}) {
        const double a = Energy(Response(kRotate3DNearEar[row]), 0, kPoints);
        const double b = Energy(Response(kRotate3DFarEar[row]), 0, kPoints);
        EXPECT_NEAR(a / b, 1.0, 0.05) << "row " << row;
    }
    // The far ear hears the sound later at 90 degrees: the delay between the ears is built in.
    EXPECT_GT(PeakTap(farEar), PeakTap(nearEar) + 10);
}

// A centred mono signal keeps its power on average over a revolution:
// (L + R) * 0.707 gives the sum path twice a channel's power, and the mean
// response energy over the circle of directions and both ears is 0.5.
TEST(Rotate3DResponses, MeanEnergyOverTheCircleIsOneHalf)
{
    double sum = 0.0, weight = 0.0;
    for (uint32_t row = 0; row < kRotate3DResponseRows; ++row) {
        // Rows 1 to 35 stand for a direction on each side of the circle.
        const double w = row == 0 || row == 36 ? 1.0 : 2.0;
        sum += w * (Energy(Response(kRotate3DNearEar[row]), 0, kPoints) + Energy(Response(kRotate3DFarEar[row]), 0, kPoints));
        weight += 2.0 * w;
    }
    EXPECT_NEAR(sum / weight, 0.5, 0.005);
}

}  // namespace
