// The one design of every plug-in wrapper: an AudioProcessor of the chain that
// owns a plug-in, its parameter object and an OvEffectHost, hands the chain's
// block to the plug-in without copying, and fades over one block when the
// bypass changes. A wrapper only adds its setters and its start values:
//
//   class DelayProcessorImpl final
//       : public OvProcessorWrapper<DelayProcessor, OvDelayFX, OvDelayFXParams> {
//   public:
//       DelayProcessorImpl() : OvProcessorWrapper(nullptr, 0) {}  // start block: none
//       void SetParams(const DelayEffectParams& in_params) override
//       {
//           SendParam(1, in_params.Delay);   // or SendParamIfChanged(id, new, current)
//           ...
//       }
//       void SetUnused(uint32_t, uint32_t, uint32_t) override {}
//   };
//   DelayProcessor* DelayProcessor::Create() { return new (std::nothrow) DelayProcessorImpl; }
//
// TPlugin and TParams must be default-constructible without throwing; they are
// built in OvMemAllocDefault memory and end through their Shutdown. m_pPlugin
// and m_pParam are typed, so setters may read the current values.
//
// Bypass: SetBypass(false) after true resets the plug-in so that it does not
// come back with stale state; the change then fades in the next Process.
// Reset cancels a fade that has not happened yet.
#pragma once

#include <cstdint>
#include <new>

#include "ov/OvMemAllocDefault.h"
#include "ov/OvPluginNew.h"
#include "wrappers/OvEffectHost.h"

template <class TProcessor, class TPlugin, class TParams>
class OvProcessorWrapper : public TProcessor {
public:
    bool Init(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate) override
    {
        ShutdownPlugin();  // a second Init starts from fresh objects
        IOvMemAlloc* pAllocator = OV::DefaultAllocator();
        m_pPlugin = OV::New<TPlugin>(pAllocator);
        m_pParam = OV::New<TParams>(pAllocator);
        return m_Host.InitPlugin(m_pPlugin, m_pParam, maxFrames, channels, sampleRate, m_pInitBlock,
                                 m_uInitBlockSize);
    }

    void Destroy() override { delete this; }

    void Process(float* samples, bool* draining, uint32_t* frames) override
    {
        m_Host.ProcessCrossfaded(m_pPlugin, samples, draining, frames, m_bPrevBypass, m_bBypass);
        m_bPrevBypass = m_bBypass;
    }

    void SetBypass(bool bypass) override
    {
        if (!bypass && m_bBypass && m_pPlugin)
            m_pPlugin->Reset();
        m_bBypass = bypass;
    }

    void Reset() override
    {
        if (m_pPlugin)
            m_pPlugin->Reset();
        m_bPrevBypass = m_bBypass;
    }

protected:
    // in_pInitBlock, in_uInitBlockSize: the packed parameter block the
    // parameter object starts from (null and 0: the object's own defaults).
    // The block must outlive the wrapper (a static table).
    explicit OvProcessorWrapper(const void* in_pInitBlock = nullptr, uint32_t in_uInitBlockSize = 0)
        : m_pInitBlock(in_pInitBlock), m_uInitBlockSize(in_uInitBlockSize)
    {
    }

    virtual ~OvProcessorWrapper() { ShutdownPlugin(); }

    OvProcessorWrapper(const OvProcessorWrapper&) = delete;
    OvProcessorWrapper& operator=(const OvProcessorWrapper&) = delete;

    // One SetParam with the value's bytes; OV_Failure without a parameter object.
    template <class T>
    OvResult SendParam(uint16_t in_uID, const T& in_value)
    {
        return m_pParam ? m_pParam->SetParam(in_uID, &in_value, uint32_t(sizeof(T))) : OV_Failure;
    }

    // SendParam only when the new value differs from what the parameter
    // object holds now.
    template <class T>
    void SendParamIfChanged(uint16_t in_uID, const T& in_newValue, const T& in_currentValue)
    {
        if (in_newValue != in_currentValue)
            SendParam(in_uID, in_newValue);
    }

    OvEffectHost m_Host;
    TPlugin* m_pPlugin = nullptr;  // owned
    TParams* m_pParam = nullptr;   // owned
    bool m_bBypass = false;
    bool m_bPrevBypass = false;

private:
    // Plug-in first, then its parameters.
    void ShutdownPlugin()
    {
        IOvMemAlloc* pAllocator = OV::DefaultAllocator();
        if (m_pPlugin)
            m_pPlugin->Shutdown(pAllocator);
        m_pPlugin = nullptr;
        if (m_pParam)
            m_pParam->Shutdown(pAllocator);
        m_pParam = nullptr;
    }

    const void* m_pInitBlock;
    uint32_t m_uInitBlockSize;
};
