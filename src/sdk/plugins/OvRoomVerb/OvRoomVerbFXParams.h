// Parameters of OvRoomVerbFX in three groups: values that change without
// rebuilding anything (the effect applies them at its next block, and its
// tail morphs), values whose change rebuilds part of the effect, and the
// structure constants that only the delay-length computation reads. Each of
// the first two groups carries its own changed flag. Levels arrive in dB and
// are kept linear; times in ms unless said otherwise.
//
// Every value is held to a domain (the .cpp states each) by SetParam and by
// SetAllParams; a NaN keeps the previous value. A change of the rebuild
// group lets the effect take its new memory at once, on the setter's thread
// (PrepareForChange).
#pragma once

#include <cstdint>

#include "ov/OvEffectParamsBase.h"

enum OvRoomVerbFXParamID : uint16_t {
    OV_ROOMVERBFXPARAM_PATTERN_ID = 0,
    OV_ROOMVERBFXPARAM_PREDELAY_ID = 1,       // ms
    OV_ROOMVERBFXPARAM_ROOMSIZE_ID = 2,       // 100 units double the pattern's times
    OV_ROOMVERBFXPARAM_SURROUNDDELAY_ID = 3,  // ms
    OV_ROOMVERBFXPARAM_ERENABLE_ID = 4,       // byte
    OV_ROOMVERBFXPARAM_DECAYTIME_ID = 10,     // s
    OV_ROOMVERBFXPARAM_HFDAMPING_ID = 11,     // factor
    OV_ROOMVERBFXPARAM_DENSITY_ID = 12,       // percent
    OV_ROOMVERBFXPARAM_ROOMSHAPE_ID = 13,     // percent
    OV_ROOMVERBFXPARAM_QUALITY_ID = 14,       // unsigned 32: reverb units
    OV_ROOMVERBFXPARAM_DIFFUSION_ID = 15,     // percent
    OV_ROOMVERBFXPARAM_STEREOWIDTH_ID = 16,   // degrees
    OV_ROOMVERBFXPARAM_TCENABLE_ID = 20,      // byte
    // Tone filter f (0 to 2): InsertType, CurveType (unsigned 32), gain (dB),
    // frequency (Hz), Q at FILTER1_INSERTTYPE_ID + 5 f + 0 .. 4.
    OV_ROOMVERBFXPARAM_FILTER1_INSERTTYPE_ID = 21,
    OV_ROOMVERBFXPARAM_INPUTLEVEL_CENTER_ID = 40,  // dB
    OV_ROOMVERBFXPARAM_INPUTLEVEL_LFE_ID = 41,
    OV_ROOMVERBFXPARAM_RVBLEVEL_FRONT_ID = 50,  // dB; then Rear, Center, LFE
    OV_ROOMVERBFXPARAM_OUTPUTLEVEL_DRY_ID = 60,  // dB
    OV_ROOMVERBFXPARAM_OUTPUTLEVEL_ER_ID = 61,
    OV_ROOMVERBFXPARAM_OUTPUTLEVEL_REVERB_ID = 62,
    OV_ROOMVERBFXPARAM_FIRST_STRUCTURE_ID = 100,  // the 11 structure constants, in field order
};

// Where a tone-correction filter sits.
enum OvRoomVerbInsertType : uint32_t {
    OV_ROOMVERB_INSERT_OFF = 0,
    OV_ROOMVERB_INSERT_ER = 1,           // on both ER outputs
    OV_ROOMVERB_INSERT_REVERB_INPUT = 2, // on the reverb input, after the diffusers
    OV_ROOMVERB_INSERT_MONO_INPUT = 3,   // on the mono mix: ER and reverb alike
};

struct OvRoomVerbLiveFilter {
    float fGain;  // dB
    float fFrequency;
    float fQ;
};

// Changes without a rebuild.
struct OvRoomVerbLiveParams {
    float fDecayTime;
    float fHFDamping;
    float fDiffusion;
    float fStereoWidth;
    OvRoomVerbLiveFilter filters[3];
    float fRVBLevelFront;  // linear, as are all levels below
    float fRVBLevelRear;
    float fRVBLevelCenter;
    float fRVBLevelLFE;
    float fOutputLevelDry;
    float fOutputLevelER;
    float fOutputLevelReverb;  // includes a fixed -3 dB
    bool bChanged;
};

struct OvRoomVerbRebuildFilter {
    uint32_t uInsertType;
    uint32_t uCurveType;  // 0 low shelf, 1 peaking, 2 high shelf
};

// Changes that rebuild something.
struct OvRoomVerbRebuildParams {
    uint32_t uPattern;
    float fPreDelay;
    float fRoomSize;
    float fSurroundDelay;
    float fDensity;
    float fRoomShape;
    uint32_t uQuality;
    float fInputLevelCenter;  // linear
    float fInputLevelLFE;
    OvRoomVerbRebuildFilter filters[3];
    bool bTCEnable;
    bool bEREnable;
    bool bChanged;
};

struct OvRoomVerbStructure {
    float fLineDelayMinMs;         // base line delay at Density 0
    float fLineDelayMaxMs;         // at Density 100
    float fLineDelayRandomPct;
    float fShapeMin;               // spread at RoomShape 0
    float fShapeMax;               // at RoomShape 100
    float fAllpassDelayRatioPct;   // each allpass delay relative to the one before
    float fAllpassDelayMaxMs;
    float fAllpassDelayRandomPct;
    float fDcCutoffHz;
    float fUnitDelayTotalMs;       // sum of the unit input delays
    float fUnitDelayRandomPct;
};

class OvRoomVerbFXParams final : public OvEffectParamsBase<OvRoomVerbFXParams> {
public:
    static constexpr uint32_t OV_ROOMVERBFX_BLOCK_BYTES = 186;
    static constexpr uint32_t OV_ROOMVERB_MAX_QUALITY = 16;
    static constexpr float OV_ROOMVERB_SILENCE_DB = -96.3f;

    OvRoomVerbFXParams() { SetDefaults(); }

    OvResult SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize) override;
    // The packed little-endian block of OV_ROOMVERBFX_BLOCK_BYTES; a shorter
    // one is refused and changes nothing.
    OvResult SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize) override;
    // The defaults, both flags set.
    void InitWithoutBlock();
    void MarkAllChanged()
    {
        live.bChanged = true;
        rebuild.bChanged = true;
    }

    OvRoomVerbLiveParams live;
    OvRoomVerbRebuildParams rebuild;
    OvRoomVerbStructure structure;

private:
    void SetDefaults();
    // One value by ID from a float (a count or byte already converted);
    // returns which group it belongs to: 1 live, 2 rebuild, 0 none.
    int Store(uint16_t in_uID, float in_fValue);
};
