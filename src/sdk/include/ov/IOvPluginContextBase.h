// Services the engine offers every plug-in. OvEffectHost gives empty answers:
// no media, no metering.
#pragma once

#include <cstdint>

#include "ov/OvCommonDefs.h"

class IOvGlobalContext;

class OvCpuInfo;  // processor features, defined with the code that needs them

class IOvPluginContextBase {
public:
    virtual ~IOvPluginContextBase() = default;
    virtual IOvGlobalContext* GetGlobalContext() const = 0;
    // Media bound to the plug-in: *out_pData null and *out_uSize 0 when there is none.
    virtual OvResult FetchMedia(uint32_t in_uIndex, const uint8_t** out_pData, uint32_t* out_uSize) = 0;
    // Meter data for a monitor: dropped, answers 0.
    virtual OvResult PostMeterData(const void* in_pData, uint32_t in_uSize) = 0;
    virtual bool WantsMeterData() const = 0;
    // A message for the engine's monitor; dropped, answers 0.
    virtual OvResult PostMonitorMessage(const char* in_pszMessage) = 0;
    // The processor's feature flags, or null when the host does not provide them.
    virtual const OvCpuInfo* GetCpuInfo() const = 0;
};
