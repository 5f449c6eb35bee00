#include "common/WavWriter.h"

#include <cmath>
#include <cstring>
#include <new>

namespace {

int32_t ToPcm(float x, double scale, double low, double high)
{
    double v = static_cast<double>(x) * scale;
    if (!(v >= low))  // NaN goes to the bottom rather than through the cast
        v = low;
    if (v > high)
        v = high;
    return static_cast<int32_t>(v);
}

}  // namespace

void WavWriter::Put(const void* bytes, size_t n)
{
    if (n > bufferSize - cursor)
        return;  // by the sizes computed in Write this cannot happen
    std::memcpy(buffer + cursor, bytes, n);
    cursor += n;
}

void WavWriter::PutU16(uint32_t v)
{
    const uint8_t b[2] = {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8)};
    Put(b, 2);
}

void WavWriter::PutU32(uint32_t v)
{
    const uint8_t b[4] = {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v >> 16),
                          static_cast<uint8_t>(v >> 24)};
    Put(b, 4);
}

int32_t WavWriter::Write(const WavFormat& format, const float* samples, uint32_t frames)
{
    if (format.sampleCode == 0 || format.sampleCode > 4)
        return kUnsupportedCode;
    delete[] buffer;
    buffer = nullptr;
    cursor = bufferSize = 0;
    const bool isFloat = format.sampleCode == 4;
    const uint32_t bytesPerSample = isFloat ? 4 : format.sampleCode + 1;
    const uint64_t blockAlign = static_cast<uint64_t>(format.channels) * bytesPerSample;
    const uint64_t dataBytes = blockAlign * frames;
    const uint64_t riffSize = (isFloat ? 50 : 36) + dataBytes;
    if (!samples || blockAlign == 0 || blockAlign > 0xffff || riffSize + 8 > 0x7fffffffu ||
        static_cast<uint64_t>(format.sampleRate) * blockAlign > 0xffffffffu)
        return kNoMemory;
    bufferSize = static_cast<size_t>(riffSize + 8);
    buffer = new (std::nothrow) uint8_t[bufferSize];
    if (!buffer) {
        bufferSize = 0;
        return kNoMemory;
    }
    Put("RIFF", 4);
    PutU32(static_cast<uint32_t>(riffSize));
    Put("WAVE", 4);
    Put("fmt ", 4);
    PutU32(isFloat ? 18 : 16);
    PutU16(isFloat ? 3 : 1);
    PutU16(format.channels);
    PutU32(format.sampleRate);
    PutU32(static_cast<uint32_t>(format.sampleRate * blockAlign));
    PutU16(static_cast<uint32_t>(blockAlign));
    PutU16(bytesPerSample * 8);
    if (isFloat)
        PutU16(0);
    Put("data", 4);
    PutU32(static_cast<uint32_t>(dataBytes));
    const uint64_t count = static_cast<uint64_t>(frames) * format.channels;
    for (uint64_t i = 0; i < count; ++i) {
        const float x = samples[i];
        if (isFloat) {
            uint32_t bits;
            std::memcpy(&bits, &x, 4);
            PutU32(bits);
            continue;
        }
        int32_t v;
        if (format.sampleCode == 1)
            v = ToPcm(x, 32768.0, -32768.0, 32767.0);
        else if (format.sampleCode == 2)
            v = ToPcm(x, 8388608.0, -8388608.0, 8388607.0);
        else
            v = ToPcm(x, 2147483648.0, -2147483648.0, 2147483647.0);
        const uint32_t u = static_cast<uint32_t>(v);
        const uint8_t b[4] = {static_cast<uint8_t>(u), static_cast<uint8_t>(u >> 8), static_cast<uint8_t>(u >> 16),
                              static_cast<uint8_t>(u >> 24)};
        Put(b, bytesPerSample);
    }
    if (isFloat) {
        Put("fact", 4);
        PutU32(4);
        PutU32(frames);
    }
    return kDone;
}
