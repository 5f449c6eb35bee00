// The block gain ramp: shape over multiples of four, the deliberate restart of
// the remainder, the fast paths, and the buffer form's LFE rule.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "ov/OvGainRamp.h"
#include "ov/OvPipelineBuffer.h"
#include "support/RecordingAssertHook.h"

namespace {

// The whole multiple of four ramps in steps of (end - start) / whole and stops
// one step short of the end; the remainder restarts from the start gain with
// steps of (end - start) / frames. 10 frames from 0 to 1: 0, 1/8 ... 7/8, 0, 0.1.
// Equal gains scale exactly (unity touches nothing).
TEST(OvGainRamp, WholeFoursRampLinearlyAndTheRemainderRestarts)
{
    for (uint32_t frames : {0u, 1u, 2u, 3u, 4u, 5u, 7u, 10u, 16u, 100u, 2047u, 2048u}) {
        for (auto gains : {std::pair<float, float>{0.0f, 1.0f}, {0.25f, 1.0f}, {2.0f, 1.0f}, {1.0f, 1.0f}, {0.5f, 0.5f}}) {
            const float start = gains.first, end = gains.second;
            SCOPED_TRACE(testing::Message() << frames << " frames from " << start << " to " << end);
            const uint32_t whole = frames & ~3u;
            std::vector<float> x(frames + 1, -0.3f);
            OV::ApplyGainRamp(x.data(), start, end, frames);
            for (uint32_t i = 0; i < frames; ++i) {
                const double gain = i < whole ? start + (double(end) - start) * i / whole
                                              : start + (double(end) - start) * (i - whole) / frames;
                if (start == end)
                    ASSERT_EQ(x[i], -0.3f * start) << "sample " << i;
                else
                    ASSERT_NEAR(x[i], -0.3 * gain, 2e-6) << "sample " << i;
            }
            EXPECT_EQ(x[frames], -0.3f) << "wrote past the frame count";
        }
    }
}

TEST(OvGainRamp, BufferFormCoversValidFramesAndSparesTheLfeUnlessAsked)
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
        for (uint32_t i = 0; i < channels * maxFrames; ++i) {
            const bool scaled = (i / maxFrames + 1 < channels || processLFE) && i % maxFrames < validFrames;
            ASSERT_EQ(block[i], scaled ? 0.5f : 1.0f) << "sample " << i << " processLFE " << processLFE;
        }
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

}  // namespace
