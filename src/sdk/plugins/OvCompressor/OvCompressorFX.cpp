#include "sdk/plugins/OvCompressor/OvCompressorFX.h"

#include <algorithm>
#include <cstring>

#include "ov/IOvEffectContext.h"
#include "ov/IOvGlobalContext.h"
#include "ov/OvAssert.h"
#include "ov/OvGainRamp.h"
#include "ov/OvPluginNew.h"
#include "ov/OvStreamFormat.h"
#include "sdk/dsp/delays/Mix2Interp.h"

OvResult OvCompressorFX::Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext,
                              IOvEffectParams* in_pParams, const OvStreamFormat& in_format)
{
    OV_ASSERT(in_pAllocator != NULL);
    m_pAllocator = in_pAllocator;
    m_pContext = in_pContext;
    m_pParams = static_cast<OvCompressorFXParams*>(in_pParams);
    if (!m_pAllocator || !m_pParams || !m_pContext || !m_pContext->GetGlobalContext())
        return OV_Failure;

    m_FXInfo.uSampleRate = in_format.uSampleRate;
    m_FXInfo.uNumChannels = in_format.channelConfig.uNumChannels;
    m_FXInfo.uMaxFrames = m_pContext->GetGlobalContext()->GetMaxFrames();
    m_Values = m_pParams->m_Params;

    const OvResult eResult = m_Compressor.Init(m_pAllocator, m_Values.bProcessLFE, in_format,
                                               m_Values.fAttack, m_Values.fRelease,
                                               m_Values.bChannelLink);
    if (eResult != OV_Success)
        return eResult;
    m_fInitPreGain = m_fPrevPreGain = m_Values.fPreGain;
    m_fInitPostGain = m_fPrevPostGain = m_Values.fPostGain;

    const uint16_t uMaxFrames = uint16_t(m_FXInfo.uMaxFrames);
    if (m_Buffer.AllocateSamples(m_pAllocator, in_format.channelConfig, uMaxFrames) != OV_Success ||
        m_KeyBuffer.AllocateSamples(m_pAllocator, in_format.channelConfig, uMaxFrames) != OV_Success)
        return OV_OutOfMemory;
    return OV_Success;
}

OvResult OvCompressorFX::Shutdown(IOvMemAlloc* in_pAllocator)
{
    OV_ASSERT(in_pAllocator != NULL);
    m_Compressor.Shutdown(in_pAllocator);
    m_Buffer.FreeSamples(m_pAllocator);
    m_KeyBuffer.FreeSamples(m_pAllocator);
    OV::Delete(in_pAllocator, this);
    return OV_Success;
}

OvResult OvCompressorFX::Reset()
{
    m_Compressor.Reset();
    // The gain ramps start again from where Init left them, as in a new effect.
    m_fPrevPreGain = m_fInitPreGain;
    m_fPrevPostGain = m_fInitPostGain;
    return OV_Success;
}

void OvCompressorFX::ProcessBlock(OvPipelineBuffer* io_pBuffer)
{
    Run(io_pBuffer, nullptr);
}

void OvCompressorFX::ProcessBlockWithKey(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey)
{
    if (in_pKey)
        Run(io_pBuffer, in_pKey);
}

void OvCompressorFX::CopyIn(const OvPipelineBuffer& in_source, OvPipelineBuffer& io_target) const
{
    const uint32_t uChannels = std::min(in_source.NumChannels(), io_target.NumChannels());
    const uint32_t uFrames = std::min<uint32_t>(in_source.MaxFrames(), io_target.MaxFrames());
    if (in_source.GetData() && io_target.GetData()) {
        for (uint32_t c = 0; c < uChannels; ++c)
            std::memcpy(io_target.GetChannel(c), in_source.GetChannel(c), uFrames * sizeof(float));
    }
    io_target.uValidFrames = uint16_t(std::min<uint32_t>(in_source.uValidFrames, uFrames));
}

void OvCompressorFX::Run(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey)
{
    if (!io_pBuffer || !m_pParams || !io_pBuffer->GetData())
        return;
    m_Values = m_pParams->m_Params;
    OV_ASSERT(m_FXInfo.uNumChannels == io_pBuffer->NumChannels());
    if (!in_pKey && RunInPlace(io_pBuffer))
        return;

    CopyIn(*io_pBuffer, m_Buffer);
    if (in_pKey)
        CopyIn(*in_pKey, m_KeyBuffer);
    std::memset(io_pBuffer->GetData(), 0,
                size_t(io_pBuffer->MaxFrames()) * io_pBuffer->NumChannels() * sizeof(float));

    OV::ApplyGainToBuffer(&m_Buffer, m_fPrevPreGain, m_Values.fPreGain, true);
    if (in_pKey)
        OV::ApplyGainToBuffer(&m_KeyBuffer, m_fPrevPreGain, m_Values.fPreGain, true);
    m_fPrevPreGain = m_Values.fPreGain;

    if (in_pKey)
        m_Compressor.ProcessWithKey(&m_Buffer, &m_KeyBuffer, m_Values.fThreshold, m_Values.fRatio,
                                    m_Values.fAttack, m_Values.fRelease, m_Values.fRange);
    else
        m_Compressor.Process(&m_Buffer, m_Values.fThreshold, m_Values.fRatio, m_Values.fAttack,
                             m_Values.fRelease, m_Values.fRange);

    // The previous post gain is updated per channel, so only the first channel
    // ramps and the others step to the new gain; intended.
    const uint32_t uChannels = std::min(io_pBuffer->NumChannels(), m_Buffer.NumChannels());
    const uint32_t uFrames = m_Buffer.uValidFrames;
    for (uint32_t c = 0; c < uChannels; ++c) {
        OV::Mix2InterpAnyLength(io_pBuffer->GetChannel(c), m_Buffer.GetChannel(c), 1.0f, 1.0f,
                                m_fPrevPostGain, m_Values.fPostGain, uFrames);
        m_fPrevPostGain = m_Values.fPostGain;
    }
}

bool OvCompressorFX::RunInPlace(OvPipelineBuffer* io_pBuffer)
{
    // Steady gains, and a block shaped as the internal buffer; a ramp, an
    // empty block or another shape takes the copy.
    const uint32_t uFrames = io_pBuffer->uValidFrames;
    const uint32_t uMaxFrames = io_pBuffer->MaxFrames();
    if (m_fPrevPreGain != m_Values.fPreGain || m_fPrevPostGain != m_Values.fPostGain || uFrames == 0 ||
        uFrames > uMaxFrames || uMaxFrames != m_Buffer.MaxFrames() ||
        io_pBuffer->NumChannels() != m_Buffer.NumChannels() || !m_Buffer.GetData())
        return false;
    // A steady ramp applies its start value (+0 and -0 compare equal).
    const float fPre = m_fPrevPreGain, fPost = m_fPrevPostGain;
    const uint32_t uCompressed =
        m_Compressor.ProcessWithGains(io_pBuffer, fPre, fPost, m_Values.fThreshold, m_Values.fRatio,
                                      m_Values.fAttack, m_Values.fRelease, m_Values.fRange);
    m_fPrevPreGain = m_Values.fPreGain;
    m_fPrevPostGain = m_Values.fPostGain;
    for (uint32_t c = 0; c < io_pBuffer->NumChannels(); ++c) {
        float* pChannel = io_pBuffer->GetChannel(c);
        // The channels the core leaves, as the separate passes treat them.
        if (c >= uCompressed) {
            for (uint32_t i = 0; i < uFrames; ++i)
                pChannel[i] = 0.0f + fPost * (pChannel[i] * fPre);
        }
        std::memset(pChannel + uFrames, 0, size_t(uMaxFrames - uFrames) * sizeof(float));
    }
    return true;
}
