// The in-process host through a wrapper: what the plug-in is told at Init,
// the block handed over without a copy, the one-block crossfade on a bypass
// change, the flush-to-zero bit, and draining and frame counts carried both
// ways.
#include <gtest/gtest.h>

#include <vector>

#include "support/OvTestGainFX.h"
#include "support/RecordingAssertHook.h"
#include "wrappers/FlushToZeroScope.h"

namespace {

using testsupport::OvTestGainFX;
using testsupport::TestGainProcessor;

// A wrapper running a polarity flip.
TestGainProcessor* MakeFlip(uint32_t maxFrames, uint32_t channels)
{
    auto* wrapper = static_cast<TestGainProcessor*>(TestGainProcessor::Create());
    EXPECT_TRUE(wrapper->Init(maxFrames, channels, 48000));
    wrapper->SetParams(DelayEffectParams{0.0f, 0.0f, 0.0f, -1.0f});
    wrapper->Reset();  // settle the gain: no ramp from 1 to -1 in the first block
    return wrapper;
}

struct Block {
    Block(uint32_t maxFrames_, uint32_t channels_, float value)
        : maxFrames(maxFrames_), samples(size_t(maxFrames_) * channels_, value)
    {
    }
    float at(uint32_t c, uint32_t i) const { return samples[size_t(c) * maxFrames + i]; }
    uint32_t maxFrames;
    std::vector<float> samples;
};

TEST(OvEffectHost, PluginIsToldTheChainsFormatAndIsResetOnce)
{
    testsupport::RecordingAssertHook asserts;
    for (uint32_t channels = 1; channels <= 9; ++channels) {
        auto* wrapper = static_cast<TestGainProcessor*>(TestGainProcessor::Create());
        ASSERT_TRUE(wrapper->Init(1024, channels, 44100)) << channels;
        const OvTestGainFX* fx = wrapper->Plugin();
        EXPECT_EQ(fx->format.uSampleRate, 44100u);
        EXPECT_EQ(fx->format.channelConfig.uNumChannels, channels);
        EXPECT_EQ(fx->format.channelConfig.uChannelMask, OV::ChannelMaskFromNumChannels(channels));
        EXPECT_EQ(fx->format.uBitsPerSample, 32u);
        EXPECT_EQ(fx->format.uBlockAlign, channels * 4);
        EXPECT_EQ(fx->format.uTypeID, 1u);
        EXPECT_EQ(fx->format.uInterleaveID, 1u);
        EXPECT_EQ(fx->contextMaxFrames, 1024u);
        EXPECT_EQ(fx->contextSampleRate, 44100u);
        EXPECT_TRUE(fx->contextAllocatorIsInitAllocator);
        EXPECT_EQ(fx->resets, 1u);
        wrapper->Destroy();
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvEffectHost, InitFailsWhenTheParameterBlockIsRefusedOrTheFormatDoesNotFit)
{
    const uint8_t shortBlock[4] = {0, 0, 128, 63};
    auto* refused = new TestGainProcessor(shortBlock, sizeof shortBlock);
    EXPECT_FALSE(refused->Init(2048, 2, 48000));
    refused->Destroy();

    const uint8_t block[8] = {0, 0, 0, 0xBF, 7, 0, 0, 0};  // gain -0.5, tail 7
    auto* started = new TestGainProcessor(block, sizeof block);
    ASSERT_TRUE(started->Init(2048, 2, 48000));
    EXPECT_EQ(started->Params()->fGain, -0.5f);
    EXPECT_EQ(started->Params()->uTailFrames, 7u);
    started->Destroy();

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
        Block block(256, 2, 0.5f);
        bool draining = false;
        uint32_t frames = 200;
        wrapper->Process(block.samples.data(), &draining, &frames);
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
        for (uint32_t c = 0; c < 2; ++c)
            for (uint32_t i = 0; i < 256; ++i)
                ASSERT_EQ(block.at(c, i), i < 200 ? -0.5f : 0.5f) << c << "/" << i;
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
            TestGainProcessor* wrapper = MakeFlip(maxFrames, 2);
            if (!toBypass) {
                wrapper->SetBypass(true);
                wrapper->Reset();  // settled in bypass
            }
            wrapper->SetBypass(toBypass);
            Block block(maxFrames, 2, 1.0f);
            bool draining = false;
            uint32_t frames = valid;
            wrapper->Process(block.samples.data(), &draining, &frames);
            EXPECT_EQ(wrapper->Plugin()->blocks, 1u);  // the plug-in runs in both directions
            EXPECT_EQ(frames, valid);
            for (uint32_t c = 0; c < 2; ++c) {
                for (uint32_t i = 0; i < maxFrames; ++i) {
                    const float wetGain = toBypass ? 1.0f - i / 2048.0f : i / 2048.0f;
                    const float wet = i < valid ? -1.0f : 1.0f;  // the plug-in flips valid frames only
                    ASSERT_EQ(block.at(c, i), wetGain * wet + (1.0f - wetGain) * 1.0f)
                        << "toBypass " << toBypass << " valid " << valid << " channel " << c << " frame " << i;
                }
            }
            // The block after the fade is plain wet or plain dry.
            Block next(maxFrames, 2, 1.0f);
            frames = maxFrames;
            wrapper->Process(next.samples.data(), &draining, &frames);
            EXPECT_EQ(next.at(1, 0), toBypass ? 1.0f : -1.0f);
            EXPECT_EQ(next.at(1, maxFrames - 1), toBypass ? 1.0f : -1.0f);
            wrapper->Destroy();
        }
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvEffectHost, BypassedWrapperLeavesBlockDrainingAndFramesAlone)
{
    TestGainProcessor* wrapper = MakeFlip(64, 1);
    wrapper->SetParams(DelayEffectParams{500.0f, 0.0f, 0.0f, -1.0f});  // a tail of 500 frames
    wrapper->SetBypass(true);
    wrapper->Reset();
    Block block(64, 1, 0.25f);
    bool draining = true;
    uint32_t frames = 10;
    wrapper->Process(block.samples.data(), &draining, &frames);
    EXPECT_TRUE(draining);  // no tail plays while bypassed
    EXPECT_EQ(frames, 10u);
    EXPECT_EQ(wrapper->Plugin()->blocks, 0u);
    for (float s : block.samples)
        ASSERT_EQ(s, 0.25f);
    wrapper->Destroy();
}

TEST(OvEffectHost, ToggleOrResetBeforeABlockMeansNoFade)
{
    for (bool viaReset : {false, true}) {
        TestGainProcessor* wrapper = MakeFlip(64, 1);
        const uint32_t resetsBefore = wrapper->Plugin()->resets;
        if (viaReset) {
            wrapper->SetBypass(true);
            wrapper->Reset();  // cancels the fade to dry
        } else {
            wrapper->SetBypass(true);
            wrapper->SetBypass(false);  // back on: the plug-in is reset
        }
        EXPECT_EQ(wrapper->PrevBypass(), wrapper->Bypass());
        EXPECT_EQ(wrapper->Plugin()->resets, resetsBefore + 1);
        Block block(64, 1, 1.0f);
        bool draining = false;
        uint32_t frames = 64;
        wrapper->Process(block.samples.data(), &draining, &frames);
        const float expected = viaReset ? 1.0f : -1.0f;  // fully dry or fully wet, no ramp
        for (float s : block.samples)
            ASSERT_EQ(s, expected) << "viaReset " << viaReset;
        wrapper->Destroy();
    }
}

TEST(OvEffectHost, TailCarriesDrainingAndFrameCountsAcrossBlocks)
{
    testsupport::RecordingAssertHook asserts;
    TestGainProcessor* wrapper = MakeFlip(2048, 2);
    wrapper->SetParams(DelayEffectParams{3000.0f, 0.0f, 0.0f, -1.0f});

    Block last(2048, 2, 1.0f);
    bool draining = true;
    uint32_t frames = 100;
    wrapper->Process(last.samples.data(), &draining, &frames);
    EXPECT_EQ(wrapper->Plugin()->stateIn, OV_BufferEnded);
    EXPECT_FALSE(draining);  // more to give
    EXPECT_EQ(frames, 2048u);
    EXPECT_EQ(last.at(0, 99), -1.0f);
    EXPECT_EQ(last.at(1, 100), OvTestGainFX::kTailMarker);
    EXPECT_EQ(last.at(1, 2047), OvTestGainFX::kTailMarker);

    Block empty(2048, 2, 0.0f);
    draining = true;
    frames = 0;
    wrapper->Process(empty.samples.data(), &draining, &frames);
    EXPECT_TRUE(draining);
    EXPECT_EQ(frames, 3000u - 1948u);  // the 3000 frames of tail, all told
    EXPECT_EQ(empty.at(0, 1051), OvTestGainFX::kTailMarker);
    EXPECT_EQ(empty.at(0, 1052), 0.0f);
    wrapper->Destroy();
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

}  // namespace
