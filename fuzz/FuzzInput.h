// The fuzz input's first byte selects the stream rate the impulse is
// prepared for; shared by the target and the seed writer.
#pragma once

#include <cstdint>

constexpr uint32_t kFuzzStreamRatesHz[] = {44100, 48000, 22050, 96000, 8000, 0, 192000, 11025};
constexpr uint32_t kFuzzStreamRateCount = sizeof(kFuzzStreamRatesHz) / sizeof(kFuzzStreamRatesHz[0]);

inline uint32_t FuzzStreamRate(uint8_t selector)
{
    return kFuzzStreamRatesHz[selector % kFuzzStreamRateCount];
}
