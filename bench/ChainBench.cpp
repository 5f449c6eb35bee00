// Push/Pull throughput of the front end, 44.1 kHz stereo 16-bit, 4096-byte
// chunks as a player sends them.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "lxaudioeffects/AudioEffects.h"

namespace {

void BM_FrontEndPushPull16BitStereo(benchmark::State& state)
{
    audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
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
    const double frames = double(state.iterations()) * chunkBytes / 4;
    state.counters["frames/s"] = benchmark::Counter(frames, benchmark::Counter::kIsRate);
    state.counters["xRealtime"] = benchmark::Counter(frames / 44100.0, benchmark::Counter::kIsRate);
    fx->Destroy();
}
BENCHMARK(BM_FrontEndPushPull16BitStereo);

}  // namespace
