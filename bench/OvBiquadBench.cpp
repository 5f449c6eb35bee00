// The plug-in biquad's four-samples-per-step form against its one-sample
// recursion, over one 2048-frame channel of the chain's block.
#include <benchmark/benchmark.h>

#include <cmath>

#include "FrameCounters.h"

#include "sdk/dsp/filters/BiquadShape.h"
#include "sdk/dsp/filters/OvBiquad.h"

namespace {

constexpr uint32_t kFrames = 2048;

struct BiquadBenchData {
    OvBiquadCoefs filter;
    OvBiquadState state{0.0f, 0.0f, 0.0f, 0.0f};
    alignas(16) float samples[kFrames];
    // A 0 dB peak costs the full recursion but keeps the level steady over
    // the repeated runs on one buffer.
    BiquadBenchData()
    {
        DesignBiquadShape(filter, OV_Shape_Peak, 44100.0f, 1000.0f, 1.0f, 1.41f);
        for (uint32_t i = 0; i < kFrames; ++i)
            samples[i] = 0.25f * std::sin(0.031f * float(i));
    }
};

void Report(benchmark::State& state)
{
    benchcounters::ReportFrames(state, kFrames, 44100.0);
}

void BM_BiquadScalarForm(benchmark::State& state)
{
    BiquadBenchData d;
    for (auto _ : state) {
        d.filter.RunScalar(d.samples, kFrames, d.state);
        benchmark::DoNotOptimize(d.samples);
        d.state = {0.0f, 0.0f, 0.0f, 0.0f};  // keep the data from growing or dying out
    }
    Report(state);
}
BENCHMARK(BM_BiquadScalarForm);

void BM_BiquadFourSampleForm(benchmark::State& state)
{
    BiquadBenchData d;
    for (auto _ : state) {
        d.filter.Run(d.samples, kFrames, d.state);
        benchmark::DoNotOptimize(d.samples);
        d.state = {0.0f, 0.0f, 0.0f, 0.0f};
    }
    Report(state);
}
BENCHMARK(BM_BiquadFourSampleForm);

}  // namespace
