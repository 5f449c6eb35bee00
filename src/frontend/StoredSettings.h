// The front end's copy of every setting: one record per effect, in the order
// the front end applies them to a new chain and writes them to the log, and
// the start values in one constant table. The copy outlives every chain, so a
// change of format loses no setting.
#pragma once

#include <cstdint>
#include <vector>

#include "frontend/EffectDefaults.h"
#include "lxaudioeffects/AudioTypes.h"

struct LoudnessSettings {
    bool on;
    float gain;
    float peak;
};

struct ReverbSettings {
    bool on;
    bool erEnable;
    uint32_t erPattern;
    float erRoomSize;
    float erSurroundDelay;
    ReverbParams body;
    bool tcOn;
    ReverbFilterParams tcFilters[3];
    float inputCenter, inputLFE;
    float rvbFront, rvbRear, rvbCenter, rvbLFE;
    float outputDry, outputER, outputReverb;
};

struct StereoEnhancerSettings {
    bool on;
    float presence;
    float stereoizer;
    bool spectrumShaper;
    uint32_t ambience;
};

struct Rotate3DSettings {
    bool on;
    float velocity;
};

struct SpatialAudioSettings {
    bool on;
    SpatialAudioParams params;
};

struct GraphEQSettings {
    bool on;
    float gains[10];
};

struct BassTrebleSettings {
    bool on;
    float bass, treble;
    float bassFreq, bassQ, trebleFreq, trebleQ;
};

struct CompressorSettings {
    bool on;
    CompressorEffectParams params;
};

struct ParametricEQSettings {
    bool on;
    float gain;
    ParametricEQFilterParams filters[9];
};

struct DelaySettings {
    bool on;
    DelayEffectParams params;
};

// The impulse bytes live beside the record, in StoredSettings.
struct ImpulseSettings {
    bool on;
};

struct ModulationSettings {
    bool on;
    double freq, range;
};

struct LimiterSettings {
    bool on;
    LimiterEffectParams params;
};

struct EffectSettings {
    bool bypassMode;
    LoudnessSettings loudness;
    ReverbSettings reverb;
    StereoEnhancerSettings stereoEnhancer;
    Rotate3DSettings rotate3D;
    SpatialAudioSettings spatialAudio;
    GraphEQSettings graphEQ;
    BassTrebleSettings bassTreble;
    CompressorSettings compressor;
    CompressorSettings postCompressor;
    ParametricEQSettings parametricEQ;
    DelaySettings delay;
    ImpulseSettings fir;
    ImpulseSettings headphone;
    ModulationSettings vibrato;
    ModulationSettings tremolo;
    LimiterSettings limiter;
};

// What a new front end starts with. All switches but the limiter's are off.
constexpr EffectSettings kDefaultSettings = [] {
    using namespace fxdefaults;
    EffectSettings s{};
    s.loudness = {false, 0.0f, 1.0f};
    s.reverb.body = kReverbBody;
    for (int i = 0; i < 3; ++i)
        s.reverb.tcFilters[i] = kReverbTCFilters[i];
    s.reverb.outputDry = kReverbOutputDry;
    s.reverb.outputER = kReverbOutputER;
    s.reverb.outputReverb = kReverbOutputReverb;
    s.stereoEnhancer = {false, kStereoEnhancerPresence, kStereoEnhancerStereoizer,
                        kStereoEnhancerSpectrumShaper, kStereoEnhancerAmbience};
    s.rotate3D = {false, kRotate3DVelocity};
    s.bassTreble = {false, 0.0f, 0.0f, kBassFreq, kBassQ, kTrebleFreq, kTrebleQ};
    s.compressor = {false, kCompressor};
    s.postCompressor = {false, kCompressor};
    for (ParametricEQFilterParams& filter : s.parametricEQ.filters)
        filter = kParametricEQFilter;
    s.delay = {false, kDelay};
    s.vibrato = {false, kVibratoFreq, kVibratoRange};
    s.tremolo = {false, kTremoloFreq, kTremoloRange};
    s.limiter = {true, kLimiter};
    return s;
}();

struct StoredSettings {
    EffectSettings values = kDefaultSettings;
    std::vector<uint8_t> firImpulse;
    std::vector<uint8_t> headphoneImpulse;
};
