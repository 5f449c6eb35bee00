// Parameters of OvDelayFX. Levels arrive in dB through SetParam and are kept
// linear; the delay time is in milliseconds, the feedback a plain factor.
// A change only marks the ID; the effect reads it at its next block. A new
// delay time also lets the effect take its new lines at once (PrepareForChange).
#pragma once

#include <cstdint>

#include "ov/OvEffectParamsBase.h"
#include "ov/OvFXParameterChangeHandler.h"

enum OvDelayFXParamID : uint16_t {
    OV_DELAYFXPARAM_DELAYTIME_ID = 1,  // ms
    OV_DELAYFXPARAM_DRYLEVEL_ID = 2,   // dB
    OV_DELAYFXPARAM_WETLEVEL_ID = 3,   // dB
    OV_DELAYFXPARAM_FEEDBACK_ID = 4,   // factor
};

class OvDelayFXParams final : public OvEffectParamsBase<OvDelayFXParams> {
public:
    static constexpr uint32_t OV_DELAYFX_NUM_PARAMS = 5;
    // Bytes of a SetAllParams block: four little-endian floats.
    static constexpr uint32_t OV_DELAYFX_BLOCK_BYTES = 16;

    OvResult SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize) override;
    OvResult SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize) override;
    void MarkAllChanged() { m_paramChangeHandler.MarkAllChanged(); }

    OvFXParameterChangeHandler<OV_DELAYFX_NUM_PARAMS> m_paramChangeHandler;
    float fDelayTime = 500.0f;  // ms
    float fDryLevel = 1.0f;     // linear
    float fWetLevel = 1.0f;     // linear
    float fFeedback = 0.15f;
};
