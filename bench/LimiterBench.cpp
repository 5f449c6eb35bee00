// Peak limiter cost per frame at 44.1 kHz, 2048-frame blocks of noise at
// +6 dBFS (so the gain is always moving): stereo in the hard-ceiling law the
// chain uses and in the linked dB law, and mono, which the chain runs in the
// per-channel dB law. Each block is refilled from a source copy.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "FrameCounters.h"

#include "frontend/EffectDefaults.h"
#include "ov/OvMemAllocDefault.h"
#include "ov/OvPluginNew.h"
#include "sdk/plugins/OvPeakLimiter/OvPeakLimiterFX.h"
#include "sdk/plugins/OvPeakLimiter/OvPeakLimiterFXParams.h"
#include "wrappers/OvEffectHost.h"

namespace {

constexpr uint32_t kRate = 44100;
constexpr uint32_t kFrames = 2048;

void BM_Limiter(benchmark::State& state)
{
    const uint32_t channels = uint32_t(state.range(0));
    const bool hardCeiling = state.range(1) != 0;
    IOvMemAlloc* allocator = OV::DefaultAllocator();
    auto* plugin = OV::New<OvPeakLimiterFX>(allocator);
    auto* params = OV::New<OvPeakLimiterFXParams>(allocator);
    OvEffectHost host;
    host.InitPlugin(plugin, params, kFrames, channels, kRate, nullptr, 0);
    const float threshold = fxdefaults::kLimiter.Threshold, lookAhead = fxdefaults::kLimiter.Attack,
                release = fxdefaults::kLimiter.Release;
    const uint8_t hard = hardCeiling ? 1 : 0;
    params->SetParam(OV_PEAKLIMITERFXPARAM_THRESHOLD_ID, &threshold, 4);
    params->SetParam(OV_PEAKLIMITERFXPARAM_LOOKAHEAD_ID, &lookAhead, 4);
    params->SetParam(OV_PEAKLIMITERFXPARAM_RELEASE_ID, &release, 4);
    params->SetParam(OV_PEAKLIMITERFXPARAM_HARDCEILING_ID, &hard, 1);

    std::vector<float> source(channels * kFrames), block(channels * kFrames);
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> unit(-2.0f, 2.0f);
    for (float& x : source)
        x = unit(rng);
    for (auto _ : state) {
        std::memcpy(block.data(), source.data(), block.size() * sizeof(float));
        bool draining = false;
        uint32_t frames = kFrames;
        host.RunPlugin(plugin, block.data(), &draining, &frames);
        benchmark::DoNotOptimize(block.data());
    }
    benchcounters::ReportFrames(state, kFrames, kRate);
    state.SetLabel(channels == 1 ? "mono, per-channel dB law" : hardCeiling ? "stereo, hard ceiling" : "stereo, dB law");
    plugin->Shutdown(allocator);
    params->Shutdown(allocator);
}
BENCHMARK(BM_Limiter)->Args({2, 1})->Args({2, 0})->Args({1, 1});

}  // namespace
