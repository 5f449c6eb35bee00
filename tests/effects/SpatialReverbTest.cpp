// SpatialReverb: its delay lengths, the first echo, its decay measured from
// an impulse response, channels kept apart, Reset as new, room sizes that
// must not reach a logarithm, and the two-channel vector loop against the
// one-channel form.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "effects/SpatialReverb.h"

namespace {

TEST(SpatialReverb, DelayLengthsAreThePrimePowersOfTheRooms)
{
    for (uint32_t rate : {44100u, 48000u}) {
        SpatialReverb r;
        ASSERT_TRUE(r.Init(rate, 2));
        ASSERT_TRUE(r.Configure(5.0f, 25.0f, 0.35f));
        const uint32_t expected[4] = {512, 729, 3125, 2401};
        for (uint32_t i = 0; i < 4; ++i)
            EXPECT_EQ(r.DelayLength(i), expected[i]) << rate;
        // Sizes of 0, NaN or below keep the lengths.
        const float nan = std::numeric_limits<float>::quiet_NaN();
        for (float bad : {0.0f, -3.0f, nan})
            ASSERT_TRUE(r.Configure(bad, 25.0f, 0.35f));
        EXPECT_EQ(r.DelayLength(0), 512u);
    }
    SpatialReverb none;
    EXPECT_FALSE(none.Init(0, 2));
}

TEST(SpatialReverb, ImpulseResponseEchoesAt512AndDecays)
{
    const uint32_t rate = 44100;
    SpatialReverb r;
    ASSERT_TRUE(r.Init(rate, 2));
    ASSERT_TRUE(r.Configure(5.0f, 25.0f, 0.35f));
    std::vector<float> left(4 * rate), right(4 * rate);
    left[0] = 1.0f;
    float* planes[2] = {left.data(), right.data()};
    r.Process(planes, uint32_t(left.size()));
    EXPECT_FLOAT_EQ(left[0], 1.0f) << "0.35 x + 0.65 x before any echo";
    for (uint32_t i = 1; i < 512; ++i)
        ASSERT_EQ(left[i], 0.0f) << i;
    EXPECT_NE(left[512], 0.0f) << "the first echo, from the shortest line";
    for (float x : right)
        ASSERT_EQ(x, 0.0f);
    // Energy per 100 ms window, fitted in dB against time from 0.2 to 2 s.
    const size_t window = rate / 10;
    double sx = 0, sy = 0, sxx = 0, sxy = 0;
    int count = 0;
    for (size_t w = 2; w < 20; ++w) {
        double e = 0.0;
        for (size_t i = w * window; i < (w + 1) * window; ++i)
            e += double(left[i]) * left[i];
        const double t = double(w) / 10.0, db = 10.0 * std::log10(e);
        sx += t, sy += db, sxx += t * t, sxy += t * db, ++count;
    }
    const double slope = (count * sxy - sx * sy) / (count * sxx - sx * sx);  // dB/s
    // Each pass through the network loses at least 20 log10(1/0.69) = 3.2 dB,
    // a pass taking between 512 and 3125 frames: 45 to 280 dB/s.
    EXPECT_LT(slope, -45.0);
    EXPECT_GT(slope, -280.0);
}

TEST(SpatialReverb, ResetGivesWhatANewReverbGives)
{
    auto run = [](SpatialReverb& r) {
        std::vector<float> a(6000), b(6000);
        for (size_t i = 0; i < a.size(); ++i)
            a[i] = b[i] = float(std::sin(0.01 * double(i)));
        float* planes[2] = {a.data(), b.data()};
        r.Process(planes, uint32_t(a.size()));
        EXPECT_EQ(a, b) << "identical channels stay identical";
        return a;
    };
    SpatialReverb used, fresh;
    ASSERT_TRUE(used.Init(44100, 2) && fresh.Init(44100, 2));
    run(used);
    used.Reset();
    EXPECT_EQ(run(used), run(fresh));
}

TEST(SpatialReverb, StereoGivesTwoMonoReverbsToTheBit)
{
    // The stereo reverb runs both channels in one vector loop, a mono one
    // the per-channel form; with one channel missing, the stereo reverb
    // falls back to the per-channel form until its lines stand apart.
    std::mt19937 rng(3);
    std::normal_distribution<float> noise(0.0f, 0.5f);
    std::vector<float> left(20000), right(20000);
    for (size_t i = 0; i < left.size(); ++i)
        left[i] = noise(rng), right[i] = noise(rng);
    SpatialReverb stereo, monoLeft, monoRight;
    ASSERT_TRUE(stereo.Init(44100, 2) && monoLeft.Init(44100, 1) && monoRight.Init(44100, 1));
    std::vector<float> s0 = left, s1 = right, m0 = left, m1 = right;
    uint32_t at = 0;
    for (uint32_t frames : {1u, 511u, 2048u, 7u, 4000u, 3u, 9000u}) {
        float* pair[2] = {s0.data() + at, s1.data() + at};
        float* l[1] = {m0.data() + at};
        float* r[1] = {m1.data() + at};
        if (frames == 3u)
            pair[1] = nullptr, r[0] = nullptr;
        stereo.Process(pair, frames);
        monoLeft.Process(l, frames);
        if (r[0])
            monoRight.Process(r, frames);
        at += frames;
    }
    ASSERT_EQ(at, 15570u);
    EXPECT_EQ(s0, m0);
    EXPECT_EQ(s1, m1);
    EXPECT_NE(s0, left);
}

}  // namespace
