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

// Argument 1: the post gain changes every block, so the gains ramp and the
// block takes the copy and the separate passes instead of the in-place run.
void BM_CompressorProcessorStereo(benchmark::State& state)
{
    const bool ramping = state.range(0) != 0;
    CompressorProcessor* compressor = CompressorProcessor::Create();
    compressor->Init(kFrames, kChannels, kRate);
    compressor->SetParams({-20.0f, 4.0f, 0.01f, 0.2f, -30.0f, 3.0f, -1.0f});
    const std::vector<float> source = Source();
    alignas(16) static float block[kFrames * kChannels];
    bool odd = false;
    for (auto _ : state) {
        if (ramping) {
            odd = !odd;
            compressor->SetParams({-20.0f, 4.0f, 0.01f, 0.2f, -30.0f, 3.0f, odd ? -2.0f : -1.0f});
        }
        std::memcpy(block, source.data(), sizeof block);
        bool draining = false;
        uint32_t frames = kFrames;
        compressor->Process(block, &draining, &frames);
        benchmark::DoNotOptimize(block);
    }
    Report(state);
    compressor->Destroy();
}
BENCHMARK(BM_CompressorProcessorStereo)->ArgName("ramping")->Arg(0)->Arg(1);

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

// The side-chain lanes alone, as the multiband compressor and the stereo
// enhancer gather them (ten: five bands of two channels), on the SSE2 groups
// of four and on the AVX groups of eight (where the processor has it). Each
// lane's detector reads a fixed signal and its output is refilled each time
// (included). Per frame of all lanes.
void BM_CompressorLanes(benchmark::State& state)
{
    const uint32_t lanes = uint32_t(state.range(0));
    const bool avx = state.range(1) != 0;
    if (avx && !OvCompressor::HasAvxLanes()) {
        state.SkipWithError("no AVX");
        return;
    }
    std::vector<float> detect(size_t(lanes) * kFrames), out(detect.size());
    for (size_t i = 0; i < detect.size(); ++i)
        detect[i] = 0.5f * std::sin(0.031f * float(i % kFrames) * float(1 + i / kFrames));
    std::vector<OvCompressor::SideChainState> states(lanes, OvCompressor::SideChainState{0.0f, 0.0f});
    std::vector<OvCompressor::Lane> list(lanes);
    const float rms = expf(-1.0f / (0.02322f * float(kRate)));
    for (uint32_t k = 0; k < lanes; ++k)
        list[k] = {out.data() + size_t(k) * kFrames, detect.data() + size_t(k) * kFrames, &states[k], kFrames, rms,
                   expf(-2.2f / (0.01f * float(kRate))), expf(-2.2f / (0.2f * float(kRate))), -20.0f,
                   1.0f / 4.0f - 1.0f, -30.0f};
    for (auto _ : state) {
        std::memcpy(out.data(), detect.data(), out.size() * sizeof(float));
        OvCompressor::RunLanesOn(avx, list.data(), lanes, nullptr);
        benchmark::DoNotOptimize(out.data());
    }
    Report(state);
}
BENCHMARK(BM_CompressorLanes)->ArgNames({"lanes", "avx"})->ArgsProduct({{2, 4, 8, 10, 16}, {0, 1}});

}  // namespace
