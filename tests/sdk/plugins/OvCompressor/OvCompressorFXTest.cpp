// The gains around the compressor core: how a change ramps in, and silence
// past the valid frames.
#include <gtest/gtest.h>

#include <cmath>

#include "sdk/plugins/OvCompressor/OvCompressorFX.h"
#include "sdk/plugins/OvCompressor/OvCompressorFXParams.h"
#include "support/OvPluginHarness.h"
#include "support/RecordingAssertHook.h"

namespace {

TEST(OvCompressorFX, GainChangesRampOverOneBlockAndPastTheValidFramesIsSilence)
{
    testsupport::RecordingAssertHook asserts;
    testsupport::OvPluginHarness<OvCompressorFX, OvCompressorFXParams> h(2, 44100, 64);
    ASSERT_TRUE(h.ok);
    h.Set(OV_COMPRESSORFXPARAM_RATIO_ID, 1.0f);
    auto run = [&](uint32_t frames) {
        std::fill(h.block.samples.begin(), h.block.samples.end(), 0.5f);
        h.Run(frames);
    };
    run(64);
    // Post gain 0 -> +6 dB: the first channel ramps over the block, the second
    // steps at once; intended.
    h.Set(OV_COMPRESSORFXPARAM_POSTGAIN_ID, 6.0f);
    run(64);
    const float* left = h.Channel(0);
    const float* right = h.Channel(1);
    const float g = std::pow(10.0f, 6.0f / 20.0f);
    EXPECT_NEAR(left[0], 0.5f, 2e-3f);
    EXPECT_NEAR(left[32], 0.5f * (1.0f + (g - 1.0f) * 0.5f), 2e-3f);
    EXPECT_NEAR(right[0], 0.5f * g, 2e-3f);
    for (uint32_t i = 1; i < 64; ++i)
        EXPECT_GT(left[i], left[i - 1]);
    // Pre gain -6 dB: both channels ramp.
    h.Set(OV_COMPRESSORFXPARAM_PREGAIN_ID, -6.0f);
    run(40);
    EXPECT_NEAR(left[0], 0.5f * g, 2e-3f);
    EXPECT_NEAR(right[0], 0.5f * g, 2e-3f);
    EXPECT_LT(left[39], 0.55f * g);
    for (uint32_t i = 40; i < 64; ++i)
        EXPECT_EQ(left[i], 0.0f);
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

}  // namespace
