#include "frontend/SampleConversion.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace {

using namespace sampleconversion;

const size_t kSampleBytes[] = {1, 2, 4, 4, 8};

// Interleaved bytes of one format: random words with the edge values of the
// format mixed in (full scale, one step beyond, NaN, infinity, values that
// round or leave the float range).
std::vector<uint8_t> HostSamples(AUDIO_SAMPLEFORMAT format, size_t count, std::mt19937& rng)
{
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float tiny = std::numeric_limits<float>::denorm_min();
    const int32_t s32Edges[] = {INT32_MIN, INT32_MAX, 0, -1, 0x7fffffc0, 0x7fffff80, 16777217, -16777219};
    const int16_t s16Edges[] = {-32768, 32767, 0, -1};
    const float floatEdges[] = {1.0f, -1.0f, 2.5f, -0.0f, nan, -nan, inf, -inf, tiny, -tiny, 3e38f};
    const double doubleEdges[] = {1.0, -1.0, -0.0, 1e300, -1e300, 1e-300, 1.0 + 1.0 / (1 << 24),
                                  3.5e38, double(nan), double(inf), double(-inf), 1e-40};
    std::vector<uint8_t> bytes(count * kSampleBytes[format]);
    for (size_t i = 0; i < count; ++i) {
        uint8_t* at = bytes.data() + i * kSampleBytes[format];
        const bool edge = rng() % 3 == 0;
        switch (format) {
        case AUDIO_SAMPLEFORMAT_U8:
            *at = uint8_t(rng());
            break;
        case AUDIO_SAMPLEFORMAT_S16: {
            const int16_t s = edge ? s16Edges[rng() % 4] : int16_t(rng());
            std::memcpy(at, &s, 2);
            break;
        }
        case AUDIO_SAMPLEFORMAT_S32: {
            const int32_t s = edge ? s32Edges[rng() % 8] : int32_t(rng());
            std::memcpy(at, &s, 4);
            break;
        }
        case AUDIO_SAMPLEFORMAT_FLOAT: {
            const float x = edge ? floatEdges[rng() % 11] : std::normal_distribution<float>(0.0f, 1.0f)(rng);
            std::memcpy(at, &x, 4);
            break;
        }
        default: {
            const double d = edge ? doubleEdges[rng() % 12] : std::normal_distribution<double>(0.0, 1.0)(rng);
            std::memcpy(at, &d, 8);
            break;
        }
        }
    }
    return bytes;
}

// Plane values around every format's full scale: exactly full scale, one
// float step either side, far beyond, 8-bit's biased range, NaN, infinity.
std::vector<float> PlaneSamples(size_t count, std::mt19937& rng)
{
    const float below1 = 1.0f - 1.0f / (1 << 24);
    const float above1 = 1.0f + 1.0f / (1 << 23);
    const float edges[] = {1.0f, -1.0f, below1, -below1, above1, -above1, 2.0f, 0.0f, -0.0f, 1.9999999f,
                           -129.0f, 1e10f, -1e10f, 255.0f / 128.0f, std::numeric_limits<float>::denorm_min(),
                           std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity()};
    const size_t edgeCount = sizeof edges / sizeof edges[0];
    std::uniform_real_distribution<float> wide(-3.0f, 3.0f);
    std::vector<float> planes(count);
    for (float& x : planes)
        x = rng() % 3 == 0 ? edges[rng() % edgeCount] : wide(rng);
    return planes;
}

// The SSE2 converters against the scalar form, bit for bit, both ways: every
// format, mono, stereo and gathered channel counts, every length from 0 to 17
// (whole steps and every remainder), interleaved and planar data starting at
// odd sample offsets, planes at odd strides. Both outputs start from the same
// fill, so a write outside the block shows too.
TEST(SampleConversion, Sse2FormMatchesTheScalarFormBitForBit)
{
    std::mt19937 rng(11);
    for (int f = AUDIO_SAMPLEFORMAT_U8; f <= AUDIO_SAMPLEFORMAT_DOUBLE; ++f) {
        const AUDIO_SAMPLEFORMAT format = AUDIO_SAMPLEFORMAT(f);
        const size_t sampleBytes = kSampleBytes[f];
        for (uint32_t channels : {1u, 2u, 3u, 6u}) {
            for (uint32_t frames = 0; frames <= 17; ++frames) {
                for (uint32_t offset = 0; offset < 4; ++offset) {
                    SCOPED_TRACE(testing::Message() << "format " << f << ", " << channels << " channels, "
                                                    << frames << " frames, offset " << offset);
                    const uint32_t stride = frames + 1 + 2 * offset;
                    const size_t planeCount = size_t(stride) * channels + offset;
                    const size_t hostCount = size_t(frames) * channels + offset + 4;

                    const std::vector<uint8_t> host = HostSamples(format, hostCount, rng);
                    std::vector<float> scalarPlanes(planeCount, -7.0f), ssePlanes(planeCount, -7.0f);
                    ToPlanesScalar(format, host.data() + offset * sampleBytes, scalarPlanes.data() + offset,
                                   frames, channels, stride);
                    ToPlanesSse2(format, host.data() + offset * sampleBytes, ssePlanes.data() + offset, frames,
                                 channels, stride);
                    ASSERT_EQ(0, std::memcmp(scalarPlanes.data(), ssePlanes.data(), planeCount * sizeof(float)));

                    const std::vector<float> planes = PlaneSamples(planeCount, rng);
                    std::vector<uint8_t> scalarHost(hostCount * sampleBytes, 0x5a), sseHost = scalarHost;
                    FromPlanesScalar(format, planes.data() + offset, scalarHost.data() + offset * sampleBytes,
                                     frames, channels, stride);
                    FromPlanesSse2(format, planes.data() + offset, sseHost.data() + offset * sampleBytes, frames,
                                   channels, stride);
                    ASSERT_EQ(scalarHost, sseHost);
                }
            }
        }
    }
}

}  // namespace
