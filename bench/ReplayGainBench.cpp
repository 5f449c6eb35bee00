// ReplayGain analysis throughput: stereo float at 44.1 kHz pushed in chunks
// of 4096 frames, as a tagger reading a decoded file sends them.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "FrameCounters.h"

#include "lxaudioeffects/ReplayGainProcessor.h"

namespace {

constexpr unsigned kRate = 44100;
constexpr unsigned kChunkFrames = 4096;

void BM_ReplayGainStereoFloat(benchmark::State& state)
{
    ReplayGainProcessor rg;
    rg.Init(AUDIO_SAMPLEFORMAT_FLOAT, 2, kRate);
    std::vector<float> chunk(kChunkFrames * 2);
    for (size_t n = 0; n < kChunkFrames; ++n) {
        chunk[2 * n] = float(0.5 * std::sin(double(n) * 0.071));
        chunk[2 * n + 1] = float(0.4 * std::sin(double(n) * 0.013));
    }
    for (auto _ : state) {
        rg.PushSamples(chunk.data(), kChunkFrames, false);
        benchmark::ClobberMemory();
    }
    ReplayGainInfo info = {0.0f, 0.0f};
    rg.GetReplayGain(ReplayGainTrack, info);
    benchmark::DoNotOptimize(info);
    benchcounters::ReportFrames(state, kChunkFrames, kRate);
}
BENCHMARK(BM_ReplayGainStereoFloat);

void BM_ReplayGainStereo16Bit(benchmark::State& state)
{
    ReplayGainProcessor rg;
    rg.Init(AUDIO_SAMPLEFORMAT_S16, 2, kRate);
    std::vector<int16_t> chunk(kChunkFrames * 2);
    for (size_t n = 0; n < chunk.size(); ++n)
        chunk[n] = int16_t(12000.0 * std::sin(double(n) * 0.037));
    for (auto _ : state) {
        rg.Push(chunk.data(), unsigned(chunk.size() * sizeof(int16_t)), false);
        benchmark::ClobberMemory();
    }
    benchcounters::ReportFrames(state, kChunkFrames, kRate);
}
BENCHMARK(BM_ReplayGainStereo16Bit);

}  // namespace
