// From a headphone impulse image to the convolution's frequency data block:
// the RIFF WAVE image is read (mono only), its samples turned to float,
// resampled to the stream's rate when the file's differs, and cut into
// partitions of 1024 samples (OvFreqDataWriter). Every size in the image is
// checked against the image's end before it is used, in 64 bits; anything
// that does not hold together is refused.
#pragma once

#include <cstdint>

#include "ov/IOvMemAlloc.h"

// Partition length of the headphone convolution, in samples.
constexpr uint32_t kHeadphoneBlockFrames = 1024;
// Taps of the interpolation filter of the resampler.
constexpr uint32_t kHeadphoneFilterTaps = 511;

// What the image says of its samples.
struct HeadphoneWav {
    uint32_t sampleRate = 0;   // Hz, never 0 on success
    uint32_t blockAlign = 0;   // bytes per sample, never 0 on success
    const uint8_t* data = nullptr;  // the first sample, inside the image
    uint32_t samples = 0;      // at least 1 on success
};

// Reads a RIFF WAVE image: chunks from offset 12; the first "fmt " chunk
// (at least 16 bytes, exactly one channel) gives rate and block align; the
// "data" chunk ends the walk. Other chunks are skipped, with the pad byte
// behind an odd size when it is 0 (a non-zero byte there starts the next
// chunk, deliberately). Refused: no "RIFF"/"WAVE", a chunk header or body
// beyond the end, a missing pad byte, a "data" chunk before "fmt ", larger
// than the image or with no whole sample, a rate or block align of 0.
bool ParseHeadphoneWav(const uint8_t* in_pImage, uint64_t in_uImageBytes, HeadphoneWav* out_pWav);

// The interpolation filter: a Hamming-windowed sinc of 511 taps with its
// cutoff at 5/48 of the four-fold rate, normalised to a sum of 1, which puts
// 0.208284656892 at the centre tap. Built once, on first use.
const double* HeadphoneFilterTaps();

// Resamples in_uSamples samples from in_uFileRateHz to in_uStreamRateHz:
// zero-stuffing by 4 (samples times 4, three zeros after each, one zero at
// the end), the 511-tap filter in double precision, then linear
// interpolation with step 4F / R (a sample beyond the end reads as 0).
// Returns a new[] array the caller deletes, its length in *out_pSamples;
// null when a rate is 0, the result would exceed
// OV::OV_FREQDATA_MAX_IMPULSE_SAMPLES or memory runs out.
float* ResampleHeadphoneImpulse(const float* in_pSamples, uint32_t in_uSamples, uint32_t in_uFileRateHz,
                                uint32_t in_uStreamRateHz, uint32_t* out_pSamples);

// The whole way from image to block, for a stream at in_uStreamRateHz.
// Samples are 16-bit (scale 1/32767), 24-bit (2^-23) or 32-bit integers
// (2^-31; a float file is read as integers, deliberately); other widths are
// refused. Trailing samples of exactly 0 are dropped, one always stays.
// Returns a block from in_pAllocator (free it there) and its size in
// *out_pBytes, or null.
uint8_t* BuildHeadphoneFreqData(const uint8_t* in_pImage, uint64_t in_uImageBytes, uint32_t in_uStreamRateHz,
                                IOvMemAlloc* in_pAllocator, uint32_t* out_pBytes);
