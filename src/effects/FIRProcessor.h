// Partitioned FIR convolution with an impulse from a WAV image.
#pragma once

#include <cstdint>

#include "common/AudioProcessor.h"
#include "lxaudioeffects/AudioTypes.h"

class FIRProcessor : public AudioProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static FIRProcessor* Create();

    virtual bool SetImpulse(const void* data, uint64_t size) = 0;
protected:
    ~FIRProcessor() = default;
};
