// Circular buffer that delays one channel by exactly uDelayLineLength samples.
// Each sample that goes in is exchanged with the one that went in
// uDelayLineLength samples earlier. Lengths below 4 are raised to 4; the
// memory is rounded up to a multiple of 4 samples so that the inner loop can
// run four samples per step. Init leaves the memory uncleared: call Reset
// before the first use.
#pragma once

#include <cstdint>

#include "ov/OvCommonDefs.h"

class IOvMemAlloc;

class DelayLine {
public:
    static constexpr uint32_t kMinLengthSamples = 4;
    // Longest line accepted, so that the rounded byte count cannot overflow.
    static constexpr uint32_t kMaxLengthSamples = 0x10000000;

    OvResult Init(IOvMemAlloc* in_pAllocator, uint32_t in_uLengthSamples);
    void Shutdown(IOvMemAlloc* in_pAllocator);
    // Silences the line; keeps its memory and position.
    void Reset();

    // In place: every sample is exchanged with the line.
    void ProcessBuffer(float* io_pBuffer, uint32_t in_uFrames);
    // in_pBuffer enters the line, what leaves it goes to out_pBuffer. The two
    // may be the same buffer; otherwise they must not overlap. Plain moves:
    // a line no longer than the block leaves whole and takes the block's
    // last samples.
    void ProcessBuffer(const float* in_pBuffer, float* out_pBuffer, uint32_t in_uFrames);

    bool HasMemory() const { return uDelayLineLength != 0; }

    uint32_t uDelayLineLength = 0;  // samples; the delay of the line
    float* pDelay = nullptr;
    uint32_t uCurOffset = 0;  // next read and write position

private:
    void Advance(uint32_t in_uFrames);
};
