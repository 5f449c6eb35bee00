// The two-input mixes: ramp shape against a direct evaluation, the fast path's
// exact products, and the contract checks on frame counts and aliasing.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "sdk/dsp/delays/Mix2Interp.h"
#include "support/RecordingAssertHook.h"

namespace {

// Both forms: gains ramp linearly and stop one step short of the end; equal
// start and end gains take the fast path, which gives the exact products and
// wants a multiple of 4 frames (in place) or of 32 (three buffers).
TEST(Mix2Interp, RampsFollowLinearGainsAndTheFastPathIsExact)
{
    testsupport::RecordingAssertHook asserts;
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    struct Gains { float a0, a1, b0, b1; };
    const Gains cases[] = {{1, 0, 0, 1}, {0, 1, 1, 0}, {1, 1, 0, 0.5f}, {0.3f, 0.7f, 2, 2}, {0.5f, 0.5f, -2, -2}};
    for (bool inPlace : {true, false}) {
        for (uint32_t frames : {0u, 1u, 6u, 7u, 32u, 40u, 64u, 1000u}) {
            for (const Gains& g : cases) {
                SCOPED_TRACE(testing::Message() << "in place " << inPlace << ", " << frames << " frames, gains "
                                                << g.a0 << ">" << g.a1 << " " << g.b0 << ">" << g.b1);
                std::vector<float> a(frames + 1), b(frames + 1);
                for (uint32_t i = 0; i <= frames; ++i)
                    a[i] = dist(rng), b[i] = dist(rng);
                std::vector<float> out = inPlace ? a : std::vector<float>(frames + 1, 9.0f);
                asserts.Clear();
                if (inPlace)
                    OV::Mix2Interp(out.data(), b.data(), g.a0, g.a1, g.b0, g.b1, frames);
                else
                    OV::Mix2Interp(a.data(), b.data(), out.data(), g.a0, g.a1, g.b0, g.b1, frames);
                const bool fixed = g.a0 == g.a1 && g.b0 == g.b1;
                for (uint32_t i = 0; i < frames; ++i) {
                    const double t = double(i) / frames;
                    if (fixed)
                        ASSERT_EQ(out[i], g.a0 * a[i] + g.b0 * b[i]) << "sample " << i;
                    else
                        ASSERT_NEAR(out[i], (g.a0 + (g.a1 - g.a0) * t) * a[i] + (g.b0 + (g.b1 - g.b0) * t) * b[i], 3e-5)
                            << "sample " << i;
                }
                EXPECT_EQ(out[frames], inPlace ? a[frames] : 9.0f) << "wrote past the frame count";
                EXPECT_EQ(asserts.Count(), fixed && frames % (inPlace ? 4 : 32) != 0 ? 1u : 0u) << asserts.Describe();
            }
        }
    }
    std::vector<float> x(32, 0.5f);
    OV::Mix2Interp(x.data(), x.data(), x.data(), 1.0f, 1.0f, 1.0f, 1.0f, 32);
    EXPECT_TRUE(asserts.Saw("!((out_pfOutput == in_pfInput1) || (out_pfOutput == in_pfInput2))"));
}

}  // namespace
