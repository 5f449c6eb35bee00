#include "common/WavReader.h"

#include <cmath>
#include <cstring>
#include <new>

#include "common/WavMemoryStream.h"

namespace {

float ConvertSample(const uint8_t* p, uint32_t code)
{
    switch (code) {
    case 0: return static_cast<float>((static_cast<double>(p[0]) - 128.0) * 0.0078125);
    case 1: {
        const int16_t s = static_cast<int16_t>(p[0] | (p[1] << 8));
        return static_cast<float>(s * 3.0517578125e-5);
    }
    case 2: {
        int32_t v = p[0] | (p[1] << 8) | (p[2] << 16);
        // Negatives land one step nearer zero than two's complement; intended.
        if (v > 0x7fffff)
            v = (v & 0x7fffff) - 0x7fffff;
        return static_cast<float>(v * 1.1920928955078125e-7);
    }
    default: {
        const uint32_t u = static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
                           (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
        int32_t s;
        std::memcpy(&s, &u, 4);
        return static_cast<float>(s * 4.656612873077393e-10);
    }
    }
}

}  // namespace

WavReader::~WavReader()
{
    Clear();
}

void WavReader::Clear()
{
    delete[] samples;
    delete stream;
    samples = nullptr;
    stream = nullptr;
    riffSize = frameCount = sampleRate = channels = bitsPerSample = sampleCode = 0;
}

uint32_t WavReader::FindChunk(const char* tag)
{
    for (int64_t p = 12;; ++p) {
        char code[4];
        if (stream->Seek(p, 0) != 0 || !stream->ReadExact(code, 4))
            return 0;
        if (std::memcmp(code, tag, 4) != 0)
            continue;
        uint32_t chunkBytes = 0;
        if (!stream->ReadU32(&chunkBytes))
            return 0;
        if (static_cast<int64_t>(chunkBytes) <= stream->Remaining())
            return chunkBytes;
    }
}

bool WavReader::Load(const void* data, uint64_t size, bool loadSamples)
{
    if (!data || size == 0 || size > 0x7fffffffu)
        return false;
    Clear();
    stream = new (std::nothrow) WavMemoryStream(static_cast<const uint8_t*>(data), static_cast<int32_t>(size));
    if (!stream)
        return false;
    char code[4];
    if (!stream->ReadExact(code, 4) || std::memcmp(code, "RIFF", 4) != 0)
        return false;
    // size - 8 in 64 bits: an image below 8 bytes cannot hold any RIFF size.
    if (!stream->ReadU32(&riffSize) || riffSize == 0 ||
        static_cast<int64_t>(riffSize) > static_cast<int64_t>(size) - 8)
        return false;
    if (!stream->ReadExact(code, 4) || std::memcmp(code, "WAVE", 4) != 0)
        return false;
    if (FindChunk("fmt ") < 16)
        return false;
    uint16_t tag = 0, channelCount = 0, blockAlign = 0, bits = 0;
    uint32_t byteRate = 0;
    if (!stream->ReadU16(&tag) || (tag != 1 && tag != 3))
        return false;
    if (!stream->ReadU16(&channelCount) || (channelCount != 1 && channelCount != 2))
        return false;
    if (!stream->ReadU32(&sampleRate) || sampleRate == 0)
        return false;
    if (!stream->ReadU32(&byteRate) || !stream->ReadU16(&blockAlign) || !stream->ReadU16(&bits))
        return false;
    if (bits != 8 && bits != 16 && bits != 24 && bits != 32)
        return false;
    // Float samples are always read as 4 bytes, so a float header naming
    // fewer bits would make the frame count overstate the data.
    if (tag == 3 && bits != 32)
        return false;
    channels = channelCount;
    bitsPerSample = bits;
    sampleCode = tag == 3 ? 4u : bits / 8u - 1u;
    frameCount = FindChunk("data") / (bits / 8u) / channels;
    if (frameCount == 0)
        return false;
    return loadSamples ? ReadSamples() : true;
}

bool WavReader::ReadSamples()
{
    if (!stream || samples || frameCount == 0)
        return false;
    const uint64_t count = static_cast<uint64_t>(frameCount) * channels;
    const uint64_t bytesPerSample = sampleCode == 4 ? 4 : bitsPerSample / 8;
    const uint64_t bytes = count * bytesPerSample;
    if (bytes > static_cast<uint64_t>(stream->Remaining()))
        return false;
    float* converted = new (std::nothrow) float[count];
    if (!converted)
        return false;
    if (sampleCode == 4) {
        bool finite = stream->ReadExact(converted, bytes);
        for (uint64_t i = 0; finite && i < count; ++i)
            finite = std::isfinite(converted[i]);
        if (!finite) {
            delete[] converted;
            return false;
        }
    } else {
        uint8_t* raw = new (std::nothrow) uint8_t[bytes];
        if (!raw || !stream->ReadExact(raw, bytes)) {
            delete[] raw;
            delete[] converted;
            return false;
        }
        for (uint64_t i = 0; i < count; ++i)
            converted[i] = ConvertSample(raw + i * bytesPerSample, sampleCode);
        delete[] raw;
    }
    samples = converted;
    return true;
}
