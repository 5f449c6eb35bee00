// Amplitude modulation by one sine.
#pragma once

#include <cstdint>

#include "common/AudioProcessor.h"
#include "lxaudioeffects/AudioTypes.h"

class TremoloProcessor : public AudioProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static TremoloProcessor* Create();

    // Accepts 1 <= freq <= 1000 Hz and 0 < range < 1.
    virtual bool SetParams(double freq, double range) = 0;
protected:
    ~TremoloProcessor() = default;
};
