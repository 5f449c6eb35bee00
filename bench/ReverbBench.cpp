// Room reverb cost per stereo frame, 2048-frame blocks: Quality 8 and 16 at
// 44.1 kHz and Quality 16 at 192 kHz, with ER on at the front end's levels;
// one reverb unit's four-line step against its scalar form; and four units
// side by side.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "FrameCounters.h"

#include "ov/OvMemAllocDefault.h"
#include "sdk/plugins/OvRoomVerb/ReverbUnit.h"
#include "wrappers/ReverbProcessorImpl.h"

namespace {

constexpr uint32_t kFrames = 2048;

void BM_RoomReverbStereo(benchmark::State& state)
{
    const uint32_t quality = uint32_t(state.range(0));
    const uint32_t rate = uint32_t(state.range(1));
    ReverbProcessor* reverb = ReverbProcessor::Create();
    reverb->Init(kFrames, 2, rate);
    reverb->SetBypass(false);
    reverb->SetEarlyReflections(true, 23, 0.0f, 40.0f);
    const ReverbParams body = {25.0f, 1.8f, 2.25f, 80.0f, 100.0f, quality, 100.0f, 180.0f};
    reverb->SetReverbBody(body);
    reverb->SetOutputLevels(0.0f, -14.0f, -12.0f);
    std::vector<float> source(2 * kFrames), block(2 * kFrames);
    for (uint32_t i = 0; i < kFrames; ++i) {
        source[i] = 0.1f * std::sin(0.05f * float(i));
        source[kFrames + i] = 0.1f * std::sin(0.07f * float(i));
    }
    for (auto _ : state) {
        block = source;
        bool draining = false;
        uint32_t frames = kFrames;
        reverb->Process(block.data(), &draining, &frames);
        benchmark::DoNotOptimize(block.data());
    }
    benchcounters::ReportFrames(state, kFrames, rate);
    reverb->Destroy();
}
BENCHMARK(BM_RoomReverbStereo)->Args({8, 44100})->Args({16, 44100})->Args({16, 192000});

void BM_ReverbUnit(benchmark::State& state)
{
    const bool scalar = state.range(0) != 0;
    const uint32_t lengths[4] = {1627, 1801, 1979, 2437};
    ReverbUnit unit;
    unit.Init(OV::DefaultAllocator(), lengths, 4);
    unit.Reset();
    unit.SetDecay(1.8, 2.25, 44100);
    std::vector<float> x(256), bus0(256), bus1(256);
    for (uint32_t i = 0; i < 256; ++i)
        x[i] = 0.1f * std::sin(0.05f * float(i));
    float* outputs[2] = {bus0.data(), bus1.data()};
    for (auto _ : state) {
        if (scalar)
            unit.ProcessScalar(x.data(), outputs, 2, 256);
        else
            unit.Process(x.data(), outputs, 2, 256);
        benchmark::DoNotOptimize(bus0.data());
    }
    benchcounters::ReportFrames(state, 256, 44100);
    state.SetLabel(scalar ? "scalar" : "four lines per step");
    unit.Term(OV::DefaultAllocator());
}
BENCHMARK(BM_ReverbUnit)->Arg(0)->Arg(1);

// Four units side by side, as the reverb runs them: SSE (four lines to a
// register) and, where the processor has it, AVX (two units to a register).
// Frames are counted per unit, to compare with BM_ReverbUnit.
void BM_ReverbUnitsSideBySide(benchmark::State& state)
{
    const ReverbUnitPath path = state.range(0) != 0 ? ReverbUnit::WidestPath() : ReverbUnitPath::Sse2;
    const uint32_t lengths[4][4] = {
        {1627, 1801, 1979, 2437}, {1657, 1823, 2017, 2281}, {1663, 1847, 2039, 2287}, {1693, 1871, 2081, 2333}};
    ReverbUnit units[4];
    for (uint32_t k = 0; k < 4; ++k) {
        units[k].Init(OV::DefaultAllocator(), lengths[k], 4);
        units[k].Reset();
        units[k].SetDecay(1.8, 2.25, 44100);
    }
    std::vector<float> x(256), bus0(256), bus1(256);
    for (uint32_t i = 0; i < 256; ++i)
        x[i] = 0.1f * std::sin(0.05f * float(i));
    const float* inputs[4] = {x.data(), x.data(), x.data(), x.data()};
    float* outputs[4] = {bus0.data(), bus1.data(), bus0.data(), bus1.data()};
    for (auto _ : state) {
        ReverbUnit::ProcessSideBySide(units, 4, inputs, outputs, 1, 256, path);
        benchmark::DoNotOptimize(bus0.data());
    }
    benchcounters::ReportFrames(state, 4 * 256, 44100);
    state.SetLabel(path == ReverbUnitPath::Avx ? "AVX, two units per register" : "SSE, four lines per register");
    for (ReverbUnit& unit : units)
        unit.Term(OV::DefaultAllocator());
}
BENCHMARK(BM_ReverbUnitsSideBySide)->Arg(0)->Arg(1);

}  // namespace
