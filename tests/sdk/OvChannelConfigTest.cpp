// Channel layouts: the count-to-mask table a wrapper uses, the packed word,
// and the LFE operations.
#include <gtest/gtest.h>

#include "ov/OvChannelConfig.h"
#include "support/RecordingAssertHook.h"

namespace {

TEST(OvChannelConfig, MaskTablePackedWordAndLfe)
{
    testsupport::RecordingAssertHook asserts;
    // Masks in decimal, by channel count 0..10; 3 channels are L R LFE, not a centre.
    const uint32_t expected[] = {0, 4, 3, 11, 1539, 1543, 1551, 1591, 1599, 0, 0};
    for (uint32_t channels = 0; channels <= 10; ++channels) {
        const uint32_t mask = OV::ChannelMaskFromNumChannels(channels);
        EXPECT_EQ(mask, expected[channels]) << channels;
        EXPECT_TRUE(mask == 0 || OV::ChannelMaskToNumChannels(mask) == channels) << channels;
    }
    OvChannelConfig config;
    config.SetStandardOrAnonymous(6, 1551);
    EXPECT_TRUE(config.HasLFE());
    EXPECT_EQ(config.Serialize(), 6u | (1u << 8) | (1551u << 12));
    const OvChannelConfig noLfe = config.DropLFE();
    EXPECT_EQ(noLfe.Serialize(), 5u | (1u << 8) | (1543u << 12));
    EXPECT_EQ(noLfe.DropLFE(), noLfe);  // nothing left to drop
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();

    config.SetStandardOrAnonymous(3, OV_SPEAKER_SETUP_STEREO);  // count and mask disagree
    EXPECT_TRUE(asserts.Saw(
        "in_uChannelMask == 0 || in_uNumChannels == OV::ChannelMaskToNumChannels(in_uChannelMask)"));
}

}  // namespace
