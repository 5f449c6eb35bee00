// Every filter shape against the analog prototype it is the bilinear image of,
// measured from the impulse response through a DFT.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

#include "sdk/dsp/filters/BiquadShape.h"
#include "sdk/dsp/filters/OvBiquad.h"
#include "support/FrequencyResponse.h"

namespace {

using testsupport::MagnitudeDb;

std::vector<float> Impulse(uint32_t shape, float rate, float f0, float gainDb, float q)
{
    OvBiquad filter;
    EXPECT_TRUE(DesignBiquadShape(filter, shape, rate, f0, std::pow(10.0f, gainDb / 40.0f), q));
    std::vector<float> h(1 << 15, 0.0f);
    h[0] = 1.0f;
    filter.ProcessSamples(h.data(), uint32_t(h.size()));
    return h;
}

// The probes include DC, Nyquist and the design frequency, so this also holds
// the landmarks: shelf gain at both ends and half of it at f0, peak gain at
// the centre, the -3 dB point of the Butterworth types, 0 dB at a band-pass centre.
TEST(BiquadShape, MagnitudeFollowsTheAnalogPrototypeForEveryShape)
{
    const double rate = 44100.0;
    struct Case { float f0, gainDb, q; };
    const Case cases[] = {{100, 9, 0.7f}, {800, 12, 0.8f}, {1000, -12, 2.0f}, {6000, 6, 0.5f}, {15000, -3, 1.0f}};
    for (uint32_t shape = 0; shape <= 10; ++shape) {
        for (const Case& c : cases) {
            const std::vector<float> h = Impulse(shape, float(rate), c.f0, c.gainDb, c.q);
            for (double f : {0.0, 20.0, 100.0, 500.0, 1000.0, 3000.0, 8000.0, 16000.0, 22050.0, double(c.f0)}) {
                SCOPED_TRACE(testing::Message() << "shape " << shape << " f0 " << c.f0 << " at " << f << " Hz");
                const double expected = testsupport::PrototypeDb(shape, f, c.f0, c.gainDb, c.q, rate);
                if (expected < -60.0)
                    continue;  // deep stop band or notch: float noise dominates
                // Float coefficients near the unit circle: a little looser far down.
                EXPECT_NEAR(MagnitudeDb(h, f, rate), expected, 0.02 + 0.005 * std::abs(expected));
            }
        }
    }
}

TEST(BiquadShape, FrequenciesAboveFortyFivePercentOfTheRateAreDesignedAtThatLimit)
{
    for (float rate : {22050.0f, 44100.0f, 48000.0f}) {
        for (uint32_t shape = 0; shape <= 10; ++shape) {
            OvBiquad atLimit, above;
            DesignBiquadShape(atLimit, shape, rate, rate * 0.45f, 2.0f, 1.0f);
            DesignBiquadShape(above, shape, rate, rate * 0.49f, 2.0f, 1.0f);
            EXPECT_TRUE(above.B0() == atLimit.B0() && above.B1() == atLimit.B1() && above.B2() == atLimit.B2() &&
                        above.A1() == atLimit.A1() && above.A2() == atLimit.A2()) << "shape " << shape;
        }
        const std::vector<float> lp = Impulse(OV_Shape_ButterworthLowPass, rate, rate, 0.0f, 1.0f);
        EXPECT_NEAR(MagnitudeDb(lp, rate * 0.45, rate), -3.0103, 0.01) << rate;
    }
    OvBiquad filter;  // an unknown shape leaves the filter alone
    filter.SetCoefs(0.5f, 0.25f, 0.125f, -0.5f, 0.25f);
    EXPECT_FALSE(DesignBiquadShape(filter, 11, 44100.0f, 1000.0f, 1.0f, 1.0f));
    EXPECT_TRUE(filter.B0() == 0.5f && filter.A2() == 0.25f);
}

// Float coefficients cannot hold poles very close to z = 1. Whatever the
// frequency (0, NaN and tiny ones included), with Q and gain anywhere in the
// EQs' domains, every shape comes out with both poles inside the unit circle,
// as the roots of z^2 + a1 z + a2 show.
TEST(BiquadShape, EveryDesignKeepsItsPolesInsideTheUnitCircle)
{
    for (float rate : {8000.0f, 44100.0f, 96000.0f, 192000.0f, 384000.0f}) {
        for (float f0 : {0.0f, float(NAN), -5.0f, 1e-3f, 1.0f, 5.0f, 20.0f, 60.0f}) {
            for (float q : {0.05f, 0.707f, 40.0f}) {
                for (float gainDb : {-60.0f, -24.0f, 0.0f, 24.0f, 60.0f}) {
                    for (uint32_t shape = 0; shape <= 10; ++shape) {
                        OvBiquad filter;
                        ASSERT_TRUE(DesignBiquadShape(filter, shape, rate, f0, std::pow(10.0f, gainDb / 40.0f), q));
                        const std::complex<double> a1 = filter.A1(), a2 = filter.A2();
                        const std::complex<double> root = std::sqrt(a1 * a1 - 4.0 * a2);
                        const double radius = std::max(std::abs((-a1 + root) / 2.0), std::abs((-a1 - root) / 2.0));
                        ASSERT_LT(radius, 1.0) << "shape " << shape << " at " << f0 << " Hz of " << rate << ", Q " << q
                                               << ", " << gainDb << " dB";
                    }
                }
            }
        }
    }
}

}  // namespace
