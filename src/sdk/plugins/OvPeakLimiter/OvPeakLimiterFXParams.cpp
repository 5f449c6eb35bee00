#include "sdk/plugins/OvPeakLimiter/OvPeakLimiterFXParams.h"

#include "ov/OvAssert.h"
#include "ov/OvParamValues.h"

namespace {

float Clamp(float in_fValue, float in_fMin, float in_fMax)
{
    return in_fValue < in_fMin ? in_fMin : (in_fValue > in_fMax ? in_fMax : in_fValue);
}

}  // namespace

OvResult OvPeakLimiterFXParams::SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize)
{
    if (!in_pValue || in_uSize == 0)
        return OV_BadParameter;
    const uint8_t* pBytes = static_cast<const uint8_t*>(in_pValue);
    const bool bIsByte = in_uID == OV_PEAKLIMITERFXPARAM_PROCESSLFE_ID ||
                         in_uID == OV_PEAKLIMITERFXPARAM_CHANNELLINK_ID ||
                         in_uID == OV_PEAKLIMITERFXPARAM_INFINITERATIO_ID ||
                         in_uID == OV_PEAKLIMITERFXPARAM_HARDCEILING_ID;
    if (!bIsByte && in_uID <= OV_PEAKLIMITERFXPARAM_HARDCEILING_ID && in_uSize < sizeof(float))
        return OV_BadParameter;
    switch (in_uID) {
    case OV_PEAKLIMITERFXPARAM_THRESHOLD_ID:
        fThreshold = Clamp(OV::ReadLE<float>(pBytes), -96.3f, 0.0f);
        bRuntimeChanged = 1;
        break;
    case OV_PEAKLIMITERFXPARAM_RATIO_ID:
        fRatio = OV::ReadLE<float>(pBytes);
        bRuntimeChanged = 1;
        break;
    case OV_PEAKLIMITERFXPARAM_RELEASE_ID:
        fRelease = OV::ReadLE<float>(pBytes);
        bRuntimeChanged = 1;
        break;
    case OV_PEAKLIMITERFXPARAM_OUTPUTGAIN_ID:
        fOutputGain = OV::DbToLinear(Clamp(OV::ReadLE<float>(pBytes), -24.0f, 24.0f));
        bRuntimeChanged = 1;
        break;
    case OV_PEAKLIMITERFXPARAM_LOOKAHEAD_ID:
        fLookAhead = OV::ReadLE<float>(pBytes);
        bLayoutChanged = 1;
        PrepareForChange();
        break;
    case OV_PEAKLIMITERFXPARAM_LOOKAHEADDIVISOR_ID:
        fLookAheadDivisor = OV::ReadLE<float>(pBytes);
        bLayoutChanged = 1;
        break;
    case OV_PEAKLIMITERFXPARAM_HARDCEILING_ID:
        bHardCeiling = pBytes[0];
        bLayoutChanged = 1;
        break;
    case OV_PEAKLIMITERFXPARAM_PROCESSLFE_ID:
        bProcessLFE = pBytes[0];
        bLayoutChanged = 1;
        break;
    case OV_PEAKLIMITERFXPARAM_CHANNELLINK_ID:
        bChannelLink = pBytes[0];
        bLayoutChanged = 1;
        break;
    case OV_PEAKLIMITERFXPARAM_INFINITERATIO_ID:
        bInfiniteRatio = pBytes[0];
        bLayoutChanged = 1;
        break;
    default:
        OV_ASSERT_TEXT(false, "Invalid parameter.");
        return OV_BadParameter;
    }
    return OV_Success;
}

OvResult OvPeakLimiterFXParams::SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize)
{
    // A short block would be read past its end: refuse it.
    if (!in_pParamsBlock || in_uBlockSize < OV_PEAKLIMITERFX_BLOCK_BYTES)
        return OV_BadParameter;
    const uint8_t* pBytes = static_cast<const uint8_t*>(in_pParamsBlock);
    // No clamps on this path.
    fThreshold = OV::ReadLE<float>(pBytes + OV_PEAKLIMITERFX_OFFSET_THRESHOLD);
    fRatio = OV::ReadLE<float>(pBytes + OV_PEAKLIMITERFX_OFFSET_RATIO);
    fLookAhead = OV::ReadLE<float>(pBytes + OV_PEAKLIMITERFX_OFFSET_LOOKAHEAD);
    fLookAheadDivisor = OV::ReadLE<float>(pBytes + OV_PEAKLIMITERFX_OFFSET_LOOKAHEADDIVISOR);
    fRelease = OV::ReadLE<float>(pBytes + OV_PEAKLIMITERFX_OFFSET_RELEASE);
    fOutputGain = OV::DbToLinear(OV::ReadLE<float>(pBytes + OV_PEAKLIMITERFX_OFFSET_OUTPUTGAIN));
    bHardCeiling = pBytes[OV_PEAKLIMITERFX_OFFSET_HARDCEILING];
    bProcessLFE = pBytes[OV_PEAKLIMITERFX_OFFSET_PROCESSLFE];
    bChannelLink = pBytes[OV_PEAKLIMITERFX_OFFSET_CHANNELLINK];
    bInfiniteRatio = pBytes[OV_PEAKLIMITERFX_OFFSET_INFINITERATIO];
    bRuntimeChanged = 1;
    bLayoutChanged = 1;
    PrepareForChange();
    OV_CHECK_BLOCK_END(in_uBlockSize, OV_PEAKLIMITERFX_BLOCK_BYTES);
    return OV_Success;
}

uint32_t OvPeakLimiterFXParams::PackBlock(const BlockValues& in_values, uint8_t* out_pBlock)
{
    OV::WriteLE(out_pBlock + OV_PEAKLIMITERFX_OFFSET_THRESHOLD, in_values.fThreshold);
    OV::WriteLE(out_pBlock + OV_PEAKLIMITERFX_OFFSET_RATIO, in_values.fRatio);
    OV::WriteLE(out_pBlock + OV_PEAKLIMITERFX_OFFSET_LOOKAHEAD, in_values.fLookAhead);
    OV::WriteLE(out_pBlock + OV_PEAKLIMITERFX_OFFSET_LOOKAHEADDIVISOR, in_values.fLookAheadDivisor);
    OV::WriteLE(out_pBlock + OV_PEAKLIMITERFX_OFFSET_RELEASE, in_values.fRelease);
    OV::WriteLE(out_pBlock + OV_PEAKLIMITERFX_OFFSET_OUTPUTGAIN, in_values.fOutputGainDb);
    out_pBlock[OV_PEAKLIMITERFX_OFFSET_HARDCEILING] = in_values.bHardCeiling;
    out_pBlock[OV_PEAKLIMITERFX_OFFSET_PROCESSLFE] = in_values.bProcessLFE;
    out_pBlock[OV_PEAKLIMITERFX_OFFSET_CHANNELLINK] = in_values.bChannelLink;
    out_pBlock[OV_PEAKLIMITERFX_OFFSET_INFINITERATIO] = in_values.bInfiniteRatio;
    return OV_PEAKLIMITERFX_BLOCK_BYTES;
}
