// Ten-band graphic EQ.
#pragma once

#include <cstdint>

#include "common/AudioProcessor.h"
#include "lxaudioeffects/AudioTypes.h"

class GraphicEQProcessor : public AudioProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static GraphicEQProcessor* Create();

    // Ten gains in dB, lowest band first.
    virtual void SetBandGains(const float* gains) = 0;
protected:
    ~GraphicEQProcessor() = default;
};
