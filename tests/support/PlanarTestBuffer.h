// A planar float block in 16-byte aligned memory with an OvPipelineBuffer
// over it, and the stream format a plug-in would be given for it. For tests
// that drive plug-in code directly, without a wrapper.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "ov/OvPipelineBuffer.h"
#include "ov/OvStreamFormat.h"

namespace testsupport {

// Speaker mask of the usual layouts: mono centre, stereo, 5.1 with LFE.
inline uint32_t TestChannelMask(uint32_t channels)
{
    switch (channels) {
    case 1: return 0x4;
    case 2: return 0x3;
    case 6: return 1551;
    default: return 0;
    }
}

inline OvChannelConfig TestChannelConfig(uint32_t channels)
{
    OvChannelConfig config;
    config.SetStandardOrAnonymous(channels, TestChannelMask(channels));
    return config;
}

inline OvStreamFormat TestStreamFormat(uint32_t channels, uint32_t sampleRate)
{
    OvStreamFormat format;
    format.uSampleRate = sampleRate;
    format.channelConfig = TestChannelConfig(channels);
    format.uBitsPerSample = 32;
    format.uBlockAlign = channels * 4;
    format.uTypeID = OV_SAMPLETYPE_FLOAT;
    format.uInterleaveID = OV_NONINTERLEAVED;
    return format;
}

class PlanarTestBuffer {
public:
    PlanarTestBuffer(uint32_t channels, uint32_t maxFrames)
        : channels_(channels), maxFrames_(maxFrames),
          data_(new (std::align_val_t(16)) float[size_t(channels) * maxFrames + 1]())
    {
        buffer.AttachContiguousDeinterleaved(data_.get(), TestChannelConfig(channels),
                                             uint16_t(maxFrames), uint16_t(maxFrames));
        buffer.eState = OV_BufferHasData;
    }

    float* Channel(uint32_t c) { return data_.get() + size_t(c) * maxFrames_; }
    uint32_t Channels() const { return channels_; }
    uint32_t MaxFrames() const { return maxFrames_; }

    // Copies frames [start, start + count) of each source channel in and sets
    // the valid count; the rest of the block is zeroed.
    void Load(const std::vector<std::vector<float>>& source, size_t start, uint32_t count)
    {
        std::fill(data_.get(), data_.get() + size_t(channels_) * maxFrames_, 0.0f);
        for (uint32_t c = 0; c < channels_; ++c)
            std::memcpy(Channel(c), source[c].data() + start, count * sizeof(float));
        buffer.uValidFrames = uint16_t(count);
    }

    // Copies the valid frames back out.
    void Store(std::vector<std::vector<float>>& target, size_t start) 
    {
        for (uint32_t c = 0; c < channels_; ++c)
            std::memcpy(target[c].data() + start, Channel(c), buffer.uValidFrames * sizeof(float));
    }

    OvPipelineBuffer buffer;

private:
    struct AlignedDelete {
        void operator()(float* p) const { ::operator delete[](p, std::align_val_t(16)); }
    };
    uint32_t channels_;
    uint32_t maxFrames_;
    std::unique_ptr<float[], AlignedDelete> data_;
};

}  // namespace testsupport
