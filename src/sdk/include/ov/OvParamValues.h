// Values as parameter objects read and write them: little-endian fields of a
// packed block or a SetParam buffer, at any alignment (every target of this
// library is little-endian), gains given in dB, the domain every setter
// holds its value to, and the check at the end of every SetAllParams.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

#include "ov/OvAssert.h"

namespace OV {

// The T stored at in_pBytes.
template <class T>
inline T ReadLE(const void* in_pBytes)
{
    T value;
    std::memcpy(&value, in_pBytes, sizeof(T));
    return value;
}

// Stores in_value at out_pBytes.
template <class T>
inline void WriteLE(void* out_pBytes, T in_value)
{
    std::memcpy(out_pBytes, &in_value, sizeof(T));
}

// Linear gain of a level in dB. Defined for every input: -inf gives 0, +inf
// gives +inf and NaN gives NaN, so callers hold the level to a domain first.
inline float DbToLinear(float in_fDb)
{
    return powf(10.0f, in_fDb * 0.05f);
}

// in_fValue held to [in_fMin, in_fMax]. A NaN lies in no domain and gives
// in_fPrevious back, so that it never replaces a working setting.
inline float ClampToDomain(float in_fValue, float in_fMin, float in_fMax, float in_fPrevious)
{
    if (std::isnan(in_fValue))
        return in_fPrevious;
    return in_fValue < in_fMin ? in_fMin : (in_fValue > in_fMax ? in_fMax : in_fValue);
}

// Linear gain of a level in dB held to [in_fMinDb, in_fMaxDb]; a NaN gives
// in_fPreviousLinear back. Within the bounds the same as DbToLinear.
inline float DbToLinearInDomain(float in_fDb, float in_fMinDb, float in_fMaxDb, float in_fPreviousLinear)
{
    if (std::isnan(in_fDb))
        return in_fPreviousLinear;
    return DbToLinear(ClampToDomain(in_fDb, in_fMinDb, in_fMaxDb, 0.0f));
}

}  // namespace OV

// The end of every SetAllParams: a block longer than the fields it read is
// reported, in the frame's words, though its fields stand. Short blocks are
// refused before anything is read, so only a surplus can get here. A macro,
// so that the report names the plug-in's file and line.
#define OV_CHECK_BLOCK_END(in_uBlockSize, in_uBytesRead) \
    OV_ASSERT_TEXT((in_uBlockSize) == (in_uBytesRead), "in_ulBlockSize == 0 || eResult != OV_Success")
