// Runs one plug-in through an OvEffectHost, as a wrapper would, on a whole
// planar stream: input cut into blocks of the given sizes, then the end mark
// repeated with empty blocks until the plug-in says it has finished. The
// output is every valid frame the plug-in gave, in order.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "frontend/AudioProcessor.h"
#include "ov/OvMemAllocDefault.h"
#include "ov/OvPluginNew.h"
#include "wrappers/OvEffectHost.h"

namespace testsupport {

using Planes = std::vector<std::vector<float>>;

template <class TPlugin, class TParams>
class PluginRig {
public:
    PluginRig(uint32_t channels, uint32_t sampleRate, uint32_t maxFrames, const void* block = nullptr,
              uint32_t blockSize = 0)
        : channels(channels), maxFrames(maxFrames), buffer(size_t(channels) * maxFrames)
    {
        plugin = OV::New<TPlugin>(OV::DefaultAllocator());
        params = OV::New<TParams>(OV::DefaultAllocator());
        ok = host.InitPlugin(plugin, params, maxFrames, channels, sampleRate, block, blockSize);
    }

    ~PluginRig()
    {
        if (plugin)
            plugin->Shutdown(OV::DefaultAllocator());
        if (params)
            params->Shutdown(OV::DefaultAllocator());
    }

    PluginRig(const PluginRig&) = delete;
    PluginRig& operator=(const PluginRig&) = delete;

    // One block: `frames` frames of `input` from `offset` (zeros past its
    // end). Appends what comes out to `output`; returns the draining flag.
    bool Block(const Planes& input, size_t offset, uint32_t frames, bool draining, Planes& output)
    {
        std::fill(buffer.begin(), buffer.end(), 0.0f);
        for (uint32_t c = 0; c < channels; ++c)
            for (uint32_t i = 0; i < frames && offset + i < input[c].size(); ++i)
                buffer[size_t(c) * maxFrames + i] = input[c][offset + i];
        uint32_t n = frames;
        host.RunPlugin(plugin, buffer.data(), &draining, &n);
        lastFrames = n;
        output.resize(channels);
        for (uint32_t c = 0; c < channels; ++c)
            output[c].insert(output[c].end(), buffer.begin() + size_t(c) * maxFrames,
                             buffer.begin() + size_t(c) * maxFrames + n);
        return draining;
    }

    // The whole stream; blockFrames(i) gives the size of block i (at most maxFrames).
    Planes Run(const Planes& input, const std::function<uint32_t(size_t)>& blockFrames)
    {
        Planes output(channels);
        const size_t total = input[0].size();
        size_t offset = 0;
        for (size_t b = 0; offset < total; ++b) {
            uint32_t n = blockFrames(b);
            if (n > total - offset)
                n = uint32_t(total - offset);
            Block(input, offset, n, false, output);
            offset += n;
        }
        for (int guard = 0; guard < 100000; ++guard)
            if (Block(input, total, 0, true, output))
                break;
        return output;
    }

    Planes Run(const Planes& input, uint32_t blockFrames)
    {
        return Run(input, [blockFrames](size_t) { return blockFrames; });
    }

    uint32_t channels;
    uint32_t maxFrames;
    OvEffectHost host;
    TPlugin* plugin = nullptr;
    TParams* params = nullptr;
    bool ok = false;
    uint32_t lastFrames = 0;
    std::vector<float> buffer;
};

// The same for an effect of the chain (a wrapper): blocks through Process,
// then empty blocks with the end mark until draining stays set.
inline Planes RunProcessor(AudioProcessor* processor, uint32_t channels, uint32_t maxFrames, const Planes& input,
                           const std::function<uint32_t(size_t)>& blockFrames)
{
    std::vector<float> buffer(size_t(channels) * maxFrames);
    Planes output(channels);
    const size_t total = input[0].size();
    auto block = [&](size_t offset, uint32_t frames, bool draining) {
        std::fill(buffer.begin(), buffer.end(), 0.0f);
        for (uint32_t c = 0; c < channels; ++c)
            for (uint32_t i = 0; i < frames && offset + i < total; ++i)
                buffer[size_t(c) * maxFrames + i] = input[c][offset + i];
        uint32_t n = frames;
        processor->Process(buffer.data(), &draining, &n);
        for (uint32_t c = 0; c < channels; ++c)
            output[c].insert(output[c].end(), buffer.begin() + size_t(c) * maxFrames,
                             buffer.begin() + size_t(c) * maxFrames + n);
        return draining;
    };
    size_t offset = 0;
    for (size_t b = 0; offset < total; ++b) {
        uint32_t n = blockFrames(b);
        if (n > total - offset)
            n = uint32_t(total - offset);
        block(offset, n, false);
        offset += n;
    }
    for (int guard = 0; guard < 100000; ++guard)
        if (block(total, 0, true))
            break;
    return output;
}

}  // namespace testsupport
