// lxfx process on real files: what comes out of the default chain, the
// containers and encodings kept, the figures of the summary.
#include <cstdio>
#include <random>
#include <tuple>

#include "ToolHarness.h"

namespace lxfxtest {
namespace {

// A signal peaking at exactly -20 dBFS (rounded to the encoding's step): a
// sine on the first channel, seeded noise on the others, and one sample at the
// peak on each channel. fullScale is 0 for float.
AudioData QuietSignal(int format, int channels, int sampleRate, double fullScale, int frames)
{
    AudioData audio{format, channels, sampleRate, {}};
    const double peak = fullScale > 0.0 ? std::round(0.1 * fullScale) : 0.1;
    std::mt19937 random(1234);
    std::uniform_real_distribution<double> noise(-0.9, 0.9);
    for (int i = 0; i < frames; ++i) {
        for (int c = 0; c < channels; ++c) {
            double value = c == 0 ? 0.9 * std::sin(2 * M_PI * 997.0 * i / sampleRate) : noise(random);
            value = i == 1000 + c ? (c % 2 ? -1.0 : 1.0) : value;
            audio.samples.push_back(fullScale > 0.0 ? std::round(value * peak) : float(value * peak));
        }
    }
    return audio;
}

TEST(LxfxProcess, DefaultChainReturnsQuietPcmBitExactAndOfTheSameLength)
{
    struct Case {
        const char* name;
        int encoding, channels, sampleRate;
        double fullScale;  // 0 for float
        int frames, extraFrames;
        std::vector<std::string> extraArgs;
    };
    // 88323 frames: no block size divides it, so the front end adds no frame.
    // A stream of whole 2048-frame blocks finds the input empty at its end and
    // runs one more frame through the chain, which the host passes on.
    // The limiter is on by default: at -20 dBFS its 0 dB ceiling must leave
    // every sample alone. Two layouts run with it off, by design: a mono
    // limiter works in its dB law, whose unity gain is 0.999039, and 8-bit
    // PCM enters the chain with its standing offset of 1.0, which the
    // ceiling holds down.
    const Case cases[] = {
        {"16-bit stereo", SF_FORMAT_PCM_16, 2, 44100, 32768.0, 88323, 0, {}},
        {"16-bit stereo, odd chunks", SF_FORMAT_PCM_16, 2, 44100, 32768.0, 88323, 0, {"--chunk-bytes", "1001"}},
        {"16-bit stereo, one frame a push", SF_FORMAT_PCM_16, 2, 48000, 32768.0, 88323, 0,
         {"--chunk-bytes", "4", "--buffer-bytes", "0"}},
        {"16-bit stereo, whole blocks", SF_FORMAT_PCM_16, 2, 44100, 32768.0, 20480, 1, {"--buffer-bytes", "0"}},
        {"16-bit mono 48 kHz", SF_FORMAT_PCM_16, 1, 48000, 32768.0, 88323, 0, {"--set", "limiter.on=false"}},
        {"24-bit stereo", SF_FORMAT_PCM_24, 2, 44100, 8388608.0, 88323, 0, {}},
        {"8-bit mono", SF_FORMAT_PCM_U8, 1, 22050, 128.0, 88323, 0, {"--set", "limiter.on=false"}},
        {"float 6 channels", SF_FORMAT_FLOAT, 6, 48000, 0.0, 88323, 0, {"--chunk-bytes", "65536"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScratchDir dir;
        const AudioData input =
            QuietSignal(SF_FORMAT_WAV | c.encoding, c.channels, c.sampleRate, c.fullScale, c.frames);
        WriteAudio(dir.Path("in.wav"), input);
        std::vector<std::string> args = c.extraArgs;
        args.insert(args.begin(), {"process", dir.Path("in.wav"), dir.Path("out.wav")});
        const RunResult run = RunLxfx(args);
        ASSERT_EQ(run.exitStatus, 0) << run.err;

        AudioData output = ReadAudio(dir.Path("out.wav"));
        EXPECT_EQ(std::tie(output.format, output.channels, output.sampleRate),
                  std::tie(input.format, input.channels, input.sampleRate));
        ASSERT_EQ(output.samples.size(), input.samples.size() + size_t(c.extraFrames * c.channels));
        output.samples.resize(input.samples.size());
        EXPECT_TRUE(output.samples == input.samples);

        // The summary measures the same peak in and out.
        const double peakDbfs =
            c.fullScale > 0.0 ? 20 * std::log10(std::round(0.1 * c.fullScale) / c.fullScale) : -20.0;
        char in[64], out[64];
        std::snprintf(in, sizeof in, "%d frames  peak %6.2f dBFS", c.frames, peakDbfs);
        std::snprintf(out, sizeof out, "%d frames  peak %6.2f dBFS", c.frames + c.extraFrames, peakDbfs);
        EXPECT_EQ(SplitLines(run.out).size(), 4u) << run.out;
        EXPECT_NE(run.out.find(in), std::string::npos) << run.out;
        EXPECT_NE(run.out.find(out, run.out.find(in) + 1), std::string::npos) << run.out;
    }
}

TEST(LxfxProcess, FlacInFlacOutContainerFromTheExtensionAndTheSummaryFigures)
{
    ScratchDir dir;
    const AudioData input = QuietSignal(SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 2, 44100, 32768.0, 88323);
    WriteAudio(dir.Path("in.flac"), input);
    WriteText(dir.Path("out.wav"), "an older render, replaced");
    for (const auto& [name, format] : {std::pair{"out.flac", SF_FORMAT_FLAC}, std::pair{"out.wav", SF_FORMAT_WAV},
                                       std::pair{"out.AIFF", SF_FORMAT_AIFF}}) {
        SCOPED_TRACE(name);
        const RunResult run = RunLxfx({"process", dir.Path("in.flac"), dir.Path(name), "--quiet"});
        ASSERT_EQ(run.exitStatus, 0) << run.err;
        const AudioData output = ReadAudio(dir.Path(name));
        EXPECT_EQ(output.format, format | SF_FORMAT_PCM_16);
        EXPECT_TRUE(output.samples == input.samples);
    }
    // A float file into FLAC, which has no float encoding, keeps 24 bits. A
    // full-period sine at -6.02 dBFS peak has an RMS 3.01 dB lower.
    AudioData sine{SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 48000, {}};
    for (int i = 0; i < 72000; ++i)
        sine.samples.insert(sine.samples.end(), 2, float(0.5 * std::sin(2 * M_PI * 1000.0 * i / 48000)));
    WriteAudio(dir.Path("sine.wav"), sine);
    const RunResult run = RunLxfx({"process", dir.Path("sine.wav"), dir.Path("sine.flac")});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    for (const char* line : {"format  48000 Hz, 2 channels, float\n", "x real time",
                             "in          1.500 s       72000 frames  peak  -6.02 dBFS  RMS  -9.03 dBFS"})
        EXPECT_NE(run.out.find(line), std::string::npos) << run.out;
    const AudioData flac = ReadAudio(dir.Path("sine.flac"));
    EXPECT_EQ(flac.format, SF_FORMAT_FLAC | SF_FORMAT_PCM_24);
    ASSERT_EQ(flac.samples.size(), sine.samples.size());
    for (size_t i = 0; i < sine.samples.size(); i += 97)
        ASSERT_NEAR(flac.samples[i] / 8388608.0, sine.samples[i], 1.0 / 8388608.0) << i;
    // Nothing but the inputs and outputs is left in the folder.
    EXPECT_EQ(dir.FileCount(), 6u);
}

}  // namespace
}  // namespace lxfxtest

namespace lxfxtest {
namespace {

// A 24-bit stereo impulse file at 48 kHz, a unit tap 480 frames late on the
// left and an inverted one 960 frames late on the right, on a 44.1 kHz
// stream: resampled, the taps land 441 and 882 frames late. Each is a
// band-limited pulse normalised to unit energy, which passes a low tone at
// close to its level: the output is the input delayed, times one gain per
// channel, equal but for the sign.
TEST(LxfxProcess, FirImpulseFileAtAnotherRateDelaysEachChannelByItsTap)
{
    ScratchDir dir;
    AudioData impulse{SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, 48000, std::vector<double>(2 * 2000, 0.0)};
    impulse.samples[2 * 480] = 8388607.0;
    impulse.samples[2 * 960 + 1] = -8388607.0;
    WriteAudio(dir.Path("room.wav"), impulse);
    AudioData input{SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 44100, {}};
    const int frames = 30001;
    for (int i = 0; i < frames; ++i)
        for (double hz : {440.0, 700.0})
            input.samples.push_back(0.25 * std::sin(2 * M_PI * hz * i / 44100.0));
    WriteAudio(dir.Path("in.wav"), input);
    const RunResult run =
        RunLxfx({"process", dir.Path("in.wav"), dir.Path("out.wav"), "--fir-impulse", dir.Path("room.wav"), "--quiet"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const AudioData output = ReadAudio(dir.Path("out.wav"));
    ASSERT_EQ(output.samples.size(), input.samples.size());
    double gains[2];
    for (int c = 0; c < 2; ++c) {
        const int delay = c == 0 ? 441 : 882;
        double cross = 0.0, power = 0.0;
        for (int i = 2000; i < frames; ++i) {
            cross += output.samples[2 * i + c] * input.samples[2 * (i - delay) + c];
            power += input.samples[2 * (i - delay) + c] * input.samples[2 * (i - delay) + c];
        }
        gains[c] = cross / power;
        double error = 0.0;
        for (int i = 2000; i < frames; ++i)
            error += std::pow(output.samples[2 * i + c] - gains[c] * input.samples[2 * (i - delay) + c], 2);
        EXPECT_LT(std::sqrt(error / power), 1e-4) << "channel " << c;
    }
    EXPECT_NEAR(gains[0], -gains[1], 1e-5);
    EXPECT_GT(gains[0], 0.95);
    EXPECT_LT(gains[0], 1.06);
}

}  // namespace
}  // namespace lxfxtest
