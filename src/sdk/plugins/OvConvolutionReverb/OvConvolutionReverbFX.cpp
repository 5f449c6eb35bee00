#include "sdk/plugins/OvConvolutionReverb/OvConvolutionReverbFX.h"

#include <cstdio>
#include <cstring>
#include <utility>

#include "ov/IOvEffectContext.h"
#include "ov/IOvGlobalContext.h"
#include "ov/OvAssert.h"
#include "ov/OvPipelineBuffer.h"
#include "ov/OvPluginNew.h"
#include "ov/OvStreamFormat.h"
#include "sdk/dsp/delays/Mix2Interp.h"

namespace {

constexpr uint32_t kBackPair = OV_SPEAKER_BACK_LEFT | OV_SPEAKER_BACK_RIGHT;
constexpr uint32_t kSidePair = OV_SPEAKER_SIDE_LEFT | OV_SPEAKER_SIDE_RIGHT;

OvChannelConfig Unpack(uint32_t in_uPacked)
{
    OvChannelConfig config;
    config.uNumChannels = in_uPacked & 0xFF;
    config.eConfigType = (in_uPacked >> 8) & 0xF;
    config.uChannelMask = (in_uPacked >> 12) & 0xFFFFF;
    return config;
}

const char* TypeName(OvChannelConfig in_config)
{
    switch (in_config.eConfigType) {
    case OV_ChannelConfigType_Ambisonic: return "ambisonics";
    case OV_ChannelConfigType_Standard:
        return in_config.uChannelMask == OV_SPEAKER_SETUP_MONO     ? "mono"
               : in_config.uChannelMask == OV_SPEAKER_SETUP_STEREO ? "stereo"
                                                                   : "standard";
    default: return "anonymous";
    }
}

// Frames of a delay in ms, truncated; the product is held below 2^31.
uint32_t MsToFrames(float in_fMs, uint32_t in_uSampleRate)
{
    const double dFrames = double(in_fMs) * 0.001 * in_uSampleRate;
    return dFrames >= 1.0 ? (dFrames < 2147483648.0 ? uint32_t(dFrames) : 0x7FFFFFFFu) : 0;
}

}  // namespace

OvResult OvConvolutionReverbFX::Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext,
                                     IOvEffectParams* in_pParams, const OvStreamFormat& in_format)
{
    OV_ASSERT(in_pAllocator != NULL);
    m_pAllocator = in_pAllocator;
    m_pContext = in_pContext;
    m_pParams = static_cast<OvConvolutionReverbFXParams*>(in_pParams);
    if (!m_pAllocator || !m_pContext || !m_pParams || !m_pContext->GetGlobalContext())
        return OV_Failure;
    m_current = m_previous = m_pParams->values;
    m_channelConfigInput = in_format.channelConfig;
    m_uSampleRate = in_format.uSampleRate;

    OvResult eResult = m_engine.Init(m_pAllocator, m_pContext, m_uSampleRate, m_pContext->GetCpuInfo());
    if (eResult != OV_Success)
        return eResult;
    const OvChannelConfig impulse = Unpack(m_engine.Header().uChannelConfig);
    eResult = SetUpChannels(impulse);
    if (eResult == OV_BadChannelConfig) {
        char message[160];
        std::snprintf(message, sizeof message,
                      "IR configuration type \"%s\" does not match input signal's configuration type \"%s\"",
                      TypeName(impulse), TypeName(m_channelConfigInput));
        m_pContext->PostMonitorMessage(message);
    }
    if (eResult != OV_Success)
        return eResult;

    const uint32_t uConvolved = m_channelConfigConvolved.uNumChannels;
    eResult = m_engine.InitAccumulators(m_pAllocator, uConvolved);
    if (eResult != OV_Success)
        return eResult;
    ComputeTail();
    if ((eResult = BuildDelays(m_preDelays, m_current.fPreDelay, uConvolved)) != OV_Success ||
        (eResult = BuildDelays(m_rearDelays, m_current.fFrontRearDelay, RearDelayCount())) != OV_Success)
        return eResult;

    m_pChannelMap = static_cast<uint8_t*>(m_pAllocator->Malloc(uConvolved));
    const uint32_t uFFT = m_engine.Header().uFFTLength;
    const uint32_t uBlock = m_engine.Header().uBlockLength;
    m_pTimeScratch = static_cast<float*>(m_pAllocator->Malloc(size_t(uFFT) * sizeof(float)));
    m_pFreqScratch = static_cast<ov_fft_cpx*>(m_pAllocator->Malloc(m_engine.FullSpectrumBytes()));
    m_pDryRun = static_cast<float*>(m_pAllocator->Malloc(size_t(uBlock) * sizeof(float)));
    if (!m_pChannelMap || !m_pTimeScratch || !m_pFreqScratch || !m_pDryRun)
        return OV_OutOfMemory;
    std::memset(m_pChannelMap, 0, uConvolved);
    const uint32_t uImpulseChannels = m_engine.ImpulseChannels();
    if (uImpulseChannels > 1) {
        // Each speaker the impulse also has takes that impulse channel; any
        // other channel, and every channel of a layout without speakers,
        // takes channel i modulo the impulse's count.
        const bool bStandard = impulse.eConfigType == OV_ChannelConfigType_Standard &&
                               m_channelConfigInput.eConfigType == OV_ChannelConfigType_Standard;
        for (uint32_t i = 0; i < uConvolved; ++i) {
            m_pChannelMap[i] = uint8_t(i % uImpulseChannels);
            if (!bStandard)
                continue;
            uint32_t uInputMask = m_channelConfigInput.uChannelMask;
            if ((uInputMask & kBackPair) == kBackPair && (uInputMask & kSidePair) == 0)
                uInputMask = (uInputMask & ~kBackPair) | kSidePair;  // back speakers count as side ones
            uint32_t uSpeaker = 0;
            for (uint32_t bit = 1, n = 0; bit <= uInputMask && bit; bit <<= 1) {
                if (!(uInputMask & bit) || bit == OV_SPEAKER_LOW_FREQUENCY)
                    continue;
                if (n++ == i)
                    uSpeaker = bit;
            }
            if (uSpeaker && (impulse.uChannelMask & uSpeaker)) {
                uint32_t uIndex = 0;
                for (uint32_t bit = 1; bit < uSpeaker; bit <<= 1)
                    if ((impulse.uChannelMask & bit) && bit != OV_SPEAKER_LOW_FREQUENCY)
                        ++uIndex;
                if (uIndex < uImpulseChannels)
                    m_pChannelMap[i] = uint8_t(uIndex);
            }
        }
    }

    if (m_mismatch.Init(m_pContext->GetGlobalContext()->GetMaxFrames(), uBlock, m_channelConfigInput.uNumChannels,
                        m_pAllocator) != OV_Success)
        return OV_Failure;
    m_pParams->SetChangePreparer(this);
    m_bReady = true;
    return OV_Success;
}

OvResult OvConvolutionReverbFX::SetUpChannels(OvChannelConfig in_impulse)
{
    const OvChannelConfig in = m_channelConfigInput;
    if (in.eConfigType != in_impulse.eConfigType && in_impulse.eConfigType != OV_ChannelConfigType_Anonymous &&
        in.uNumChannels > 1 && in_impulse.uNumChannels > 1)
        return OV_BadChannelConfig;
    if (m_current.uMode != OV_CONVREVERB_MODE_PERCHANNEL || in.uNumChannels == 0)
        return OV_Failure;  // down-mix mode is not built
    m_channelConfigConvolved = in;
    return OV_Success;
}

uint32_t OvConvolutionReverbFX::RearDelayCount() const
{
    if (m_channelConfigInput.eConfigType != OV_ChannelConfigType_Standard)
        return 0;
    const uint32_t uMask = m_channelConfigInput.uChannelMask;
    const bool bBack = (uMask & kBackPair) == kBackPair, bSide = (uMask & kSidePair) == kSidePair;
    return bBack && bSide ? 4 : (bBack || bSide ? 2 : 0);
}

bool OvConvolutionReverbFX::IsRearChannel(uint32_t in_uChannel, uint32_t* out_pRearIndex) const
{
    const uint32_t uRear = RearDelayCount();
    const uint32_t f = (m_channelConfigInput.uChannelMask & OV_SPEAKER_FRONT_CENTER) ? 3 : 2;
    if (in_uChannel < f || in_uChannel - f >= uRear)
        return false;
    *out_pRearIndex = in_uChannel - f;
    return true;
}

void OvConvolutionReverbFX::ComputeTail()
{
    const OvFreqDataHeader& h = m_engine.Header();
    const uint64_t uTail = uint64_t(h.uBlockLength) * h.uNumCompressedPartition +
                           MsToFrames(m_current.fPreDelay + m_current.fFrontRearDelay, m_uSampleRate);
    m_uTailFrames = uTail < 0xFFFFFFF0u ? uint32_t(uTail) : 0xFFFFFFF0u;
}

OvResult OvConvolutionReverbFX::BuildDelays(DelaySet& out_set, float in_fDelayMs, uint32_t in_uChannels)
{
    FreeDelays(out_set);
    out_set.fDelayMs = in_fDelayMs;
    // The length's low two bits are cleared: below 4 frames there is no line.
    const uint32_t uFrames = MsToFrames(in_fDelayMs, m_uSampleRate) & ~3u;
    if (uFrames == 0)
        return OV_Success;
    const uint32_t uCount = in_uChannels < OV_CONVREVERB_MAX_DELAY_LINES ? in_uChannels : OV_CONVREVERB_MAX_DELAY_LINES;
    for (uint32_t i = 0; i < uCount; ++i) {
        if (out_set.lines[i].Init(m_pAllocator, uFrames) != OV_Success) {
            FreeDelays(out_set);
            return OV_OutOfMemory;
        }
        out_set.lines[i].Reset();
    }
    out_set.uCount = uCount;
    return OV_Success;
}

void OvConvolutionReverbFX::FreeDelays(DelaySet& io_set)
{
    for (DelayLine& line : io_set.lines)
        line.Shutdown(m_pAllocator);
    io_set.uCount = 0;
}

void OvConvolutionReverbFX::PrepareForChange()
{
    if (!m_bReady)
        return;
    const OvConvolutionReverbValues& v = m_pParams->values;
    if (v.fPreDelay != m_preDelays.fDelayMs && !(m_bSparePreDelays && v.fPreDelay == m_sparePreDelays.fDelayMs)) {
        BuildDelays(m_sparePreDelays, v.fPreDelay, m_channelConfigConvolved.uNumChannels);
        m_bSparePreDelays = true;
    }
    if (v.fFrontRearDelay != m_rearDelays.fDelayMs &&
        !(m_bSpareRearDelays && v.fFrontRearDelay == m_spareRearDelays.fDelayMs)) {
        BuildDelays(m_spareRearDelays, v.fFrontRearDelay, RearDelayCount());
        m_bSpareRearDelays = true;
    }
}

bool OvConvolutionReverbFX::ApplyChanges()
{
    m_current = m_pParams->values;
    if (m_current.uMode != m_previous.uMode) {
        if (m_current.uMode != OV_CONVREVERB_MODE_PERCHANNEL)
            return false;  // pending: down-mix mode is not built
        m_engine.Reset();
        m_previous.uMode = m_current.uMode;
    }
    // New delays swap in the lines prepared on the setter's thread; the old
    // ones wait in the spare set to be freed there. A delay with no prepared
    // lines stays pending.
    bool bTail = false;
    if (m_current.fPreDelay != m_preDelays.fDelayMs) {
        if (!m_bSparePreDelays || m_sparePreDelays.fDelayMs != m_current.fPreDelay)
            return false;
        std::swap(m_preDelays, m_sparePreDelays);
        m_bSparePreDelays = false;
        bTail = true;
    }
    if (m_current.fFrontRearDelay != m_rearDelays.fDelayMs) {
        if (!m_bSpareRearDelays || m_spareRearDelays.fDelayMs != m_current.fFrontRearDelay)
            return false;
        std::swap(m_rearDelays, m_spareRearDelays);
        m_bSpareRearDelays = false;
        bTail = true;
    }
    if (bTail)
        ComputeTail();
    return true;
}

void OvConvolutionReverbFX::ProcessBlock(OvPipelineBuffer* io_pBuffer)
{
    if (!m_bReady || !io_pBuffer || !ApplyChanges())
        return;
    m_mismatch.BeginBlock(*io_pBuffer);
    do {
        m_mismatch.Consume(*io_pBuffer);
        OvPipelineBuffer block;
        // The tail is pending until it has started and run out.
        while (m_mismatch.GetProcessBuffer(*io_pBuffer, block, m_tail.uTailFramesLeft != 0)) {
            m_tail.ExtendTail(&block, m_uTailFrames);
            if (block.uValidFrames != 0)
                ProcessRuns(block);
            m_mismatch.ReleaseProcessBuffer(block);
        }
    } while (m_mismatch.Produce(*io_pBuffer));
}

void OvConvolutionReverbFX::ProcessRuns(OvPipelineBuffer& io_block)
{
    const uint32_t B = m_engine.Header().uBlockLength;
    const uint32_t uValid = io_block.uValidFrames;
    // The last run may be partial (the end of a stream): it is convolved
    // padded with silence.
    uint32_t uRuns = (uValid + B - 1) / B;
    if (uRuns > io_block.MaxFrames() / B)
        uRuns = io_block.MaxFrames() / B;
    OV_ASSERT(io_block.MaxFrames() >= B && (io_block.MaxFrames() % B) == 0);
    uint32_t uChannels = io_block.NumChannels();
    if (uChannels > m_engine.AccumulatorChannels())
        uChannels = m_engine.AccumulatorChannels();

    for (uint32_t r = 0; r < uRuns; ++r) {
        const uint32_t uOffset = r * B;
        const bool bConvolve = m_previous.fWetLevel > 0.0f || m_current.fWetLevel > 0.0f;
        for (uint32_t c = 0; c < uChannels; ++c) {
            float* pRun = io_block.GetChannel(c) + uOffset;
            if (uOffset + B > uValid)
                std::memset(pRun + (uValid - uOffset), 0, size_t(uOffset + B - uValid) * sizeof(float));
            std::memcpy(m_pDryRun, pRun, size_t(B) * sizeof(float));
            if (bConvolve) {
                m_engine.Convolve(pRun, B, m_pTimeScratch, m_pFreqScratch, c, m_pChannelMap[c]);
                if (c < m_preDelays.uCount)
                    m_preDelays.lines[c].ProcessBuffer(pRun, B);
                uint32_t uRear;
                if (IsRearChannel(c, &uRear) && uRear < m_rearDelays.uCount)
                    m_rearDelays.lines[uRear].ProcessBuffer(pRun, B);
            }
            OV::Mix2InterpAnyLength(pRun, m_pDryRun, m_previous.fWetLevel, m_current.fWetLevel,
                                    m_previous.fDryLevel, m_current.fDryLevel, B);
        }
        m_engine.Advance();
        // Only the first run of a block ramps.
        m_previous = m_current;
    }
}

OvResult OvConvolutionReverbFX::Reset()
{
    m_engine.Reset();
    for (DelaySet* pSet : {&m_preDelays, &m_rearDelays})
        for (uint32_t i = 0; i < pSet->uCount; ++i)
            pSet->lines[i].Reset();
    m_mismatch.Reset();
    m_tail = OvTailExtender();
    return OV_Success;
}

OvResult OvConvolutionReverbFX::RelocateMedia(const uint8_t* in_pNewMedia, const uint8_t* in_pOldMedia)
{
    m_engine.Relocate(in_pNewMedia, in_pOldMedia);
    return OV_Success;
}

OvResult OvConvolutionReverbFX::Shutdown(IOvMemAlloc* in_pAllocator)
{
    OV_ASSERT(in_pAllocator != NULL);
    if (m_pParams)
        m_pParams->SetChangePreparer(nullptr);
    m_pAllocator = in_pAllocator;
    m_engine.Term(in_pAllocator);
    FreeDelays(m_preDelays);
    FreeDelays(m_rearDelays);
    FreeDelays(m_sparePreDelays);
    FreeDelays(m_spareRearDelays);
    m_mismatch.Term(in_pAllocator);
    if (in_pAllocator) {
        in_pAllocator->Free(m_pChannelMap);
        in_pAllocator->Free(m_pTimeScratch);
        in_pAllocator->Free(m_pFreqScratch);
        in_pAllocator->Free(m_pDryRun);
    }
    OV::Delete(in_pAllocator, this);
    return OV_Success;
}
