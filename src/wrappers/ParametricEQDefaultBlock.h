// The packed parameter block both parametric-EQ wrappers start from (56
// bytes): a low shelf with Q 0.5 at 120 Hz (on), a peak at 1 kHz with Q 1
// (off) and a high shelf with Q 0.5 at 6 kHz (on), all at 0 dB; output gain
// 0 dB; LFE not processed.
#pragma once

#include <cstdint>

// The 56 bytes, built once; lives as long as the program.
const uint8_t* ParametricEQDefaultBlock();
