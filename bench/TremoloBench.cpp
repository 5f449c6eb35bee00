// Tremolo cost per stereo frame at 44.1 kHz, blocks of 2048 frames.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "effects/TremoloProcessorImpl.h"

namespace {

void BM_TremoloStereo(benchmark::State& state)
{
    const uint32_t frames = 2048;
    TremoloProcessor* fx = TremoloProcessorImpl::Create();
    fx->Init(frames, 2, 44100);
    fx->SetParams(4.0, 0.5);
    fx->SetBypass(false);
    std::vector<float> block(frames * 2);
    for (size_t n = 0; n < block.size(); ++n)
        block[n] = float(0.5 * std::sin(double(n) * 0.05));
    bool draining = false;
    for (auto _ : state) {
        uint32_t count = frames;
        fx->Process(block.data(), &draining, &count);
        benchmark::ClobberMemory();
    }
    const double total = double(state.iterations()) * frames;
    state.counters["ns/frame"] =
        benchmark::Counter(total * 1e-9, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["xRealtime"] = benchmark::Counter(total / 44100.0, benchmark::Counter::kIsRate);
    fx->Destroy();
}
BENCHMARK(BM_TremoloStereo);

}  // namespace
