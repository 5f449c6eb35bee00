// Audio files through libsndfile. The reader hands out PCM in the library
// format that matches the file (8, 16, 32-bit integer, float, double; 24-bit
// reads as 32-bit). The writer takes the container from the file name's
// extension, keeps the input's sample encoding where the container allows it,
// and writes to a temporary file beside the target that only Commit renames
// into place, so a failure never leaves a half-written file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "PcmStream.h"

typedef struct sf_private_tag SNDFILE;

namespace lxfx {

class AudioFileReader : public PcmSource {
public:
    // Throws ToolError for a missing, unreadable or unknown file.
    explicit AudioFileReader(const std::string& path);
    ~AudioFileReader() override;

    const StreamFormat& Format() const { return format; }
    // From now on Read hands out float samples, whatever the file holds.
    void ReadAsFloat() { format.sampleFormat = AUDIO_SAMPLEFORMAT_FLOAT; }
    // libsndfile's major format and encoding, as SF_FORMAT_* bits.
    int FileFormat() const { return fileFormat; }
    // Frames in the file, or -1 when the container does not say.
    int64_t Frames() const { return frames; }
    size_t Read(void* out, size_t count) override;

private:
    SNDFILE* file = nullptr;
    StreamFormat format;
    int fileFormat = 0;
    int64_t frames = -1;
    std::vector<short> widened;  // 8-bit samples pass through 16-bit reads
};

class AudioFileWriter : public PcmSink {
public:
    // encodingHint is the SF_FORMAT_* encoding to keep when the container
    // takes it, 0 for the one of the stream's format. Throws ToolError for an unknown extension or an unwritable path.
    AudioFileWriter(const std::string& path, const StreamFormat& format, int encodingHint);
    // Without Commit the temporary file is removed.
    ~AudioFileWriter() override;

    void Write(const void* frames, size_t count) override;
    // Closes the file and moves it to its name.
    void Commit();

private:
    void Discard();

    SNDFILE* file = nullptr;
    StreamFormat format;
    std::string path;
    std::string tempPath;
    std::vector<short> widened;
};

}  // namespace lxfx
