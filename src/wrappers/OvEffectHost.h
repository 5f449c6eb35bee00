// The in-process host of one plug-in: it stands in for the engine (both
// contexts, answering with the chain's block length, sample rate and the
// default allocator, and empty answers for everything else), and it runs the
// plug-in on the chain's planar block without copying it.
//
// A wrapper owns one host by value and calls, in this order:
//   InitPlugin(plugin, params, maxFrames, channels, sampleRate, block, size)
//   ProcessCrossfaded(plugin, samples, draining, frames, prevBypass, bypass)  per block
// OvProcessorWrapper does exactly that; most wrappers need nothing else.
//
// Bypass changes fade linearly over one whole block (maxFrames frames, also
// when fewer are valid) between the plug-in's output and a dry copy of the
// block taken on the stack; the plug-in runs in that block in both
// directions. The copy exists only in a crossfade block.
#pragma once

#include <cstdint>

#include "ov/IOvEffect.h"
#include "ov/IOvEffectContext.h"
#include "ov/IOvEffectParams.h"
#include "ov/IOvGlobalContext.h"
#include "ov/OvChannelConfig.h"
#include "ov/OvPipelineBuffer.h"
#include "ov/OvStreamFormat.h"

class OvEffectHost : public IOvEffectContext, public IOvGlobalContext {
public:
    // Size of the dry copy on the stack: 8 channels of 2048 frames. Channels
    // beyond it in a larger layout switch without a fade.
    static constexpr uint32_t kMaxDryChannels = 8;
    static constexpr uint32_t kMaxDryFrames = 2048;

    OvEffectHost() = default;
    ~OvEffectHost() override = default;
    OvEffectHost(const OvEffectHost&) = delete;
    OvEffectHost& operator=(const OvEffectHost&) = delete;

    // Describes the stream (channel mask from the count), then initialises the
    // parameter object with the given block (null and 0 for its defaults),
    // the plug-in, and resets it. False if either object is null, the format
    // does not fit the buffer (more than 65535 frames or 255 channels), or any
    // step answers other than OV_Success. Objects stay with the caller.
    bool InitPlugin(IOvEffect* in_pPlugin, IOvEffectParams* in_pParams, uint32_t in_uMaxFrames,
                    uint32_t in_uChannels, uint32_t in_uSampleRate, const void* in_pParamsBlock,
                    uint32_t in_uBlockSize);

    // The stream alone, as InitPlugin describes it, for a host whose plug-in
    // comes later. False when the buffer's fields could not hold it.
    bool DescribeStream(uint32_t in_uMaxFrames, uint32_t in_uChannels, uint32_t in_uSampleRate);
    // What a plug-in is given at Init for that stream: 32-bit float, not interleaved.
    OvStreamFormat StreamFormat() const;

    // One block of the chain. Equal flags: run the plug-in when active, leave
    // everything untouched when bypassed. Different flags: run the plug-in and
    // crossfade over the block, towards dry when in_bBypass, else towards wet.
    void ProcessCrossfaded(IOvEffect* in_pPlugin, float* io_pSamples, bool* io_pbDraining,
                           uint32_t* io_puFrames, bool in_bPrevBypass, bool in_bBypass);

    // One ProcessBlock on the chain's block, with flush-to-zero set around it.
    // *io_pbDraining in: the stream ends with this block; out: the plug-in has
    // nothing more to give. *io_puFrames: valid frames in and out.
    void RunPlugin(IOvEffect* in_pPlugin, float* io_pSamples, bool* io_pbDraining, uint32_t* io_puFrames);

    OvChannelConfig GetChannelConfig() const { return m_channelConfig; }

    // IOvPluginContextBase and IOvEffectContext
    IOvGlobalContext* GetGlobalContext() const override;
    OvResult FetchMedia(uint32_t in_uIndex, const uint8_t** out_pData, uint32_t* out_uSize) override;
    OvResult PostMeterData(const void* in_pData, uint32_t in_uSize) override;
    bool WantsMeterData() const override { return false; }
    OvResult PostMonitorMessage(const char* in_pszMessage) override;
    const OvCpuInfo* GetCpuInfo() const override { return nullptr; }
    bool IsSendModeEffect() const override { return false; }

    // IOvGlobalContext
    uint16_t GetMaxFrames() const override { return m_uMaxFrames; }
    uint32_t GetSampleRate() const override { return m_uSampleRate; }
    IOvMemAlloc* GetAllocator() override;

private:
    OvPipelineBuffer m_buffer;
    OvChannelConfig m_channelConfig;
    uint32_t m_uSampleRate = 0;
    uint16_t m_uMaxFrames = 0;
};
