// Room reverb with early reflections and tone correction.
#pragma once

#include <cstdint>

#include "common/AudioProcessor.h"
#include "lxaudioeffects/AudioTypes.h"

class ReverbProcessor : public AudioProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static ReverbProcessor* Create();

    virtual void SetEarlyReflections(bool enable, uint32_t pattern, float roomSize,
                                     float surroundDelay) = 0;
    virtual void SetReverbBody(const ReverbParams& params) = 0;
    virtual void SetToneCorrectionEnable(bool enable) = 0;
    // index is 1 to 3; other values do nothing.
    virtual void SetToneCorrectionFilter(uint32_t index, const ReverbFilterParams& params) = 0;
    virtual void SetInputLevels(float center, float lfe) = 0;
    virtual void SetReverbLevels(float front, float rear, float center, float lfe) = 0;
    virtual void SetOutputLevels(float dry, float er, float reverb) = 0;
protected:
    ~ReverbProcessor() = default;
};
