// Loudness gain at the head of the chain.
#pragma once

#include <cstdint>

#include "common/AudioProcessor.h"
#include "lxaudioeffects/AudioTypes.h"

class LoudnessProcessor : public AudioProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static LoudnessProcessor* Create();

    virtual void SetParams(const LoudnessInfo& info) = 0;
protected:
    ~LoudnessProcessor() = default;
};
