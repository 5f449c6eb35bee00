// Frame FIFO over byte rings: one ring for interleaved data, one per channel
// for planar data. Capacity doubles on demand, so a stream settles at a fixed
// size after a few blocks. Results follow the convention of negated errno
// values: -22 for a bad argument, -14 for a ring that could not take the data,
// -12 when growing ran out of memory.
#pragma once

#include <cstdint>

class AudioFifo {
public:
    // sampleSize in bytes. Bad arguments or exhausted memory leave a FIFO
    // without rings, whose writes fail.
    AudioFifo(int32_t sampleSize, int32_t channels, int32_t planar, int32_t capacity);
    ~AudioFifo();
    AudioFifo(const AudioFifo&) = delete;
    AudioFifo& operator=(const AudioFifo&) = delete;

    // planes holds one pointer per ring. Returns n, or a negative error.
    int32_t Write(const void* const* planes, int32_t n);
    // Reads up to n frames into contiguous caller planes; returns the count.
    int32_t Read(void* const* planes, int32_t n);
    // Copies up to n frames into contiguous caller planes and keeps them;
    // returns the count.
    int32_t Peek(void* const* planes, int32_t n) const;
    // Moves up to n frames to the end of to, which must have the same frame
    // layout, ring to ring; to grows as a Write of them would make it.
    // Returns the count moved, or a negative error with both FIFOs as they were.
    int32_t Transfer(AudioFifo& to, int32_t n);
    // Discards up to n frames; returns 0 or a negative error.
    int32_t Drain(int32_t n);
    void Reset();
    int32_t Size() const { return frames; }
    int32_t Space() const { return capacity - frames; }
    int32_t Planes() const { return planes; }

private:
    struct Ring {
        uint8_t* data = nullptr;
        int64_t readPos = 0;   // bytes
        int64_t writePos = 0;  // bytes
    };

    bool Grow(int32_t newCapacity);
    // Appends bytes to one ring at its write position, across its end if need be.
    void PutBytes(Ring& ring, const uint8_t* src, int64_t bytes);
    void ReleaseRings();

    Ring* rings = nullptr;
    int32_t planes = 0;
    int32_t bytesPerFrame = 0;
    int32_t sampleSize = 0;
    int32_t channels = 0;
    int32_t planar = 0;
    int32_t frames = 0;
    int32_t capacity = 0;
};
