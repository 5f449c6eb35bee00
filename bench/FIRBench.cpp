// FIR cost per stereo frame at 44.1 kHz, 2048-frame blocks, with a 1 s
// stereo impulse (2048-frame partitions, 22 of them), and the spectrum
// multiply-add on its own, vector against scalar form, at that partition.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "FrameCounters.h"

#include "common/WavImage.h"
#include "effects/FIRProcessorImpl.h"
#include "effects/SpectrumMultiplyAdd.h"

namespace {

constexpr uint32_t kRate = 44100;
constexpr uint32_t kFrames = 2048;

std::vector<uint8_t> DecayingStereoImpulse(uint32_t frames)
{
    std::mt19937 rng(1);
    std::normal_distribution<float> gauss;
    std::vector<float> interleaved(2 * size_t(frames));
    for (uint32_t i = 0; i < frames; ++i)
        for (int c = 0; c < 2; ++c)
            interleaved[2 * i + c] = gauss(rng) * std::exp(-6.9f * float(i) / float(frames));
    return Riff(WavImage().Fmt(3, 2, kRate, 32).Data(FloatBytes(interleaved)));
}

void BM_FIRStereoOneSecondImpulse(benchmark::State& state)
{
    FIRProcessor* fir = FIRProcessor::Create();
    fir->Init(kFrames, 2, kRate);
    fir->SetBypass(false);
    const std::vector<uint8_t> image = DecayingStereoImpulse(kRate);
    if (!fir->SetImpulse(image.data(), image.size()))
        state.SkipWithError("impulse refused");
    std::vector<float> source(2 * kFrames), block(2 * kFrames);
    for (uint32_t i = 0; i < 2 * kFrames; ++i)
        source[i] = 0.1f * std::sin(0.05f * float(i));
    for (auto _ : state) {
        block = source;
        bool draining = false;
        uint32_t frames = kFrames;
        fir->Process(block.data(), &draining, &frames);
        benchmark::DoNotOptimize(block.data());
    }
    benchcounters::ReportFrames(state, kFrames, kRate);
    fir->Destroy();
}
BENCHMARK(BM_FIRStereoOneSecondImpulse);

// One partition's product, 2048 bins; the label says which form.
void BM_SpectrumMultiplyAdd(benchmark::State& state)
{
    constexpr uint32_t kBins = 2048;
    std::vector<float> x(2 * kBins, 0.3f), h(2 * kBins, 0.2f), acc(2 * kBins, 0.0f);
    const bool vector = state.range(0) != 0;
    for (auto _ : state) {
        if (vector)
            MultiplyAddSpectraSse({x.data(), x.data() + kBins}, {h.data(), h.data() + kBins},
                                  {acc.data(), acc.data() + kBins}, kBins);
        else
            MultiplyAddSpectraScalar({x.data(), x.data() + kBins}, {h.data(), h.data() + kBins},
                                     {acc.data(), acc.data() + kBins}, kBins);
        benchmark::DoNotOptimize(acc.data());
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kBins);
    state.SetLabel(vector ? "sse" : "scalar");
}
BENCHMARK(BM_SpectrumMultiplyAdd)->Arg(1)->Arg(0);

}  // namespace
