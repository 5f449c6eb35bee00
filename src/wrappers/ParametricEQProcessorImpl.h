// The nine-band parametric EQ in the chain: the plug-in started from the
// default block, with the output gain and every band settable; the LFE
// channel is not processed.
#pragma once

#include "sdk/plugins/OvParametricEQ/OvParametricEQFX.h"
#include "sdk/plugins/OvParametricEQ/OvParametricEQFXParams.h"
#include "wrappers/OvProcessorWrapper.h"
#include "wrappers/ParametricEQProcessor.h"

class ParametricEQProcessorImpl final
    : public OvProcessorWrapper<ParametricEQProcessor, OvParametricEQFX, OvParametricEQFXParams> {
public:
    ParametricEQProcessorImpl();

    // dB.
    void SetOutputGain(float gain) override;
    // Band index 0 to 8; a higher index is ignored.
    void SetFilter(uint32_t index, const ParametricEQFilterParams& params) override;
};
