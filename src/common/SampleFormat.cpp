#include "common/SampleFormat.h"

uint32_t BytesPerSample(AUDIO_SAMPLEFORMAT format)
{
    switch (format) {
    case AUDIO_SAMPLEFORMAT_U8: return 1;
    case AUDIO_SAMPLEFORMAT_S16: return 2;
    case AUDIO_SAMPLEFORMAT_DOUBLE: return 8;
    default: return 4;
    }
}

AUDIO_SAMPLEFORMAT NormalizeSampleFormat(AUDIO_SAMPLEFORMAT format)
{
    switch (format) {
    case AUDIO_SAMPLEFORMAT_U8:
    case AUDIO_SAMPLEFORMAT_S16:
    case AUDIO_SAMPLEFORMAT_S32:
    case AUDIO_SAMPLEFORMAT_DOUBLE:
    case AUDIO_SAMPLEFORMAT_PLANAR_FLOAT: return format;
    default: return AUDIO_SAMPLEFORMAT_FLOAT;
    }
}

uint32_t FloorPowerOfTwo(uint32_t x)
{
    if ((x & (x - 1)) == 0)
        return x;
    x |= x >> 1;
    x |= x >> 2;
    x |= x >> 4;
    x |= x >> 8;
    x |= x >> 16;
    // For x above 2^31 the increment wraps to 0; the top bit is the answer.
    return x == 0xffffffffu ? 0x80000000u : (x + 1) >> 1;
}
