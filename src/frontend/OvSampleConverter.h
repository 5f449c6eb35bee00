// Converts one block between interleaved PCM of a host format and the chain's
// planar float (channel c at element c * maxFrames). Single-precision
// arithmetic except for the double format. No clamp on the way out: a sample
// beyond full scale wraps, since the limiter is what keeps samples in range.
// 8-bit keeps its bias: it enters the chain in 0..2 and an untouched block
// comes back bit for bit. The arithmetic is that of SampleConversion.h, in
// its SSE2 form.
#pragma once

#include <cstdint>

#include "lxaudioeffects/AudioTypes.h"

class OvSampleConverter {
public:
    static OvSampleConverter* Create();
    void Destroy();

    // True when one of the two formats is planar float.
    bool Init(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate,
              AUDIO_SAMPLEFORMAT inputFormat, AUDIO_SAMPLEFORMAT outputFormat);
    // Planar output: reads interleaved inputFormat. Otherwise reads planes and
    // writes interleaved outputFormat. frames is cut to maxFrames.
    void Convert(const void* input, void* output, uint32_t frames) const;
    // True when Convert writes the first frames samples of every plane, so
    // that only the rest of each plane needs clearing before it.
    bool FillsPlanes() const;

private:
    uint32_t maxFrames = 0;
    uint32_t channels = 0;
    uint32_t sampleRate = 0;
    AUDIO_SAMPLEFORMAT inputFormat = AUDIO_SAMPLEFORMAT_FLOAT;
    AUDIO_SAMPLEFORMAT outputFormat = AUDIO_SAMPLEFORMAT_FLOAT;
};
