#include "sdk/plugins/OvCompressor/OvCompressorFXParams.h"

#include <cmath>
#include <cstring>

#include "ov/OvAssert.h"
#include "ov/OvParamValues.h"

float OvCompressorFXParams::FieldInDomain(uint16_t in_uID, float in_fValue,
                                          const OvCompressorFXParamStruct& in_current)
{
    // In every field a NaN keeps the previous value.
    const float inf = INFINITY;
    switch (in_uID) {
    case OV_COMPRESSORFXPARAM_PREGAIN_ID:
        // Gains are clamped to +-40 dB, beyond any make-up gain: 1e6 dB would
        // be infinite, and the boosts of all the chain's effects together
        // must stay well within the float range.
        return OV::DbToLinearInDomain(in_fValue, -OV_COMPRESSOR_MAX_GAIN_DB, OV_COMPRESSOR_MAX_GAIN_DB,
                                      in_current.fPreGain);
    case OV_COMPRESSORFXPARAM_POSTGAIN_ID:
        return OV::DbToLinearInDomain(in_fValue, -OV_COMPRESSOR_MAX_GAIN_DB, OV_COMPRESSOR_MAX_GAIN_DB,
                                      in_current.fPostGain);
    case OV_COMPRESSORFXPARAM_THRESHOLD_ID:
        // The threshold is clamped to [-120, 40] dB: the detector's floor is
        // -250 dB, so nothing lower changes what is compressed, and the top
        // matches the largest pre gain. At +-inf the gain state would become NaN.
        return OV::ClampToDomain(in_fValue, OV_COMPRESSOR_MIN_THRESHOLD_DB, OV_COMPRESSOR_MAX_THRESHOLD_DB,
                                 in_current.fThreshold);
    case OV_COMPRESSORFXPARAM_RATIO_ID:
        // The ratio is clamped to 1 or more (infinity included): below 1 the
        // gain would rise with the level without bound, at 0 it is infinite.
        return OV::ClampToDomain(in_fValue, OV_COMPRESSOR_MIN_RATIO, inf, in_current.fRatio);
    case OV_COMPRESSORFXPARAM_ATTACK_ID:
        // Attack and release are clamped to [0, 60] s: 0 follows at once,
        // below 0 the smoothing coefficient passes 1 and the gain runs away.
        return OV::ClampToDomain(in_fValue, 0.0f, OV_COMPRESSOR_MAX_TIME_S, in_current.fAttack);
    case OV_COMPRESSORFXPARAM_RELEASE_ID:
        return OV::ClampToDomain(in_fValue, 0.0f, OV_COMPRESSOR_MAX_TIME_S, in_current.fRelease);
    default:  // OV_COMPRESSORFXPARAM_RANGE_ID
        // The range is clamped to 0 dB or below (no lower bound): it limits
        // the reduction, and above 0 it would be a boost without bound.
        return OV::ClampToDomain(in_fValue, -inf, OV_COMPRESSOR_MAX_RANGE_DB, in_current.fRange);
    }
}

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

    // Every float is held to its domain first (FieldInDomain).
    float fValue = 0.0f;
    if (!bByte)
        fValue = FieldInDomain(in_uID, OV::ReadLE<float>(in_pValue), m_Params);
    switch (in_uID) {
    case OV_COMPRESSORFXPARAM_PROCESSLFE_ID:
        m_Params.bProcessLFE = *static_cast<const uint8_t*>(in_pValue) != 0;
        break;
    case OV_COMPRESSORFXPARAM_CHANNELLINK_ID:
        m_Params.bChannelLink = *static_cast<const uint8_t*>(in_pValue) != 0;
        break;
    case OV_COMPRESSORFXPARAM_PREGAIN_ID: m_Params.fPreGain = fValue; break;
    case OV_COMPRESSORFXPARAM_THRESHOLD_ID: m_Params.fThreshold = fValue; break;
    case OV_COMPRESSORFXPARAM_RATIO_ID: m_Params.fRatio = fValue; break;
    case OV_COMPRESSORFXPARAM_ATTACK_ID: m_Params.fAttack = fValue; break;
    case OV_COMPRESSORFXPARAM_RELEASE_ID: m_Params.fRelease = fValue; break;
    case OV_COMPRESSORFXPARAM_RANGE_ID: m_Params.fRange = fValue; break;
    case OV_COMPRESSORFXPARAM_POSTGAIN_ID: m_Params.fPostGain = fValue; break;
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
    // The same domains as SetParam; each field is judged against the value it replaces.
    const OvCompressorFXParamStruct previous = m_Params;
    auto field = [&](uint16_t in_uID, uint32_t in_uOffset) {
        return FieldInDomain(in_uID, OV::ReadLE<float>(p + in_uOffset), previous);
    };
    m_Params.fPreGain = field(OV_COMPRESSORFXPARAM_PREGAIN_ID, OV_COMPRESSORFXPARAM_OFFSET_PREGAIN);
    m_Params.fThreshold = field(OV_COMPRESSORFXPARAM_THRESHOLD_ID, OV_COMPRESSORFXPARAM_OFFSET_THRESHOLD);
    m_Params.fRatio = field(OV_COMPRESSORFXPARAM_RATIO_ID, OV_COMPRESSORFXPARAM_OFFSET_RATIO);
    m_Params.fAttack = field(OV_COMPRESSORFXPARAM_ATTACK_ID, OV_COMPRESSORFXPARAM_OFFSET_ATTACK);
    m_Params.fRelease = field(OV_COMPRESSORFXPARAM_RELEASE_ID, OV_COMPRESSORFXPARAM_OFFSET_RELEASE);
    m_Params.fRange = field(OV_COMPRESSORFXPARAM_RANGE_ID, OV_COMPRESSORFXPARAM_OFFSET_RANGE);
    m_Params.fPostGain = field(OV_COMPRESSORFXPARAM_POSTGAIN_ID, OV_COMPRESSORFXPARAM_OFFSET_POSTGAIN);
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
