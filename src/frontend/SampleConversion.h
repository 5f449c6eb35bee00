// The block converters between interleaved host PCM and the chain's planar
// float (sample i of channel c at c * stride + i on the planar side, at
// i * channels + c on the interleaved side), in two forms with the same bits:
// a scalar form, which is the reference, and an SSE2 form, which the chain
// uses. Single-precision arithmetic except for the double format.
//
// In:  8-bit b * 2^-7 (the bias stays), 16-bit s * 2^-15, 32-bit s * 2^-31
//      rounded to float, float as it is, double rounded to float.
// Out: 8-bit low byte of trunc((x + 128) * 128), 16-bit low 16 bits of
//      trunc(x * 2^15), 32-bit trunc(x * 2^31) with the most negative value
//      for anything out of range, float as it is, double widened.
// No clamp on the way out: beyond full scale wraps; intended, the limiter
// keeps samples in range. NaN and infinity become +0 at either end.
// Formats other than 0..4 write nothing.
#pragma once

#include <cmath>
#include <cstdint>

#include "lxaudioeffects/AudioTypes.h"

namespace sampleconversion {

// Truncation toward zero with the x86 rule for values out of range: the most
// negative 32-bit value.
inline int32_t TruncateToInt32(float v)
{
    if (v >= -2147483648.0f && v < 2147483648.0f)
        return static_cast<int32_t>(v);
    return INT32_MIN;
}

// A sample that is not a number or infinite, from a broken decoder or an
// effect gone astray, becomes silence: it would otherwise poison every
// filter's state, or reach an integer conversion.
inline float Finite(float x)
{
    return std::isfinite(x) ? x : 0.0f;
}

// One sample each way, per format; the scalar form is made of these.
inline float U8ToFloat(uint8_t b) { return float(b) * 0.0078125f; }
inline float S16ToFloat(int16_t s) { return float(s) * (1.0f / 32768.0f); }
inline float S32ToFloat(int32_t s) { return float(s) * (1.0f / 2147483648.0f); }
inline float FloatToFloat(float x) { return Finite(x); }
inline float DoubleToFloat(double d) { return Finite(float(d)); }

inline uint8_t FloatToU8(float x)
{
    return uint8_t(uint32_t(TruncateToInt32((Finite(x) + 128.0f) * 128.0f)) & 0xffu);
}
inline int16_t FloatToS16(float x)
{
    return int16_t(uint16_t(uint32_t(TruncateToInt32(Finite(x) * 32768.0f)) & 0xffffu));
}
inline int32_t FloatToS32(float x) { return TruncateToInt32(Finite(x) * 2147483648.0f); }
inline double FloatToDouble(float x) { return double(Finite(x)); }

// frames frames of channels channels from interleaved format to planes.
void ToPlanesScalar(AUDIO_SAMPLEFORMAT format, const void* input, float* planes, uint32_t frames,
                    uint32_t channels, uint32_t stride);
void ToPlanesSse2(AUDIO_SAMPLEFORMAT format, const void* input, float* planes, uint32_t frames,
                  uint32_t channels, uint32_t stride);
// frames frames of channels channels from planes to interleaved format.
void FromPlanesScalar(AUDIO_SAMPLEFORMAT format, const float* planes, void* output, uint32_t frames,
                      uint32_t channels, uint32_t stride);
void FromPlanesSse2(AUDIO_SAMPLEFORMAT format, const float* planes, void* output, uint32_t frames,
                    uint32_t channels, uint32_t stride);

}  // namespace sampleconversion
