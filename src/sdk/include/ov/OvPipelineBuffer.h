// The block of audio that crosses the plug-in interface: planar 32-bit float,
// channel i at element i * MaxFrames() of one block of memory. The buffer does
// not own the samples, except a plug-in's internal buffer that took them with
// AllocateSamples and gives them back with FreeSamples. A plug-in works in
// place on the block it is handed; it may change uValidFrames
// (fewer after a latency, more when it plays a tail) and eState.
//
// States (eState): OV_BufferHasData for a normal block, OV_BufferEnded when
// the input stream has ended with this block. A plug-in that still has output
// to give at the end sets OV_BufferHasData (OvTailExtender does that for it).
#pragma once

#include <cstddef>
#include <cstdint>

#include "ov/IOvMemAlloc.h"
#include "ov/OvAssert.h"
#include "ov/OvChannelConfig.h"
#include "ov/OvCommonDefs.h"

class OvPipelineBuffer {
public:
    OvPipelineBuffer() = default;

    // Points the buffer at a block: in_uMaxFrames is also the channel stride.
    void AttachContiguousDeinterleaved(float* in_pData, OvChannelConfig in_channelConfig,
                                       uint16_t in_uMaxFrames, uint16_t in_uValidFrames)
    {
        m_pData = in_pData;
        m_channelConfig = in_channelConfig;
        m_uMaxFrames = in_uMaxFrames;
        uValidFrames = in_uValidFrames;
    }

    float* GetData() const { return m_pData; }
    OvChannelConfig GetChannelConfig() const { return m_channelConfig; }
    uint32_t NumChannels() const { return m_channelConfig.uNumChannels; }
    uint16_t MaxFrames() const { return m_uMaxFrames; }
    bool HasLFE() const { return m_channelConfig.HasLFE(); }

    // Start of channel in_uIndex (channels in mask order, LFE last).
    float* GetChannel(uint32_t in_uIndex) const
    {
        OV_ASSERT(in_uIndex < NumChannels());
        return m_pData + size_t(in_uIndex) * m_uMaxFrames;
    }

    // The LFE channel, or null when there is none.
    float* GetLFE() const { return HasLFE() ? GetChannel(NumChannels() - 1) : nullptr; }

    // Takes MaxFrames * channels zeroed samples (at least one) from the
    // allocator and points the buffer at them, no frame valid. Samples the
    // buffer holds from an earlier AllocateSamples are given back first.
    OvResult AllocateSamples(IOvMemAlloc* in_pAllocator, OvChannelConfig in_channelConfig, uint16_t in_uMaxFrames);

    // Gives samples from AllocateSamples back to the allocator and leaves the
    // buffer empty (with no allocator they are only let go).
    void FreeSamples(IOvMemAlloc* in_pAllocator);

    // Zeroes every channel from uValidFrames to MaxFrames(); then all frames are valid.
    void PadToMaxFrames();

    // Hands the samples over and leaves the buffer empty.
    float* TakeSamples()
    {
        float* pData = m_pData;
        m_pData = nullptr;
        m_uMaxFrames = 0;
        uValidFrames = 0;
        m_channelConfig.Clear();
        return pData;
    }

    OvResult eState = OV_BufferNeedsData;
    uint16_t uValidFrames = 0;  // frames that hold audio, at most MaxFrames()

private:
    float* m_pData = nullptr;
    OvChannelConfig m_channelConfig;
    uint16_t m_uMaxFrames = 0;  // also the channel stride, in samples
};
