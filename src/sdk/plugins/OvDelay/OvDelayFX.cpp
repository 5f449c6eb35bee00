#include "sdk/plugins/OvDelay/OvDelayFX.h"

#include <cstring>
#include <utility>

#include "ov/IOvEffectContext.h"
#include "ov/IOvGlobalContext.h"
#include "ov/OvAssert.h"
#include "ov/OvGainRamp.h"
#include "ov/OvPluginNew.h"
#include "ov/OvStreamFormat.h"
#include "sdk/dsp/delays/Mix2Interp.h"
#include "sdk/plugins/OvDelay/OvDelayEcho.h"
#include "sdk/plugins/OvDelay/OvDelayFXParams.h"

namespace {

// Exact comparison that also treats two NaNs as equal, so that a NaN setting
// cannot force a rebuild on every block.
bool Differs(float in_fA, float in_fB)
{
    return std::memcmp(&in_fA, &in_fB, sizeof in_fA) != 0 && in_fA != in_fB;
}

// The loop gain is F * (1 + wet level), since what is fed back is the whole
// output; at 1 or more (feedback 0.8 with the wet level at 0 dB, say) the
// echoes grow without bound. What is fed back is therefore held to +-1000
// (+60 dBFS), far above any level music reaches: such a loop saturates
// there, finite, and the limiter brings it down. A NaN from upstream is fed
// back as silence, so that it cannot circulate for ever. (OV::HoldFedBack)

}  // namespace

uint32_t OvDelayFX::DelayTimeToFrames(float in_fDelayTimeMs, uint32_t in_uSampleRate)
{
    const double dFrames = in_fDelayTimeMs / 1000.0 * in_uSampleRate;
    if (!(dFrames >= 1.0))
        return 0;
    if (dFrames >= double(OV_DELAYFX_MAX_DELAY_FRAMES))
        return OV_DELAYFX_MAX_DELAY_FRAMES;
    return uint32_t(dFrames);
}

OvResult OvDelayFX::Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext, IOvEffectParams* in_pParams,
                         const OvStreamFormat& in_format)
{
    OV_ASSERT(in_pAllocator != NULL);
    m_pAllocator = in_pAllocator;
    m_pParams = static_cast<OvDelayFXParams*>(in_pParams);
    if (!m_pAllocator || !m_pParams || !in_pContext || !in_pContext->GetGlobalContext())
        return OV_Failure;
    m_uSampleRate = in_format.uSampleRate;
    m_uNumChannels = in_format.channelConfig.uNumChannels;
    m_uMaxFrames = in_pContext->GetGlobalContext()->GetMaxFrames();
    m_fPrevDelayTime = m_pParams->fDelayTime;
    m_fInitDryLevel = m_fPrevDryLevel = m_pParams->fDryLevel;
    m_fInitWetLevel = m_fPrevWetLevel = m_pParams->fWetLevel;
    m_fPrevFeedback = m_pParams->fFeedback;
    m_uDelayFrames = DelayTimeToFrames(m_pParams->fDelayTime, m_uSampleRate);

    const OvResult eResult = AllocateLines(m_lines, m_pParams->fDelayTime);
    if (eResult != OV_Success)
        return eResult;
    m_pParams->SetChangePreparer(this);

    return m_feedbackBuffer.AllocateSamples(m_pAllocator, in_format.channelConfig, m_uMaxFrames);
}

OvResult OvDelayFX::AllocateLines(DelayLine* out_pLines, float in_fDelayTime)
{
    const uint32_t uFrames = DelayTimeToFrames(in_fDelayTime, m_uSampleRate);
    if (uFrames == 0)
        return OV_Success;
    const uint32_t uLines = m_uNumChannels < OV_DELAYFX_MAX_LINES ? m_uNumChannels : OV_DELAYFX_MAX_LINES;
    for (uint32_t c = 0; c < uLines; ++c) {
        if (out_pLines[c].Init(m_pAllocator, uFrames) != OV_Success) {
            ShutdownLines(out_pLines);
            return OV_OutOfMemory;
        }
        out_pLines[c].Reset();
    }
    return OV_Success;
}

void OvDelayFX::ShutdownLines(DelayLine* io_pLines)
{
    for (uint32_t c = 0; c < OV_DELAYFX_MAX_LINES; ++c)
        io_pLines[c].Shutdown(m_pAllocator);
}

void OvDelayFX::PrepareForChange()
{
    if (!m_pParams || !m_pAllocator)
        return;
    const float fDelayTime = m_pParams->fDelayTime;
    if (m_bPrepared && !Differs(m_fPreparedDelayTime, fDelayTime))
        return;
    ShutdownLines(m_spareLines);
    m_bPrepared = false;
    if (!Differs(m_fPrevDelayTime, fDelayTime))
        return;
    m_ePrepared = AllocateLines(m_spareLines, fDelayTime);
    m_fPreparedDelayTime = fDelayTime;
    m_bPrepared = true;
}

OvResult OvDelayFX::Shutdown(IOvMemAlloc* in_pAllocator)
{
    OV_ASSERT(in_pAllocator != NULL);
    if (m_pParams)
        m_pParams->SetChangePreparer(nullptr);
    ShutdownLines(m_lines);
    ShutdownLines(m_spareLines);
    m_feedbackBuffer.FreeSamples(in_pAllocator);
    OV::Delete(in_pAllocator, this);
    return OV_Success;
}

OvResult OvDelayFX::Reset()
{
    // Silent lines, and the level ramps start again from where Init left
    // them, as in a new effect.
    ClearLines();
    m_fPrevDryLevel = m_fInitDryLevel;
    m_fPrevWetLevel = m_fInitWetLevel;
    return OV_Success;
}

void OvDelayFX::ClearLines()
{
    m_feedbackBuffer.uValidFrames = 0;
    for (DelayLine& line : m_lines)
        line.Reset();
}

OvResult OvDelayFX::GetInfo(OvEffectInfo& out_info)
{
    out_info = m_FXInfo;
    return OV_Success;
}

void OvDelayFX::ProcessBlock(OvPipelineBuffer* io_pBuffer)
{
    const OvDelayFXParams& params = *m_pParams;

    // A new delay time swaps in the silent lines prepared for it, and what the
    // old lines held is lost. The time is taken as seen even when the lines
    // could not be had (no line then), so that no retry follows.
    if (Differs(m_fPrevDelayTime, params.fDelayTime) && m_bPrepared &&
        !Differs(m_fPreparedDelayTime, params.fDelayTime)) {
        for (uint32_t c = 0; c < OV_DELAYFX_MAX_LINES; ++c)
            std::swap(m_lines[c], m_spareLines[c]);
        m_bPrepared = false;
        if (m_ePrepared == OV_Success) {
            m_uDelayFrames = DelayTimeToFrames(params.fDelayTime, m_uSampleRate);
            // New lines start with no fed-back block.
            if (m_uDelayFrames != 0)
                m_feedbackBuffer.uValidFrames = 0;
        }
        m_fPrevDelayTime = params.fDelayTime;
    }
    // A new feedback clears the lines as well; intended.
    if (Differs(m_fPrevFeedback, params.fFeedback)) {
        ClearLines();
        m_fPrevFeedback = params.fFeedback;
    }

    m_tailExtender.ExtendTail(io_pBuffer, m_uDelayFrames);
    OV_ASSERT(io_pBuffer->uValidFrames <= io_pBuffer->MaxFrames());
    uint32_t uFrames = io_pBuffer->uValidFrames;
    if (uFrames == 0)
        return;

    // Steady levels go through the one-pass echo, which applies the dry gain
    // itself to the channels with a line; a ramp runs the steps one by one.
    const float fDry = params.fDryLevel;
    const float fWet = params.fWetLevel;
    const bool bOnePassDry = m_fPrevDryLevel == fDry && m_feedbackBuffer.GetData() &&
                             uFrames <= io_pBuffer->MaxFrames() && uFrames <= m_feedbackBuffer.MaxFrames();
    if (!bOnePassDry)
        OV::ApplyGainToBuffer(io_pBuffer, m_fPrevDryLevel, fDry, true);
    // The dry gain still to apply in this block; a steady ramp applies its
    // start value (+0 and -0 compare equal).
    const float fBlockDry = bOnePassDry ? m_fPrevDryLevel : 1.0f;
    m_fPrevDryLevel = fDry;

    if (!m_feedbackBuffer.GetData())
        return;
    m_feedbackBuffer.PadToMaxFrames();
    if (uFrames > m_feedbackBuffer.MaxFrames())
        uFrames = m_feedbackBuffer.MaxFrames();

    const float fFeedback = params.fFeedback;
    const uint32_t uMaxFrames = m_feedbackBuffer.MaxFrames();
    uint32_t uChannels = io_pBuffer->NumChannels();
    if (uChannels > m_uNumChannels)
        uChannels = m_uNumChannels;
    if (uChannels > OV_DELAYFX_MAX_LINES)
        uChannels = OV_DELAYFX_MAX_LINES;
    const bool bAddFed = fFeedback > 0.0f && m_feedbackBuffer.uValidFrames != 0;
    for (uint32_t c = 0; c < io_pBuffer->NumChannels(); ++c) {
        float* pIn = io_pBuffer->GetChannel(c);
        if (c >= uChannels || !m_lines[c].HasMemory()) {
            OV::ApplyGainRamp(pIn, fBlockDry, fBlockDry, uFrames);
            continue;
        }
        DelayLine& line = m_lines[c];
        float* pFeedback = m_feedbackBuffer.GetChannel(c);
        if (fFeedback <= 0.0f)
            std::memset(pFeedback, 0, size_t(uMaxFrames) * sizeof(float));
        if (m_fPrevWetLevel == fWet) {
            OV::EchoOnePass(pIn, pFeedback, line, uFrames, fBlockDry, fFeedback, bAddFed, m_fPrevWetLevel,
                            fFeedback > 0.0f);
        } else {
            OV::ApplyGainRamp(pIn, fBlockDry, fBlockDry, uFrames);
            if (bAddFed) {
                for (uint32_t i = 0; i < uFrames; ++i)
                    pIn[i] += fFeedback * pFeedback[i];
            }
            line.ProcessBuffer(pIn, pFeedback, uFrames);
            // Any length: the last block of a stream and the tail need not be whole groups of four.
            OV::Mix2InterpAnyLength(pIn, pFeedback, 1.0f, 1.0f, m_fPrevWetLevel, fWet, uFrames);
            if (fFeedback > 0.0f)
                OV::HoldFedBack(pIn, pFeedback, uFrames);
        }
        // Updated inside the loop, so only the first channel ramps; intended.
        m_fPrevWetLevel = fWet;
    }
}
