#include "sdk/dsp/convolution/OvMismatchBuffering.h"

#include <cstring>

#include "ov/OvAssert.h"

namespace {

// Positions are rebased by whole rings once the read position passes this.
constexpr uint32_t kRebaseAt = 0x40000000;

uint32_t Min(uint32_t a, uint32_t b)
{
    return a < b ? a : b;
}

}  // namespace

OvResult OvMismatchBuffering::Init(uint32_t in_uPipelineFrames, uint32_t in_uProcessBlockFrames,
                                   uint32_t in_uChannels, IOvMemAlloc* in_pAllocator)
{
    Term(in_pAllocator);
    const uint32_t P = in_uPipelineFrames;
    const uint32_t B = in_uProcessBlockFrames;
    m_uProcessBlockFrames = B;
    m_uChannels = in_uChannels;
    m_uWriteIdx = m_uProcessIdx = m_uReadIdx = 0;
    m_uPipelineBufferConsumed = m_uPipelineBufferWritten = 0;
    m_uSilenceDue = 0;
    m_eState = OV_BufferNeedsData;
    m_channelConfig.SetAnonymous(in_uChannels);
    if (P == 0 || B == 0 || in_uChannels == 0 || !in_pAllocator)
        return OV_Failure;

    uint32_t uRing = 0;
    if (B > P) {
        uRing = (B % P == 0) ? B : 2 * B;
        m_uLatency = ((B - 1) / P) * P + ((B % P == 0) ? 0 : P - B % P);
    } else if (B < P && (P % B) != 0) {
        uRing = 2 * B;
        m_uLatency = B;
    }
    if (uRing == 0)
        return OV_Success;
    const size_t uBytes = size_t(uRing) * in_uChannels * sizeof(float);
    m_pBuffer = static_cast<float*>(in_pAllocator->Malloc(uBytes));
    if (!m_pBuffer) {
        m_uLatency = 0;
        return OV_Failure;
    }
    std::memset(m_pBuffer, 0, uBytes);
    m_uMmbSizeFrames = uRing;
    return OV_Success;
}

void OvMismatchBuffering::Term(IOvMemAlloc* in_pAllocator)
{
    if (m_pBuffer && in_pAllocator)
        in_pAllocator->Free(m_pBuffer);
    m_pBuffer = nullptr;
    m_uMmbSizeFrames = 0;
    m_uProcessBlockFrames = 0;
    m_uChannels = 0;
    m_uLatency = 0;
}

void OvMismatchBuffering::Reset()
{
    m_uWriteIdx = m_uProcessIdx = m_uReadIdx = 0;
    m_uPipelineBufferConsumed = m_uPipelineBufferWritten = 0;
    m_uSilenceDue = 0;
    m_eState = OV_BufferNeedsData;
    if (m_pBuffer)
        std::memset(m_pBuffer, 0, size_t(m_uMmbSizeFrames) * m_uChannels * sizeof(float));
}

float* OvMismatchBuffering::RingBlock(uint32_t in_uFrameIndex) const
{
    const uint32_t B = m_uProcessBlockFrames;
    return m_pBuffer + size_t((in_uFrameIndex / B) * B % m_uMmbSizeFrames) * m_uChannels;
}

void OvMismatchBuffering::BeginBlock(const OvPipelineBuffer& in_pipelineBuffer)
{
    if (!HasRing())
        return;
    m_uPipelineBufferConsumed = 0;
    m_uPipelineBufferWritten = 0;
    const uint32_t uInFlight = m_uWriteIdx - m_uReadIdx;
    if (in_pipelineBuffer.eState != OV_BufferEnded && uInFlight + m_uSilenceDue < m_uLatency)
        m_uSilenceDue = m_uLatency - uInFlight;
}

void OvMismatchBuffering::WriteRuns(const OvPipelineBuffer* in_pSource, uint32_t in_uSourceOffset, uint32_t in_uFrames)
{
    const uint32_t B = m_uProcessBlockFrames;
    const uint32_t uSourceChannels = in_pSource ? in_pSource->NumChannels() : 0;
    while (in_uFrames != 0) {
        const uint32_t uPos = m_uWriteIdx % B;
        const uint32_t uRun = Min(B - uPos, in_uFrames);
        float* pBlock = RingBlock(m_uWriteIdx);
        for (uint32_t c = 0; c < m_uChannels; ++c) {
            float* pDest = pBlock + size_t(c) * B + uPos;
            if (c < uSourceChannels)
                std::memcpy(pDest, in_pSource->GetChannel(c) + in_uSourceOffset, size_t(uRun) * sizeof(float));
            else
                std::memset(pDest, 0, size_t(uRun) * sizeof(float));
        }
        m_uWriteIdx += uRun;
        in_uSourceOffset += uRun;
        in_uFrames -= uRun;
    }
}

void OvMismatchBuffering::Consume(OvPipelineBuffer& in_pipelineBuffer)
{
    if (!HasRing())
        return;
    OV_ASSERT(in_pipelineBuffer.NumChannels() == m_uChannels);
    OV_ASSERT(m_uReadIdx - m_uWriteIdx == 0 || m_uWriteIdx - m_uReadIdx <= m_uMmbSizeFrames);
    uint32_t uFree = m_uMmbSizeFrames - (m_uWriteIdx - m_uReadIdx);
    if (m_uSilenceDue != 0) {
        const uint32_t uZeros = Min(m_uSilenceDue, uFree);
        WriteRuns(nullptr, 0, uZeros);
        m_uSilenceDue -= uZeros;
        uFree -= uZeros;
    }
    const uint32_t uValid = in_pipelineBuffer.uValidFrames;
    if (m_uSilenceDue == 0 && uValid > m_uPipelineBufferConsumed) {
        OV_ASSERT(m_uPipelineBufferConsumed >= m_uPipelineBufferWritten);
        const uint32_t uTake = Min(uValid - m_uPipelineBufferConsumed, uFree);
        WriteRuns(&in_pipelineBuffer, m_uPipelineBufferConsumed, uTake);
        m_uPipelineBufferConsumed += uTake;
    }
}

bool OvMismatchBuffering::GetProcessBuffer(OvPipelineBuffer& in_pipelineBuffer, OvPipelineBuffer& out_processBuffer,
                                           bool in_bTailing)
{
    if (!HasRing()) {
        if (m_eState != OV_BufferNeedsData) {
            out_processBuffer.eState = OV_NoDataReady;
            return false;
        }
        out_processBuffer.AttachContiguousDeinterleaved(in_pipelineBuffer.GetData(),
                                                        in_pipelineBuffer.GetChannelConfig(),
                                                        in_pipelineBuffer.MaxFrames(), in_pipelineBuffer.uValidFrames);
        out_processBuffer.eState = in_pipelineBuffer.eState;
        return true;
    }
    const uint32_t B = m_uProcessBlockFrames;
    const uint32_t uAvailable = m_uWriteIdx - m_uProcessIdx;
    const uint32_t uRoom = m_uMmbSizeFrames - (m_uProcessIdx - m_uReadIdx);
    const bool bEnded = in_pipelineBuffer.eState == OV_BufferEnded && m_uSilenceDue == 0 &&
                        m_uPipelineBufferConsumed >= in_pipelineBuffer.uValidFrames;
    // At the end, a partial block goes out, and then empty blocks for as long
    // as the effect's tail has frames (or has not started): the whole tail
    // comes out, and nothing is handed out once it is done.
    const bool bReady = uRoom >= B && (uAvailable >= B || (bEnded && (uAvailable != 0 || in_bTailing)));
    if (!bReady) {
        out_processBuffer.eState = OV_NoDataReady;
        return false;
    }
    OvChannelConfig config = in_pipelineBuffer.GetChannelConfig();
    if (config.uNumChannels != m_uChannels)
        config = m_channelConfig;
    out_processBuffer.AttachContiguousDeinterleaved(RingBlock(m_uProcessIdx), config, uint16_t(B),
                                                    uint16_t(Min(B, uAvailable)));
    out_processBuffer.eState = in_pipelineBuffer.eState;
    return true;
}

void OvMismatchBuffering::ReleaseProcessBuffer(const OvPipelineBuffer& in_processBuffer)
{
    m_eState = in_processBuffer.eState;
    if (!HasRing()) {
        m_uPipelineBufferWritten = in_processBuffer.uValidFrames;  // the pipeline's valid frames to be
        return;
    }
    OV_ASSERT(in_processBuffer.eState != OV_NoDataReady);
    const uint32_t uValid = Min(in_processBuffer.uValidFrames, m_uProcessBlockFrames);
    m_uProcessIdx += uValid;
    // A partial last block, or a tail block the effect filled, counts as data.
    if (int32_t(m_uProcessIdx - m_uWriteIdx) > 0)
        m_uWriteIdx = m_uProcessIdx;
}

bool OvMismatchBuffering::Produce(OvPipelineBuffer& io_pipelineBuffer)
{
    if (!HasRing()) {
        io_pipelineBuffer.uValidFrames = uint16_t(Min(m_uPipelineBufferWritten, io_pipelineBuffer.MaxFrames()));
        io_pipelineBuffer.eState = m_eState;
        m_eState = OV_BufferNeedsData;
        return false;
    }
    const uint32_t B = m_uProcessBlockFrames;
    const uint32_t uMaxFrames = io_pipelineBuffer.MaxFrames();
    OV_ASSERT(uMaxFrames >= m_uPipelineBufferConsumed);
    const bool bEnded = io_pipelineBuffer.eState == OV_BufferEnded &&
                        m_uPipelineBufferConsumed >= io_pipelineBuffer.uValidFrames;
    const uint32_t uLimit = bEnded ? uMaxFrames : Min(m_uPipelineBufferConsumed, uMaxFrames);
    const uint32_t uChannels = Min(io_pipelineBuffer.NumChannels(), m_uChannels);

    bool bMoved = false;
    while (m_uPipelineBufferWritten < uLimit && m_uProcessIdx - m_uReadIdx != 0) {
        const uint32_t uPos = m_uReadIdx % B;
        const uint32_t uRun = Min(Min(B - uPos, m_uProcessIdx - m_uReadIdx), uLimit - m_uPipelineBufferWritten);
        const float* pBlock = RingBlock(m_uReadIdx);
        for (uint32_t c = 0; c < uChannels; ++c)
            std::memcpy(io_pipelineBuffer.GetChannel(c) + m_uPipelineBufferWritten, pBlock + size_t(c) * B + uPos,
                        size_t(uRun) * sizeof(float));
        m_uReadIdx += uRun;
        m_uPipelineBufferWritten += uRun;
        bMoved = true;
    }

    const uint32_t uCount = io_pipelineBuffer.eState == OV_BufferEnded ? uMaxFrames : io_pipelineBuffer.uValidFrames;
    OV_ASSERT(m_uPipelineBufferWritten <= uMaxFrames);
    // Another pass only when this one moved something: one that moves
    // nothing would move nothing again.
    if (m_uPipelineBufferWritten != uCount && io_pipelineBuffer.eState != OV_BufferEnded && bMoved)
        return true;

    io_pipelineBuffer.uValidFrames = uint16_t(m_uPipelineBufferWritten);
    const bool bAllRead = m_uProcessIdx == m_uReadIdx && m_uWriteIdx == m_uReadIdx;
    io_pipelineBuffer.eState = bAllRead ? m_eState : OV_BufferHasData;
    Rebase();
    return false;
}

void OvMismatchBuffering::Rebase()
{
    const uint32_t B = m_uProcessBlockFrames;
    // A partial last block leaves the positions inside a block; once all of
    // it is out, the next stream starts on a block boundary.
    if (m_uProcessIdx == m_uReadIdx && m_uWriteIdx == m_uReadIdx && m_uReadIdx % B != 0) {
        const uint32_t uNext = (m_uReadIdx / B + 1) * B;
        m_uWriteIdx = m_uProcessIdx = m_uReadIdx = uNext;
    }
    if (m_uReadIdx >= kRebaseAt) {
        const uint32_t uBase = (m_uReadIdx / m_uMmbSizeFrames) * m_uMmbSizeFrames;
        m_uReadIdx -= uBase;
        m_uProcessIdx -= uBase;
        m_uWriteIdx -= uBase;
    }
}
