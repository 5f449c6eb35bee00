// Resamples an interleaved float impulse from inRateHz to outRateHz through
// SoxrResampler (soxr default quality; its filter delay is hidden, so n
// frames become about n * out/in frames). Length follows the rate ratio and
// energy the same ratio, within the filter's passband.
#pragma once

#include <cstdint>

constexpr int32_t kResampleDone = 0;
constexpr int32_t kResampleInvalid = -22;  // no resampler for these rates, no output expected, or a non-finite result
constexpr int32_t kResampleNoMemory = -12;

// On kResampleDone *out holds a malloc block of *outFrames interleaved
// frames that the caller frees, or null when the flush gave nothing.
int32_t ResampleImpulse(const float* samples, uint32_t frames, uint32_t inRateHz, uint32_t channels, float** out,
                        uint32_t* outFrames, uint32_t outRateHz);
