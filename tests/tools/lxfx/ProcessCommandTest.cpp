// lxfx process on real files: what comes out of the default chain, the
// containers and encodings kept, the figures of the summary.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <sndfile.h>

#include "ToolHarness.h"

namespace lxfxtest {
namespace {

// 2 s and 123 frames: no block size divides it, so the front end adds no frame.
constexpr int kFrames = 88323;

// A signal peaking at exactly -20 dBFS (rounded to the encoding's step): a
// sine on the first channel, seeded noise on the others, and one sample at the
// peak on each channel.
AudioData QuietSignal(int format, int channels, int sampleRate, double fullScale, bool integer)
{
    AudioData audio;
    audio.format = format;
    audio.channels = channels;
    audio.sampleRate = sampleRate;
    const double peak = integer ? std::round(0.1 * fullScale) : 0.1;
    std::mt19937 random(1234);
    std::uniform_real_distribution<double> noise(-0.9, 0.9);
    for (int i = 0; i < kFrames; ++i) {
        for (int c = 0; c < channels; ++c) {
            double value = c == 0 ? 0.9 * std::sin(2 * M_PI * 997.0 * i / sampleRate) : noise(random);
            value = i == 1000 + c ? (c % 2 ? -1.0 : 1.0) : value;
            audio.samples.push_back(integer ? std::round(value * peak) : float(value * peak));
        }
    }
    return audio;
}

TEST(LxfxProcess, DefaultChainReturnsQuietPcmBitExactAndOfTheSameLength)
{
    struct Case {
        const char* name;
        int encoding;
        int channels;
        int sampleRate;
        double fullScale;  // 0 for float
        std::vector<std::string> extraArgs;
    };
    // The limiter is on by default: at -20 dBFS its 0 dB ceiling must leave
    // every sample alone. Two layouts run with it off, by design: a mono
    // limiter works in its dB law, whose unity gain is 0.999039, and 8-bit
    // PCM enters the chain with its standing offset of 1.0, which the
    // ceiling holds down.
    const Case cases[] = {
        {"16-bit stereo", SF_FORMAT_PCM_16, 2, 44100, 32768.0, {}},
        {"16-bit stereo, odd chunks", SF_FORMAT_PCM_16, 2, 44100, 32768.0, {"--chunk-bytes", "1001"}},
        {"16-bit stereo, one frame a push", SF_FORMAT_PCM_16, 2, 44100, 32768.0,
         {"--chunk-bytes", "4", "--buffer-bytes", "0"}},
        {"16-bit mono 48 kHz", SF_FORMAT_PCM_16, 1, 48000, 32768.0, {"--set", "limiter.on=false"}},
        {"16-bit stereo 48 kHz", SF_FORMAT_PCM_16, 2, 48000, 32768.0, {}},
        {"24-bit stereo", SF_FORMAT_PCM_24, 2, 44100, 8388608.0, {}},
        {"8-bit mono", SF_FORMAT_PCM_U8, 1, 22050, 128.0, {"--set", "limiter.on=false"}},
        {"float 6 channels", SF_FORMAT_FLOAT, 6, 48000, 0.0, {"--chunk-bytes", "65536"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScratchDir dir;
        const AudioData input = QuietSignal(SF_FORMAT_WAV | c.encoding, c.channels, c.sampleRate,
                                            c.fullScale, c.fullScale > 0.0);
        WriteAudio(dir.Path("in.wav"), input);
        std::vector<std::string> args = {"process", dir.Path("in.wav"), dir.Path("out.wav")};
        args.insert(args.end(), c.extraArgs.begin(), c.extraArgs.end());
        const RunResult run = RunLxfx(args);
        ASSERT_EQ(run.exitStatus, 0) << run.err;

        const AudioData output = ReadAudio(dir.Path("out.wav"));
        EXPECT_EQ(output.format, input.format);
        EXPECT_EQ(output.channels, input.channels);
        EXPECT_EQ(output.sampleRate, input.sampleRate);
        ASSERT_EQ(output.samples.size(), input.samples.size());
        size_t differences = 0;
        for (size_t i = 0; i < input.samples.size(); ++i)
            differences += output.samples[i] != input.samples[i];
        EXPECT_EQ(differences, 0u);

        // The summary measures the same peak in and out.
        char peak[64];
        std::snprintf(peak, sizeof peak, "%d frames  peak %6.2f dBFS", kFrames,
                      c.fullScale > 0.0 ? 20 * std::log10(std::round(0.1 * c.fullScale) / c.fullScale)
                                        : -20.0);
        EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 4) << run.out;
        EXPECT_NE(run.out.find(peak), std::string::npos) << run.out;
        EXPECT_NE(run.out.rfind(peak), run.out.find(peak)) << run.out;
    }
}

TEST(LxfxProcess, AStreamOfWholeBlocksEndsWithTheFrontEndsExtraFrame)
{
    // Ten blocks of 2048 frames: the end of the stream finds the input empty
    // and runs one more frame through the chain, which the host passes on.
    ScratchDir dir;
    AudioData input = QuietSignal(SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 44100, 32768.0, true);
    input.samples.resize(2 * 20480);
    WriteAudio(dir.Path("in.wav"), input);
    const RunResult run =
        RunLxfx({"process", dir.Path("in.wav"), dir.Path("out.wav"), "--buffer-bytes", "0"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.out.find("     20481 frames"), std::string::npos) << run.out;
    const AudioData output = ReadAudio(dir.Path("out.wav"));
    ASSERT_EQ(output.samples.size(), input.samples.size() + 2);
    EXPECT_TRUE(std::equal(input.samples.begin(), input.samples.end(), output.samples.begin()));
}

TEST(LxfxProcess, SummaryGivesDurationPeakAndRmsOfAKnownSine)
{
    // A full-period sine at -6.02 dBFS peak has an RMS 3.01 dB lower.
    ScratchDir dir;
    AudioData sine;
    sine.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    sine.channels = 1;
    sine.sampleRate = 48000;
    for (int i = 0; i < 48000 * 3 / 2; ++i)
        sine.samples.push_back(float(0.5 * std::sin(2 * M_PI * 1000.0 * i / 48000)));
    WriteAudio(dir.Path("sine.wav"), sine);
    const RunResult run = RunLxfx({"process", dir.Path("sine.wav"), dir.Path("out.wav")});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.out.find("format  48000 Hz, 1 channel, float"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("in          1.500 s       72000 frames  peak  -6.02 dBFS  RMS  -9.03 dBFS"),
              std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("x real time"), std::string::npos) << run.out;
}

TEST(LxfxProcess, FlacInFlacOutAndTheContainerFollowsTheExtension)
{
    ScratchDir dir;
    const AudioData input = QuietSignal(SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 2, 44100, 32768.0, true);
    WriteAudio(dir.Path("in.flac"), input);
    const struct {
        const char* name;
        int format;
    } outputs[] = {
        {"out.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16},
        {"out.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16},
        {"out.AIFF", SF_FORMAT_AIFF | SF_FORMAT_PCM_16},
    };
    for (const auto& out : outputs) {
        SCOPED_TRACE(out.name);
        const RunResult run = RunLxfx({"process", dir.Path("in.flac"), dir.Path(out.name), "--quiet"});
        ASSERT_EQ(run.exitStatus, 0) << run.err;
        const AudioData output = ReadAudio(dir.Path(out.name));
        EXPECT_EQ(output.format, out.format);
        EXPECT_TRUE(output.samples == input.samples);
    }
    // A float file into FLAC, which has no float encoding, keeps 24 bits.
    AudioData floats = QuietSignal(SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 44100, 0.0, false);
    WriteAudio(dir.Path("float.wav"), floats);
    ASSERT_EQ(RunLxfx({"process", dir.Path("float.wav"), dir.Path("float.flac")}).exitStatus, 0);
    const AudioData flac = ReadAudio(dir.Path("float.flac"));
    EXPECT_EQ(flac.format, SF_FORMAT_FLAC | SF_FORMAT_PCM_24);
    ASSERT_EQ(flac.samples.size(), floats.samples.size());
    for (size_t i = 0; i < floats.samples.size(); i += 97)
        ASSERT_NEAR(flac.samples[i] / 8388608.0, floats.samples[i], 1.0 / 8388608.0) << i;
    // Nothing but the outputs is left in the folder.
    EXPECT_EQ(dir.Files().size(), 6u);
}

}  // namespace
}  // namespace lxfxtest
