// Look-ahead peak limiter, last in the chain.
#pragma once

#include <cstdint>

#include "common/AudioProcessor.h"
#include "lxaudioeffects/AudioTypes.h"

class LimiterProcessor : public AudioProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static LimiterProcessor* Create();

    virtual void SetParams(const LimiterEffectParams& params) = 0;
protected:
    ~LimiterProcessor() = default;
};
