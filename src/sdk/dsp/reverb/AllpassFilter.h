// First-order Schroeder allpass with the delay in both the direct and the
// recursive path: y = g * (x - y[n-D]) + x[n-D]. Both histories are kept as
// interleaved pairs (last input, last output) per delay position, so the
// filter costs 2 * D floats. One channel, any frame count; the gain may
// change at any time without touching the history, so diffusion can move
// while a tail rings.
#pragma once

#include <cstdint>

#include "ov/OvCommonDefs.h"

class IOvMemAlloc;

class AllpassFilter {
public:
    // A length of 0 is taken as 1. The history is not cleared: Reset before use.
    OvResult Init(IOvMemAlloc* in_pAllocator, uint32_t in_uDelayLineLength, float in_fGain);
    // Frees the history; harmless on a filter that never got one.
    void Term(IOvMemAlloc* in_pAllocator);
    void Reset();
    void SetGain(float in_fGain) { fGain = in_fGain; }

    void ProcessBuffer(float* io_pfBuffer, uint32_t in_uNumFrames);
    void ProcessBuffer(const float* in_pfInput, float* out_pfOutput, uint32_t in_uNumFrames);

    uint32_t uDelayLineLength = 0;  // samples
    float* pfHistory = nullptr;     // 2 * uDelayLineLength floats
    uint32_t uCurOffset = 0;        // in pairs, 0 .. uDelayLineLength
    float fGain = 0.0f;
};
