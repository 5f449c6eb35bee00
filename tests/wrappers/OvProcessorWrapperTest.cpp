// A plug-in wrapper inside the real chain, driven through the chain's own
// interface with interleaved float: a switch fades over one block, the end of
// the stream reaches the plug-in, and its tail comes back across blocks with
// the chain's draining flag and frame count.
#include <gtest/gtest.h>

#include <vector>

#include "frontend/LXAudioEffectsProcessorImpl.h"
#include "support/OvTestGainFX.h"
#include "support/RecordingAssertHook.h"

namespace {

using testsupport::OvTestGainFX;
using testsupport::TestGainProcessor;

const ProcessorFactories& GainInDelaySlot()
{
    static const ProcessorFactories factories =
        ProcessorFactories().With<Slot::Delay, &TestGainProcessor::Create>();
    return factories;
}

constexpr uint32_t kMaxFrames = 2048;
constexpr uint32_t kChannels = 2;

struct Chain {
    Chain() : chain(new LXAudioEffectsProcessorImpl(GainInDelaySlot()))
    {
        EXPECT_TRUE(chain->Init(AUDIO_SAMPLEFORMAT_FLOAT, kMaxFrames, kChannels, 48000));
    }
    ~Chain() { chain->Destroy(); }

    // One block of interleaved float; returns what came back.
    std::vector<float> Run(float value, uint32_t* frames, bool* done)
    {
        std::vector<float> data(kMaxFrames * kChannels, 0.0f);
        for (uint32_t i = 0; i < *frames * kChannels; ++i)
            data[i] = value;
        chain->Process(data.data(), frames, done, 0);
        return data;
    }

    LXAudioEffectsProcessorImpl* chain;
};

TEST(OvProcessorWrapper, SwitchInTheChainFadesOverOneBlockThenStaysWet)
{
    testsupport::RecordingAssertHook asserts;
    Chain c;
    const DelayEffectParams flip = {0.0f, 0.0f, 0.0f, -1.0f};
    c.chain->SetDelayParams(&flip);
    c.chain->SetDelayON(false);
    uint32_t frames = kMaxFrames;
    bool done = false;
    c.Run(0.5f, &frames, &done);  // settles the gain while bypassed: the block passes dry
    c.chain->SetDelayON(true);
    std::vector<float> out = c.Run(0.5f, &frames, &done);
    for (uint32_t i = 0; i < kMaxFrames * kChannels; ++i) {
        const float wet = float(i / kChannels) / 2048.0f;
        ASSERT_EQ(out[i], wet * -0.5f + (1.0f - wet) * 0.5f) << i;
    }
    out = c.Run(0.5f, &frames, &done);
    EXPECT_EQ(out, std::vector<float>(kMaxFrames * kChannels, -0.5f));
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvProcessorWrapper, TailPlaysAcrossBlocksAtTheEndOfTheStream)
{
    testsupport::RecordingAssertHook asserts;
    for (uint32_t tail : {0u, 500u, 1948u, 5000u}) {
        Chain c;
        c.chain->SetDelayON(true);
        const DelayEffectParams params = {float(tail), 0.0f, 0.0f, -1.0f};
        c.chain->SetDelayParams(&params);
        uint32_t frames = kMaxFrames;
        bool done = false;
        c.Run(0.5f, &frames, &done);

        // The last 100 frames, then empty blocks until the chain says done.
        frames = 100;
        done = true;
        uint32_t tailFrames = 0, blocks = 0;
        std::vector<float> out = c.Run(0.5f, &frames, &done);
        EXPECT_EQ(out[99 * kChannels], -0.5f);
        tailFrames += frames - 100;
        ++blocks;
        while (!done && blocks < 10) {
            frames = 0;
            done = true;
            out = c.Run(0.0f, &frames, &done);
            for (uint32_t i = 0; i < frames * kChannels; ++i)
                ASSERT_EQ(out[i], OvTestGainFX::kTailMarker) << "tail " << tail << " frame " << i / kChannels;
            tailFrames += frames;
            ++blocks;
        }
        EXPECT_TRUE(done);
        EXPECT_EQ(tailFrames, tail);
        EXPECT_EQ(blocks, (100 + tail + kMaxFrames - 1) / kMaxFrames) << tail;
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

}  // namespace
