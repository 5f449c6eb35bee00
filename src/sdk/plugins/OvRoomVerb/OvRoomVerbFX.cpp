#include "sdk/plugins/OvRoomVerb/OvRoomVerbFX.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ov/IOvEffectContext.h"
#include "ov/OvAssert.h"
#include "ov/OvGainRamp.h"
#include "ov/OvPipelineBuffer.h"
#include "ov/OvPluginNew.h"
#include "ov/OvSpeakerConfig.h"
#include "ov/OvStreamFormat.h"
#include "sdk/dsp/filters/DesignBiquad.h"
#include "sdk/dsp/reverb/ConstantPowerChannelMixdown.h"
#include "sdk/dsp/reverb/Mix3Interp.h"
#include "sdk/plugins/OvRoomVerb/ERPatterns.h"

namespace {

constexpr float kHalfPower = 0.707106f;
constexpr float kAllpassMaxGain = 0.61803f;
// Longest line any delay here is given: far above what the parameter domains reach.
constexpr double kMaxLineSamples = double(DelayLine::kMaxLengthSamples);

// Scratch chunks.
enum : uint32_t { kMono = 0, kReverbIn = 1, kBus0 = 2, kER0 = 8, kRearER0 = 10, kUnitIn0 = 12 };

// What a channel is to the mix.
enum : uint8_t { kKindOther, kKindFront, kKindCenter, kKindLFE, kKindRear };

// The fixed sequence every delay set is drawn from, restarted from its own seed at each build.
struct DelayRandom {
    uint32_t uState;
    float Next()
    {
        uState = uState * 196314165u + 907633515u;
        return float(uState) * 2.3283064e-10f;
    }
};

constexpr uint32_t kLineSeed = 7032007u;
constexpr uint32_t kUnitDelaySeed = 29101977u;
constexpr uint32_t kAllpassSeed = 3072007u;

bool Differs(float in_fA, float in_fB)
{
    return std::memcmp(&in_fA, &in_fB, sizeof in_fA) != 0 && in_fA != in_fB;
}

bool LiveFilterDiffers(const OvRoomVerbLiveFilter& in_a, const OvRoomVerbLiveFilter& in_b)
{
    return Differs(in_a.fGain, in_b.fGain) || Differs(in_a.fFrequency, in_b.fFrequency) || Differs(in_a.fQ, in_b.fQ);
}

uint32_t ReducedMask(const OvChannelConfig& in_config)
{
    return in_config.eConfigType == OV_ChannelConfigType_Standard ? (in_config.uChannelMask & 0x63F) : 0;
}

// Network outputs per unit for a layout; 0 for one that passes unchanged.
uint32_t OutputsPerUnit(uint32_t in_uReducedMask)
{
    switch (in_uReducedMask) {
    case 0x3: case 0x4: case 0x8: case 0xB: case 0xC: return 1;
    case 0x7: case 0xF: case 0x603: return 2;
    case 0x607: case 0x60B: case 0x60F: case 0x633: case 0x637: case 0x63B: case 0x63F: return 3;
    default: return 0;
    }
}

}  // namespace

void OvRoomVerbFX::MsToPrimeSamples(const float* in_pfTimesMs, uint32_t in_uCount, uint32_t in_uSampleRate,
                                    uint32_t* out_puLengths)
{
    uint32_t uPrevious = 0;
    for (uint32_t i = 0; i < in_uCount; ++i) {
        // Compared as a float before it becomes an integer.
        const double dSamples = double(in_pfTimesMs[i]) / 1000.0 * double(in_uSampleRate);
        uint32_t uLength = dSamples > 0.0 ? uint32_t(std::min(dSamples, kMaxLineSamples)) : 0;
        if (uLength % 2 == 0)
            ++uLength;
        // The bound is taken once from the first candidate and kept for the
        // later ones; intended.
        const uint32_t uLimit = uint32_t(std::sqrt(double(uLength))) + 1;
        for (;;) {
            bool bFails = uLength == uPrevious;
            for (uint32_t d = 3; !bFails && d < uLimit; d += 2)
                bFails = uLength % d == 0;
            if (!bFails)
                break;
            uLength += 2;
        }
        out_puLengths[i] = uLength;
        uPrevious = uLength;
    }
}

uint32_t OvRoomVerbFX::MsToSamples(double in_dMs) const
{
    // Rate first: whole milliseconds at whole rates give whole samples
    // exactly, and a time on the 1/48 ms grid within a thousandth of a
    // sample below a whole one counts as on it.
    const double dSamples = in_dMs * double(m_uSampleRate) / 1000.0 + 1.0e-3;
    return dSamples > 0.0 ? uint32_t(std::min(dSamples, kMaxLineSamples)) : 0;
}

void OvRoomVerbFX::SelectLayout(const OvChannelConfig& in_config)
{
    m_channelConfig = in_config;
    const uint32_t uReduced = ReducedMask(in_config);
    m_uOutputsPerUnit = OutputsPerUnit(uReduced);
    m_bHasRearPair = (uReduced & (OV_SPEAKER_BACK_LEFT | OV_SPEAKER_SIDE_LEFT)) != 0;
    m_uNumRoutes = 0;
    if (m_uOutputsPerUnit == 0)
        return;
    const uint32_t uMask = in_config.uChannelMask;
    // Channels in mask order, LFE last.
    const int8_t iCenterBus = m_uOutputsPerUnit == 1 ? 0 : 2;
    const int8_t iRearBus = m_uOutputsPerUnit == 3 ? 4 : 2;
    auto add = [&](const ChannelRoute& in_route) {
        if (m_uNumRoutes < OV_ROOMVERB_MAX_ROUTED_CHANNELS)
            m_routes[m_uNumRoutes++] = in_route;
    };
    for (uint32_t uBit = 1; uBit != 0 && uBit <= uMask; uBit <<= 1) {
        if (!(uMask & uBit) || uBit == OV_SPEAKER_LOW_FREQUENCY)
            continue;
        switch (uBit) {
        case OV_SPEAKER_FRONT_LEFT: add({0, 1, 0, 1, kKindFront, false}); break;
        case OV_SPEAKER_FRONT_RIGHT: add({0, 1, 0, 1, kKindFront, true}); break;
        case OV_SPEAKER_FRONT_CENTER:
            // Alone in the two-bus layouts, where it also takes the ER pair.
            if (m_uOutputsPerUnit == 1) {
                OV_ASSERT(!((uMask & OV_SPEAKER_FRONT_LEFT) || (uMask & OV_SPEAKER_FRONT_RIGHT)));
                add({0, 1, 0, 1, kKindCenter, false});
            } else {
                add({iCenterBus, int8_t(iCenterBus + 1), -1, -1, kKindCenter, false});
            }
            break;
        case OV_SPEAKER_BACK_LEFT:
        case OV_SPEAKER_SIDE_LEFT: add({iRearBus, int8_t(iRearBus + 1), 2, 3, kKindRear, false}); break;
        case OV_SPEAKER_BACK_RIGHT:
        case OV_SPEAKER_SIDE_RIGHT: add({iRearBus, int8_t(iRearBus + 1), 2, 3, kKindRear, true}); break;
        default: add({-1, -1, -1, -1, kKindOther, false}); break;
        }
    }
    if (uMask & OV_SPEAKER_LOW_FREQUENCY)
        add({iCenterBus, int8_t(iCenterBus + 1), -1, -1, kKindLFE, false});
}

OvResult OvRoomVerbFX::Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* /*in_pContext*/, IOvEffectParams* in_pParams,
                            const OvStreamFormat& in_format)
{
    OV_ASSERT(in_pAllocator != NULL);
    m_pAllocator = in_pAllocator;
    m_pParams = static_cast<OvRoomVerbFXParams*>(in_pParams);
    m_uSampleRate = in_format.uSampleRate;
    m_eUnitPath = ReverbUnit::WidestPath();
    // A rate of 0 has no delay lengths and no filters: refused.
    if (!m_pAllocator || !m_pParams || m_uSampleRate == 0)
        return OV_Failure;
    const OvRoomVerbFXParams& params = *m_pParams;
    m_uNumReverbUnits = params.rebuild.uQuality;
    OV_ASSERT(m_uNumReverbUnits % 2 == 0);
    m_initLive = m_prevLive = params.live;
    m_prevRebuild = params.rebuild;
    SelectLayout(in_format.channelConfig);
    m_uNumERSignals = params.rebuild.bEREnable ? 2 : 0;
    if (m_channelConfig.uChannelMask == OV_SPEAKER_LOW_FREQUENCY)
        m_uNumERSignals = 0;
    for (DcBlocker& blocker : m_dcBlockers) {
        blocker.Init(params.structure.fDcCutoffHz, m_uSampleRate);
        blocker.Reset();
    }
    m_pfScratch = static_cast<float*>(
        m_pAllocator->Malloc(size_t(OV_ROOMVERB_SCRATCH_BUFFERS) * OV_ROOMVERB_CHUNK_FRAMES * sizeof(float)));
    if (!m_pfScratch)
        return OV_OutOfMemory;
    BuildToneFilters();
    OvResult eResult = BuildUnits();
    if (eResult == OV_Success)
        eResult = BuildERPath();
    if (eResult == OV_Success)
        eResult = BuildReverbPreDelay();
    if (eResult == OV_Success)
        eResult = BuildSurroundDelays();
    if (eResult == OV_Success)
        eResult = BuildAllpasses();
    if (eResult != OV_Success)
        return eResult;
    UpdateTailLength();
    m_pParams->SetChangePreparer(this);
    return OV_Success;
}

OvResult OvRoomVerbFX::BuildUnits()
{
    TermUnits();
    const OvRoomVerbFXParams& params = *m_pParams;
    const OvRoomVerbStructure& s = params.structure;
    m_uNumReverbUnits = std::min(params.rebuild.uQuality, OV_ROOMVERB_MAX_UNITS);
    OV_ASSERT(m_uNumReverbUnits % 2 == 0);
    const uint32_t n = m_uNumReverbUnits;
    if (n == 0)
        return OV_Success;
    m_fReverbUnitsGain = n < 2 ? 1.0f : 1.0f / std::sqrt(float(n));

    // Line delays: spread from low to high around the base delay, randomised, sorted, prime.
    const uint32_t uLines = ReverbUnit::OV_REVERBUNIT_LINES * n;
    const float fBase = (s.fLineDelayMaxMs - s.fLineDelayMinMs) / 100.0f * params.rebuild.fDensity + s.fLineDelayMinMs;
    const float fShape = (s.fShapeMax - s.fShapeMin) / 100.0f * params.rebuild.fRoomShape + s.fShapeMin;
    const float fLow = fBase * fShape;
    const float fHigh = fBase + (fBase - fLow);
    float fTimes[ReverbUnit::OV_REVERBUNIT_LINES * OV_ROOMVERB_MAX_UNITS];
    DelayRandom random{kLineSeed};
    for (uint32_t i = 0; i < uLines; ++i) {
        const float t = float(i) * (fHigh - fLow) / float(uLines - 1) + fLow;
        fTimes[i] = t + random.Next() * t * (s.fLineDelayRandomPct / 100.0f);
    }
    std::sort(fTimes, fTimes + uLines);
    uint32_t uLengths[ReverbUnit::OV_REVERBUNIT_LINES * OV_ROOMVERB_MAX_UNITS];
    MsToPrimeSamples(fTimes, uLines, m_uSampleRate, uLengths);

    DelayRandom unitRandom{kUnitDelaySeed};
    for (uint32_t u = 0; u < n; ++u) {
        // Each unit spans the whole range; its fourth line is its longest.
        const uint32_t uUnitLengths[4] = {uLengths[u], uLengths[u + n], uLengths[u + 2 * n], uLengths[u + 3 * n]};
        const float t = s.fUnitDelayTotalMs / float(n);
        const float fMs = t + unitRandom.Next() * t * (s.fUnitDelayRandomPct / 100.0f);
        if (m_units[u].Init(m_pAllocator, uUnitLengths, MsToSamples(fMs)) != OV_Success)
            return OV_OutOfMemory;
        m_units[u].Reset();
    }
    UpdateDecay();
    return OV_Success;
}

void OvRoomVerbFX::TermUnits()
{
    for (ReverbUnit& unit : m_units)
        unit.Term(m_pAllocator);
}

OvResult OvRoomVerbFX::BuildERPath()
{
    m_erPreDelay.Shutdown(m_pAllocator);
    m_erUnit.Term(m_pAllocator);
    if (m_uNumERSignals != 2)
        return OV_Success;
    const OvRoomVerbRebuildParams& r = m_pParams->rebuild;
    const OvRoomVerb::ERPattern& pattern =
        OvRoomVerb::g_ERPatternsList[std::min(r.uPattern, OvRoomVerb::OV_ER_NUM_PATTERNS - 1)];
    OV_ASSERT(pattern.uNumTapsLeft != 0 && pattern.uNumTapsRight != 0);
    if (pattern.uNumTapsLeft == 0 || pattern.uNumTapsRight == 0)
        return OV_Success;
    const double dScale = std::pow(2.0, double(r.fRoomSize) / 100.0);
    const uint32_t uPreDelay =
        MsToSamples(std::min(pattern.pTapsLeft[0].fTime, pattern.pTapsRight[0].fTime) * dScale);
    if (uPreDelay != 0) {
        if (m_erPreDelay.Init(m_pAllocator, uPreDelay) != OV_Success)
            return OV_OutOfMemory;
        m_erPreDelay.Reset();
    }
    const OvResult eResult = m_erUnit.Init(m_pAllocator, r.fRoomSize, pattern.pTapsLeft, pattern.pTapsRight,
                                           pattern.uNumTapsLeft, pattern.uNumTapsRight, m_uSampleRate);
    if (eResult == OV_OutOfMemory)
        return eResult;
    // A span the unit cannot hold (a large room at a high rate) leaves the
    // reflections out, not the whole effect.
    m_erUnit.Reset();
    return OV_Success;
}

OvResult OvRoomVerbFX::BuildSurroundDelays()
{
    for (DelayLine& line : m_surroundDelays)
        line.Shutdown(m_pAllocator);
    const uint32_t uLength = MsToSamples(m_pParams->rebuild.fSurroundDelay);
    if (m_uNumERSignals != 2 || uLength < 1 || !m_bHasRearPair)
        return OV_Success;
    for (DelayLine& line : m_surroundDelays) {
        if (line.Init(m_pAllocator, uLength) != OV_Success)
            return OV_OutOfMemory;
        line.Reset();
    }
    return OV_Success;
}

OvResult OvRoomVerbFX::BuildReverbPreDelay()
{
    m_reverbPreDelay.Shutdown(m_pAllocator);
    const uint32_t uLength = MsToSamples(m_pParams->rebuild.fPreDelay);
    if (uLength == 0)
        return OV_Success;
    if (m_reverbPreDelay.Init(m_pAllocator, uLength) != OV_Success)
        return OV_OutOfMemory;
    m_reverbPreDelay.Reset();
    return OV_Success;
}

OvResult OvRoomVerbFX::BuildAllpasses()
{
    const OvRoomVerbStructure& s = m_pParams->structure;
    float fTimes[OV_ROOMVERB_NUM_ALLPASSES];
    DelayRandom random{kAllpassSeed};
    float t = s.fAllpassDelayMaxMs;
    for (float& fTime : fTimes) {
        fTime = t + random.Next() * t * (s.fAllpassDelayRandomPct / 100.0f);
        t = t * s.fAllpassDelayRatioPct / 100.0f;
    }
    std::sort(fTimes, fTimes + OV_ROOMVERB_NUM_ALLPASSES);
    uint32_t uLengths[OV_ROOMVERB_NUM_ALLPASSES];
    MsToPrimeSamples(fTimes, OV_ROOMVERB_NUM_ALLPASSES, m_uSampleRate, uLengths);
    for (uint32_t i = 0; i < OV_ROOMVERB_NUM_ALLPASSES; ++i) {
        if (m_allpasses[i].Init(m_pAllocator, uLengths[i], 0.0f) != OV_Success)
            return OV_OutOfMemory;
        m_allpasses[i].Reset();
    }
    UpdateDiffusion();
    return OV_Success;
}

void OvRoomVerbFX::BuildToneFilters()
{
    const OvRoomVerbRebuildParams& r = m_pParams->rebuild;
    m_uTotalFilters = 0;
    bool bAny = false;
    for (const OvRoomVerbRebuildFilter& f : r.filters)
        bAny = bAny || f.uInsertType != OV_ROOMVERB_INSERT_OFF;
    if (!r.bTCEnable || !bAny)
        return;
    for (uint32_t f = 0; f < 3; ++f) {
        m_uFirstInstance[f] = m_uTotalFilters;
        const uint32_t uType = r.filters[f].uInsertType;
        m_uTotalFilters = uint8_t(m_uTotalFilters + (uType == OV_ROOMVERB_INSERT_ER ? m_uNumERSignals : (uType ? 1 : 0)));
    }
    OV_ASSERT(m_uTotalFilters <= 6);
    for (uint32_t i = 0; i < m_uTotalFilters; ++i) {
        m_toneFilters[i].uInsertType = OV_ROOMVERB_INSERT_OFF;
        m_toneFilters[i].biquad.ResetState();
    }
    for (uint32_t f = 0; f < 3; ++f)
        DesignToneFilter(f);
}

void OvRoomVerbFX::DesignToneFilter(uint32_t in_uFilter)
{
    const OvRoomVerbRebuildParams& r = m_pParams->rebuild;
    const uint32_t uType = r.filters[in_uFilter].uInsertType;
    if (!r.bTCEnable || uType == OV_ROOMVERB_INSERT_OFF || (uType == OV_ROOMVERB_INSERT_ER && m_uNumERSignals == 0))
        return;
    const uint32_t uFirst = m_uFirstInstance[in_uFilter];
    const uint32_t uCount = uType == OV_ROOMVERB_INSERT_ER ? 2 : 1;
    if (uFirst + uCount > m_uTotalFilters)
        return;
    const OvRoomVerbLiveFilter& lf = m_pParams->live.filters[in_uFilter];
    for (uint32_t i = uFirst; i < uFirst + uCount; ++i) {
        DesignBiquad(m_toneFilters[i].biquad, int(r.filters[in_uFilter].uCurveType), float(m_uSampleRate),
                     lf.fFrequency, lf.fGain, lf.fQ);
        m_toneFilters[i].uInsertType = uType;
    }
}

void OvRoomVerbFX::UpdateDecay()
{
    const OvRoomVerbLiveParams& live = m_pParams->live;
    for (uint32_t u = 0; u < m_uNumReverbUnits; ++u)
        m_units[u].SetDecay(live.fDecayTime, live.fHFDamping, m_uSampleRate);
}

void OvRoomVerbFX::UpdateDiffusion()
{
    // The filters fade in one after the other as Diffusion rises: the longest first.
    const float fDiffusion = m_pParams->live.fDiffusion;
    for (uint32_t i = 0; i < OV_ROOMVERB_NUM_ALLPASSES; ++i) {
        const float g = fDiffusion / 100.0f * kAllpassMaxGain * 4.0f - float(3 - i) * kAllpassMaxGain;
        m_allpasses[i].SetGain(std::min(std::max(g, 0.0f), kAllpassMaxGain));
    }
}

void OvRoomVerbFX::UpdateTailLength()
{
    const double dFrames = double(m_pParams->rebuild.fPreDelay) * double(m_uSampleRate) / 1000.0 +
                           double(m_pParams->live.fDecayTime) * double(m_uSampleRate);
    m_uTailLength = dFrames > 0.0 ? uint32_t(std::min(dFrames, 4.0e9)) : 0;
}

void OvRoomVerbFX::PrepareForChange()
{
    if (m_pParams && m_pAllocator && m_pParams->rebuild.bChanged)
        ApplyRebuild();
}

OvResult OvRoomVerbFX::ApplyRebuild()
{
    OvRoomVerbRebuildParams& cur = m_pParams->rebuild;
    const OvRoomVerbRebuildParams& prev = m_prevRebuild;
    bool bAnyInsertChanged = false;
    for (uint32_t f = 0; f < 3; ++f)
        bAnyInsertChanged = bAnyInsertChanged || cur.filters[f].uInsertType != prev.filters[f].uInsertType;
    bool bAnyInsert = false;
    for (const OvRoomVerbRebuildFilter& f : cur.filters)
        bAnyInsert = bAnyInsert || f.uInsertType != OV_ROOMVERB_INSERT_OFF;

    if (cur.uQuality != prev.uQuality || Differs(cur.fRoomShape, prev.fRoomShape) ||
        Differs(cur.fDensity, prev.fDensity)) {
        if (BuildUnits() != OV_Success)
            return OV_OutOfMemory;
    }
    if (cur.bEREnable != prev.bEREnable) {
        m_uNumERSignals = cur.bEREnable && m_channelConfig.uChannelMask != OV_SPEAKER_LOW_FREQUENCY ? 2 : 0;
        if (BuildSurroundDelays() != OV_Success || BuildERPath() != OV_Success)
            return OV_OutOfMemory;
        if (cur.bTCEnable && bAnyInsert)
            BuildToneFilters();
    }
    if (Differs(cur.fSurroundDelay, prev.fSurroundDelay) && BuildSurroundDelays() != OV_Success)
        return OV_OutOfMemory;
    if (Differs(cur.fPreDelay, prev.fPreDelay)) {
        if (BuildReverbPreDelay() != OV_Success)
            return OV_OutOfMemory;
        UpdateTailLength();
    }
    if ((cur.uPattern != prev.uPattern || Differs(cur.fRoomSize, prev.fRoomSize)) && BuildERPath() != OV_Success)
        return OV_OutOfMemory;
    // The layout of the tone filters holds no memory of its own, so it is
    // laid out afresh on any switch; with every InsertType at 0 none runs.
    if (cur.bTCEnable != prev.bTCEnable || bAnyInsertChanged)
        BuildToneFilters();
    for (uint32_t f = 0; f < 3; ++f)
        if (cur.filters[f].uCurveType != prev.filters[f].uCurveType)
            DesignToneFilter(f);
    m_prevRebuild = cur;
    cur.bChanged = false;
    return OV_Success;
}

void OvRoomVerbFX::ApplyLive()
{
    OvRoomVerbLiveParams& cur = m_pParams->live;
    const OvRoomVerbLiveParams& prev = m_prevLive;
    if (Differs(cur.fDecayTime, prev.fDecayTime) || Differs(cur.fHFDamping, prev.fHFDamping)) {
        UpdateDecay();
        UpdateTailLength();
    }
    if (Differs(cur.fDiffusion, prev.fDiffusion))
        UpdateDiffusion();
    for (uint32_t f = 0; f < 3; ++f)
        if (LiveFilterDiffers(cur.filters[f], prev.filters[f]))
            DesignToneFilter(f);
    cur.bChanged = false;
}

OvResult OvRoomVerbFX::Shutdown(IOvMemAlloc* in_pAllocator)
{
    OV_ASSERT(in_pAllocator != NULL);
    if (m_pParams)
        m_pParams->SetChangePreparer(nullptr);
    m_erPreDelay.Shutdown(in_pAllocator);
    m_reverbPreDelay.Shutdown(in_pAllocator);
    for (DelayLine& line : m_surroundDelays)
        line.Shutdown(in_pAllocator);
    m_erUnit.Term(in_pAllocator);
    for (ReverbUnit& unit : m_units)
        unit.Term(in_pAllocator);
    for (AllpassFilter& allpass : m_allpasses)
        allpass.Term(in_pAllocator);
    if (m_pfScratch && in_pAllocator)
        in_pAllocator->Free(m_pfScratch);
    m_pfScratch = nullptr;
    OV::Delete(in_pAllocator, this);
    return OV_Success;
}

OvResult OvRoomVerbFX::Reset()
{
    // Silence everywhere, and the level ramps start again from where Init
    // left them, as in a new effect.
    m_prevLive = m_initLive;
    m_erPreDelay.Reset();
    m_reverbPreDelay.Reset();
    for (DelayLine& line : m_surroundDelays)
        line.Reset();
    m_erUnit.Reset();
    for (DcBlocker& blocker : m_dcBlockers)
        blocker.Reset();
    if (m_pParams && m_pParams->rebuild.bTCEnable)
        for (ToneFilter& filter : m_toneFilters)
            filter.biquad.ResetState();
    for (ReverbUnit& unit : m_units)
        unit.Reset();
    for (AllpassFilter& allpass : m_allpasses)
        allpass.Reset();
    return OV_Success;
}

OvRoomVerbFX::Levels OvRoomVerbFX::LevelsOf(const OvRoomVerbLiveParams& in_live) const
{
    Levels v;
    v.a = in_live.fStereoWidth / 180.0f * 0.292894f + kHalfPower;
    const float fRest = 1.0f - v.a * v.a;
    v.b = fRest > 0.0f ? std::sqrt(fRest) : 0.0f;
    v.fDry = in_live.fOutputLevelDry;
    v.fER = in_live.fOutputLevelER;
    v.fReverb = in_live.fOutputLevelReverb;
    // The two-bus layouts use the output levels alone for the front pair and
    // centre; the larger ones weigh each speaker, and treat front and rear as
    // 1 when there is no rear pair.
    const bool bWeighFrontRear = m_uOutputsPerUnit > 1 && m_bHasRearPair;
    v.fFront = bWeighFrontRear ? in_live.fRVBLevelFront : 1.0f;
    v.fRear = bWeighFrontRear ? in_live.fRVBLevelRear : 1.0f;
    v.fCenter = m_uOutputsPerUnit > 1 ? in_live.fRVBLevelCenter : 1.0f;
    v.fLFE = in_live.fRVBLevelLFE;
    return v;
}

void OvRoomVerbFX::MixChannel(float* io_pfChannel, const ChannelRoute& in_route, const Levels& in_start,
                              const Levels& in_end, uint32_t in_uFrames)
{
    // Gains of one channel: reverb from two buses, ER from two signals.
    struct Gains {
        float rvA, rvB, erA, erB;
    };
    auto gainsOf = [&](const Levels& v) {
        const float a = in_route.bRight ? v.b : v.a, b = in_route.bRight ? v.a : v.b;
        switch (in_route.uKind) {
        case kKindFront: return Gains{v.fReverb * v.fFront * a, v.fReverb * v.fFront * b, v.fER * v.fFront * a,
                                      v.fER * v.fFront * b};
        case kKindRear: return Gains{v.fReverb * v.fRear * a, v.fReverb * v.fRear * b, v.fER * v.fRear * a,
                                     v.fER * v.fRear * b};
        case kKindCenter: {
            const float r = v.fReverb * v.fCenter * kHalfPower, e = v.fER * kHalfPower;
            return Gains{r, r, e, e};
        }
        case kKindLFE: {
            const float r = v.fLFE * v.fReverb * kHalfPower;
            return Gains{r, r, 0.0f, 0.0f};
        }
        default: return Gains{0.0f, 0.0f, 0.0f, 0.0f};
        }
    };
    if (in_route.iBusA < 0) {
        OV::ApplyGainRamp(io_pfChannel, in_start.fDry, in_end.fDry, in_uFrames);
        return;
    }
    const Gains g0 = gainsOf(in_start), g1 = gainsOf(in_end);
    const float* pfScratch = m_pfScratch;
    auto chunk = [&](uint32_t in_uIndex) { return pfScratch + size_t(in_uIndex) * OV_ROOMVERB_CHUNK_FRAMES; };
    OV::Mix3Interp(io_pfChannel, chunk(kBus0 + in_route.iBusA), chunk(kBus0 + in_route.iBusB), in_start.fDry,
                   in_end.fDry, g0.rvA, g1.rvA, g0.rvB, g1.rvB, in_uFrames);
    if (in_route.iErA < 0 || !ERActive())
        return;
    uint32_t uErA = kER0 + uint32_t(in_route.iErA), uErB = kER0 + uint32_t(in_route.iErB);
    if (in_route.iErA >= 2 && !m_surroundDelays[0].HasMemory()) {
        uErA -= 2;  // no surround delay: the ER signals themselves
        uErB -= 2;
    }
    OV::Mix3Interp(io_pfChannel, chunk(uErA), chunk(uErB), 1.0f, 1.0f, g0.erA, g1.erA, g0.erB, g1.erB, in_uFrames);
}

void OvRoomVerbFX::ProcessChunk(const OvPipelineBuffer& io_buffer, uint32_t in_uOffset, uint32_t in_uFrames,
                                const Levels& in_start, const Levels& in_end)
{
    auto chunk = [&](uint32_t in_uIndex) { return m_pfScratch + size_t(in_uIndex) * OV_ROOMVERB_CHUNK_FRAMES; };
    const uint32_t n = in_uFrames;
    const bool bTC = m_pParams->rebuild.bTCEnable;
    auto runTone = [&](uint32_t in_uInsertType, float* io_pfA, float* io_pfB) {
        if (!bTC)
            return;
        for (uint32_t i = 0; i < m_uTotalFilters; ++i) {
            ToneFilter& filter = m_toneFilters[i];
            if (filter.uInsertType != in_uInsertType)
                continue;
            filter.biquad.ProcessSamples(io_pfA, n);
            if (in_uInsertType == OV_ROOMVERB_INSERT_ER && i + 1 < m_uTotalFilters) {
                m_toneFilters[++i].biquad.ProcessSamples(io_pfB, n);
            }
        }
    };

    // 1-3: the mono mix, its tone, the reverb input behind the pre-delay and
    // the early input behind the first tap's delay.
    float* pfMono = chunk(kMono);
    float* pfReverbIn = chunk(kReverbIn);
    const OvRoomVerbRebuildParams& r = m_pParams->rebuild;
    OV::ConstantPowerChannelMixdown(io_buffer, n, in_uOffset, pfMono, r.fInputLevelCenter, r.fInputLevelLFE);
    runTone(OV_ROOMVERB_INSERT_MONO_INPUT, pfMono, nullptr);
    if (m_reverbPreDelay.HasMemory())
        m_reverbPreDelay.ProcessBuffer(pfMono, pfReverbIn, n);
    else
        std::memcpy(pfReverbIn, pfMono, size_t(n) * sizeof(float));

    // 4-5: early reflections, their tone, and the rear pair behind the surround delays.
    if (ERActive()) {
        m_erPreDelay.ProcessBuffer(pfMono, n);
        m_erUnit.Process(pfMono, chunk(kER0), chunk(kER0 + 1), n);
        runTone(OV_ROOMVERB_INSERT_ER, chunk(kER0), chunk(kER0 + 1));
        for (uint32_t s = 0; s < 2; ++s)
            if (m_surroundDelays[s].HasMemory())
                m_surroundDelays[s].ProcessBuffer(chunk(kER0 + s), chunk(kRearER0 + s), n);
    }

    // 6-8: diffusers, their tone, the units into the buses, the DC blockers.
    for (AllpassFilter& allpass : m_allpasses)
        allpass.ProcessBuffer(pfReverbIn, n);
    runTone(OV_ROOMVERB_INSERT_REVERB_INPUT, pfReverbIn, nullptr);
    const uint32_t uBuses = 2 * m_uOutputsPerUnit;
    for (uint32_t b = 0; b < uBuses; ++b)
        std::memset(chunk(kBus0 + b), 0, size_t(n) * sizeof(float));
    // Each unit's input is the previous unit's further delayed; all are
    // made first, so that the units can run side by side. Even and odd
    // units feed different buses, so a bus still takes its units in order.
    const float* pfUnitIn = pfReverbIn;
    for (uint32_t u = 0; u < m_uNumReverbUnits; ++u) {
        m_units[u].DelayInput(pfUnitIn, chunk(kUnitIn0 + u), n);
        pfUnitIn = chunk(kUnitIn0 + u);
    }
    constexpr uint32_t uGroup = ReverbUnit::OV_REVERBUNIT_MAX_SIDE_BY_SIDE;
    for (uint32_t u = 0; u < m_uNumReverbUnits; u += uGroup) {
        const uint32_t uCount = std::min(uGroup, m_uNumReverbUnits - u);
        const float* pInputs[uGroup];
        float* pOutputs[uGroup * ReverbUnit::OV_REVERBUNIT_MAX_OUTPUTS];
        for (uint32_t k = 0; k < uCount; ++k) {
            pInputs[k] = chunk(kUnitIn0 + u + k);
            for (uint32_t o = 0; o < m_uOutputsPerUnit; ++o)
                pOutputs[k * m_uOutputsPerUnit + o] = chunk(kBus0 + 2 * o + ((u + k) & 1));
        }
        ReverbUnit::ProcessSideBySide(m_units + u, uCount, pInputs, pOutputs, m_uOutputsPerUnit, n, m_eUnitPath);
    }
    const float fBusGain = 1.4142135f * m_fReverbUnitsGain;
    float* pBuses[OV_ROOMVERB_MAX_BUSES];
    for (uint32_t b = 0; b < uBuses; ++b)
        pBuses[b] = chunk(kBus0 + b);
    DcBlocker::ProcessSideBySide(m_dcBlockers, pBuses, uBuses, n, fBusGain);

    // 9: onto the speakers.
    const uint32_t uChannels = io_buffer.NumChannels();
    for (uint32_t c = 0; c < uChannels; ++c) {
        float* pfChannel = io_buffer.GetChannel(c) + in_uOffset;
        if (c < m_uNumRoutes)
            MixChannel(pfChannel, m_routes[c], in_start, in_end, n);
        else
            OV::ApplyGainRamp(pfChannel, in_start.fDry, in_end.fDry, n);
    }
}

void OvRoomVerbFX::ProcessBlock(OvPipelineBuffer* io_pBuffer)
{
    if (!m_pParams || !m_pfScratch)
        return;
    OvRoomVerbFXParams& params = *m_pParams;
    if (params.rebuild.bChanged && ApplyRebuild() != OV_Success)
        return;
    if (params.live.bChanged)
        ApplyLive();

    m_tailExtender.ExtendTail(io_pBuffer, m_uTailLength);
    OV_ASSERT(io_pBuffer->uValidFrames <= io_pBuffer->MaxFrames());
    const uint32_t uFrames = std::min<uint32_t>(io_pBuffer->uValidFrames, io_pBuffer->MaxFrames());
    if (uFrames != 0 && m_uOutputsPerUnit != 0 && io_pBuffer->GetChannelConfig() == m_channelConfig) {
        // Only the first chunk ramps.
        Levels start = LevelsOf(m_prevLive);
        const Levels end = LevelsOf(params.live);
        for (uint32_t uDone = 0; uDone < uFrames;) {
            const uint32_t n = std::min(uFrames - uDone, OV_ROOMVERB_CHUNK_FRAMES);
            ProcessChunk(*io_pBuffer, uDone, n, start, end);
            start = end;
            uDone += n;
        }
    }
    m_prevLive = params.live;
}
