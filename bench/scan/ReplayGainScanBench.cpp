// lxfx replaygain over 100 generated 3-minute 44.1 kHz stereo FLAC files,
// with one and with two decoding jobs: files per second of wall time. The
// files are made once into the build folder and reused.
#include <benchmark/benchmark.h>

#include <sndfile.hh>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kFiles = 100;
constexpr int kRate = 44100;
constexpr int kSeconds = 180;

std::string FileName(int index)
{
    char name[32];
    std::snprintf(name, sizeof name, "/track%03d.flac", index);
    return LXFX_SCAN_FILES_DIR + std::string(name);
}

// Music-like: a few drifting partials over noise, under a slow envelope.
void MakeFiles()
{
    std::filesystem::create_directories(LXFX_SCAN_FILES_DIR);
    std::vector<float> chunk(2 * kRate);
    for (int f = 0; f < kFiles; ++f) {
        const std::string path = FileName(f);
        if (std::filesystem::exists(path))
            continue;
        SndfileHandle file(path, SFM_WRITE, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 2, kRate);
        std::mt19937 rng(f);
        std::normal_distribution<float> noise(0.0f, 0.02f);
        for (int second = 0; second < kSeconds; ++second) {
            for (int i = 0; i < kRate; ++i) {
                const double t = second + double(i) / kRate;
                const double envelope = 0.5 + 0.4 * std::sin(0.3 * t + f);
                const double tone = std::sin(2 * M_PI * (110.0 + f) * t) + 0.5 * std::sin(2 * M_PI * 440.0 * t) +
                                    0.25 * std::sin(2 * M_PI * (1760.0 + 3 * f) * t);
                chunk[2 * i] = float(0.3 * envelope * tone) + noise(rng);
                chunk[2 * i + 1] = float(0.3 * envelope * tone * 0.9) + noise(rng);
            }
            file.writef(chunk.data(), kRate);
        }
    }
}

void BM_ReplayGainScanFlac(benchmark::State& state)
{
    MakeFiles();
    std::string command = std::string(LXFX_BINARY) + " replaygain --quiet --jobs " + std::to_string(state.range(0));
    for (int f = 0; f < kFiles; ++f)
        command += " " + FileName(f);
    command += " > /dev/null";
    for (auto _ : state)
        if (std::system(command.c_str()) != 0)
            state.SkipWithError("lxfx replaygain failed");
    state.counters["files/s"] = benchmark::Counter(double(kFiles) * double(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["xRealtime"] =
        benchmark::Counter(double(kFiles) * kSeconds * double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_ReplayGainScanFlac)->ArgName("jobs")->Arg(1)->Arg(2)->Iterations(3)->UseRealTime()->Unit(benchmark::kSecond);

}  // namespace
