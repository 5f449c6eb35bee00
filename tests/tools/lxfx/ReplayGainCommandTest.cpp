// lxfx replaygain: track and album figures against the calibration of gated
// loudness (a 0 dBFS 1 kHz sine in one channel reads -3.01), and the handling
// of bad files and mixed formats.
#include <nlohmann/json.hpp>

#include "ToolHarness.h"

namespace lxfxtest {
namespace {

using Json = nlohmann::json;

constexpr int kWavFloat = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
constexpr int kWav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

// A 1 kHz sine of the given peak on every channel.
AudioData Sine(int format, int channels, int sampleRate, double peakDbfs, double seconds)
{
    AudioData audio{format, channels, sampleRate, {}};
    const bool integer = (format & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_16;
    const double amplitude = std::pow(10.0, peakDbfs / 20.0) * (integer ? 32768.0 : 1.0);
    for (int i = 0; i < int(seconds * sampleRate); ++i) {
        const double value = amplitude * std::sin(2 * M_PI * 1000.0 * i / sampleRate);
        audio.samples.insert(audio.samples.end(), channels, integer ? std::round(value) : float(value));
    }
    return audio;
}

// Writes the files into the folder and measures them with --json.
Json Measure(const ScratchDir& dir, const std::vector<std::pair<std::string, AudioData>>& files,
             int expectedStatus = 0)
{
    std::vector<std::string> args = {"replaygain", "--json"};
    for (const auto& [name, audio] : files) {
        if (!audio.samples.empty())
            WriteAudio(dir.Path(name), audio);
        args.push_back(dir.Path(name));
    }
    const RunResult run = RunLxfx(args);
    EXPECT_EQ(run.exitStatus, expectedStatus) << run.err;
    return Json::parse(run.out);
}

double TrackGain(const Json& result, size_t index)
{
    return result["tracks"][index]["gain"].get<double>();
}

TEST(LxfxReplayGain, TrackGainFollowsLevelAndChannelsButNotEncodingOrRate)
{
    ScratchDir dir;
    const Json result = Measure(dir, {{"a.wav", Sine(kWavFloat, 2, 44100, -20.0, 3.0)},
                                      {"b.wav", Sine(kWav16, 2, 44100, -20.0, 3.0)},
                                      {"c.wav", Sine(kWavFloat, 1, 44100, -20.0, 3.0)},
                                      {"d.wav", Sine(kWavFloat, 2, 44100, -30.0, 3.0)},
                                      {"e.wav", Sine(kWavFloat, 2, 48000, -20.0, 3.0)},
                                      {"f.flac", Sine(SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 2, 96000, -20.0, 3.0)}});
    // Near the calibration of gated loudness (-20 dBFS on two channels reads
    // -20, so the gain to -18 is +2); the measuring filters and the first
    // gating blocks, which hold less than 400 ms, move it by a fraction of a dB.
    ASSERT_EQ(result["tracks"].size(), 6u);
    EXPECT_NEAR(TrackGain(result, 0), 2.0, 0.5);
    // Against the first file: the encoding changes nothing, one channel of two
    // needs 3.01 dB more, 10 dB less level 10 dB more, and each rate gets its
    // own filters.
    const double moreGainDb[] = {0.0, 0.0, 3.01, 10.0, 0.0, 0.0};
    for (size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(result["tracks"][i]["file"], dir.Path(std::string(1, char('a' + i)) + (i == 5 ? ".flac" : ".wav")));
        EXPECT_NEAR(result["tracks"][i]["peak"].get<double>(), i == 3 ? std::pow(10.0, -1.5) : 0.1, 2e-5) << i;
        EXPECT_NEAR(TrackGain(result, i) - TrackGain(result, 0), moreGainDb[i], i < 4 ? 0.01 : 0.05) << i;
    }
    // Files of different rates or channel counts make no album.
    EXPECT_FALSE(result["album"].contains("gain"));
    EXPECT_NE(result["album"]["error"].get<std::string>().find("sample rate or channel count"), std::string::npos);
}

TEST(LxfxReplayGain, AlbumGatesTheBlocksOfAllTracksAndBadFilesDoNotStopTheOthers)
{
    ScratchDir dir;
    WriteText(dir.Path("notes.txt"), "not audio");
    AudioData silence = Sine(kWavFloat, 2, 44100, -20.0, 2.0);
    std::fill(silence.samples.begin(), silence.samples.end(), 0.0);
    const Json single = Measure(dir, {{"loud.wav", Sine(kWavFloat, 2, 44100, -20.0, 10.0)}});
    const Json result = Measure(dir, {{"silent.wav", silence}, {"none.wav", {}}, {"loud.wav", {}}, {"notes.txt", {}},
                                      {"quiet.wav", Sine(kWavFloat, 2, 44100, -30.0, 10.0)}}, 2);
    // Alone, one track is its own album.
    EXPECT_EQ(single["album"]["gain"], single["tracks"][0]["gain"]);
    EXPECT_EQ(single["album"]["peak"], single["tracks"][0]["peak"]);
    ASSERT_EQ(result["tracks"].size(), 5u);
    for (size_t bad : {1, 3})
        EXPECT_TRUE(result["tracks"][bad].contains("error") && !result["tracks"][bad].contains("gain")) << bad;
    // Silence stays under the absolute gate and leaves the filters at rest,
    // so the file after it measures as it does alone; a file after a loud one
    // hears only the filters' last milliseconds of it.
    EXPECT_EQ(TrackGain(result, 0), 78.0);
    EXPECT_EQ(result["tracks"][0]["peak"].get<double>(), 0.0);
    EXPECT_EQ(result["tracks"][2]["gain"], single["tracks"][0]["gain"]);
    EXPECT_NEAR(TrackGain(result, 4) - TrackGain(result, 2), 10.0, 0.01);
    // Equal lengths at -20 and -30: the quiet blocks pass the relative gate
    // (10 dB under the mean power), so the album sits at the mean power,
    // 10 log10(0.55) under the loud track, give or take the gating blocks that
    // straddle the tracks' edges; the silent blocks count for nothing.
    EXPECT_NEAR(result["album"]["gain"].get<double>() - TrackGain(result, 2), -10 * std::log10(0.55), 0.1);
    EXPECT_NEAR(result["album"]["peak"].get<double>(), 0.1, 2e-5);

    // The plain table: a heading, a line per good track and the album; one
    // line on stderr per bad file.
    const RunResult table =
        RunLxfx({"replaygain", dir.Path("notes.txt"), dir.Path("silent.wav"), dir.Path("none.wav")});
    EXPECT_EQ(table.exitStatus, 2);
    const std::vector<std::string> lines = SplitLines(table.out), errors = SplitLines(table.err);
    ASSERT_EQ(lines.size(), 3u) << table.out;
    EXPECT_EQ(lines[0], "        gain dB      peak  file");
    EXPECT_EQ(lines[1], "track     78.00  0.000000  " + dir.Path("silent.wav"));
    EXPECT_EQ(lines[2].substr(0, 6), "album ");
    ASSERT_EQ(errors.size(), 2u) << table.err;
    EXPECT_NE(errors[0].find("notes.txt"), std::string::npos);
    EXPECT_NE(errors[1].find("none.wav"), std::string::npos);
}

}  // namespace
}  // namespace lxfxtest
