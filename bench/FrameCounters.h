// The two counters every benchmark here reports: "time/frame", seconds per
// frame printed with an SI prefix (e.g. "0.71ns"), and "xRealtime", seconds of
// audio processed per second.
#pragma once

#include <benchmark/benchmark.h>

namespace benchcounters {

// framesPerIteration frames at sampleRateHz went through in each iteration.
inline void ReportFrames(benchmark::State& state, double framesPerIteration, double sampleRateHz)
{
    const double frames = double(state.iterations()) * framesPerIteration;
    state.counters["time/frame"] =
        benchmark::Counter(frames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["xRealtime"] = benchmark::Counter(frames / sampleRateHz, benchmark::Counter::kIsRate);
}

}  // namespace benchcounters
