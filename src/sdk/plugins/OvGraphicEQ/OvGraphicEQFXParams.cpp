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
    if (in_pParamsBlock == nullptr || in_uBlockSize < OV_GRAPHICEQ_BLOCK_HEADER_BYTES)
        return OV_BadParameter;
    const uint8_t* p = static_cast<const uint8_t*>(in_pParamsBlock);
    const uint32_t uNumBands = OV::ReadLE<uint32_t>(p + OV_GRAPHICEQ_OFFSET_NUMBANDS);
    const uint32_t uGainsRead = std::min(uNumBands, OV_GRAPHICEQ_MAX_BANDS);
    const uint32_t uBlockBytes = OvGraphicEQBlockBytes(uNumBands);
    if (in_uBlockSize < uBlockBytes)
        return OV_BadParameter;
    m_Params.fStartFrequency = OV::ReadLE<float>(p + OV_GRAPHICEQ_OFFSET_STARTFREQUENCY);
    m_Params.fBandwidth = OV::ReadLE<float>(p + OV_GRAPHICEQ_OFFSET_BANDWIDTH);
    m_Params.fOutputGain = OV::DbToLinear(OV::ReadLE<float>(p + OV_GRAPHICEQ_OFFSET_OUTPUTGAIN));
    m_Params.fLowShelfQ = OV::ReadLE<float>(p + OV_GRAPHICEQ_OFFSET_LOWSHELFQ);
    m_Params.fHighShelfQ = OV::ReadLE<float>(p + OV_GRAPHICEQ_OFFSET_HIGHSHELFQ);
    m_Params.bShelves = p[OV_GRAPHICEQ_OFFSET_SHELVES];
    m_Params.uNumBands = uNumBands;
    for (uint32_t i = 0; i < uGainsRead; ++i)
        m_Params.fBandGain[i] = OV::ReadLE<float>(p + OV_GRAPHICEQ_OFFSET_BANDGAIN0 + 4 * i);
    m_ParamChangeHandler.MarkAllChanged();
    OV_CHECK_BLOCK_END(in_uBlockSize, uBlockBytes);
    return OV_Success;
}

uint32_t OvGraphicEQFXParams::PackBlock(const BlockValues& in_values, uint8_t* out_pBlock)
{
    OV::WriteLE(out_pBlock + OV_GRAPHICEQ_OFFSET_STARTFREQUENCY, in_values.fStartFrequency);
    OV::WriteLE(out_pBlock + OV_GRAPHICEQ_OFFSET_BANDWIDTH, in_values.fBandwidth);
    OV::WriteLE(out_pBlock + OV_GRAPHICEQ_OFFSET_OUTPUTGAIN, in_values.fOutputGainDb);
    OV::WriteLE(out_pBlock + OV_GRAPHICEQ_OFFSET_LOWSHELFQ, in_values.fLowShelfQ);
    OV::WriteLE(out_pBlock + OV_GRAPHICEQ_OFFSET_HIGHSHELFQ, in_values.fHighShelfQ);
    out_pBlock[OV_GRAPHICEQ_OFFSET_SHELVES] = in_values.bShelves;
    OV::WriteLE(out_pBlock + OV_GRAPHICEQ_OFFSET_NUMBANDS, in_values.uNumBands);
    const uint32_t uGains = std::min(in_values.uNumBands, OV_GRAPHICEQ_MAX_BANDS);
    for (uint32_t i = 0; i < uGains; ++i)
        OV::WriteLE(out_pBlock + OV_GRAPHICEQ_OFFSET_BANDGAIN0 + 4 * i, in_values.fBandGain[i]);
    return OvGraphicEQBlockBytes(in_values.uNumBands);
}
