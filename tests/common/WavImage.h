// Byte-by-byte builder of WAV images for the reader and headphone tests.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

struct WavImage {
    std::vector<uint8_t> bytes;

    WavImage& Tag(const char* four)
    {
        bytes.insert(bytes.end(), four, four + 4);
        return *this;
    }
    WavImage& U16(uint32_t v)
    {
        bytes.push_back(static_cast<uint8_t>(v));
        bytes.push_back(static_cast<uint8_t>(v >> 8));
        return *this;
    }
    WavImage& U32(uint32_t v)
    {
        for (int i = 0; i < 4; ++i)
            bytes.push_back(static_cast<uint8_t>(v >> (8 * i)));
        return *this;
    }
    WavImage& F32(float x)
    {
        uint32_t v;
        std::memcpy(&v, &x, 4);
        return U32(v);
    }
    WavImage& Raw(const std::vector<uint8_t>& b)
    {
        bytes.insert(bytes.end(), b.begin(), b.end());
        return *this;
    }
    // "fmt " chunk of 16 bytes; byte rate and block align follow the rest.
    WavImage& Fmt(uint32_t tag, uint32_t channels, uint32_t rateHz, uint32_t bits, uint32_t chunkBytes = 16)
    {
        Tag("fmt ").U32(chunkBytes).U16(tag).U16(channels).U32(rateHz);
        U32(rateHz * channels * bits / 8).U16(channels * bits / 8).U16(bits);
        for (uint32_t i = 16; i < chunkBytes; ++i)
            bytes.push_back(0);
        return *this;
    }
    WavImage& Data(const std::vector<uint8_t>& samples, uint32_t declaredBytes)
    {
        return Tag("data").U32(declaredBytes).Raw(samples);
    }
    WavImage& Data(const std::vector<uint8_t>& samples)
    {
        return Data(samples, static_cast<uint32_t>(samples.size()));
    }
};

// "RIFF", the size of everything behind it, "WAVE", then the chunks.
inline std::vector<uint8_t> Riff(const WavImage& chunks)
{
    WavImage image;
    image.Tag("RIFF").U32(static_cast<uint32_t>(chunks.bytes.size() + 4)).Tag("WAVE").Raw(chunks.bytes);
    return image.bytes;
}

inline std::vector<uint8_t> FloatBytes(const std::vector<float>& values)
{
    WavImage w;
    for (float x : values)
        w.F32(x);
    return w.bytes;
}
