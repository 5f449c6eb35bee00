// The two-input mixes: ramp shape against a direct evaluation, the fast path's
// exact products, and the contract checks on frame counts and aliasing.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "sdk/dsp/Mix2Interp.h"
#include "support/RecordingAssertHook.h"

namespace {

std::vector<float> Noise(uint32_t n, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (float& x : v)
        x = dist(rng);
    return v;
}

struct Gains {
    float io0, io1, in0, in1;
};

TEST(Mix2Interp, InPlaceRampFollowsLinearGainsThatStopOneStepShort)
{
    testsupport::RecordingAssertHook asserts;
    const Gains cases[] = {{1, 0, 0, 1}, {0, 1, 1, 0}, {1, 1, 0, 0.5f}, {0.3f, 0.7f, 2, 2}};
    for (uint32_t frames : {1u, 7u, 64u, 1000u}) {
        for (const Gains& g : cases) {
            std::vector<float> io = Noise(frames + 1, 1), in = Noise(frames, 2);
            const std::vector<float> io0 = io;
            OV::Mix2Interp(io.data(), in.data(), g.io0, g.io1, g.in0, g.in1, frames);
            for (uint32_t i = 0; i < frames; ++i) {
                const double t = double(i) / frames;
                const double a = g.io0 + (double(g.io1) - g.io0) * t, b = g.in0 + (double(g.in1) - g.in0) * t;
                ASSERT_NEAR(io[i], a * io0[i] + b * in[i], 3e-5) << frames << " frames, sample " << i;
            }
            EXPECT_EQ(io[frames], io0[frames]) << "wrote past the frame count";
        }
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();  // the ramp path takes any count
}

TEST(Mix2Interp, InPlaceFastPathIsExactAndChecksMultiplesOfFour)
{
    testsupport::RecordingAssertHook asserts;
    for (uint32_t frames : {0u, 4u, 6u, 64u}) {
        std::vector<float> io = Noise(frames + 1, 3), in = Noise(frames, 4);
        const std::vector<float> io0 = io;
        asserts.Clear();
        OV::Mix2Interp(io.data(), in.data(), 0.5f, 0.5f, -2.0f, -2.0f, frames);
        for (uint32_t i = 0; i < frames; ++i)
            ASSERT_EQ(io[i], 0.5f * io0[i] + -2.0f * in[i]);
        EXPECT_EQ(io[frames], io0[frames]);
        EXPECT_EQ(asserts.Count(), frames % 4 == 0 ? 0u : 1u) << frames;
        if (frames % 4 != 0) {
            EXPECT_TRUE(asserts.Saw("(in_uNumFrames % 4) == 0"));
        }
    }
}

TEST(Mix2Interp, ThreeBufferFormRampsAllInputsWhenOneGainMoves)
{
    testsupport::RecordingAssertHook asserts;
    const uint32_t frames = 48;  // no multiple of 32: fine on the ramp path
    const std::vector<float> a = Noise(frames, 5), b = Noise(frames, 6);
    std::vector<float> out(frames + 1, 9.0f);
    OV::Mix2Interp(a.data(), b.data(), out.data(), 1.0f, 1.0f, 0.0f, 1.0f, frames);
    for (uint32_t i = 0; i < frames; ++i)
        ASSERT_NEAR(out[i], a[i] + double(i) / frames * b[i], 1e-6) << i;
    EXPECT_NE(out[frames - 1], a[frames - 1] + b[frames - 1]);  // the end gain is not reached
    EXPECT_EQ(out[frames], 9.0f);
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(Mix2Interp, ThreeBufferFastPathWantsMultiplesOf32AndNoAliasing)
{
    testsupport::RecordingAssertHook asserts;
    for (uint32_t frames : {32u, 40u, 256u}) {
        const std::vector<float> a = Noise(frames, 7), b = Noise(frames, 8);
        std::vector<float> out(frames + 1, 9.0f);
        asserts.Clear();
        OV::Mix2Interp(a.data(), b.data(), out.data(), 0.25f, 0.25f, 3.0f, 3.0f, frames);
        for (uint32_t i = 0; i < frames; ++i)
            ASSERT_EQ(out[i], 0.25f * a[i] + 3.0f * b[i]);
        EXPECT_EQ(out[frames], 9.0f);
        EXPECT_EQ(asserts.Count(), frames % 32 == 0 ? 0u : 1u) << frames;
    }
    std::vector<float> x = Noise(32, 9);
    const std::vector<float> y = Noise(32, 10);
    asserts.Clear();
    OV::Mix2Interp(x.data(), y.data(), x.data(), 1.0f, 1.0f, 1.0f, 1.0f, 32);
    EXPECT_TRUE(asserts.Saw("!((out_pfOutput == in_pfInput1) || (out_pfOutput == in_pfInput2))"));
}

}  // namespace
