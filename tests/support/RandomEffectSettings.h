// Seeded random settings inside each effect's musical range, one entry per
// effect of the chain with its switch, for tests that drive the front end
// with changing settings.
#pragma once

#include <random>

#include "lxaudioeffects/AudioEffects.h"

namespace testsupport {

using A = audiofx::AudioEffects;
using Rng = std::mt19937;

inline float Uniform(Rng& rng, float lo, float hi)
{
    return std::uniform_real_distribution<float>(lo, hi)(rng);
}

struct RandomEffect {
    const char* name;
    void (A::*on)(bool);
    void (*randomise)(A*, Rng&);
};

inline const RandomEffect kRandomEffects[] = {
    {"loudness", &A::SetLoudnessON,
     [](A* fx, Rng& r) { fx->SetLoudnessParams(Uniform(r, -12, 12), Uniform(r, 0.2f, 1.0f)); }},
    {"compressor", &A::SetCompressorON,
     [](A* fx, Rng& r) {
         const CompressorEffectParams p = {Uniform(r, -40, 0), Uniform(r, 1, 20), Uniform(r, 0.001f, 0.2f),
                                           Uniform(r, 0.01f, 1), Uniform(r, -40, 0), Uniform(r, -6, 6),
                                           Uniform(r, -6, 6)};
         fx->SetCompressorParams(&p);
     }},
    {"graphiceq", &A::SetGraphEQON,
     [](A* fx, Rng& r) {
         float gains[10];
         for (float& g : gains)
             g = Uniform(r, -12, 12);
         fx->SetGraphEQGains(gains);
     }},
    {"basstreble", &A::SetBassTrebleON,
     [](A* fx, Rng& r) {
         fx->SetBassTrebleGains(Uniform(r, -12, 12), Uniform(r, -12, 12));
         fx->SetBassTrebleParams(Uniform(r, 40, 300), Uniform(r, 0.3f, 2), Uniform(r, 2000, 9000),
                                 Uniform(r, 0.3f, 2));
     }},
    {"parametriceq", &A::SetParametricEQON,
     [](A* fx, Rng& r) {
         fx->SetParametricEQGain(Uniform(r, -6, 6));
         for (uint32_t band = 0; band < 9; ++band) {
             const ParametricEQFilterParams p = {uint32_t(r() % 9), Uniform(r, -12, 12), Uniform(r, 40, 12000),
                                                 Uniform(r, 0.3f, 4), r() % 4 != 0};
             fx->SetParametricEQFilter(band, &p);
         }
     }},
    {"postcompressor", &A::SetPostCompressorON,
     [](A* fx, Rng& r) {
         const CompressorEffectParams p = {Uniform(r, -40, 0), Uniform(r, 1, 20), Uniform(r, 0.001f, 0.2f),
                                           Uniform(r, 0.01f, 1), Uniform(r, -40, 0), Uniform(r, -6, 6),
                                           Uniform(r, -6, 6)};
         fx->SetPostCompressorParams(&p);
     }},
    {"vibrato", &A::SetVibratoON,
     [](A* fx, Rng& r) { fx->SetVibratoParams(Uniform(r, 0.5f, 14), Uniform(r, 0.01f, 1)); }},
    {"tremolo", &A::SetTremoloON,
     [](A* fx, Rng& r) { fx->SetTremoloParams(Uniform(r, 0.5f, 20), Uniform(r, 0.01f, 1)); }},
    {"delay", &A::SetDelayON,
     [](A* fx, Rng& r) {
         const DelayEffectParams p = {Uniform(r, 1, 400), Uniform(r, 0, 0.8f), Uniform(r, -12, 0),
                                      Uniform(r, -24, 0)};
         fx->SetDelayParams(&p);
     }},
    {"limiter", &A::SetLimiterON,
     [](A* fx, Rng& r) {
         const LimiterEffectParams p = {Uniform(r, -12, 0), Uniform(r, 0.001f, 0.1f), Uniform(r, 0.01f, 0.5f),
                                        Uniform(r, -6, 3), r() % 2 == 0, Uniform(r, 2, 50)};
         fx->SetLimiterParams(&p);
     }},
    {"reverb", &A::SetReverbON,
     [](A* fx, Rng& r) {
         fx->SetReverbERParams(r() % 4 != 0, uint32_t(r() % 31), Uniform(r, -50, 50), Uniform(r, 0, 30));
         const ReverbParams p = {Uniform(r, 0, 40),  Uniform(r, 0.2f, 1), Uniform(r, 0.5f, 3),
                                 Uniform(r, 0, 100), Uniform(r, 0, 100),  uint32_t(2 * (1 + r() % 8)),
                                 Uniform(r, 0, 100), Uniform(r, 0, 180)};
         fx->SetReverbRVBParams(&p);
         fx->SetReverbTCON(r() % 2 == 0);
         for (uint32_t index = 1; index <= 3; ++index) {
             const ReverbFilterParams f = {uint32_t(r() % 4), uint32_t(r() % 3), Uniform(r, -12, 12),
                                           Uniform(r, 60, 12000), Uniform(r, 0.3f, 4)};
             fx->SetReverbTCFilter(index, &f);
         }
         fx->SetReverbInputLevel(Uniform(r, -12, 0), Uniform(r, -40, 0));
         fx->SetReverbRVBLevel(Uniform(r, -12, 0), Uniform(r, -12, 0), Uniform(r, -12, 0), Uniform(r, -40, 0));
         fx->SetReverbOutputLevel(Uniform(r, -3, 0), Uniform(r, -12, -3), Uniform(r, -12, -3));
     }},
    // Ambience 8 plays preset 7.
    {"stereoenhancer", &A::SetStereoEnhancerON,
     [](A* fx, Rng& r) {
         fx->SetStereoEnhancerParams(Uniform(r, 0, 10), Uniform(r, -12, 12), r() % 2 == 0, uint32_t(r() % 9));
     }},
};

}  // namespace testsupport
