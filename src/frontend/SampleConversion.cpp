#include "frontend/SampleConversion.h"

namespace sampleconversion {

namespace {

template <typename Sample, typename ToFloat>
void ToPlanes(const void* input, float* planes, uint32_t frames, uint32_t channels, uint32_t stride,
              ToFloat toFloat)
{
    const Sample* in = static_cast<const Sample*>(input);
    for (uint32_t c = 0; c < channels; ++c) {
        float* plane = planes + size_t(c) * stride;
        for (uint32_t i = 0; i < frames; ++i)
            plane[i] = toFloat(in[size_t(i) * channels + c]);
    }
}

template <typename Sample, typename FromFloat>
void FromPlanes(const float* planes, void* output, uint32_t frames, uint32_t channels, uint32_t stride,
                FromFloat fromFloat)
{
    Sample* out = static_cast<Sample*>(output);
    for (uint32_t c = 0; c < channels; ++c) {
        const float* plane = planes + size_t(c) * stride;
        for (uint32_t i = 0; i < frames; ++i)
            out[size_t(i) * channels + c] = fromFloat(plane[i]);
    }
}

}  // namespace

void ToPlanesScalar(AUDIO_SAMPLEFORMAT format, const void* input, float* planes, uint32_t frames,
                    uint32_t channels, uint32_t stride)
{
    switch (format) {
    case AUDIO_SAMPLEFORMAT_U8:
        ToPlanes<uint8_t>(input, planes, frames, channels, stride, U8ToFloat);
        break;
    case AUDIO_SAMPLEFORMAT_S16:
        ToPlanes<int16_t>(input, planes, frames, channels, stride, S16ToFloat);
        break;
    case AUDIO_SAMPLEFORMAT_S32:
        ToPlanes<int32_t>(input, planes, frames, channels, stride, S32ToFloat);
        break;
    case AUDIO_SAMPLEFORMAT_FLOAT:
        ToPlanes<float>(input, planes, frames, channels, stride, FloatToFloat);
        break;
    case AUDIO_SAMPLEFORMAT_DOUBLE:
        ToPlanes<double>(input, planes, frames, channels, stride, DoubleToFloat);
        break;
    default:
        break;
    }
}

void FromPlanesScalar(AUDIO_SAMPLEFORMAT format, const float* planes, void* output, uint32_t frames,
                      uint32_t channels, uint32_t stride)
{
    switch (format) {
    case AUDIO_SAMPLEFORMAT_U8:
        FromPlanes<uint8_t>(planes, output, frames, channels, stride, FloatToU8);
        break;
    case AUDIO_SAMPLEFORMAT_S16:
        FromPlanes<int16_t>(planes, output, frames, channels, stride, FloatToS16);
        break;
    case AUDIO_SAMPLEFORMAT_S32:
        FromPlanes<int32_t>(planes, output, frames, channels, stride, FloatToS32);
        break;
    case AUDIO_SAMPLEFORMAT_FLOAT:
        FromPlanes<float>(planes, output, frames, channels, stride, FloatToFloat);
        break;
    case AUDIO_SAMPLEFORMAT_DOUBLE:
        FromPlanes<double>(planes, output, frames, channels, stride, FloatToDouble);
        break;
    default:
        break;
    }
}

}  // namespace sampleconversion
