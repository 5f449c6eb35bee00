// Parameter block of the compressor plug-in. Gains are set in dB and stored
// linear; threshold and range in dB (range zero or negative), attack and
// release in seconds (10-90 % times). SetParam and SetAllParams hold every
// value to its domain (below) and keep the previous value for a NaN. Every
// SetParam marks its ID; the effect reads all values at the top of each block.
#pragma once

#include <cstdint>

#include "ov/OvEffectParamsBase.h"
#include "ov/OvFXParameterChangeHandler.h"

enum OvCompressorFXParamID : uint16_t {
    OV_COMPRESSORFXPARAM_PROCESSLFE_ID = 0,   // byte
    OV_COMPRESSORFXPARAM_CHANNELLINK_ID = 1,  // byte
    OV_COMPRESSORFXPARAM_PREGAIN_ID = 2,      // dB
    OV_COMPRESSORFXPARAM_THRESHOLD_ID = 3,    // dB
    OV_COMPRESSORFXPARAM_RATIO_ID = 4,
    OV_COMPRESSORFXPARAM_ATTACK_ID = 5,       // s
    OV_COMPRESSORFXPARAM_RELEASE_ID = 6,      // s
    OV_COMPRESSORFXPARAM_RANGE_ID = 7,        // dB
    OV_COMPRESSORFXPARAM_POSTGAIN_ID = 8,     // dB
};

constexpr uint32_t OV_COMPRESSORFXPARAM_NUM = 9;

// Bounds of the float fields' domains; FieldInDomain says why each is where
// it is. The multiband compressor's bands use them too.
constexpr float OV_COMPRESSOR_MAX_GAIN_DB = 40.0f;        // pre and post gain, +-
constexpr float OV_COMPRESSOR_MIN_THRESHOLD_DB = -120.0f;
constexpr float OV_COMPRESSOR_MAX_THRESHOLD_DB = 40.0f;
constexpr float OV_COMPRESSOR_MIN_RATIO = 1.0f;           // no upper bound
constexpr float OV_COMPRESSOR_MAX_TIME_S = 60.0f;         // attack and release, from 0
constexpr float OV_COMPRESSOR_MAX_RANGE_DB = 0.0f;        // no lower bound

// The packed block, seven little-endian floats then two bytes: where each
// field sits.
constexpr uint32_t OV_COMPRESSORFXPARAM_OFFSET_PREGAIN = 0;  // dB
constexpr uint32_t OV_COMPRESSORFXPARAM_OFFSET_THRESHOLD = 4;
constexpr uint32_t OV_COMPRESSORFXPARAM_OFFSET_RATIO = 8;
constexpr uint32_t OV_COMPRESSORFXPARAM_OFFSET_ATTACK = 12;
constexpr uint32_t OV_COMPRESSORFXPARAM_OFFSET_RELEASE = 16;
constexpr uint32_t OV_COMPRESSORFXPARAM_OFFSET_RANGE = 20;
constexpr uint32_t OV_COMPRESSORFXPARAM_OFFSET_POSTGAIN = 24;  // dB
constexpr uint32_t OV_COMPRESSORFXPARAM_OFFSET_PROCESSLFE = 28;
constexpr uint32_t OV_COMPRESSORFXPARAM_OFFSET_CHANNELLINK = 29;
constexpr uint32_t OV_COMPRESSORFXPARAM_BLOCK_BYTES = 30;

struct OvCompressorFXParamStruct {
    float fPreGain = 1.0f;     // linear
    float fThreshold = 0.0f;   // dB
    float fRatio = 1.5f;
    float fAttack = 0.1f;      // s
    float fRelease = 0.1f;     // s
    float fRange = 0.0f;       // dB
    float fPostGain = 1.0f;    // linear
    bool bProcessLFE = true;
    bool bChannelLink = true;
};

class OvCompressorFXParams final : public OvEffectParamsBase<OvCompressorFXParams> {
public:
    OvCompressorFXParams() = default;
    OvCompressorFXParams(const OvCompressorFXParams&) = default;

    // The block's fields as it holds them, in its order: gains in dB.
    struct BlockValues {
        float fPreGainDb;
        float fThreshold;  // dB
        float fRatio;
        float fAttack;   // s
        float fRelease;  // s
        float fRange;    // dB
        float fPostGainDb;
        uint8_t bProcessLFE;
        uint8_t bChannelLink;
    };
    // Writes the OV_COMPRESSORFXPARAM_BLOCK_BYTES of a block; returns that count.
    static uint32_t PackBlock(const BlockValues& in_values, uint8_t* out_pBlock);

    OvResult SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize) override;
    // A block shorter than OV_COMPRESSORFXPARAM_BLOCK_BYTES is refused and
    // changes nothing.
    OvResult SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize) override;
    void MarkAllChanged() { m_ParamChangeHandler.MarkAllChanged(); }

    // The value of one float field (not the two bytes) held to its domain,
    // in the unit it is stored in: a gain in dB comes back linear. A NaN
    // gives the field's present value.
    static float FieldInDomain(uint16_t in_uID, float in_fValue, const OvCompressorFXParamStruct& in_current);

    OvFXParameterChangeHandler<OV_COMPRESSORFXPARAM_NUM> m_ParamChangeHandler;
    OvCompressorFXParamStruct m_Params;
};
