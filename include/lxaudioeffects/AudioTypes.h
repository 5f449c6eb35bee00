// Sample formats, parameter records and the log sink shared by the front end,
// the chain and the host.
#pragma once

#include <cstdint>

// The format in which the host exchanges PCM. All but the last are interleaved.
enum AUDIO_SAMPLEFORMAT : int32_t {
    AUDIO_SAMPLEFORMAT_U8 = 0,
    AUDIO_SAMPLEFORMAT_S16 = 1,
    AUDIO_SAMPLEFORMAT_S32 = 2,
    AUDIO_SAMPLEFORMAT_FLOAT = 3,
    AUDIO_SAMPLEFORMAT_DOUBLE = 4,
    AUDIO_SAMPLEFORMAT_PLANAR_FLOAT = 5,  // the chain's working format
};

// A measured loudness correction: gain in dB relative to the analyser's
// reference, and the linear sample peak.
struct LoudnessInfo {
    float gain;
    float peak;
};

// Body of the room reverb.
struct ReverbParams {
    float PreDelay;
    float DecayTime;
    float HFDamping;
    float Density;
    float RoomShape;
    uint32_t Quality;
    float Diffusion;
    float StereoWidth;
};

// One of the reverb's three tone-correction filters.
struct ReverbFilterParams {
    uint32_t InsertType;
    uint32_t CurveType;
    float Gain;
    float Freq;
    float Q;
};

// Settings of both compressors (pre and post EQ).
struct CompressorEffectParams {
    float Threshold;
    float Ratio;
    float Attack;
    float Release;
    float Range;
    float PreGain;
    float PostGain;
};

// One of the nine bands of the parametric EQ.
struct ParametricEQFilterParams {
    uint32_t FilterType;
    float Gain;
    float Freq;
    float Q;
    bool on;
};

struct DelayEffectParams {
    float Delay;
    float Feedback;
    float DryLevel;
    float WetLevel;
};

// Per-speaker gains of the virtual surround set.
struct SpatialAudioParams {
    float FL;
    float FR;
    float Center;
    float SL;
    float SR;
    float RL;
    float RR;
    float LFE;
    bool Enhance;
};

struct LimiterEffectParams {
    float Threshold;
    float Attack;
    float Release;
    float OutputGain;
    bool InfiniteRatio;
    float Ratio;
};

// The host's log sink. The library always logs with the tag "AudioEffects";
// levels: 0 failures, 2 stream events and state dump, 3 switches.
// It is called with the front end's lock held and must not call back into it.
class IAudioEffectsLogger {
public:
    virtual int Log(const char* tag, int32_t level, const char* format, ...) = 0;

protected:
    ~IAudioEffectsLogger() = default;
};
