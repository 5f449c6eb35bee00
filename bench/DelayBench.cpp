// Delay cost per stereo frame at 44.1 kHz, 2048-frame blocks, with the front
// end's settings (50 ms, feedback 0.5, dry and wet at 0 dB), with levels
// that differ from unity, and with the wet level changing every block (the
// ramp takes the steps one by one rather than the one-pass echo).
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "FrameCounters.h"

#include "wrappers/DelayProcessorImpl.h"

namespace {

constexpr uint32_t kRate = 44100;
constexpr uint32_t kFrames = 2048;

void BM_DelayStereo(benchmark::State& state)
{
    DelayProcessor* delay = DelayProcessor::Create();
    delay->Init(kFrames, 2, kRate);
    delay->SetBypass(false);
    const bool unity = state.range(0) == 1;
    const bool ramping = state.range(0) == 2;
    delay->SetParams(unity ? DelayEffectParams{50.0f, 0.5f, 0.0f, 0.0f} : DelayEffectParams{80.0f, 0.4f, -2.0f, -6.0f});
    bool odd = false;
    std::vector<float> source(2 * kFrames), block(2 * kFrames);
    for (uint32_t i = 0; i < kFrames; ++i)
        source[i] = source[kFrames + i] = 0.1f * std::sin(0.05f * float(i));
    for (auto _ : state) {
        if (ramping) {
            odd = !odd;
            delay->SetParams({80.0f, 0.4f, -2.0f, odd ? -6.0f : -5.0f});
        }
        block = source;
        bool draining = false;
        uint32_t frames = kFrames;
        delay->Process(block.data(), &draining, &frames);
        benchmark::DoNotOptimize(block.data());
    }
    benchcounters::ReportFrames(state, kFrames, kRate);
    state.SetLabel(unity ? "front-end settings" : (ramping ? "wet level ramping" : "levels off unity"));
    delay->Destroy();
}
BENCHMARK(BM_DelayStereo)->Arg(1)->Arg(0)->Arg(2);

}  // namespace
