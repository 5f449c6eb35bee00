// Push/Pull throughput of the front end, 44.1 kHz stereo 16-bit, 4096-byte
// chunks as a player sends them: with the chain this library ships at its
// defaults (only the limiter works), with every effect on at audible
// settings, and with every slot empty, which is the cost of the FIFOs, the
// block loop and the two conversions alone.
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

// Every effect of the chain on, at settings a listener would hear.
void BM_FrontEndPushPull16BitStereoEveryEffectOn(benchmark::State& state)
{
    audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
    using A = audiofx::AudioEffects;
    for (void (A::*on)(bool) :
         {&A::SetLoudnessON, &A::SetCompressorON, &A::SetGraphEQON, &A::SetBassTrebleON, &A::SetParametricEQON,
          &A::SetPostCompressorON, &A::SetVibratoON, &A::SetTremoloON, &A::SetStereoEnhancerON, &A::SetRotate3DON,
          &A::SetSpatialAudioON, &A::SetDelayON, &A::SetReverbON, &A::SetFIRON, &A::SetHeadphoneON,
          &A::SetLimiterON})
        (fx->*on)(true);
    fx->SetLoudnessParams(3.0f, 1.0f);
    const CompressorEffectParams compressor = {-24.0f, 4.0f, 0.01f, 0.2f, -12.0f, 0.0f, 3.0f};
    fx->SetCompressorParams(&compressor);
    fx->SetPostCompressorParams(&compressor);
    const float gains[10] = {4, 3, 2, 0, -1, -2, 0, 2, 3, 4};
    fx->SetGraphEQGains(gains);
    fx->SetBassTrebleGains(4.0f, 3.0f);
    fx->SetParametricEQGain(-2.0f);
    for (uint32_t band = 0; band < 9; ++band) {
        const ParametricEQFilterParams filter = {band % 9, 3.0f, 100.0f * float(band + 1), 1.0f, true};
        fx->SetParametricEQFilter(band, &filter);
    }
    fx->SetVibratoParams(5.0, 0.2);
    fx->SetTremoloParams(4.0, 0.3);
    const DelayEffectParams delay = {120.0f, 0.4f, 0.0f, -6.0f};
    fx->SetDelayParams(&delay);
    PushPull16BitStereo(state, fx);
}
BENCHMARK(BM_FrontEndPushPull16BitStereoEveryEffectOn);

void BM_FrontEndPushPull16BitStereoEmptyChain(benchmark::State& state)
{
    static const ProcessorFactories none = {};
    PushPull16BitStereo(state, new audiofx::AudioEffectsImpl(none));
}
BENCHMARK(BM_FrontEndPushPull16BitStereoEmptyChain);

}  // namespace
