// Test harness for plug-in code on planar float blocks (channel c at element
// c * maxFrames), with test signal helpers. PlanarBlock is such a block with an OvPipelineBuffer over it,
// for driving DSP cores directly. OvPluginHarness runs one plug-in and its
// parameter object through the library's own host, as a wrapper would: one
// block in place, a whole stream cut into blocks and then drained with empty
// end-marked blocks, or an impulse response. RunProcessor does the same for
// an effect of the chain.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <random>
#include <utility>
#include <vector>

#include "common/AudioProcessor.h"
#include "ov/OvMemAllocDefault.h"
#include "ov/OvPipelineBuffer.h"
#include "ov/OvPluginNew.h"
#include "ov/OvSpeakerConfig.h"
#include "ov/OvStreamFormat.h"
#include "wrappers/OvEffectHost.h"

namespace testsupport {

using Planes = std::vector<std::vector<float>>;
using BlockFrames = std::function<uint32_t(size_t block)>;

// A sine of the given RMS level in dBFS.
inline std::vector<float> Sine(size_t frames, double rmsDb, double hz, double sampleRate)
{
    std::vector<float> x(frames);
    for (size_t i = 0; i < frames; ++i)
        x[i] = float(std::sqrt(2.0) * std::pow(10.0, rmsDb / 20.0) * std::sin(2.0 * M_PI * hz * double(i) / sampleRate));
    return x;
}

// RMS level in dBFS of x[start, end).
inline double RmsDb(const std::vector<float>& x, size_t start, size_t end)
{
    double sum = 0.0;
    for (size_t i = start; i < end; ++i)
        sum += double(x[i]) * x[i];
    return 10.0 * std::log10(sum / double(end - start));
}

// Hot signals reaching +20 dBFS, seeded: single-sample spikes on quiet
// noise, square waves, noise bursts.
inline std::vector<std::pair<const char*, Planes>> HotSignals(uint32_t channels, size_t frames)
{
    std::mt19937 rng(20240611);
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f), level(0.5f, 10.0f);
    Planes spikes(channels, std::vector<float>(frames)), square = spikes, bursts = spikes;
    for (size_t i = 0; i < frames; ++i)
        for (uint32_t c = 0; c < channels; ++c) {
            spikes[c][i] = 0.05f * unit(rng);
            const float amplitude = i < frames / 2 ? 10.0f : 0.5f + 9.5f * float(i % 20000) / 20000.0f;
            square[c][i] = (i / (220 + 37 * c)) % 2 ? amplitude : -amplitude;
        }
    for (int k = 0; k < 300; ++k)
        spikes[rng() % channels][rng() % frames] = (k % 2 ? 1.0f : -1.0f) * (k % 10 == 0 ? 10.0f : level(rng));
    for (size_t i = 0; i < frames; i += rng() % 3000) {
        const size_t end = std::min<size_t>(frames, i + 1 + rng() % 5000);
        const float amplitude = level(rng);
        for (; i < end; ++i)
            for (uint32_t c = 0; c < channels; ++c)
                bursts[c][i] = amplitude * unit(rng);
    }
    return {{"single-sample spikes", spikes}, {"square waves", square}, {"noise bursts", bursts}};
}

// The format the host describes for `channels` float channels.
inline OvStreamFormat PlanarFormat(uint32_t channels, uint32_t sampleRate)
{
    OvStreamFormat format;
    format.uSampleRate = sampleRate;
    format.channelConfig.SetStandardOrAnonymous(channels, OV::ChannelMaskFromNumChannels(channels));
    format.uBitsPerSample = 32;
    format.uBlockAlign = channels * 4;
    format.uTypeID = OV_SAMPLETYPE_FLOAT;
    format.uInterleaveID = OV_NONINTERLEAVED;
    return format;
}

struct PlanarBlock {
    PlanarBlock(uint32_t channels, uint32_t maxFrames)
        : channels(channels), maxFrames(maxFrames), samples(size_t(channels) * maxFrames)
    {
        buffer.AttachContiguousDeinterleaved(samples.data(), PlanarFormat(channels, 1).channelConfig,
                                             uint16_t(maxFrames), uint16_t(maxFrames));
        buffer.eState = OV_BufferHasData;
    }
    float* Channel(uint32_t c) { return samples.data() + size_t(c) * maxFrames; }

    // Frames [offset, offset + frames) of `input` (zeros past its end), the
    // rest of the block zeroed.
    void Load(const Planes& input, size_t offset, uint32_t frames)
    {
        std::fill(samples.begin(), samples.end(), 0.0f);
        for (uint32_t c = 0; c < channels; ++c)
            for (uint32_t i = 0; i < frames && offset + i < input[c].size(); ++i)
                Channel(c)[i] = input[c][offset + i];
        buffer.uValidFrames = uint16_t(frames);
    }
    void AppendTo(Planes& output, uint32_t frames)
    {
        output.resize(channels);
        for (uint32_t c = 0; c < channels; ++c)
            output[c].insert(output[c].end(), Channel(c), Channel(c) + frames);
    }

    uint32_t channels;
    uint32_t maxFrames;
    std::vector<float> samples;
    OvPipelineBuffer buffer;
};

// Cuts `input` into blocks of blockFrames(i) frames, hands each to
// process(offset, frames, draining), which returns the draining flag, then
// repeats empty end-marked blocks until it is set.
inline void Stream(const Planes& input, const BlockFrames& blockFrames,
                   const std::function<bool(size_t, uint32_t, bool)>& process)
{
    const size_t total = input[0].size();
    size_t offset = 0;
    for (size_t b = 0; offset < total; ++b) {
        const uint32_t n = uint32_t(std::min<size_t>(blockFrames(b), total - offset));
        process(offset, n, false);
        offset += n;
    }
    for (int guard = 0; guard < 100000 && !process(total, 0, true); ++guard) {
    }
}

template <class TPlugin, class TParams>
class OvPluginHarness {
public:
    OvPluginHarness(uint32_t channels, uint32_t sampleRate, uint32_t maxFrames, const void* paramsBlock = nullptr,
                    uint32_t paramsBlockBytes = 0)
        : block(channels, maxFrames)
    {
        plugin = OV::New<TPlugin>(OV::DefaultAllocator());
        params = OV::New<TParams>(OV::DefaultAllocator());
        ok = host.InitPlugin(plugin, params, maxFrames, channels, sampleRate, paramsBlock, paramsBlockBytes);
    }
    ~OvPluginHarness()
    {
        plugin->Shutdown(OV::DefaultAllocator());
        params->Shutdown(OV::DefaultAllocator());
    }
    OvPluginHarness(const OvPluginHarness&) = delete;
    OvPluginHarness& operator=(const OvPluginHarness&) = delete;

    template <class T>
    OvResult Set(uint16_t id, T value)
    {
        return params->SetParam(id, &value, sizeof value);
    }
    // One block in place; returns the draining flag, leaves the frame count in lastFrames.
    bool Run(uint32_t frames, bool draining = false)
    {
        host.RunPlugin(plugin, block.samples.data(), &draining, &frames);
        lastFrames = frames;
        return draining;
    }

    Planes Run(const Planes& input, const BlockFrames& blockFrames)
    {
        Planes output(block.channels);
        Stream(input, blockFrames, [&](size_t offset, uint32_t frames, bool draining) {
            block.Load(input, offset, frames);
            draining = Run(frames, draining);
            block.AppendTo(output, lastFrames);
            return draining;
        });
        return output;
    }

    // Channel 0's response to a unit impulse on every channel, in whole blocks.
    std::vector<float> Impulse(size_t length)
    {
        Planes input(block.channels, std::vector<float>(length, 0.0f));
        for (auto& channel : input)
            channel[0] = 1.0f;
        Planes output(block.channels);
        for (size_t at = 0; at < length; at += block.maxFrames) {
            block.Load(input, at, block.maxFrames);
            Run(block.maxFrames);
            block.AppendTo(output, block.maxFrames);
        }
        output[0].resize(length);
        return output[0];
    }

    OvEffectHost host;
    TPlugin* plugin = nullptr;
    TParams* params = nullptr;
    PlanarBlock block;
    bool ok = false;
    uint32_t lastFrames = 0;
};

// A whole stream through an effect of the chain.
inline Planes RunProcessor(AudioProcessor* processor, uint32_t channels, uint32_t maxFrames, const Planes& input,
                           const BlockFrames& blockFrames)
{
    PlanarBlock block(channels, maxFrames);
    Planes output(channels);
    Stream(input, blockFrames, [&](size_t offset, uint32_t frames, bool draining) {
        block.Load(input, offset, frames);
        processor->Process(block.samples.data(), &draining, &frames);
        block.AppendTo(output, frames);
        return draining;
    });
    return output;
}

}  // namespace testsupport
