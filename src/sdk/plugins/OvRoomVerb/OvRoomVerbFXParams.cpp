#include "sdk/plugins/OvRoomVerb/OvRoomVerbFXParams.h"

#include <cmath>

#include "ov/OvAssert.h"
#include "ov/OvParamValues.h"

namespace {

constexpr float kSilenceDb = OvRoomVerbFXParams::OV_ROOMVERB_SILENCE_DB;
constexpr uint32_t kLastPattern = 30;

// Domains. A NaN keeps the previous value everywhere.
// PreDelay and SurroundDelay: [0, 1000] ms, the length of their lines.
constexpr float kMaxDelayMs = 1000.0f;
// RoomSize: [-200, 200], a quarter to four times the pattern's times; beyond
// that the pre-delay in front of the pattern would take seconds of memory.
constexpr float kMaxRoomSize = 200.0f;
// DecayTime: [0.01, 30] s. At 0 or below the line gains would be 0 or grow;
// the top bounds the tail played at the end of a stream.
constexpr float kMinDecayTime = 0.01f, kMaxDecayTime = 30.0f;
// HFDamping: [0.1, 20]. Below 1 the highs ring longer than the lows; the
// effect keeps each line's gain at Nyquist at most 1 (ReverbUnit).
constexpr float kMinHFDamping = 0.1f, kMaxHFDamping = 20.0f;
// Tone filters: gain [-32, 32] dB; frequency [1, 1e6] Hz (the design holds
// it to 45 % of the rate); Q [0.05, 40], as at 0 or below the bandwidth
// term divides by zero.
constexpr float kMaxFilterGainDb = 32.0f;
constexpr float kMinFilterHz = 1.0f, kMaxFilterHz = 1.0e6f;
constexpr float kMinQ = 0.05f, kMaxQ = 40.0f;
// Input levels: up to 0 dB; the mix counts anything above as 0 dB anyway.

// Structure constants: [min, max] each, in field order. The delay bounds keep
// every line below a fifth of a second at the longest.
constexpr float kStructureDomain[11][2] = {
    {1.0f, 200.0f}, {1.0f, 200.0f}, {0.0f, 100.0f}, {0.01f, 1.0f}, {0.01f, 1.0f}, {10.0f, 100.0f},
    {0.1f, 100.0f}, {0.0f, 100.0f}, {1.0f, 500.0f}, {0.0f, 100.0f}, {0.0f, 100.0f},
};
constexpr OvRoomVerbStructure kStructureDefaults = {8.0f, 50.0f, 2.0f, 0.1f, 0.8f, 66.0f,
                                                    15.0f, 5.0f, 40.0f, 0.5f, 50.0f};

float Level(float in_fDb, float in_fPreviousLinear)
{
    return OV::DbToLinearInDomain(in_fDb, kSilenceDb, 0.0f, in_fPreviousLinear);
}

float* StructureField(OvRoomVerbStructure& io_structure, uint32_t in_uIndex)
{
    return &io_structure.fLineDelayMinMs + in_uIndex;
}

enum class Kind { Float, Unsigned, Byte, None };

Kind KindOf(uint16_t in_uID)
{
    switch (in_uID) {
    case OV_ROOMVERBFXPARAM_PATTERN_ID:
    case OV_ROOMVERBFXPARAM_QUALITY_ID: return Kind::Unsigned;
    case OV_ROOMVERBFXPARAM_ERENABLE_ID:
    case OV_ROOMVERBFXPARAM_TCENABLE_ID: return Kind::Byte;
    case 1: case 2: case 3: case 10: case 11: case 12: case 13: case 15: case 16:
    case 40: case 41: case 50: case 51: case 52: case 53: case 60: case 61: case 62: return Kind::Float;
    default: break;
    }
    if (in_uID >= OV_ROOMVERBFXPARAM_FILTER1_INSERTTYPE_ID && in_uID < OV_ROOMVERBFXPARAM_FILTER1_INSERTTYPE_ID + 15)
        return (in_uID - OV_ROOMVERBFXPARAM_FILTER1_INSERTTYPE_ID) % 5 < 2 ? Kind::Unsigned : Kind::Float;
    if (in_uID >= OV_ROOMVERBFXPARAM_FIRST_STRUCTURE_ID && in_uID < OV_ROOMVERBFXPARAM_FIRST_STRUCTURE_ID + 11)
        return Kind::Float;
    return Kind::None;
}

}  // namespace

void OvRoomVerbFXParams::SetDefaults()
{
    live.fDecayTime = 1.2f;
    live.fHFDamping = 2.25f;
    live.fDiffusion = 100.0f;
    live.fStereoWidth = 180.0f;
    const float fFrequencies[3] = {100.0f, 1000.0f, 10000.0f};
    for (uint32_t f = 0; f < 3; ++f) {
        live.filters[f] = {0.0f, fFrequencies[f], 1.0f};
        rebuild.filters[f] = {OV_ROOMVERB_INSERT_MONO_INPUT, f};
    }
    live.fRVBLevelFront = live.fRVBLevelRear = live.fRVBLevelCenter = 1.0f;
    live.fRVBLevelLFE = powf(10.0f, -96.0f * 0.05f);
    live.fOutputLevelDry = 1.0f;
    live.fOutputLevelER = powf(10.0f, -20.0f * 0.05f);
    live.fOutputLevelReverb = powf(10.0f, -23.0f * 0.05f);
    rebuild.uPattern = 23;
    rebuild.fPreDelay = 25.0f;
    rebuild.fRoomSize = 0.0f;
    rebuild.fSurroundDelay = 40.0f;
    rebuild.fDensity = 80.0f;
    rebuild.fRoomShape = 100.0f;
    rebuild.uQuality = 8;
    rebuild.fInputLevelCenter = 1.0f;
    rebuild.fInputLevelLFE = powf(10.0f, -96.0f * 0.05f);
    rebuild.bTCEnable = false;
    rebuild.bEREnable = true;
    structure = kStructureDefaults;
    MarkAllChanged();
}

void OvRoomVerbFXParams::InitWithoutBlock()
{
    SetDefaults();
}

int OvRoomVerbFXParams::Store(uint16_t in_uID, float in_fValue)
{
    const float v = in_fValue;
    if (in_uID >= OV_ROOMVERBFXPARAM_FIRST_STRUCTURE_ID && in_uID < OV_ROOMVERBFXPARAM_FIRST_STRUCTURE_ID + 11) {
        const uint32_t i = in_uID - OV_ROOMVERBFXPARAM_FIRST_STRUCTURE_ID;
        float* pField = StructureField(structure, i);
        *pField = OV::ClampToDomain(v, kStructureDomain[i][0], kStructureDomain[i][1], *pField);
        return 0;  // read at the next rebuild only
    }
    if (in_uID >= OV_ROOMVERBFXPARAM_FILTER1_INSERTTYPE_ID && in_uID < OV_ROOMVERBFXPARAM_FILTER1_INSERTTYPE_ID + 15) {
        const uint32_t f = (in_uID - OV_ROOMVERBFXPARAM_FILTER1_INSERTTYPE_ID) / 5;
        OvRoomVerbLiveFilter& lf = live.filters[f];
        OvRoomVerbRebuildFilter& rf = rebuild.filters[f];
        switch ((in_uID - OV_ROOMVERBFXPARAM_FILTER1_INSERTTYPE_ID) % 5) {
        // An InsertType above 3 or a CurveType above 2 names no place or curve: refused, the previous stays.
        case 0: rf.uInsertType = v <= 3.0f ? uint32_t(v) : rf.uInsertType; return 2;
        case 1: rf.uCurveType = v <= 2.0f ? uint32_t(v) : rf.uCurveType; return 2;
        case 2: lf.fGain = OV::ClampToDomain(v, -kMaxFilterGainDb, kMaxFilterGainDb, lf.fGain); return 1;
        case 3: lf.fFrequency = OV::ClampToDomain(v, kMinFilterHz, kMaxFilterHz, lf.fFrequency); return 1;
        default: lf.fQ = OV::ClampToDomain(v, kMinQ, kMaxQ, lf.fQ); return 1;
        }
    }
    switch (in_uID) {
    case OV_ROOMVERBFXPARAM_PATTERN_ID:
        // A row beyond the table is refused: the previous pattern stays.
        rebuild.uPattern = v <= float(kLastPattern) ? uint32_t(v) : rebuild.uPattern;
        return 2;
    case OV_ROOMVERBFXPARAM_PREDELAY_ID:
        rebuild.fPreDelay = OV::ClampToDomain(v, 0.0f, kMaxDelayMs, rebuild.fPreDelay);
        return 2;
    case OV_ROOMVERBFXPARAM_ROOMSIZE_ID:
        rebuild.fRoomSize = OV::ClampToDomain(v, -kMaxRoomSize, kMaxRoomSize, rebuild.fRoomSize);
        return 2;
    case OV_ROOMVERBFXPARAM_SURROUNDDELAY_ID:
        rebuild.fSurroundDelay = OV::ClampToDomain(v, 0.0f, kMaxDelayMs, rebuild.fSurroundDelay);
        return 2;
    case OV_ROOMVERBFXPARAM_ERENABLE_ID: rebuild.bEREnable = v != 0.0f; return 2;
    case OV_ROOMVERBFXPARAM_DECAYTIME_ID:
        live.fDecayTime = OV::ClampToDomain(v, kMinDecayTime, kMaxDecayTime, live.fDecayTime);
        return 1;
    case OV_ROOMVERBFXPARAM_HFDAMPING_ID:
        live.fHFDamping = OV::ClampToDomain(v, kMinHFDamping, kMaxHFDamping, live.fHFDamping);
        return 1;
    case OV_ROOMVERBFXPARAM_DENSITY_ID:
        rebuild.fDensity = OV::ClampToDomain(v, 0.0f, 100.0f, rebuild.fDensity);
        return 2;
    case OV_ROOMVERBFXPARAM_ROOMSHAPE_ID:
        rebuild.fRoomShape = OV::ClampToDomain(v, 0.0f, 100.0f, rebuild.fRoomShape);
        return 2;
    case OV_ROOMVERBFXPARAM_QUALITY_ID: {
        // Quality is the number of reverb units: held to [2, 16] and made
        // even by rounding up. 0 would divide by sqrt(0), an odd count leaves
        // a unit without its partner bus, and above 16 the 64 lines of the
        // delay lists overflow.
        const uint32_t uQuality = v >= float(OV_ROOMVERB_MAX_QUALITY) ? OV_ROOMVERB_MAX_QUALITY
                                                                      : (v >= 2.0f ? uint32_t(v) : 2u);
        rebuild.uQuality = (uQuality + 1u) & ~1u;
        return 2;
    }
    case OV_ROOMVERBFXPARAM_DIFFUSION_ID: live.fDiffusion = OV::ClampToDomain(v, 0.0f, 100.0f, live.fDiffusion); return 1;
    case OV_ROOMVERBFXPARAM_STEREOWIDTH_ID:
        live.fStereoWidth = OV::ClampToDomain(v, 0.0f, 180.0f, live.fStereoWidth);
        return 1;
    case OV_ROOMVERBFXPARAM_TCENABLE_ID: rebuild.bTCEnable = v != 0.0f; return 2;
    case OV_ROOMVERBFXPARAM_INPUTLEVEL_CENTER_ID:
        rebuild.fInputLevelCenter = OV::DbToLinearInDomain(v, -INFINITY, 0.0f, rebuild.fInputLevelCenter);
        return 2;
    case OV_ROOMVERBFXPARAM_INPUTLEVEL_LFE_ID:
        rebuild.fInputLevelLFE = OV::DbToLinearInDomain(v, -INFINITY, 0.0f, rebuild.fInputLevelLFE);
        return 2;
    case 50: live.fRVBLevelFront = Level(v, live.fRVBLevelFront); return 1;
    case 51: live.fRVBLevelRear = Level(v, live.fRVBLevelRear); return 1;
    case 52: live.fRVBLevelCenter = Level(v, live.fRVBLevelCenter); return 1;
    case 53: live.fRVBLevelLFE = Level(v, live.fRVBLevelLFE); return 1;
    case OV_ROOMVERBFXPARAM_OUTPUTLEVEL_DRY_ID: live.fOutputLevelDry = Level(v, live.fOutputLevelDry); return 1;
    case OV_ROOMVERBFXPARAM_OUTPUTLEVEL_ER_ID: live.fOutputLevelER = Level(v, live.fOutputLevelER); return 1;
    case OV_ROOMVERBFXPARAM_OUTPUTLEVEL_REVERB_ID:
        // Clamped first, then the fixed -3 dB: -100 dB is stored as -99.3 dB.
        if (!std::isnan(v))
            live.fOutputLevelReverb = OV::DbToLinear(OV::ClampToDomain(v, kSilenceDb, 0.0f, 0.0f) - 3.0f);
        return 1;
    default: return 0;
    }
}

OvResult OvRoomVerbFXParams::SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize)
{
    if (!in_pValue) {
        OV_ASSERT(in_pValue != NULL);
        return OV_BadParameter;
    }
    float fValue = 0.0f;
    switch (KindOf(in_uID)) {
    case Kind::None: return OV_Success;  // unknown IDs are ignored
    case Kind::Byte:
        if (in_uSize < 1)
            return OV_BadParameter;
        fValue = *static_cast<const uint8_t*>(in_pValue) != 0 ? 1.0f : 0.0f;
        break;
    case Kind::Unsigned:
        if (in_uSize < sizeof(uint32_t))
            return OV_BadParameter;
        fValue = float(OV::ReadLE<uint32_t>(in_pValue));
        break;
    case Kind::Float:
        if (in_uSize < sizeof(float))
            return OV_BadParameter;
        fValue = OV::ReadLE<float>(in_pValue);
        break;
    }
    const int iGroup = Store(in_uID, fValue);
    if (iGroup == 1)
        live.bChanged = true;
    if (iGroup == 2) {
        rebuild.bChanged = true;
        PrepareForChange();
    }
    return OV_Success;
}

OvResult OvRoomVerbFXParams::SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize)
{
    if (!in_pParamsBlock || in_uBlockSize < OV_ROOMVERBFX_BLOCK_BYTES)
        return OV_BadParameter;
    const uint8_t* p = static_cast<const uint8_t*>(in_pParamsBlock);
    auto f = [&](uint32_t in_uOffset) { return OV::ReadLE<float>(p + in_uOffset); };
    auto u = [&](uint32_t in_uOffset) { return float(OV::ReadLE<uint32_t>(p + in_uOffset)); };
    const uint16_t kLiveHead[4] = {10, 11, 15, 16};
    for (uint32_t i = 0; i < 4; ++i)
        Store(kLiveHead[i], f(4 * i));
    for (uint32_t i = 0; i < 9; ++i)
        Store(uint16_t(23 + (i / 3) * 5 + i % 3), f(16 + 4 * i));
    const uint16_t kLevels[7] = {50, 51, 52, 53, 60, 61, 62};
    for (uint32_t i = 0; i < 7; ++i)
        Store(kLevels[i], f(52 + 4 * i));
    Store(OV_ROOMVERBFXPARAM_ERENABLE_ID, p[80] != 0 ? 1.0f : 0.0f);
    Store(OV_ROOMVERBFXPARAM_PATTERN_ID, u(81));
    const uint16_t kRebuild[5] = {1, 2, 3, 12, 13};
    for (uint32_t i = 0; i < 5; ++i)
        Store(kRebuild[i], f(85 + 4 * i));
    Store(OV_ROOMVERBFXPARAM_QUALITY_ID, u(105));
    Store(OV_ROOMVERBFXPARAM_TCENABLE_ID, p[109] != 0 ? 1.0f : 0.0f);
    for (uint32_t i = 0; i < 6; ++i)
        Store(uint16_t(21 + (i / 2) * 5 + i % 2), u(110 + 4 * i));
    Store(OV_ROOMVERBFXPARAM_INPUTLEVEL_CENTER_ID, f(134));
    Store(OV_ROOMVERBFXPARAM_INPUTLEVEL_LFE_ID, f(138));
    for (uint32_t i = 0; i < 11; ++i)
        Store(uint16_t(OV_ROOMVERBFXPARAM_FIRST_STRUCTURE_ID + i), f(142 + 4 * i));
    OV_CHECK_BLOCK_END(in_uBlockSize, OV_ROOMVERBFX_BLOCK_BYTES);
    MarkAllChanged();
    PrepareForChange();
    return OV_Success;
}
