#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "AudioFile.h"
#include "Commands.h"
#include "ToolError.h"
#include "lxaudioeffects/ReplayGainProcessor.h"

namespace lxfx {

namespace {

struct TrackResult {
    std::string file;
    std::string error;  // empty when measured
    ReplayGainInfo info = {0.0f, 0.0f};
};

// Floats in their shortest decimal form.
nlohmann::ordered_json FloatToJson(float value)
{
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return std::strtod(std::string(text, result.ptr).c_str(), nullptr);
}

void PrintTable(const std::vector<TrackResult>& tracks, const ReplayGainInfo* album,
                const char* albumNote)
{
    std::printf("%-6s %8s %9s  %s\n", "", "gain dB", "peak", "file");
    for (const TrackResult& track : tracks)
        if (track.error.empty())
            std::printf("%-6s %8.2f %9.6f  %s\n", "track", track.info.gain, track.info.peak,
                        track.file.c_str());
    if (album)
        std::printf("%-6s %8.2f %9.6f\n", "album", album->gain, album->peak);
    else
        std::printf("%-6s %s\n", "album", albumNote);
}

void PrintJson(const std::vector<TrackResult>& tracks, const ReplayGainInfo* album,
               const char* albumNote)
{
    nlohmann::ordered_json document;
    document["tracks"] = nlohmann::ordered_json::array();
    for (const TrackResult& track : tracks) {
        nlohmann::ordered_json entry;
        entry["file"] = track.file;
        if (track.error.empty()) {
            entry["gain"] = FloatToJson(track.info.gain);
            entry["peak"] = FloatToJson(track.info.peak);
        } else {
            entry["error"] = track.error;
        }
        document["tracks"].push_back(entry);
    }
    if (album)
        document["album"] = {{"gain", FloatToJson(album->gain)}, {"peak", FloatToJson(album->peak)}};
    else
        document["album"] = {{"error", albumNote}};
    std::printf("%s\n", document.dump(2).c_str());
}

}  // namespace

// Each file gets an analyser of its own, so that its track figures do not
// depend on the files before it. A second analyser hears all files as one
// stream, as in a gapless album, and gives the album figures; it reads float,
// so files of any encoding can share it, but a file of another rate or
// channel count would need a new Init, which ends the album measurement.
int RunReplayGain(const ReplayGainOptions& options)
{
    ReplayGainProcessor albumAnalyser;
    std::vector<TrackResult> tracks;
    bool albumStarted = false;
    bool albumBroken = false;
    uint32_t albumChannels = 0, albumSampleRate = 0;
    std::vector<float> chunk;

    for (const std::string& file : options.files) {
        TrackResult track;
        track.file = file;
        try {
            AudioFileReader reader(file);
            reader.ReadAsFloat();
            const StreamFormat& format = reader.Format();
            ReplayGainProcessor trackAnalyser;
            if (!trackAnalyser.Init(AUDIO_SAMPLEFORMAT_FLOAT, format.channels, format.sampleRate))
                throw ToolError("the analyser refused " + std::to_string(format.sampleRate) +
                                " Hz, " + std::to_string(format.channels) + " channels");
            if (!albumStarted) {
                albumStarted = albumAnalyser.Init(AUDIO_SAMPLEFORMAT_FLOAT, format.channels,
                                                  format.sampleRate);
                albumChannels = format.channels;
                albumSampleRate = format.sampleRate;
            } else if (format.channels != albumChannels || format.sampleRate != albumSampleRate) {
                albumBroken = true;
            }
            const bool toAlbum = albumStarted && !albumBroken;

            constexpr size_t kChunkFrames = 4096;
            chunk.resize(kChunkFrames * format.channels);
            for (size_t frames; (frames = reader.Read(chunk.data(), kChunkFrames)) > 0;) {
                trackAnalyser.PushSamples(chunk.data(), unsigned(frames), false);
                if (toAlbum)
                    albumAnalyser.PushSamples(chunk.data(), unsigned(frames), false);
            }
            // The end of the track closes the 100 ms block being gathered; the
            // album stream runs on into the next file.
            trackAnalyser.PushSamples(nullptr, 0, true);
            trackAnalyser.GetReplayGain(ReplayGainTrack, track.info);
        } catch (const ToolError& error) {
            track.error = error.what();
            std::fprintf(stderr, "lxfx: error: %s\n", error.what());
        }
        tracks.push_back(track);
    }
    if (albumStarted && !albumBroken)
        albumAnalyser.PushSamples(nullptr, 0, true);

    size_t measured = 0;
    for (const TrackResult& track : tracks)
        measured += track.error.empty();
    ReplayGainInfo album = {0.0f, 0.0f};
    const char* albumNote = "";
    if (measured == 0 || !albumStarted)
        albumNote = "no file could be measured";
    else if (albumBroken)
        albumNote = "not measured: the files differ in sample rate or channel count";
    else
        albumAnalyser.GetReplayGain(ReplayGainAlbum, album);
    const ReplayGainInfo* albumShown = *albumNote ? nullptr : &album;

    if (options.json)
        PrintJson(tracks, albumShown, albumNote);
    else
        PrintTable(tracks, albumShown, albumNote);
    return measured == tracks.size() ? 0 : kExitBadInput;
}

}  // namespace lxfx
