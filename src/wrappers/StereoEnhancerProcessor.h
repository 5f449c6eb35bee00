// Stereo enhancer: presence, stereoizer, spectrum shaper and ambience.
#pragma once

#include <cstdint>

#include "common/AudioProcessor.h"
#include "lxaudioeffects/AudioTypes.h"

class StereoEnhancerProcessor : public AudioProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static StereoEnhancerProcessor* Create();

    virtual void SetParams(float presence, float stereoizer, bool spectrumShaper,
                           uint32_t ambience) = 0;
protected:
    ~StereoEnhancerProcessor() = default;
};
