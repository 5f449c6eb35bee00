// The stereo enhancer as the chain runs it: identity at neutral settings,
// reverb tails by preset, presence at 4 kHz measured by a direct DFT, the
// stereoizer's side-to-mid energy ratio against its closed form, hostile
// settings, and the front end on layouts the effect does not serve.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "lxaudioeffects/AudioEffects.h"
#include "support/AllocationCounter.h"
#include "support/OvPluginHarness.h"
#include "support/RecordingAssertHook.h"
#include "wrappers/StereoEnhancerProcessorImpl.h"

namespace {

using testsupport::Planes;

struct Enhancer {
    Enhancer(uint32_t sampleRate, float presence, float stereoizer, bool shaper, uint32_t ambience)
        : impl(static_cast<StereoEnhancerProcessorImpl*>(StereoEnhancerProcessor::Create()))
    {
        ok = impl->Init(kMaxFrames, 2, sampleRate);
        impl->SetParams(presence, stereoizer, shaper, ambience);
    }
    ~Enhancer() { impl->Destroy(); }
    Planes Run(const Planes& input, uint32_t blockFrames = kMaxFrames)
    {
        return testsupport::RunProcessor(impl, 2, kMaxFrames, input, [=](size_t) { return blockFrames; });
    }
    static constexpr uint32_t kMaxFrames = 1024;
    StereoEnhancerProcessorImpl* impl;
    bool ok = false;
};

Planes Noise(size_t frames, uint32_t seed, float rightFromLeft = 0.0f)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-0.4f, 0.4f);
    Planes x(2, std::vector<float>(frames));
    for (size_t i = 0; i < frames; ++i) {
        x[0][i] = u(rng);
        x[1][i] = rightFromLeft != 0.0f ? rightFromLeft * x[0][i] : u(rng);
    }
    return x;
}

// Amplitude of the hz component of x[start, end), by a direct DFT.
double Amplitude(const std::vector<float>& x, size_t start, size_t end, double hz, double rate)
{
    double re = 0.0, im = 0.0;
    for (size_t i = start; i < end; ++i) {
        re += x[i] * std::cos(2.0 * M_PI * hz * double(i) / rate);
        im += x[i] * std::sin(2.0 * M_PI * hz * double(i) / rate);
    }
    return 2.0 * std::hypot(re, im) / double(end - start);
}

TEST(StereoEnhancerProcessor, NeutralSettingsGiveTheInputBackAfterTheFirstBlock)
{
    Enhancer e(44100, 0.0f, 0.0f, false, 0);
    ASSERT_TRUE(e.ok);
    const Planes in = Noise(6000, 1);
    const Planes out = e.Run(in, 700);
    ASSERT_EQ(out[0].size(), in[0].size());
    // The side fades in from 0 over the first block: its first frame is mid only.
    EXPECT_FLOAT_EQ(out[0][0], 0.5f * (in[0][0] + in[1][0]));
    EXPECT_FLOAT_EQ(out[1][0], 0.5f * (in[0][0] + in[1][0]));
    for (uint32_t c = 0; c < 2; ++c)
        for (size_t i = 700; i < in[c].size(); ++i)
            ASSERT_NEAR(out[c][i], in[c][i], 1e-6f) << c << " " << i;
}

TEST(StereoEnhancerProcessor, AmbiencePresetsAddATailOfPreDelayPlusDecayTime)
{
    // PreDelay (ms) and DecayTime (s) of presets 1 to 7.
    const double preDelayMs[8] = {0, 0, 21, 0, 1, 100, 0, 105};
    const double decayS[8] = {0, 1.0, 3.8, 1.8, 1.0, 1.3, 2.3, 6.1};
    const Planes in = Noise(5000, 2);
    for (uint32_t rate : {44100u, 48000u}) {
        Planes preset7;
        for (uint32_t ambience : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 12u}) {
            SCOPED_TRACE(testing::Message() << rate << " Hz, ambience " << ambience);
            Enhancer e(rate, 3.0f, 2.0f, true, ambience);
            ASSERT_TRUE(e.ok);
            const Planes out = e.Run(in, 999);
            const uint32_t p = std::min(ambience, 7u);
            const double expected = p == 0 ? 0.0 : (preDelayMs[p] / 1000.0 + decayS[p]) * rate;
            EXPECT_NEAR(double(out[0].size() - in[0].size()), std::floor(expected), 1.0);
            for (const auto& channel : out)
                for (float x : channel)
                    ASSERT_TRUE(std::isfinite(x));
            if (ambience == 7)
                preset7 = out;
            if (ambience == 12) {
                EXPECT_EQ(out, preset7);
            }
        }
    }
}

TEST(StereoEnhancerProcessor, PresenceRaisesTheMidPeakAt4kHzInPresetsThatSwitchItOn)
{
    // The peak's own gain in each preset, and whether it is on.
    const double peakDb[8] = {0, 0, 2.0, 1.0, 1.5, 2.5, 2.0, 2.0};
    constexpr double kRate = 44100.0;
    Planes in(2, testsupport::Sine(16384, -20.0, 4000.0, kRate));
    in[1] = in[0];  // mid only: the reverb hears silence
    const double inAmplitude = Amplitude(in[0], 8192, 16384, 4000.0, kRate);
    for (uint32_t preset = 0; preset < 8; ++preset) {
        SCOPED_TRACE(testing::Message() << "preset " << preset);
        Enhancer e(44100, 5.0f, 0.0f, false, preset);
        ASSERT_TRUE(e.ok);
        const double at5 = 20.0 * std::log10(Amplitude(e.Run(in)[0], 8192, 16384, 4000.0, kRate) / inAmplitude);
        e.impl->SetParams(10.0f, 0.0f, false, preset);
        const double at10 = 20.0 * std::log10(Amplitude(e.Run(in)[0], 8192, 16384, 4000.0, kRate) / inAmplitude);
        const bool on = preset >= 2;
        EXPECT_NEAR(at5, on ? peakDb[preset] + 3.0 : 0.0, 0.02);
        EXPECT_NEAR(at10 - at5, on ? 3.0 : 0.0, 0.02);
    }
}

TEST(StereoEnhancerProcessor, StereoizerScalesTheSideToMidEnergyRatio)
{
    // R = 0.5 L: side / mid = (1 - 0.5) / (1 + 0.5) = 1/3 in amplitude.
    const Planes in = Noise(8192, 3, 0.5f);
    double previous = 0.0;
    for (float db : {-24.0f, -6.0f, 0.0f, 6.0f, 12.0f}) {
        Enhancer e(48000, 0.0f, db, false, 0);
        ASSERT_TRUE(e.ok);
        const Planes out = e.Run(in);
        double mid = 0.0, side = 0.0;
        for (size_t i = Enhancer::kMaxFrames; i < out[0].size(); ++i) {
            mid += std::pow(double(out[0][i]) + out[1][i], 2.0);
            side += std::pow(double(out[0][i]) - out[1][i], 2.0);
        }
        const double ratio = side / mid;
        EXPECT_NEAR(ratio / (std::pow(10.0, db / 10.0) / 9.0), 1.0, 1e-4) << db;
        EXPECT_GT(ratio, previous);
        previous = ratio;
    }
}

TEST(StereoEnhancerProcessor, AnySettingsBetweenBlocksKeepTheOutputFiniteAndTheBlocksFreeOfAllocation)
{
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    const float values[] = {nan, inf, -inf, 1e30f, -1e30f, 0.0f, -1.0f, 5.0f, 10.0f, 40.0f};
    testsupport::RecordingAssertHook asserts;
    std::mt19937 rng(5);
    Enhancer e(44100, 0.0f, 0.0f, true, 1);
    ASSERT_TRUE(e.ok);
    testsupport::PlanarBlock block(2, Enhancer::kMaxFrames);
    const Planes in = Noise(Enhancer::kMaxFrames, 4);
    for (int round = 0; round < 300; ++round) {
        if (rng() % 3 == 0)
            e.impl->SetParams(values[rng() % 10], values[rng() % 10], rng() % 2 == 0,
                              rng() % 4 == 0 ? uint32_t(rng()) : uint32_t(rng() % 8));
        const uint32_t frames = rng() % 5 == 0 ? 0 : 1 + rng() % Enhancer::kMaxFrames;
        bool draining = rng() % 10 == 0;
        uint32_t out = frames;
        block.Load(in, 0, frames);
        testsupport::AllocationCounter counter;
        e.impl->Process(block.samples.data(), &draining, &out);
        ASSERT_EQ(counter.Count(), 0u) << "round " << round;
        for (uint32_t c = 0; c < 2; ++c)
            for (uint32_t i = 0; i < out; ++i)
                ASSERT_TRUE(std::isfinite(block.Channel(c)[i])) << "round " << round;
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

// The front end's output, float, for a stream of `channels` channels.
std::vector<float> RunFrontEnd(bool enhancerOn, uint32_t channels)
{
    audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
    fx->SetStereoEnhancerON(enhancerOn);
    fx->SetStereoEnhancerParams(8.0f, 6.0f, true, 5);
    EXPECT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, channels, 44100, 0));
    std::vector<float> in(9000 * channels), out, scratch(16384 * channels);
    for (size_t i = 0; i < in.size(); ++i)
        in[i] = 0.3f * std::sin(0.01f * float(i)) * float(1 + i % channels) / float(channels);
    fx->Push(in.data(), uint32_t(in.size() * sizeof(float)), -1);
    fx->Push(nullptr, 0, -1);
    for (bool end = false; !end;) {
        uint32_t bytes = uint32_t(scratch.size() * sizeof(float));
        fx->Pull(scratch.data(), &bytes, &end);
        out.insert(out.end(), scratch.begin(), scratch.begin() + bytes / sizeof(float));
    }
    fx->Destroy();
    return out;
}

TEST(StereoEnhancerProcessor, OnMonoAndSixChannelStreamsTheFrontEndSoundsAsWithoutIt)
{
    for (uint32_t channels : {1u, 6u})
        EXPECT_EQ(RunFrontEnd(true, channels), RunFrontEnd(false, channels)) << channels;
    EXPECT_NE(RunFrontEnd(true, 2), RunFrontEnd(false, 2));
}

}  // namespace
