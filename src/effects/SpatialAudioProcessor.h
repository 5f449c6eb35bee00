// Virtual surround for headphones from a stereo source.
#pragma once

#include <cstdint>

#include "common/AudioProcessor.h"
#include "lxaudioeffects/AudioTypes.h"

class SpatialAudioProcessor : public AudioProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static SpatialAudioProcessor* Create();

    virtual void SetParams(const SpatialAudioParams& params) = 0;
protected:
    ~SpatialAudioProcessor() = default;
};
