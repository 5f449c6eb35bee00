// The room reverb as the chain runs it: what the wrapper forwards and what it
// holds back, and what the front end's start sequence leaves it playing.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "lxaudioeffects/AudioEffects.h"
#include "support/AllocationCounter.h"
#include "support/RecordingAssertHook.h"
#include "wrappers/ReverbProcessorImpl.h"

namespace {

float Linear(float db)
{
    return std::pow(10.0f, db / 20.0f);
}

TEST(ReverbProcessor, ForwardsOnlyChangedValuesAndCachesLevelsFromZeroDb)
{
    auto* impl = static_cast<ReverbProcessorImpl*>(ReverbProcessor::Create());
    ASSERT_TRUE(impl->Init(1024, 2, 48000));
    const OvRoomVerbFXParams& p = *impl->Params();

    // The cache starts at 0 dB: a first 0 dB leaves the lower defaults alone.
    impl->SetInputLevels(0.0f, 0.0f);
    impl->SetReverbLevels(0.0f, 0.0f, 0.0f, 0.0f);
    impl->SetOutputLevels(0.0f, 0.0f, 0.0f);
    EXPECT_FLOAT_EQ(p.rebuild.fInputLevelLFE, Linear(-96.0f));
    EXPECT_FLOAT_EQ(p.live.fRVBLevelLFE, Linear(-96.0f));
    EXPECT_FLOAT_EQ(p.live.fOutputLevelER, Linear(-20.0f));
    EXPECT_FLOAT_EQ(p.live.fOutputLevelReverb, Linear(-23.0f));

    // Once changed, levels are forwarded: the reverb's fixed -3 dB applies
    // after the clamp to -96.3 dB.
    impl->SetOutputLevels(-6.0f, -12.0f, -100.0f);
    EXPECT_FLOAT_EQ(p.live.fOutputLevelDry, Linear(-6.0f));
    EXPECT_FLOAT_EQ(p.live.fOutputLevelER, Linear(-12.0f));
    EXPECT_FLOAT_EQ(p.live.fOutputLevelReverb, Linear(-99.3f));
    impl->SetOutputLevels(-6.0f, -12.0f, 0.0f);
    EXPECT_FLOAT_EQ(p.live.fOutputLevelReverb, Linear(-3.0f));

    // Clamped body values; tone filters only at index 1 to 3.
    const ReverbParams body = {40.0f, 2.0f, 1.5f, 60.0f, 50.0f, 12u, 150.0f, -10.0f};
    impl->SetReverbBody(body);
    EXPECT_EQ(p.live.fDiffusion, 100.0f);
    EXPECT_EQ(p.live.fStereoWidth, 0.0f);
    EXPECT_EQ(p.rebuild.uQuality, 12u);
    EXPECT_EQ(impl->Plugin()->NumReverbUnits(), 12u);  // rebuilt at once, on this thread
    const ReverbFilterParams filter = {2, 1, 6.0f, 500.0f, 2.0f};
    for (uint32_t index : {0u, 4u})
        impl->SetToneCorrectionFilter(index, filter);
    for (const OvRoomVerbLiveFilter& f : p.live.filters)
        EXPECT_EQ(f.fGain, 0.0f);
    impl->SetToneCorrectionFilter(2, filter);
    EXPECT_EQ(p.live.filters[1].fFrequency, 500.0f);
    EXPECT_EQ(p.rebuild.filters[1].uInsertType, 2u);

    // Nothing changes, nothing is marked.
    bool draining = false;
    uint32_t frames = 1024;
    std::vector<float> block(2048, 0.0f);
    impl->Process(block.data(), &draining, &frames);
    const ReverbParams held = {40.0f, 2.0f, 1.5f, 60.0f, 50.0f, 12u, 100.0f, 0.0f};  // as stored
    impl->SetReverbBody(held);
    impl->SetToneCorrectionFilter(2, filter);
    impl->SetOutputLevels(-6.0f, -12.0f, 0.0f);
    EXPECT_FALSE(p.live.bChanged);
    EXPECT_FALSE(p.rebuild.bChanged);
    impl->Destroy();
}

// Stereo float through a front end; returns the output.
std::vector<float> RunFrontEnd(bool reverbOn, const std::vector<float>& input)
{
    audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
    fx->SetReverbON(reverbOn);
    EXPECT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, 2, 48000, 0));
    std::vector<float> output, scratch(16384);
    bool end = false;
    auto pull = [&] {
        uint32_t bytes = uint32_t(scratch.size() * sizeof(float));
        fx->Pull(scratch.data(), &bytes, &end);
        output.insert(output.end(), scratch.begin(), scratch.begin() + bytes / sizeof(float));
    };
    fx->Push(input.data(), uint32_t(input.size() * sizeof(float)), -1);
    pull();
    fx->Push(nullptr, 0, -1);
    while (!end)
        pull();
    fx->Destroy();
    return output;
}

TEST(ReverbProcessor, FrontEndStartSequenceLeavesErOffAndTheWetPathNearSilent)
{
    testsupport::RecordingAssertHook asserts;
    std::vector<float> input(2 * 12000);
    for (size_t i = 0; i < input.size(); ++i)
        input[i] = 0.3f * std::sin(0.01f * float(i / 2)) * (i % 2 ? 0.5f : 1.0f);
    const std::vector<float> off = RunFrontEnd(false, input);
    const std::vector<float> on = RunFrontEnd(true, input);
    // The stored start values: ER off, dry 0 dB, ER and reverb at -96.3 dB
    // (-99.3 dB with the fixed -3 dB). What is heard is the dry signal.
    ASSERT_GE(on.size(), off.size());
    for (size_t i = 0; i < off.size(); ++i)
        ASSERT_NEAR(on[i], off[i], 1e-4f) << i;
    // The tail: trunc((PreDelay / 1000 + DecayTime) * rate) frames, the
    // default 25 ms and 1.2 s at 48 kHz, on top of the limiter's own.
    EXPECT_EQ((on.size() - off.size()) / 2, size_t(58800));
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

}  // namespace
