#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Commands.h"
#include "ReplayGainScan.h"
#include "ReplayGainTags.h"
#include "ToolError.h"

namespace lxfx {

namespace {

namespace fs = std::filesystem;

// Floats in their shortest decimal form.
nlohmann::ordered_json FloatToJson(float value)
{
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return std::strtod(std::string(text, result.ptr).c_str(), nullptr);
}

bool IsAudioFileName(const fs::path& path)
{
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    for (const char* known : {".wav", ".wave", ".aif", ".aiff", ".aifc", ".flac", ".ogg", ".oga", ".opus", ".mp3"})
        if (extension == known)
            return true;
    return false;
}

TrackScan Track(const std::string& file)
{
    TrackScan track;
    track.file = file;
    return track;
}

// The files given form one album; with recursive, each folder given is
// walked and the audio files directly in each folder form an album, folders
// and files in name order.
std::vector<AlbumScan> CollectAlbums(const ReplayGainOptions& options)
{
    std::vector<AlbumScan> albums;
    AlbumScan loose;
    std::vector<fs::path> folders;
    for (const std::string& argument : options.files) {
        std::error_code error;
        if (options.recursive && fs::is_directory(argument, error)) {
            folders.push_back(argument);
            for (fs::recursive_directory_iterator it(argument, fs::directory_options::skip_permission_denied, error), end;
                 !error && it != end; it.increment(error))
                if (it->is_directory(error))
                    folders.push_back(it->path());
        } else {
            loose.tracks.push_back(Track(argument));
        }
    }
    if (!loose.tracks.empty())
        albums.push_back(loose);
    std::sort(folders.begin(), folders.end());
    folders.erase(std::unique(folders.begin(), folders.end()), folders.end());
    for (const fs::path& folder : folders) {
        AlbumScan album;
        album.folder = folder.string();
        std::vector<std::string> files;
        std::error_code error;
        for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error))
            if (it->is_regular_file(error) && IsAudioFileName(it->path()))
                files.push_back(it->path().string());
        std::sort(files.begin(), files.end());
        for (const std::string& file : files)
            album.tracks.push_back(Track(file));
        if (!album.tracks.empty())
            albums.push_back(album);
    }
    return albums;
}

void PrintTable(const std::vector<AlbumScan>& albums)
{
    std::printf("%-6s %8s %9s  %s\n", "", "gain dB", "peak", "file");
    for (const AlbumScan& album : albums) {
        for (const TrackScan& track : album.tracks) {
            if (track.skipped)
                std::printf("%-6s %8s %9s  %s\n", "track", "skipped", "", track.file.c_str());
            else if (track.error.empty())
                std::printf("%-6s %8.2f %9.6f  %s\n", "track", track.info.gain, track.info.peak,
                            track.file.c_str());
        }
        const std::string folder = album.folder.empty() ? "" : "  " + album.folder;
        if (album.note.empty())
            std::printf("%-6s %8.2f %9.6f%s\n", "album", album.info.gain, album.info.peak, folder.c_str());
        else
            std::printf("%-6s %s%s\n", "album", album.note.c_str(), folder.c_str());
    }
}

nlohmann::ordered_json AlbumJson(const AlbumScan& album)
{
    nlohmann::ordered_json document;
    if (!album.folder.empty())
        document["folder"] = album.folder;
    document["tracks"] = nlohmann::ordered_json::array();
    for (const TrackScan& track : album.tracks) {
        nlohmann::ordered_json entry;
        entry["file"] = track.file;
        if (track.skipped) {
            entry["skipped"] = true;
        } else if (track.error.empty()) {
            entry["gain"] = FloatToJson(track.info.gain);
            entry["peak"] = FloatToJson(track.info.peak);
            if (!track.tagError.empty())
                entry["tag_error"] = track.tagError;
        } else {
            entry["error"] = track.error;
        }
        document["tracks"].push_back(entry);
    }
    if (album.note.empty())
        document["album"] = {{"gain", FloatToJson(album.info.gain)}, {"peak", FloatToJson(album.info.peak)}};
    else
        document["album"] = {{"error", album.note}};
    return document;
}

// One album prints as it always has; several as a list of them.
void PrintJson(const std::vector<AlbumScan>& albums)
{
    nlohmann::ordered_json document;
    if (albums.size() == 1) {
        document = AlbumJson(albums[0]);
    } else {
        document["albums"] = nlohmann::ordered_json::array();
        for (const AlbumScan& album : albums)
            document["albums"].push_back(AlbumJson(album));
    }
    std::printf("%s\n", document.dump(2).c_str());
}

// Tags the album's measured files: the track pair, and the album pair when
// more than one file was measured as an album. Failures are reported and
// counted; the other files go on.
size_t TagAlbum(AlbumScan& album)
{
    size_t measured = 0, failed = 0;
    for (const TrackScan& track : album.tracks)
        measured += track.error.empty() && !track.skipped;
    const GainFigures albumFigures = {album.info.gain, album.info.peak};
    const bool withAlbum = measured > 1 && album.note.empty();
    for (TrackScan& track : album.tracks) {
        if (!track.error.empty() || track.skipped)
            continue;
        try {
            WriteReplayGainTags(track.file, {track.info.gain, track.info.peak}, withAlbum ? &albumFigures : nullptr);
        } catch (const ToolError& error) {
            track.tagError = error.what();
            std::fprintf(stderr, "lxfx: error: cannot tag \"%s\": %s\n", track.file.c_str(), error.what());
            ++failed;
        }
    }
    return failed;
}

// "[#####.....]  45%  45 / 100 files" on stderr when it is a terminal.
class FileProgress {
public:
    FileProgress(size_t total_, bool quiet) : total(total_), shown(!quiet && total_ > 1 && isatty(STDERR_FILENO)) {}
    ~FileProgress()
    {
        if (shown)
            std::fputs("\r\033[K", stderr);
    }
    void Update(size_t done)
    {
        if (!shown)
            return;
        constexpr size_t kWidth = 40;
        const size_t filled = done * kWidth / total;
        std::fprintf(stderr, "\r[%s%s] %3zu%%  %zu / %zu files", std::string(filled, '#').c_str(),
                     std::string(kWidth - filled, '.').c_str(), done * 100 / total, done, total);
        std::fflush(stderr);
    }

private:
    size_t total;
    bool shown;
};

}  // namespace

// Each file is decoded and measured once: an album's analyser gives the
// figure of each of its files and, at the end, the album's.
int RunReplayGain(const ReplayGainOptions& options)
{
    std::vector<AlbumScan> albums = CollectAlbums(options);
    size_t total = 0;
    for (const AlbumScan& album : albums)
        total += album.tracks.size();
    if (total == 0)
        throw ToolError("no audio files found");

    size_t tagFailures = 0;
    {
        FileProgress progress(total, options.quiet);
        ScanSettings settings;
        settings.jobs = options.jobs;
        settings.skipExisting = options.skipExisting;
        settings.progress = [&](size_t done) { progress.Update(done); };
        settings.albumDone = [&](AlbumScan& album) {
            for (const TrackScan& track : album.tracks)
                if (!track.error.empty())
                    std::fprintf(stderr, "lxfx: error: %s\n", track.error.c_str());
            if (options.tag)
                tagFailures += TagAlbum(album);
        };
        ScanAlbums(albums, settings);
    }

    size_t failed = 0;
    for (const AlbumScan& album : albums)
        for (const TrackScan& track : album.tracks)
            failed += !track.error.empty();
    if (options.json)
        PrintJson(albums);
    else
        PrintTable(albums);
    return failed == 0 && tagFailures == 0 ? 0 : kExitBadInput;
}

}  // namespace lxfx
