// Channel layouts: the count-to-mask table a wrapper uses, the packed word,
// and the LFE operations.
#include <gtest/gtest.h>

#include "ov/OvChannelConfig.h"
#include "support/RecordingAssertHook.h"

namespace {

TEST(OvChannelConfig, MaskTableForOneToEightChannelsAndNothingElse)
{
    testsupport::RecordingAssertHook asserts;
    // Masks in decimal, by channel count 0..10.
    const uint32_t expected[] = {0, 4, 3, 11, 1539, 1543, 1551, 1591, 1599, 0, 0};
    const bool lfe[] = {false, false, false, true, false, false, true, false, true, false, false};
    for (uint32_t channels = 0; channels <= 10; ++channels) {
        const uint32_t mask = OV::ChannelMaskFromNumChannels(channels);
        EXPECT_EQ(mask, expected[channels]) << channels;
        OvChannelConfig config;
        config.SetStandardOrAnonymous(channels, mask);
        EXPECT_EQ(config.uNumChannels, channels);
        EXPECT_EQ(config.eConfigType, mask ? OV_ChannelConfigType_Standard : OV_ChannelConfigType_None) << channels;
        EXPECT_EQ(config.HasLFE(), lfe[channels]) << channels;
        if (mask) {
            EXPECT_EQ(OV::ChannelMaskToNumChannels(mask), channels);
        }
    }
    EXPECT_EQ(OV::ChannelMaskFromNumChannels(3) & OV_SPEAKER_FRONT_CENTER, 0u);  // LFE, not centre
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvChannelConfig, PackedWordAndLfeOperations)
{
    OvChannelConfig config;
    config.SetStandardOrAnonymous(6, 1551);
    EXPECT_EQ(config.Serialize(), 6u | (1u << 8) | (1551u << 12));

    const OvChannelConfig noLfe = config.DropLFE();
    EXPECT_EQ(noLfe.uNumChannels, 5u);
    EXPECT_EQ(noLfe.uChannelMask, 1543u);
    EXPECT_FALSE(noLfe.HasLFE());
    EXPECT_EQ(noLfe.DropLFE(), noLfe);  // nothing left to drop

    config.Clear();
    EXPECT_EQ(config.Serialize(), 0u);
    EXPECT_FALSE(config.IsValid());
}

TEST(OvChannelConfig, ACountThatDisagreesWithTheMaskIsReported)
{
    testsupport::RecordingAssertHook asserts;
    OvChannelConfig config;
    config.SetStandardOrAnonymous(3, OV_SPEAKER_SETUP_STEREO);
    EXPECT_TRUE(asserts.Saw(
        "in_uChannelMask == 0 || in_uNumChannels == OV::ChannelMaskToNumChannels(in_uChannelMask)"));
}

}  // namespace
