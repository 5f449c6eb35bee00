// lxfx replaygain: track and album figures against the calibration of gated
// loudness (a 0 dBFS 1 kHz sine in one channel reads -3.01), and the handling
// of bad files and mixed formats.
#include <algorithm>
#include <cmath>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sndfile.h>

#include "ToolHarness.h"

namespace lxfxtest {
namespace {

using Json = nlohmann::json;

// A 1 kHz sine of the given peak on every channel.
AudioData Sine(int format, int channels, int sampleRate, double peakDbfs, double seconds)
{
    AudioData audio;
    audio.format = format;
    audio.channels = channels;
    audio.sampleRate = sampleRate;
    const bool integer = (format & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_16;
    const double amplitude = std::pow(10.0, peakDbfs / 20.0) * (integer ? 32768.0 : 1.0);
    for (int i = 0; i < int(seconds * sampleRate); ++i) {
        const double value = amplitude * std::sin(2 * M_PI * 1000.0 * i / sampleRate);
        for (int c = 0; c < channels; ++c)
            audio.samples.push_back(integer ? std::round(value) : float(value));
    }
    return audio;
}

Json Measure(const std::vector<std::string>& files, int expectedStatus = 0)
{
    std::vector<std::string> args = {"replaygain", "--json"};
    args.insert(args.end(), files.begin(), files.end());
    const RunResult run = RunLxfx(args);
    EXPECT_EQ(run.exitStatus, expectedStatus) << run.err;
    return Json::parse(run.out);
}

constexpr int kWavFloat = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
constexpr int kWav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

double TrackGain(const Json& result, size_t index)
{
    return result["tracks"][index]["gain"].get<double>();
}

TEST(LxfxReplayGain, TrackGainFollowsLevelChannelsAndNotTheEncodingOrRate)
{
    ScratchDir dir;
    const struct {
        const char* name;
        AudioData audio;
        double peak;
    } files[] = {
        {"a.wav", Sine(kWavFloat, 2, 44100, -20.0, 3.0), 0.1},
        {"b.wav", Sine(kWav16, 2, 44100, -20.0, 3.0), 0.1},
        {"c.wav", Sine(kWavFloat, 1, 44100, -20.0, 3.0), 0.1},
        {"d.wav", Sine(kWavFloat, 2, 44100, -30.0, 3.0), std::pow(10.0, -1.5)},
        {"e.wav", Sine(kWavFloat, 2, 48000, -20.0, 3.0), 0.1},
        {"f.flac", Sine(SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 2, 96000, -20.0, 3.0), 0.1},
    };
    std::vector<std::string> paths;
    for (const auto& file : files) {
        paths.push_back(dir.Path(file.name));
        WriteAudio(paths.back(), file.audio);
    }
    const Json result = Measure(paths);
    ASSERT_EQ(result["tracks"].size(), 6u);
    for (size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(result["tracks"][i]["file"], paths[i]);
        EXPECT_NEAR(result["tracks"][i]["peak"].get<double>(), files[i].peak, 2e-5) << i;
    }
    // Near the calibration of gated loudness (-20 dBFS on two channels reads
    // -20, so the gain to -18 is +2); the measuring filters and the first
    // gating blocks, which hold less than 400 ms, move it by a fraction of a dB.
    EXPECT_NEAR(TrackGain(result, 0), 2.0, 0.5);
    // The encoding changes nothing, one channel of two is 3.01 dB quieter, a
    // tenth of the amplitude 20 dB quieter, and each rate gets its own filters.
    EXPECT_NEAR(TrackGain(result, 1), TrackGain(result, 0), 0.01);
    EXPECT_NEAR(TrackGain(result, 2) - TrackGain(result, 0), 3.01, 0.01);
    EXPECT_NEAR(TrackGain(result, 3) - TrackGain(result, 0), 10.0, 0.01);
    EXPECT_NEAR(TrackGain(result, 4), TrackGain(result, 0), 0.05);
    EXPECT_NEAR(TrackGain(result, 5), TrackGain(result, 0), 0.05);
}

TEST(LxfxReplayGain, AlbumGatesTheBlocksOfAllTracksTogether)
{
    ScratchDir dir;
    WriteAudio(dir.Path("loud.wav"), Sine(kWavFloat, 2, 44100, -20.0, 10.0));
    WriteAudio(dir.Path("quiet.wav"), Sine(kWavFloat, 2, 44100, -30.0, 10.0));
    AudioData silence = Sine(kWavFloat, 2, 44100, -20.0, 2.0);
    std::fill(silence.samples.begin(), silence.samples.end(), 0.0);
    WriteAudio(dir.Path("silent.wav"), silence);

    // Alone, one track is its own album.
    const Json single = Measure({dir.Path("loud.wav")});
    EXPECT_EQ(single["album"]["gain"], single["tracks"][0]["gain"]);
    EXPECT_EQ(single["album"]["peak"], single["tracks"][0]["peak"]);

    const Json result = Measure({dir.Path("silent.wav"), dir.Path("loud.wav"), dir.Path("quiet.wav")});
    ASSERT_EQ(result["tracks"].size(), 3u);
    // Silence stays under the absolute gate, and the track figures do not
    // depend on the files before them.
    EXPECT_EQ(TrackGain(result, 0), 78.0);
    EXPECT_EQ(result["tracks"][0]["peak"].get<double>(), 0.0);
    EXPECT_EQ(result["tracks"][1]["gain"], single["tracks"][0]["gain"]);
    // Equal lengths at -20 and -30: the quiet blocks pass the relative gate
    // (10 dB under the mean power), so the album sits at the mean power,
    // 10 log10(0.55) under the loud track, give or take the gating blocks that
    // straddle the tracks' edges; the silent blocks count for nothing.
    EXPECT_NEAR(result["album"]["gain"].get<double>() - TrackGain(result, 1), -10 * std::log10(0.55), 0.1);
    EXPECT_NEAR(result["album"]["peak"].get<double>(), 0.1, 2e-5);

    // The table says the same.
    const RunResult table = RunLxfx({"replaygain", dir.Path("silent.wav"), dir.Path("loud.wav")});
    ASSERT_EQ(table.exitStatus, 0) << table.err;
    const std::vector<std::string> lines = SplitLines(table.out);
    ASSERT_EQ(lines.size(), 4u) << table.out;
    EXPECT_EQ(lines[0], "        gain dB      peak  file");
    EXPECT_EQ(lines[1], "track     78.00  0.000000  " + dir.Path("silent.wav"));
    EXPECT_EQ(lines[3].substr(0, 6), "album ");
}

TEST(LxfxReplayGain, BadFilesAreReportedWithoutStoppingTheOthers)
{
    ScratchDir dir;
    WriteAudio(dir.Path("a.wav"), Sine(kWavFloat, 2, 44100, -20.0, 1.0));
    WriteText(dir.Path("notes.txt"), "not audio");
    WriteAudio(dir.Path("b.wav"), Sine(kWav16, 2, 44100, -20.0, 1.0));
    const std::vector<std::string> files = {dir.Path("a.wav"), dir.Path("none.wav"),
                                            dir.Path("notes.txt"), dir.Path("b.wav")};
    std::vector<std::string> args = {"replaygain"};
    args.insert(args.end(), files.begin(), files.end());
    const RunResult table = RunLxfx(args);
    EXPECT_EQ(table.exitStatus, 2);
    const std::vector<std::string> errors = SplitLines(table.err);
    ASSERT_EQ(errors.size(), 2u) << table.err;
    EXPECT_NE(errors[0].find("none.wav"), std::string::npos);
    EXPECT_NE(errors[1].find("notes.txt"), std::string::npos);
    EXPECT_EQ(SplitLines(table.out).size(), 4u) << table.out;  // heading, two tracks, album

    const Json result = Measure(files, 2);
    ASSERT_EQ(result["tracks"].size(), 4u);
    EXPECT_TRUE(result["tracks"][1].contains("error"));
    EXPECT_TRUE(result["tracks"][2].contains("error"));
    EXPECT_FALSE(result["tracks"][1].contains("gain"));
    // The same signal measures the same in float and in 16-bit.
    EXPECT_NEAR(result["tracks"][0]["gain"].get<double>(), result["tracks"][3]["gain"].get<double>(), 0.01);
    EXPECT_TRUE(result["album"].contains("gain"));
}

TEST(LxfxReplayGain, FilesOfDifferentRatesGetTrackGainsButNoAlbum)
{
    ScratchDir dir;
    WriteAudio(dir.Path("a.wav"), Sine(kWavFloat, 2, 44100, -20.0, 1.0));
    WriteAudio(dir.Path("b.wav"), Sine(kWavFloat, 2, 48000, -20.0, 1.0));
    WriteAudio(dir.Path("c.wav"), Sine(kWavFloat, 1, 48000, -20.0, 1.0));
    const Json result = Measure({dir.Path("a.wav"), dir.Path("b.wav"), dir.Path("c.wav")});
    ASSERT_EQ(result["tracks"].size(), 3u);
    EXPECT_NEAR(TrackGain(result, 1), TrackGain(result, 0), 0.05);
    EXPECT_NEAR(TrackGain(result, 2) - TrackGain(result, 0), 3.01, 0.01);
    EXPECT_FALSE(result["album"].contains("gain"));
    EXPECT_NE(result["album"]["error"].get<std::string>().find("sample rate or channel count"),
              std::string::npos);
}

}  // namespace
}  // namespace lxfxtest
