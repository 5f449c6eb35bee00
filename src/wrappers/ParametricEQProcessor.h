// Nine-band parametric EQ with an output gain.
#pragma once

#include <cstdint>

#include "common/AudioProcessor.h"
#include "lxaudioeffects/AudioTypes.h"

class ParametricEQProcessor : public AudioProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static ParametricEQProcessor* Create();

    virtual void SetOutputGain(float gain) = 0;
    virtual void SetFilter(uint32_t index, const ParametricEQFilterParams& params) = 0;
protected:
    ~ParametricEQProcessor() = default;
};
