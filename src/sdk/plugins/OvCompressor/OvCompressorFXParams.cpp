#include "sdk/plugins/OvCompressor/OvCompressorFXParams.h"

#include <cstring>

#include "ov/OvAssert.h"
#include "ov/OvParamValues.h"

OvResult OvCompressorFXParams::SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize)
{
    if (!in_pValue) {
        OV_ASSERT(in_pValue != NULL);
        return OV_BadParameter;
    }
    if (in_uID >= OV_COMPRESSORFXPARAM_NUM) {
        OV_ASSERT_TEXT(false, "Invalid Compressor parameter ID");
        return OV_BadParameter;
    }
    const bool bByte = in_uID == OV_COMPRESSORFXPARAM_PROCESSLFE_ID ||
                       in_uID == OV_COMPRESSORFXPARAM_CHANNELLINK_ID;
    if (in_uSize < (bByte ? 1u : uint32_t(sizeof(float))))
        return OV_BadParameter;

    float fValue = 0.0f;
    if (!bByte)
        std::memcpy(&fValue, in_pValue, sizeof fValue);
    switch (in_uID) {
    case OV_COMPRESSORFXPARAM_PROCESSLFE_ID:
        m_Params.bProcessLFE = *static_cast<const uint8_t*>(in_pValue) != 0;
        break;
    case OV_COMPRESSORFXPARAM_CHANNELLINK_ID:
        m_Params.bChannelLink = *static_cast<const uint8_t*>(in_pValue) != 0;
        break;
    case OV_COMPRESSORFXPARAM_PREGAIN_ID: m_Params.fPreGain = OV::DbToLinear(fValue); break;
    case OV_COMPRESSORFXPARAM_THRESHOLD_ID: m_Params.fThreshold = fValue; break;
    case OV_COMPRESSORFXPARAM_RATIO_ID: m_Params.fRatio = fValue; break;
    case OV_COMPRESSORFXPARAM_ATTACK_ID: m_Params.fAttack = fValue; break;
    case OV_COMPRESSORFXPARAM_RELEASE_ID: m_Params.fRelease = fValue; break;
    case OV_COMPRESSORFXPARAM_RANGE_ID: m_Params.fRange = fValue; break;
    case OV_COMPRESSORFXPARAM_POSTGAIN_ID: m_Params.fPostGain = OV::DbToLinear(fValue); break;
    default: break;
    }
    m_ParamChangeHandler.MarkChanged(in_uID);
    return OV_Success;
}

OvResult OvCompressorFXParams::SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize)
{
    // A short block is refused rather than read past its end.
    if (!in_pParamsBlock || in_uBlockSize < OV_COMPRESSORFXPARAM_BLOCK_BYTES)
        return OV_BadParameter;
    const uint8_t* p = static_cast<const uint8_t*>(in_pParamsBlock);
    m_Params.fPreGain = OV::DbToLinear(OV::ReadLE<float>(p + OV_COMPRESSORFXPARAM_OFFSET_PREGAIN));
    m_Params.fThreshold = OV::ReadLE<float>(p + OV_COMPRESSORFXPARAM_OFFSET_THRESHOLD);
    m_Params.fRatio = OV::ReadLE<float>(p + OV_COMPRESSORFXPARAM_OFFSET_RATIO);
    m_Params.fAttack = OV::ReadLE<float>(p + OV_COMPRESSORFXPARAM_OFFSET_ATTACK);
    m_Params.fRelease = OV::ReadLE<float>(p + OV_COMPRESSORFXPARAM_OFFSET_RELEASE);
    m_Params.fRange = OV::ReadLE<float>(p + OV_COMPRESSORFXPARAM_OFFSET_RANGE);
    m_Params.fPostGain = OV::DbToLinear(OV::ReadLE<float>(p + OV_COMPRESSORFXPARAM_OFFSET_POSTGAIN));
    m_Params.bProcessLFE = p[OV_COMPRESSORFXPARAM_OFFSET_PROCESSLFE] != 0;
    m_Params.bChannelLink = p[OV_COMPRESSORFXPARAM_OFFSET_CHANNELLINK] != 0;
    OV_CHECK_BLOCK_END(in_uBlockSize, OV_COMPRESSORFXPARAM_BLOCK_BYTES);
    m_ParamChangeHandler.MarkAllChanged();
    return OV_Success;
}

uint32_t OvCompressorFXParams::PackBlock(const BlockValues& in_values, uint8_t* out_pBlock)
{
    OV::WriteLE(out_pBlock + OV_COMPRESSORFXPARAM_OFFSET_PREGAIN, in_values.fPreGainDb);
    OV::WriteLE(out_pBlock + OV_COMPRESSORFXPARAM_OFFSET_THRESHOLD, in_values.fThreshold);
    OV::WriteLE(out_pBlock + OV_COMPRESSORFXPARAM_OFFSET_RATIO, in_values.fRatio);
    OV::WriteLE(out_pBlock + OV_COMPRESSORFXPARAM_OFFSET_ATTACK, in_values.fAttack);
    OV::WriteLE(out_pBlock + OV_COMPRESSORFXPARAM_OFFSET_RELEASE, in_values.fRelease);
    OV::WriteLE(out_pBlock + OV_COMPRESSORFXPARAM_OFFSET_RANGE, in_values.fRange);
    OV::WriteLE(out_pBlock + OV_COMPRESSORFXPARAM_OFFSET_POSTGAIN, in_values.fPostGainDb);
    out_pBlock[OV_COMPRESSORFXPARAM_OFFSET_PROCESSLFE] = in_values.bProcessLFE;
    out_pBlock[OV_COMPRESSORFXPARAM_OFFSET_CHANNELLINK] = in_values.bChannelLink;
    return OV_COMPRESSORFXPARAM_BLOCK_BYTES;
}
