// The chain's stereo enhancer: StereoEnhancerEffect behind the plug-in
// wrapper, started from ambience preset 1. SetParams forwards presence,
// stereoizer and the spectrum shaper when they differ from what the
// parameter object holds; a new ambience stores the index as given, loads
// the preset of that index (clamped to 7, so 12 plays preset 7), and resets
// the plug-in, whose presence then applies again on the fresh preset.
// Reset leaves the enhancer as a new one with the same settings would be.
#pragma once

#include "sdk/plugins/StereoEnhancer/StereoEnhancerEffect.h"
#include "sdk/plugins/StereoEnhancer/StereoEnhancerEffectParams.h"
#include "wrappers/OvProcessorWrapper.h"
#include "wrappers/StereoEnhancerProcessor.h"

class StereoEnhancerProcessorImpl final
    : public OvProcessorWrapper<StereoEnhancerProcessor, StereoEnhancerEffect, StereoEnhancerEffectParams> {
public:
    StereoEnhancerProcessorImpl();

    // presence 0 to 10, stereoizer in dB, ambience a preset index.
    void SetParams(float presence, float stereoizer, bool spectrumShaper, uint32_t ambience) override;
    // For a seek: as the plug-in's Reset, and the side fades in again as in
    // a new enhancer. (An ambience change resets the plug-in and keeps the
    // side's gain.)
    void Reset() override;

    const StereoEnhancerEffectParams* Params() const { return m_pParam; }
};
