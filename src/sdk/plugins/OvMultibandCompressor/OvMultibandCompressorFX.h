// Multiband compressor plug-in: an input gain, a crossover into up to five
// bands (Linkwitz-Riley, order 2 or 4, edges in Hz), per band an input gain,
// its own compressor core and an output gain, the bands summed, and an output
// gain. All gains ramp over one block. The keyed entry splits a key signal
// with a second crossover of the same edges and lets each band's detector
// listen to the key's band. The crossover's order is fixed at Init; edges are
// redesigned at the top of the block after they change.
#pragma once

#include <cstdint>

#include "ov/IOvEffect.h"
#include "ov/OvPipelineBuffer.h"
#include "sdk/dsp/dynamics/OvCompressor.h"
#include "sdk/dsp/filters/OvCrossoverEQ.h"
#include "sdk/plugins/OvMultibandCompressor/OvMultibandCompressorFXParams.h"

class OvMeterWriter;

class OvMultibandCompressorFX final : public IOvEffect {
public:
    OvMultibandCompressorFX() = default;
    OvMultibandCompressorFX(const OvMultibandCompressorFX&) = delete;
    OvMultibandCompressorFX& operator=(const OvMultibandCompressorFX&) = delete;

    OvResult Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext, IOvEffectParams* in_pParams,
                  const OvStreamFormat& in_format) override;
    OvResult Shutdown(IOvMemAlloc* in_pAllocator) override;
    // Clears the compressors, both crossovers' memories and the band buffers;
    // the gain ramps start again from the gains Init saw.
    OvResult Reset() override;
    void ProcessBlock(OvPipelineBuffer* io_pBuffer) override;
    // in_pKey: same layout as io_pBuffer; it gets the input gain too and is
    // otherwise only listened to. No meter record is written (no host of this
    // library reads one), so io_pWriter is left untouched.
    void ProcessBlockWithKey(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey,
                             OvMeterWriter* io_pWriter);

    // ProcessBlockWithKey on this compressor and on in_pOther (its own block
    // and key; may be null): the two share the crossover and side-chain
    // kernels' loops. The same bits as the two calls one after the other.
    void ProcessBlocksWithKey(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey,
                              OvMultibandCompressorFX* in_pOther, OvPipelineBuffer* io_pOtherBuffer,
                              OvPipelineBuffer* in_pOtherKey);

    const OvCompressor& GetCompressor(uint32_t in_uBand) const { return m_Compressor[in_uBand]; }

private:
    struct FXInfo {
        uint32_t uSampleRate = 0;
        uint32_t uNumChannels = 0;
        uint32_t uMaxFrames = 0;
    };

    // One compressor's block as the phases below see it.
    struct Block {
        OvMultibandCompressorFX* pFx;
        OvPipelineBuffer* pBuffer;
        OvPipelineBuffer* pKey;  // null for self detection
        uint32_t uFrames;
        uint32_t uNumBands;
    };

    // Runs the blocks phase by phase, each phase over all blocks: gains and
    // band loading, the crossovers, the compressors' side chains, the sums.
    static void RunBlocks(Block* io_pBlocks, uint32_t in_uNumBlocks);
    // Input gains, the band buffers loaded, the block zeroed, edges updated;
    // false when there is nothing to run.
    bool Begin(Block& io_block);
    // Band input gains and the compressors; per-channel side chains are
    // appended to io_pLanes (run when full).
    void CompressBands(const Block& in_block, OvCompressor::Lane* io_pLanes, uint32_t in_uRoom,
                       uint32_t& io_uNumLanes);
    // The bands summed into the block with their output gains, then the output gain.
    void End(const Block& in_block);
    void UpdateCrossovers();
    // Copies n frames of every channel as one run from the block's start into
    // band 0 and marks all bands as holding n frames.
    void LoadBands(const OvPipelineBuffer& in_source, OvPipelineBuffer* io_pBands, uint32_t in_uFrames);

    OvMultibandCompressorFXParams* m_pParams = nullptr;
    IOvMemAlloc* m_pAllocator = nullptr;
    OvCrossoverEQ m_Crossover;
    OvCrossoverEQ m_KeyCrossover;
    OvCompressor m_Compressor[OV_MULTIBANDCOMPRESSOR_NUM_BANDS];
    OvMultibandCompressorFXParamStruct m_Values;
    FXInfo m_FXInfo;
    float m_fPrevInputGain = 1.0f;   // linear
    float m_fPrevOutputGain = 1.0f;  // linear
    float m_fPrevBandInputGain[OV_MULTIBANDCOMPRESSOR_NUM_BANDS] = {};
    float m_fPrevBandOutputGain[OV_MULTIBANDCOMPRESSOR_NUM_BANDS] = {};
    struct InitGains {
        float fInput, fOutput;
        float fBandInput[OV_MULTIBANDCOMPRESSOR_NUM_BANDS], fBandOutput[OV_MULTIBANDCOMPRESSOR_NUM_BANDS];
    } m_InitGains = {1.0f, 1.0f, {}, {}};  // linear, as Init saw them
    OvPipelineBuffer m_BandSignal[OV_MULTIBANDCOMPRESSOR_NUM_BANDS];
    OvPipelineBuffer m_BandKey[OV_MULTIBANDCOMPRESSOR_NUM_BANDS];
    IOvEffectContext* m_pContext = nullptr;
};
