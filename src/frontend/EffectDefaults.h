// Start values of the front end's stored settings, and the values the chain's
// ResetEffects sends where those differ. The two sets disagree on purpose:
// after ResetEffects the front end shows its defaults while the effects run on
// the reset values until the next setter or Init.
#pragma once

#include "lxaudioeffects/AudioTypes.h"

namespace fxdefaults {

constexpr float kSilenceDb = -96.3f;  // what a linear gain of zero converts to

constexpr ReverbParams kReverbBody = {25.0f, 1.2f, 2.25f, 80.0f, 100.0f, 8u, 100.0f, 180.0f};
constexpr ReverbFilterParams kReverbTCFilters[3] = {
    {3u, 0u, 0.0f, 100.0f, 1.0f},
    {3u, 1u, 0.0f, 1000.0f, 1.0f},
    {3u, 2u, 0.0f, 10000.0f, 1.0f},
};
constexpr float kReverbOutputDry = 0.0f;
constexpr float kReverbOutputER = kSilenceDb;
constexpr float kReverbOutputReverb = kSilenceDb;

constexpr float kStereoEnhancerPresence = 0.0f;
constexpr float kStereoEnhancerStereoizer = 0.0f;
constexpr bool kStereoEnhancerSpectrumShaper = true;
constexpr unsigned kStereoEnhancerAmbience = 0u;

constexpr float kRotate3DVelocity = 40.0f;

constexpr float kBassFreq = 120.0f;
constexpr float kBassQ = 0.5f;
constexpr float kTrebleFreq = 6000.0f;
constexpr float kTrebleQ = 0.5f;

constexpr CompressorEffectParams kCompressor = {-14.0f, 4.0f, 0.1f, 0.5f, 0.0f, 0.0f, 0.0f};
constexpr CompressorEffectParams kCompressorReset = {-12.0f, 4.0f, 0.05f, 0.5f, 0.0f, 0.0f, 0.0f};

constexpr ParametricEQFilterParams kParametricEQFilter = {8u, 0.0f, 18000.0f, 0.5f, false};
constexpr ParametricEQFilterParams kParametricEQFiltersReset[9] = {
    {7u, 0.0f, 100.0f, 1.0f, false},   {6u, 0.0f, 1000.0f, 1.0f, false},
    {8u, 0.0f, 10000.0f, 1.0f, false}, {8u, 0.0f, 18000.0f, 1.0f, false},
    {8u, 0.0f, 18000.0f, 1.0f, false}, {8u, 0.0f, 18000.0f, 1.0f, false},
    {8u, 0.0f, 18000.0f, 1.0f, false}, {8u, 0.0f, 18000.0f, 1.0f, false},
    {8u, 0.0f, 18000.0f, 1.0f, false},
};

constexpr DelayEffectParams kDelay = {50.0f, 0.5f, 0.0f, 0.0f};
constexpr DelayEffectParams kDelayReset = {0.0f, 0.0f, 0.0f, kSilenceDb};

constexpr double kVibratoFreq = 6.0;
constexpr double kVibratoRange = 0.14;
constexpr double kTremoloFreq = 8.0;
constexpr double kTremoloRange = 0.25;

constexpr LimiterEffectParams kLimiter = {0.0f, 0.04f, 0.08f, 0.0f, true, 50.0f};

}  // namespace fxdefaults
