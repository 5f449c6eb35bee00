// The five inner routines of OvPeakLimiterFX, each on a layout that selects
// it: which channels share a gain, which pass untouched, and the level a
// steady overload settles at under each law.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "ov/OvFastMath.h"
#include "sdk/plugins/OvPeakLimiter/OvPeakLimiterFX.h"
#include "sdk/plugins/OvPeakLimiter/OvPeakLimiterFXParams.h"
#include "support/OvPluginHarness.h"
#include "support/RecordingAssertHook.h"

namespace {

using Routine = OvPeakLimiterFX::Routine;
using Rig = testsupport::OvPluginHarness<OvPeakLimiterFX, OvPeakLimiterFXParams>;

constexpr uint32_t kRate = 44100;

struct Layout {
    const char* name;
    uint32_t channels;
    uint8_t hardCeiling, channelLink, processLFE, infiniteRatio;
    Routine routine;
};

const Layout kLayouts[] = {
    {"mono", 1, 1, 1, 1, 1, Routine::PerChannelDb},
    {"stereo unlinked", 2, 0, 0, 1, 1, Routine::PerChannelDb},
    {"5.1, LFE left out (dB law even with the ceiling)", 6, 1, 1, 0, 1, Routine::LinkedNoLfeDb},
    {"stereo, hard ceiling", 2, 1, 1, 1, 1, Routine::StereoHard},
    {"5.1, hard ceiling", 6, 1, 1, 1, 1, Routine::MultiChannelHard},
    {"quad, dB law", 4, 0, 1, 1, 1, Routine::LinkedDb},
    {"quad, dB law, ratio 4", 4, 0, 1, 1, 0, Routine::LinkedDb},
};

void SetLayout(Rig& rig, const Layout& layout)
{
    rig.Set(OV_PEAKLIMITERFXPARAM_HARDCEILING_ID, layout.hardCeiling);
    rig.Set(OV_PEAKLIMITERFXPARAM_CHANNELLINK_ID, layout.channelLink);
    rig.Set(OV_PEAKLIMITERFXPARAM_PROCESSLFE_ID, layout.processLFE);
    rig.Set(OV_PEAKLIMITERFXPARAM_INFINITERATIO_ID, layout.infiniteRatio);
}

TEST(OvPeakLimiterFX, EachRoutineOnTheLayoutThatSelectsIt)
{
    const float thresholdDb = -6.0f;
    const size_t frames = 60000, burstFrom = 20000, burstTo = 40000, probe = 30000;
    testsupport::RecordingAssertHook asserts;
    for (const Layout& layout : kLayouts) {
        SCOPED_TRACE(layout.name);
        Rig rig(layout.channels, kRate, 1024);
        ASSERT_TRUE(rig.ok);
        rig.Set(OV_PEAKLIMITERFXPARAM_THRESHOLD_ID, thresholdDb);
        rig.Set(OV_PEAKLIMITERFXPARAM_RATIO_ID, 4.0f);
        rig.Set(OV_PEAKLIMITERFXPARAM_LOOKAHEAD_ID, 0.005f);
        rig.Set(OV_PEAKLIMITERFXPARAM_RELEASE_ID, 0.05f);
        SetLayout(rig, layout);

        // Channel 0: a steady overload of 4.0 (+12 dBFS) in the middle;
        // the others a quiet 0.1, and the LFE of 5.1 a loud 3.0 throughout.
        testsupport::Planes input(layout.channels, std::vector<float>(frames, 0.1f));
        for (size_t i = burstFrom; i < burstTo; ++i)
            input[0][i] = 4.0f;
        const bool hasLFE = layout.channels == 6;
        if (hasLFE)
            std::fill(input[5].begin(), input[5].end(), 3.0f);

        const testsupport::Planes output = rig.Run(input, [](size_t) { return 1000u; });
        EXPECT_EQ(rig.plugin->CurrentRoutine(), layout.routine);
        ASSERT_EQ(output[0].size(), frames);

        const float level = output[0][probe];
        const bool hardLaw = layout.routine == Routine::StereoHard || layout.routine == Routine::MultiChannelHard;
        if (hardLaw) {
            EXPECT_EQ(level, OV::FastPow10FromDb(thresholdDb));
        } else if (layout.infiniteRatio) {
            EXPECT_NEAR(level, std::pow(10.0f, thresholdDb / 20.0f), 0.01f);
        } else {
            // 18.06 dB over the threshold at ratio 4 leaves 4.52 dB over it.
            const float overDb = 20.0f * std::log10(4.0f) - thresholdDb;
            EXPECT_NEAR(level, std::pow(10.0f, (thresholdDb + overDb / 4.0f) / 20.0f), 0.01f);
        }

        const float gain0 = level / 4.0f;
        if (layout.channels > 1) {
            const float gain1 = output[1][probe] / 0.1f;
            if (layout.channelLink) {
                EXPECT_NEAR(gain1, gain0, 1e-4f) << "linked channels share the gain";
            } else {
                // Below the threshold the dB law still applies 10^0 the fast
                // way, 0.999039.
                EXPECT_NEAR(gain1, OV::FastPow10(0.0f), 1e-5f) << "an unlinked quiet channel keeps its level";
            }
        }
        if (hasLFE && !layout.processLFE) {
            EXPECT_EQ(output[5], input[5]) << "the LFE passes the delay unscaled";
        } else if (hasLFE) {
            EXPECT_LE(std::fabs(output[5][probe]), OV::FastPow10FromDb(thresholdDb));
        }
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

// With an infinite ratio the threshold is a ceiling in every routine, though
// the dB law's fast log and power, and its attack smoothing, would leave it a
// little high. A left-out LFE is not limited.
TEST(OvPeakLimiterFX, WithInfiniteRatioNoRoutineLetsASampleAboveTheCeiling)
{
    std::mt19937 rng(5);
    testsupport::RecordingAssertHook asserts;
    for (const Layout& layout : kLayouts) {
        if (!layout.infiniteRatio)
            continue;
        for (float thresholdDb : {0.0f, -6.0f}) {
            const float ceiling = OV::FastPow10FromDb(thresholdDb);
            for (const auto& [name, input] : testsupport::HotSignals(layout.channels, kRate)) {
                SCOPED_TRACE(testing::Message() << layout.name << ", " << name << ", " << thresholdDb << " dB");
                Rig rig(layout.channels, kRate, 2048);
                ASSERT_TRUE(rig.ok);
                rig.Set(OV_PEAKLIMITERFXPARAM_THRESHOLD_ID, thresholdDb);
                rig.Set(OV_PEAKLIMITERFXPARAM_LOOKAHEAD_ID, 0.005f);
                rig.Set(OV_PEAKLIMITERFXPARAM_RELEASE_ID, 0.05f);
                SetLayout(rig, layout);
                const testsupport::Planes output = rig.Run(input, [&](size_t) { return 1 + rng() % 2048; });
                ASSERT_EQ(output[0].size(), input[0].size());
                const uint32_t limited = layout.processLFE ? layout.channels : layout.channels - 1;
                float worst = 0.0f;
                for (uint32_t c = 0; c < limited; ++c)
                    for (float y : output[c])
                        worst = std::max(worst, std::fabs(y));
                EXPECT_LE(worst, ceiling);
                EXPECT_GT(worst, 0.9f * ceiling);
            }
        }
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvPeakLimiterFX, ZeroLookAheadIsOneFrameAndStillLimitsAtFullLength)
{
    Rig rig(2, kRate, 256);
    ASSERT_TRUE(rig.ok);
    rig.Set(OV_PEAKLIMITERFXPARAM_LOOKAHEAD_ID, 0.0f);
    rig.Set(OV_PEAKLIMITERFXPARAM_THRESHOLD_ID, -20.0f);
    const testsupport::Planes output = rig.Run(testsupport::Planes(2, std::vector<float>(1000, 0.5f)),
                                               [](size_t) { return 77u; });
    EXPECT_EQ(rig.plugin->LookAheadFrames(), 1u);
    ASSERT_EQ(output[0].size(), 1000u);
    EXPECT_LE(std::fabs(output[0][500]), OV::FastPow10FromDb(-20.0f));
}

}  // namespace
