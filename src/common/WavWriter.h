// Writes interleaved floats as an in-memory RIFF WAVE image that WavReader
// reads back: PCM 16/24/32 bits (codes 1 to 3, 44-byte header) or IEEE
// float (code 4, 18-byte "fmt " and a "fact" chunk behind the samples).
// PCM values are scaled, clamped to the integer range, then truncated.
#pragma once

#include <cstddef>
#include <cstdint>

struct WavFormat {
    uint32_t sampleCode;  // 0 8-bit, 1 16-bit, 2 24-bit, 3 32-bit PCM, 4 float
    uint32_t channels;
    uint32_t sampleRate;
};

class WavWriter {
public:
    static constexpr int32_t kDone = 0;
    static constexpr int32_t kUnsupportedCode = 1;
    static constexpr int32_t kNoMemory = 2;

    WavWriter() = default;
    ~WavWriter() { delete[] buffer; }
    WavWriter(const WavWriter&) = delete;
    WavWriter& operator=(const WavWriter&) = delete;

    // 8-bit and unknown codes give kUnsupportedCode; an image that would not
    // fit 32-bit RIFF sizes, or no memory, gives kNoMemory.
    int32_t Write(const WavFormat& format, const float* samples, uint32_t frames);
    const uint8_t* Data() const { return buffer; }
    size_t Size() const { return cursor; }

private:
    void Put(const void* bytes, size_t n);
    void PutU16(uint32_t v);
    void PutU32(uint32_t v);

    uint8_t* buffer = nullptr;
    size_t cursor = 0;
    size_t bufferSize = 0;
};
