// The design routine's type numbering, checked through each type's landmark.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ov/OvAssert.h"
#include "sdk/dsp/DesignBiquad.h"
#include "sdk/dsp/OvBiquad.h"
#include "support/FrequencyResponse.h"

namespace {

using testsupport::MagnitudeDb;

std::vector<float> Impulse(int type, float rate, float freqHz, float gainDb, float q)
{
    OvBiquad filter;
    DesignBiquad(filter, type, rate, freqHz, gainDb, q);
    std::vector<float> h(1 << 15, 0.0f);
    h[0] = 1.0f;
    filter.ProcessSamples(h.data(), uint32_t(h.size()));
    return h;
}

TEST(DesignBiquad, EachTypeHasItsShapesLandmark)
{
    for (float rate : {44100.0f, 96000.0f}) {
        const double nyq = rate / 2;
        for (float gainDb : {-9.0f, 6.0f}) {
            // Shelves and peak carry the gain (the fast power is good to ~0.02 dB).
            EXPECT_NEAR(MagnitudeDb(Impulse(0, rate, 300, gainDb, 1), 0, rate), gainDb, 0.05);
            EXPECT_NEAR(MagnitudeDb(Impulse(0, rate, 300, gainDb, 1), nyq, rate), 0.0, 0.05);
            EXPECT_NEAR(MagnitudeDb(Impulse(1, rate, 2000, gainDb, 1.41f), 2000, rate), gainDb, 0.05);
            EXPECT_NEAR(MagnitudeDb(Impulse(2, rate, 5000, gainDb, 1), nyq, rate), gainDb, 0.05);
            EXPECT_NEAR(MagnitudeDb(Impulse(2, rate, 5000, gainDb, 1), 0, rate), 0.0, 0.05);
            EXPECT_NEAR(MagnitudeDb(Impulse(7, rate, 300, gainDb, 0.707f), 0, rate), gainDb, 0.05);
            EXPECT_NEAR(MagnitudeDb(Impulse(7, rate, 300, gainDb, 0.707f), 300, rate), gainDb / 2, 0.05);
            EXPECT_NEAR(MagnitudeDb(Impulse(8, rate, 9000, gainDb, 0.707f), nyq, rate), gainDb, 0.05);
            EXPECT_NEAR(MagnitudeDb(Impulse(8, rate, 9000, gainDb, 0.707f), 9000, rate), gainDb / 2, 0.05);
            // Filters that ignore the gain.
            EXPECT_NEAR(MagnitudeDb(Impulse(3, rate, 1000, gainDb, 5), 1000, rate), -3.0103, 0.02);
            EXPECT_NEAR(MagnitudeDb(Impulse(3, rate, 1000, gainDb, 5), 0, rate), 0.0, 0.01);
            EXPECT_NEAR(MagnitudeDb(Impulse(4, rate, 1000, gainDb, 5), 1000, rate), -3.0103, 0.02);
            EXPECT_NEAR(MagnitudeDb(Impulse(4, rate, 1000, gainDb, 5), nyq, rate), 0.0, 0.01);
            EXPECT_NEAR(MagnitudeDb(Impulse(5, rate, 1000, gainDb, 2), 1000, rate), 0.0, 0.02);
            EXPECT_LT(MagnitudeDb(Impulse(5, rate, 1000, gainDb, 2), 100, rate), -20.0);
            EXPECT_LT(MagnitudeDb(Impulse(6, rate, 1000, gainDb, 2), 1000, rate), -40.0);
            EXPECT_NEAR(MagnitudeDb(Impulse(6, rate, 1000, gainDb, 2), 100, rate), 0.0, 0.05);
        }
    }
}

TEST(DesignBiquad, GainAndQAreIgnoredWhereTheShapeHasNone)
{
    for (int type = 3; type <= 6; ++type) {
        OvBiquad plain, gained, otherQ;
        DesignBiquad(plain, type, 48000.0f, 1500.0f, 0.0f, 2.0f);
        DesignBiquad(gained, type, 48000.0f, 1500.0f, 12.0f, 2.0f);
        DesignBiquad(otherQ, type, 48000.0f, 1500.0f, 0.0f, 0.3f);
        EXPECT_EQ(plain.B0(), gained.B0()) << type;
        EXPECT_EQ(plain.A1(), gained.A1()) << type;
        EXPECT_EQ(plain.A2(), gained.A2()) << type;
        if (type <= 4) {
            EXPECT_EQ(plain.B0(), otherQ.B0()) << type;
            EXPECT_EQ(plain.A2(), otherQ.A2()) << type;
        } else {
            EXPECT_NE(plain.A2(), otherQ.A2()) << type;
        }
    }
}

std::vector<std::string> g_asserts;
void RecordAssert(const char* expression, const char*, int) { g_asserts.push_back(expression); }

TEST(DesignBiquad, UnknownTypeIsReportedAndChangesNothing)
{
    const OvAssertHook previous = g_pOVAssertHook;
    g_pOVAssertHook = RecordAssert;
    for (int type : {-1, 9, 100}) {
        g_asserts.clear();
        OvBiquad filter;
        filter.SetCoefs(0.5f, 0.25f, 0.125f, -0.5f, 0.25f);
        DesignBiquad(filter, type, 44100.0f, 1000.0f, 3.0f, 1.0f);
        EXPECT_EQ(filter.B0(), 0.5f);
        EXPECT_EQ(filter.A1(), -0.5f);
        ASSERT_EQ(g_asserts.size(), 1u) << type;
        EXPECT_EQ(g_asserts[0], "Invalid filter type.");
    }
    g_pOVAssertHook = previous;
}

}  // namespace
