// The design routine's own type numbering, checked against the analog
// prototype each type is meant to be.
#include <gtest/gtest.h>

#include <vector>

#include "sdk/dsp/filters/DesignBiquad.h"
#include "sdk/dsp/filters/OvBiquad.h"
#include "support/FrequencyResponse.h"
#include "support/RecordingAssertHook.h"

namespace {

TEST(DesignBiquad, EachTypeIsItsShapeWithTheGainInDbAndZeroDbIsExactlyFlat)
{
    testsupport::RecordingAssertHook asserts;
    // Type -> shape in the parametric EQ's numbering (0 Butterworth LP ... 8 high shelf with Q).
    const uint32_t shapeOfType[9] = {4, 6, 5, 0, 1, 2, 3, 7, 8};
    for (int type = 0; type < 9; ++type) {
        for (float gainDb : {-9.0f, 0.0f, 6.0f}) {
            SCOPED_TRACE(testing::Message() << "type " << type << " gain " << gainDb);
            OvBiquad filter;
            DesignBiquad(filter, type, 48000.0f, 1500.0f, gainDb, 1.2f);
            if (gainDb == 0.0f && (type <= 2 || type >= 7)) {  // shelves and peak pass the signal exactly
                EXPECT_TRUE(filter.B0() == 1.0f && filter.B1() == filter.A1() && filter.B2() == filter.A2());
            }
            std::vector<float> h(1 << 14, 0.0f);
            h[0] = 1.0f;
            filter.ProcessSamples(h.data(), uint32_t(h.size()));
            for (double f : {0.0, 200.0, 1500.0, 3000.0, 12000.0, 24000.0}) {
                const double expected = testsupport::PrototypeDb(shapeOfType[type], f, 1500.0, gainDb, 1.2, 48000.0);
                if (expected > -60.0) {  // the fast power behind the gain is good to about 0.02 dB
                    EXPECT_NEAR(testsupport::MagnitudeDb(h, f, 48000.0), expected, 0.04) << f << " Hz";
                }
            }
        }
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
    for (int type : {-1, 9}) {  // unknown types: reported, filter unchanged
        OvBiquad filter;
        filter.SetCoefs(0.5f, 0.25f, 0.125f, -0.5f, 0.25f);
        DesignBiquad(filter, type, 44100.0f, 1000.0f, 3.0f, 1.0f);
        EXPECT_TRUE(filter.B0() == 0.5f && filter.A1() == -0.5f) << type;
    }
    EXPECT_EQ(asserts.Count(), 2u);
    EXPECT_TRUE(asserts.Saw("Invalid filter type."));
}

}  // namespace
