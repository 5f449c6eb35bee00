// Every filter shape against the analog prototype it is the bilinear image of,
// measured from the impulse response through a DFT.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "sdk/dsp/BiquadShape.h"
#include "sdk/dsp/OvBiquad.h"
#include "support/FrequencyResponse.h"

namespace {

using testsupport::MagnitudeDb;
using testsupport::ToDb;

constexpr double kRate = 44100.0;

std::vector<float> Impulse(const OvBiquadCoefs& coefs, size_t length = 1 << 15)
{
    OvBiquad filter;
    filter.SetCoefs(coefs.B0(), coefs.B1(), coefs.B2(), coefs.A1(), coefs.A2());
    std::vector<float> h(length, 0.0f);
    h[0] = 1.0f;
    filter.ProcessSamples(h.data(), uint32_t(h.size()));
    return h;
}

TEST(BiquadShape, MagnitudeFollowsTheAnalogPrototypeForEveryShape)
{
    const double probesHz[] = {20, 50, 100, 200, 500, 1000, 2000, 3000, 5000, 8000, 12000, 16000, 20000};
    struct Case { double f0, gainDb, q; };
    const Case cases[] = {{100, 9, 0.7}, {1000, -12, 2.0}, {6000, 6, 0.5}, {15000, -3, 1.0}};
    for (uint32_t shape = 0; shape <= 10; ++shape) {
        for (const Case& c : cases) {
            OvBiquad filter;
            ASSERT_TRUE(DesignBiquadShape(filter, shape, float(kRate), float(c.f0),
                                          std::pow(10.0f, float(c.gainDb) / 40.0f), float(c.q)));
            const std::vector<float> h = Impulse(filter);
            for (double f : probesHz) {
                const double expected = testsupport::PrototypeDb(shape, f, c.f0, c.gainDb, c.q, kRate);
                if (expected < -60.0)
                    continue;  // deep stop band or notch: float noise dominates
                // Float coefficients near the unit circle: a little looser far down.
                EXPECT_NEAR(MagnitudeDb(h, f, kRate), expected, 0.05 + 0.005 * std::abs(expected))
                    << "shape " << shape << " f0 " << c.f0 << " at " << f << " Hz";
            }
        }
    }
}

TEST(BiquadShape, LandmarksSitWhereTheShapesPutThem)
{
    const float nyquist = float(kRate / 2);
    for (float gainDb : {-15.0f, -6.0f, 4.5f, 12.0f}) {
        const float A = std::pow(10.0f, gainDb / 40.0f);
        for (uint32_t shape : {4u, 5u, 7u, 8u}) {
            OvBiquad filter;
            DesignBiquadShape(filter, shape, float(kRate), 800.0f, A, 0.8f);
            const std::vector<float> h = Impulse(filter);
            const bool low = shape == 4u || shape == 7u;
            EXPECT_NEAR(MagnitudeDb(h, 0.0, kRate), low ? gainDb : 0.0, 0.01) << shape;
            EXPECT_NEAR(MagnitudeDb(h, nyquist, kRate), low ? 0.0 : gainDb, 0.01) << shape;
            // Half the shelf gain at the design frequency.
            EXPECT_NEAR(MagnitudeDb(h, 800.0, kRate), gainDb / 2, 0.01) << shape;
        }
        for (float centreHz : {60.0f, 1000.0f, 12000.0f}) {
            OvBiquad peak;
            DesignBiquadShape(peak, OV_Shape_Peak, float(kRate), centreHz, A, 1.41421f);
            EXPECT_NEAR(MagnitudeDb(Impulse(peak), centreHz, kRate), gainDb, 0.02) << centreHz;
        }
    }
    for (float cutoffHz : {40.0f, 1000.0f, 15000.0f}) {
        OvBiquad lp, hp, bp, notch;
        DesignBiquadShape(lp, OV_Shape_ButterworthLowPass, float(kRate), cutoffHz, 1.0f, 1.0f);
        DesignBiquadShape(hp, OV_Shape_ButterworthHighPass, float(kRate), cutoffHz, 1.0f, 1.0f);
        DesignBiquadShape(bp, OV_Shape_BandPass, float(kRate), cutoffHz, 1.0f, 3.0f);
        DesignBiquadShape(notch, OV_Shape_Notch, float(kRate), cutoffHz, 1.0f, 3.0f);
        EXPECT_NEAR(MagnitudeDb(Impulse(lp), cutoffHz, kRate), -3.0103, 0.05) << cutoffHz;
        EXPECT_NEAR(MagnitudeDb(Impulse(hp), cutoffHz, kRate), -3.0103, 0.05) << cutoffHz;
        EXPECT_NEAR(MagnitudeDb(Impulse(lp), 0.0, kRate), 0.0, 0.01);
        EXPECT_NEAR(MagnitudeDb(Impulse(hp), nyquist, kRate), 0.0, 0.01);
        EXPECT_NEAR(MagnitudeDb(Impulse(bp), cutoffHz, kRate), 0.0, 0.02) << cutoffHz;
        EXPECT_LT(MagnitudeDb(Impulse(notch), cutoffHz, kRate), -40.0) << cutoffHz;
    }
}

TEST(BiquadShape, FrequenciesAboveFortyFivePercentOfTheRateAreDesignedAtThatLimit)
{
    for (float rate : {22050.0f, 44100.0f, 48000.0f}) {
        const float limitHz = rate * 0.45f;
        for (uint32_t shape = 0; shape <= 10; ++shape) {
            OvBiquad atLimit, above;
            DesignBiquadShape(atLimit, shape, rate, limitHz, 2.0f, 1.0f);
            DesignBiquadShape(above, shape, rate, rate * 0.49f, 2.0f, 1.0f);
            EXPECT_EQ(above.B0(), atLimit.B0()) << shape;
            EXPECT_EQ(above.B1(), atLimit.B1()) << shape;
            EXPECT_EQ(above.B2(), atLimit.B2()) << shape;
            EXPECT_EQ(above.A1(), atLimit.A1()) << shape;
            EXPECT_EQ(above.A2(), atLimit.A2()) << shape;
        }
        OvBiquad lp;
        DesignBiquadShape(lp, OV_Shape_ButterworthLowPass, rate, rate, 1.0f, 1.0f);
        std::vector<float> h(1 << 14, 0.0f);
        h[0] = 1.0f;
        lp.ProcessSamples(h.data(), uint32_t(h.size()));
        EXPECT_NEAR(MagnitudeDb(h, limitHz, rate), -3.0103, 0.01) << rate;
    }
}

TEST(BiquadShape, UnknownShapeLeavesTheFilterAlone)
{
    OvBiquad filter;
    filter.SetCoefs(0.5f, 0.25f, 0.125f, -0.5f, 0.25f);
    EXPECT_FALSE(DesignBiquadShape(filter, 11, 44100.0f, 1000.0f, 1.0f, 1.0f));
    EXPECT_EQ(filter.B0(), 0.5f);
    EXPECT_EQ(filter.A2(), 0.25f);
}

}  // namespace
