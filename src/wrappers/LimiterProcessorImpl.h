// The chain's output guard: OvPeakLimiterFX behind the plug-in wrapper, with
// the hard ceiling on, the channels linked, the LFE limited like the rest and
// a look-ahead divisor of 1. It starts from a 20 ms look-ahead; the front
// end's first SetParams (40 ms) replaces it before audio flows.
#pragma once

#include "sdk/plugins/OvPeakLimiter/OvPeakLimiterFX.h"
#include "sdk/plugins/OvPeakLimiter/OvPeakLimiterFXParams.h"
#include "wrappers/LimiterProcessor.h"
#include "wrappers/OvProcessorWrapper.h"

class LimiterProcessorImpl final
    : public OvProcessorWrapper<LimiterProcessor, OvPeakLimiterFX, OvPeakLimiterFXParams> {
public:
    LimiterProcessorImpl();

    // Threshold and OutputGain in dB, Attack (the look-ahead) and Release in
    // seconds. Each value is sent only when it differs from the stored one;
    // the output gain is stored linear, so it is always sent again.
    void SetParams(const LimiterEffectParams& params) override;

    const OvPeakLimiterFX* Plugin() const { return m_pPlugin; }
    const OvPeakLimiterFXParams* Params() const { return m_pParam; }
};
