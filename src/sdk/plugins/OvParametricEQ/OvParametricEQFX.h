// Nine-band parametric EQ: up to nine biquads in series on each channel, one
// design per band shared by all channels, then an output gain ramped over the
// block. Bands are redesigned at the top of the block after their parameters
// change, abruptly; a band switched off keeps its memories for when it comes
// back. The LFE channel is left alone (neither filtered nor gained) unless
// bProcessLFE.
#pragma once

#include <cstdint>

#include "ov/IOvEffect.h"
#include "sdk/dsp/filters/OvBiquadMulti.h"
#include "sdk/plugins/OvParametricEQ/OvParametricEQFXParams.h"

class OvParametricEQFX final : public IOvEffect {
public:
    OvParametricEQFX() = default;

    OvResult Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext, IOvEffectParams* in_pParams,
                  const OvStreamFormat& in_format) override;
    OvResult Shutdown(IOvMemAlloc* in_pAllocator) override;
    // As after Init: zeroes the memories of all bands, designs every band
    // again at the next block and ramps the output gain from Init's value.
    OvResult Reset() override;
    void ProcessBlock(OvPipelineBuffer* io_pBuffer) override;
    // ProcessBlock on io_pBuffer and in_pOther's ProcessBlock on its own
    // io_pOtherBuffer (in_pOther may be null): the two run their bands side by
    // side. The same bits as the two calls one after the other.
    void ProcessBlockAlongside(OvPipelineBuffer* io_pBuffer, OvParametricEQFX* in_pOther,
                               OvPipelineBuffer* io_pOtherBuffer);

    // Designs band in_uBand from its record; the gain uses powf.
    void DesignBand(uint32_t in_uBand, const OvParametricEQBandParams& in_band);

    const OvBiquadMulti& Filter(uint32_t in_uBand) const { return m_Filters[in_uBand]; }
    uint32_t NumProcessedChannels() const { return m_uNumProcessedChannels; }

private:
    // One block's work: the bands that are on, in order, and the gain.
    struct Pass {
        OvPipelineBuffer* pBuffer;
        uint32_t uFrames;
        uint32_t uChannels;
        uint32_t uNumBands;
        uint32_t uBands[OV_PARAMETRICEQ_NUM_BANDS];
        float fGain;
    };
    // Designs changed bands and fills the pass; false when nothing runs.
    bool Begin(OvPipelineBuffer* io_pBuffer, Pass& out_pass);
    // Queues the in_uRound-th band that is on, for every channel.
    void QueueRound(const Pass& in_pass, uint32_t in_uRound, OvBiquadBatch& io_batch);
    void End(const Pass& in_pass);

    OvParametricEQFXParams* m_pParams = nullptr;
    IOvMemAlloc* m_pAllocator = nullptr;
    OvBiquadMulti m_Filters[OV_PARAMETRICEQ_NUM_BANDS];
    uint32_t m_uNumProcessedChannels = 0;
    uint32_t m_uSampleRate = 0;
    float m_fPrevOutputGain = 1.0f;  // linear
    float m_fInitOutputGain = 1.0f;  // linear, as Init saw it
};
