// Feed-forward RMS compressor core, shared by the single-band compressor and
// each band of the multiband compressor.
//
// Detector: a one-pole power average with a 23.22 ms time constant, either
// per channel or linked (mean power of all processed channels). Gain
// computer: the level over the threshold in dB is smoothed by one-pole attack
// and release filters whose times are 10-90 % rise times in seconds; the
// reduction is over * (1 / ratio - 1) dB, limited below by the range (dB,
// zero or negative: a range of 0 means no reduction at all). The logarithm and
// power per sample are the fast approximations of the plug-in frame.
//
// The per-channel side chains run four at a time, one per lane of SSE float
// vectors, or eight in AVX vectors where the processor has it, with the
// scalar form's arithmetic in its order (the same bits); the lanes may come
// from several compressors (see RunLanes).
#pragma once

#include <cstdint>

#include "ov/IOvMemAlloc.h"
#include "ov/OvCommonDefs.h"
#include "ov/OvPipelineBuffer.h"
#include "ov/OvStreamFormat.h"

class OvCompressor {
public:
    // Detector and gain state of one side chain; gain in dB over threshold.
    struct SideChainState {
        float fGainDb;
        float fPower;
    };

    OvCompressor() = default;
    OvCompressor(const OvCompressor&) = delete;
    OvCompressor& operator=(const OvCompressor&) = delete;

    // in_fAttack, in_fRelease in seconds. Linked detection needs more than
    // one channel; one channel with link on runs the per-channel routine.
    OvResult Init(IOvMemAlloc* in_pAllocator, bool in_bProcessLFE, const OvStreamFormat& in_format,
                  float in_fAttack, float in_fRelease, bool in_bChannelLink);
    void Shutdown(IOvMemAlloc* in_pAllocator);
    void Reset();

    // In place. Threshold and range in dB, attack and release in seconds.
    void Process(OvPipelineBuffer* io_pBuffer, float in_fThresholdDb, float in_fRatio,
                 float in_fAttack, float in_fRelease, float in_fRangeDb);
    // As Process, for a block read and written in place with steady gains
    // around the core: the detector and the gain see x * in_fPreGain, and each
    // sample leaves as 0 + in_fPostGain * (x * in_fPreGain * gain), the
    // arithmetic (and so the bits) of applying the pre gain, compressing, and
    // mixing into a cleared block at the post gain, one after the other.
    // Returns n: channels 0 to n - 1 were processed, the others are left
    // alone. A block with no valid frames is left alone (returns 0).
    uint32_t ProcessWithGains(OvPipelineBuffer* io_pBuffer, float in_fPreGain, float in_fPostGain,
                              float in_fThresholdDb, float in_fRatio, float in_fAttack, float in_fRelease,
                              float in_fRangeDb);
    // The detector listens to the same channel of in_pKey; the gain goes to
    // io_pBuffer. Always per channel.
    void ProcessWithKey(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey,
                        float in_fThresholdDb, float in_fRatio, float in_fAttack,
                        float in_fRelease, float in_fRangeDb);

    uint32_t GetNumProcessedChannels() const { return m_uNumProcessedChannels; }
    uint32_t GetNumSideChain() const { return m_uNumSideChain; }
    bool GetProcessLFE() const { return m_bProcessLFE; }
    // Null when in_uIndex is not a side chain.
    const SideChainState* GetSideChainState(uint32_t in_uIndex) const;

    // One channel's per-channel work: detector input, gained output, state and
    // the settings of its compressor.
    struct Lane {
        float* pOut;
        const float* pDetect;
        SideChainState* pState;
        uint32_t uFrames;
        float fRmsCoef;
        float fAttackCoef;
        float fReleaseCoef;
        float fThresholdDb;
        float fRatioFactor;
        float fRangeDb;
    };
    // True when Process runs per channel (no link, or a single channel), so
    // that its work can be gathered by CollectLanes.
    bool IsPerChannel() const { return m_fnProcess == &OvCompressor::ProcessPerChannel; }
    // Appends this compressor's per-channel work for one block to io_pLanes
    // (at most in_uRoom entries, more channels are dropped: size the array by
    // the channel count) and returns the number appended. Settings as in
    // ProcessWithKey; in_pKey may be null for self detection.
    uint32_t CollectLanes(Lane* io_pLanes, uint32_t in_uRoom, OvPipelineBuffer* io_pBuffer,
                          OvPipelineBuffer* in_pKey, float in_fThresholdDb, float in_fRatio,
                          float in_fAttack, float in_fRelease, float in_fRangeDb);
    // Runs the lanes, eight at a time (AVX, where the processor has it) or
    // four at a time, where neighbours have the same length.
    static void RunLanes(const Lane* in_pLanes, uint32_t in_uNumLanes);

    // Linear gains around the core (ProcessWithGains).
    struct GainsAround {
        float fPre;
        float fPost;
    };
    // True when RunLanes takes the AVX kernel.
    static bool HasAvxLanes();
    // RunLanes with the gains around the core (null: none) and the kernel
    // named: in_bAvx false keeps to the SSE2 groups of four, true takes AVX
    // groups of eight where the processor has AVX. The bits are the same
    // either way; for tests and benchmarks.
    static void RunLanesOn(bool in_bAvx, const Lane* in_pLanes, uint32_t in_uNumLanes,
                           const GainsAround* in_pGains);

private:
    // Return the number of leading channels processed.
    typedef uint32_t (OvCompressor::*ProcessFn)(OvPipelineBuffer* io_pBuffer,
                                                OvPipelineBuffer* in_pKey, float in_fThresholdDb,
                                                float in_fRatioFactor, float in_fRangeDb,
                                                uint32_t in_uNumProcessedChannels,
                                                const GainsAround* in_pGains);

    uint32_t ProcessPerChannel(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey,
                               float in_fThresholdDb, float in_fRatioFactor, float in_fRangeDb,
                               uint32_t in_uNumProcessedChannels, const GainsAround* in_pGains);
    uint32_t ProcessLinked(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey,
                           float in_fThresholdDb, float in_fRatioFactor, float in_fRangeDb,
                           uint32_t in_uNumProcessedChannels, const GainsAround* in_pGains);
    // RunLanes with the gains around the core, or none (null).
    static void RunLanesWithGains(const Lane* in_pLanes, uint32_t in_uNumLanes, const GainsAround* in_pGains);
    void UpdateTimes(float in_fAttack, float in_fRelease);
    // Lanes for channels from in_uFirstChannel on, at most in_uRoom.
    uint32_t FillLanes(Lane* io_pLanes, uint32_t in_uRoom, uint32_t in_uFirstChannel,
                       OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey, float in_fThresholdDb,
                       float in_fRatioFactor, float in_fRangeDb, uint32_t in_uNumProcessedChannels);

    ProcessFn m_fnProcess = nullptr;
    uint32_t m_uNumChannels = 0;
    float m_fSampleRate = 0.0f;
    uint32_t m_uNumProcessedChannels = 0;
    uint32_t m_uNumSideChain = 0;
    float m_fRmsCoef = 0.0f;
    SideChainState* m_pSideChain = nullptr;
    float m_fAttack = 0.0f;
    float m_fAttackCoef = 0.0f;
    float m_fRelease = 0.0f;
    float m_fReleaseCoef = 0.0f;
    bool m_bProcessLFE = true;
};
