#include "sdk/plugins/OvParametricEQ/OvParametricEQFXParams.h"

#include <algorithm>
#include <cstring>

#include "ov/OvAssert.h"
#include "ov/OvParamValues.h"

namespace {

constexpr float kMinGainDb = -24.0f;
constexpr float kMaxGainDb = 24.0f;

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
    const uint32_t field = in_uID % 5;
    const uint32_t needed =
        (in_uID == OV_PARAMETRICEQ_ID_PROCESSLFE || (in_uID < OV_PARAMETRICEQ_ID_OUTPUTGAIN && field == 4)) ? 1 : 4;
    if (in_uSize < needed)
        return OV_BadParameter;  // too short to read: refused
    const uint8_t* pBytes = static_cast<const uint8_t*>(in_pValue);

    if (in_uID == OV_PARAMETRICEQ_ID_OUTPUTGAIN) {
        fOutputGain = std::clamp(OV::ReadLE<float>(pBytes), kMinGainDb, kMaxGainDb);
        return OV_Success;
    }
    if (in_uID == OV_PARAMETRICEQ_ID_PROCESSLFE) {
        bProcessLFE = pBytes[0];
        return OV_Success;
    }
    const uint32_t ulBandNum = in_uID / 5;
    OvParametricEQBandParams& band = m_Bands[ulBandNum];
    switch (field) {
    case 0: band.FilterType = OV::ReadLE<uint32_t>(pBytes); break;
    case 1: band.fGain = std::clamp(OV::ReadLE<float>(pBytes), kMinGainDb, kMaxGainDb); break;
    case 2: band.fFrequency = OV::ReadLE<float>(pBytes); break;
    case 3: band.fQ = OV::ReadLE<float>(pBytes); break;
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
    for (uint32_t n = BAND1; n <= BAND3; ++n) {
        const uint8_t* band = p + 17 * n;
        m_Bands[n].FilterType = OV::ReadLE<uint32_t>(band);
        m_Bands[n].fGain = OV::ReadLE<float>(band + 4);
        m_Bands[n].fFrequency = OV::ReadLE<float>(band + 8);
        m_Bands[n].fQ = OV::ReadLE<float>(band + 12);
        m_Bands[n].bOn = band[16];
    }
    fOutputGain = OV::ReadLE<float>(p + 51);
    bProcessLFE = p[55];
    ResetUpperBands();
    SetAllBandsChanged();
    OV_ASSERT_TEXT(in_uBlockSize == OV_PARAMETRICEQ_BLOCK_BYTES, "in_ulBlockSize == 0 || eResult != OV_Success");
    return OV_Success;
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
