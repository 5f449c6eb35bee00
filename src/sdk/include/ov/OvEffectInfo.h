// What IOvEffect::GetInfo reports. Every plug-in of this library is an effect
// (type 3) that processes in place.
#pragma once

#include <cstdint>

#include "ov/OvCommonDefs.h"

struct OvEffectInfo {
    uint32_t uPluginType = OV_PLUGIN_TYPE_EFFECT;
    uint32_t uBuildVersion = OV_PLUGIN_BUILD_VERSION;
    bool bIsInPlace = true;
};
