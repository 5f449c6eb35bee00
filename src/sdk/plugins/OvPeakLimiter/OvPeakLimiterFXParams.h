// Parameters of OvPeakLimiterFX. Two plain change flags stand for the two
// kinds of change: bRuntimeChanged (threshold, ratio, release, output gain)
// is picked up at the next block without a break in the audio;
// bLayoutChanged (look-ahead, its divisor, ceiling mode, LFE, link, infinite
// ratio) restarts the limiter; a new look-ahead also lets the effect take its
// new delay at once (PrepareForChange). Threshold in dB, -96.3 to 0; output
// gain in dB (-24 to 24), kept linear; look-ahead and release in seconds.
// SetParam and SetAllParams hold every float to its domain (the .cpp states
// them) and keep the previous value for a NaN.
#pragma once

#include <cstdint>

#include "ov/OvEffectParamsBase.h"

enum OvPeakLimiterFXParamID : uint16_t {
    OV_PEAKLIMITERFXPARAM_THRESHOLD_ID = 0,
    OV_PEAKLIMITERFXPARAM_RATIO_ID = 1,
    OV_PEAKLIMITERFXPARAM_LOOKAHEAD_ID = 2,
    OV_PEAKLIMITERFXPARAM_RELEASE_ID = 3,
    OV_PEAKLIMITERFXPARAM_OUTPUTGAIN_ID = 4,
    OV_PEAKLIMITERFXPARAM_PROCESSLFE_ID = 5,
    OV_PEAKLIMITERFXPARAM_CHANNELLINK_ID = 6,
    OV_PEAKLIMITERFXPARAM_INFINITERATIO_ID = 7,
    OV_PEAKLIMITERFXPARAM_LOOKAHEADDIVISOR_ID = 8,
    OV_PEAKLIMITERFXPARAM_HARDCEILING_ID = 9,
};

class OvPeakLimiterFXParams final : public OvEffectParamsBase<OvPeakLimiterFXParams> {
public:
    // The packed block, six little-endian floats then four bytes: where each
    // field sits.
    static constexpr uint32_t OV_PEAKLIMITERFX_OFFSET_THRESHOLD = 0;
    static constexpr uint32_t OV_PEAKLIMITERFX_OFFSET_RATIO = 4;
    static constexpr uint32_t OV_PEAKLIMITERFX_OFFSET_LOOKAHEAD = 8;
    static constexpr uint32_t OV_PEAKLIMITERFX_OFFSET_LOOKAHEADDIVISOR = 12;
    static constexpr uint32_t OV_PEAKLIMITERFX_OFFSET_RELEASE = 16;
    static constexpr uint32_t OV_PEAKLIMITERFX_OFFSET_OUTPUTGAIN = 20;
    static constexpr uint32_t OV_PEAKLIMITERFX_OFFSET_HARDCEILING = 24;
    static constexpr uint32_t OV_PEAKLIMITERFX_OFFSET_PROCESSLFE = 25;
    static constexpr uint32_t OV_PEAKLIMITERFX_OFFSET_CHANNELLINK = 26;
    static constexpr uint32_t OV_PEAKLIMITERFX_OFFSET_INFINITERATIO = 27;
    static constexpr uint32_t OV_PEAKLIMITERFX_BLOCK_BYTES = 28;

    // The block's fields as it holds them, in its order: the output gain in
    // dB, no clamps.
    struct BlockValues {
        float fThreshold;  // dB
        float fRatio;
        float fLookAhead;  // s
        float fLookAheadDivisor;
        float fRelease;  // s
        float fOutputGainDb;
        uint8_t bHardCeiling;
        uint8_t bProcessLFE;
        uint8_t bChannelLink;
        uint8_t bInfiniteRatio;
    };
    // Writes the OV_PEAKLIMITERFX_BLOCK_BYTES of a block; returns that count.
    static uint32_t PackBlock(const BlockValues& in_values, uint8_t* out_pBlock);

    OvResult SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize) override;
    // A block shorter than OV_PEAKLIMITERFX_BLOCK_BYTES is refused and changes nothing.
    OvResult SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize) override;
    void MarkAllChanged()
    {
        bRuntimeChanged = 1;
        bLayoutChanged = 1;
    }
    // With no block: back to the defaults below, everything marked changed.
    void InitWithoutBlock() { *this = OvPeakLimiterFXParams(); }

    float fThreshold = -12.0f;  // dB
    float fRatio = 10.0f;
    float fRelease = 0.2f;     // s
    float fOutputGain = 1.0f;  // linear
    uint8_t bRuntimeChanged = 1;
    float fLookAhead = 0.01f;  // s
    float fLookAheadDivisor = 1.0f;
    uint8_t bHardCeiling = 1;
    uint8_t bProcessLFE = 1;
    uint8_t bChannelLink = 1;
    uint8_t bInfiniteRatio = 1;
    uint8_t bLayoutChanged = 1;

private:
    // The value of float field in_uID held to its domain, in the unit it is
    // stored in (the output gain in dB comes back linear); a NaN gives the
    // present value.
    float FieldInDomain(uint16_t in_uID, float in_fValue) const;
};
