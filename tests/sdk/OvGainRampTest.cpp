// The block gain ramp: shape over multiples of four, the deliberate restart of
// the remainder, the fast paths, and the buffer form's LFE rule.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "ov/OvGainRamp.h"
#include "ov/OvPipelineBuffer.h"
#include "support/RecordingAssertHook.h"

namespace {

TEST(OvGainRamp, TenFramesReachSevenEighthsThenRestartFromTheStart)
{
    std::vector<float> x(10, 1.0f);
    OV::ApplyGainRamp(x.data(), 0.0f, 1.0f, 10);
    for (int i = 0; i < 8; ++i)
        EXPECT_FLOAT_EQ(x[i], i / 8.0f) << i;  // step 1/8 over the eight whole frames
    EXPECT_FLOAT_EQ(x[7], 0.875f);
    EXPECT_EQ(x[8], 0.0f);  // the remainder starts again at the start gain
    EXPECT_FLOAT_EQ(x[9], 0.1f);  // with step 1/10
}

TEST(OvGainRamp, MultiplesOfFourRampLinearlyAndStopOneStepShortOfTheEnd)
{
    for (uint32_t frames : {4u, 16u, 100u, 2048u}) {
        for (float start : {0.0f, 0.25f, 2.0f}) {
            const float end = 1.0f;
            std::vector<float> x(frames, -0.5f);
            OV::ApplyGainRamp(x.data(), start, end, frames);
            const double step = (double(end) - start) / frames;
            for (uint32_t i = 0; i < frames; ++i)
                ASSERT_NEAR(x[i], -0.5 * (start + step * i), 2e-6) << frames << " frames, sample " << i;
            EXPECT_NE(x[frames - 1], -0.5f * end);
        }
    }
}

TEST(OvGainRamp, RemainderRestartsForEveryLengthThatIsNoMultipleOfFour)
{
    for (uint32_t frames : {1u, 2u, 3u, 5u, 6u, 7u, 2047u}) {
        std::vector<float> x(frames, 1.0f);
        OV::ApplyGainRamp(x.data(), 1.0f, 0.0f, frames);
        const uint32_t whole = frames & ~3u;
        for (uint32_t i = whole; i < frames; ++i)
            ASSERT_NEAR(x[i], 1.0 - double(i - whole) / frames, 1e-6) << frames << " frames, sample " << i;
        if (whole != 0) {
            EXPECT_GT(x[whole], x[whole - 1]);  // the dip back towards the start gain
        }
    }
}

TEST(OvGainRamp, EqualGainsScaleEverySampleAndUnityTouchesNothing)
{
    for (uint32_t frames = 0; frames <= 9; ++frames) {
        std::vector<float> x(frames + 1);
        for (uint32_t i = 0; i <= frames; ++i)
            x[i] = 0.1f * float(i) - 0.3f;
        std::vector<float> original = x;
        OV::ApplyGainRamp(x.data(), 1.0f, 1.0f, frames);
        EXPECT_EQ(0, std::memcmp(x.data(), original.data(), x.size() * sizeof(float)));
        OV::ApplyGainRamp(x.data(), 0.5f, 0.5f, frames);
        for (uint32_t i = 0; i < frames; ++i)
            EXPECT_EQ(x[i], original[i] * 0.5f);
        EXPECT_EQ(x[frames], original[frames]) << "wrote past the frame count";
    }
}

TEST(OvGainRamp, BufferFormCoversValidFramesAndLeavesLfeAloneUnlessAsked)
{
    testsupport::RecordingAssertHook asserts;
    const uint32_t maxFrames = 16, validFrames = 12, channels = 6;  // 5.1, LFE last
    for (bool processLFE : {false, true}) {
        std::vector<float> block(channels * maxFrames, 1.0f);
        OvChannelConfig config;
        config.SetStandardOrAnonymous(channels, OV::ChannelMaskFromNumChannels(channels));
        OvPipelineBuffer buffer;
        buffer.AttachContiguousDeinterleaved(block.data(), config, maxFrames, validFrames);
        OV::ApplyGainToBuffer(&buffer, 0.5f, 0.5f, processLFE);
        for (uint32_t c = 0; c < channels; ++c) {
            const bool scaled = c + 1 < channels || processLFE;
            for (uint32_t i = 0; i < maxFrames; ++i)
                ASSERT_EQ(block[c * maxFrames + i], (scaled && i < validFrames) ? 0.5f : 1.0f)
                    << "channel " << c << " frame " << i << " processLFE " << processLFE;
        }
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

}  // namespace
