// The chain's echo: OvDelayFX behind the plug-in wrapper. The parameter
// object starts from its own defaults; SetParams sends every field, changed
// or not.
#pragma once

#include "sdk/plugins/OvDelay/OvDelayFX.h"
#include "sdk/plugins/OvDelay/OvDelayFXParams.h"
#include "wrappers/DelayProcessor.h"
#include "wrappers/OvProcessorWrapper.h"

class DelayProcessorImpl final : public OvProcessorWrapper<DelayProcessor, OvDelayFX, OvDelayFXParams> {
public:
    DelayProcessorImpl() : OvProcessorWrapper(nullptr, 0) {}

    // Delay in ms, Feedback as a factor, DryLevel and WetLevel in dB.
    void SetParams(const DelayEffectParams& params) override;
    void SetUnused(uint32_t, uint32_t, uint32_t) override {}

    const OvDelayFX* Plugin() const { return m_pPlugin; }
    const OvDelayFXParams* Params() const { return m_pParam; }
};
