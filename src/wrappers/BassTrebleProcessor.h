// Bass and treble shelving bands.
#pragma once

#include <cstdint>

#include "common/AudioProcessor.h"
#include "lxaudioeffects/AudioTypes.h"

class BassTrebleProcessor : public AudioProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static BassTrebleProcessor* Create();

    virtual void SetGains(float bass, float treble) = 0;
    virtual void SetFilters(float bassFreq, float bassQ, float trebleFreq, float trebleQ) = 0;
protected:
    ~BassTrebleProcessor() = default;
};
