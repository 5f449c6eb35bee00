// Parameter block of the multiband compressor: five bands of compressor
// settings (IDs 7b to 7b + 6), four crossover edges (35-38, Hz), output gain
// (39), switches (40-42), band count (43) and input gain (44). Gains are set
// in dB and stored linear; the rest as given, unclamped. SetParam marks the
// ID; the effect redesigns an edge only when its mark is set.
#pragma once

#include <cstdint>

#include "ov/OvEffectParamsBase.h"
#include "ov/OvFXParameterChangeHandler.h"

constexpr uint32_t OV_MULTIBANDCOMPRESSOR_NUM_BANDS = 5;
constexpr uint32_t OV_MULTIBANDCOMPRESSOR_NUM_EDGES = OV_MULTIBANDCOMPRESSOR_NUM_BANDS - 1;

enum OvMultibandCompressorFXParamID : uint16_t {
    // Band b uses ID 7 * b + offset.
    OV_MBCFXPARAM_BAND_INPUTGAIN = 0,   // dB
    OV_MBCFXPARAM_BAND_THRESHOLD = 1,   // dB
    OV_MBCFXPARAM_BAND_RATIO = 2,
    OV_MBCFXPARAM_BAND_ATTACK = 3,      // s
    OV_MBCFXPARAM_BAND_RELEASE = 4,     // s
    OV_MBCFXPARAM_BAND_RANGE = 5,       // dB
    OV_MBCFXPARAM_BAND_OUTPUTGAIN = 6,  // dB
    OV_MBCFXPARAM_BAND_STRIDE = 7,

    OV_MBCFXPARAM_CROSSOVER0_ID = 35,   // Hz, 35 to 38
    OV_MBCFXPARAM_OUTPUTGAIN_ID = 39,   // dB
    OV_MBCFXPARAM_PROCESSLFE_ID = 40,   // byte
    OV_MBCFXPARAM_CHANNELLINK_ID = 41,  // byte
    OV_MBCFXPARAM_FOURTHORDER_ID = 42,  // byte
    OV_MBCFXPARAM_NUMBANDS_ID = 43,     // u32
    OV_MBCFXPARAM_INPUTGAIN_ID = 44,    // dB
};

constexpr uint32_t OV_MBCFXPARAM_MAX_ID = 44;
// Size of the packed block SetAllParams reads.
constexpr uint32_t OV_MBCFXPARAM_BLOCK_BYTES = 171;

struct OvMultibandCompressorBand {
    float fBandInputGain = 1.0f;   // linear
    float fThreshold = 0.0f;       // dB
    float fRatio = 1.5f;
    float fAttack = 0.1f;          // s
    float fRelease = 0.1f;         // s
    float fRange = 0.0f;           // dB
    float fBandOutputGain = 1.0f;  // linear
};

struct OvMultibandCompressorFXParamStruct {
    OvMultibandCompressorBand band[OV_MULTIBANDCOMPRESSOR_NUM_BANDS];
    float fCrossover[OV_MULTIBANDCOMPRESSOR_NUM_EDGES] = {100.0f, 350.0f, 1500.0f, 7500.0f};  // Hz
    float fOutputGain = 1.0f;  // linear
    bool bProcessLFE = true;
    bool bChannelLink = true;
    bool bFourthOrderCrossover = true;
    uint32_t uNumBands = 5;
    float fInputGain = 1.0f;  // linear
};

class OvMultibandCompressorFXParams final : public OvEffectParamsBase<OvMultibandCompressorFXParams> {
public:
    OvMultibandCompressorFXParams() = default;
    OvMultibandCompressorFXParams(const OvMultibandCompressorFXParams&) = default;

    OvResult SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize) override;
    // Block (171 bytes, little-endian): per band input gain dB, threshold,
    // ratio, attack, release, range, output gain dB (f32 each); four edges;
    // output gain dB; bProcessLFE, bChannelLink, bFourthOrderCrossover (u8);
    // uNumBands (u32); input gain dB.
    OvResult SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize) override;
    void MarkAllChanged() { m_ParamChangeHandler.MarkAllChanged(); }

    OvFXParameterChangeHandler<OV_MBCFXPARAM_MAX_ID + 1> m_ParamChangeHandler;
    OvMultibandCompressorFXParamStruct m_Params;
};
