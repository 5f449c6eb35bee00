// Small helpers over AUDIO_SAMPLEFORMAT.
#pragma once

#include <cstdint>

#include "lxaudioeffects/AudioTypes.h"

// Bytes of one sample: 1, 2, 4, 4, 8, 4 for formats 0 to 5, and 4 for any
// unknown value, which is treated as float.
uint32_t BytesPerSample(AUDIO_SAMPLEFORMAT format);

// Known formats but float come back unchanged; anything else becomes float.
AUDIO_SAMPLEFORMAT NormalizeSampleFormat(AUDIO_SAMPLEFORMAT format);

// Largest power of two not above x; 0 stays 0.
uint32_t FloorPowerOfTwo(uint32_t x);
