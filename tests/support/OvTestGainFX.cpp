#include "support/OvTestGainFX.h"

#include <cstring>
#include <new>

#include "ov/OvGainRamp.h"
#include "ov/OvPipelineBuffer.h"
#include "ov/OvPluginNew.h"
#include "wrappers/FlushToZeroScope.h"

namespace testsupport {

OvResult OvTestGainFXParams::SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize)
{
    if (!in_pValue)
        return OV_BadParameter;
    if (in_uID == kGainID && in_uSize == sizeof(float))
        std::memcpy(&fGain, in_pValue, sizeof(float));
    else if (in_uID == kTailID && in_uSize == sizeof(uint32_t))
        std::memcpy(&uTailFrames, in_pValue, sizeof(uint32_t));
    else
        return OV_BadParameter;
    changes.MarkChanged(in_uID);
    return OV_Success;
}

IOvEffectParams* OvTestGainFXParams::Clone(IOvMemAlloc* in_pAllocator)
{
    OvTestGainFXParams* pCopy = OV::New<OvTestGainFXParams>(in_pAllocator, *this);
    if (pCopy)
        pCopy->changes.MarkAllChanged();
    return pCopy;
}

OvResult OvTestGainFXParams::Init(IOvMemAlloc* in_pAllocator, const void* in_pParamsBlock, uint32_t in_uBlockSize)
{
    OV_ASSERT(in_pAllocator != NULL);
    if (in_uBlockSize == 0) {
        changes.MarkAllChanged();
        return OV_Success;
    }
    return SetAllParams(in_pParamsBlock, in_uBlockSize);
}

OvResult OvTestGainFXParams::Shutdown(IOvMemAlloc* in_pAllocator)
{
    OV::Delete(in_pAllocator, this);
    return OV_Success;
}

OvResult OvTestGainFXParams::SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize)
{
    if (!in_pParamsBlock || in_uBlockSize < kBlockSize)
        return OV_BadParameter;
    std::memcpy(&fGain, in_pParamsBlock, 4);
    std::memcpy(&uTailFrames, static_cast<const uint8_t*>(in_pParamsBlock) + 4, 4);
    changes.MarkAllChanged();
    return OV_Success;
}

OvResult OvTestGainFX::Init(IOvMemAlloc*, IOvEffectContext*, IOvEffectParams* in_pParams, const OvStreamFormat&)
{
    m_pParams = static_cast<OvTestGainFXParams*>(in_pParams);
    m_fPrevGain = m_pParams ? m_pParams->fGain : 1.0f;
    return m_pParams ? OV_Success : OV_Failure;
}

OvResult OvTestGainFX::Shutdown(IOvMemAlloc* in_pAllocator)
{
    OV::Delete(in_pAllocator, this);
    return OV_Success;
}

OvResult OvTestGainFX::Reset()
{
    ++resets;
    if (m_pParams)
        m_fPrevGain = m_pParams->fGain;
    return OV_Success;
}

void OvTestGainFX::ProcessBlock(OvPipelineBuffer* io_pBuffer)
{
    ++blocks;
    stateIn = io_pBuffer->eState;
    validFramesIn = io_pBuffer->uValidFrames;
    maxFramesIn = io_pBuffer->MaxFrames();
#if LXFX_HAS_MXCSR
    flushToZeroSet = (_mm_getcsr() & FlushToZeroScope::kFlushToZeroBit) != 0;
#endif
    OV_ASSERT(io_pBuffer->uValidFrames <= io_pBuffer->MaxFrames());

    const float fGain = m_pParams->fGain;
    m_pParams->changes.ClearAllChanges();
    const uint16_t uAudioFrames = io_pBuffer->uValidFrames;
    m_tail.ExtendTail(io_pBuffer, m_pParams->uTailFrames);

    // Gain over the frames that came in, then the marker into the tail.
    const uint16_t uValidOut = io_pBuffer->uValidFrames;
    io_pBuffer->uValidFrames = uAudioFrames;
    OV::ApplyGainToBuffer(io_pBuffer, m_fPrevGain, fGain, true);
    io_pBuffer->uValidFrames = uValidOut;
    m_fPrevGain = fGain;
    for (uint32_t c = 0; c < io_pBuffer->NumChannels(); ++c) {
        float* pChannel = io_pBuffer->GetChannel(c);
        for (uint32_t i = uAudioFrames; i < uValidOut; ++i)
            pChannel[i] = kTailMarker;
    }
}

void TestGainProcessor::SetParams(const DelayEffectParams& params)
{
    SendParamIfChanged(OvTestGainFXParams::kGainID, params.WetLevel, m_pParam ? m_pParam->fGain : 1.0f);
    SendParam(OvTestGainFXParams::kTailID, uint32_t(params.Delay));
}

DelayProcessor* TestGainProcessor::Create()
{
    return new (std::nothrow) TestGainProcessor;
}

}  // namespace testsupport
