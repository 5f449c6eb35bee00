// Parameters of the nine-band parametric EQ: per band a filter type (the
// numbering of OvBiquadShape), gain in dB (SetParam clamps to +-24), frequency
// in Hz, Q and a switch; the output gain in dB (clamped to +-24) and whether
// the LFE channel is processed. Both SetParam and the block hold frequency
// (1 Hz or above) and Q (0.05 to 40) to their domains; the block holds gains
// to +-60 dB only. A NaN keeps the previous value. Each band has a plain
// change flag; the output gain is read every block and needs none.
//
// IDs: 5n + 0..4 for band n (type, gain, frequency, Q, on), 45 output gain,
// 46 process LFE. The packed block (56 bytes, little-endian) holds bands 1 to
// 3 at 17-byte strides, the output gain at 51 and the LFE switch at 55; the
// other six bands are then reset to an idle high shelf.
#pragma once

#include <cstdint>

#include "ov/OvEffectParamsBase.h"

enum OvParametricEQBand : uint32_t {
    BAND1 = 0, BAND2, BAND3, BAND4, BAND5, BAND6, BAND7, BAND8, BAND9,
};

// The fields of a band, in ID order.
enum OvParametricEQBandField : uint32_t {
    OV_PARAMETRICEQ_FIELD_TYPE = 0,
    OV_PARAMETRICEQ_FIELD_GAIN = 1,       // dB
    OV_PARAMETRICEQ_FIELD_FREQUENCY = 2,  // Hz
    OV_PARAMETRICEQ_FIELD_Q = 3,
    OV_PARAMETRICEQ_FIELD_ON = 4,         // byte
    OV_PARAMETRICEQ_FIELDS_PER_BAND = 5,
};

constexpr uint32_t OV_PARAMETRICEQ_NUM_BANDS = 9;
// Domain bounds of a band's frequency and Q; the .cpp says why.
constexpr float OV_PARAMETRICEQ_MIN_FREQUENCY_HZ = 1.0f;
constexpr float OV_PARAMETRICEQ_MIN_Q = 0.05f;
constexpr float OV_PARAMETRICEQ_MAX_Q = 40.0f;
constexpr uint16_t OV_PARAMETRICEQ_ID_OUTPUTGAIN = 45;
constexpr uint16_t OV_PARAMETRICEQ_ID_PROCESSLFE = 46;

// ID of a field of band in_uBand (BAND1 to BAND9).
constexpr uint16_t OvParametricEQBandParamID(uint32_t in_uBand, OvParametricEQBandField in_eField)
{
    return uint16_t(in_uBand * OV_PARAMETRICEQ_FIELDS_PER_BAND + in_eField);
}

// The packed block, little-endian: where each field sits. Band n of the
// first three starts at n * BAND_STRIDE and holds its fields at the BAND_*
// offsets from there.
constexpr uint32_t OV_PARAMETRICEQ_BLOCK_NUM_BANDS = 3;
constexpr uint32_t OV_PARAMETRICEQ_OFFSET_BAND_STRIDE = 17;
constexpr uint32_t OV_PARAMETRICEQ_OFFSET_BAND_TYPE = 0;       // u32
constexpr uint32_t OV_PARAMETRICEQ_OFFSET_BAND_GAIN = 4;       // dB
constexpr uint32_t OV_PARAMETRICEQ_OFFSET_BAND_FREQUENCY = 8;  // Hz
constexpr uint32_t OV_PARAMETRICEQ_OFFSET_BAND_Q = 12;
constexpr uint32_t OV_PARAMETRICEQ_OFFSET_BAND_ON = 16;       // u8
constexpr uint32_t OV_PARAMETRICEQ_OFFSET_OUTPUTGAIN = 51;    // dB
constexpr uint32_t OV_PARAMETRICEQ_OFFSET_PROCESSLFE = 55;    // u8
constexpr uint32_t OV_PARAMETRICEQ_BLOCK_BYTES = 56;
static_assert(OV_PARAMETRICEQ_OFFSET_OUTPUTGAIN ==
                  OV_PARAMETRICEQ_BLOCK_NUM_BANDS * OV_PARAMETRICEQ_OFFSET_BAND_STRIDE,
              "three bands, then the output gain");

struct OvParametricEQBandParams {
    uint32_t FilterType;
    float fGain;       // dB
    float fFrequency;  // Hz
    float fQ;
    uint8_t bOn;
};

class OvParametricEQFXParams final : public OvEffectParamsBase<OvParametricEQFXParams> {
public:
    OvParametricEQFXParams();

    // The block's fields as it holds them, in its order.
    struct BlockValues {
        OvParametricEQBandParams bands[OV_PARAMETRICEQ_BLOCK_NUM_BANDS];
        float fOutputGainDb;
        uint8_t bProcessLFE;
    };
    // Writes the OV_PARAMETRICEQ_BLOCK_BYTES of a block; returns that count.
    static uint32_t PackBlock(const BlockValues& in_values, uint8_t* out_pBlock);

    OvResult SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize) override;
    // The 56-byte block; gains are not clamped to +-24 dB here, only held to
    // their wider domain like the other floats. A shorter
    // block is refused with OV_BadParameter and changes nothing.
    OvResult SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize) override;
    void MarkAllChanged() { SetAllBandsChanged(); }
    // With no block: back to the defaults (low shelf 120 Hz, peak 2 kHz, high
    // shelf 5 kHz, all at 0 dB, Q 5, on; LFE processed).
    void InitWithoutBlock() { *this = OvParametricEQFXParams(); }

    // Band in_eBandNum; an out-of-range band is reported and BAND9 is given.
    const OvParametricEQBandParams& GetBand(uint32_t in_eBandNum) const;
    bool IsBandChanged(uint32_t in_eBandNumber) const;
    void SetBandChanged(uint32_t in_eBandNumber, bool in_bChanged);
    void SetAllBandsChanged();

    OvParametricEQBandParams m_Bands[OV_PARAMETRICEQ_NUM_BANDS];
    float fOutputGain;  // dB
    uint8_t bProcessLFE;
    uint8_t m_bBandChanged[OV_PARAMETRICEQ_NUM_BANDS];

private:
    // Bands 4 to 9 as the packed block leaves them.
    void ResetUpperBands();
};
