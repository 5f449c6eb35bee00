#include "frontend/OvSampleConverter.h"

#include <cmath>
#include <cstring>
#include <new>

namespace {

// Truncation toward zero with the x86 rule for values out of range (and NaN):
// the most negative 32-bit value.
inline int32_t TruncateToInt32(float v)
{
    if (v >= -2147483648.0f && v < 2147483648.0f)
        return static_cast<int32_t>(v);
    return INT32_MIN;
}

// A sample that is not a number or infinite, from a broken decoder or an
// effect gone astray, becomes silence at either end of the chain: it would
// otherwise poison every filter's state, or reach an integer conversion.
inline float Finite(float x)
{
    return std::isfinite(x) ? x : 0.0f;
}

template <typename Sample, typename ToFloat>
void ToPlanes(const void* input, float* planes, uint32_t frames, uint32_t channels,
              uint32_t stride, ToFloat toFloat)
{
    const Sample* in = static_cast<const Sample*>(input);
    for (uint32_t c = 0; c < channels; ++c) {
        float* plane = planes + size_t(c) * stride;
        for (uint32_t i = 0; i < frames; ++i)
            plane[i] = toFloat(in[size_t(i) * channels + c]);
    }
}

template <typename Sample, typename FromFloat>
void FromPlanes(const float* planes, void* output, uint32_t frames, uint32_t channels,
                uint32_t stride, FromFloat fromFloat)
{
    Sample* out = static_cast<Sample*>(output);
    for (uint32_t c = 0; c < channels; ++c) {
        const float* plane = planes + size_t(c) * stride;
        for (uint32_t i = 0; i < frames; ++i)
            out[size_t(i) * channels + c] = fromFloat(plane[i]);
    }
}

}  // namespace

OvSampleConverter* OvSampleConverter::Create()
{
    return new (std::nothrow) OvSampleConverter();
}

void OvSampleConverter::Destroy()
{
    delete this;
}

bool OvSampleConverter::Init(uint32_t maxFrames_, uint32_t channels_, uint32_t sampleRate_,
                             AUDIO_SAMPLEFORMAT inputFormat_, AUDIO_SAMPLEFORMAT outputFormat_)
{
    maxFrames = maxFrames_;
    channels = channels_;
    sampleRate = sampleRate_;
    inputFormat = inputFormat_;
    outputFormat = outputFormat_;
    return inputFormat == AUDIO_SAMPLEFORMAT_PLANAR_FLOAT ||
           outputFormat == AUDIO_SAMPLEFORMAT_PLANAR_FLOAT;
}

void OvSampleConverter::Convert(const void* input, void* output, uint32_t frames) const
{
    if (!input || !output)
        return;
    if (frames > maxFrames)
        frames = maxFrames;
    if (outputFormat == AUDIO_SAMPLEFORMAT_PLANAR_FLOAT) {
        float* planes = static_cast<float*>(output);
        switch (inputFormat) {
        case AUDIO_SAMPLEFORMAT_U8:
            ToPlanes<uint8_t>(input, planes, frames, channels, maxFrames,
                              [](uint8_t b) { return float(b) * 0.0078125f; });
            break;
        case AUDIO_SAMPLEFORMAT_S16:
            ToPlanes<int16_t>(input, planes, frames, channels, maxFrames,
                              [](int16_t s) { return float(s) * (1.0f / 32768.0f); });
            break;
        case AUDIO_SAMPLEFORMAT_S32:
            ToPlanes<int32_t>(input, planes, frames, channels, maxFrames,
                              [](int32_t s) { return float(s) * (1.0f / 2147483648.0f); });
            break;
        case AUDIO_SAMPLEFORMAT_FLOAT:
            ToPlanes<float>(input, planes, frames, channels, maxFrames, [](float x) { return Finite(x); });
            break;
        case AUDIO_SAMPLEFORMAT_DOUBLE:
            ToPlanes<double>(input, planes, frames, channels, maxFrames,
                             [](double d) { return Finite(float(d)); });
            break;
        default:  // planar in and out, or unknown: nothing is written
            break;
        }
        return;
    }
    if (inputFormat != AUDIO_SAMPLEFORMAT_PLANAR_FLOAT)
        return;
    const float* planes = static_cast<const float*>(input);
    switch (outputFormat) {
    case AUDIO_SAMPLEFORMAT_U8:
        FromPlanes<uint8_t>(planes, output, frames, channels, maxFrames, [](float x) {
            return uint8_t(uint32_t(TruncateToInt32((Finite(x) + 128.0f) * 128.0f)) & 0xffu);
        });
        break;
    case AUDIO_SAMPLEFORMAT_S16:
        FromPlanes<int16_t>(planes, output, frames, channels, maxFrames, [](float x) {
            return int16_t(uint16_t(uint32_t(TruncateToInt32(Finite(x) * 32768.0f)) & 0xffffu));
        });
        break;
    case AUDIO_SAMPLEFORMAT_S32:
        FromPlanes<int32_t>(planes, output, frames, channels, maxFrames,
                            [](float x) { return TruncateToInt32(Finite(x) * 2147483648.0f); });
        break;
    case AUDIO_SAMPLEFORMAT_FLOAT:
        FromPlanes<float>(planes, output, frames, channels, maxFrames, [](float x) { return Finite(x); });
        break;
    case AUDIO_SAMPLEFORMAT_DOUBLE:
        FromPlanes<double>(planes, output, frames, channels, maxFrames,
                           [](float x) { return double(Finite(x)); });
        break;
    default:
        break;
    }
}
