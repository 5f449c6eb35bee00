// The generated early-reflection table against the summary it was drawn
// from: counts, first and last tap, the 1/48 ms grid, ascending times, the
// gain range, the published taps verbatim, and clusters on consecutive steps.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string>

#include "../../../../tools/gen/early_reflections/ERPatternSummary.h"
#include "sdk/plugins/OvRoomVerb/ERPatterns.h"

namespace {

using OvRoomVerb::ERTap;
using OvRoomVerb::g_ERPatternsList;

TEST(ERPatterns, EveryRowHonoursTheSummary)
{
    for (uint32_t row = 0; row < 31; ++row) {
        const ergen::RowSummary& summary = ergen::kRows[row];
        const OvRoomVerb::ERPattern& p = g_ERPatternsList[row];
        SCOPED_TRACE(testing::Message() << "row " << row << " " << summary.name);
        EXPECT_EQ(std::wstring(p.name), std::wstring(summary.name, summary.name + std::strlen(summary.name)));
        ASSERT_EQ(p.uNumTapsLeft, summary.numLeft);
        ASSERT_EQ(p.uNumTapsRight, summary.numRight);
        double first = 1e9, last = -1e9;
        int clustered = 0;
        for (int side = 0; side < 2; ++side) {
            const ERTap* taps = side ? p.pTapsRight : p.pTapsLeft;
            const uint32_t count = side ? p.uNumTapsRight : p.uNumTapsLeft;
            long previous = -1;
            for (uint32_t i = 0; i < count; ++i) {
                const long steps = std::lround(double(taps[i].fTime) * 48.0);
                EXPECT_EQ(taps[i].fTime, float(steps / 48.0)) << "tap " << i << " is off the 1/48 ms grid";
                EXPECT_GT(steps, previous) << "tap " << i << " does not ascend";
                EXPECT_GE(taps[i].fGain, ergen::kMinGain);
                EXPECT_LE(taps[i].fGain, ergen::kMaxGain);
                clustered += steps == previous + 1;
                previous = steps;
            }
            first = std::fmin(first, taps[0].fTime);
            last = std::fmax(last, taps[count - 1].fTime);
        }
        // The summary gives times to four decimals.
        EXPECT_NEAR(first, summary.firstMs, 0.00005);
        EXPECT_NEAR(last, summary.lastMs, 0.00005);
        if (row != 9) {  // the cathedral's known taps stand alone
            EXPECT_GT(clustered, 0) << "no taps on consecutive steps";
        }
    }
    for (const ergen::KnownTaps& known : ergen::kKnownTaps) {
        const OvRoomVerb::ERPattern& p = g_ERPatternsList[known.row];
        const ERTap* taps = known.right ? p.pTapsRight : p.pTapsLeft;
        for (uint32_t i = 0; i < known.count; ++i) {
            EXPECT_NEAR(taps[i].fTime, known.taps[i].timeMs, 0.00005) << known.row << ", tap " << i;
            EXPECT_EQ(taps[i].fGain, known.taps[i].gain) << known.row << ", tap " << i;
        }
    }
}

}  // namespace
