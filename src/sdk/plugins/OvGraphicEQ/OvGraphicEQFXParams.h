// Parameters of the constant-Q graphic EQ. IDs: 0 start frequency (Hz),
// 1 bandwidth (octaves), 2 output gain (SetParam takes dB, stored linear),
// 3 low shelf Q, 4 high shelf Q, 5 band count (3 to 30), 6 + i gain of band i
// (dB), 36 shelves on. SetParam and SetAllParams hold every value to its
// domain and keep the previous value for a NaN (the .cpp states each domain);
// values inside the domains are stored as given. Packed block: f32 start,
// f32 bandwidth, f32 output gain dB, f32 low Q, f32 high Q, u8 shelves,
// u32 band count, then that many f32 gains (the offsets below).
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

// The packed block, little-endian: where each field sits. The band count's
// gains follow the header; at most OV_GRAPHICEQ_MAX_BANDS of them are read.
constexpr uint32_t OV_GRAPHICEQ_OFFSET_STARTFREQUENCY = 0;
constexpr uint32_t OV_GRAPHICEQ_OFFSET_BANDWIDTH = 4;
constexpr uint32_t OV_GRAPHICEQ_OFFSET_OUTPUTGAIN = 8;  // dB
constexpr uint32_t OV_GRAPHICEQ_OFFSET_LOWSHELFQ = 12;
constexpr uint32_t OV_GRAPHICEQ_OFFSET_HIGHSHELFQ = 16;
constexpr uint32_t OV_GRAPHICEQ_OFFSET_SHELVES = 20;   // u8
constexpr uint32_t OV_GRAPHICEQ_OFFSET_NUMBANDS = 21;  // u32
constexpr uint32_t OV_GRAPHICEQ_OFFSET_BANDGAIN0 = 25;
constexpr uint32_t OV_GRAPHICEQ_BLOCK_HEADER_BYTES = OV_GRAPHICEQ_OFFSET_BANDGAIN0;

// Bytes of a block with in_uNumBands gains, as SetAllParams reads it.
constexpr uint32_t OvGraphicEQBlockBytes(uint32_t in_uNumBands)
{
    return OV_GRAPHICEQ_BLOCK_HEADER_BYTES +
           4 * (in_uNumBands < OV_GRAPHICEQ_MAX_BANDS ? in_uNumBands : OV_GRAPHICEQ_MAX_BANDS);
}

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
    // The block's fields as it holds them, in its order.
    struct BlockValues {
        float fStartFrequency;  // Hz
        float fBandwidth;       // octaves
        float fOutputGainDb;
        float fLowShelfQ;
        float fHighShelfQ;
        uint8_t bShelves;
        uint32_t uNumBands;
        float fBandGain[OV_GRAPHICEQ_MAX_BANDS];  // dB; the first uNumBands are written
    };
    // Writes the OvGraphicEQBlockBytes(in_values.uNumBands) bytes of a block;
    // returns that count.
    static uint32_t PackBlock(const BlockValues& in_values, uint8_t* out_pBlock);

    OvResult SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize) override;
    // A block too short for its own band count is refused and changes nothing;
    // gains beyond the 30th are not read.
    OvResult SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize) override;
    void MarkAllChanged() { m_ParamChangeHandler.MarkAllChanged(); }

    // A band gain in dB held to its domain; a NaN gives in_fPreviousDb. For
    // writers of fBandGain that do not go through SetParam.
    static float BandGainInDomain(float in_fGainDb, float in_fPreviousDb);

    OvFXParameterChangeHandler<37> m_ParamChangeHandler;
    OvGraphicEQFXParamsBlock m_Params;
};
