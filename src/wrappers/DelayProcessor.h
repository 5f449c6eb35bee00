// Echo with feedback.
#pragma once

#include <cstdint>

#include "common/AudioProcessor.h"
#include "lxaudioeffects/AudioTypes.h"

class DelayProcessor : public AudioProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static DelayProcessor* Create();

    virtual void SetParams(const DelayEffectParams& params) = 0;
    // Kept for table compatibility; does nothing.
    virtual void SetUnused(uint32_t, uint32_t, uint32_t) = 0;
protected:
    ~DelayProcessor() = default;
};
