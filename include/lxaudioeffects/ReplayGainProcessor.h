// Track and album gain by gated K-weighted loudness, against a reference
// level of -18 dB: the host pushes a track's PCM and asks for a gain in dB
// and the linear sample peak. Stand-alone: it does not touch the front end or
// the chain. Not thread-safe; keep an object on one thread at a time.
#pragma once

#include <cstdint>

#include "lxaudioeffects/AudioTypes.h"
#include "lxaudioeffects/Export.h"

class LoudnessAnalyzerImpl;
class AudioFifo;

// Which measurement to read or reset. Any non-zero value selects the album.
enum ReplayGainType : int32_t {
    ReplayGainTrack = 0,
    ReplayGainAlbum = 1,
};

struct ReplayGainInfo {
    float gain;  // dB, to bring the measured loudness to the reference
    float peak;  // largest absolute sample value, linear, full scale 1.0
};

class LXFX_API ReplayGainProcessor {
public:
    // Empty until Init: float, two channels.
    ReplayGainProcessor();
    ~ReplayGainProcessor();
    // A copy shares the measurement and the buffered input with the original:
    // a push to either reaches both. The shared state ends with the last
    // object that holds it.
    ReplayGainProcessor(const ReplayGainProcessor& other);
    ReplayGainProcessor& operator=(const ReplayGainProcessor& other);

    // Prepares for interleaved PCM of this format (0 to 4; any other value is
    // read as interleaved float). False when channels or sampleRate is 0 or
    // memory runs out; nothing is kept then. A new Init loses both
    // measurements.
    bool Init(AUDIO_SAMPLEFORMAT format, unsigned channels, unsigned sampleRate);
    // bytes of interleaved PCM; an incomplete last frame is dropped. last ends
    // the stream: the open 100 ms block is measured as it is.
    void Push(void* data, unsigned bytes, bool last);
    void PushSamples(void* data, unsigned frames, bool last);
    // Reads a measurement at any time without ending it. Before Init, info is
    // left as it is. Silence gives gain 78.0 and peak 0.
    void GetReplayGain(ReplayGainType type, ReplayGainInfo& info);
    // Clears one measurement and its peak: the track one between tracks.
    void ResetReplayGain(ReplayGainType type);
    // Clears both measurements; buffered input stays.
    void Reset();

private:
    void Cleanup();
    int ReadSamples(float** out, int frames);

    LoudnessAnalyzerImpl* analyzer;
    AudioFifo* fifo;
    AUDIO_SAMPLEFORMAT format;
    unsigned channels;
    float** floatPointers;  // floatPointers[0] owns the float storage
    uint8_t* pcmBuffer;
};
