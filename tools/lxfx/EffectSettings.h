// Every setting the front end accepts, as the host keeps it, and the player's
// way of handing it over: group by group, each switch with its parameters.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "lxaudioeffects/lxaudioeffects.h"

namespace lxfx {

// One field per argument of the front end's setters. The start values are the
// front end's own defaults, so that a group left at its start values sounds as
// if the host had never touched it.
struct EffectSettings {
    bool bypassMode = false;

    bool loudnessOn = false;
    LoudnessInfo loudness = {0.0f, 1.0f};  // gain dB, linear peak

    bool reverbOn = false;
    bool erEnable = false;
    uint32_t erPattern = 0;
    float erRoomSize = 0.0f;
    float erSurroundDelayMs = 0.0f;
    ReverbParams reverbParams = {25.0f, 1.2f, 2.25f, 80.0f, 100.0f, 8u, 100.0f, 180.0f};
    bool reverbTCOn = false;
    ReverbFilterParams reverbTCFilters[3] = {
        {3u, 0u, 0.0f, 100.0f, 1.0f},
        {3u, 1u, 0.0f, 1000.0f, 1.0f},
        {3u, 2u, 0.0f, 10000.0f, 1.0f},
    };
    float reverbInputCenter = 0.0f, reverbInputLFE = 0.0f;
    float reverbRVBFront = 0.0f, reverbRVBRear = 0.0f, reverbRVBCenter = 0.0f, reverbRVBLFE = 0.0f;
    float reverbOutputDry = 0.0f, reverbOutputER = -96.3f, reverbOutputReverb = -96.3f;

    bool stereoEnhancerOn = false;
    float stereoEnhancerPresence = 0.0f;
    float stereoEnhancerStereoizer = 0.0f;
    bool stereoEnhancerSpectrumShaper = true;
    uint32_t stereoEnhancerAmbience = 0;

    bool rotate3DOn = false;
    float rotate3DVelocity = 40.0f;  // seconds per revolution

    bool spatialAudioOn = false;
    SpatialAudioParams spatialAudio = {0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, false};

    bool graphEQOn = false;
    float graphEQGainsDb[10] = {};

    bool bassTrebleOn = false;
    float bassDb = 0.0f, trebleDb = 0.0f;
    float bassFreqHz = 120.0f, bassQ = 0.5f, trebleFreqHz = 6000.0f, trebleQ = 0.5f;

    bool compressorOn = false;
    CompressorEffectParams compressor = {-14.0f, 4.0f, 0.1f, 0.5f, 0.0f, 0.0f, 0.0f};
    bool postCompressorOn = false;
    CompressorEffectParams postCompressor = {-14.0f, 4.0f, 0.1f, 0.5f, 0.0f, 0.0f, 0.0f};

    bool parametricEQOn = false;
    float parametricEQGainDb = 0.0f;
    ParametricEQFilterParams parametricEQFilters[9] = {
        {8u, 0.0f, 18000.0f, 0.5f, false}, {8u, 0.0f, 18000.0f, 0.5f, false},
        {8u, 0.0f, 18000.0f, 0.5f, false}, {8u, 0.0f, 18000.0f, 0.5f, false},
        {8u, 0.0f, 18000.0f, 0.5f, false}, {8u, 0.0f, 18000.0f, 0.5f, false},
        {8u, 0.0f, 18000.0f, 0.5f, false}, {8u, 0.0f, 18000.0f, 0.5f, false},
        {8u, 0.0f, 18000.0f, 0.5f, false},
    };

    bool delayOn = false;
    DelayEffectParams delay = {50.0f, 0.5f, 0.0f, 0.0f};

    bool firOn = false;
    std::string firImpulseFile;  // a WAV file; empty for none
    bool headphoneOn = false;
    std::string headphoneImpulseFile;

    bool vibratoOn = false;
    double vibratoFreqHz = 6.0, vibratoRange = 0.14;
    bool tremoloOn = false;
    double tremoloFreqHz = 8.0, tremoloRange = 0.25;

    bool limiterOn = true;
    LimiterEffectParams limiter = {0.0f, 0.04f, 0.08f, 0.0f, true, 50.0f};
};

// The setting groups in the order a player sends them; bypassMode comes last
// so that it applies to switches that are already in place.
const std::vector<std::string>& SettingGroupNames();

// Sends the named groups to the front end, switch and parameters together.
// Groups not named are not sent and keep the library's own values. Reads the
// impulse files; throws ToolError when one cannot be read.
void ApplySettings(const EffectSettings& settings, const std::set<std::string>& groups,
                   audiofx::AudioEffects& effects);

}  // namespace lxfx
