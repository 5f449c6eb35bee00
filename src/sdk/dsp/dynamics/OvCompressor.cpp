#include "sdk/dsp/dynamics/OvCompressor.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ov/OvAssert.h"
#include "ov/OvFastMath.h"

using OV::FastLog10;
using OV::FastPow10FromDb;

namespace {

// -2.2 makes the time the 10-90 % rise of the one-pole smoother.
float SmoothingCoef(float in_fSeconds, float in_fSampleRate)
{
    return expf(-2.2f / (in_fSeconds * in_fSampleRate));
}

constexpr float kRmsTimeSeconds = 0.02322f;
constexpr float kPowerFloor = 1e-25f;

// Detector and gain computer for one sample of power p; returns the linear
// gain. Both smoother outcomes are computed and one is picked, which keeps
// the compare off the sample-to-sample dependence on the gain.
struct GainComputer {
    float fRmsCoef;
    float fAttackCoef;
    float fReleaseCoef;
    float fThresholdDb;
    float fRatioFactor;
    float fRangeDb;

    float Step(float p, float& io_fPower, float& io_fGainDb) const
    {
        io_fPower = p + fRmsCoef * (io_fPower - p);
        const float fOverDb = std::max(10.0f * FastLog10(io_fPower) - fThresholdDb, 0.0f);
        const float fDelta = io_fGainDb - fOverDb;
        const float fAttacked = fOverDb + fAttackCoef * fDelta;
        const float fReleased = fOverDb + fReleaseCoef * fDelta;
        // Attack while the level is at or above the gain, else release.
        io_fGainDb = (fOverDb - io_fGainDb >= 0.0f) ? fAttacked : fReleased;
        return FastPow10FromDb(std::max(fRangeDb, io_fGainDb * fRatioFactor));
    }
};

}  // namespace

OvResult OvCompressor::Init(IOvMemAlloc* in_pAllocator, bool in_bProcessLFE,
                            const OvStreamFormat& in_format, float in_fAttack, float in_fRelease,
                            bool in_bChannelLink)
{
    OV_ASSERT(in_pAllocator != NULL);
    Shutdown(in_pAllocator);

    m_bProcessLFE = in_bProcessLFE;
    m_uNumChannels = in_format.channelConfig.uNumChannels;
    m_fSampleRate = float(in_format.uSampleRate);

    m_fAttack = in_fAttack;
    m_fAttackCoef = SmoothingCoef(in_fAttack, m_fSampleRate);
    m_fRelease = in_fRelease;
    m_fReleaseCoef = SmoothingCoef(in_fRelease, m_fSampleRate);

    m_uNumProcessedChannels = m_uNumChannels;
    if (in_format.channelConfig.HasLFE() && !in_bProcessLFE && m_uNumProcessedChannels > 0)
        --m_uNumProcessedChannels;

    m_fnProcess = (in_bChannelLink && m_uNumChannels != 1) ? &OvCompressor::ProcessLinked
                                                           : &OvCompressor::ProcessPerChannel;
    m_uNumSideChain = in_bChannelLink ? 1u : m_uNumProcessedChannels;

    if (m_uNumSideChain > 0) {
        if (!in_pAllocator)
            return OV_OutOfMemory;
        m_pSideChain = static_cast<SideChainState*>(
            in_pAllocator->Malloc(m_uNumSideChain * sizeof(SideChainState)));
        if (!m_pSideChain) {
            m_uNumSideChain = 0;
            return OV_OutOfMemory;
        }
        Reset();
    }

    m_fRmsCoef = expf(-1.0f / (kRmsTimeSeconds * m_fSampleRate));
    return OV_Success;
}

void OvCompressor::Shutdown(IOvMemAlloc* in_pAllocator)
{
    if (m_pSideChain && in_pAllocator)
        in_pAllocator->Free(m_pSideChain);
    m_pSideChain = nullptr;
}

void OvCompressor::Reset()
{
    if (m_pSideChain)
        std::memset(m_pSideChain, 0, m_uNumSideChain * sizeof(SideChainState));
}

const OvCompressor::SideChainState* OvCompressor::GetSideChainState(uint32_t in_uIndex) const
{
    return (m_pSideChain && in_uIndex < m_uNumSideChain) ? &m_pSideChain[in_uIndex] : nullptr;
}

void OvCompressor::UpdateTimes(float in_fAttack, float in_fRelease)
{
    if (in_fAttack != m_fAttack) {
        m_fAttack = in_fAttack;
        m_fAttackCoef = SmoothingCoef(in_fAttack, m_fSampleRate);
    }
    if (in_fRelease != m_fRelease) {
        m_fRelease = in_fRelease;
        m_fReleaseCoef = SmoothingCoef(in_fRelease, m_fSampleRate);
    }
}

void OvCompressor::Process(OvPipelineBuffer* io_pBuffer, float in_fThresholdDb, float in_fRatio,
                           float in_fAttack, float in_fRelease, float in_fRangeDb)
{
    if (!m_fnProcess || !io_pBuffer)
        return;
    UpdateTimes(in_fAttack, in_fRelease);
    const float fRatioFactor = 1.0f / in_fRatio - 1.0f;
    (this->*m_fnProcess)(io_pBuffer, nullptr, in_fThresholdDb, fRatioFactor, in_fRangeDb,
                         m_uNumProcessedChannels);
}

void OvCompressor::ProcessWithKey(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey,
                                  float in_fThresholdDb, float in_fRatio, float in_fAttack,
                                  float in_fRelease, float in_fRangeDb)
{
    if (!m_fnProcess || !io_pBuffer || !in_pKey)
        return;
    UpdateTimes(in_fAttack, in_fRelease);
    const float fRatioFactor = 1.0f / in_fRatio - 1.0f;
    ProcessPerChannel(io_pBuffer, in_pKey, in_fThresholdDb, fRatioFactor, in_fRangeDb,
                      m_uNumProcessedChannels);
}

void OvCompressor::ProcessPerChannel(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey,
                                     float in_fThresholdDb, float in_fRatioFactor,
                                     float in_fRangeDb, uint32_t in_uNumProcessedChannels)
{
    OV_ASSERT(in_uNumProcessedChannels <= m_uNumSideChain);
    // Channels without a state, or missing from either buffer, are left alone.
    uint32_t uChannels = std::min(in_uNumProcessedChannels, m_uNumSideChain);
    uChannels = std::min<uint32_t>(uChannels, io_pBuffer->NumChannels());
    uint32_t uLimitFrames = io_pBuffer->MaxFrames();
    if (in_pKey) {
        uChannels = std::min<uint32_t>(uChannels, in_pKey->NumChannels());
        uLimitFrames = std::min<uint32_t>(uLimitFrames, in_pKey->MaxFrames());
        if (!in_pKey->GetData())
            return;
    }
    if (uChannels == 0 || uLimitFrames == 0 || !io_pBuffer->GetData())
        return;
    const uint32_t uFrames = std::min<uint32_t>(io_pBuffer->uValidFrames, uLimitFrames);

    const GainComputer computer = {m_fRmsCoef,     m_fAttackCoef,   m_fReleaseCoef,
                                   in_fThresholdDb, in_fRatioFactor, in_fRangeDb};
    for (uint32_t c = 0; c < uChannels; ++c) {
        float* pOut = io_pBuffer->GetChannel(c);
        const float* pDetect = in_pKey ? in_pKey->GetChannel(c) : pOut;
        float fGainDb = m_pSideChain[c].fGainDb;
        float fPower = m_pSideChain[c].fPower;
        // The body runs at least once: with no valid frames the first sample
        // still passes through the detector and gain; intended.
        uint32_t i = 0;
        do {
            const float x = pDetect[i];
            pOut[i] *= computer.Step(x * x + kPowerFloor, fPower, fGainDb);
        } while (++i < uFrames);
        m_pSideChain[c].fGainDb = fGainDb;
        m_pSideChain[c].fPower = fPower;
    }
}

void OvCompressor::ProcessLinked(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* /*in_pKey*/,
                                 float in_fThresholdDb, float in_fRatioFactor, float in_fRangeDb,
                                 uint32_t in_uNumProcessedChannels)
{
    OV_ASSERT(m_uNumSideChain == 1);
    const uint32_t uChannels =
        std::min<uint32_t>(in_uNumProcessedChannels, io_pBuffer->NumChannels());
    float* pBase = io_pBuffer->GetData();
    if (m_uNumSideChain < 1 || uChannels == 0 || !pBase)
        return;
    const uint32_t uStride = io_pBuffer->MaxFrames();
    const uint32_t uFrames = std::min<uint32_t>(io_pBuffer->uValidFrames, uStride);

    const float fInvChannels = 1.0f / float(uChannels);
    const GainComputer computer = {m_fRmsCoef,     m_fAttackCoef,   m_fReleaseCoef,
                                   in_fThresholdDb, in_fRatioFactor, in_fRangeDb};
    float fGainDb = m_pSideChain[0].fGainDb;
    float fPower = m_pSideChain[0].fPower;
    if (uChannels == 2) {
        float* pLeft = pBase;
        float* pRight = pBase + uStride;
        for (uint32_t i = 0; i < uFrames; ++i) {
            const float l = pLeft[i], r = pRight[i];
            const float g = computer.Step((l * l + r * r) * fInvChannels + kPowerFloor, fPower, fGainDb);
            pLeft[i] = l * g;
            pRight[i] = r * g;
        }
    } else {
        for (uint32_t i = 0; i < uFrames; ++i) {
            float s = 0.0f;
            for (uint32_t c = 0; c < uChannels; ++c) {
                const float x = pBase[c * uStride + i];
                s += x * x;
            }
            const float g = computer.Step(s * fInvChannels + kPowerFloor, fPower, fGainDb);
            for (uint32_t c = 0; c < uChannels; ++c)
                pBase[c * uStride + i] *= g;
        }
    }
    m_pSideChain[0].fGainDb = fGainDb;
    m_pSideChain[0].fPower = fPower;
}
