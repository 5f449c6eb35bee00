// The block converters alone, stereo blocks of 2048 frames at 44.1 kHz, each
// format each way, the SSE2 form (sse2:1, what the chain runs) beside the
// scalar form (sse2:0).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "FrameCounters.h"
#include "frontend/SampleConversion.h"

namespace {

constexpr uint32_t kFrames = 2048;
constexpr uint32_t kChannels = 2;

// Quiet audio well inside full scale in every format (8-bit around its midpoint).
std::vector<uint8_t> HostBlock(AUDIO_SAMPLEFORMAT format)
{
    const size_t samples = size_t(kFrames) * kChannels;
    std::vector<float> planes(samples);
    for (size_t i = 0; i < samples; ++i)
        planes[i] = 0.25f * float((i * 7919) % 2000) / 1000.0f - 0.25f + (format == AUDIO_SAMPLEFORMAT_U8);
    std::vector<uint8_t> host(samples * 8);
    sampleconversion::FromPlanesScalar(format, planes.data(), host.data(), kFrames, kChannels, kFrames);
    return host;
}

void BM_SampleConversionToPlanes(benchmark::State& state)
{
    const AUDIO_SAMPLEFORMAT format = AUDIO_SAMPLEFORMAT(state.range(0));
    const auto convert = state.range(1) ? sampleconversion::ToPlanesSse2 : sampleconversion::ToPlanesScalar;
    const std::vector<uint8_t> host = HostBlock(format);
    std::vector<float> planes(size_t(kFrames) * kChannels);
    for (auto _ : state) {
        convert(format, host.data(), planes.data(), kFrames, kChannels, kFrames);
        benchmark::DoNotOptimize(planes.data());
        benchmark::ClobberMemory();
    }
    benchcounters::ReportFrames(state, kFrames, 44100.0);
}
BENCHMARK(BM_SampleConversionToPlanes)->ArgsProduct({{0, 1, 2, 3, 4}, {1, 0}})->ArgNames({"format", "sse2"});

void BM_SampleConversionFromPlanes(benchmark::State& state)
{
    const AUDIO_SAMPLEFORMAT format = AUDIO_SAMPLEFORMAT(state.range(0));
    const auto convert = state.range(1) ? sampleconversion::FromPlanesSse2 : sampleconversion::FromPlanesScalar;
    std::vector<float> planes(size_t(kFrames) * kChannels);
    sampleconversion::ToPlanesScalar(format, HostBlock(format).data(), planes.data(), kFrames, kChannels, kFrames);
    std::vector<uint8_t> host(planes.size() * 8);
    for (auto _ : state) {
        convert(format, planes.data(), host.data(), kFrames, kChannels, kFrames);
        benchmark::DoNotOptimize(host.data());
        benchmark::ClobberMemory();
    }
    benchcounters::ReportFrames(state, kFrames, 44100.0);
}
BENCHMARK(BM_SampleConversionFromPlanes)->ArgsProduct({{0, 1, 2, 3, 4}, {1, 0}})->ArgNames({"format", "sse2"});

}  // namespace
