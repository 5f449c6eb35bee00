// The fast log10 and 10^x against the math library, and their fixed points.
#include <gtest/gtest.h>

#include <cmath>

#include "ov/OvFastMath.h"

namespace {

TEST(OvFastMath, Log10StaysWithinOneThousandthOfTheLibraryOverTwelveDecades)
{
    for (int k = -600; k <= 600; ++k) {
        const float x = float(std::pow(10.0, k / 100.0));
        ASSERT_NEAR(OV::FastLog10(x), std::log10(x), 8e-4) << "x = " << x;
    }
    // Powers of two have a mantissa of exactly 1: only the exponent term counts.
    for (int e = -20; e <= 20; ++e)
        EXPECT_NEAR(OV::FastLog10(std::ldexp(1.0f, e)), e * 0.30103, 2e-6) << "2^" << e;
}

TEST(OvFastMath, Pow10StaysWithinAQuarterPercentOfTheLibrary)
{
    for (int k = -3000; k <= 3000; ++k) {
        const float x = k / 100.0f;
        const double exact = std::pow(10.0, double(x));
        ASSERT_NEAR(OV::FastPow10(x) / exact, 1.0, 2.5e-3) << "x = " << x;
    }
}

TEST(OvFastMath, Pow10FixedPoints)
{
    EXPECT_NEAR(OV::FastPow10(0.0f), 0.999039f, 1e-6f);  // not exactly 1
    EXPECT_EQ(OV::FastPow10(-37.5f), 0.0f);
    EXPECT_EQ(OV::FastPow10(-100.0f), 0.0f);
    // -37 itself is still computed: a tiny positive number.
    EXPECT_GT(OV::FastPow10(-37.0f), 0.0f);
    EXPECT_LT(OV::FastPow10(-37.0f), 1.1e-37f);
    // Far beyond the float range the result saturates instead of wrapping.
    EXPECT_GT(OV::FastPow10(60.0f), 1e38f);
    EXPECT_TRUE(std::isfinite(OV::FastPow10(60.0f)));
}

TEST(OvFastMath, Pow10FromDbIsTwentiethsOfADecade)
{
    const struct {
        float db, gain;
    } cases[] = {{20.0f, 10.0f}, {-20.0f, 0.1f}, {-6.0206f, 0.5f}, {6.0206f, 2.0f}, {-60.0f, 0.001f}};
    for (const auto& c : cases)
        EXPECT_NEAR(OV::FastPow10FromDb(c.db) / c.gain, 1.0f, 2.5e-3f) << c.db << " dB";
}

}  // namespace
