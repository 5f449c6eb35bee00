// Rotate 3D as the chain sees it: what Init refuses, what SetParams takes and
// when it arrives, the warm-up and flush frame counts, stream
// lengths at 44.1 kHz and through the resamplers, the same audio at every
// block size (including those below the engine's 256 frames, in buffers of
// exactly their size for ASan), the exact opposite outputs for L = -R, Reset
// as a new effect, and a revolution of velocity seconds measured from the
// sound at 44.1 and 48 kHz.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "effects/Rotate3DProcessorImpl.h"

namespace {

struct Stereo {
    std::vector<float> left, right;
    size_t size() const { return left.size(); }
};

Stereo Noise(size_t frames, uint32_t seed, bool opposite = false)
{
    std::mt19937 rng(seed);
    std::normal_distribution<float> noise(0.0f, 0.2f);
    Stereo s{std::vector<float>(frames), std::vector<float>(frames)};
    for (size_t i = 0; i < frames; ++i) {
        s.left[i] = noise(rng) + 0.3f * float(std::sin(0.02 * double(i)));
        s.right[i] = opposite ? -s.left[i] : noise(rng);
    }
    return s;
}

// Blocks of maxFrames (the last shorter, with the end of the stream), then
// drain passes of 0 frames until the effect lets the stream end. The block
// is exactly two planes of maxFrames, so ASan sees any write past it.
// bypassAt(block) gives the switch for each block.
template <class Bypass>
Stereo Play(Rotate3DProcessor* fx, uint32_t maxFrames, const Stereo& in, Bypass bypassAt)
{
    Stereo out;
    std::vector<float> block(2 * size_t(maxFrames));
    bool draining = false;
    auto take = [&](uint32_t n) {
        EXPECT_LE(n, maxFrames);
        out.left.insert(out.left.end(), block.begin(), block.begin() + n);
        out.right.insert(out.right.end(), block.begin() + maxFrames, block.begin() + maxFrames + n);
    };
    size_t b = 0;
    for (size_t at = 0; at < in.size(); ++b) {
        const uint32_t n = uint32_t(std::min<size_t>(maxFrames, in.size() - at));
        fx->SetBypass(bypassAt(b));
        std::copy(in.left.begin() + at, in.left.begin() + at + n, block.begin());
        std::copy(in.right.begin() + at, in.right.begin() + at + n, block.begin() + maxFrames);
        at += n;
        draining = at == in.size();
        uint32_t count = n;
        fx->Process(block.data(), &draining, &count);
        take(count);
    }
    for (int guard = 0; !draining && guard < 1000000; ++guard) {
        uint32_t count = 0;
        draining = true;
        fx->Process(block.data(), &draining, &count);
        take(count);
    }
    EXPECT_TRUE(draining);
    return out;
}

Stereo Play(Rotate3DProcessor* fx, uint32_t maxFrames, const Stereo& in)
{
    return Play(fx, maxFrames, in, [](size_t) { return false; });
}

struct Effect {
    Rotate3DProcessorImpl* fx = static_cast<Rotate3DProcessorImpl*>(Rotate3DProcessorImpl::Create());
    Effect(uint32_t maxFrames, uint32_t rate, float velocity = 40.0f)
    {
        EXPECT_TRUE(fx->Init(maxFrames, 2, rate));
        fx->SetParams(velocity);
        fx->SetBypass(false);
    }
    ~Effect() { fx->Destroy(); }
};

double LengthTolerance(uint32_t rate)
{
    return rate == 44100 ? 0.0 : 1.0 + 0.5 * std::max(1.0, double(rate) / 44100.0);
}

TEST(Rotate3DProcessorImpl, InitRefusesZerosOtherChannelCountsAndRatesSoxrCannotServe)
{
    Rotate3DProcessor* fx = Rotate3DProcessorImpl::Create();
    ASSERT_NE(fx, nullptr);
    EXPECT_FALSE(fx->Init(0, 2, 44100));
    EXPECT_FALSE(fx->Init(256, 0, 44100));
    EXPECT_FALSE(fx->Init(256, 2, 0));
    EXPECT_FALSE(fx->Init(256, 1, 44100));
    EXPECT_FALSE(fx->Init(256, 6, 44100));
    EXPECT_FALSE(fx->Init(256, 2, 100));  // beyond soxr's ratio of 256
    // A refused effect leaves blocks alone.
    std::vector<float> block(512, 0.5f);
    uint32_t count = 256;
    bool draining = false;
    fx->SetBypass(false);
    fx->Process(block.data(), &draining, &count);
    EXPECT_EQ(count, 256u);
    EXPECT_EQ(block[0], 0.5f);
    EXPECT_TRUE(fx->Init(1, 2, 44100));
    EXPECT_TRUE(fx->Init(2048, 2, 8000));
    EXPECT_TRUE(fx->Init(2048, 2, 192000));
    fx->Destroy();
}

// Values from 1 up are taken, +inf included (the rotation stops); below 1,
// NaN and -inf are ignored. A value reaches the engine at the next active
// Process, not in bypass, and survives Init.
TEST(Rotate3DProcessorImpl, SetParamsTakesOneAndUpAtTheNextActiveBlock)
{
    Effect e(256, 44100);
    const Rotate3DEngine* engine = e.fx->Engine();
    std::vector<float> block(512, 0.1f);
    auto run = [&] {
        uint32_t count = 256;
        bool draining = false;
        e.fx->Process(block.data(), &draining, &count);
    };
    run();
    EXPECT_FLOAT_EQ(engine->Velocity(), 40.0f);
    for (float bad : {std::numeric_limits<float>::quiet_NaN(), 0.999f, 0.0f, -3.0f,
                      -std::numeric_limits<float>::infinity()}) {
        e.fx->SetParams(bad);
        run();
        EXPECT_FLOAT_EQ(engine->Velocity(), 40.0f) << bad;
    }
    e.fx->SetBypass(true);
    e.fx->SetParams(1.0f);
    run();
    EXPECT_FLOAT_EQ(engine->Velocity(), 40.0f);  // not in bypass
    e.fx->SetBypass(false);
    run();
    EXPECT_FLOAT_EQ(engine->Velocity(), 1.0f);
    EXPECT_NEAR(engine->AngleStep(), 2.0898f, 1e-4f);
    e.fx->SetParams(std::numeric_limits<float>::infinity());
    run();
    EXPECT_EQ(engine->AngleStep(), 0.0f);
    e.fx->SetParams(7.0f);
    ASSERT_TRUE(e.fx->Init(512, 2, 48000));
    EXPECT_FLOAT_EQ(e.fx->Engine()->Velocity(), 7.0f);
}

// The counts: the first engine block is dropped and whole blocks of
// maxFrames come out until the stream ends.
TEST(Rotate3DProcessorImpl, WarmUpAndWholeBlockCounts)
{
    auto first = [](uint32_t maxFrames, uint32_t frames) {
        Effect e(maxFrames, 44100);
        std::vector<float> block(2 * size_t(maxFrames), 0.2f);
        bool draining = false;
        e.fx->Process(block.data(), &draining, &frames);
        return frames;
    };
    // 2048 frames: eight blocks, the first dropped, 1792 short of a whole block.
    EXPECT_EQ(first(2048, 2048), 0u);
    EXPECT_EQ(first(256, 256), 0u);
    EXPECT_EQ(first(2048, 255), 0u);
    EXPECT_EQ(first(64, 64), 0u);

    Effect e(2048, 44100);
    std::vector<float> block(4096, 0.2f);
    bool draining = false;
    uint32_t count = 2048;
    e.fx->Process(block.data(), &draining, &count);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(e.fx->Bridge().QueuedOutput(), 1792);
    count = 2048;
    e.fx->Process(block.data(), &draining, &count);
    EXPECT_EQ(count, 2048u);
    EXPECT_EQ(e.fx->Bridge().QueuedOutput(), 1792);
    // Entering bypass: the silent block's 256 frames of tail join the queue.
    e.fx->SetBypass(true);
    count = 2048;
    e.fx->Process(block.data(), &draining, &count);
    EXPECT_EQ(count, 2048u);
    EXPECT_EQ(e.fx->Bridge().QueuedOutput(), 1792 + 256);
}

// At 44.1 kHz a stream of 256 frames or more keeps its length exactly: the
// dropped warm-up block and the flush's silent block make up for each other,
// also across any number of bypass changes. A shorter stream, which never
// fills the engine's first block, comes out whole and untouched: the
// flush's silent block is then the warm-up and gives nothing, and the
// input follows unprocessed.
TEST(Rotate3DProcessorImpl, StreamsKeepTheirLengthAt44100)
{
    for (uint32_t maxFrames : {1u, 64u, 128u, 255u, 256u, 1000u, 2048u}) {
        for (size_t frames : {256, 257, 511, 4096, 10007}) {
            Effect e(maxFrames, 44100);
            EXPECT_EQ(Play(e.fx, maxFrames, Noise(frames, 1)).size(), frames) << maxFrames << ", " << frames;
        }
        for (size_t frames : {1, 100, 255}) {
            Effect e(maxFrames, 44100);
            const Stereo in = Noise(frames, 1);
            const Stereo out = Play(e.fx, maxFrames, in);
            EXPECT_EQ(out.left, in.left) << maxFrames << ", " << frames;
            EXPECT_EQ(out.right, in.right) << maxFrames << ", " << frames;
        }
        std::mt19937 rng(maxFrames);
        Effect e(maxFrames, 44100);
        const size_t frames = 30000;
        EXPECT_EQ(Play(e.fx, maxFrames, Noise(frames, 2), [&](size_t) { return rng() % 7 == 0; }).size(), frames)
            << maxFrames << " with bypass changes";
    }
}

// Through the two resamplers the length holds within their rounding.
TEST(Rotate3DProcessorImpl, StreamsAtOtherRatesKeepTheirLengthWithinTheResamplersRounding)
{
    for (uint32_t rate : {32000u, 48000u, 96000u}) {
        for (uint32_t maxFrames : {64u, 256u, 2048u}) {
            for (size_t frames : {size_t(1000), size_t(rate) + 77}) {
                SCOPED_TRACE(testing::Message() << rate << " Hz, " << maxFrames << " frames, " << frames);
                Effect e(maxFrames, rate);
                EXPECT_NEAR(double(Play(e.fx, maxFrames, Noise(frames, 3)).size()), double(frames),
                            LengthTolerance(rate));
            }
        }
    }
}

// The chain's block size changes when audio comes out, not what: the output
// streams are the same, to the bit, at 64, 128, 256 and 2048 frames (and at
// 1 and 100, inside buffers of exactly that size), at 44.1 kHz and through
// the resamplers, which soxr sees called alike whatever the block size.
TEST(Rotate3DProcessorImpl, EveryBlockSizeGivesTheSameAudio)
{
    for (uint32_t rate : {44100u, 48000u}) {
        const Stereo in = Noise(40000, 4);
        Effect reference(2048, rate, 3.0f);
        const Stereo expected = Play(reference.fx, 2048, in);
        for (uint32_t maxFrames : {1u, 64u, 100u, 128u, 256u}) {
            SCOPED_TRACE(testing::Message() << rate << " Hz, " << maxFrames << " frames");
            Effect e(maxFrames, rate, 3.0f);
            const Stereo out = Play(e.fx, maxFrames, in);
            ASSERT_EQ(out.size(), expected.size());
            double worst = 0.0;
            for (size_t i = 0; i < out.size(); ++i)
                worst = std::max({worst, double(std::fabs(out.left[i] - expected.left[i])),
                                  double(std::fabs(out.right[i] - expected.right[i]))});
            EXPECT_EQ(worst, 0.0);
        }
    }
}

// L = -R in, R = -L out, exactly, at every angle, through the bridge and
// (the resamplers treat both channels alike) through the resamplers.
TEST(Rotate3DProcessorImpl, OppositeChannelsComeOutExactlyOpposite)
{
    for (uint32_t rate : {44100u, 48000u}) {
        Effect e(512, rate, 1.0f);
        const Stereo out = Play(e.fx, 512, Noise(100000, 5, true));
        double energy = 0.0;
        for (size_t i = 0; i < out.size(); ++i) {
            ASSERT_EQ(out.right[i], -out.left[i]) << rate << " Hz, frame " << i;
            energy += double(out.left[i]) * out.left[i];
        }
        EXPECT_GT(energy, 100.0);
    }
}

// After Reset the effect sounds as a new one with the same settings: to the
// bit, resamplers included; the angle starts again at 0.
TEST(Rotate3DProcessorImpl, ResetGivesWhatANewEffectGives)
{
    for (uint32_t rate : {44100u, 48000u, 32000u}) {
        SCOPED_TRACE(rate);
        Effect used(1024, rate, 2.0f);
        Play(used.fx, 1024, Noise(30011, 6));
        // Part of a second stream, then the seek.
        std::vector<float> block(2048, 0.3f);
        for (int b = 0; b < 5; ++b) {
            uint32_t count = 1024;
            bool draining = false;
            used.fx->Process(block.data(), &draining, &count);
        }
        EXPECT_GT(used.fx->Engine()->Angle(), 0.0f);
        used.fx->Reset();
        EXPECT_EQ(used.fx->Engine()->Angle(), 0.0f);
        Effect fresh(1024, rate, 2.0f);
        const Stereo in = Noise(20000, 7);
        const Stereo a = Play(used.fx, 1024, in), b = Play(fresh.fx, 1024, in);
        ASSERT_EQ(a.size(), b.size());
        for (size_t i = 0; i < a.size(); ++i) {
            ASSERT_EQ(a.left[i], b.left[i]) << "frame " << i;
            ASSERT_EQ(a.right[i], b.right[i]) << "frame " << i;
        }
    }
}

// The level difference between the ears, measured from the sound of a
// centred signal (L = R), passes from left-louder to right-louder when the
// source crosses the front (0 degrees) and back at the rear (180): the time
// between two crossings of the front is one revolution, velocity seconds, at
// 44.1 kHz and, the engine counting seconds at 44.1 kHz, at 48 kHz too.
TEST(Rotate3DProcessorImpl, ARevolutionTakesVelocitySecondsMeasuredFromTheSound)
{
    for (uint32_t rate : {44100u, 48000u}) {
        SCOPED_TRACE(rate);
        const float velocity = 1.5f;
        const size_t frames = size_t(rate) * 5;
        Stereo in = Noise(frames, 8);
        in.right = in.left;
        Effect e(2048, rate, velocity);
        const Stereo out = Play(e.fx, 2048, in);
        // Level difference over windows of 5 ms.
        const size_t window = rate / 200;
        std::vector<double> ild;
        for (size_t at = 0; at + window <= out.size(); at += window) {
            double l = 1e-12, r = 1e-12;
            for (size_t i = at; i < at + window; ++i) {
                l += double(out.left[i]) * out.left[i];
                r += double(out.right[i]) * out.right[i];
            }
            ild.push_back(10.0 * std::log10(r / l));
        }
        // Crossings from left-louder to right-louder, with hysteresis: the
        // front (the rear crosses the other way).
        std::vector<double> crossings;
        bool armed = false;
        for (size_t w = 1; w < ild.size(); ++w) {
            if (ild[w] < -3.0)
                armed = true;
            if (armed && ild[w - 1] < 0.0 && ild[w] >= 0.0) {
                const double t = (double(w - 1) + ild[w - 1] / (ild[w - 1] - ild[w]) + 0.5) * double(window) / rate;
                crossings.push_back(t);
                armed = false;
            }
        }
        ASSERT_GE(crossings.size(), 2u);
        for (size_t c = 1; c < crossings.size(); ++c)
            EXPECT_NEAR(crossings[c] - crossings[c - 1], velocity, 0.03) << "crossing " << c;
        // While the source is on the right, the right ear is louder: a
        // quarter turn after a front crossing.
        const size_t quarter = size_t((crossings[0] + velocity / 4.0) * rate / double(window));
        ASSERT_LT(quarter, ild.size());
        EXPECT_GT(ild[quarter], 3.0);
    }
}

}  // namespace
