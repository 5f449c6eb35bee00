// The chain's compressor (used for both the pre and the post compressor): the
// compressor plug-in behind the common wrapper, with LFE processed and the
// channels linked, as the parameter block starts.
#pragma once

#include "sdk/plugins/OvCompressor/OvCompressorFX.h"
#include "sdk/plugins/OvCompressor/OvCompressorFXParams.h"
#include "wrappers/CompressorProcessor.h"
#include "wrappers/OvProcessorWrapper.h"

class CompressorProcessorImpl final
    : public OvProcessorWrapper<CompressorProcessor, OvCompressorFX, OvCompressorFXParams> {
public:
    CompressorProcessorImpl() = default;

    // Sends each value that differs from the block's. Gains arrive in dB and
    // are stored linear, so they are nearly always sent again; harmless.
    void SetParams(const CompressorEffectParams& params) override;
};
