// Parameters of the constant-Q graphic EQ. IDs: 0 start frequency (Hz),
// 1 bandwidth (octaves), 2 output gain (SetParam takes dB, stored linear),
// 3 low shelf Q, 4 high shelf Q, 5 band count (3 to 30), 6 + i gain of band i
// (dB), 36 shelves on. Values are stored unclamped. Packed block: f32 start,
// f32 bandwidth, f32 output gain dB, f32 low Q, f32 high Q, u8 shelves,
// u32 band count, then that many f32 gains.
#pragma once

#include <cstdint>

#include "ov/OvEffectParamsBase.h"
#include "ov/OvFXParameterChangeHandler.h"

constexpr uint32_t OV_GRAPHICEQ_MAX_BANDS = 30;

enum OvGraphicEQParamID : uint16_t {
    OV_GRAPHICEQ_ID_STARTFREQUENCY = 0,
    OV_GRAPHICEQ_ID_BANDWIDTH = 1,
    OV_GRAPHICEQ_ID_OUTPUTGAIN = 2,
    OV_GRAPHICEQ_ID_LOWSHELFQ = 3,
    OV_GRAPHICEQ_ID_HIGHSHELFQ = 4,
    OV_GRAPHICEQ_ID_NUMBANDS = 5,
    OV_GRAPHICEQ_ID_BANDGAIN0 = 6,
    OV_GRAPHICEQ_ID_SHELVES = 36,
};

// The values the effect reads once per block.
struct OvGraphicEQFXParamsBlock {
    float fStartFrequency = 31.25f;  // Hz
    float fBandwidth = 1.0f;         // octaves
    float fOutputGain = 1.0f;        // linear
    float fLowShelfQ = 0.707f;
    float fHighShelfQ = 0.707f;
    uint32_t uNumBands = 10;
    float fBandGain[OV_GRAPHICEQ_MAX_BANDS] = {};  // dB
    uint8_t bShelves = 1;
};

class OvGraphicEQFXParams final : public OvEffectParamsBase<OvGraphicEQFXParams> {
public:
    OvResult SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize) override;
    // A block too short for its own band count is refused and changes nothing;
    // gains beyond the 30th are not read.
    OvResult SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize) override;
    void MarkAllChanged() { m_ParamChangeHandler.MarkAllChanged(); }

    OvFXParameterChangeHandler<37> m_ParamChangeHandler;
    OvGraphicEQFXParamsBlock m_Params;
};
