// The ten-band graphic EQ in the chain: bands one octave apart from 31.25 Hz
// with shelves (Q 0.707) at both ends, output gain 1; only the gains are
// settable.
#pragma once

#include "sdk/plugins/OvGraphicEQ/OvGraphicEQFX.h"
#include "sdk/plugins/OvGraphicEQ/OvGraphicEQFXParams.h"
#include "wrappers/GraphicEQProcessor.h"
#include "wrappers/OvProcessorWrapper.h"

class GraphicEQProcessorImpl final
    : public OvProcessorWrapper<GraphicEQProcessor, OvGraphicEQFX, OvGraphicEQFXParams> {
public:
    static constexpr uint32_t kNumBands = 10;

    GraphicEQProcessorImpl() : OvProcessorWrapper(nullptr, 0) {}

    // Ten gains in dB. A changed gain is written straight into the parameter
    // block and marks only its own band, so only that band is redesigned.
    void SetBandGains(const float* gains) override;
};
