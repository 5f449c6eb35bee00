#include "sdk/plugins/OvPeakLimiter/OvPeakLimiterFXParams.h"

#include <cmath>

#include "ov/OvAssert.h"
#include "ov/OvParamValues.h"

namespace {

// The threshold is clamped to [-96.3, 0] dB: the ceiling stays at or below
// full scale and above silence.
constexpr float kMinThresholdDb = -96.3f;
constexpr float kMaxThresholdDb = 0.0f;
// The ratio is clamped to 1 or more (infinity included): below 1 the dB law
// would raise loud peaks, at 0 without bound.
constexpr float kMinRatio = 1.0f;
// The look-ahead (the front end's Attack) is clamped to [0, 5] s: below one
// frame the delay is one frame, and 5 s is what the delay holds at every
// rate up to 192 kHz (2^20 frames).
constexpr float kMaxLookAheadS = 5.0f;
// The release is clamped to [0, 60] s: 0 recovers at once; below 0 the dB
// law's coefficient passes 1 and its gain runs away.
constexpr float kMaxReleaseS = 60.0f;
// The output gain is clamped to +-24 dB.
constexpr float kMaxOutputGainDb = 24.0f;
// The look-ahead divisor is clamped to [0.01, 100]: the dB law's attack
// settles over half the look-ahead divided by it; at 0 the attack never
// starts and below 0 it runs away.
constexpr float kMinLookAheadDivisor = 0.01f;
constexpr float kMaxLookAheadDivisor = 100.0f;

}  // namespace

float OvPeakLimiterFXParams::FieldInDomain(uint16_t in_uID, float in_fValue) const
{
    // A NaN keeps the previous value in every field.
    switch (in_uID) {
    case OV_PEAKLIMITERFXPARAM_THRESHOLD_ID:
        return OV::ClampToDomain(in_fValue, kMinThresholdDb, kMaxThresholdDb, fThreshold);
    case OV_PEAKLIMITERFXPARAM_RATIO_ID: return OV::ClampToDomain(in_fValue, kMinRatio, INFINITY, fRatio);
    case OV_PEAKLIMITERFXPARAM_RELEASE_ID: return OV::ClampToDomain(in_fValue, 0.0f, kMaxReleaseS, fRelease);
    case OV_PEAKLIMITERFXPARAM_OUTPUTGAIN_ID:
        return OV::DbToLinearInDomain(in_fValue, -kMaxOutputGainDb, kMaxOutputGainDb, fOutputGain);
    case OV_PEAKLIMITERFXPARAM_LOOKAHEAD_ID:
        return OV::ClampToDomain(in_fValue, 0.0f, kMaxLookAheadS, fLookAhead);
    default:  // OV_PEAKLIMITERFXPARAM_LOOKAHEADDIVISOR_ID
        return OV::ClampToDomain(in_fValue, kMinLookAheadDivisor, kMaxLookAheadDivisor, fLookAheadDivisor);
    }
}

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
    // Floats are held to their domains (FieldInDomain) before they are stored.
    case OV_PEAKLIMITERFXPARAM_THRESHOLD_ID:
        fThreshold = FieldInDomain(in_uID, OV::ReadLE<float>(pBytes));
        bRuntimeChanged = 1;
        break;
    case OV_PEAKLIMITERFXPARAM_RATIO_ID:
        fRatio = FieldInDomain(in_uID, OV::ReadLE<float>(pBytes));
        bRuntimeChanged = 1;
        break;
    case OV_PEAKLIMITERFXPARAM_RELEASE_ID:
        fRelease = FieldInDomain(in_uID, OV::ReadLE<float>(pBytes));
        bRuntimeChanged = 1;
        break;
    case OV_PEAKLIMITERFXPARAM_OUTPUTGAIN_ID:
        fOutputGain = FieldInDomain(in_uID, OV::ReadLE<float>(pBytes));
        bRuntimeChanged = 1;
        break;
    case OV_PEAKLIMITERFXPARAM_LOOKAHEAD_ID:
        fLookAhead = FieldInDomain(in_uID, OV::ReadLE<float>(pBytes));
        bLayoutChanged = 1;
        PrepareForChange();
        break;
    case OV_PEAKLIMITERFXPARAM_LOOKAHEADDIVISOR_ID:
        fLookAheadDivisor = FieldInDomain(in_uID, OV::ReadLE<float>(pBytes));
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
    // The same domains as SetParam.
    auto field = [&](uint16_t in_uID, uint32_t in_uOffset) {
        return FieldInDomain(in_uID, OV::ReadLE<float>(pBytes + in_uOffset));
    };
    fThreshold = field(OV_PEAKLIMITERFXPARAM_THRESHOLD_ID, OV_PEAKLIMITERFX_OFFSET_THRESHOLD);
    fRatio = field(OV_PEAKLIMITERFXPARAM_RATIO_ID, OV_PEAKLIMITERFX_OFFSET_RATIO);
    fLookAhead = field(OV_PEAKLIMITERFXPARAM_LOOKAHEAD_ID, OV_PEAKLIMITERFX_OFFSET_LOOKAHEAD);
    fLookAheadDivisor = field(OV_PEAKLIMITERFXPARAM_LOOKAHEADDIVISOR_ID, OV_PEAKLIMITERFX_OFFSET_LOOKAHEADDIVISOR);
    fRelease = field(OV_PEAKLIMITERFXPARAM_RELEASE_ID, OV_PEAKLIMITERFX_OFFSET_RELEASE);
    fOutputGain = field(OV_PEAKLIMITERFXPARAM_OUTPUTGAIN_ID, OV_PEAKLIMITERFX_OFFSET_OUTPUTGAIN);
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
