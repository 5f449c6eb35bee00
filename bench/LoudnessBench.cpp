// Loudness gain on a 2048-frame stereo block at 44.1 kHz: at unity (the two
// comparisons), at a steady gain, and ramping every block; and the block gain
// ramp itself, four-wide against a plain scalar loop.
#include <benchmark/benchmark.h>

#include <vector>

#include "FrameCounters.h"

#include "ov/OvGainRamp.h"
#include "wrappers/LoudnessProcessorImpl.h"

namespace {

constexpr uint32_t kFrames = 2048;
constexpr uint32_t kChannels = 2;
constexpr double kSampleRate = 44100.0;

void Report(benchmark::State& state)
{
    benchcounters::ReportFrames(state, kFrames, kSampleRate);
}

// mode 0: unity; 1: steady -6 dB measured gain; 2: a ramp in every block.
void BM_LoudnessProcess(benchmark::State& state)
{
    const int mode = int(state.range(0));
    LoudnessProcessor* fx = LoudnessProcessor::Create();
    fx->Init(kFrames, kChannels, 44100);
    fx->SetParams(LoudnessInfo{0.0f, 1.0f});
    if (mode != 0)
        fx->SetParams(LoudnessInfo{-12.0f, 1.0f});
    std::vector<float> block(kFrames * kChannels, 0.25f);
    bool bypass = false;
    for (auto _ : state) {
        if (mode == 2) {
            bypass = !bypass;
            fx->SetBypass(bypass);
        }
        bool draining = false;
        uint32_t frames = kFrames;
        fx->Process(block.data(), &draining, &frames);
        benchmark::DoNotOptimize(block.data());
        benchmark::ClobberMemory();
    }
    Report(state);
    fx->Destroy();
}
BENCHMARK(BM_LoudnessProcess)->Arg(0)->Arg(1)->Arg(2)->ArgName("unity0_steady1_ramp2");

void BM_ApplyGainRampStereo(benchmark::State& state)
{
    std::vector<float> block(kFrames * kChannels, 0.25f);
    bool up = false;
    for (auto _ : state) {
        up = !up;
        const float start = up ? 0.9f : 1.1f, end = up ? 1.1f : 0.9f;  // stays bounded over iterations
        for (uint32_t c = 0; c < kChannels; ++c)
            OV::ApplyGainRamp(block.data() + c * kFrames, start, end, kFrames);
        benchmark::DoNotOptimize(block.data());
        benchmark::ClobberMemory();
    }
    Report(state);
}
BENCHMARK(BM_ApplyGainRampStereo);

// The same ramp one sample at a time, for comparison.
void BM_ScalarGainRampStereo(benchmark::State& state)
{
    std::vector<float> block(kFrames * kChannels, 0.25f);
    bool up = false;
    for (auto _ : state) {
        up = !up;
        const float start = up ? 0.9f : 1.1f, end = up ? 1.1f : 0.9f;
        for (uint32_t c = 0; c < kChannels; ++c) {
            float* x = block.data() + c * kFrames;
            const float step = (end - start) / kFrames;
            float g = start;
            for (uint32_t i = 0; i < kFrames; ++i) {
                x[i] *= g;
                g += step;
                benchmark::DoNotOptimize(g);  // keeps the loop scalar
            }
        }
        benchmark::DoNotOptimize(block.data());
        benchmark::ClobberMemory();
    }
    Report(state);
}
BENCHMARK(BM_ScalarGainRampStereo);

}  // namespace
