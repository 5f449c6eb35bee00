#include "sdk/plugins/OvConvolutionReverb/OvConvolutionReverbFXParams.h"

#include <cmath>

#include "ov/OvAssert.h"
#include "ov/OvParamValues.h"

namespace {

// Both delays are held to [0, 10 000] ms: they become delay lines and a
// tail, and an unbounded value would ask for unbounded memory. Widths are
// held to [0, 180] degrees. The input, Front, Rear, Center and LFE levels
// are at most 0 dB; Dry and Wet at most +24 dB, which keeps the output of a
// full-scale input finite. No lower bound: -inf is silence.
constexpr float kMaxDelayMs = 10000.0f;
constexpr float kMaxWidthDegrees = 180.0f;
constexpr float kMaxSpeakerLevelDb = 0.0f;
constexpr float kMaxDryWetLevelDb = 24.0f;

}  // namespace

OvResult OvConvolutionReverbFXParams::SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize)
{
    if (!in_pValue) {
        OV_ASSERT(in_pValue != NULL);
        return OV_BadParameter;
    }
    if (in_uSize < sizeof(float))
        return OV_BadParameter;
    const float f = OV::ReadLE<float>(in_pValue);
    OvConvolutionReverbValues& v = values;
    // A NaN keeps the previous value of every field.
    switch (in_uID) {
    case OV_CONVREVERB_PREDELAY_ID: v.fPreDelay = OV::ClampToDomain(f, 0.0f, kMaxDelayMs, v.fPreDelay); break;
    case OV_CONVREVERB_FRONTREARDELAY_ID:
        v.fFrontRearDelay = OV::ClampToDomain(f, 0.0f, kMaxDelayMs, v.fFrontRearDelay);
        break;
    case OV_CONVREVERB_STEREOWIDTH_ID:
        v.fStereoWidth = OV::ClampToDomain(f, 0.0f, kMaxWidthDegrees, v.fStereoWidth);
        break;
    case OV_CONVREVERB_INPUTSTEREOWIDTH_ID:
        v.fInputStereoWidth = OV::ClampToDomain(f, 0.0f, kMaxWidthDegrees, v.fInputStereoWidth);
        break;
    case OV_CONVREVERB_INPUTCENTERLEVEL_ID:
        v.fInputCenterLevel = OV::DbToLinearInDomain(f, -INFINITY, kMaxSpeakerLevelDb, v.fInputCenterLevel);
        break;
    case OV_CONVREVERB_INPUTLFELEVEL_ID:
        v.fInputLFELevel = OV::DbToLinearInDomain(f, -INFINITY, kMaxSpeakerLevelDb, v.fInputLFELevel);
        break;
    case OV_CONVREVERB_FRONTLEVEL_ID:
        v.fFrontLevel = OV::DbToLinearInDomain(f, -INFINITY, kMaxSpeakerLevelDb, v.fFrontLevel);
        break;
    case OV_CONVREVERB_REARLEVEL_ID:
        v.fRearLevel = OV::DbToLinearInDomain(f, -INFINITY, kMaxSpeakerLevelDb, v.fRearLevel);
        break;
    case OV_CONVREVERB_CENTERLEVEL_ID:
        v.fCenterLevel = OV::DbToLinearInDomain(f, -INFINITY, kMaxSpeakerLevelDb, v.fCenterLevel);
        break;
    case OV_CONVREVERB_LFELEVEL_ID:
        v.fLFELevel = OV::DbToLinearInDomain(f, -INFINITY, kMaxSpeakerLevelDb, v.fLFELevel);
        break;
    case OV_CONVREVERB_DRYLEVEL_ID:
        v.fDryLevel = OV::DbToLinearInDomain(f, -INFINITY, kMaxDryWetLevelDb, v.fDryLevel);
        break;
    case OV_CONVREVERB_WETLEVEL_ID:
        v.fWetLevel = OV::DbToLinearInDomain(f, -INFINITY, kMaxDryWetLevelDb, v.fWetLevel);
        break;
    case OV_CONVREVERB_MODE_ID: v.uMode = OV::ReadLE<uint32_t>(in_pValue); break;
    default: return OV_Success;  // IDs in the gaps and above 33 do nothing
    }
    if (in_uID == OV_CONVREVERB_PREDELAY_ID || in_uID == OV_CONVREVERB_FRONTREARDELAY_ID)
        PrepareForChange();
    return OV_Success;
}

OvResult OvConvolutionReverbFXParams::SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize)
{
    if (!in_pParamsBlock || in_uBlockSize < OV_CONVREVERB_BLOCK_BYTES)
        return OV_BadParameter;
    const uint8_t* p = static_cast<const uint8_t*>(in_pParamsBlock);
    static const uint16_t kFieldIDs[12] = {
        OV_CONVREVERB_PREDELAY_ID,         OV_CONVREVERB_FRONTREARDELAY_ID, OV_CONVREVERB_STEREOWIDTH_ID,
        OV_CONVREVERB_INPUTCENTERLEVEL_ID, OV_CONVREVERB_INPUTLFELEVEL_ID,  OV_CONVREVERB_INPUTSTEREOWIDTH_ID,
        OV_CONVREVERB_FRONTLEVEL_ID,       OV_CONVREVERB_REARLEVEL_ID,      OV_CONVREVERB_CENTERLEVEL_ID,
        OV_CONVREVERB_LFELEVEL_ID,         OV_CONVREVERB_DRYLEVEL_ID,       OV_CONVREVERB_WETLEVEL_ID,
    };
    for (uint32_t i = 0; i < 12; ++i)
        SetParam(kFieldIDs[i], p + 4 * i, sizeof(float));
    values.uMode = OV::ReadLE<uint32_t>(p + 48);
    OV_CHECK_BLOCK_END(in_uBlockSize, OV_CONVREVERB_BLOCK_BYTES);
    return OV_Success;
}
