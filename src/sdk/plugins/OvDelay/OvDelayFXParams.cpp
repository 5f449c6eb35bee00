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
    fDelayTime = OV::DbToLinear(OV::ReadLE<float>(pBytes));
    fFeedback = OV::ReadLE<float>(pBytes + 4);
    fDryLevel = OV::DbToLinear(OV::ReadLE<float>(pBytes + 8));
    fWetLevel = OV::DbToLinear(OV::ReadLE<float>(pBytes + 12));
    const OvResult eResult = OV_Success;
    // Bytes left over mean the block does not fit this parameter set.
    const uint32_t uBytesLeft = in_uBlockSize - OV_DELAYFX_BLOCK_BYTES;
    OV_ASSERT_TEXT(uBytesLeft == 0 || eResult != OV_Success, "in_ulBlockSize == 0 || eResult != OV_Success");
    m_paramChangeHandler.MarkAllChanged();
    PrepareForChange();
    return eResult;
}
