// The PCM stream that the tool exchanges with the front end: the library's
// sample format, interleaved, and the file's channel count and rate; and the
// two ends that feed and take it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "lxaudioeffects/AudioTypes.h"

namespace lxfx {

struct StreamFormat {
    AUDIO_SAMPLEFORMAT sampleFormat = AUDIO_SAMPLEFORMAT_FLOAT;
    uint32_t channels = 2;
    uint32_t sampleRate = 44100;

    uint32_t BytesPerSample() const
    {
        switch (sampleFormat) {
        case AUDIO_SAMPLEFORMAT_U8: return 1;
        case AUDIO_SAMPLEFORMAT_S16: return 2;
        case AUDIO_SAMPLEFORMAT_DOUBLE: return 8;
        default: return 4;
        }
    }
    uint32_t BytesPerFrame() const { return BytesPerSample() * channels; }
};

const char* SampleFormatName(AUDIO_SAMPLEFORMAT format);

// Gives interleaved frames in the stream's format; returns the frames read,
// 0 at the end.
class PcmSource {
public:
    virtual ~PcmSource() = default;
    virtual size_t Read(void* frames, size_t count) = 0;
};

// Takes interleaved frames in the stream's format.
class PcmSink {
public:
    virtual ~PcmSink() = default;
    virtual void Write(const void* frames, size_t count) = 0;
};

}  // namespace lxfx
