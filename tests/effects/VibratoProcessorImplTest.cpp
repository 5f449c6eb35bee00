// Vibrato against a reference fractional delay built from outside the
// effect: a delay of L - range * L * (1 - cos(2 pi i / period)) / 2 frames
// (L the 5 ms ring), read from a ring of the last L inputs with linear
// interpolation, both read offsets taken modulo L.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <random>
#include <vector>

#include "effects/VibratoProcessorImpl.h"
#include "support/AllocationCounter.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

struct Vibrato {
    VibratoProcessor* fx;
    uint32_t maxFrames;

    Vibrato(uint32_t maxFrames_, uint32_t channels, uint32_t rate, double freq, double range)
        : fx(VibratoProcessorImpl::Create()), maxFrames(maxFrames_)
    {
        EXPECT_TRUE(fx->Init(maxFrames, channels, rate));
        EXPECT_TRUE(fx->SetParams(freq, range));
        fx->SetBypass(false);
    }
    ~Vibrato() { fx->Destroy(); }

    // Mono block in place.
    void Run(float* samples, uint32_t frames)
    {
        bool draining = true;
        uint32_t count = frames;
        fx->Process(samples, &draining, &count);
        EXPECT_EQ(count, frames);
        EXPECT_TRUE(draining);
    }

    std::vector<float> Run(std::vector<float> samples)
    {
        for (size_t at = 0; at < samples.size(); at += maxFrames)
            Run(samples.data() + at, uint32_t(std::min<size_t>(maxFrames, samples.size() - at)));
        return samples;
    }
};

// The reference wet output at frame n for a delay curve value: a linear
// interpolation between ring offsets floor(delay) and the next, both modulo
// the ring, counted from the oldest frame in the ring.
double ReferenceWet(const std::vector<float>& input, int64_t n, double delay, uint32_t ringFrames)
{
    auto past = [&](int64_t i) { return i < 0 ? 0.0 : double(input[size_t(i)]); };
    const int64_t offsetA = int64_t(delay) % ringFrames, offsetB = (offsetA + 1) % ringFrames;
    const double a = past(n - ringFrames + offsetA);
    return a + (delay - std::floor(delay)) * (past(n - ringFrames + offsetB) - a);
}

std::vector<float> Noise(size_t frames, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    std::vector<float> out(frames);
    for (float& x : out)
        x = noise(random);
    return out;
}

// The curve starts at its longest delay, the whole ring, and swings down by
// range. Range near 1 puts both read positions at the ring's end, where the
// second wraps onto the slot about to be written: it still holds the oldest
// frame. Periods divisible by 4 keep the curve's quarter-period start exact.
TEST(VibratoProcessorImpl, NoiseFollowsTheInterpolatedRingThroughRangeAndFreqChanges)
{
    const std::vector<float> input = Noise(60000, 5);
    struct Step {
        uint32_t frames;
        double freq;
        double range;
    };
    const Step steps[] = {{9000, 5.0, 0.9999}, {7001, 5.0, 0.37}, {12000, 12.5, 0.37}, {9999, 12.5, 0.99},
                          {22000, 1.0, 0.6}};
    struct Case {
        uint32_t rate, ring, blockFrames;  // the ring holds 5 ms
    };
    for (const Case& k : {Case{44100, 220, 1}, Case{48000, 240, 333}, Case{32000, 160, 4096}}) {
        const uint32_t rate = k.rate, ring = k.ring, blockFrames = k.blockFrames;
        Vibrato v(blockFrames, 1, rate, steps[0].freq, steps[0].range);
        std::vector<float> out = input;
        size_t at = 0;
        uint32_t phase = 0;
        double freq = steps[0].freq;
        for (const Step& step : steps) {
            ASSERT_TRUE(v.fx->SetParams(step.freq, step.range));
            // A new Freq starts its table over; a new Range alone does not.
            if (step.freq != freq)
                phase = 0;
            freq = step.freq;
            const uint32_t period = uint32_t(rate / step.freq);
            for (uint32_t done = 0; done < step.frames;) {
                const uint32_t n = std::min(blockFrames, step.frames - done);
                v.Run(out.data() + at + done, n);
                done += n;
            }
            for (uint32_t i = 0; i < step.frames; ++i, ++phase) {
                const int64_t n = int64_t(at + i);
                const double delay = step.range * ring * (1.0 - std::cos(2.0 * kPi * (phase % period) / period)) / 2.0;
                double expected = ReferenceWet(input, n, delay, ring);
                // Switching on fades in from dry over the first block.
                if (n < blockFrames) {
                    const double t = double(n) / blockFrames;
                    expected = expected * t + input[size_t(n)] * (1.0 - t);
                }
                ASSERT_NEAR(out[size_t(n)], expected, 2e-5)
                    << "block " << blockFrames << ", frame " << n << ", delay " << delay;
            }
            at += step.frames;
        }
    }
}

// Into bypass the wet signal fades out over one block; out of it, and after
// a Reset, the effect starts over as a new one: positions at the start, a
// silent ring (nothing from before is heard again) and the new effect's fade
// in from dry.
TEST(VibratoProcessorImpl, BypassFadesOutAndLeavingItOrResetStartsOverAsNew)
{
    for (uint32_t frames : {1u, 7u, 512u}) {
        // a switches bypass; b runs the same audio without it, giving the wet signal.
        Vibrato a(frames, 2, 48000, 3.0, 0.7), b(frames, 2, 48000, 3.0, 0.7);
        const std::vector<float> input = Noise(size_t(frames) * 2 * 40, frames);
        size_t index = 0;
        auto next = [&] {
            const auto at = input.begin() + ptrdiff_t(index++ * frames * 2);
            return std::vector<float>(at, at + frames * 2);
        };
        auto run = [&](Vibrato& v, std::vector<float> samples) {
            v.Run(samples.data(), frames);
            return samples;
        };
        auto same = [&](Vibrato& x, Vibrato& y) {
            const std::vector<float> block = next();
            return run(x, block) == run(y, block);
        };
        while (index < 8)
            ASSERT_TRUE(same(a, b));
        // Gains in steps of 1/N from the start gains: dry rises from 0.
        a.fx->SetBypass(true);
        const std::vector<float> dry = next();
        const std::vector<float> mixed = run(a, dry);
        const std::vector<float> wet = run(b, dry);
        for (uint32_t i = 0; i < frames * 2; ++i) {
            const double dryGain = double(i % frames) / frames;
            ASSERT_NEAR(mixed[i], wet[i] * (1.0 - dryGain) + dry[i] * dryGain, 1e-6) << frames << " at " << i;
        }
        // Bypassed: untouched, and the ring is not fed.
        for (int k = 0; k < 3; ++k) {
            const std::vector<float> block = next();
            ASSERT_EQ(run(a, block), block);
        }
        a.fx->SetBypass(false);
        Vibrato fresh(frames, 2, 48000, 3.0, 0.7);
        while (index < 24)
            ASSERT_TRUE(same(a, fresh)) << frames << ", block " << index;
        a.fx->Reset();
        Vibrato again(frames, 2, 48000, 3.0, 0.7);
        while (index < 40)
            ASSERT_TRUE(same(a, again)) << frames << ", block " << index;
    }
}

TEST(VibratoProcessorImpl, SineComesThroughWithTheMeanDelayAsSteadyLatency)
{
    // A shallow vibrato: over whole periods of the curve the sine's phase
    // shows the mean delay, L * (1 - range / 2).
    const uint32_t rate = 44100;
    const double toneHz = 147.0;  // a period of 300 frames, longer than the ring
    const double range = 0.002;
    const uint32_t frames = rate;  // 10 curve periods at 10 Hz, 147 tone periods
    std::vector<float> tone(frames * 2);
    for (size_t n = 0; n < tone.size(); ++n)
        tone[n] = float(std::sin(2.0 * kPi * toneHz * n / rate));
    Vibrato v(2048, 1, rate, 10.0, range);
    const std::vector<float> out = v.Run(tone);
    std::complex<double> inBin = 0.0, outBin = 0.0;
    for (size_t n = frames; n < 2 * size_t(frames); ++n) {
        const std::complex<double> w = std::polar(1.0, -2.0 * kPi * toneHz * n / rate);
        inBin += double(tone[n]) * w;
        outBin += double(out[n]) * w;
    }
    const double lagFrames = std::arg(inBin / outBin) / (2.0 * kPi * toneHz) * rate;
    const double periodFrames = rate / toneHz;
    EXPECT_NEAR(std::fmod(lagFrames + periodFrames, periodFrames), 220.0 * (1.0 - range / 2.0), 0.01);
    EXPECT_NEAR(std::abs(outBin) / std::abs(inBin), 1.0, 1e-3);
}

// Out-of-range settings are refused; after Init, or at a rate too low for a
// ring, the effect passes audio; steady state, a new Range included, allocates nothing.
TEST(VibratoProcessorImpl, SettingsAndSteadyState)
{
    Vibrato v(256, 2, 44100, 5.0, 0.5);
    for (double freq : {0.5, 1001.0, double(NAN)})
        EXPECT_FALSE(v.fx->SetParams(freq, 0.5)) << freq;
    for (double range : {0.0, 1.0, double(NAN)})
        EXPECT_FALSE(v.fx->SetParams(5.0, range)) << range;
    std::vector<float> block = Noise(512, 3);
    const std::vector<float> before = block;
    for (uint32_t rate : {44100u, 150u}) {
        ASSERT_TRUE(v.fx->Init(256, 2, rate));
        if (rate == 150) {
            ASSERT_TRUE(v.fx->SetParams(5.0, 0.5));
        }
        v.Run(block.data(), 256);
        EXPECT_EQ(block, before) << rate;
    }
    ASSERT_TRUE(v.fx->Init(256, 2, 44100));
    ASSERT_TRUE(v.fx->SetParams(5.0, 0.5));
    v.Run(block.data(), 256);
    testsupport::AllocationCounter counter;
    for (int i = 0; i < 500; ++i)
        v.Run(block.data(), 256);
    EXPECT_TRUE(v.fx->SetParams(5.0, 0.9));
    v.Run(block.data(), 256);
    EXPECT_EQ(counter.Count(), 0u);
}

}  // namespace
