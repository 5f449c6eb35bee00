// ReplayGain tags in audio files, read and written through TagLib, in the
// conventions players read: Vorbis comments in FLAC, Ogg Vorbis and Ogg Opus
// (Opus also gets R128_TRACK_GAIN and R128_ALBUM_GAIN, Q7.8 integers against
// -23 LUFS, and its header's output gain is left alone), ID3v2 TXXX frames in
// MP3, WAV and AIFF. Values read "-6.90 dB" and "0.892437".
#pragma once

#include <string>

namespace lxfx {

struct GainFigures {
    float gainDb;
    float peak;
};

// Whether the file already carries a track gain tag; false when TagLib
// cannot read its tags.
bool HasTrackGainTag(const std::string& path);

// Writes the track pair, and the album pair when album is not null (a file
// without one loses any album pair it had). The tags are written into a copy
// beside the file that replaces it only once saved, so a failure leaves the
// file as it was. Throws ToolError with the reason.
void WriteReplayGainTags(const std::string& path, const GainFigures& track, const GainFigures* album);

}  // namespace lxfx
