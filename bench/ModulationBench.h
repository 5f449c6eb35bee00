// Shared set-up of the tremolo and vibrato benchmarks: cost per stereo frame
// at 44.1 kHz, blocks of 2048 frames of a sine, modulation range 0.5.
#pragma once

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "FrameCounters.h"

namespace modulationbench {

// Runs fx (from its Create, destroyed here) at freqHz over and over.
template <class TProcessor>
void RunStereo(benchmark::State& state, TProcessor* fx, double freqHz)
{
    const uint32_t frames = 2048;
    fx->Init(frames, 2, 44100);
    fx->SetParams(freqHz, 0.5);
    fx->SetBypass(false);
    std::vector<float> block(frames * 2);
    for (size_t n = 0; n < block.size(); ++n)
        block[n] = float(0.5 * std::sin(double(n) * 0.05));
    bool draining = false;
    for (auto _ : state) {
        uint32_t count = frames;
        fx->Process(block.data(), &draining, &count);
        benchmark::ClobberMemory();
    }
    benchcounters::ReportFrames(state, frames, 44100.0);
    fx->Destroy();
}

}  // namespace modulationbench
