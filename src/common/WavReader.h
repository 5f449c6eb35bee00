// In-memory RIFF WAVE reader for impulse images. Chunks are found by a byte
// scan from offset 12 whose size must fit the rest of the image, so "data"
// may come before "fmt ". Accepts tag 1 (PCM, 8/16/24/32 bits) and tag 3
// (IEEE float, 32 bits), one or two channels, a non-zero rate. Samples come
// out as interleaved floats; float images holding NaN or Inf are refused.
#pragma once

#include <cstdint>

class WavMemoryStream;

class WavReader {
public:
    WavReader() = default;
    ~WavReader();
    WavReader(const WavReader&) = delete;
    WavReader& operator=(const WavReader&) = delete;

    // size is refused above INT32_MAX. With loadSamples false the stream is
    // left at the first sample for a later ReadSamples.
    bool Load(const void* data, uint64_t size, bool loadSamples);
    bool ReadSamples();

    const float* Samples() const { return samples; }
    uint32_t FrameCount() const { return frameCount; }
    uint32_t SampleRate() const { return sampleRate; }
    uint32_t Channels() const { return channels; }
    uint32_t BitsPerSample() const { return bitsPerSample; }
    uint32_t SampleCode() const { return sampleCode; }
    uint32_t RiffSize() const { return riffSize; }

private:
    void Clear();
    // Size of the first fitting chunk called tag, 0 when none; the stream
    // then stands behind its size field.
    uint32_t FindChunk(const char* tag);

    float* samples = nullptr;
    WavMemoryStream* stream = nullptr;
    uint32_t riffSize = 0;
    uint32_t frameCount = 0;
    uint32_t sampleRate = 0;
    uint32_t channels = 0;
    uint32_t bitsPerSample = 0;
    uint32_t sampleCode = 0;
};
