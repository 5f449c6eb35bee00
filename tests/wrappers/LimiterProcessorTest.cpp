// The limiter as the chain runs it: LimiterProcessorImpl with the front end's
// default settings (threshold 0 dB, 40 ms look-ahead, 80 ms release, hard
// ceiling on stereo).
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "frontend/EffectDefaults.h"
#include "ov/OvFastMath.h"
#include "ov/OvParamValues.h"
#include "support/AllocationCounter.h"
#include "support/OvPluginHarness.h"
#include "support/RecordingAssertHook.h"
#include "wrappers/LimiterProcessorImpl.h"

namespace {

using testsupport::Planes;

constexpr uint32_t kRate = 44100;
constexpr uint32_t kMaxFrames = 2048;

struct Limiter {
    explicit Limiter(uint32_t channels, LimiterEffectParams params = fxdefaults::kLimiter)
        : impl(static_cast<LimiterProcessorImpl*>(LimiterProcessor::Create()))
    {
        ok = impl->Init(kMaxFrames, channels, kRate);
        impl->SetBypass(false);
        impl->SetParams(params);
    }
    ~Limiter() { impl->Destroy(); }
    LimiterProcessorImpl* impl;
    bool ok = false;
};

// Mono runs the per-channel dB law, whose fast log and power can land a
// little over the ceiling; stereo and 5.1 run the hard ceiling. An output
// gain scales the ceiling.
TEST(LimiterProcessor, NothingLeavesAboveTheCeilingForInputsUpToPlus20Dbfs)
{
    const float ceiling = OV::FastPow10FromDb(fxdefaults::kLimiter.Threshold);
    LimiterEffectParams louder = fxdefaults::kLimiter;
    louder.OutputGain = 3.0f;
    std::mt19937 rng(7);
    testsupport::RecordingAssertHook asserts;
    for (const LimiterEffectParams& params : {fxdefaults::kLimiter, louder}) {
        const float outputCeiling = ceiling * OV::DbToLinear(params.OutputGain);
        for (uint32_t channels : {1u, 2u, 6u}) {
            for (const auto& [name, input] : testsupport::HotSignals(channels, kRate * 3 / 2)) {
                SCOPED_TRACE(testing::Message() << name << ", " << channels << " channels, output gain "
                                                << params.OutputGain << " dB");
                Limiter limiter(channels, params);
                ASSERT_TRUE(limiter.ok);
                const Planes output = testsupport::RunProcessor(limiter.impl, channels, kMaxFrames, input,
                                                                [&](size_t) { return 1 + rng() % kMaxFrames; });
                ASSERT_EQ(output[0].size(), input[0].size());
                float worst = 0.0f;
                for (const auto& ch : output)
                    for (float y : ch)
                        worst = std::max(worst, std::fabs(y));
                EXPECT_LE(worst, outputCeiling);
                EXPECT_GT(worst, 0.9f * outputCeiling);  // it limits, it does not mute
            }
        }
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(LimiterProcessor, BelowTheCeilingPassesBitExactlyAndStreamsKeepTheirLength)
{
    const uint32_t lookAhead = uint32_t(fxdefaults::kLimiter.Attack * kRate);  // 1764
    std::mt19937 rng(99);
    std::uniform_real_distribution<float> unit(-0.999f, 0.999f);
    for (uint32_t channels : {1u, 2u, 6u}) {
        for (size_t frames : {size_t(1), size_t(100), size_t(lookAhead - 1), size_t(lookAhead),
                              size_t(lookAhead + 1), size_t(5000), size_t(kRate)}) {
            Planes input(channels, std::vector<float>(frames)), expected = input;
            for (uint32_t c = 0; c < channels; ++c)
                for (size_t i = 0; i < frames; ++i) {
                    input[c][i] = unit(rng);
                    // Mono runs the dB law, which scales by 10^0 the fast way: 0.999039.
                    expected[c][i] = channels == 1 ? input[c][i] * OV::FastPow10(0.0f) : input[c][i];
                }
            Limiter limiter(channels);
            const Planes output = testsupport::RunProcessor(limiter.impl, channels, kMaxFrames, input,
                                                            [&](size_t) { return 1 + rng() % kMaxFrames; });
            EXPECT_EQ(output, expected) << frames << " frames, " << channels << " channels";
        }
    }
}

// With the threshold at -6 dB a lone full-scale peak in a steady 0.25 is met
// by a straight gain ramp over the look-ahead that arrives at ceiling / peak,
// about 0.5, exactly as the peak leaves the delay; the gain then climbs back
// in a straight line over the release time. Linked: both channels move.
TEST(LimiterProcessor, MinusSixDbThresholdMeetsAFullScalePeakAsItLeavesTheDelay)
{
    const LimiterEffectParams params = {-6.0f, 0.04f, 0.08f, 0.0f, true, 50.0f};
    const uint32_t L = uint32_t(params.Attack * kRate);
    const uint32_t releaseFrames = uint32_t(params.Release * kRate);
    const float ceiling = OV::FastPow10FromDb(-6.0f);
    EXPECT_NEAR(ceiling, 0.5f, 0.01f);
    const size_t peakAt = 10000;
    Planes input(2, std::vector<float>(30000, 0.25f));
    input[0][peakAt] = 1.0f;
    Limiter limiter(2, params);
    const Planes output = testsupport::RunProcessor(limiter.impl, 2, kMaxFrames, input,
                                                    [](size_t b) { return uint32_t(300 + 517 * (b % 4)); });
    ASSERT_EQ(output[0].size(), input[0].size());

    EXPECT_FLOAT_EQ(output[0][peakAt], ceiling);
    EXPECT_EQ(output[0][peakAt - L - 1], 0.25f);
    const float step = (ceiling - 1.0f) / float(L);
    for (uint32_t j = 0; j < L; ++j) {
        const float gain = 1.0f + float(j + 1) * step;
        ASSERT_NEAR(output[0][peakAt - L + j], 0.25f * gain, 2e-5f) << j;
        ASSERT_NEAR(output[1][peakAt - L + j], 0.25f * gain, 2e-5f) << j;
    }
    size_t recovering = 0;
    for (size_t i = peakAt + 1; i < output[1].size(); ++i)
        if (output[1][i] < 0.25f)
            ++recovering;
    EXPECT_NEAR(double(recovering), double(releaseFrames), 2.0);
    EXPECT_EQ(output[1].back(), 0.25f);
}

// Runs one block of a +3.5 dBFS square wave through the limiter; returns the frames out.
uint32_t SteadyBlock(Limiter& limiter, std::vector<float>& block)
{
    for (size_t i = 0; i < block.size(); ++i)
        block[i] = (i / 50) % 2 ? 1.5f : -1.5f;
    bool draining = false;
    uint32_t frames = kMaxFrames;
    limiter.impl->Process(block.data(), &draining, &frames);
    return frames;
}

// Attack is the look-ahead: changing it (or the ratio mode) restarts the
// limiter, which drops its delayed audio and pays the start-up again; a new
// release, threshold or output gain takes effect without a break, and
// without allocating.
TEST(LimiterProcessor, AttackChangeRestartsReleaseAndThresholdChangesDoNot)
{
    const LimiterEffectParams base = fxdefaults::kLimiter;
    LimiterEffectParams attack = base, release = base, threshold = base, output = base, ratioMode = base;
    attack.Attack = 0.02f;
    release.Release = 0.3f;
    threshold.Threshold = -3.0f;
    output.OutputGain = -2.0f;
    ratioMode.InfiniteRatio = false;
    const struct {
        const char* name;
        LimiterEffectParams params;
        uint32_t framesOut;  // of the next full block
    } changes[] = {
        {"attack", attack, kMaxFrames - uint32_t(0.02f * kRate)},
        {"release", release, kMaxFrames},
        {"threshold", threshold, kMaxFrames},
        {"output gain", output, kMaxFrames},
        {"infinite ratio", ratioMode, kMaxFrames - uint32_t(base.Attack * kRate)},
    };
    std::vector<float> block(2 * kMaxFrames);
    for (const auto& change : changes) {
        Limiter limiter(2);
        SteadyBlock(limiter, block);
        testsupport::AllocationCounter counter;
        for (int b = 0; b < 8; ++b)
            ASSERT_EQ(SteadyBlock(limiter, block), kMaxFrames);
        limiter.impl->SetParams(change.params);
        EXPECT_EQ(SteadyBlock(limiter, block), change.framesOut) << change.name;
        if (change.framesOut == kMaxFrames) {
            EXPECT_EQ(counter.Count(), 0u) << change.name;
        }
    }
}

}  // namespace
