#include "sdk/plugins/OvCompressor/OvCompressorFXParams.h"

#include <cmath>
#include <cstring>

#include "ov/OvAssert.h"

namespace {

float DbToLinear(float in_fDb)
{
    return powf(10.0f, in_fDb * 0.05f);
}

float ReadFloat(const uint8_t* in_pBytes)
{
    const uint32_t uBits = uint32_t(in_pBytes[0]) | (uint32_t(in_pBytes[1]) << 8) |
                           (uint32_t(in_pBytes[2]) << 16) | (uint32_t(in_pBytes[3]) << 24);
    float fValue;
    std::memcpy(&fValue, &uBits, sizeof fValue);
    return fValue;
}

}  // namespace

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
    case OV_COMPRESSORFXPARAM_PREGAIN_ID: m_Params.fPreGain = DbToLinear(fValue); break;
    case OV_COMPRESSORFXPARAM_THRESHOLD_ID: m_Params.fThreshold = fValue; break;
    case OV_COMPRESSORFXPARAM_RATIO_ID: m_Params.fRatio = fValue; break;
    case OV_COMPRESSORFXPARAM_ATTACK_ID: m_Params.fAttack = fValue; break;
    case OV_COMPRESSORFXPARAM_RELEASE_ID: m_Params.fRelease = fValue; break;
    case OV_COMPRESSORFXPARAM_RANGE_ID: m_Params.fRange = fValue; break;
    case OV_COMPRESSORFXPARAM_POSTGAIN_ID: m_Params.fPostGain = DbToLinear(fValue); break;
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
    m_Params.fPreGain = DbToLinear(ReadFloat(p + 0));
    m_Params.fThreshold = ReadFloat(p + 4);
    m_Params.fRatio = ReadFloat(p + 8);
    m_Params.fAttack = ReadFloat(p + 12);
    m_Params.fRelease = ReadFloat(p + 16);
    m_Params.fRange = ReadFloat(p + 20);
    m_Params.fPostGain = DbToLinear(ReadFloat(p + 24));
    m_Params.bProcessLFE = p[28] != 0;
    m_Params.bChannelLink = p[29] != 0;
    const uint32_t uLeft = in_uBlockSize - OV_COMPRESSORFXPARAM_BLOCK_BYTES;
    OV_ASSERT_TEXT(uLeft == 0, "in_ulBlockSize == 0 || eResult != OV_Success");
    m_ParamChangeHandler.MarkAllChanged();
    return OV_Success;
}
