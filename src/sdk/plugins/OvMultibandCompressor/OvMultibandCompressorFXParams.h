// Parameter block of the multiband compressor: five bands of compressor
// settings (IDs 7b to 7b + 6), four crossover edges (35-38, Hz), output gain
// (39), switches (40-42), band count (43) and input gain (44). Gains are set
// in dB and stored linear; the rest as given. SetParam and SetAllParams hold
// every value to its domain (the .cpp states them) and keep the previous
// value for a NaN. SetParam marks the ID; the effect redesigns an edge only
// when its mark is set.
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

// ID of field in_uField (OV_MBCFXPARAM_BAND_INPUTGAIN and on) of band in_uBand.
constexpr uint16_t OvMultibandCompressorBandParamID(uint32_t in_uBand, uint32_t in_uField)
{
    return uint16_t(in_uBand * OV_MBCFXPARAM_BAND_STRIDE + in_uField);
}

// The packed block, little-endian: where each field sits. Band b's seven
// floats, in the order of the band IDs, start at b * BAND_STRIDE; the gains
// among them are in dB.
constexpr uint32_t OV_MBCFXPARAM_OFFSET_BAND_STRIDE = 4 * OV_MBCFXPARAM_BAND_STRIDE;
constexpr uint32_t OV_MBCFXPARAM_OFFSET_CROSSOVER0 = 140;  // four floats, Hz
constexpr uint32_t OV_MBCFXPARAM_OFFSET_OUTPUTGAIN = 156;  // dB
constexpr uint32_t OV_MBCFXPARAM_OFFSET_PROCESSLFE = 160;
constexpr uint32_t OV_MBCFXPARAM_OFFSET_CHANNELLINK = 161;
constexpr uint32_t OV_MBCFXPARAM_OFFSET_FOURTHORDER = 162;
constexpr uint32_t OV_MBCFXPARAM_OFFSET_NUMBANDS = 163;   // u32
constexpr uint32_t OV_MBCFXPARAM_OFFSET_INPUTGAIN = 167;  // dB
constexpr uint32_t OV_MBCFXPARAM_BLOCK_BYTES = 171;
static_assert(OV_MBCFXPARAM_OFFSET_CROSSOVER0 == 5 * OV_MBCFXPARAM_OFFSET_BAND_STRIDE, "bands, then the edges");

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

    // The block's fields as it holds them, in its order: gains in dB.
    struct BlockValues {
        // Per band: input gain dB, threshold, ratio, attack, release, range,
        // output gain dB, indexed by OV_MBCFXPARAM_BAND_INPUTGAIN and on.
        float fBand[OV_MULTIBANDCOMPRESSOR_NUM_BANDS][OV_MBCFXPARAM_BAND_STRIDE];
        float fCrossover[OV_MULTIBANDCOMPRESSOR_NUM_EDGES];  // Hz
        float fOutputGainDb;
        uint8_t bProcessLFE;
        uint8_t bChannelLink;
        uint8_t bFourthOrderCrossover;
        uint32_t uNumBands;
        float fInputGainDb;
    };
    // Writes the OV_MBCFXPARAM_BLOCK_BYTES of a block; returns that count.
    static uint32_t PackBlock(const BlockValues& in_values, uint8_t* out_pBlock);

    OvResult SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize) override;
    // A block shorter than OV_MBCFXPARAM_BLOCK_BYTES is refused and changes
    // nothing.
    OvResult SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize) override;
    void MarkAllChanged() { m_ParamChangeHandler.MarkAllChanged(); }

    OvFXParameterChangeHandler<OV_MBCFXPARAM_MAX_ID + 1> m_ParamChangeHandler;
    OvMultibandCompressorFXParamStruct m_Params;
};
