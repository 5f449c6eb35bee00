// Constant-Q graphic EQ: N bands (3 to 30) whose centres follow from a start
// frequency and a bandwidth in octaves, peaks of Q sqrt(2^bw) / (2^bw - 1),
// with optional shelves (with Q) at both ends; then a linear output gain
// ramped over the block. Only bands whose parameters changed are redesigned,
// at the top of the next block; their memories run on. A new band count
// lays the filter grid out anew there, in room taken at Init for 30 bands.
#pragma once

#include <cstdint>

#include "ov/IOvEffect.h"
#include "sdk/dsp/filters/OvMultiBandEQ.h"
#include "sdk/plugins/OvGraphicEQ/OvGraphicEQFXParams.h"

class OvGraphicEQFX final : public IOvEffect {
public:
    OvGraphicEQFX() = default;

    OvResult Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext, IOvEffectParams* in_pParams,
                  const OvStreamFormat& in_format) override;
    OvResult Shutdown(IOvMemAlloc* in_pAllocator) override;
    // Clears the filter memories; the output gain ramps from Init's value again.
    OvResult Reset() override;
    void ProcessBlock(OvPipelineBuffer* io_pBuffer) override;

    // Centre frequencies (Hz), DesignBiquad types and the peak Q of a layout.
    void ComputeBands(uint32_t in_uNumBands, float in_fStartFrequency, float in_fBandwidth, bool in_bShelves);
    // Brings the filters up to date with the changes marked in the parameters.
    OvResult UpdateFilters(const OvGraphicEQFXParamsBlock& in_FXParams);

    float BandFrequency(uint32_t in_uBand) const { return m_fBandFrequency[in_uBand]; }
    int BandType(uint32_t in_uBand) const { return m_iBandType[in_uBand]; }
    float BandQ() const { return m_fBandQ; }
    OvMultiBandEQ& Filters() { return m_EQ; }

private:
    struct FXInfo {
        uint32_t uSampleRate = 0;
        uint32_t uNumChannels = 0;
        uint32_t uBlockFrames = 0;
    };

    OvGraphicEQFXParams* m_pParams = nullptr;
    IOvMemAlloc* m_pAllocator = nullptr;
    OvMultiBandEQ m_EQ;
    float m_fBandFrequency[OV_GRAPHICEQ_MAX_BANDS] = {};
    int m_iBandType[OV_GRAPHICEQ_MAX_BANDS] = {};
    float m_fBandQ = 1.0f;
    float m_fPrevOutputGain = 1.0f;
    float m_fInitOutputGain = 1.0f;  // as Init saw it, where Reset starts the ramp again
    OvGraphicEQFXParamsBlock m_FXParams;
    FXInfo m_FXInfo;
};
