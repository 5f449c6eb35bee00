// Tremolo against the closed form of its gain, 1 - range/2 * (1 - cos(2 pi f n / rate)),
// with its one deliberate exception, and its block timing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "effects/TremoloProcessorImpl.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

struct Tremolo {
    TremoloProcessor* fx = TremoloProcessorImpl::Create();
    uint32_t maxFrames;

    Tremolo(uint32_t maxFrames_, uint32_t channels, uint32_t rate, double freq, double range) : maxFrames(maxFrames_)
    {
        EXPECT_TRUE(fx->Init(maxFrames, channels, rate));
        EXPECT_TRUE(fx->SetParams(freq, range));
        fx->SetBypass(false);
    }
    ~Tremolo() { fx->Destroy(); }

    // Planar block at a stride of maxFrames, in place.
    void Run(float* block, uint32_t frames)
    {
        bool draining = false;
        fx->Process(block, &draining, &frames);
    }

    // Gains of a block of ones in the first channel.
    std::vector<float> Gains(uint32_t frames)
    {
        std::vector<float> block(maxFrames * 3, 1.0f);
        Run(block.data(), frames);
        return std::vector<float>(block.begin(), block.begin() + frames);
    }
};

// The gain at frame n of a table that restarts every truncated period.
double ClosedFormGain(double freq, double range, uint32_t rate, uint32_t n)
{
    n %= uint32_t(rate / freq);
    return 1.0 - range / 2.0 * (1.0 - std::cos(2.0 * kPi * freq * n / rate));
}

// Gains against the closed form, in blocks of odd sizes and in every channel:
// the phase runs on across blocks. Where the phase is a whole number of
// periods the gain is exactly 1.0 (the first channel carries ones).
TEST(TremoloProcessorImpl, GainsFollowTheClosedFormAcrossOddBlocksWithTheOneExactEntry)
{
    struct Case {
        uint32_t rate;
        double freq, range;
        int64_t exactIndex;  // -1 for none
        uint32_t firstBlock;
    };
    std::mt19937 random(11);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    for (const Case& k : {Case{44100, 1.0, 0.5, 33075, 1}, Case{48000, 1000.0, 0.9, 36, 7},
                          Case{44100, 13.0, 0.3, -1, 513}, Case{22050, 4.5, 0.999, 3675, 2047},
                          Case{44100, 7.3, 0.6, -1, 3}}) {
        const uint32_t period = uint32_t(k.rate / k.freq), total = period + 20000;
        Tremolo t(4096, 3, k.rate, k.freq, k.range);
        std::vector<float> block(4096 * 3);
        for (uint32_t at = 0, size = k.firstBlock, n; at < total; size = size * 5 % 4001 + 1, at += n) {
            n = std::min(size, total - at);
            for (size_t i = 0; i < block.size(); ++i)
                block[i] = i < 4096 ? 1.0f : noise(random);
            const std::vector<float> in = block;
            t.Run(block.data(), n);
            for (uint32_t i = 0; i < n; ++i) {
                if (int64_t((at + i) % period) == k.exactIndex) {
                    ASSERT_EQ(block[i], 1.0f) << k.freq << " Hz at " << at + i;
                    continue;
                }
                const double gain = ClosedFormGain(k.freq, k.range, k.rate, at + i);
                for (uint32_t c = 0; c < 3; ++c)
                    ASSERT_NEAR(block[c * 4096 + i], in[c * 4096 + i] * gain, 1e-6) << k.freq << " Hz at " << at + i;
            }
        }
    }
}

// Bypass is seen one block late and has no crossfade; leaving it, a Reset,
// or a new range restart the table at the next block.
TEST(TremoloProcessorImpl, BypassTakesEffectOneBlockLateAndLeavingItRestartsTheTable)
{
    const uint32_t frames = 500;
    Tremolo t(frames, 2, 44100, 9.0, 0.8);
    t.Gains(frames);
    t.Gains(frames);
    t.fx->SetBypass(true);
    std::vector<float> gains = t.Gains(frames);
    for (uint32_t n = 0; n < frames; n += 50)
        EXPECT_NEAR(gains[n], ClosedFormGain(9.0, 0.8, 44100, 2 * frames + n), 1e-6);
    for (int block = 0; block < 3; ++block)
        for (float g : t.Gains(frames))
            ASSERT_EQ(g, 1.0f);
    t.fx->SetBypass(false);
    gains = t.Gains(frames);
    for (uint32_t n = 0; n < frames; n += 50)
        EXPECT_NEAR(gains[n], ClosedFormGain(9.0, 0.8, 44100, n), 1e-6) << n;
    t.fx->Reset();
    EXPECT_NEAR(t.Gains(frames)[frames - 1], ClosedFormGain(9.0, 0.8, 44100, frames - 1), 1e-6);
    EXPECT_TRUE(t.fx->SetParams(9.0, 0.25));
    EXPECT_NEAR(t.Gains(frames)[100], ClosedFormGain(9.0, 0.25, 44100, 100), 1e-6);
}

// Out-of-range settings are refused and leave the table running, as do the
// same values again; after Init the effect passes audio until it gets settings.
// (Steady state without allocation is checked with the whole chain.)
TEST(TremoloProcessorImpl, SettingsAreCheckedAndKeepThePhase)
{
    Tremolo t(256, 1, 44100, 5.0, 0.5);
    for (double freq : {0.5, 1001.0, double(NAN)})
        EXPECT_FALSE(t.fx->SetParams(freq, 0.5)) << freq;
    for (double range : {0.0, 1.0, double(NAN)})
        EXPECT_FALSE(t.fx->SetParams(5.0, range)) << range;
    EXPECT_TRUE(t.fx->Init(256, 1, 44100));
    for (float g : t.Gains(256))
        ASSERT_EQ(g, 1.0f);
    EXPECT_TRUE(t.fx->SetParams(5.0, 0.5));
    for (int i = 0; i < 199; ++i) {
        EXPECT_FALSE(t.fx->SetParams(5.0, 2.0));
        EXPECT_TRUE(t.fx->SetParams(5.0, 0.5));
        t.Gains(256);
    }
    EXPECT_NEAR(t.Gains(256)[3], ClosedFormGain(5.0, 0.5, 44100, 199 * 256 + 3), 1e-6);
}

}  // namespace
