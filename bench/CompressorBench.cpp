// One compressor as the chain runs it (wrapper, plug-in, core) on 2048-frame
// stereo blocks at 44.1 kHz, and the core alone, linked and per channel. The
// block is refilled from a source each time (a 16 KB copy, included), so the
// compressor always works on a signal 20 dB over its threshold.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "FrameCounters.h"

#include "ov/OvMemAllocDefault.h"
#include "sdk/dsp/dynamics/OvCompressor.h"
#include "wrappers/CompressorProcessor.h"

namespace {

constexpr uint32_t kFrames = 2048;
constexpr uint32_t kChannels = 2;
constexpr uint32_t kRate = 44100;

std::vector<float> Source()
{
    std::vector<float> x(kFrames * kChannels);
    for (uint32_t i = 0; i < kFrames; ++i) {
        x[i] = 0.5f * std::sin(0.031f * float(i));
        x[kFrames + i] = 0.4f * std::sin(0.047f * float(i));
    }
    return x;
}

void Report(benchmark::State& state)
{
    benchcounters::ReportFrames(state, kFrames, kRate);
}

void BM_CompressorProcessorStereo(benchmark::State& state)
{
    CompressorProcessor* compressor = CompressorProcessor::Create();
    compressor->Init(kFrames, kChannels, kRate);
    compressor->SetParams({-20.0f, 4.0f, 0.01f, 0.2f, -30.0f, 3.0f, -1.0f});
    const std::vector<float> source = Source();
    alignas(16) static float block[kFrames * kChannels];
    for (auto _ : state) {
        std::memcpy(block, source.data(), sizeof block);
        bool draining = false;
        uint32_t frames = kFrames;
        compressor->Process(block, &draining, &frames);
        benchmark::DoNotOptimize(block);
    }
    Report(state);
    compressor->Destroy();
}
BENCHMARK(BM_CompressorProcessorStereo);

// The same with the post gain changing every block: the gains ramp, and the
// block takes the copy and the separate passes instead of the in-place run.
void BM_CompressorProcessorStereoRamping(benchmark::State& state)
{
    CompressorProcessor* compressor = CompressorProcessor::Create();
    compressor->Init(kFrames, kChannels, kRate);
    const std::vector<float> source = Source();
    alignas(16) static float block[kFrames * kChannels];
    bool odd = false;
    for (auto _ : state) {
        odd = !odd;
        compressor->SetParams({-20.0f, 4.0f, 0.01f, 0.2f, -30.0f, 3.0f, odd ? -1.0f : -2.0f});
        std::memcpy(block, source.data(), sizeof block);
        bool draining = false;
        uint32_t frames = kFrames;
        compressor->Process(block, &draining, &frames);
        benchmark::DoNotOptimize(block);
    }
    Report(state);
    compressor->Destroy();
}
BENCHMARK(BM_CompressorProcessorStereoRamping);

void BM_CompressorCoreStereo(benchmark::State& state)
{
    const bool link = state.range(0) != 0;
    OvStreamFormat format;
    format.uSampleRate = kRate;
    format.channelConfig.SetStandardOrAnonymous(kChannels, 0x3);
    OvCompressor core;
    core.Init(OV::DefaultAllocator(), true, format, 0.01f, 0.2f, link);
    const std::vector<float> source = Source();
    alignas(16) static float block[kFrames * kChannels];
    OvPipelineBuffer buffer;
    buffer.AttachContiguousDeinterleaved(block, format.channelConfig, kFrames, kFrames);
    for (auto _ : state) {
        std::memcpy(block, source.data(), sizeof block);
        core.Process(&buffer, -20.0f, 4.0f, 0.01f, 0.2f, -30.0f);
        benchmark::DoNotOptimize(block);
    }
    Report(state);
    core.Shutdown(OV::DefaultAllocator());
}
BENCHMARK(BM_CompressorCoreStereo)->ArgName("linked")->Arg(1)->Arg(0);

}  // namespace
