// The block filter against the one-sample recursion, and its state handling.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "sdk/dsp/OvBiquad.h"

namespace {

// A stable filter with random zeros and poles inside radius 0.98.
void RandomCoefs(std::mt19937& rng, OvBiquadCoefs& filter)
{
    std::uniform_real_distribution<float> radius(0.0f, 0.98f), angle(0.0f, 3.14159f), b(-2.0f, 2.0f);
    const float r = radius(rng), theta = angle(rng);
    filter.SetCoefs(b(rng), b(rng), b(rng), -2.0f * r * std::cos(theta), r * r);
}

// Reference: the textbook direct form I, in double.
std::vector<double> Reference(const OvBiquadCoefs& f, const std::vector<float>& in, OvBiquadState s)
{
    std::vector<double> out(in.size());
    double x1 = s.x1, x2 = s.x2, y1 = s.y1, y2 = s.y2;
    for (size_t i = 0; i < in.size(); ++i) {
        const double y = double(f.B0()) * in[i] + double(f.B1()) * x1 + double(f.B2()) * x2 -
                         double(f.A1()) * y1 - double(f.A2()) * y2;
        x2 = x1;
        x1 = in[i];
        y2 = y1;
        y1 = y;
        out[i] = y;
    }
    return out;
}

TEST(OvBiquad, BlockFormMatchesRecursionForAnyCoefsAlignmentAndLength)
{
    std::mt19937 rng(1234);
    std::uniform_real_distribution<float> sample(-1.0f, 1.0f);
    alignas(16) float buffer[600];
    for (int trial = 0; trial < 200; ++trial) {
        OvBiquad filter;
        RandomCoefs(rng, filter);
        const uint32_t offset = uint32_t(trial % 4);
        const uint32_t frames = uint32_t(rng() % 513);
        // A non-zero starting state, reached by running some signal first.
        std::vector<float> warm(7);
        for (float& v : warm)
            v = sample(rng);
        filter.ProcessSamples(warm.data(), uint32_t(warm.size()));
        const OvBiquadState start = filter.State();

        std::vector<float> in(frames);
        for (float& v : in)
            v = sample(rng);
        float* io = buffer + offset;
        std::copy(in.begin(), in.end(), io);
        filter.ProcessSamples(io, frames);

        OvBiquadCoefs scalarOnly = filter;
        OvBiquadState scalarState = start;
        std::vector<float> scalar = in;
        scalarOnly.RunScalar(scalar.data(), frames, scalarState);

        const std::vector<double> ref = Reference(filter, in, start);
        double peak = 1.0;
        for (double v : ref)
            peak = std::max(peak, std::abs(v));
        for (uint32_t i = 0; i < frames; ++i) {
            ASSERT_NEAR(io[i], scalar[i], 2e-5 * peak) << "trial " << trial << " sample " << i;
            ASSERT_NEAR(io[i], ref[i], 2e-5 * peak) << "trial " << trial << " sample " << i;
        }
        // The state carried out of the block is that of the recursion.
        EXPECT_NEAR(filter.State().y1, scalarState.y1, 2e-5 * peak);
        EXPECT_NEAR(filter.State().y2, scalarState.y2, 2e-5 * peak);
        EXPECT_EQ(filter.State().x1, scalarState.x1);
        EXPECT_EQ(filter.State().x2, scalarState.x2);
    }
}

TEST(OvBiquad, SplittingABlockAnywhereGivesTheSameOutput)
{
    std::mt19937 rng(99);
    std::uniform_real_distribution<float> sample(-1.0f, 1.0f);
    OvBiquad whole, pieces, single;
    RandomCoefs(rng, whole);
    pieces = whole;
    single = whole;
    alignas(16) float a[1000], b[1000], c[1000];
    for (int i = 0; i < 1000; ++i)
        a[i] = b[i] = c[i] = sample(rng);
    whole.ProcessSamples(a, 1000);
    for (uint32_t at = 0, n = 1; at < 1000; at += n, n = n % 13 + 3)
        pieces.ProcessSamples(b + at, std::min<uint32_t>(n, 1000 - at));
    for (uint32_t i = 0; i < 1000; ++i)
        single.ProcessSamples(c + i, 1);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_NEAR(a[i], b[i], 1e-4f) << i;
        ASSERT_NEAR(a[i], c[i], 1e-4f) << i;
    }
}

TEST(OvBiquad, NewFilterPassesSignalAndResetForgetsState)
{
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> sample(-1.0f, 1.0f);
    alignas(16) float io[67], copy[67];
    for (int i = 0; i < 67; ++i)
        io[i] = copy[i] = sample(rng);
    OvBiquad filter;
    filter.ProcessSamples(io, 67);
    for (int i = 0; i < 67; ++i)
        ASSERT_EQ(io[i], copy[i]);

    RandomCoefs(rng, filter);
    OvBiquad fresh;
    fresh.SetCoefs(filter.B0(), filter.B1(), filter.B2(), filter.A1(), filter.A2());
    filter.ProcessSamples(io, 67);
    filter.ResetState();
    alignas(16) float again[67], first[67];
    for (int i = 0; i < 67; ++i)
        again[i] = first[i] = copy[i];
    filter.ProcessSamples(again, 67);
    fresh.ProcessSamples(first, 67);
    for (int i = 0; i < 67; ++i)
        ASSERT_EQ(again[i], first[i]);
}

}  // namespace
