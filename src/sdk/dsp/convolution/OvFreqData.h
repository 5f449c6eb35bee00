// The frequency data block: an impulse response cut into partitions and
// transformed, as the headphone effect writes it and the partitioned
// convolution engine reads it. One 16-byte aligned, little-endian block:
//
//   offset 0   OvFreqDataHeader (48 bytes)
//   offset 48  bin table: uNumCompressedPartition u16, the bins stored for
//              each partition (even counts)
//   then       zeros up to the next multiple of 16 from the block's start
//   then       the spectra, channel after channel; within a channel
//              partition after partition, each its bin count of ov_fft_cpx,
//              the lowest bins from DC up (bins not stored count as zero).
//
// A channel's spectra take uTotalCompressedBins * 8 bytes. Partition p of a
// block length B holds the impulse's samples (p - 1) B to (p + 1) B - 1 in one
// transform of 2B (samples before the start taken as zero), so that an
// impulse of L samples needs ceil(L / B) + 1 partitions.
#pragma once

#include <cstdint>

struct OvFreqDataHeader {
    uint32_t uBlockLength;             // partition length, samples
    uint32_t uFFTLength;               // transform length, twice uBlockLength
    uint32_t uSampleRate;              // Hz the block was made for
    uint32_t uChannelConfig;           // packed OvChannelConfig of the impulse
    uint32_t uNumIRPartition;          // partitions before any trimming
    uint32_t uReserved0[2];            // zero
    uint32_t uNumCompressedPartition;  // partitions stored
    uint32_t uTotalCompressedBins;     // sum of the bin table
    uint16_t uMaxCompressedNumBins;    // largest entry of the bin table
    uint8_t uReserved1[10];            // zero
};
static_assert(sizeof(OvFreqDataHeader) == 48, "the header is 48 bytes");

namespace OV {

constexpr uint32_t OV_FREQDATA_HEADER_BYTES = 48;
// Longest transform a block may ask for: the block length must fit a
// pipeline buffer's 16-bit frame count.
constexpr uint32_t OV_FREQDATA_MAX_FFT_LENGTH = 32768;

// Offset of the spectra from the block's start.
inline uint64_t FreqDataSpectraOffset(uint32_t in_uNumCompressedPartition)
{
    return OV_FREQDATA_HEADER_BYTES + ((uint64_t(in_uNumCompressedPartition) * 2 + 15) & ~uint64_t(15));
}

// Channels of the packed configuration (bits 0 to 7).
inline uint32_t FreqDataChannels(uint32_t in_uChannelConfig)
{
    return in_uChannelConfig & 0xFF;
}

// Whether in_uSize bytes at in_pData hold a block the engine can run: the
// header's sizes agree with each other (block length a non-zero multiple of
// 4, the transform twice it and at most OV_FREQDATA_MAX_FFT_LENGTH, at least
// one channel and one partition, bin counts even and at most half the
// transform), the bin table sums to uTotalCompressedBins and its largest
// entry is uMaxCompressedNumBins, the spectra of every channel lie inside
// the block, and the block is 16-byte aligned. On true, *out_pHeader holds a
// copy of the header. All sizes are compared in 64 bits.
bool ValidateFreqData(const uint8_t* in_pData, uint64_t in_uSize, OvFreqDataHeader* out_pHeader);

}  // namespace OV
