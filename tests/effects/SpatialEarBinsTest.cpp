// SpatialEarBins: the SSE form against the scalar form bit for bit, and
// one bin of each sum against the wiring written out in double complex.
#include <gtest/gtest.h>

#include <complex>
#include <random>
#include <vector>

#include "effects/SpatialEarBins.h"

namespace {

using Complex = std::complex<double>;

// Bin k (1 to 511) of a packed transform or a generated table.
Complex Bin(const std::vector<float>& x, size_t k)
{
    return {x[2 * k], x[2 * k + 1]};
}

TEST(SpatialEarBins, SseGivesTheScalarFormsBitsAndTheWiring)
{
    std::mt19937 rng(8);
    std::normal_distribution<float> noise;
    auto random = [&](size_t n) {
        std::vector<float> v(n);
        for (float& x : v)
            x = noise(rng);
        return v;
    };
    std::vector<std::vector<float>> tables, split;
    std::vector<const float*> tablePointers, splitPointers;
    for (int s = 0; s < 18; ++s) {
        tables.push_back(random(1026));
        split.emplace_back(1024);
        SplitSpatialResponse(tables[s].data(), split[s].data());
    }
    for (int s = 0; s < 18; ++s)
        tablePointers.push_back(tables[s].data()), splitPointers.push_back(split[s].data());
    const std::vector<float> p = random(1024), a = random(1024), i = random(1024), l = random(1024);
    const SpatialEarGains g{1.0f, 0.3f, 0.25f, 0.5f, 0.7f, 0.4f, 0.45f, 0.5f, 0.55f};
    std::vector<std::vector<float>> scalar(4, std::vector<float>(1024)), sse = scalar;
    SumEarBinsScalar({p.data(), a.data(), i.data(), l.data()}, tablePointers.data(), g,
                        {scalar[0].data(), scalar[1].data(), scalar[2].data(), scalar[3].data()});
    SumEarBinsSse({p.data(), a.data(), i.data(), l.data()}, splitPointers.data(), g,
                     {sse[0].data(), sse[1].data(), sse[2].data(), sse[3].data()});
    for (int e = 0; e < 4; ++e)
        EXPECT_EQ(sse[e], scalar[e]) << "sum " << e;

    // Bins 0, 512 (real) and 77, from the wiring: left ear = centre + front
    // + side + rear, the side and rear pairs' second terms crossed.
    for (size_t k : {0u, 512u, 77u}) {
        auto x = [k](const std::vector<float>& v) {
            return k == 0 ? Complex(v[0]) : k == 512 ? Complex(v[1]) : Bin(v, k);
        };
        auto h = [&](int s) {
            return k == 0 ? Complex(tables[s][0]) : k == 512 ? Complex(tables[s][1024]) : Bin(tables[s], k);
        };
        const Complex P = x(p), A = x(a), I = x(i), L = x(l);
        const Complex want[4] = {
            double(g.center) * P * h(0) + double(g.frontLeft) * L * (h(2) + h(4)) +
                double(g.sideLeft) * (A * h(6) + I * h(8)) + double(g.rearLeft) * (A * h(10) + I * h(12)),
            double(g.center) * P * h(1) + double(g.frontRight) * L * (h(3) + h(5)) +
                double(g.sideRight) * (I * h(7) + A * h(9)) + double(g.rearRight) * (I * h(11) + A * h(13)),
            double(g.extraLeft) * (A * h(14) + I * h(16)), double(g.extraRight) * (I * h(15) + A * h(17))};
        for (int e = 0; e < 4; ++e) {
            const Complex got = x(sse[e]);
            EXPECT_NEAR(got.real(), want[e].real(), 1e-4) << k << " " << e;
            EXPECT_NEAR(got.imag(), want[e].imag(), 1e-4) << k << " " << e;
        }
    }
}

}  // namespace
