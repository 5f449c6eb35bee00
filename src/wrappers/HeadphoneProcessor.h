// Headphone convolution with a prepared impulse.
#pragma once

#include <cstdint>

#include "common/AudioProcessor.h"
#include "lxaudioeffects/AudioTypes.h"

class HeadphoneProcessor : public AudioProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static HeadphoneProcessor* Create();

    virtual bool SetImpulse(const void* data, uint64_t size, float in_fBypassedGain,
                            float in_fActiveGain) = 0;
protected:
    ~HeadphoneProcessor() = default;
};
