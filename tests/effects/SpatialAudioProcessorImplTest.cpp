// Spatial audio as the chain sees it: the properties of its signal paths
// (L = R silences the ambient speakers, the front pair hears only the left
// input, LFE is inert, very low gains leave 0.9 x clipped, enhance delays the
// right channel by 5 ms), Reset keeping the extra pair's overlap, the
// resamplers at 32 kHz, no latency at the engine's rates, small block sizes
// in buffers of exactly their size, hostile levels, and no allocation once
// settled.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "effects/SpatialAudioProcessorImpl.h"
#include "support/AllocationCounter.h"

namespace {

constexpr float kLow = -1000.0f;  // dB: a gain of exactly 0
const float kInf = std::numeric_limits<float>::infinity();
const float kNaN = std::numeric_limits<float>::quiet_NaN();

struct Stereo {
    std::vector<float> left, right;
    size_t size() const { return left.size(); }
    bool operator==(const Stereo& o) const { return left == o.left && right == o.right; }
};

Stereo Noise(size_t frames, uint32_t seed, float level = 0.3f)
{
    std::mt19937 rng(seed);
    std::normal_distribution<float> noise(0.0f, level);
    Stereo s{std::vector<float>(frames), std::vector<float>(frames)};
    for (size_t i = 0; i < frames; ++i) {
        s.left[i] = noise(rng);
        s.right[i] = noise(rng);
    }
    return s;
}

SpatialAudioParams Params(float db, bool enhance)
{
    return SpatialAudioParams{db, db, db, db, db, db, db, db, enhance};
}

// Blocks of maxFrames, then drain passes until the effect lets the stream
// end. The block is exactly two planes of maxFrames, so ASan sees any write
// past it. counts, when given, receives each Process's count out.
Stereo Play(SpatialAudioProcessor* fx, uint32_t maxFrames, const Stereo& in, std::vector<uint32_t>* counts = nullptr)
{
    Stereo out;
    std::vector<float> block(2 * size_t(maxFrames));
    bool draining = false;
    auto take = [&](uint32_t n) {
        EXPECT_LE(n, maxFrames);
        if (counts)
            counts->push_back(n);
        out.left.insert(out.left.end(), block.begin(), block.begin() + n);
        out.right.insert(out.right.end(), block.begin() + maxFrames, block.begin() + maxFrames + n);
    };
    for (size_t at = 0; at < in.size();) {
        const uint32_t n = uint32_t(std::min<size_t>(maxFrames, in.size() - at));
        std::fill(block.begin(), block.end(), 0.0f);
        std::copy(in.left.begin() + at, in.left.begin() + at + n, block.begin());
        std::copy(in.right.begin() + at, in.right.begin() + at + n, block.begin() + maxFrames);
        at += n;
        draining = at == in.size();
        uint32_t count = n;
        fx->Process(block.data(), &draining, &count);
        take(count);
    }
    for (int guard = 0; !draining && guard < 100000; ++guard) {
        uint32_t count = 0;
        draining = true;
        fx->Process(block.data(), &draining, &count);
        take(count);
    }
    EXPECT_TRUE(draining);
    return out;
}

struct Effect {
    SpatialAudioProcessorImpl* fx = static_cast<SpatialAudioProcessorImpl*>(SpatialAudioProcessorImpl::Create());
    Effect(uint32_t maxFrames, uint32_t rate, const SpatialAudioParams& p)
    {
        EXPECT_TRUE(fx->Init(maxFrames, 2, rate));
        fx->SetParams(p);
        fx->SetBypass(false);
    }
    ~Effect() { fx->Destroy(); }
};

Stereo Render(uint32_t rate, const SpatialAudioParams& p, const Stereo& in, uint32_t maxFrames = 1024)
{
    Effect e(maxFrames, rate, p);
    return Play(e.fx, maxFrames, in);
}

float Clip(float x)
{
    return std::min(1.0f, std::max(-1.0f, x));
}

TEST(SpatialAudioProcessorImpl, InitTakesStereoOnlyAndSetParamsBeforeInitIsKept)
{
    SpatialAudioProcessor* fx = SpatialAudioProcessorImpl::Create();
    fx->SetParams(Params(kLow, false));  // no engine yet: kept for Init
    uint32_t frames = 512;
    bool draining = false;
    std::vector<float> block(1024, 0.5f);
    fx->Process(block.data(), &draining, &frames);  // before Init: untouched
    EXPECT_EQ(block[0], 0.5f);
    EXPECT_FALSE(fx->Init(512, 1, 44100));
    EXPECT_FALSE(fx->Init(512, 6, 44100));
    EXPECT_FALSE(fx->Init(0, 2, 44100));
    EXPECT_FALSE(fx->Init(512, 2, 0));
    ASSERT_TRUE(fx->Init(512, 2, 44100));
    fx->SetBypass(false);
    fx->Process(block.data(), &draining, &frames);
    EXPECT_EQ(frames, 512u);
    EXPECT_EQ(block[0], 0.9f * 0.5f) << "the levels set before Init apply";
    fx->Destroy();
}

TEST(SpatialAudioProcessorImpl, SignalPathsKeepTheirPromisesAtBothRates)
{
    for (uint32_t rate : {44100u, 48000u}) {
        SCOPED_TRACE(rate);
        const Stereo noise = Noise(8192, 7);
        Stereo mono = noise;
        mono.right = mono.left;

        // L = R: no ambient signal, so side, rear and extra add nothing; with
        // centre and front off too, only 0.9 x remains.
        SpatialAudioParams p = Params(0.0f, false);
        const Stereo base = Render(rate, p, mono);
        for (float db : {kLow, 6.0f}) {
            p.SL = p.SR = p.RL = p.RR = db;
            EXPECT_EQ(Render(rate, p, mono), base) << "side and rear at " << db << " dB";
        }
        p.Center = p.FL = p.FR = kLow;
        const Stereo direct = Render(rate, p, mono);
        for (size_t i = 0; i < mono.size(); ++i)
            ASSERT_EQ(direct.left[i], Clip(0.9f * mono.left[i])) << "the extra pair is silent too, frame " << i;

        // All eight very low, enhance off: 0.9 x clipped, frame for frame.
        // The extra pair has no level of its own and plays the ambient
        // signal whatever the eight say, so the input is centred.
        Stereo loud = mono;
        for (float& x : loud.left)
            x *= 6.0f;
        loud.right = loud.left;
        const Stereo quiet = Render(rate, Params(kLow, false), loud);
        ASSERT_EQ(quiet.size(), loud.size());
        for (size_t i = 0; i < loud.size(); ++i) {
            ASSERT_EQ(quiet.left[i], Clip(0.9f * loud.left[i])) << i;
            ASSERT_EQ(quiet.right[i], Clip(0.9f * loud.right[i])) << i;
        }

        // LFE changes nothing, bit for bit.
        SpatialAudioParams q = Params(-3.0f, true);
        const Stereo withLfe = Render(rate, q, noise);
        q.LFE = 12.0f;
        EXPECT_EQ(Render(rate, q, noise), withLfe);

        // Left input silent: the front pair has nothing to play.
        Stereo rightOnly = noise;
        std::fill(rightOnly.left.begin(), rightOnly.left.end(), 0.0f);
        q = Params(0.0f, false);
        const Stereo front = Render(rate, q, rightOnly);
        q.FL = kLow;
        q.FR = 9.0f;
        EXPECT_EQ(Render(rate, q, rightOnly), front);
        // ...while with the left input they do.
        EXPECT_FALSE(Render(rate, q, noise) == Render(rate, Params(0.0f, false), noise));
    }
}

TEST(SpatialAudioProcessorImpl, EnhanceDelaysTheRightChannelByFiveMilliseconds)
{
    for (uint32_t rate : {44100u, 48000u}) {
        Stereo click{std::vector<float>(4096), std::vector<float>(4096)};
        click.left[1000] = click.right[1000] = 0.5f;
        auto first = [](const std::vector<float>& x) {
            return size_t(std::find_if(x.begin(), x.end(), [](float v) { return v != 0.0f; }) - x.begin());
        };
        const Stereo off = Render(rate, Params(kLow, false), click);
        EXPECT_EQ(first(off.left), 1000u);
        EXPECT_EQ(first(off.right), 1000u);
        const Stereo on = Render(rate, Params(kLow, true), click);
        EXPECT_EQ(first(on.left), 1000u);
        EXPECT_EQ(first(on.right), 1000u + (rate == 44100 ? 220u : 240u)) << rate;
        // The reverb's direct path passes the click at its level.
        EXPECT_NEAR(on.left[1000], 0.45f, 1e-6f);
    }
}

TEST(SpatialAudioProcessorImpl, ResetKeepsOnlyTheExtraPairsOverlap)
{
    SpatialAudioEngine* engine = SpatialAudioEngine::Create();
    ASSERT_TRUE(engine->Init(44100, 2, 512));
    engine->SetEnhance(false);
    std::vector<float> left(512), right(512);
    float* planes[2] = {left.data(), right.data()};
    auto block = [&](bool silent) {
        const Stereo n = Noise(512, 3);
        // In place: the planes point into left and right.
        std::copy(n.left.begin(), n.left.end(), left.begin());
        std::copy(n.right.begin(), n.right.end(), right.begin());
        if (silent) {
            std::fill(left.begin(), left.end(), 0.0f);
            std::fill(right.begin(), right.end(), 0.0f);
        }
        uint32_t frames = 512;
        engine->Process(planes, &frames);
        EXPECT_EQ(frames, 512u);
        double energy = 0.0;
        for (size_t i = 0; i < 512; ++i)
            energy += double(left[i]) * left[i] + double(right[i]) * right[i];
        return energy;
    };
    block(false);
    engine->Reset();
    EXPECT_GT(block(true), 1e-6) << "the extra pair's tail of the block before Reset";
    EXPECT_EQ(block(true), 0.0) << "and nothing after it";
    // Without the ambient signal the extra pair has no tail to keep.
    engine->SetCenter(kLow);
    const Stereo centred = Noise(512, 4);
    std::copy(centred.left.begin(), centred.left.end(), left.begin());
    std::copy(centred.left.begin(), centred.left.end(), right.begin());
    uint32_t frames = 512;
    engine->Process(planes, &frames);
    engine->Reset();
    EXPECT_EQ(block(true), 0.0);
    engine->Destroy();
}

TEST(SpatialAudioProcessorImpl, ResamplersOnlyAwayFromTheEngineRates)
{
    for (uint32_t rate : {32000u, 44100u, 48000u, 96000u}) {
        Effect e(512, rate, Params(0.0f, true));
        EXPECT_EQ(e.fx->Bridge().Resampling(), rate != 44100 && rate != 48000) << rate;
        EXPECT_EQ(e.fx->Engine()->OutputDelayFrames(), rate == 44100 ? 220u : 240u) << rate;
        const Stereo out = Play(e.fx, 512, Noise(20000, 5));
        EXPECT_NEAR(double(out.size()), 20000.0, 2.0) << rate;
    }
}

TEST(SpatialAudioProcessorImpl, NoLatencyAtTheEngineRatesAndAnyBlockSizeWorks)
{
    Stereo in = Noise(3 * 4096, 11);
    const Stereo centred{in.left, in.left};
    for (uint32_t rate : {44100u, 48000u}) {
        for (uint32_t maxFrames : {512u, 1024u, 2048u}) {
            std::vector<uint32_t> counts;
            Effect e(maxFrames, rate, Params(kLow, false));
            const Stereo out = Play(e.fx, maxFrames, centred, &counts);
            for (size_t b = 0; b < in.size() / maxFrames; ++b)
                ASSERT_EQ(counts[b], maxFrames) << "block " << b;
            for (size_t i = 0; i < in.size(); ++i)
                ASSERT_EQ(out.left[i], Clip(0.9f * in.left[i])) << "frame " << i;
        }
        // Small blocks: the engine works in its own planes; the same audio.
        const Stereo reference = Render(rate, Params(2.0f, true), in, 512);
        for (uint32_t maxFrames : {64u, 128u, 1u + 1u * 300u}) {
            const Stereo out = Render(rate, Params(2.0f, true), in, maxFrames);
            EXPECT_EQ(out, reference) << maxFrames;
        }
    }
}

TEST(SpatialAudioProcessorImpl, HostileLevelsNeverReachTheOutput)
{
    const Stereo in = Noise(8192, 13, 0.5f);
    for (float bad : {kNaN, kInf, -kInf, std::numeric_limits<float>::max()}) {
        Effect e(1024, 44100, Params(0.0f, true));
        e.fx->SetParams(Params(bad, true));
        const Stereo out = Play(e.fx, 1024, in);
        for (size_t i = 0; i < out.size(); ++i) {
            // The reverberation comes after the clip and may add to it.
            ASSERT_TRUE(std::isfinite(out.left[i]) && std::fabs(out.left[i]) <= 4.0f) << bad << " at " << i;
            ASSERT_TRUE(std::isfinite(out.right[i]) && std::fabs(out.right[i]) <= 4.0f) << bad << " at " << i;
        }
    }
    // A NaN keeps the level before it.
    Effect a(1024, 44100, Params(-6.0f, true));
    a.fx->SetParams(Params(kNaN, true));
    EXPECT_EQ(Play(a.fx, 1024, in), Render(44100, Params(-6.0f, true), in));
}

TEST(SpatialAudioProcessorImpl, SteadyStateProcessAllocatesNothing)
{
    for (uint32_t rate : {44100u, 32000u}) {
        Effect e(256, rate, Params(0.0f, true));
        const Stereo in = Noise(256, 17);
        std::vector<float> block(512);
        for (int i = 0; i < 400; ++i) {
            std::copy(in.left.begin(), in.left.end(), block.begin());
            std::copy(in.right.begin(), in.right.end(), block.begin() + 256);
            testsupport::AllocationCounter counter;
            uint32_t count = 256;
            bool draining = false;
            e.fx->Process(block.data(), &draining, &count);
            if (i >= 50) {
                ASSERT_EQ(counter.Count(), 0u) << rate << " block " << i;
            }
        }
    }
}

}  // namespace
