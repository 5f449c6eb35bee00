// Runs one plug-in and its parameter object on planar blocks through the
// library's own host, as a wrapper would, without the chain around it.
#pragma once

#include <cstdint>
#include <vector>

#include "ov/OvMemAllocDefault.h"
#include "ov/OvPluginNew.h"
#include "wrappers/OvEffectHost.h"

namespace testsupport {

template <class TPlugin, class TParams>
class OvPluginHarness {
public:
    OvPluginHarness(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate, const void* block = nullptr,
                    uint32_t blockBytes = 0)
        : maxFrames(maxFrames), channels(channels), samples(size_t(maxFrames) * channels, 0.0f)
    {
        plugin = OV::New<TPlugin>(OV::DefaultAllocator());
        params = OV::New<TParams>(OV::DefaultAllocator());
        ready = host.InitPlugin(plugin, params, maxFrames, channels, sampleRate, block, blockBytes);
    }
    ~OvPluginHarness()
    {
        plugin->Shutdown(OV::DefaultAllocator());
        params->Shutdown(OV::DefaultAllocator());
    }
    OvPluginHarness(const OvPluginHarness&) = delete;
    OvPluginHarness& operator=(const OvPluginHarness&) = delete;

    float* Channel(uint32_t c) { return samples.data() + size_t(c) * maxFrames; }

    // One block of `frames` valid frames in place in `samples`.
    void Run(uint32_t frames)
    {
        bool draining = false;
        host.RunPlugin(plugin, samples.data(), &draining, &frames);
    }

    // The impulse response of channel 0 over `length` samples, block by block.
    std::vector<float> Impulse(size_t length)
    {
        std::vector<float> out;
        for (size_t at = 0; at < length; at += maxFrames) {
            std::fill(samples.begin(), samples.end(), 0.0f);
            if (at == 0)
                for (uint32_t c = 0; c < channels; ++c)
                    Channel(c)[0] = 1.0f;
            Run(maxFrames);
            out.insert(out.end(), Channel(0), Channel(0) + maxFrames);
        }
        out.resize(length);
        return out;
    }

    OvEffectHost host;
    TPlugin* plugin = nullptr;
    TParams* params = nullptr;
    bool ready = false;
    uint32_t maxFrames;
    uint32_t channels;
    std::vector<float> samples;
};

}  // namespace testsupport
