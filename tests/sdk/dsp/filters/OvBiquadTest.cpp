// The block filter (a scalar head and tail around the four-sample form)
// against the textbook recursion in double, whatever the coefficients,
// alignment, length and way of cutting the signal into blocks.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "sdk/dsp/filters/OvBiquad.h"

namespace {

// Checks io against direct form I in double, run on `in` from state s.
void ExpectRecursion(const OvBiquadCoefs& f, const std::vector<float>& in, OvBiquadState s, const float* io)
{
    double x1 = s.x1, x2 = s.x2, y1 = s.y1, y2 = s.y2, peak = 1.0;
    for (size_t i = 0; i < in.size(); ++i) {
        const double y = double(f.B0()) * in[i] + double(f.B1()) * x1 + double(f.B2()) * x2 -
                         double(f.A1()) * y1 - double(f.A2()) * y2;
        x2 = x1, x1 = in[i], y2 = y1, y1 = y;
        peak = std::max(peak, std::abs(y));
        ASSERT_NEAR(io[i], y, 2e-5 * peak) << "sample " << i;
    }
}

TEST(OvBiquad, BlockFormMatchesTheRecursionForAnyCoefsAlignmentAndLength)
{
    std::mt19937 rng(1234);
    std::uniform_real_distribution<float> sample(-1.0f, 1.0f), radius(0.0f, 0.98f), angle(0.0f, 3.14159f),
        b(-2.0f, 2.0f);
    alignas(16) float buffer[600];
    for (int trial = 0; trial < 200; ++trial) {
        SCOPED_TRACE(trial);
        // A stable filter with random zeros and poles inside radius 0.98.
        OvBiquad filter;
        const float r = radius(rng), theta = angle(rng);
        filter.SetCoefs(b(rng), b(rng), b(rng), -2.0f * r * std::cos(theta), r * r);
        // Start from a ringing state: an odd-length run leaves the next call misaligned.
        float warm[7];
        for (float& v : warm)
            v = sample(rng);
        filter.ProcessSamples(warm, 7);
        const OvBiquadState start = filter.State();
        std::vector<float> in(rng() % 513);
        for (float& v : in)
            v = sample(rng);
        float* io = buffer + trial % 4;
        std::copy(in.begin(), in.end(), io);
        // Cut into pieces of varying size, down to one sample.
        for (uint32_t at = 0, n = uint32_t(trial % 9 + 1); at < in.size(); at += n, n = n * 3 % 67 + 1)
            filter.ProcessSamples(io + at, std::min<uint32_t>(n, uint32_t(in.size()) - at));
        ExpectRecursion(filter, in, start, io);
        // After a reset the same input runs as from silence.
        filter.ResetState();
        std::copy(in.begin(), in.end(), io);
        filter.ProcessSamples(io, uint32_t(in.size()));
        ExpectRecursion(filter, in, OvBiquadState{0.0f, 0.0f, 0.0f, 0.0f}, io);
    }
}

}  // namespace
