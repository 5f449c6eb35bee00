// The headphone effect at 48 kHz stereo, blocks of 2048 frames, with a 0.5 s
// and a 2 s impulse (25 and 95 partitions of 1024), active: cost per frame
// and real-time factor.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "FrameCounters.h"

#include "common/WavImage.h"
#include "wrappers/HeadphoneProcessorImpl.h"

namespace {

constexpr uint32_t kRate = 48000;
constexpr uint32_t kFrames = 2048;

std::vector<uint8_t> DecayingImpulse(uint32_t frames)
{
    std::mt19937 rng(3);
    std::normal_distribution<float> gauss;
    WavImage samples;
    for (uint32_t i = 0; i < frames; ++i) {
        const float x = 0.3f * gauss(rng) * std::exp(-6.9f * float(i) / float(frames));
        samples.U16(uint16_t(int16_t(std::lround(std::fmax(-1.0f, std::fmin(1.0f, x)) * 32767.0f))));
    }
    return Riff(WavImage().Fmt(1, 1, kRate, 16).Data(samples.bytes));
}

void BM_HeadphoneStereo(benchmark::State& state)
{
    const uint32_t impulseFrames = uint32_t(state.range(0)) * kRate / 1000;
    HeadphoneProcessor* hp = HeadphoneProcessor::Create();
    hp->Init(kFrames, 2, kRate);
    const std::vector<uint8_t> image = DecayingImpulse(impulseFrames);
    if (!hp->SetImpulse(image.data(), image.size(), 0.0f, 0.0f))
        state.SkipWithError("impulse refused");
    hp->SetBypass(false);
    std::vector<float> source(2 * kFrames), block(2 * kFrames);
    for (uint32_t i = 0; i < 2 * kFrames; ++i)
        source[i] = 0.1f * std::sin(0.05f * float(i));
    for (auto _ : state) {
        block = source;
        bool draining = false;
        uint32_t frames = kFrames;
        hp->Process(block.data(), &draining, &frames);
        benchmark::DoNotOptimize(block.data());
    }
    benchcounters::ReportFrames(state, kFrames, kRate);
    state.SetLabel(std::to_string(state.range(0)) + " ms impulse");
    hp->Destroy();
}
BENCHMARK(BM_HeadphoneStereo)->Arg(500)->Arg(2000);

}  // namespace
