#include "sdk/plugins/OvDelay/OvDelayFXParams.h"

#include <cmath>

#include "ov/OvAssert.h"
#include "ov/OvParamValues.h"

namespace {

// The delay time is clamped to [0, 40 000] ms: 0 (below one frame) means no
// line and the dry path only; the top is what the lines hold (2^22 frames)
// at every rate up to 96 kHz. +inf would ask for the largest line at once.
constexpr float kMaxDelayTimeMs = 40000.0f;
// The feedback is clamped to [0, 0.99]: at 0 or below nothing is fed back,
// and at 1 or more the loop grows by itself. The wet level adds to the loop
// gain, F * (1 + wet); the effect holds what it feeds back so that a loop
// gain above 1 stays finite (OvDelayFX).
constexpr float kMaxFeedback = 0.99f;
// Dry and wet levels are clamped to +24 dB at most (no lower bound: -inf is
// silence): the wet level multiplies the loop gain, and 1e6 dB is infinite.
constexpr float kMaxLevelDb = 24.0f;

}  // namespace

float OvDelayFXParams::FieldInDomain(uint16_t in_uID, float in_fValue) const
{
    // A NaN keeps the previous value in every field.
    switch (in_uID) {
    case OV_DELAYFXPARAM_DELAYTIME_ID: return OV::ClampToDomain(in_fValue, 0.0f, kMaxDelayTimeMs, fDelayTime);
    case OV_DELAYFXPARAM_DRYLEVEL_ID:
        return OV::DbToLinearInDomain(in_fValue, -INFINITY, kMaxLevelDb, fDryLevel);
    case OV_DELAYFXPARAM_WETLEVEL_ID:
        return OV::DbToLinearInDomain(in_fValue, -INFINITY, kMaxLevelDb, fWetLevel);
    default: return OV::ClampToDomain(in_fValue, 0.0f, kMaxFeedback, fFeedback);
    }
}

OvResult OvDelayFXParams::SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize)
{
    if (!in_pValue) {
        OV_ASSERT(in_pValue != NULL);
        return OV_BadParameter;
    }
    if (in_uSize < sizeof(float))
        return OV_BadParameter;
    const float fRaw = OV::ReadLE<float>(in_pValue);
    switch (in_uID) {
    case OV_DELAYFXPARAM_DELAYTIME_ID:
        fDelayTime = FieldInDomain(in_uID, fRaw);
        break;
    case OV_DELAYFXPARAM_DRYLEVEL_ID:
        fDryLevel = FieldInDomain(in_uID, fRaw);
        break;
    case OV_DELAYFXPARAM_WETLEVEL_ID:
        fWetLevel = FieldInDomain(in_uID, fRaw);
        break;
    case OV_DELAYFXPARAM_FEEDBACK_ID:
        fFeedback = FieldInDomain(in_uID, fRaw);
        break;
    default:
        OV_ASSERT_TEXT(false, "Invalid Delay parameter ID");
        return OV_BadParameter;
    }
    m_paramChangeHandler.MarkChanged(in_uID);
    if (in_uID == OV_DELAYFXPARAM_DELAYTIME_ID)
        PrepareForChange();
    return OV_Success;
}

OvResult OvDelayFXParams::SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize)
{
    // A short block would be read past its end: refuse it.
    if (!in_pParamsBlock || in_uBlockSize < OV_DELAYFX_BLOCK_BYTES)
        return OV_BadParameter;
    const uint8_t* pBytes = static_cast<const uint8_t*>(in_pParamsBlock);
    // The first value goes through the dB conversion although SetParam takes
    // milliseconds; intended. Then every field is held to SetParam's domain.
    const float fDelayTimeMs = OV::DbToLinear(OV::ReadLE<float>(pBytes + OV_DELAYFX_OFFSET_DELAYTIME));
    const float fFeedbackRead = OV::ReadLE<float>(pBytes + OV_DELAYFX_OFFSET_FEEDBACK);
    const float fDryDb = OV::ReadLE<float>(pBytes + OV_DELAYFX_OFFSET_DRYLEVEL);
    const float fWetDb = OV::ReadLE<float>(pBytes + OV_DELAYFX_OFFSET_WETLEVEL);
    fDelayTime = FieldInDomain(OV_DELAYFXPARAM_DELAYTIME_ID, fDelayTimeMs);
    fFeedback = FieldInDomain(OV_DELAYFXPARAM_FEEDBACK_ID, fFeedbackRead);
    fDryLevel = FieldInDomain(OV_DELAYFXPARAM_DRYLEVEL_ID, fDryDb);
    fWetLevel = FieldInDomain(OV_DELAYFXPARAM_WETLEVEL_ID, fWetDb);
    OV_CHECK_BLOCK_END(in_uBlockSize, OV_DELAYFX_BLOCK_BYTES);
    m_paramChangeHandler.MarkAllChanged();
    PrepareForChange();
    return OV_Success;
}

uint32_t OvDelayFXParams::PackBlock(const BlockValues& in_values, uint8_t* out_pBlock)
{
    OV::WriteLE(out_pBlock + OV_DELAYFX_OFFSET_DELAYTIME, in_values.fDelayTime);
    OV::WriteLE(out_pBlock + OV_DELAYFX_OFFSET_FEEDBACK, in_values.fFeedback);
    OV::WriteLE(out_pBlock + OV_DELAYFX_OFFSET_DRYLEVEL, in_values.fDryLevelDb);
    OV::WriteLE(out_pBlock + OV_DELAYFX_OFFSET_WETLEVEL, in_values.fWetLevelDb);
    return OV_DELAYFX_BLOCK_BYTES;
}
