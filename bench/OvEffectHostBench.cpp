// What a plug-in wrapper costs over the plug-in itself, with a plug-in that
// does nothing: a steady block (no copy of the audio) against a block with a
// bypass change (stack copy and crossfade), on 2048-frame stereo at 44.1 kHz.
#include <benchmark/benchmark.h>

#include <vector>

#include "FrameCounters.h"

#include "common/AudioProcessor.h"
#include "ov/IOvEffectParams.h"
#include "ov/OvPluginNew.h"
#include "wrappers/OvProcessorWrapper.h"

namespace {

constexpr uint32_t kFrames = 2048;
constexpr uint32_t kChannels = 2;

class NullParams final : public IOvEffectParams {
public:
    OvResult SetParam(uint16_t, const void*, uint32_t) override { return OV_Success; }
    IOvEffectParams* Clone(IOvMemAlloc* a) override { return OV::New<NullParams>(a); }
    OvResult Init(IOvMemAlloc*, const void*, uint32_t) override { return OV_Success; }
    OvResult Shutdown(IOvMemAlloc* a) override
    {
        OV::Delete(a, this);
        return OV_Success;
    }
    OvResult SetAllParams(const void*, uint32_t) override { return OV_Success; }
};

class NullFX final : public IOvEffect {
public:
    OvResult Init(IOvMemAlloc*, IOvEffectContext*, IOvEffectParams*, const OvStreamFormat&) override
    {
        return OV_Success;
    }
    OvResult Shutdown(IOvMemAlloc* a) override
    {
        OV::Delete(a, this);
        return OV_Success;
    }
    OvResult Reset() override { return OV_Success; }
    void ProcessBlock(OvPipelineBuffer* io_pBuffer) override { benchmark::DoNotOptimize(io_pBuffer); }
};

class AudioProcessorBase : public AudioProcessor {
protected:
    ~AudioProcessorBase() = default;
};

class NullWrapper final : public OvProcessorWrapper<AudioProcessorBase, NullFX, NullParams> {};

void Report(benchmark::State& state)
{
    benchcounters::ReportFrames(state, kFrames, 44100.0);
}

// mode 0: steady; 1: a bypass change, so a crossfade, in every block.
void BM_WrapperOverNullPlugin(benchmark::State& state)
{
    const bool crossfade = state.range(0) != 0;
    auto* wrapper = new NullWrapper;
    wrapper->Init(kFrames, kChannels, 44100);
    std::vector<float> block(kFrames * kChannels, 0.25f);
    bool bypass = false;
    for (auto _ : state) {
        if (crossfade) {
            bypass = !bypass;
            wrapper->SetBypass(bypass);
        }
        bool draining = false;
        uint32_t frames = kFrames;
        wrapper->Process(block.data(), &draining, &frames);
        benchmark::DoNotOptimize(block.data());
        benchmark::ClobberMemory();
    }
    Report(state);
    wrapper->Destroy();
}
BENCHMARK(BM_WrapperOverNullPlugin)->Arg(0)->Arg(1)->ArgName("crossfade");

}  // namespace
