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
    fThreshold = OV::ReadLE<float>(pBytes);
    fRatio = OV::ReadLE<float>(pBytes + 4);
    fLookAhead = OV::ReadLE<float>(pBytes + 8);
    fLookAheadDivisor = OV::ReadLE<float>(pBytes + 12);
    fRelease = OV::ReadLE<float>(pBytes + 16);
    fOutputGain = OV::DbToLinear(OV::ReadLE<float>(pBytes + 20));
    bHardCeiling = pBytes[24];
    bProcessLFE = pBytes[25];
    bChannelLink = pBytes[26];
    bInfiniteRatio = pBytes[27];
    bRuntimeChanged = 1;
    bLayoutChanged = 1;
    PrepareForChange();
    const OvResult eResult = OV_Success;
    // Bytes left over mean the block does not fit this parameter set.
    const uint32_t uBytesLeft = in_uBlockSize - OV_PEAKLIMITERFX_BLOCK_BYTES;
    OV_ASSERT_TEXT(uBytesLeft == 0 || eResult != OV_Success, "in_ulBlockSize == 0 || eResult != OV_Success");
    return eResult;
}
