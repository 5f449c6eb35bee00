// Compressor of the chain; two instances run, before and after the EQ stages.
#pragma once

#include <cstdint>

#include "common/AudioProcessor.h"
#include "lxaudioeffects/AudioTypes.h"

class CompressorProcessor : public AudioProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static CompressorProcessor* Create();

    virtual void SetParams(const CompressorEffectParams& params) = 0;
protected:
    ~CompressorProcessor() = default;
};
