// The stream a plug-in is given at Init. The in-process host always describes
// 32-bit float, not interleaved: uBitsPerSample 32, uBlockAlign channels * 4,
// uTypeID OV_SAMPLETYPE_FLOAT, uInterleaveID OV_NONINTERLEAVED.
#pragma once

#include <cstdint>

#include "ov/OvChannelConfig.h"

constexpr uint32_t OV_SAMPLETYPE_FLOAT = 1;
constexpr uint32_t OV_NONINTERLEAVED = 1;

struct OvStreamFormat {
    uint32_t uSampleRate = 0;  // Hz
    OvChannelConfig channelConfig;
    uint32_t uBitsPerSample : 6;
    uint32_t uBlockAlign : 10;  // bytes per frame
    uint32_t uTypeID : 2;
    uint32_t uInterleaveID : 1;

    OvStreamFormat() : uBitsPerSample(0), uBlockAlign(0), uTypeID(0), uInterleaveID(0) {}
};
