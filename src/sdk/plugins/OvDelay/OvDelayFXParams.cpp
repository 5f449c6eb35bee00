#include "sdk/plugins/OvDelay/OvDelayFXParams.h"

#include "ov/OvAssert.h"
#include "ov/OvParamValues.h"

OvResult OvDelayFXParams::SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize)
{
    if (!in_pValue) {
        OV_ASSERT(in_pValue != NULL);
        return OV_BadParameter;
    }
    if (in_uSize < sizeof(float))
        return OV_BadParameter;
    const float fValue = OV::ReadLE<float>(in_pValue);
    switch (in_uID) {
    case OV_DELAYFXPARAM_DELAYTIME_ID:
        fDelayTime = fValue;
        break;
    case OV_DELAYFXPARAM_DRYLEVEL_ID:
        fDryLevel = OV::DbToLinear(fValue);
        break;
    case OV_DELAYFXPARAM_WETLEVEL_ID:
        fWetLevel = OV::DbToLinear(fValue);
        break;
    case OV_DELAYFXPARAM_FEEDBACK_ID:
        fFeedback = fValue;
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
    // milliseconds; intended.
    fDelayTime = OV::DbToLinear(OV::ReadLE<float>(pBytes + OV_DELAYFX_OFFSET_DELAYTIME));
    fFeedback = OV::ReadLE<float>(pBytes + OV_DELAYFX_OFFSET_FEEDBACK);
    fDryLevel = OV::DbToLinear(OV::ReadLE<float>(pBytes + OV_DELAYFX_OFFSET_DRYLEVEL));
    fWetLevel = OV::DbToLinear(OV::ReadLE<float>(pBytes + OV_DELAYFX_OFFSET_WETLEVEL));
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
