// Room reverb. A constant-power mono mix of the input feeds two paths: early
// reflections (one of 31 measured patterns, ERUnitDual) behind a pre-delay
// that holds the pattern's first tap, and a reverb body: a pre-delay of
// PreDelay ms, four Schroeder allpasses in series, and 2 to 16 ReverbUnits
// (four-line feedback networks with a low-pass per line) whose delay lengths
// are primes drawn by a fixed pseudo-random sequence. Units add into two,
// four or six buses (even units left, odd right), each through a DC blocker.
// Up to three tone-correction biquads sit on the mono mix, the reverb input or
// the two ER outputs. The buses and ER outputs are mixed onto the dry channels
// with per-speaker levels and a width rotation; gains ramp over the first
// 256-frame chunk of a block. At the end of a stream the effect plays
// trunc((PreDelay / 1000 + DecayTime) * rate) frames of tail.
//
// Layouts: stereo, mono (centre), LFE, L R LFE, centre + LFE (two buses);
// L R C, L R C LFE, L R + sides (four); 5.0, 5.1, 7.0, 7.1 and the like (six).
// Any other layout, ambisonic ones included, passes unchanged.
//
// Memory: everything is taken at Init, or, when a setting forces a rebuild
// (Quality, Density, RoomShape, pattern, room size, delays, ER or tone
// switches), on the setter's thread through PrepareForChange; ProcessBlock
// only allocates if a rebuild arrived without that call or failed there, and
// then retries at each block until it succeeds (the audio passes dry meanwhile).
#pragma once

#include <cstdint>

#include "ov/IOvChangePreparer.h"
#include "ov/IOvEffect.h"
#include "ov/OvChannelConfig.h"
#include "ov/OvTailExtender.h"
#include "sdk/dsp/delays/DelayLine.h"
#include "sdk/dsp/filters/OvBiquad.h"
#include "sdk/dsp/reverb/AllpassFilter.h"
#include "sdk/dsp/reverb/DcBlocker.h"
#include "sdk/plugins/OvRoomVerb/ERUnitDual.h"
#include "sdk/plugins/OvRoomVerb/OvRoomVerbFXParams.h"
#include "sdk/plugins/OvRoomVerb/ReverbUnit.h"

class IOvEffectContext;
class OvPipelineBuffer;

class OvRoomVerbFX final : public IOvEffect, public IOvChangePreparer {
public:
    static constexpr uint32_t OV_ROOMVERB_CHUNK_FRAMES = 256;
    static constexpr uint32_t OV_ROOMVERB_MAX_UNITS = OvRoomVerbFXParams::OV_ROOMVERB_MAX_QUALITY;
    static constexpr uint32_t OV_ROOMVERB_NUM_ALLPASSES = 4;
    static constexpr uint32_t OV_ROOMVERB_MAX_BUSES = 6;
    static constexpr uint32_t OV_ROOMVERB_MAX_TONE_FILTERS = 6;
    // Channels with a route of their own (one per mask bit); any further channel takes dry only.
    static constexpr uint32_t OV_ROOMVERB_MAX_ROUTED_CHANNELS = 20;
    // Scratch chunks: mono, reverb input, six buses, two ER, two rear ER, and
    // the input of each reverb unit.
    static constexpr uint32_t OV_ROOMVERB_SCRATCH_BUFFERS = 12 + OV_ROOMVERB_MAX_UNITS;

    OvResult Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext, IOvEffectParams* in_pParams,
                  const OvStreamFormat& in_format) override;
    OvResult Shutdown(IOvMemAlloc* in_pAllocator) override;
    OvResult Reset() override;
    void ProcessBlock(OvPipelineBuffer* io_pBuffer) override;
    // Runs a pending rebuild on the setter's thread.
    void PrepareForChange() override;

    // Delay lengths in samples, for a sorted list of times in ms: each made
    // odd, then raised by 2 until no odd divisor from 3 up to the square root
    // of the first candidate divides it and it differs from the entry before.
    static void MsToPrimeSamples(const float* in_pfTimesMs, uint32_t in_uCount, uint32_t in_uSampleRate,
                                 uint32_t* out_puLengths);

    // For tests and benchmarks.
    uint32_t NumReverbUnits() const { return m_uNumReverbUnits; }
    const ReverbUnit& Unit(uint32_t in_uIndex) const { return m_units[in_uIndex]; }
    const AllpassFilter& Allpass(uint32_t in_uIndex) const { return m_allpasses[in_uIndex]; }
    uint32_t TailLength() const { return m_uTailLength; }
    uint32_t NumERSignals() const { return m_uNumERSignals; }
    uint32_t NumBuses() const { return 2 * m_uOutputsPerUnit; }

private:
    // Levels that ramp, at the start or the end of a chunk.
    struct Levels {
        float a, b;  // width rotation
        float fDry, fER, fReverb, fFront, fRear, fCenter, fLFE;
    };
    // Where one channel takes its reverb and ER from.
    struct ChannelRoute {
        int8_t iBusA, iBusB;  // reverb buses, -1 for none
        int8_t iErA, iErB;    // 0, 1 the ER signals, 2, 3 the rear ER signals, -1 for none
        uint8_t uKind;        // see the .cpp
        bool bRight;          // takes a and b crossed
    };
    struct ToneFilter {
        OvBiquad biquad;
        uint32_t uInsertType = 0;
    };

    void SelectLayout(const OvChannelConfig& in_config);
    OvResult BuildUnits();
    void TermUnits();
    OvResult BuildERPath();  // ER pre-delay and ER unit
    OvResult BuildSurroundDelays();
    OvResult BuildReverbPreDelay();
    OvResult BuildAllpasses();
    void BuildToneFilters();
    void DesignToneFilter(uint32_t in_uFilter);
    void UpdateDecay();
    void UpdateDiffusion();
    void UpdateTailLength();
    uint32_t MsToSamples(double in_dMs) const;
    OvResult ApplyRebuild();
    void ApplyLive();
    Levels LevelsOf(const OvRoomVerbLiveParams& in_live) const;
    void ProcessChunk(const OvPipelineBuffer& io_buffer, uint32_t in_uOffset, uint32_t in_uFrames,
                      const Levels& in_start, const Levels& in_end);
    void MixChannel(float* io_pfChannel, const ChannelRoute& in_route, const Levels& in_start, const Levels& in_end,
                    uint32_t in_uFrames);
    bool ERActive() const { return m_uNumERSignals == 2 && m_erUnit.HasBuffer(); }

    AllpassFilter m_allpasses[OV_ROOMVERB_NUM_ALLPASSES];
    DcBlocker m_dcBlockers[OV_ROOMVERB_MAX_BUSES];
    DelayLine m_erPreDelay;
    DelayLine m_reverbPreDelay;
    DelayLine m_surroundDelays[2];
    OvTailExtender m_tailExtender;
    uint32_t m_uTailLength = 0;
    float m_fReverbUnitsGain = 1.0f;
    uint32_t m_uNumReverbUnits = 0;
    ReverbUnitPath m_eUnitPath = ReverbUnitPath::Sse2;  // chosen at Init
    uint32_t m_uSampleRate = 0;
    uint8_t m_uTotalFilters = 0;
    uint8_t m_uFirstInstance[3] = {};
    uint8_t m_uNumERSignals = 0;
    uint32_t m_uOutputsPerUnit = 0;  // 0: the layout passes unchanged
    ChannelRoute m_routes[OV_ROOMVERB_MAX_ROUTED_CHANNELS];
    uint32_t m_uNumRoutes = 0;
    bool m_bHasRearPair = false;
    OvChannelConfig m_channelConfig;
    ReverbUnit m_units[OV_ROOMVERB_MAX_UNITS];
    ToneFilter m_toneFilters[OV_ROOMVERB_MAX_TONE_FILTERS];
    ERUnitDual m_erUnit;
    float* m_pfScratch = nullptr;  // OV_ROOMVERB_SCRATCH_BUFFERS chunks of samples, 16-byte aligned
    OvRoomVerbFXParams* m_pParams = nullptr;
    IOvMemAlloc* m_pAllocator = nullptr;
    OvRoomVerbLiveParams m_prevLive = {};
    OvRoomVerbLiveParams m_initLive = {};  // what Init saw: Reset starts the level ramps from it again
    OvRoomVerbRebuildParams m_prevRebuild = {};
};
