// Tremolo against the closed form of its gain, 1 - range/2 * (1 - cos(2 pi f n / rate)),
// with its one deliberate exception, and its block timing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "effects/TremoloProcessorImpl.h"
#include "support/AllocationCounter.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

struct Tremolo {
    TremoloProcessor* fx;
    uint32_t maxFrames;
    uint32_t channels;

    Tremolo(uint32_t maxFrames_, uint32_t channels_, uint32_t rate, double freq, double range)
        : fx(TremoloProcessorImpl::Create()), maxFrames(maxFrames_), channels(channels_)
    {
        EXPECT_TRUE(fx->Init(maxFrames, channels, rate));
        EXPECT_TRUE(fx->SetParams(freq, range));
        fx->SetBypass(false);
    }
    ~Tremolo() { fx->Destroy(); }

    // Runs interleaved-by-channel data (channel c at c * frames) as one block.
    std::vector<float> Run(const std::vector<float>& in, uint32_t frames)
    {
        std::vector<float> block(size_t(maxFrames) * channels, 0.0f);
        for (uint32_t c = 0; c < channels; ++c)
            std::copy(in.begin() + c * frames, in.begin() + (c + 1) * frames, block.begin() + c * maxFrames);
        bool draining = false;
        uint32_t count = frames;
        fx->Process(block.data(), &draining, &count);
        EXPECT_EQ(count, frames);
        std::vector<float> out(size_t(frames) * channels);
        for (uint32_t c = 0; c < channels; ++c)
            std::copy(block.begin() + c * maxFrames, block.begin() + c * maxFrames + frames,
                      out.begin() + c * frames);
        return out;
    }

    // Gains of a mono block of ones.
    std::vector<float> Gains(uint32_t frames) { return Run(std::vector<float>(frames * channels, 1.0f), frames); }
};

// The gain at frame n of a table that restarts every truncated period.
double ClosedFormGain(double freq, double range, uint32_t rate, uint32_t n)
{
    n %= uint32_t(rate / freq);
    return 1.0 - range / 2.0 * (1.0 - std::cos(2.0 * kPi * freq * n / rate));
}

TEST(TremoloProcessorImpl, GainsFollowTheClosedFormWithTheOneExactEntry)
{
    struct Case {
        uint32_t rate;
        double freq;
        double range;
        int64_t exactIndex;  // phase a whole number of periods: gain 1.0 there; -1 for none
    };
    for (const Case& k : {Case{44100, 1.0, 0.5, 33075}, Case{48000, 1000.0, 0.9, 36},
                          Case{44100, 13.0, 0.3, -1}, Case{22050, 4.5, 0.999, 3675}}) {
        const uint32_t period = uint32_t(k.rate / k.freq);
        Tremolo t(period + 100, 1, k.rate, k.freq, k.range);
        const std::vector<float> gains = t.Gains(period + 100);
        for (uint32_t n = 0; n < period; ++n) {
            if (int64_t(n) == k.exactIndex) {
                // Its neighbours lie either side of the mid-swing value.
                const double step = k.range / 2.0 * std::sin(2.0 * kPi * k.freq / k.rate) + 1e-6;
                EXPECT_EQ(gains[n], 1.0f) << k.freq << " Hz at " << n;
                EXPECT_NEAR(gains[n - 1], 1.0 - k.range / 2.0, step);
                EXPECT_NEAR(gains[n + 1], 1.0 - k.range / 2.0, step);
            } else {
                ASSERT_NEAR(gains[n], ClosedFormGain(k.freq, k.range, k.rate, n), 1e-6)
                    << k.freq << " Hz at " << n;
            }
        }
        // The table holds one truncated period and starts over.
        for (uint32_t n = period; n < period + 100; ++n)
            ASSERT_EQ(gains[n], gains[n - period]) << k.freq << " Hz at " << n;
        EXPECT_EQ(*std::max_element(gains.begin(), gains.end()), 1.0f);
        EXPECT_NEAR(*std::min_element(gains.begin(), gains.end()), 1.0 - k.range, 1e-4);
    }
}

TEST(TremoloProcessorImpl, PhaseRunsOnAcrossBlocksOfOddSizesInEveryChannel)
{
    const uint32_t channels = 3;
    const uint32_t total = 20000;
    std::mt19937 random(11);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    std::vector<float> input(size_t(total) * channels);
    for (float& x : input)
        x = noise(random);

    Tremolo whole(total, channels, 44100, 7.3, 0.6);
    const std::vector<float> expected = whole.Run(input, total);
    for (uint32_t c = 0; c < channels; ++c)
        for (uint32_t n = 0; n < total; n += 37)
            ASSERT_NEAR(expected[c * total + n], input[c * total + n] * ClosedFormGain(7.3, 0.6, 44100, n), 1e-6);

    for (uint32_t firstSize : {1u, 7u, 513u, 2047u}) {
        Tremolo pieces(4096, channels, 44100, 7.3, 0.6);
        uint32_t at = 0;
        uint32_t size = firstSize;
        while (at < total) {
            const uint32_t n = std::min(size, total - at);
            std::vector<float> piece(size_t(n) * channels);
            for (uint32_t c = 0; c < channels; ++c)
                std::copy(input.begin() + c * total + at, input.begin() + c * total + at + n,
                          piece.begin() + c * n);
            const std::vector<float> out = pieces.Run(piece, n);
            for (uint32_t c = 0; c < channels; ++c)
                for (uint32_t i = 0; i < n; ++i)
                    ASSERT_EQ(out[c * n + i], expected[c * total + at + i]) << firstSize << " at " << at + i;
            at += n;
            size = size * 5 % 4001 + 1;
        }
    }
}

TEST(TremoloProcessorImpl, BypassTakesEffectOneBlockLateAndLeavingItRestartsTheTable)
{
    const uint32_t frames = 500;
    const double freq = 9.0;
    const double range = 0.8;
    Tremolo t(frames, 2, 44100, freq, range);
    t.Gains(frames);
    t.Gains(frames);
    t.fx->SetBypass(true);
    // The block in which bypass is first seen is still modulated, and runs on.
    std::vector<float> gains = t.Gains(frames);
    for (uint32_t n = 0; n < frames; n += 50)
        EXPECT_NEAR(gains[n], ClosedFormGain(freq, range, 44100, 2 * frames + n), 1e-6);
    // From the next block on the audio passes untouched: no crossfade.
    for (int block = 0; block < 3; ++block) {
        gains = t.Gains(frames);
        for (float g : gains)
            ASSERT_EQ(g, 1.0f);
    }
    t.fx->SetBypass(false);
    gains = t.Gains(frames);
    for (uint32_t n = 0; n < frames; n += 50)
        EXPECT_NEAR(gains[n], ClosedFormGain(freq, range, 44100, n), 1e-6) << n;

    // Reset restarts the table at the next block too.
    t.fx->Reset();
    gains = t.Gains(frames);
    EXPECT_NEAR(gains[frames - 1], ClosedFormGain(freq, range, 44100, frames - 1), 1e-6);
}

TEST(TremoloProcessorImpl, SettingsAreCheckedAndApplyAtTheNextBlock)
{
    TremoloProcessor* fx = TremoloProcessorImpl::Create();
    ASSERT_TRUE(fx->Init(256, 1, 44100));
    struct Setting {
        double freq;
        double range;
        bool accepted;
    };
    for (const Setting& s : {Setting{0.5, 0.5, false}, Setting{1001.0, 0.5, false}, Setting{5.0, 0.0, false},
                             Setting{5.0, 1.0, false}, Setting{NAN, 0.5, false}, Setting{5.0, NAN, false},
                             Setting{1.0, 0.999, true}, Setting{1000.0, 0.001, true}})
        EXPECT_EQ(fx->SetParams(s.freq, s.range), s.accepted) << s.freq << ", " << s.range;
    fx->Destroy();

    // After an Init the effect passes audio until it gets settings, even
    // switched on; a refused setting leaves the running one.
    Tremolo t(256, 1, 44100, 5.0, 0.5);
    EXPECT_TRUE(t.fx->Init(256, 1, 44100));
    EXPECT_TRUE(t.fx->Init(256, 1, 44100));
    for (float g : t.Gains(256))
        ASSERT_EQ(g, 1.0f);
    EXPECT_TRUE(t.fx->SetParams(5.0, 0.5));
    std::vector<float> gains = t.Gains(256);
    EXPECT_FALSE(t.fx->SetParams(5.0, 2.0));
    std::vector<float> more = t.Gains(256);
    EXPECT_NEAR(more[10], ClosedFormGain(5.0, 0.5, 44100, 266), 1e-6);

    // The same values again build nothing: the phase runs on, nothing is allocated.
    EXPECT_TRUE(t.fx->SetParams(5.0, 0.5));
    std::vector<float> block(256);
    bool draining = false;
    uint32_t frames = 256;
    {
        testsupport::AllocationCounter counter;
        for (int i = 2; i < 200; ++i) {
            std::fill(block.begin(), block.end(), 1.0f);
            t.fx->Process(block.data(), &draining, &frames);
        }
        EXPECT_EQ(counter.Count(), 0u);
    }
    EXPECT_NEAR(block[3], ClosedFormGain(5.0, 0.5, 44100, 199 * 256 + 3), 1e-6);

    // A new range restarts the table.
    EXPECT_TRUE(t.fx->SetParams(5.0, 0.25));
    gains = t.Gains(256);
    EXPECT_NEAR(gains[100], ClosedFormGain(5.0, 0.25, 44100, 100), 1e-6);
}

}  // namespace
