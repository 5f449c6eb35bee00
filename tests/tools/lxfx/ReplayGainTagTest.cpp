// lxfx replaygain as a tagger: the tags each container gets, read back
// through TagLib's generic property interface; audio that decodes the same
// before and after; files that cannot be tagged; folders as albums; parallel
// scans that print what a serial scan prints.
#include <taglib/fileref.h>
#include <taglib/tpropertymap.h>

#include <cmath>
#include <filesystem>
#include <map>

#include <nlohmann/json.hpp>

#include "ToolHarness.h"

namespace lxfxtest {
namespace {

using Json = nlohmann::json;

// A 1 kHz sine with a slow tremolo, at peakDbfs, on every channel.
AudioData Tone(int format, int channels, int sampleRate, double peakDbfs, double seconds)
{
    AudioData audio{format, channels, sampleRate, {}};
    const bool pcm16 = (format & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_16;
    const double amplitude = std::pow(10.0, peakDbfs / 20.0) * (pcm16 ? 32767.0 : 1.0);
    for (int i = 0; i < int(seconds * sampleRate); ++i) {
        const double x = amplitude * (0.75 + 0.25 * std::cos(2 * M_PI * 3.0 * i / sampleRate)) *
                         std::sin(2 * M_PI * 1000.0 * i / sampleRate);
        audio.samples.insert(audio.samples.end(), channels, pcm16 ? std::round(x) : x);
    }
    return audio;
}

std::map<std::string, std::string> Tags(const std::string& path)
{
    std::map<std::string, std::string> tags;
    TagLib::FileRef file(path.c_str());
    if (file.isNull())
        return tags;
    const TagLib::PropertyMap properties = file.file()->properties();
    for (const auto& [key, values] : properties)
        if (key.startsWith("REPLAYGAIN") || key.startsWith("R128"))
            tags[key.to8Bit(true)] = values.toString().to8Bit(true);
    return tags;
}

std::string Fixed(double value, int decimals, const char* unit = "")
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f%s", decimals, value, unit);
    return text;
}

TEST(LxfxReplayGainTag, EachContainerGetsItsTagsAndKeepsItsAudio)
{
    ScratchDir dir;
    const std::vector<std::pair<std::string, AudioData>> files = {
        {"a.flac", Tone(SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 2, 44100, -12.0, 3.0)},
        {"b.ogg", Tone(SF_FORMAT_OGG | SF_FORMAT_VORBIS, 2, 44100, -16.0, 3.0)},
        {"c.opus", Tone(SF_FORMAT_OGG | SF_FORMAT_OPUS, 2, 48000, -20.0, 3.0)},
        {"d.mp3", Tone(SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 2, 44100, -8.0, 3.0)},
        {"e.wav", Tone(SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 44100, -20.0, 3.0)},
        {"f.aiff", Tone(SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 2, 44100, -6.0, 3.0)},
    };
    std::vector<std::string> args = {"replaygain", "--tag", "--json", "--quiet"};
    std::vector<AudioData> before;
    for (const auto& [name, audio] : files) {
        WriteAudio(dir.Path(name), audio);
        before.push_back(ReadAudio(dir.Path(name)));
        args.push_back(dir.Path(name));
    }
    // Two files of one rate and channel count make an album.
    const RunResult pair = RunLxfx({"replaygain", "--tag", dir.Path("a.flac"), dir.Path("f.aiff")});
    ASSERT_EQ(pair.exitStatus, 0) << pair.err;
    for (const char* name : {"a.flac", "f.aiff"})
        EXPECT_EQ(Tags(dir.Path(name)).count("REPLAYGAIN_ALBUM_GAIN"), 1u) << name;

    const RunResult run = RunLxfx(args);
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const Json result = Json::parse(run.out);
    EXPECT_TRUE(result["album"].contains("error")) << "44.1 and 48 kHz, one and two channels";
    for (size_t i = 0; i < files.size(); ++i) {
        const std::string path = dir.Path(files[i].first);
        SCOPED_TRACE(files[i].first);
        const Json& track = result["tracks"][i];
        const auto tags = Tags(path);
        EXPECT_EQ(tags.at("REPLAYGAIN_TRACK_GAIN"), Fixed(track["gain"].get<double>(), 2, " dB"));
        EXPECT_EQ(tags.at("REPLAYGAIN_TRACK_PEAK"), Fixed(track["peak"].get<double>(), 6));
        EXPECT_EQ(tags.count("REPLAYGAIN_ALBUM_GAIN"), 0u) << "no album, so the earlier album pair is gone";
        if (files[i].first == "c.opus") {
            EXPECT_EQ(tags.at("R128_TRACK_GAIN"),
                      std::to_string(std::lround((track["gain"].get<double>() - 5.0) * 256.0)));
        }
        const AudioData after = ReadAudio(path);
        EXPECT_TRUE(after.samples == before[i].samples) << "the audio decodes as before";
    }

    // A second scan that skips tagged files leaves them byte for byte.
    const std::string flacBytes = ReadText(dir.Path("a.flac"));
    const RunResult again = RunLxfx({"replaygain", "--tag", "--skip-existing", dir.Path("a.flac"), dir.Path("b.ogg")});
    EXPECT_EQ(again.exitStatus, 0) << again.err;
    EXPECT_EQ(SplitLines(again.out)[1], "track   skipped            " + dir.Path("a.flac"));
    EXPECT_EQ(ReadText(dir.Path("a.flac")), flacBytes);

    // A container without a tag convention is measured, reported and left
    // alone; the other files are tagged.
    WriteAudio(dir.Path("g.w64"), Tone(SF_FORMAT_W64 | SF_FORMAT_PCM_16, 2, 44100, -10.0, 2.0));
    const std::string w64Bytes = ReadText(dir.Path("g.w64"));
    const RunResult mixed = RunLxfx({"replaygain", "--tag", "--quiet", dir.Path("g.w64"), dir.Path("d.mp3")});
    EXPECT_EQ(mixed.exitStatus, 2);
    ASSERT_EQ(SplitLines(mixed.err).size(), 1u) << mixed.err;
    EXPECT_NE(mixed.err.find("cannot tag \"" + dir.Path("g.w64") + "\""), std::string::npos) << mixed.err;
    EXPECT_EQ(ReadText(dir.Path("g.w64")), w64Bytes);
    EXPECT_EQ(Tags(dir.Path("d.mp3")).count("REPLAYGAIN_ALBUM_GAIN"), 1u);
    EXPECT_EQ(dir.FileCount(), files.size() + 1) << "no temporary file is left";
}

TEST(LxfxReplayGainTag, FoldersAreAlbumsAndParallelScansPrintTheSerialResult)
{
    ScratchDir dir;
    namespace fs = std::filesystem;
    for (const char* folder : {"A", "B", "B/sub", "empty"})
        fs::create_directories(dir.Path(folder));
    WriteAudio(dir.Path("A/1.flac"), Tone(SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 2, 44100, -10.0, 4.0));
    WriteAudio(dir.Path("A/2.flac"), Tone(SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 2, 44100, -25.0, 3.0));
    WriteText(dir.Path("A/notes.txt"), "not audio");
    WriteAudio(dir.Path("B/x.wav"), Tone(SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 48000, -15.0, 2.0));
    for (const char* name : {"B/sub/z.wav", "B/sub/y.wav"})
        WriteAudio(dir.Path(name), Tone(SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 22050, -18.0, 2.5));

    const RunResult serial = RunLxfx({"replaygain", "--recursive", "--json", "--jobs", "1", dir.Path("")});
    ASSERT_EQ(serial.exitStatus, 0) << serial.err;
    for (const char* jobs : {"2", "5"}) {
        const RunResult parallel = RunLxfx({"replaygain", "--recursive", "--json", "--jobs", jobs, dir.Path("")});
        EXPECT_EQ(parallel.out, serial.out) << jobs << " jobs";
    }
    const Json result = Json::parse(serial.out);
    ASSERT_EQ(result["albums"].size(), 3u) << serial.out;
    const std::vector<std::vector<std::string>> expected = {{"A/1.flac", "A/2.flac"}, {"B/x.wav"},
                                                            {"B/sub/y.wav", "B/sub/z.wav"}};
    for (size_t a = 0; a < expected.size(); ++a)
        for (size_t t = 0; t < expected[a].size(); ++t)
            EXPECT_EQ(result["albums"][a]["tracks"][t]["file"], dir.Path(expected[a][t])) << a << " " << t;
    // A folder's album is the album of its files named on the command line.
    const RunResult named = RunLxfx({"replaygain", "--json", dir.Path("A/1.flac"), dir.Path("A/2.flac")});
    EXPECT_EQ(Json::parse(named.out)["album"], result["albums"][0]["album"]);
}

}  // namespace
}  // namespace lxfxtest
