// The plug-in biquad's four-samples-per-step form against its one-sample
// recursion, over one 2048-frame channel of the chain's block; and several
// independent filters run side by side by the batch kernels (SSE2, AVX where
// present), per filter and frame.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "FrameCounters.h"

#include "sdk/dsp/filters/BiquadShape.h"
#include "sdk/dsp/filters/OvBiquadBatch.h"
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

// state.range(0) filters, each on its own buffer; time/frame is per filter.
template <bool T_AVX>
void BM_BiquadBatch(benchmark::State& state)
{
    const uint32_t uJobs = uint32_t(state.range(0));
    if (T_AVX && !OvBiquadBatch::HasAvx()) {
        state.SkipWithError("no AVX");
        return;
    }
    std::vector<BiquadBenchData> d(uJobs);
    std::vector<OvBiquadJob> jobs(uJobs);
    for (auto _ : state) {
        for (uint32_t j = 0; j < uJobs; ++j) {
            d[j].state = {0.0f, 0.0f, 0.0f, 0.0f};
            jobs[j] = {&d[j].filter, d[j].samples, &d[j].state, kFrames};
        }
        if (T_AVX)
            OvBiquadBatch::RunJobsAvx(jobs.data(), uJobs);
        else
            OvBiquadBatch::RunJobsSse2(jobs.data(), uJobs);
        benchmark::DoNotOptimize(d.data());
    }
    benchcounters::ReportFrames(state, double(kFrames) * uJobs, 44100.0);
}
BENCHMARK(BM_BiquadBatch<false>)->Arg(1)->Arg(2)->Arg(4);
BENCHMARK(BM_BiquadBatch<true>)->Arg(2)->Arg(4);

}  // namespace
