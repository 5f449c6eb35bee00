// Moves the centre of a stereo image around the listener.
#pragma once

#include <cstdint>

#include "common/AudioProcessor.h"
#include "lxaudioeffects/AudioTypes.h"

class Rotate3DProcessor : public AudioProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static Rotate3DProcessor* Create();

    // Values below 1.0 are ignored.
    virtual void SetParams(float velocity) = 0;
protected:
    ~Rotate3DProcessor() = default;
};
