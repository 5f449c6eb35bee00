// The block filter against the textbook recursion, whatever the coefficients,
// alignment, length and way of cutting the signal into blocks.
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

// Direct form I in double, from a given state.
std::vector<double> Reference(const OvBiquadCoefs& f, const std::vector<float>& in, OvBiquadState s)
{
    std::vector<double> out(in.size());
    double x1 = s.x1, x2 = s.x2, y1 = s.y1, y2 = s.y2;
    for (size_t i = 0; i < in.size(); ++i) {
        const double y = double(f.B0()) * in[i] + double(f.B1()) * x1 + double(f.B2()) * x2 -
                         double(f.A1()) * y1 - double(f.A2()) * y2;
        x2 = x1, x1 = in[i], y2 = y1, y1 = y;
        out[i] = y;
    }
    return out;
}

TEST(OvBiquad, BlockFormMatchesTheRecursionForAnyCoefsAlignmentAndLength)
{
    std::mt19937 rng(1234);
    std::uniform_real_distribution<float> sample(-1.0f, 1.0f);
    alignas(16) float buffer[600];
    for (int trial = 0; trial < 200; ++trial) {
        OvBiquad filter;
        RandomCoefs(rng, filter);
        // Start from a ringing state: an odd-length run leaves the next call misaligned.
        std::vector<float> warm(7);
        for (float& v : warm)
            v = sample(rng);
        filter.ProcessSamples(warm.data(), uint32_t(warm.size()));
        const OvBiquadState start = filter.State();

        std::vector<float> in(rng() % 513);
        for (float& v : in)
            v = sample(rng);
        float* io = buffer + trial % 4;
        std::copy(in.begin(), in.end(), io);
        // Cut into pieces of varying size, down to one sample.
        for (uint32_t at = 0, n = uint32_t(trial % 9 + 1); at < in.size(); at += n, n = n * 3 % 67 + 1)
            filter.ProcessSamples(io + at, std::min<uint32_t>(n, uint32_t(in.size()) - at));

        const std::vector<double> ref = Reference(filter, in, start);
        double peak = 1.0;
        for (double v : ref)
            peak = std::max(peak, std::abs(v));
        for (size_t i = 0; i < in.size(); ++i)
            ASSERT_NEAR(io[i], ref[i], 2e-5 * peak) << "trial " << trial << " sample " << i;
        if (!in.empty()) {
            EXPECT_NEAR(filter.State().y1, ref.back(), 2e-5 * peak);
            EXPECT_EQ(filter.State().x1, in.back());
        }
    }
}

TEST(OvBiquad, NewFilterPassesTheSignalAndResetForgetsTheState)
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
    std::copy(copy, copy + 67, again);
    std::copy(copy, copy + 67, first);
    filter.ProcessSamples(again, 67);
    fresh.ProcessSamples(first, 67);
    for (int i = 0; i < 67; ++i)
        ASSERT_EQ(again[i], first[i]);
}

}  // namespace
