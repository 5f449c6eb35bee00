// The engine as a plug-in sees it. In this library OvEffectHost answers with
// the chain's block length, sample rate and the default allocator; the other
// engine services are absent and answer empty.
#pragma once

#include <cstdint>

#include "ov/IOvMemAlloc.h"
#include "ov/OvCommonDefs.h"

class IOvGlobalContext {
public:
    virtual ~IOvGlobalContext() = default;
    // Frames per block: the chain's maxFrames.
    virtual uint16_t GetMaxFrames() const = 0;
    // Hz.
    virtual uint32_t GetSampleRate() const = 0;
    // A message for the engine's monitor; dropped here, answers 0.
    virtual OvResult PostMonitorMessage(const char* in_pszMessage) = 0;
    virtual IOvMemAlloc* GetAllocator() = 0;
};
