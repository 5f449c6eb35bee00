// Shared set-up of the EQ benchmarks: one 2048-frame stereo planar block at
// 44.1 kHz run through a wrapper, as the chain runs it.
#pragma once

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "FrameCounters.h"

namespace eqbench {

constexpr uint32_t kFrames = 2048;
constexpr uint32_t kChannels = 2;
constexpr uint32_t kRate = 44100;

inline std::vector<float> NoiseBlock()
{
    std::vector<float> block(kFrames * kChannels);
    uint32_t seed = 12345;
    for (float& v : block) {
        seed = seed * 1664525u + 1013904223u;
        v = 0.25f * (float(seed >> 8) / float(1u << 24) - 0.5f);
    }
    return block;
}

// Runs the processor on the same input block over and over.
template <class TProcessor>
void RunBlocks(benchmark::State& state, TProcessor* processor)
{
    const std::vector<float> input = NoiseBlock();
    std::vector<float> block = input;
    for (auto _ : state) {
        bool draining = false;
        uint32_t frames = kFrames;
        processor->Process(block.data(), &draining, &frames);
        benchmark::DoNotOptimize(block.data());
        benchmark::ClobberMemory();
        state.PauseTiming();
        block = input;
        state.ResumeTiming();
    }
    benchcounters::ReportFrames(state, kFrames, kRate);
}

}  // namespace eqbench
