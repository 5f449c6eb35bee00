// Uniformly partitioned FIR convolution on real FFTs of 2P points. The
// impulse is cut into partitions of P frames, each transformed once; every
// block of P input frames is transformed, kept in a frequency-domain delay
// line, and multiplied with all partition spectra at once. The inverse gives
// two halves that a three-slot overlap ring sums into the output, which thus
// lags the input by one block; the first block's output is dropped, so the
// stream neither gains nor loses frames at the front. The input of the last
// block waits in a FIFO so that a switch to bypass can play it dry.
//
// P is the largest power of two not above the smallest of: half the impulse
// padded to a power of two (at least 16, at most 65536 frames), the block
// size, and 2048; never below 8. Output is normalised to unit impulse energy
// per channel. A mono impulse serves every channel.
//
// Spectra are stored split (real parts, then imaginary parts, then the
// Nyquist value) so the multiply-add streams through them.
#pragma once

#include <cstdint>

class AudioFifo;
class FFmpegRealFft;

class PartitionedFIRConvolver {
public:
    static constexpr uint32_t kMinPartition = 8;
    static constexpr uint32_t kMaxPartition = 2048;

    // Null when out of memory.
    static PartitionedFIRConvolver* Create();
    ~PartitionedFIRConvolver();
    PartitionedFIRConvolver(const PartitionedFIRConvolver&) = delete;
    PartitionedFIRConvolver& operator=(const PartitionedFIRConvolver&) = delete;

    // Stores the block size and channel count; false when either is 0.
    bool Init(uint32_t maxFrames, uint32_t channels);
    // channelData holds impulseChannels arrays of frames samples. False when
    // frames is 0, impulseChannels is neither 1 nor the stream's, the
    // impulse has no energy or is not finite, or memory runs out. Resets.
    bool SetImpulse(const float* const* channelData, uint32_t frames, uint32_t impulseChannels);

    // One block of *frames (at most P) frames; *frames becomes the count
    // written to output, 0 for the first block after Reset.
    void ProcessBlock(const float* const* input, float* const* output, uint32_t* frames);
    // The last block's convolution tail, from silent input; the caller
    // clears output. Resets.
    void FlushTail(float* const* output, uint32_t* frames);
    // The input frames whose output is still due, played dry; resets once
    // they are all out.
    void FlushDry(float* const* output, uint32_t* frames);
    void Reset();

    uint32_t PartitionSize() const { return partitionSize; }
    uint32_t PartitionCount() const { return partitionCount; }
    float NormalizeGain() const { return normalizeGain; }
    // Whether FlushDry has frames to give.
    bool HoldsDryFrames() const;

private:
    PartitionedFIRConvolver() = default;
    void Release();
    float* InputSlot(uint32_t channel, uint32_t slot) const;
    const float* ImpulsePartition(uint32_t impulseChannel, uint32_t partition) const;

    static constexpr float outputGain = 1.0f;
    static constexpr float inputGain = 1.0f;
    static constexpr float impulseLengthFactor = 1.0f;
    static constexpr bool autoNormalize = true;

    uint32_t maxFrames = 0;
    float normalizeGain = 1.0f;
    uint32_t impulseFrames = 0;
    uint32_t maxPartition = 0;
    uint32_t partitionSize = 0;
    uint32_t partitionIndex = 0;
    // Floats per stored spectrum: P real parts, P imaginary parts, the
    // Nyquist value, padded to whole 64-byte lines.
    uint32_t spectrumStride = 0;
    uint32_t partitionCount = 0;
    uint32_t channels = 0;
    uint32_t impulsePaddedFrames = 0;
    uint32_t impulseChannels = 0;
    bool sharedImpulse = false;

    FFmpegRealFft* transform = nullptr;
    float* fftBuffer = nullptr;       // 2P floats
    float* accumulator = nullptr;     // one split spectrum
    float* inputSpectra = nullptr;    // per channel, partitionCount spectra
    float* impulseSpectra = nullptr;  // per impulse channel, partitionCount spectra
    uint32_t overlapIndex = 0;
    float* overlaps = nullptr;  // per channel, three slots of P floats
    AudioFifo* dryFifo = nullptr;
    bool firstBlock = true;
};
