// The echo as the chain runs it: DelayProcessorImpl over OvDelayFX. Checked
// against impulse responses, a sample-by-sample model of the block-aligned
// feedback, and frame counts at the end of the stream.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/AllocationCounter.h"
#include "support/OvPluginHarness.h"
#include "support/RecordingAssertHook.h"
#include "wrappers/DelayProcessorImpl.h"

namespace {

using testsupport::Planes;

struct Delay {
    Delay(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate, DelayEffectParams params)
        : impl(static_cast<DelayProcessorImpl*>(DelayProcessor::Create()))
    {
        ok = impl->Init(maxFrames, channels, sampleRate);
        impl->SetBypass(false);
        impl->SetParams(params);
    }
    ~Delay() { impl->Destroy(); }
    DelayProcessorImpl* impl;
    bool ok = false;
};

float DbToLinear(float db)
{
    return std::pow(10.0f, db / 20.0f);
}

TEST(DelayProcessor, ImpulseResponseIsDryNowAndWetExactlyOneLineLater)
{
    struct Case {
        float delayMs;
        uint32_t sampleRate;
        int echoAt;  // frames after the dry impulse; -1: no line at all
    };
    const Case cases[] = {
        {10.0f, 1000, 10}, {5.0f, 1000, 5}, {3.0f, 1000, 4}, {1.0f, 1000, 4}, {50.0f, 44100, 2205},
        {0.5f, 1000, -1},
    };
    const float dryDb = -6.0f, wetDb = -3.0f;
    for (const Case& c : cases) {
        for (uint32_t channels : {1u, 2u, 10u}) {
            SCOPED_TRACE(testing::Message() << c.delayMs << " ms at " << c.sampleRate << " Hz, " << channels
                                            << " channels");
            Delay delay(256, channels, c.sampleRate, {c.delayMs, 0.0f, dryDb, wetDb});
            ASSERT_TRUE(delay.ok);
            // After the first block, in which the levels ramp from the
            // parameter object's defaults to these.
            const size_t at = 407, frames = 3000;
            Planes input(channels, std::vector<float>(frames, 0.0f));
            for (auto& ch : input)
                ch[at] = 1.0f;
            const Planes output = testsupport::RunProcessor(delay.impl, channels, 256, input,
                                                            [](size_t b) { return uint32_t(100 + 52 * (b % 3)); });
            for (uint32_t ch = 0; ch < channels; ++ch) {
                // A channel beyond the eighth has no line: dry only.
                const int echoAt = ch < 8 ? c.echoAt : -1;
                for (size_t i = 0; i < frames; ++i) {
                    float expected = 0.0f;
                    if (i == at)
                        expected = DbToLinear(dryDb);
                    else if (echoAt > 0 && i == at + size_t(echoAt))
                        expected = DbToLinear(dryDb) * DbToLinear(wetDb);
                    ASSERT_NEAR(output[ch][i], expected, 1e-6f) << "channel " << ch << " frame " << i;
                }
            }
        }
    }
}

// What the block-aligned feedback means, written per sample for full blocks
// of B frames: the line's input is the dry input plus the feedback times the
// output one block earlier; the output is that input plus the wet line output.
TEST(DelayProcessor, FeedbackRecirculatesTheOutputOneBlockLate)
{
    const uint32_t B = 32, D = 5, rate = 1000;
    const float feedback = 0.5f, wet = DbToLinear(-2.0f);
    // Past the first block, in which the wet level ramps in.
    for (size_t impulseAt : {size_t(B + 3), size_t(B + 30)}) {
        Delay delay(B, 1, rate, {float(D), feedback, 0.0f, -2.0f});
        const size_t frames = 12 * B;
        Planes input(1, std::vector<float>(frames, 0.0f));
        input[0][impulseAt] = 1.0f;
        const Planes output = testsupport::RunProcessor(delay.impl, 1, B, input, [&](size_t) { return B; });

        std::vector<double> s(frames, 0.0), y(frames, 0.0);
        for (size_t n = 0; n < frames; ++n) {
            s[n] = input[0][n] + (n >= B ? feedback * y[n - B] : 0.0);
            y[n] = s[n] + (n >= D ? wet * s[n - D] : 0.0);
        }
        for (size_t n = 0; n < frames; ++n)
            ASSERT_NEAR(output[0][n], y[n], 1e-5) << "frame " << n;
        // The fed-back copy is heard without the line, one block on.
        EXPECT_NEAR(output[0][impulseAt + B], feedback, 1e-6f);
    }
}

TEST(DelayProcessor, EndOfStreamAddsOneDelayOfTail)
{
    struct Case {
        float delayMs;
        uint32_t sampleRate;
        uint32_t tailFrames;
    };
    // A 1 ms line is 4 frames long, yet the tail is the 1 frame of the
    // delay time; intended.
    const Case cases[] = {{10.0f, 1000, 10}, {1.0f, 1000, 1}, {50.0f, 44100, 2205}, {100.0f, 44100, 4410},
                          {0.0f, 44100, 0}};
    for (const Case& c : cases) {
        for (size_t frames : {size_t(1), size_t(999), size_t(2048), size_t(5001)}) {
            Delay delay(2048, 2, c.sampleRate, {c.delayMs, 0.3f, 0.0f, 0.0f});
            Planes input(2, std::vector<float>(frames, 0.25f));
            const Planes output = testsupport::RunProcessor(delay.impl, 2, 2048, input,
                                                            [](size_t b) { return uint32_t(b % 2 ? 2048 : 700); });
            EXPECT_EQ(output[0].size(), frames + c.tailFrames) << c.delayMs << " ms, " << frames << " frames";
        }
    }
    // The last echo lands in the tail.
    Delay delay(64, 1, 1000, {10.0f, 0.0f, 0.0f, 0.0f});
    Planes input(1, std::vector<float>(50, 0.0f));
    input[0][49] = 1.0f;
    EXPECT_EQ(testsupport::RunProcessor(delay.impl, 1, 64, input, [](size_t) { return 64u; })[0].back(), 1.0f);
}

// Runs one block of `frames` in place.
void Process(Delay& delay, std::vector<float>& block, uint32_t frames)
{
    bool draining = false;
    delay.impl->Process(block.data(), &draining, &frames);
}

// A new Feedback clears the lines (and the fed-back block), so the echo due
// in the next block never comes; the same values sent again change nothing.
// A new delay time rebuilds the lines, with the same loss.
TEST(DelayProcessor, FeedbackOrDelayChangeClearsTheLines)
{
    const uint32_t B = 32;
    const DelayEffectParams base = {40.0f, 0.3f, 0.0f, 0.0f};
    const struct {
        const char* name;
        DelayEffectParams after;
        bool echoSurvives;
    } cases[] = {
        {"same values again", base, true},
        {"new feedback", {40.0f, 0.31f, 0.0f, 0.0f}, false},
        {"new delay", {41.0f, 0.3f, 0.0f, 0.0f}, false},
    };
    for (const auto& c : cases) {
        Delay delay(B, 1, 1000, base);
        std::vector<float> block(B, 0.0f);
        block[3] = 1.0f;
        Process(delay, block, B);
        delay.impl->SetParams(c.after);
        std::fill(block.begin(), block.end(), 0.0f);
        Process(delay, block, B);
        // Frame 3 of this block is the fed-back copy, frame 11 the echo (3 + 40 - 32).
        EXPECT_NEAR(block[3], c.echoSurvives ? 0.3f : 0.0f, 1e-6f) << c.name;
        EXPECT_NEAR(block[11], c.echoSurvives ? 1.0f : 0.0f, 1e-6f) << c.name;
    }
}

TEST(DelayProcessor, SteadyStateAllocatesNothing)
{
    Delay delay(2048, 2, 44100, {80.0f, 0.4f, 0.0f, -6.0f});
    std::vector<float> block(2 * 2048);
    auto run = [&](int blocks) {
        for (int b = 0; b < blocks; ++b) {
            for (uint32_t i = 0; i < block.size(); ++i)
                block[i] = std::sin(0.01f * float(b * 2048 + i % 2048));
            Process(delay, block, 2048);
        }
    };
    run(4);
    testsupport::RecordingAssertHook asserts;
    testsupport::AllocationCounter counter;
    run(30);
    delay.impl->SetParams({80.0f, 0.5f, -1.0f, -3.0f});  // levels ramp, feedback clears: no allocation
    run(30);
    EXPECT_EQ(counter.Count(), 0u);
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

}  // namespace
