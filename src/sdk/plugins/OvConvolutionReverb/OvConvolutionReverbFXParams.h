// Parameters of OvConvolutionReverbFX. Levels arrive in dB and are kept
// linear (powf(10, dB * 0.05), so -inf is exactly 0); delays in ms, widths in
// degrees. There are no change marks: the effect compares the values with
// its own copy at every block. SetParam and SetAllParams hold each value to
// its domain (the .cpp states them) and keep the previous value for a NaN.
// A change of a delay lets the effect take its delay lines at once, on the
// setter's thread (PrepareForChange).
#pragma once

#include <cstdint>

#include "ov/OvEffectParamsBase.h"

enum OvConvolutionReverbFXParamID : uint16_t {
    OV_CONVREVERB_PREDELAY_ID = 0,           // ms
    OV_CONVREVERB_FRONTREARDELAY_ID = 1,     // ms
    OV_CONVREVERB_STEREOWIDTH_ID = 2,        // degrees, output
    OV_CONVREVERB_INPUTCENTERLEVEL_ID = 10,  // dB
    OV_CONVREVERB_INPUTLFELEVEL_ID = 11,     // dB
    OV_CONVREVERB_FRONTLEVEL_ID = 20,        // dB
    OV_CONVREVERB_REARLEVEL_ID = 21,         // dB
    OV_CONVREVERB_CENTERLEVEL_ID = 22,       // dB
    OV_CONVREVERB_LFELEVEL_ID = 23,          // dB
    OV_CONVREVERB_DRYLEVEL_ID = 30,          // dB
    OV_CONVREVERB_WETLEVEL_ID = 31,          // dB
    OV_CONVREVERB_MODE_ID = 32,              // unsigned 32: 0 down-mix, 1 per channel
    OV_CONVREVERB_INPUTSTEREOWIDTH_ID = 33,  // degrees
};

constexpr uint32_t OV_CONVREVERB_MODE_DOWNMIX = 0;
constexpr uint32_t OV_CONVREVERB_MODE_PERCHANNEL = 1;

// The values, in the order the effect keeps them.
struct OvConvolutionReverbValues {
    float fPreDelay = 0.0f;        // ms
    float fFrontRearDelay = 0.0f;  // ms
    float fStereoWidth = 180.0f;   // degrees
    float fInputCenterLevel = 1.0f;
    float fInputLFELevel = 0.0f;
    float fInputStereoWidth = 180.0f;  // degrees
    float fFrontLevel = 1.0f;
    float fRearLevel = 1.0f;
    float fCenterLevel = 1.0f;
    float fLFELevel = 0.0f;
    float fDryLevel = 1.0f;
    float fWetLevel = 0.25f;
    uint32_t uMode = OV_CONVREVERB_MODE_DOWNMIX;
};

class OvConvolutionReverbFXParams final : public OvEffectParamsBase<OvConvolutionReverbFXParams> {
public:
    // The packed block: twelve floats (PreDelay, front/rear delay, output
    // width, input Center and LFE in dB, input width, Front, Rear, Center,
    // LFE, Dry and Wet in dB), then the mode as an unsigned 32.
    static constexpr uint32_t OV_CONVREVERB_BLOCK_BYTES = 52;

    // OV_BadParameter for a null value or one shorter than 4 bytes; unknown
    // IDs are accepted and change nothing.
    OvResult SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize) override;
    // A block shorter than OV_CONVREVERB_BLOCK_BYTES is refused.
    OvResult SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize) override;
    void MarkAllChanged() {}

    OvConvolutionReverbValues values;
};
