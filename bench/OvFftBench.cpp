// The library's own FFT against the FFmpeg adapter, in one run: a
// 1024-point complex transform and a 2048-point real one, each direction.
// Counters: time per transform (the benchmark's own) and per point.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "common/FFmpegFft.h"
#include "ov/OvMemAllocDefault.h"
#include "sdk/dsp/convolution/ov_fft.h"
#include "sdk/dsp/convolution/ov_fftr.h"

namespace {

template <class Cfg, class Alloc>
Cfg Build(Alloc alloc, int n, int inverse)
{
    size_t bytes = 0;
    alloc(n, inverse, nullptr, &bytes);
    return alloc(n, inverse, OV::DefaultAllocator()->Malloc(bytes), &bytes);
}

void ReportPoints(benchmark::State& state, double points)
{
    state.counters["time/point"] =
        benchmark::Counter(double(state.iterations()) * points, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_OvFftComplex1024(benchmark::State& state)
{
    ov_fft_cfg st = Build<ov_fft_cfg>(ov_fft_alloc, 1024, int(state.range(0)));
    std::vector<ov_fft_cpx> in(1024), out(1024);
    for (int i = 0; i < 1024; ++i)
        in[i] = {std::sin(0.1f * i), std::cos(0.37f * i)};
    for (auto _ : state) {
        ov_fft(st, in.data(), out.data());
        benchmark::DoNotOptimize(out.data());
    }
    ReportPoints(state, 1024);
    OV::DefaultAllocator()->Free(st);
}
BENCHMARK(BM_OvFftComplex1024)->Arg(0)->Arg(1);

void BM_FFmpegFftComplex1024(benchmark::State& state)
{
    FFmpegComplexFft* fft = FFmpegComplexFft::Create(10);
    auto* data = static_cast<FftComplex*>(AllocateFftBuffer(1024 * sizeof(FftComplex)));
    for (int i = 0; i < 1024; ++i)
        data[i] = {std::sin(0.1f * i), std::cos(0.37f * i)};
    for (auto _ : state) {
        if (state.range(0))
            fft->Inverse(data);
        else
            fft->Forward(data);
        benchmark::DoNotOptimize(data);
    }
    ReportPoints(state, 1024);
    FreeFftBuffer(data);
    fft->Destroy();
}
BENCHMARK(BM_FFmpegFftComplex1024)->Arg(0)->Arg(1);

void BM_OvFftReal2048(benchmark::State& state)
{
    const bool inverse = state.range(0) != 0;
    ov_fftr_cfg st = Build<ov_fftr_cfg>(ov_fftr_alloc, 2048, inverse);
    auto* time = static_cast<float*>(OV::DefaultAllocator()->Malloc(2048 * sizeof(float)));
    auto* freq = static_cast<ov_fft_cpx*>(OV::DefaultAllocator()->Malloc(1025 * sizeof(ov_fft_cpx)));
    for (int i = 0; i < 2048; ++i)
        time[i] = std::sin(0.1f * i);
    for (int i = 0; i < 1025; ++i)
        freq[i] = {std::sin(0.3f * i), 0.0f};
    for (auto _ : state) {
        if (inverse)
            ov_fftri(st, freq, time);
        else
            ov_fftr(st, time, freq);
        benchmark::DoNotOptimize(time);
        benchmark::DoNotOptimize(freq);
    }
    ReportPoints(state, 2048);
    OV::DefaultAllocator()->Free(time);
    OV::DefaultAllocator()->Free(freq);
    OV::DefaultAllocator()->Free(st);
}
BENCHMARK(BM_OvFftReal2048)->Arg(0)->Arg(1);

void BM_FFmpegFftReal2048(benchmark::State& state)
{
    FFmpegRealFft* fft = FFmpegRealFft::Create(11);
    auto* data = static_cast<float*>(AllocateFftBuffer(2048 * sizeof(float)));
    for (int i = 0; i < 2048; ++i)
        data[i] = std::sin(0.1f * i);
    for (auto _ : state) {
        if (state.range(0))
            fft->Inverse(data);
        else
            fft->Forward(data);
        benchmark::DoNotOptimize(data);
    }
    ReportPoints(state, 2048);
    FreeFftBuffer(data);
    fft->Destroy();
}
BENCHMARK(BM_FFmpegFftReal2048)->Arg(0)->Arg(1);

}  // namespace
