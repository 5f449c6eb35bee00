// Bass and treble in the chain: the parametric EQ plug-in on the default
// block, its first band (low shelf with Q) as bass and its third (high shelf
// with Q) as treble; the peak between them stays off and the output at 0 dB.
#pragma once

#include "sdk/plugins/OvParametricEQ/OvParametricEQFX.h"
#include "sdk/plugins/OvParametricEQ/OvParametricEQFXParams.h"
#include "wrappers/BassTrebleProcessor.h"
#include "wrappers/OvProcessorWrapper.h"

class BassTrebleProcessorImpl final
    : public OvProcessorWrapper<BassTrebleProcessor, OvParametricEQFX, OvParametricEQFXParams> {
public:
    BassTrebleProcessorImpl();

    // dB.
    void SetGains(float bass, float treble) override;
    // Hz and Q of the two shelves.
    void SetFilters(float bassFreq, float bassQ, float trebleFreq, float trebleQ) override;
};
