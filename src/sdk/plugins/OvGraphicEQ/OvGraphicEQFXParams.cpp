#include "sdk/plugins/OvGraphicEQ/OvGraphicEQFXParams.h"

#include <algorithm>

#include "ov/OvAssert.h"
#include "ov/OvParamValues.h"

OvResult OvGraphicEQFXParams::SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize)
{
    const bool bValid = in_uID <= OV_GRAPHICEQ_ID_SHELVES;
    if (!bValid) {
        OV_ASSERT_TEXT(false, "Invalid Graphic EQ parameter.");
        return OV_BadParameter;
    }
    const uint32_t needed = in_uID == OV_GRAPHICEQ_ID_SHELVES ? 1 : 4;
    if (in_pValue == nullptr || in_uSize < needed)
        return OV_BadParameter;  // nothing to read: refused
    const uint8_t* p = static_cast<const uint8_t*>(in_pValue);
    switch (in_uID) {
    case OV_GRAPHICEQ_ID_STARTFREQUENCY: m_Params.fStartFrequency = OV::ReadLE<float>(p); break;
    case OV_GRAPHICEQ_ID_BANDWIDTH: m_Params.fBandwidth = OV::ReadLE<float>(p); break;
    case OV_GRAPHICEQ_ID_OUTPUTGAIN: m_Params.fOutputGain = OV::DbToLinear(OV::ReadLE<float>(p)); break;
    case OV_GRAPHICEQ_ID_LOWSHELFQ: m_Params.fLowShelfQ = OV::ReadLE<float>(p); break;
    case OV_GRAPHICEQ_ID_HIGHSHELFQ: m_Params.fHighShelfQ = OV::ReadLE<float>(p); break;
    case OV_GRAPHICEQ_ID_NUMBANDS: m_Params.uNumBands = OV::ReadLE<uint32_t>(p); break;
    case OV_GRAPHICEQ_ID_SHELVES: m_Params.bShelves = p[0]; break;
    default: m_Params.fBandGain[in_uID - OV_GRAPHICEQ_ID_BANDGAIN0] = OV::ReadLE<float>(p); break;
    }
    m_ParamChangeHandler.MarkChanged(in_uID);
    return OV_Success;
}

OvResult OvGraphicEQFXParams::SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize)
{
    constexpr uint32_t kHeaderBytes = 5 * 4 + 1 + 4;
    if (in_pParamsBlock == nullptr || in_uBlockSize < kHeaderBytes)
        return OV_BadParameter;
    const uint8_t* p = static_cast<const uint8_t*>(in_pParamsBlock);
    const uint32_t uNumBands = OV::ReadLE<uint32_t>(p + 21);
    const uint32_t uGainsRead = std::min(uNumBands, OV_GRAPHICEQ_MAX_BANDS);
    if (in_uBlockSize < kHeaderBytes + 4 * uGainsRead)
        return OV_BadParameter;
    m_Params.fStartFrequency = OV::ReadLE<float>(p);
    m_Params.fBandwidth = OV::ReadLE<float>(p + 4);
    m_Params.fOutputGain = OV::DbToLinear(OV::ReadLE<float>(p + 8));
    m_Params.fLowShelfQ = OV::ReadLE<float>(p + 12);
    m_Params.fHighShelfQ = OV::ReadLE<float>(p + 16);
    m_Params.bShelves = p[20];
    m_Params.uNumBands = uNumBands;
    for (uint32_t i = 0; i < uGainsRead; ++i)
        m_Params.fBandGain[i] = OV::ReadLE<float>(p + kHeaderBytes + 4 * i);
    m_ParamChangeHandler.MarkAllChanged();
    OV_ASSERT_TEXT(in_uBlockSize == kHeaderBytes + 4 * uGainsRead, "in_ulBlockSize == 0 || eResult != OV_Success");
    return OV_Success;
}
