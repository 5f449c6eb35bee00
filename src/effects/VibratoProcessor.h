// Pitch modulation through a short modulated delay.
#pragma once

#include <cstdint>

#include "common/AudioProcessor.h"
#include "lxaudioeffects/AudioTypes.h"

class VibratoProcessor : public AudioProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static VibratoProcessor* Create();

    // Accepts 1 <= freq <= 1000 Hz and 0 < range < 1.
    virtual bool SetParams(double freq, double range) = 0;
protected:
    ~VibratoProcessor() = default;
};
