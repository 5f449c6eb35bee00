// The fast log10 and 10^x against the math library, and their fixed points.
#include <gtest/gtest.h>

#include <cmath>

#include "ov/OvFastMath.h"

namespace {

TEST(OvFastMath, Log10AndPow10FollowTheLibrary)
{
    for (int k = -600; k <= 600; ++k) {
        const float x = float(std::pow(10.0, k / 100.0));
        ASSERT_NEAR(OV::FastLog10(x), std::log10(x), 8e-4) << "x = " << x;
    }
    // Powers of two have a mantissa of exactly 1: only the exponent term counts.
    for (int e = -20; e <= 20; ++e)
        EXPECT_NEAR(OV::FastLog10(std::ldexp(1.0f, e)), e * 0.30103, 2e-6) << "2^" << e;
    for (int k = -3000; k <= 3000; ++k) {
        const double exact = std::pow(10.0, k / 100.0);
        ASSERT_NEAR(OV::FastPow10(k / 100.0f) / exact, 1.0, 2.5e-3) << k;
        ASSERT_NEAR(OV::FastPow10FromDb(k / 5.0f) / exact, 1.0, 2.5e-3) << k;
    }
    EXPECT_NEAR(OV::FastPow10(0.0f), 0.999039f, 1e-6f);  // not exactly 1
    EXPECT_EQ(OV::FastPow10(-37.5f), 0.0f);
    EXPECT_EQ(OV::FastPow10(-100.0f), 0.0f);
    // -37 itself is still computed; far beyond the float range the result saturates.
    EXPECT_TRUE(OV::FastPow10(-37.0f) > 0.0f && OV::FastPow10(-37.0f) < 1.1e-37f);
    EXPECT_TRUE(std::isfinite(OV::FastPow10(60.0f)) && OV::FastPow10(60.0f) > 1e38f);
}

// Values no setting should let through still give defined results: infinities
// saturate, NaN stays NaN in the power and is finite in the logarithm.
TEST(OvFastMath, NonFiniteInputsGiveDefinedResults)
{
    const float inf = INFINITY;
    EXPECT_EQ(OV::FastPow10(-inf), 0.0f);
    EXPECT_EQ(OV::FastPow10FromDb(-inf), 0.0f);
    EXPECT_TRUE(std::isfinite(OV::FastPow10(inf)) && OV::FastPow10(inf) > 1e38f);
    EXPECT_TRUE(std::isnan(OV::FastPow10(NAN)));
    EXPECT_TRUE(std::isnan(OV::FastPow10FromDb(-NAN)));
    for (float x : {inf, -inf, float(NAN), 0.0f, 1e-45f})
        EXPECT_TRUE(std::isfinite(OV::FastLog10(x))) << x;
    EXPECT_NEAR(OV::FastLog10(inf), 128 * 0.30103, 1e-3);
}

}  // namespace
