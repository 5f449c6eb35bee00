// The loudness gain: the 6 dB move to the target, a gain that applies at once,
// a switch that ramps over one block, and no allocation in the front end's
// Push with the gain on.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "lxaudioeffects/AudioEffects.h"
#include "support/AllocationCounter.h"
#include "wrappers/LoudnessProcessorImpl.h"

namespace {

constexpr uint32_t kMaxFrames = 256;
constexpr uint32_t kChannels = 2;

struct Loudness {
    Loudness() : fx(static_cast<LoudnessProcessorImpl*>(LoudnessProcessor::Create()))
    {
        EXPECT_TRUE(fx->Init(kMaxFrames, kChannels, 44100));
        fx->SetParams(LoudnessInfo{0.0f, 1.0f});  // what the chain sends after Init
    }
    ~Loudness() { fx->Destroy(); }

    // One block of ones with the given number of valid frames.
    std::vector<float> Run(uint32_t frames = kMaxFrames)
    {
        std::vector<float> block(kMaxFrames * kChannels, 1.0f);
        bool draining = false;
        const uint32_t given = frames;
        fx->Process(block.data(), &draining, &frames);
        EXPECT_EQ(frames, given);
        EXPECT_FALSE(draining);
        return block;
    }

    LoudnessProcessorImpl* fx;
};

double Db(double db)
{
    return std::pow(10.0, db / 20.0);
}

TEST(LoudnessProcessorImpl, StartsAtUnityAndABypassRoundTripComputesThe6DbShift)
{
    Loudness l;
    EXPECT_EQ(l.fx->TargetGain(), 1.0f);
    EXPECT_EQ(l.Run(), std::vector<float>(kMaxFrames * kChannels, 1.0f));
    l.fx->SetBypass(true);
    l.fx->SetBypass(false);
    EXPECT_NEAR(l.fx->TargetGain(), 1.9953f, 1e-4f);
    EXPECT_EQ(l.fx->CurrentGain(), 1.0f);  // the next block ramps
    std::vector<float> ramp = l.Run();
    for (uint32_t c = 0; c < kChannels; ++c)
        for (uint32_t i = 0; i < kMaxFrames; ++i)
            ASSERT_NEAR(ramp[c * kMaxFrames + i], 1.0 + (Db(6.0) - 1.0) * i / kMaxFrames, 1e-5) << i;
    EXPECT_NEAR(l.Run().back(), Db(6.0), 1e-5);
}

TEST(LoudnessProcessorImpl, NewGainAppliesAtOnceAndASwitchRampsToIt)
{
    for (float gainDb : {-14.0f, -6.0f, 3.5f}) {
        Loudness l;
        l.fx->SetParams(LoudnessInfo{gainDb, 0.7f});
        const double expected = Db(gainDb + 6.0);
        const std::vector<float> block = l.Run();
        EXPECT_NEAR(block[0], expected, 1e-5 * expected);  // no ramp
        EXPECT_NEAR(block.back(), expected, 1e-5 * expected);
        l.fx->SetParams(LoudnessInfo{gainDb, 0.1f});  // a new peak alone changes nothing
        EXPECT_NEAR(l.Run()[0], expected, 1e-5 * expected);
    }

    // Set while bypassed, the gain arrives by a ramp when switched on:
    // of 250 valid frames 248 ramp, the last two restart from 1; intended.
    Loudness l;
    l.fx->SetBypass(true);
    l.fx->SetParams(LoudnessInfo{-10.0f, 1.0f});
    EXPECT_EQ(l.Run(), std::vector<float>(kMaxFrames * kChannels, 1.0f));
    l.fx->SetBypass(false);
    const double target = Db(-4.0);
    std::vector<float> block = l.Run(250);
    EXPECT_EQ(block[0], 1.0f);
    EXPECT_NEAR(block[247], 1.0 + (target - 1.0) * 247 / 248, 1e-5);
    EXPECT_EQ(block[248], 1.0f);
    EXPECT_EQ(block[250], 1.0f);  // beyond the valid frames
    EXPECT_NEAR(l.Run()[10], target, 1e-5);
    // Switching off ramps back to unity.
    l.fx->SetBypass(true);
    block = l.Run();
    EXPECT_NEAR(block[kMaxFrames - 1], 1.0 - (1.0 - target) / kMaxFrames, 1e-5);
    EXPECT_EQ(l.Run(), std::vector<float>(kMaxFrames * kChannels, 1.0f));
}

TEST(LoudnessProcessorImpl, PushWithLoudnessOnDoesNotAllocate)
{
    audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
    ASSERT_NE(fx, nullptr);
    fx->SetLoudnessON(true);
    fx->SetLoudnessParams(-3.0f, 0.8f);
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 4096));
    std::vector<int16_t> chunk(2048);
    for (size_t i = 0; i < chunk.size(); ++i)
        chunk[i] = int16_t(6000.0 * std::sin(double(i) * 0.03));
    std::vector<int16_t> out(16384);
    auto push = [&] {
        bool end = false;
        uint32_t bytes = uint32_t(out.size() * 2);
        fx->Push(chunk.data(), uint32_t(chunk.size() * 2), -1);
        fx->Pull(out.data(), &bytes, &end);
    };
    for (int k = 0; k < 8; ++k)
        push();
    testsupport::AllocationCounter counter;
    for (int k = 0; k < 64; ++k) {
        if (k % 16 == 8)
            fx->SetLoudnessON(k % 32 != 8);  // switching ramps, still no allocation
        if (k % 16 == 0)
            fx->SetLoudnessParams(-3.0f - k * 0.1f, 0.8f);
        push();
    }
    EXPECT_EQ(counter.Count(), 0u);
    fx->Destroy();
}

}  // namespace
