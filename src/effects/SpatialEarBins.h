// Spatial audio's per-ear sums in the frequency domain: each ear's speaker
// products (18 complex products per bin, see SpatialAudioEngine.h for the
// wiring) times the block's gains, in two groups, the extra pair apart.
//
// Transforms and responses come in the packed layout of FFmpegRealFft, 1024
// floats: [0] bin 0 and [1] bin 512, both real, then bins 1 to 511 as re, im.
// The sums go out in that layout. The scalar form reads the response tables
// as generated (bins 0 to 512 as re, im, 1026 floats). The SSE form reads
// them split by SplitSpatialResponse (the packed layout with its 512 real
// parts first, then its 512 imaginary parts), so four bins go through plain
// vector multiplies and adds with no shuffles on the tables; it does the
// same arithmetic in the same order per bin and gives the scalar form's
// results bit for bit.
#pragma once

#include <cstdint>

struct SpatialInputBins {
    const float* primary;
    const float* ambient;
    const float* inverted;  // the inverted ambient signal
    const float* left;
};

struct SpatialEarSums {
    float* mainLeft;  // centre, front, side and rear
    float* mainRight;
    float* extraLeft;
    float* extraRight;
};

// Linear gains of the block.
struct SpatialEarGains {
    float center, frontLeft, frontRight, sideLeft, sideRight, rearLeft, rearRight, extraLeft, extraRight;
};

constexpr uint32_t kSpatialEarBinFloats = 1024;

// responses: the 18 slots as generated, 1026 floats each.
void SumEarBinsScalar(const SpatialInputBins& in, const float* const* responses, const SpatialEarGains& g,
                         const SpatialEarSums& out);

// One generated table (1026 floats) into split form (1024 floats).
void SplitSpatialResponse(const float* response, float* split);

// splitResponses: the 18 slots in split form. Every array starts on a
// 16-byte boundary.
void SumEarBinsSse(const SpatialInputBins& in, const float* const* splitResponses, const SpatialEarGains& g,
                      const SpatialEarSums& out);
