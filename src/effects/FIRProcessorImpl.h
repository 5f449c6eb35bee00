// FIR effect: convolves the stream with an impulse from a WAV image through
// PartitionedFIRConvolver. The chain's blocks are cut into partitions of P
// frames; a block whose count is not a multiple of P leaves its last frames
// waiting for the next block (the front end always sends multiples), and the
// end of the stream convolves them padded with silence. Everything the
// effect gives, bypassed or not, leaves through one output FIFO, so a block
// may return more or fewer frames than it got but no frame is lost or
// doubled: entering bypass, or a new impulse, first plays the frames still
// inside the convolver dry.
//
// SetImpulse parses, resamples and transforms on the caller's thread while
// the old convolver keeps playing; only the swap holds the effect's mutex,
// which Process holds for its whole block.
#pragma once

#include <cstdint>
#include <mutex>

#include "effects/FIRProcessor.h"

class AudioFifo;
class PartitionedFIRConvolver;

class FIRProcessorImpl final : public FIRProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static FIRProcessor* Create();

    bool Init(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate) override;
    void Destroy() override;
    void Process(float* samples, bool* draining, uint32_t* frames) override;
    void SetBypass(bool bypass) override { this->bypass = bypass; }
    void Reset() override;
    bool SetImpulse(const void* data, uint64_t size) override;

    virtual ~FIRProcessorImpl();

private:
    FIRProcessorImpl() = default;
    void Release();
    // Plays what the convolver still holds dry, then the frames waiting for
    // a partition, into outputFifo.
    void FlushDry();
    void ConvolvePartition(const float* const* input);
    void PointPlanes(float* storage);

    std::mutex mutex;
    bool bypass = true;
    uint32_t maxFrames = 0;
    uint32_t channels = 0;
    uint32_t sampleRate = 0;
    PartitionedFIRConvolver* convolver = nullptr;
    uint32_t partitionSize = 0;
    AudioFifo* outputFifo = nullptr;
    float** channelPointers = nullptr;
    const float** inputPointers = nullptr;  // partitions read in place from the block
    // blockOutput and pending: channels planes of partitionSize floats each,
    // in one allocation.
    float* partitionStorage = nullptr;
    float** blockOutput = nullptr;
    float** pending = nullptr;
    uint32_t pendingFrames = 0;
};
