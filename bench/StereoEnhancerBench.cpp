// Stereo enhancer cost per stereo frame at 44.1 kHz, 2048-frame blocks, at
// each ambience preset with the spectrum shaper on (two five-band keyed
// compressors) and presence and stereoizer set; preset 0 runs no reverb.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "FrameCounters.h"

#include "wrappers/StereoEnhancerProcessorImpl.h"

namespace {

constexpr uint32_t kFrames = 2048;
constexpr uint32_t kRate = 44100;

void BM_StereoEnhancer(benchmark::State& state)
{
    const uint32_t ambience = uint32_t(state.range(0));
    const bool shaper = state.range(1) != 0;
    StereoEnhancerProcessor* enhancer = StereoEnhancerProcessor::Create();
    enhancer->Init(kFrames, 2, kRate);
    enhancer->SetBypass(false);
    enhancer->SetParams(6.0f, 3.0f, shaper, ambience);
    std::vector<float> source(2 * kFrames), block(2 * kFrames);
    for (uint32_t i = 0; i < kFrames; ++i) {
        source[i] = 0.2f * std::sin(0.05f * float(i)) + 0.05f * std::sin(0.9f * float(i));
        source[kFrames + i] = 0.2f * std::sin(0.07f * float(i));
    }
    for (auto _ : state) {
        block = source;
        bool draining = false;
        uint32_t frames = kFrames;
        enhancer->Process(block.data(), &draining, &frames);
        benchmark::DoNotOptimize(block.data());
    }
    benchcounters::ReportFrames(state, kFrames, kRate);
    state.SetLabel(shaper ? "spectrum shaper on" : "spectrum shaper off");
    enhancer->Destroy();
}
BENCHMARK(BM_StereoEnhancer)->ArgsProduct({benchmark::CreateDenseRange(0, 7, 1), {1, 0}});

}  // namespace
