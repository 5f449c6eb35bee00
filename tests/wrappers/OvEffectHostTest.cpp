// The in-process host through a wrapper: refusals at Init, the block handed
// over without a copy, the flush-to-zero bit, and the one-block crossfade on
// a bypass change. Tails and draining through a wrapper are checked in the
// chain (OvProcessorWrapperTest).
#include <gtest/gtest.h>

#include <vector>

#include "support/OvTestGainFX.h"
#include "support/RecordingAssertHook.h"
#include "wrappers/FlushToZeroScope.h"

namespace {

using testsupport::TestGainProcessor;

// A wrapper running a polarity flip with a tail of tailFrames.
TestGainProcessor* MakeFlip(uint32_t maxFrames, uint32_t channels, float tailFrames = 0.0f)
{
    auto* wrapper = static_cast<TestGainProcessor*>(TestGainProcessor::Create());
    EXPECT_TRUE(wrapper->Init(maxFrames, channels, 48000));
    wrapper->SetParams(DelayEffectParams{tailFrames, 0.0f, 0.0f, -1.0f});
    wrapper->Reset();  // settle the gain: no ramp from 1 to -1 in the first block
    return wrapper;
}

// Runs a block of maxFrames * channels samples, all `value`; returns it.
std::vector<float> ProcessBlock(TestGainProcessor* wrapper, size_t samples, float value, bool* draining, uint32_t* frames)
{
    std::vector<float> block(samples, value);
    wrapper->Process(block.data(), draining, frames);
    return block;
}

TEST(OvEffectHost, InitFailsWhenTheParameterBlockIsRefusedOrTheFormatDoesNotFit)
{
    const uint8_t shortBlock[4] = {0, 0, 128, 63};
    auto* refused = new TestGainProcessor(shortBlock, sizeof shortBlock);
    EXPECT_FALSE(refused->Init(2048, 2, 48000));
    refused->Destroy();
    auto* tooLong = static_cast<TestGainProcessor*>(TestGainProcessor::Create());
    EXPECT_FALSE(tooLong->Init(70000, 2, 48000));
    tooLong->Destroy();
    OvEffectHost host;
    EXPECT_FALSE(host.InitPlugin(nullptr, nullptr, 2048, 2, 48000, nullptr, 0));
}

TEST(OvEffectHost, ActiveBlockRunsInPlaceWithFlushToZeroAroundThePluginOnly)
{
    testsupport::RecordingAssertHook asserts;
    TestGainProcessor* wrapper = MakeFlip(256, 2);
    for (bool ftzBefore : {false, true}) {
#if LXFX_HAS_MXCSR
        const uint32_t saved = _mm_getcsr();
        _mm_setcsr(ftzBefore ? (saved | FlushToZeroScope::kFlushToZeroBit)
                             : (saved & ~FlushToZeroScope::kFlushToZeroBit));
#endif
        bool draining = false;
        uint32_t frames = 200;
        const std::vector<float> block = ProcessBlock(wrapper, 512, 0.5f, &draining, &frames);
#if LXFX_HAS_MXCSR
        EXPECT_EQ((_mm_getcsr() & FlushToZeroScope::kFlushToZeroBit) != 0, ftzBefore);
        EXPECT_TRUE(wrapper->Plugin()->flushToZeroSet);
        _mm_setcsr(saved);
#endif
        EXPECT_FALSE(draining);
        EXPECT_EQ(frames, 200u);
        EXPECT_EQ(wrapper->Plugin()->stateIn, OV_BufferHasData);
        EXPECT_EQ(wrapper->Plugin()->validFramesIn, 200u);
        EXPECT_EQ(wrapper->Plugin()->maxFramesIn, 256u);
        for (uint32_t i = 0; i < 512; ++i)
            ASSERT_EQ(block[i], i % 256 < 200 ? -0.5f : 0.5f) << i;
    }
    wrapper->Destroy();
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvEffectHost, BypassChangeFadesLinearlyOverTheWholeBlock)
{
    testsupport::RecordingAssertHook asserts;
    // 2048 frames make the step 2^-11, so every gain is exact.
    const uint32_t maxFrames = 2048;
    for (bool toBypass : {true, false}) {
        for (uint32_t valid : {maxFrames, 100u}) {
            SCOPED_TRACE(testing::Message() << "toBypass " << toBypass << " valid " << valid);
            TestGainProcessor* wrapper = MakeFlip(maxFrames, 2);
            if (!toBypass) {
                wrapper->SetBypass(true);
                wrapper->Reset();  // settled in bypass
            }
            wrapper->SetBypass(toBypass);
            bool draining = false;
            uint32_t frames = valid;
            const std::vector<float> block = ProcessBlock(wrapper, 2 * maxFrames, 1.0f, &draining, &frames);
            EXPECT_EQ(wrapper->Plugin()->blocks, 1u);  // the plug-in runs in both directions
            EXPECT_EQ(frames, valid);
            for (uint32_t s = 0; s < 2 * maxFrames; ++s) {
                const uint32_t i = s % maxFrames;
                const float wetGain = toBypass ? 1.0f - i / 2048.0f : i / 2048.0f;
                const float wet = i < valid ? -1.0f : 1.0f;  // the plug-in flips valid frames only
                ASSERT_EQ(block[s], wetGain * wet + (1.0f - wetGain) * 1.0f) << "sample " << s;
            }
            // The block after the fade is plain wet or plain dry.
            frames = maxFrames;
            const std::vector<float> next = ProcessBlock(wrapper, 2 * maxFrames, 1.0f, &draining, &frames);
            EXPECT_EQ(next[maxFrames], toBypass ? 1.0f : -1.0f);
            EXPECT_EQ(next.back(), toBypass ? 1.0f : -1.0f);
            wrapper->Destroy();
        }
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvEffectHost, ToggleOrResetBeforeABlockMeansNoFadeAndBypassLeavesAllAlone)
{
    for (bool viaReset : {false, true}) {
        TestGainProcessor* wrapper = MakeFlip(64, 1, 500.0f);
        wrapper->SetBypass(true);
        if (viaReset)
            wrapper->Reset();  // cancels the fade to dry
        else
            wrapper->SetBypass(false);  // back on: the plug-in is reset
        EXPECT_EQ(wrapper->Plugin()->resets, 3u);
        bool draining = true;
        uint32_t frames = 10;
        const std::vector<float> block = ProcessBlock(wrapper, 64, 1.0f, &draining, &frames);
        if (viaReset) {
            // Bypassed: block, draining and frames untouched, no tail plays.
            EXPECT_EQ(block, std::vector<float>(64, 1.0f));
            EXPECT_TRUE(draining);
            EXPECT_EQ(frames, 10u);
            EXPECT_EQ(wrapper->Plugin()->blocks, 0u);
        } else {
            for (uint32_t i = 0; i < 10; ++i)
                ASSERT_EQ(block[i], -1.0f) << "fully wet, no ramp";
        }
        wrapper->Destroy();
    }
}

}  // namespace
