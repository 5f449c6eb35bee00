// Bounded reader over a byte image it does not own. Every position and size
// is compared in 64 bits against the end, so no header value can move a read
// past the image; a read that cannot be completed copies nothing.
#pragma once

#include <cstddef>
#include <cstdint>

class WavMemoryStream {
public:
    WavMemoryStream(const uint8_t* data, int32_t size) : data(data), size(size < 0 ? 0 : size) {}

    // Copies min(n, remaining) bytes and returns the count; 0 with a null pointer.
    size_t Read(void* dest, size_t n);
    // True only when all n bytes were there; otherwise nothing is consumed.
    bool ReadExact(void* dest, size_t n);
    bool ReadU16(uint16_t* value);
    bool ReadU32(uint32_t* value);
    // whence 0 from the start, 1 from the position, 2 as size - offset.
    // -1 for another whence or a target outside [0, size], else 0.
    int Seek(int64_t offset, int whence);
    int32_t Tell() const { return position; }
    int32_t Size() const { return size; }
    int64_t Remaining() const { return static_cast<int64_t>(size) - position; }

private:
    const uint8_t* data;
    int32_t size;
    int32_t position = 0;
};
