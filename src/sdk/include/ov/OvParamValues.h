// Values as parameter objects read them: little-endian fields of a packed
// block or a SetParam buffer, at any alignment (every target of this library
// is little-endian), and gains given in dB.
#pragma once

#include <cmath>
#include <cstring>

namespace OV {

// The T stored at in_pBytes.
template <class T>
inline T ReadLE(const void* in_pBytes)
{
    T value;
    std::memcpy(&value, in_pBytes, sizeof(T));
    return value;
}

// Linear gain of a level in dB.
inline float DbToLinear(float in_fDb)
{
    return powf(10.0f, in_fDb * 0.05f);
}

}  // namespace OV
