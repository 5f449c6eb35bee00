// Compressor plug-in: pre gain, the feed-forward RMS compressor core
// (OvCompressor), post gain. Both gains ramp linearly over one block when they
// change. While they ramp the block is copied into an internal buffer,
// compressed there and mixed back; with steady gains it is compressed in
// place, with the same bits. Either way the valid frames come out and the
// rest of the block is zero. Channels are linked or not as the parameter
// block says at Init.
#pragma once

#include <cstdint>

#include "ov/IOvEffect.h"
#include "ov/OvPipelineBuffer.h"
#include "sdk/dsp/dynamics/OvCompressor.h"
#include "sdk/plugins/OvCompressor/OvCompressorFXParams.h"

class OvCompressorFX final : public IOvEffect {
public:
    OvCompressorFX() = default;
    OvCompressorFX(const OvCompressorFX&) = delete;
    OvCompressorFX& operator=(const OvCompressorFX&) = delete;

    OvResult Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext, IOvEffectParams* in_pParams,
                  const OvStreamFormat& in_format) override;
    OvResult Shutdown(IOvMemAlloc* in_pAllocator) override;
    // Clears the detector and starts the gain ramps again from the gains
    // Init saw, as a new effect would: the next block ramps to the present ones.
    OvResult Reset() override;
    void ProcessBlock(OvPipelineBuffer* io_pBuffer) override;
    // As ProcessBlock, with the detector listening to in_pKey (same channel
    // layout, pre gain applied alike); always per channel.
    void ProcessBlockWithKey(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey);

    const OvCompressor& GetCompressor() const { return m_Compressor; }

private:
    struct FXInfo {
        uint32_t uSampleRate = 0;
        uint32_t uNumChannels = 0;
        uint32_t uMaxFrames = 0;
    };

    void Run(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey);
    // With steady gains the block is compressed where it lies, with the
    // gains applied by the core as it reads and writes (the same bits as the
    // copy and the separate passes). False, touching nothing, otherwise.
    bool RunInPlace(OvPipelineBuffer* io_pBuffer);
    // Copies a whole block into an internal buffer of this effect's size.
    void CopyIn(const OvPipelineBuffer& in_source, OvPipelineBuffer& io_target) const;

    OvCompressorFXParams* m_pParams = nullptr;
    IOvMemAlloc* m_pAllocator = nullptr;
    OvCompressor m_Compressor;
    OvCompressorFXParamStruct m_Values;
    FXInfo m_FXInfo;
    float m_fPrevPreGain = 1.0f;   // linear
    float m_fPrevPostGain = 1.0f;  // linear
    float m_fInitPreGain = 1.0f;   // linear, as Init saw them
    float m_fInitPostGain = 1.0f;
    OvPipelineBuffer m_Buffer;     // the signal being compressed
    OvPipelineBuffer m_KeyBuffer;  // the key of ProcessBlockWithKey
    IOvEffectContext* m_pContext = nullptr;
};
