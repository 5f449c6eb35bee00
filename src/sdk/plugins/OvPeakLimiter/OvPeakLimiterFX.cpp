#include "sdk/plugins/OvPeakLimiter/OvPeakLimiterFX.h"

#include <cmath>
#include <cstring>
#include <new>
#include <utility>

#include "ov/OvAssert.h"
#include "ov/OvFastMath.h"
#include "ov/OvGainRamp.h"
#include "ov/OvPipelineBuffer.h"
#include "ov/OvPluginNew.h"
#include "sdk/plugins/OvPeakLimiter/OvPeakLimiterFXParams.h"

namespace {

// Level of a peak above the threshold, in dB, never below 0.
inline float DbOverThreshold(float in_fPeak, float in_fThreshold)
{
    const float fOver = 20.0f * OV::FastLog10(in_fPeak) - in_fThreshold;
    return fOver > 0.0f ? fOver : 0.0f;
}

// Linear gain that brings a peak down to the ceiling; 1 below it.
inline float HardTarget(float in_fPeak, float in_fCeiling)
{
    return in_fPeak - in_fCeiling < 0.0f ? 1.0f : in_fCeiling / in_fPeak;
}

// A sample held to +-in_fCeiling; within it (and NaN) unchanged.
inline float HoldToCeiling(float in_fSample, float in_fCeiling)
{
    // Two selects with no branch: the compiler makes them a max and a min.
    const float fAboveFloor = in_fSample < -in_fCeiling ? -in_fCeiling : in_fSample;
    return fAboveFloor > in_fCeiling ? in_fCeiling : fAboveFloor;
}

// Smooths the dB level towards its target: attack coefficient while rising
// (or level), release while falling.
inline float SmoothDb(float in_fGain, float in_fTarget, float in_fAttackCoef, float in_fReleaseCoef)
{
    const float fCoef = (in_fTarget - in_fGain >= 0.0f) ? in_fAttackCoef : in_fReleaseCoef;
    return in_fTarget + fCoef * (in_fGain - in_fTarget);
}

// One frame of the peak hold. io_fNextPeak already includes this frame's
// loudest sample. When the hold has run out or a louder sample came, that
// sample becomes the peak and is held for the look-ahead; returns true then.
inline bool HoldPeak(float& io_fPeak, float& io_fNextPeak, uint32_t& io_uHoldFrames, uint32_t in_uLookAheadFrames)
{
    if (io_uHoldFrames == 0 || io_fPeak < io_fNextPeak) {
        io_fPeak = io_fNextPeak;
        io_fNextPeak = 0.0f;
        io_uHoldFrames = in_uLookAheadFrames;
        return true;
    }
    --io_uHoldFrames;
    return false;
}

// Swaps frame in_uFrame of in_uChannels planar channels with one interleaved
// frame of the ring; returns io_fNextPeak raised to the loudest sample that
// went in.
inline float ExchangeFrame(float* io_pBase, uint32_t in_uStride, uint32_t in_uFrame, float* io_pRingFrame,
                           uint32_t in_uChannels, float in_fNextPeak)
{
    for (uint32_t c = 0; c < in_uChannels; ++c) {
        float& io = io_pBase[size_t(c) * in_uStride + in_uFrame];
        const float x = io;
        io = io_pRingFrame[c];
        io_pRingFrame[c] = x;
        const float a = fabsf(x);
        if (a > in_fNextPeak)
            in_fNextPeak = a;
    }
    return in_fNextPeak;
}

// Frames from the ring position to the ring's end or to the end of the block.
inline uint32_t ChunkFrames(uint32_t in_uFramesLeft, uint32_t in_uRingFrames, uint32_t in_uPos)
{
    const uint32_t uToRingEnd = in_uRingFrames - in_uPos;
    return in_uFramesLeft < uToRingEnd ? in_uFramesLeft : uToRingEnd;
}

// Passes one channel through its own ring, unscaled.
void ExchangeWithRing(float* io_pChannel, float* io_pRing, uint32_t in_uRingFrames, uint32_t in_uPos,
                      uint32_t in_uFrames)
{
    uint32_t i = 0;
    while (i < in_uFrames) {
        const uint32_t uChunk = ChunkFrames(in_uFrames - i, in_uRingFrames, in_uPos);
        for (uint32_t j = 0; j < uChunk; ++j) {
            const float fIn = io_pChannel[i + j];
            io_pChannel[i + j] = io_pRing[in_uPos + j];
            io_pRing[in_uPos + j] = fIn;
        }
        i += uChunk;
        in_uPos += uChunk;
        if (in_uPos == in_uRingFrames)
            in_uPos = 0;
    }
}

}  // namespace

uint32_t OvPeakLimiterFX::LookAheadToFrames(float in_fLookAheadSeconds, uint32_t in_uSampleRate)
{
    // The frame loops cannot advance over an empty ring: one frame at least.
    const float fFrames = in_fLookAheadSeconds * float(in_uSampleRate);
    if (!(fFrames >= 1.0f))
        return 1;
    if (fFrames >= float(OV_PEAKLIMITERFX_MAX_LOOKAHEAD_FRAMES))
        return OV_PEAKLIMITERFX_MAX_LOOKAHEAD_FRAMES;
    return uint32_t(fFrames);
}

OvResult OvPeakLimiterFX::Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext,
                               IOvEffectParams* in_pParams, const OvStreamFormat& in_format)
{
    OV_ASSERT(in_pAllocator != NULL);
    m_pParams = static_cast<OvPeakLimiterFXParams*>(in_pParams);
    m_pAllocator = in_pAllocator;
    m_pContext = in_pContext;
    m_format = in_format;
    if (!m_pParams || !m_pAllocator)
        return OV_Failure;
    m_fInitOutputGain = m_fPrevOutputGain = m_pParams->fOutputGain;
    FreeMemory();

    // No layout needs more side chains than there are channels (one when linked).
    const uint32_t uNumChannels = m_format.channelConfig.uNumChannels;
    m_uSideChainRoom = uNumChannels ? uNumChannels : 1;
    m_pSideChains = static_cast<SideChain*>(m_pAllocator->Malloc(sizeof(SideChain) * m_uSideChainRoom));
    if (!m_pSideChains) {
        m_uSideChainRoom = 0;
        return OV_OutOfMemory;
    }
    m_pParams->SetChangePreparer(this);
    PrepareForChange();
    return Configure();
}

void OvPeakLimiterFX::FreeMemory()
{
    if (m_pDelayMem)
        m_pAllocator->Free(m_pDelayMem);
    m_pDelayMem = nullptr;
    m_uDelayMemSamples = 0;
    if (m_pSpareDelayMem)
        m_pAllocator->Free(m_pSpareDelayMem);
    m_pSpareDelayMem = nullptr;
    m_uSpareSamples = 0;
    m_bSpareReady = false;
    if (m_pSideChains)
        m_pAllocator->Free(m_pSideChains);
    m_pSideChains = nullptr;
    m_uSideChainRoom = 0;
    m_fnProcess = nullptr;
}

size_t OvPeakLimiterFX::DelaySamplesFor(uint32_t in_uLookAheadFrames) const
{
    const uint32_t uNumChannels = m_format.channelConfig.uNumChannels;
    return size_t(in_uLookAheadFrames) * (uNumChannels ? uNumChannels : 1);
}

void OvPeakLimiterFX::PrepareForChange()
{
    if (!m_pParams || !m_pAllocator)
        return;
    const size_t uSamples = DelaySamplesFor(LookAheadToFrames(m_pParams->fLookAhead, m_format.uSampleRate));
    if (m_bSpareReady && m_uSpareSamples == uSamples)
        return;
    if (m_pSpareDelayMem)
        m_pAllocator->Free(m_pSpareDelayMem);
    m_pSpareDelayMem = nullptr;
    m_uSpareSamples = 0;
    m_bSpareReady = false;
    if (m_pDelayMem && m_uDelayMemSamples == uSamples)
        return;
    m_pSpareDelayMem = static_cast<float*>(m_pAllocator->Malloc(uSamples * sizeof(float)));
    if (!m_pSpareDelayMem)
        return;  // Configure fails and is retried at each block, as without memory
    m_uSpareSamples = uSamples;
    m_bSpareReady = true;
}

OvResult OvPeakLimiterFX::Configure()
{
    const OvPeakLimiterFXParams& params = *m_pParams;
    const uint32_t uLookAheadFrames = LookAheadToFrames(params.fLookAhead, m_format.uSampleRate);
    const size_t uDelaySamples = DelaySamplesFor(uLookAheadFrames);
    if (m_bSpareReady && m_uSpareSamples == uDelaySamples) {
        std::swap(m_pDelayMem, m_pSpareDelayMem);
        std::swap(m_uDelayMemSamples, m_uSpareSamples);
        m_bSpareReady = false;
    }
    if (!m_pDelayMem || m_uDelayMemSamples < uDelaySamples || !m_pSideChains)
        return OV_OutOfMemory;

    const uint32_t uNumChannels = m_format.channelConfig.uNumChannels;
    const bool bHasLFE = m_format.channelConfig.HasLFE();
    m_uNumPeakLimitedChannels = uNumChannels;
    if (!params.bProcessLFE && bHasLFE && uNumChannels > 0)
        m_uNumPeakLimitedChannels = uNumChannels - 1;
    m_uNumSideChains = params.bChannelLink ? 1 : m_uNumPeakLimitedChannels;

    m_uLookAheadFrames = uLookAheadFrames;
    m_uFramesToDiscard = m_uLookAheadFrames;
    // Attack of the dB law: settles over half the look-ahead.
    m_fAttackCoef = params.bHardCeiling
                        ? 0.0f
                        : expf(-2.2f / ((float(m_uLookAheadFrames) / params.fLookAheadDivisor) / 2.0f));

    std::memset(m_pDelayMem, 0, uDelaySamples * sizeof(float));
    m_uFramePos = 0;

    if (!params.bChannelLink || m_uNumPeakLimitedChannels == 1)
        m_fnProcess = &OvPeakLimiterFX::ProcessPerChannelDb;
    else if (bHasLFE && !params.bProcessLFE)
        m_fnProcess = &OvPeakLimiterFX::ProcessLinkedDb<true>;
    else if (params.bHardCeiling && m_uNumPeakLimitedChannels == 2)
        m_fnProcess = &OvPeakLimiterFX::ProcessHard<2>;
    else if (params.bHardCeiling)
        m_fnProcess = &OvPeakLimiterFX::ProcessHard<0>;
    else
        m_fnProcess = &OvPeakLimiterFX::ProcessLinkedDb<false>;

    for (uint32_t i = 0; i < m_uNumSideChains && i < m_uSideChainRoom; ++i)
        new (&m_pSideChains[i]) SideChain();
    m_pParams->bLayoutChanged = 0;
    return OV_Success;
}

OvResult OvPeakLimiterFX::Shutdown(IOvMemAlloc* in_pAllocator)
{
    OV_ASSERT(in_pAllocator != NULL);
    if (m_pParams)
        m_pParams->SetChangePreparer(nullptr);
    if (m_pAllocator)
        FreeMemory();
    OV::Delete(in_pAllocator, this);
    return OV_Success;
}

OvResult OvPeakLimiterFX::Reset()
{
    ClearAudioState();
    // The output gain ramps again from where Init left it, as in a new effect.
    m_fPrevOutputGain = m_fInitOutputGain;
    return OV_Success;
}

void OvPeakLimiterFX::ClearAudioState()
{
    if (m_pDelayMem)
        std::memset(m_pDelayMem, 0,
                    size_t(m_uLookAheadFrames) * m_format.channelConfig.uNumChannels * sizeof(float));
    const bool bHard = m_pParams && m_pParams->bHardCeiling;
    for (uint32_t i = 0; m_pSideChains && i < m_uNumSideChains; ++i) {
        SideChain& sideChain = m_pSideChains[i];
        sideChain.fPeak = 0.0f;
        sideChain.fNextPeak = 0.0f;
        sideChain.uHoldFrames = 0;
        sideChain.fGain = bHard ? 1.0f : 0.0f;
    }
    m_bFirstBlock = true;
    m_uFramesToDiscard = m_uLookAheadFrames;
    m_uFramePos = 0;
    // The hard ceiling's gain steps are state, as a new effect has them: none.
    // The dB law's coefficients are settings and stay.
    if (bHard) {
        m_fAttackCoef = 0.0f;
        m_fReleaseCoef = 0.0f;
    }
}

OvPeakLimiterFX::Routine OvPeakLimiterFX::CurrentRoutine() const
{
    if (m_fnProcess == &OvPeakLimiterFX::ProcessPerChannelDb)
        return Routine::PerChannelDb;
    if (m_fnProcess == &OvPeakLimiterFX::ProcessLinkedDb<true>)
        return Routine::LinkedNoLfeDb;
    if (m_fnProcess == &OvPeakLimiterFX::ProcessLinkedDb<false>)
        return Routine::LinkedDb;
    if (m_fnProcess == &OvPeakLimiterFX::ProcessHard<2>)
        return Routine::StereoHard;
    if (m_fnProcess == &OvPeakLimiterFX::ProcessHard<0>)
        return Routine::MultiChannelHard;
    return Routine::None;
}

float OvPeakLimiterFX::RatioFactor() const
{
    return m_pParams->bInfiniteRatio ? -1.0f : 1.0f / m_pParams->fRatio - 1.0f;
}

float OvPeakLimiterFX::DbLawCeiling() const
{
    // FastLog10 and FastPow10 are good to about 0.2 % each, and the attack
    // may not have settled as a peak leaves the delay: with an infinite ratio
    // the product can land just over the ceiling, which a 16-bit stream would
    // wrap. The hard routines hold their output the same way.
    return m_pParams->bInfiniteRatio ? OV::FastPow10FromDb(m_pParams->fThreshold) : INFINITY;
}

void OvPeakLimiterFX::ProcessBlock(OvPipelineBuffer* io_pBuffer)
{
    OvPeakLimiterFXParams& params = *m_pParams;
    if (params.bRuntimeChanged || params.bLayoutChanged) {
        m_fReleaseCoef =
            params.bHardCeiling ? 0.0f : expf(-2.2f / (params.fRelease * float(m_format.uSampleRate)));
        params.bRuntimeChanged = 0;
    }
    // A layout change restarts the limiter: the delayed audio is dropped and
    // the start-up is paid again. A failed Configure is retried next block.
    if (params.bLayoutChanged) {
        if (Configure() != OV_Success)
            return;
        ClearAudioState();
    }
    if (!m_fnProcess || io_pBuffer->NumChannels() != m_format.channelConfig.uNumChannels)
        return;

    m_tailExtender.ExtendTail(io_pBuffer, m_uLookAheadFrames);
    if (io_pBuffer->uValidFrames == 0)
        return;

    (this->*m_fnProcess)(io_pBuffer);

    OV::ApplyGainToBuffer(io_pBuffer, m_fPrevOutputGain, params.fOutputGain, params.bProcessLFE != 0);
    m_fPrevOutputGain = params.fOutputGain;

    DiscardStartUpFrames(io_pBuffer);
}

void OvPeakLimiterFX::DiscardStartUpFrames(OvPipelineBuffer* io_pBuffer)
{
    // Until the delay has filled, what comes out is its zeros: drop them.
    if (m_uFramesToDiscard == 0)
        return;
    const uint32_t uValid = io_pBuffer->uValidFrames;
    if (m_uFramesToDiscard < uValid) {
        const uint32_t uKeep = uValid - m_uFramesToDiscard;
        for (uint32_t c = 0; c < io_pBuffer->NumChannels(); ++c) {
            float* pChannel = io_pBuffer->GetChannel(c);
            std::memmove(pChannel, pChannel + m_uFramesToDiscard, size_t(uKeep) * sizeof(float));
        }
        io_pBuffer->uValidFrames = uint16_t(uKeep);
        m_uFramesToDiscard = 0;
    } else {
        m_uFramesToDiscard -= uValid;
        io_pBuffer->uValidFrames = 0;
    }
}

void OvPeakLimiterFX::ProcessPerChannelDb(OvPipelineBuffer* io_pBuffer)
{
    const uint32_t L = m_uLookAheadFrames;
    const uint32_t uFrames = io_pBuffer->uValidFrames;
    const uint32_t uNumChannels = io_pBuffer->NumChannels();
    const float fThreshold = m_pParams->fThreshold;
    const float fRatioFactor = RatioFactor();
    const float fCeiling = DbLawCeiling();
    const float fAttackCoef = m_fAttackCoef;
    const float fReleaseCoef = m_fReleaseCoef;
    const uint32_t uStartPos = m_uFramePos;

    if (!m_pParams->bProcessLFE && io_pBuffer->HasLFE())
        ExchangeWithRing(io_pBuffer->GetLFE(), m_pDelayMem + size_t(uNumChannels - 1) * L, L, uStartPos,
                         uFrames);

    for (uint32_t c = 0; c < m_uNumPeakLimitedChannels && c < m_uNumSideChains; ++c) {
        float* pChannel = io_pBuffer->GetChannel(c);
        float* pRing = m_pDelayMem + size_t(c) * L;
        SideChain& sideChain = m_pSideChains[c];
        auto [fGain, fPeak, fNextPeak, uHoldFrames] = sideChain;

        if (m_bFirstBlock) {
            const uint32_t n = uFrames < L ? uFrames : L;
            for (uint32_t i = 0; i < n; ++i) {
                const float a = fabsf(pChannel[i]);
                if (a >= fPeak) {
                    fPeak = a;
                    uHoldFrames = n - i;
                }
            }
        }
        float fTarget = DbOverThreshold(fPeak, fThreshold);

        uint32_t uPos = uStartPos;
        for (uint32_t i = 0; i < uFrames;) {
            const uint32_t uChunk = ChunkFrames(uFrames - i, L, uPos);
            float* pX = pChannel + i;
            float* pR = pRing + uPos;
            for (uint32_t j = 0; j < uChunk; ++j) {
                const float x = pX[j];
                const float fOut = pR[j];
                pR[j] = x;
                const float fAbs = fabsf(x);
                if (fAbs > fNextPeak)
                    fNextPeak = fAbs;
                if (HoldPeak(fPeak, fNextPeak, uHoldFrames, L))
                    fTarget = DbOverThreshold(fPeak, fThreshold);
                fGain = SmoothDb(fGain, fTarget, fAttackCoef, fReleaseCoef);
                pX[j] = HoldToCeiling(fOut * OV::FastPow10(fGain * fRatioFactor * 0.05f), fCeiling);
            }
            i += uChunk;
            uPos += uChunk;
            if (uPos == L)
                uPos = 0;
        }
        sideChain = SideChain{fGain, fPeak, fNextPeak, uHoldFrames};
    }
    m_bFirstBlock = false;
    m_uFramePos = uint32_t((uint64_t(uStartPos) + uFrames) % L);
    OV_ASSERT(m_uFramePos <= m_uLookAheadFrames);
}

template <bool T_EXCLUDE_LFE>
void OvPeakLimiterFX::ProcessLinkedDb(OvPipelineBuffer* io_pBuffer)
{
    if (T_EXCLUDE_LFE)
        OV_ASSERT(io_pBuffer->HasLFE());
    const uint32_t L = m_uLookAheadFrames;
    const uint32_t uFrames = io_pBuffer->uValidFrames;
    const uint32_t uStride = io_pBuffer->MaxFrames();
    const uint32_t uRingWidth = io_pBuffer->NumChannels();
    const uint32_t uLimited = m_uNumPeakLimitedChannels;
    float* pBase = io_pBuffer->GetChannel(0);
    const float fThreshold = m_pParams->fThreshold;
    const float fRatioFactor = RatioFactor();
    const float fCeiling = DbLawCeiling();
    const float fAttackCoef = m_fAttackCoef;
    const float fReleaseCoef = m_fReleaseCoef;

    SideChain& sideChain = m_pSideChains[0];
    auto [fGain, fPeak, fNextPeak, uHoldFrames] = sideChain;

    if (m_bFirstBlock) {
        const uint32_t n = uFrames < L ? uFrames : L;
        for (uint32_t c = 0; c < uLimited; ++c) {
            const float* pChannel = pBase + size_t(c) * uStride;
            for (uint32_t i = 0; i < n; ++i) {
                const float a = fabsf(pChannel[i]);
                if (a > fPeak) {
                    fPeak = a;
                    uHoldFrames = n - i;
                }
            }
        }
        m_bFirstBlock = false;
    }
    float fTarget = DbOverThreshold(fPeak, fThreshold);

    uint32_t uPos = m_uFramePos;
    for (uint32_t i = 0; i < uFrames;) {
        const uint32_t uChunk = ChunkFrames(uFrames - i, L, uPos);
        float* pRing = m_pDelayMem + size_t(uPos) * uRingWidth;
        for (uint32_t f = i; f < i + uChunk; ++f, pRing += uRingWidth) {
            fNextPeak = ExchangeFrame(pBase, uStride, f, pRing, uLimited, fNextPeak);
            if (T_EXCLUDE_LFE) {
                float& io = pBase[size_t(uLimited) * uStride + f];
                const float x = io;
                io = pRing[uLimited];
                pRing[uLimited] = x;
            }
            if (HoldPeak(fPeak, fNextPeak, uHoldFrames, L))
                fTarget = DbOverThreshold(fPeak, fThreshold);
            fGain = SmoothDb(fGain, fTarget, fAttackCoef, fReleaseCoef);
            const float fFactor = OV::FastPow10(fGain * fRatioFactor * 0.05f);
            for (uint32_t c = 0; c < uLimited; ++c) {
                float& io = pBase[size_t(c) * uStride + f];
                io = HoldToCeiling(io * fFactor, fCeiling);
            }
        }
        i += uChunk;
        uPos += uChunk;
        if (uPos == L)
            uPos = 0;
    }
    m_uFramePos = uPos;
    OV_ASSERT(m_uFramePos <= m_uLookAheadFrames);
    sideChain = SideChain{fGain, fPeak, fNextPeak, uHoldFrames};
}

template <uint32_t T_NUM_CHANNELS>
void OvPeakLimiterFX::ProcessHard(OvPipelineBuffer* io_pBuffer)
{
    const uint32_t uChannels = T_NUM_CHANNELS ? T_NUM_CHANNELS : m_uNumPeakLimitedChannels;
    const uint32_t L = m_uLookAheadFrames;
    const float fLookAheadFrames = float(L);
    const uint32_t uFrames = io_pBuffer->uValidFrames;
    const uint32_t uStride = io_pBuffer->MaxFrames();
    float* pBase = io_pBuffer->GetChannel(0);
    const float fCeiling = OV::FastPow10FromDb(m_pParams->fThreshold);
    const float fReleaseFrames = m_pParams->fRelease * float(m_format.uSampleRate);

    SideChain& sideChain = m_pSideChains[0];
    auto [fGain, fPeak, fNextPeak, uHoldFrames] = sideChain;
    float fAttackStep = m_fAttackCoef;
    float fReleaseStep = m_fReleaseCoef;

    if (m_bFirstBlock) {
        const uint32_t n = uFrames < L ? uFrames : L;
        for (uint32_t c = 0; c < uChannels; ++c) {
            const float* pChannel = pBase + size_t(c) * uStride;
            for (uint32_t i = 0; i < n; ++i) {
                const float a = fabsf(pChannel[i]);
                if (a > fNextPeak)
                    fNextPeak = a;
            }
        }
        uHoldFrames = 0;
        m_bFirstBlock = false;
    }
    float fTarget = HardTarget(fPeak, fCeiling);

    uint32_t uPos = m_uFramePos;
    for (uint32_t i = 0; i < uFrames;) {
        const uint32_t uChunk = ChunkFrames(uFrames - i, L, uPos);
        float* pRing = m_pDelayMem + size_t(uPos) * uChannels;
        for (uint32_t f = i; f < i + uChunk; ++f, pRing += uChannels) {
            fNextPeak = ExchangeFrame(pBase, uStride, f, pRing, uChannels, fNextPeak);
            if (HoldPeak(fPeak, fNextPeak, uHoldFrames, L)) {
                fTarget = HardTarget(fPeak, fCeiling);
                // Straight lines: down so as to arrive as the peak leaves the
                // delay, up over the release time. Written as comparisons so
                // that a 0/0 step is ignored.
                if (fGain <= fTarget) {
                    fAttackStep = 0.0f;
                    const float fStep = (fTarget - fGain) / fReleaseFrames;
                    if (fStep > fReleaseStep)
                        fReleaseStep = fStep;
                } else {
                    const float fStep = (fTarget - fGain) / fLookAheadFrames;
                    if (fStep < fAttackStep)
                        fAttackStep = fStep;
                    fReleaseStep = 0.0f;
                }
            }
            if (fGain <= fTarget) {
                const float fNext = fGain + fReleaseStep;
                fGain = fNext < fTarget ? fNext : fTarget;
            } else {
                const float fNext = fGain + fAttackStep;
                fGain = fNext > fTarget ? fNext : fTarget;
            }
            // The ramps are summed in float; over a long look-ahead their
            // rounding can leave the gain a few parts in 1e5 high as a peak
            // leaves, so the product is held to the ceiling. Below the
            // ceiling this changes nothing.
            for (uint32_t c = 0; c < uChannels; ++c) {
                float& io = pBase[size_t(c) * uStride + f];
                io = HoldToCeiling(io * fGain, fCeiling);
            }
        }
        i += uChunk;
        uPos += uChunk;
        if (uPos == L)
            uPos = 0;
    }
    m_uFramePos = uPos;
    OV_ASSERT(m_uFramePos <= m_uLookAheadFrames);
    sideChain = SideChain{fGain, fPeak, fNextPeak, uHoldFrames};
    m_fAttackCoef = fAttackStep;
    m_fReleaseCoef = fReleaseStep;
}
