// Push/Pull throughput of the front end, 44.1 kHz stereo 16-bit, 4096-byte
// chunks as a player sends them: once with the chain this library ships (at
// its defaults only the limiter works) and once with every slot empty, which
// is the cost of the FIFOs, the block loop and the two conversions alone.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "FrameCounters.h"
#include "frontend/AudioEffectsImpl.h"
#include "frontend/ProcessorFactories.h"

namespace {

void PushPull16BitStereo(benchmark::State& state, audiofx::AudioEffects* fx)
{
    fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0);
    const uint32_t chunkBytes = 4096;
    std::vector<int16_t> chunk(chunkBytes / 2);
    for (size_t i = 0; i < chunk.size(); ++i)
        chunk[i] = int16_t(8000.0 * std::sin(double(i) * 0.05));
    std::vector<int16_t> out(chunk.size() * 4);
    bool end = false;
    for (auto _ : state) {
        fx->Push(chunk.data(), chunkBytes, -1);
        uint32_t bytes = uint32_t(out.size() * 2);
        fx->Pull(out.data(), &bytes, &end);
        benchmark::DoNotOptimize(out.data());
    }
    benchcounters::ReportFrames(state, chunkBytes / 4, 44100.0);
    fx->Destroy();
}

void BM_FrontEndPushPull16BitStereo(benchmark::State& state)
{
    PushPull16BitStereo(state, audiofx::AudioEffects::Create());
}
BENCHMARK(BM_FrontEndPushPull16BitStereo);

void BM_FrontEndPushPull16BitStereoEmptyChain(benchmark::State& state)
{
    static const ProcessorFactories none = {};
    PushPull16BitStereo(state, new audiofx::AudioEffectsImpl(none));
}
BENCHMARK(BM_FrontEndPushPull16BitStereoEmptyChain);

}  // namespace
