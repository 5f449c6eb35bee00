// Parameters of the nine-band parametric EQ: per band a filter type (the
// numbering of OvBiquadShape), gain in dB (SetParam clamps to +-24), frequency
// in Hz, Q and a switch; the output gain in dB (clamped to +-24) and whether
// the LFE channel is processed. Each band has a plain change flag; the output
// gain is read every block and needs none.
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

constexpr uint32_t OV_PARAMETRICEQ_NUM_BANDS = 9;
constexpr uint16_t OV_PARAMETRICEQ_ID_OUTPUTGAIN = 45;
constexpr uint16_t OV_PARAMETRICEQ_ID_PROCESSLFE = 46;
constexpr uint32_t OV_PARAMETRICEQ_BLOCK_BYTES = 56;

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

    OvResult SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize) override;
    // The 56-byte block; values are taken as they are, unclamped. A shorter
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
