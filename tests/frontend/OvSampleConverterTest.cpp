#include "frontend/OvSampleConverter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace {

// Converts interleaved samples of a format to planes and back.
template <typename Sample>
std::vector<Sample> RoundTrip(AUDIO_SAMPLEFORMAT format, const std::vector<Sample>& in,
                              uint32_t channels, std::vector<float>* planesOut = nullptr)
{
    const uint32_t frames = uint32_t(in.size() / channels);
    const uint32_t maxFrames = frames + 3;  // stride wider than the block
    OvSampleConverter toPlanes, fromPlanes;
    EXPECT_TRUE(toPlanes.Init(maxFrames, channels, 44100, format, AUDIO_SAMPLEFORMAT_PLANAR_FLOAT));
    EXPECT_TRUE(fromPlanes.Init(maxFrames, channels, 44100, AUDIO_SAMPLEFORMAT_PLANAR_FLOAT, format));
    std::vector<float> planes(size_t(maxFrames) * channels, -7.0f);
    toPlanes.Convert(in.data(), planes.data(), frames);
    std::vector<Sample> out(in.size());
    fromPlanes.Convert(planes.data(), out.data(), frames);
    if (planesOut)
        *planesOut = planes;
    return out;
}

TEST(OvSampleConverter, IntegerFormatsRoundTripBitExactly)
{
    std::vector<int16_t> all16;
    for (int v = -32768; v <= 32767; ++v)
        all16.push_back(int16_t(v));
    std::vector<float> planes;
    EXPECT_EQ(RoundTrip(AUDIO_SAMPLEFORMAT_S16, all16, 2, &planes), all16);
    // Interleaved sample i of channel c lands at c * maxFrames + i.
    const uint32_t maxFrames = uint32_t(all16.size() / 2) + 3;
    EXPECT_EQ(planes[0], -1.0f);
    EXPECT_EQ(planes[maxFrames], -32767.0f / 32768.0f);
    EXPECT_EQ(planes[maxFrames - 3], -7.0f);  // beyond the block: untouched

    std::vector<uint8_t> all8;
    for (int v = 0; v < 256; ++v)
        all8.push_back(uint8_t(v));
    EXPECT_EQ(RoundTrip(AUDIO_SAMPLEFORMAT_U8, all8, 1, &planes), all8);
    // The bias stays: 8-bit silence (128) enters the chain as 1.0.
    EXPECT_EQ(planes[128], 1.0f);
    EXPECT_EQ(planes[255], 255.0f / 128.0f);

    // 32-bit values with at most 24 significant bits survive a float.
    std::mt19937 rng(3);
    std::vector<int32_t> s32;
    for (int i = 0; i < 3000; ++i)
        s32.push_back(int32_t(rng() & 0xffffff00u) / (1 << (rng() % 8)) & ~0xff);
    s32.push_back(std::numeric_limits<int32_t>::min());
    s32.push_back(0);
    s32.push_back(0x7fffff80);
    EXPECT_EQ(RoundTrip(AUDIO_SAMPLEFORMAT_S32, s32, 3), s32);
}

TEST(OvSampleConverter, FloatFormatsRoundTripBitExactly)
{
    std::mt19937 rng(5);
    std::normal_distribution<float> dist(0.0f, 4.0f);
    std::vector<float> f;
    for (int i = 0; i < 4000; ++i)
        f.push_back(dist(rng));
    for (int i = 0; i < 4; ++i)
        f.push_back(std::numeric_limits<float>::denorm_min() * float(i));
    EXPECT_EQ(RoundTrip(AUDIO_SAMPLEFORMAT_FLOAT, f, 2), f);

    std::vector<double> d;
    for (float x : f)
        d.push_back(double(x));  // values a float holds exactly
    EXPECT_EQ(RoundTrip(AUDIO_SAMPLEFORMAT_DOUBLE, d, 4), d);
}

// No clamp on the way out: values beyond full scale wrap modulo the word.
TEST(OvSampleConverter, OutOfRangeSamplesWrap)
{
    struct Case {
        float x;
        int16_t s16;
        uint8_t u8;  // the plane value is x + 1.0 for 8-bit, which carries its bias
        int32_t s32;
    };
    const Case cases[] = {
        {1.0f, -32768, 0x00, std::numeric_limits<int32_t>::min()},
        {1.5f, -16384, 0x40, std::numeric_limits<int32_t>::min()},
        {-1.5f, 16384, 0xc0, std::numeric_limits<int32_t>::min()},
        {2.0f, 0, 0x80, std::numeric_limits<int32_t>::min()},
        {-0.5f, -16384, 0x40, -1073741824},
    };
    for (const Case& c : cases) {
        OvSampleConverter out16, out8, out32;
        ASSERT_TRUE(out16.Init(1, 1, 48000, AUDIO_SAMPLEFORMAT_PLANAR_FLOAT, AUDIO_SAMPLEFORMAT_S16));
        ASSERT_TRUE(out8.Init(1, 1, 48000, AUDIO_SAMPLEFORMAT_PLANAR_FLOAT, AUDIO_SAMPLEFORMAT_U8));
        ASSERT_TRUE(out32.Init(1, 1, 48000, AUDIO_SAMPLEFORMAT_PLANAR_FLOAT, AUDIO_SAMPLEFORMAT_S32));
        int16_t s16 = 0;
        uint8_t u8 = 0;
        int32_t s32 = 0;
        const float biased = c.x + 1.0f;
        out16.Convert(&c.x, &s16, 1);
        out8.Convert(&biased, &u8, 1);
        out32.Convert(&c.x, &s32, 1);
        EXPECT_EQ(s16, c.s16) << c.x;
        EXPECT_EQ(u8, c.u8) << c.x;
        EXPECT_EQ(s32, c.s32) << c.x;
    }
    // Infinity and NaN are out of range too, and must not be undefined.
    const float odd[] = {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()};
    OvSampleConverter out16;
    ASSERT_TRUE(out16.Init(2, 1, 48000, AUDIO_SAMPLEFORMAT_PLANAR_FLOAT, AUDIO_SAMPLEFORMAT_S16));
    int16_t s16[2] = {5, 5};
    out16.Convert(odd, s16, 2);
    EXPECT_EQ(s16[0], 0);
    EXPECT_EQ(s16[1], 0);
}

TEST(OvSampleConverter, NeedsOnePlanarSideAndPlanarToPlanarWritesNothing)
{
    OvSampleConverter c;
    EXPECT_FALSE(c.Init(16, 2, 44100, AUDIO_SAMPLEFORMAT_S16, AUDIO_SAMPLEFORMAT_FLOAT));
    ASSERT_TRUE(c.Init(4, 1, 44100, AUDIO_SAMPLEFORMAT_PLANAR_FLOAT, AUDIO_SAMPLEFORMAT_PLANAR_FLOAT));
    float in[4] = {1, 2, 3, 4}, out[4] = {9, 9, 9, 9};
    c.Convert(in, out, 4);
    EXPECT_EQ(out[0], 9.0f);
    // More frames than the stride holds are cut, not overrun.
    ASSERT_TRUE(c.Init(4, 1, 44100, AUDIO_SAMPLEFORMAT_FLOAT, AUDIO_SAMPLEFORMAT_PLANAR_FLOAT));
    float big[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    c.Convert(big, out, 8);
    EXPECT_EQ(out[3], 4.0f);
}

}  // namespace
