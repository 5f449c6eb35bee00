// Parameters of OvDelayFX. Levels arrive in dB through SetParam and are kept
// linear; the delay time is in milliseconds, the feedback a plain factor.
// SetParam and SetAllParams hold each value to its domain (the .cpp states
// them) and keep the previous value for a NaN.
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

    // The packed block, four little-endian floats: where each field sits.
    static constexpr uint32_t OV_DELAYFX_OFFSET_DELAYTIME = 0;
    static constexpr uint32_t OV_DELAYFX_OFFSET_FEEDBACK = 4;
    static constexpr uint32_t OV_DELAYFX_OFFSET_DRYLEVEL = 8;
    static constexpr uint32_t OV_DELAYFX_OFFSET_WETLEVEL = 12;
    static constexpr uint32_t OV_DELAYFX_BLOCK_BYTES = 16;

    // The block's fields as it holds them. The first goes through the dB
    // conversion on its way into fDelayTime, unlike SetParam's milliseconds;
    // intended.
    struct BlockValues {
        float fDelayTime;
        float fFeedback;
        float fDryLevelDb;
        float fWetLevelDb;
    };
    // Writes the OV_DELAYFX_BLOCK_BYTES of a block; returns that count.
    static uint32_t PackBlock(const BlockValues& in_values, uint8_t* out_pBlock);

    OvResult SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize) override;
    // A block shorter than OV_DELAYFX_BLOCK_BYTES is refused and changes nothing.
    OvResult SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize) override;
    void MarkAllChanged() { m_paramChangeHandler.MarkAllChanged(); }

    OvFXParameterChangeHandler<OV_DELAYFX_NUM_PARAMS> m_paramChangeHandler;
    float fDelayTime = 500.0f;  // ms
    float fDryLevel = 1.0f;     // linear
    float fWetLevel = 1.0f;     // linear
    float fFeedback = 0.15f;

private:
    // The value of field in_uID held to its domain, in the unit it is stored
    // in (a level in dB comes back linear); a NaN gives the present value.
    float FieldInDomain(uint16_t in_uID, float in_fValue) const;
};
