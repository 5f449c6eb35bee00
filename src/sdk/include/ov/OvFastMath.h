// Fast log10 and 10^x on the float's bits, for gain computers that run per
// sample (compressor, limiter, filter design). FastLog10 is within 8e-4 of
// log10, FastPow10 within 0.25 % of 10^x; dB values of parameter blocks go
// through powf instead.
#pragma once

#include <cstdint>
#include <cstring>

namespace OV {

// log10 of |x|: exponent plus a short atanh series of the mantissa. Any bit
// pattern gives a finite result: 0 about -38.2, infinities and NaN about 38.5.
inline float FastLog10(float in_fX)
{
    uint32_t uBits;
    std::memcpy(&uBits, &in_fX, sizeof uBits);
    const int32_t iExponent = int32_t((uBits << 1) >> 24) - 127;  // sign bit dropped
    const uint32_t uMantissaBits = (uBits & 0x007FFFFFu) | 0x3F800000u;
    float fMantissa;  // in [1, 2)
    std::memcpy(&fMantissa, &uMantissaBits, sizeof fMantissa);
    const float t = (fMantissa - 1.0f) / (fMantissa + 1.0f);
    return (float(iExponent) * 0.6931472f + 2.0f * t * (1.0f + t * t * 0.33333334f)) * 0.4342945f;
}

// 10^x: x scaled into the float's exponent field, the mantissa's fraction
// refined by a quadratic. 0 below x = -37 (-inf included); +inf saturates
// near the largest finite float; NaN gives NaN, never an integer conversion
// of it. FastPow10(0) is 0.999039, intended.
inline float FastPow10(float in_fX)
{
    if (in_fX < -37.0f)
        return 0.0f;
    if (in_fX != in_fX)
        return in_fX;
    float fBits = in_fX * 27866352.0f + 1065353216.0f;
    if (fBits > 2139094912.0f)  // saturate near the largest finite float
        fBits = 2139094912.0f;
    const uint32_t uBits = uint32_t(int32_t(fBits));
    const uint32_t uExponentBits = uBits & 0xFF800000u;
    const uint32_t uMantissaBits = (uBits & 0x007FFFFFu) | 0x3F800000u;
    float fExponent, fMantissa;
    std::memcpy(&fExponent, &uExponentBits, sizeof fExponent);
    std::memcpy(&fMantissa, &uMantissaBits, sizeof fMantissa);
    return fExponent * (0.65304345f + fMantissa * (0.020805772f + fMantissa * 0.32518977f));
}

// Linear gain of a dB value.
inline float FastPow10FromDb(float in_fDb)
{
    return FastPow10(in_fDb * 0.05f);
}

}  // namespace OV
