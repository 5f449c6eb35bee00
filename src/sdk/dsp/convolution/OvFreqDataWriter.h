// Cuts a mono impulse response into partitions and writes the frequency data
// block (OvFreqData.h) that the partitioned convolution engine reads.
//
// With B the block length: the transform length is the smallest power of
// two at or above 2B - 1; the partition count is ceil(samples / B) + 1 (the
// division in float), the extra partition holding the last block in the
// first half of its window. A window of that length slides over the impulse
// by B: its upper half moves to the lower half, the next B samples (zeros
// past the end) fill the upper half, and a forward real FFT of the window is
// partition p. All partitions keep every bin but the top (Nyquist) one, so
// the bin table is uFFTLength / 2 throughout; the convolution thus loses the
// Nyquist bin, as intended.
#pragma once

#include <cstdint>

#include "ov/IOvMemAlloc.h"

namespace OV {

// Longest impulse accepted, in samples (about 87 s at 48 kHz).
constexpr uint32_t OV_FREQDATA_MAX_IMPULSE_SAMPLES = 1u << 22;

// The block for in_uSamples samples (at least 1, at most
// OV_FREQDATA_MAX_IMPULSE_SAMPLES) at in_pSamples, partitions of
// in_uBlockLength (a power of two from 4 to 16384), stamped with
// in_uSampleRate and a mono front-centre channel configuration. Memory from
// in_pAllocator, to be freed there; *out_pBytes its size. Null on any
// refusal or when out of memory.
uint8_t* WriteFreqData(IOvMemAlloc* in_pAllocator, const float* in_pSamples, uint32_t in_uSamples,
                       uint32_t in_uBlockLength, uint32_t in_uSampleRate, uint32_t* out_pBytes);

}  // namespace OV
