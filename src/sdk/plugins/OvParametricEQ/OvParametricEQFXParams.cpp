#include "sdk/plugins/OvParametricEQ/OvParametricEQFXParams.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ov/OvAssert.h"
#include "ov/OvParamValues.h"

namespace {

// Gains through SetParam are clamped to +-24 dB, as they always were. A block
// may reach further and is held to +-60 dB: beyond that no boost or cut
// means anything, and 1e6 dB would make the design's amplitude infinite.
constexpr float kMaxGainDb = 24.0f;
constexpr float kMaxBlockGainDb = 60.0f;

// One float field of a band (gain, frequency, Q) held to its domain, gains
// to +-in_fMaxGainDb; a NaN keeps in_fPrevious.
float BandFieldInDomain(uint32_t in_uField, float in_fValue, float in_fMaxGainDb, float in_fPrevious)
{
    switch (in_uField) {
    case OV_PARAMETRICEQ_FIELD_GAIN:
        return OV::ClampToDomain(in_fValue, -in_fMaxGainDb, in_fMaxGainDb, in_fPrevious);
    case OV_PARAMETRICEQ_FIELD_FREQUENCY:
        // The frequency is clamped to 1 Hz or above: at 0 and below the
        // design's tangents and sines vanish or turn. The design then holds
        // it to 45 % of the rate (+inf included) and moves a band whose float
        // poles would not be stable, far below the audible range, upwards.
        return OV::ClampToDomain(in_fValue, OV_PARAMETRICEQ_MIN_FREQUENCY_HZ, INFINITY, in_fPrevious);
    default:
        // Q is clamped to [0.05, 40]: at 0 the design divides by zero, below
        // it the poles leave the unit circle, and far above 40 the peak
        // narrows until the float poles sit on the circle.
        return OV::ClampToDomain(in_fValue, OV_PARAMETRICEQ_MIN_Q, OV_PARAMETRICEQ_MAX_Q, in_fPrevious);
    }
}

}  // namespace

OvParametricEQFXParams::OvParametricEQFXParams()
{
    m_Bands[BAND1] = {4, 0.0f, 120.0f, 5.0f, 1};
    m_Bands[BAND2] = {6, 0.0f, 2000.0f, 5.0f, 1};
    m_Bands[BAND3] = {5, 0.0f, 5000.0f, 5.0f, 1};
    ResetUpperBands();
    fOutputGain = 0.0f;
    bProcessLFE = 1;
    SetAllBandsChanged();
}

void OvParametricEQFXParams::ResetUpperBands()
{
    for (uint32_t n = BAND4; n <= BAND9; ++n)
        m_Bands[n] = {5, 0.0f, 5000.0f, 5.0f, 0};
}

OvResult OvParametricEQFXParams::SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize)
{
    if (in_pValue == nullptr) {
        OV_ASSERT_TEXT(false, "in_pValue != NULL");
        return OV_BadParameter;
    }
    if (in_uID > OV_PARAMETRICEQ_ID_PROCESSLFE) {
        OV_ASSERT_TEXT(false, "Invalid parameter.");
        return OV_BadParameter;
    }
    const uint32_t field = in_uID % OV_PARAMETRICEQ_FIELDS_PER_BAND;
    const uint32_t needed = (in_uID == OV_PARAMETRICEQ_ID_PROCESSLFE ||
                             (in_uID < OV_PARAMETRICEQ_ID_OUTPUTGAIN && field == OV_PARAMETRICEQ_FIELD_ON))
                                ? 1
                                : 4;
    if (in_uSize < needed)
        return OV_BadParameter;  // too short to read: refused
    const uint8_t* pBytes = static_cast<const uint8_t*>(in_pValue);

    if (in_uID == OV_PARAMETRICEQ_ID_OUTPUTGAIN) {
        // Clamped to +-24 dB; NaN keeps the previous value.
        fOutputGain = OV::ClampToDomain(OV::ReadLE<float>(pBytes), -kMaxGainDb, kMaxGainDb, fOutputGain);
        return OV_Success;
    }
    if (in_uID == OV_PARAMETRICEQ_ID_PROCESSLFE) {
        bProcessLFE = pBytes[0];
        return OV_Success;
    }
    const uint32_t ulBandNum = in_uID / OV_PARAMETRICEQ_FIELDS_PER_BAND;
    OvParametricEQBandParams& band = m_Bands[ulBandNum];
    // Floats are held to their domains (BandFieldInDomain). A type outside
    // the table is stored; the effect keeps that band's previous design.
    switch (field) {
    case OV_PARAMETRICEQ_FIELD_TYPE: band.FilterType = OV::ReadLE<uint32_t>(pBytes); break;
    case OV_PARAMETRICEQ_FIELD_GAIN:
        band.fGain = BandFieldInDomain(field, OV::ReadLE<float>(pBytes), kMaxGainDb, band.fGain);
        break;
    case OV_PARAMETRICEQ_FIELD_FREQUENCY:
        band.fFrequency = BandFieldInDomain(field, OV::ReadLE<float>(pBytes), kMaxGainDb, band.fFrequency);
        break;
    case OV_PARAMETRICEQ_FIELD_Q:
        band.fQ = BandFieldInDomain(field, OV::ReadLE<float>(pBytes), kMaxGainDb, band.fQ);
        break;
    default: band.bOn = pBytes[0]; break;
    }
    OV_ASSERT(ulBandNum <= BAND9);
    m_bBandChanged[ulBandNum] = 1;
    return OV_Success;
}

OvResult OvParametricEQFXParams::SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize)
{
    if (in_pParamsBlock == nullptr || in_uBlockSize < OV_PARAMETRICEQ_BLOCK_BYTES)
        return OV_BadParameter;
    const uint8_t* p = static_cast<const uint8_t*>(in_pParamsBlock);
    for (uint32_t n = BAND1; n < OV_PARAMETRICEQ_BLOCK_NUM_BANDS; ++n) {
        const uint8_t* band = p + OV_PARAMETRICEQ_OFFSET_BAND_STRIDE * n;
        OvParametricEQBandParams& io = m_Bands[n];
        io.FilterType = OV::ReadLE<uint32_t>(band + OV_PARAMETRICEQ_OFFSET_BAND_TYPE);
        io.fGain = BandFieldInDomain(OV_PARAMETRICEQ_FIELD_GAIN, OV::ReadLE<float>(band + OV_PARAMETRICEQ_OFFSET_BAND_GAIN),
                                     kMaxBlockGainDb, io.fGain);
        io.fFrequency = BandFieldInDomain(OV_PARAMETRICEQ_FIELD_FREQUENCY,
                                          OV::ReadLE<float>(band + OV_PARAMETRICEQ_OFFSET_BAND_FREQUENCY),
                                          kMaxBlockGainDb, io.fFrequency);
        io.fQ = BandFieldInDomain(OV_PARAMETRICEQ_FIELD_Q, OV::ReadLE<float>(band + OV_PARAMETRICEQ_OFFSET_BAND_Q),
                                  kMaxBlockGainDb, io.fQ);
        io.bOn = band[OV_PARAMETRICEQ_OFFSET_BAND_ON];
    }
    fOutputGain = OV::ClampToDomain(OV::ReadLE<float>(p + OV_PARAMETRICEQ_OFFSET_OUTPUTGAIN), -kMaxBlockGainDb,
                                    kMaxBlockGainDb, fOutputGain);
    bProcessLFE = p[OV_PARAMETRICEQ_OFFSET_PROCESSLFE];
    ResetUpperBands();
    SetAllBandsChanged();
    OV_CHECK_BLOCK_END(in_uBlockSize, OV_PARAMETRICEQ_BLOCK_BYTES);
    return OV_Success;
}

uint32_t OvParametricEQFXParams::PackBlock(const BlockValues& in_values, uint8_t* out_pBlock)
{
    for (uint32_t n = BAND1; n < OV_PARAMETRICEQ_BLOCK_NUM_BANDS; ++n) {
        uint8_t* band = out_pBlock + OV_PARAMETRICEQ_OFFSET_BAND_STRIDE * n;
        OV::WriteLE(band + OV_PARAMETRICEQ_OFFSET_BAND_TYPE, in_values.bands[n].FilterType);
        OV::WriteLE(band + OV_PARAMETRICEQ_OFFSET_BAND_GAIN, in_values.bands[n].fGain);
        OV::WriteLE(band + OV_PARAMETRICEQ_OFFSET_BAND_FREQUENCY, in_values.bands[n].fFrequency);
        OV::WriteLE(band + OV_PARAMETRICEQ_OFFSET_BAND_Q, in_values.bands[n].fQ);
        band[OV_PARAMETRICEQ_OFFSET_BAND_ON] = in_values.bands[n].bOn;
    }
    OV::WriteLE(out_pBlock + OV_PARAMETRICEQ_OFFSET_OUTPUTGAIN, in_values.fOutputGainDb);
    out_pBlock[OV_PARAMETRICEQ_OFFSET_PROCESSLFE] = in_values.bProcessLFE;
    return OV_PARAMETRICEQ_BLOCK_BYTES;
}

const OvParametricEQBandParams& OvParametricEQFXParams::GetBand(uint32_t in_eBandNum) const
{
    OV_ASSERT_TEXT(in_eBandNum <= BAND9, "in_eBandNum >= BAND1 && in_eBandNum <= BAND9");
    return m_Bands[std::min<uint32_t>(in_eBandNum, BAND9)];
}

bool OvParametricEQFXParams::IsBandChanged(uint32_t in_eBandNumber) const
{
    OV_ASSERT_TEXT(in_eBandNumber <= BAND9, "in_eBandNumber >= BAND1 && in_eBandNumber <= BAND9");
    return in_eBandNumber <= BAND9 && m_bBandChanged[in_eBandNumber] != 0;
}

void OvParametricEQFXParams::SetBandChanged(uint32_t in_eBandNumber, bool in_bChanged)
{
    OV_ASSERT_TEXT(in_eBandNumber <= BAND9, "in_eBandNumber >= BAND1 && in_eBandNumber <= BAND9");
    if (in_eBandNumber <= BAND9)
        m_bBandChanged[in_eBandNumber] = in_bChanged ? 1 : 0;
}

void OvParametricEQFXParams::SetAllBandsChanged()
{
    std::memset(m_bBandChanged, 1, sizeof m_bBandChanged);
}
