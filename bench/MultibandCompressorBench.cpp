// The five-band multiband compressor on 2048-frame blocks at 44.1 kHz: on a
// stereo block (linked, fourth-order crossover, the block's defaults), and as
// the stereo enhancer runs it: mid and side each a mono keyed call with a
// second-order crossover, two calls per stereo frame. Every band compresses.
// The blocks are refilled from a source each time (copy included).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "FrameCounters.h"

#include "ov/OvMemAllocDefault.h"
#include "ov/OvPluginNew.h"
#include "sdk/plugins/OvMultibandCompressor/OvMultibandCompressorFX.h"
#include "sdk/plugins/OvMultibandCompressor/OvMultibandCompressorFXParams.h"
#include "wrappers/OvEffectHost.h"

namespace {

constexpr uint32_t kFrames = 2048;
constexpr uint32_t kRate = 44100;

void Report(benchmark::State& state)
{
    benchcounters::ReportFrames(state, kFrames, kRate);
}

struct Multiband {
    Multiband(uint32_t channels, bool fourthOrder)
    {
        fx = OV::New<OvMultibandCompressorFX>(OV::DefaultAllocator());
        params = OV::New<OvMultibandCompressorFXParams>(OV::DefaultAllocator());
        const uint8_t order = fourthOrder;
        params->SetParam(OV_MBCFXPARAM_FOURTHORDER_ID, &order, 1);
        for (uint16_t b = 0; b < 5; ++b) {
            const float threshold = -40.0f, ratio = 3.0f, range = -20.0f;
            params->SetParam(OvMultibandCompressorBandParamID(b, OV_MBCFXPARAM_BAND_THRESHOLD), &threshold, 4);
            params->SetParam(OvMultibandCompressorBandParamID(b, OV_MBCFXPARAM_BAND_RATIO), &ratio, 4);
            params->SetParam(OvMultibandCompressorBandParamID(b, OV_MBCFXPARAM_BAND_RANGE), &range, 4);
        }
        host.InitPlugin(fx, params, kFrames, channels, kRate, nullptr, 0);
    }
    ~Multiband()
    {
        fx->Shutdown(OV::DefaultAllocator());
        params->Shutdown(OV::DefaultAllocator());
    }
    OvEffectHost host;
    OvMultibandCompressorFX* fx;
    OvMultibandCompressorFXParams* params;
};

// Broadband source: a sum of sines across the five bands.
std::vector<float> Source(uint32_t channels)
{
    std::vector<float> x(kFrames * channels);
    const float hz[5] = {60.0f, 220.0f, 800.0f, 3000.0f, 11000.0f};
    for (uint32_t c = 0; c < channels; ++c)
        for (uint32_t i = 0; i < kFrames; ++i)
            for (float f : hz)
                x[c * kFrames + i] += 0.15f * std::sin(6.2831853f * f * float(i + 37 * c) / kRate);
    return x;
}

void BM_MultibandCompressorStereo(benchmark::State& state)
{
    Multiband m(2, true);
    const std::vector<float> source = Source(2);
    alignas(16) static float block[kFrames * 2];
    for (auto _ : state) {
        std::memcpy(block, source.data(), sizeof block);
        bool draining = false;
        uint32_t frames = kFrames;
        m.host.RunPlugin(m.fx, block, &draining, &frames);
        benchmark::DoNotOptimize(block);
    }
    Report(state);
}
BENCHMARK(BM_MultibandCompressorStereo);

void BM_MultibandCompressorKeyedMidSide(benchmark::State& state)
{
    Multiband mid(1, false), side(1, false);
    const std::vector<float> source = Source(2);
    alignas(16) static float signal[kFrames * 2];
    alignas(16) static float key[kFrames * 2];
    OvChannelConfig mono;
    mono.SetStandardOrAnonymous(1, 0x4);
    OvPipelineBuffer buffers[4];
    for (uint32_t k = 0; k < 2; ++k) {
        buffers[k].AttachContiguousDeinterleaved(signal + k * kFrames, mono, kFrames, kFrames);
        buffers[2 + k].AttachContiguousDeinterleaved(key + k * kFrames, mono, kFrames, kFrames);
    }
    for (auto _ : state) {
        std::memcpy(signal, source.data(), sizeof signal);
        std::memcpy(key, source.data(), sizeof key);
        for (OvPipelineBuffer& b : buffers)
            b.uValidFrames = kFrames;
        mid.fx->ProcessBlockWithKey(&buffers[0], &buffers[2], nullptr);
        side.fx->ProcessBlockWithKey(&buffers[1], &buffers[3], nullptr);
        benchmark::DoNotOptimize(signal);
    }
    Report(state);
}
BENCHMARK(BM_MultibandCompressorKeyedMidSide);

}  // namespace
