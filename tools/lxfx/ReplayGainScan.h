// Scans albums of audio files for ReplayGain: decoding runs on worker
// threads, the measurement (track and album figures in one pass) on the
// calling thread in file order, so the results are those of a serial run
// whatever the number of workers. A worker decodes a whole file ahead; at
// most as many files as there are workers wait decoded at a time.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "lxaudioeffects/ReplayGainProcessor.h"

namespace lxfx {

struct TrackScan {
    std::string file;
    std::string error;     // empty when measured or skipped
    bool skipped = false;  // already tagged, left alone
    std::string tagError;  // why its tags could not be written
    ReplayGainInfo info = {0.0f, 0.0f};
};

struct AlbumScan {
    std::string folder;  // empty for the files given on the command line
    std::vector<TrackScan> tracks;
    // Empty when the album was measured, else why not.
    std::string note;
    ReplayGainInfo info = {0.0f, 0.0f};
};

struct ScanSettings {
    unsigned jobs = 1;
    bool skipExisting = false;
    // Called on the calling thread after each file, with the count done.
    std::function<void(size_t)> progress;
    // Called on the calling thread when an album's figures are known.
    std::function<void(AlbumScan&)> albumDone;
};

void ScanAlbums(std::vector<AlbumScan>& albums, const ScanSettings& settings);

}  // namespace lxfx
