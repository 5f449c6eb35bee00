#include "frontend/OvSampleConverter.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

namespace {

// Converts interleaved samples of a format to planes and back.
template <typename Sample>
std::vector<Sample> RoundTrip(AUDIO_SAMPLEFORMAT format, const std::vector<Sample>& in, uint32_t channels,
                              std::vector<float>* planesOut = nullptr)
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

TEST(OvSampleConverter, EveryFormatRoundTripsBitExactly)
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
    EXPECT_EQ(planes[128], 1.0f);  // the bias stays: 8-bit silence enters the chain as 1.0

    // 32-bit values with at most 24 significant bits, and doubles a float holds, survive.
    std::mt19937 rng(3);
    std::normal_distribution<float> dist(0.0f, 4.0f);
    std::vector<int32_t> s32 = {std::numeric_limits<int32_t>::min(), 0, 0x7fffff80};
    const float tiny = std::numeric_limits<float>::denorm_min();
    std::vector<float> f = {0.0f, tiny, 2 * tiny, -tiny};
    for (int i = 0; i < 3000; ++i) {
        s32.push_back(int32_t(rng() & 0xffffff00u) / (1 << (rng() % 8)) & ~0xff);
        f.push_back(dist(rng));
    }
    EXPECT_EQ(RoundTrip(AUDIO_SAMPLEFORMAT_S32, s32, 3), s32);
    EXPECT_EQ(RoundTrip(AUDIO_SAMPLEFORMAT_FLOAT, f, 2), f);
    const std::vector<double> d(f.begin(), f.end());
    EXPECT_EQ(RoundTrip(AUDIO_SAMPLEFORMAT_DOUBLE, d, 4), d);
}

// No clamp on the way out: values beyond full scale wrap modulo the word;
// infinity and NaN give 0 rather than undefined behaviour.
TEST(OvSampleConverter, OutOfRangeSamplesWrap)
{
    struct Case {
        float x;
        int16_t s16;
        uint8_t u8;  // the plane value is x + 1.0 for 8-bit, which carries its bias
        int32_t s32;
    };
    const int32_t min32 = std::numeric_limits<int32_t>::min();
    for (const Case& c : {Case{1.0f, -32768, 0x00, min32}, Case{1.5f, -16384, 0x40, min32},
                          Case{-1.5f, 16384, 0xc0, min32}, Case{2.0f, 0, 0x80, min32},
                          Case{-0.5f, -16384, 0x40, -1073741824}}) {
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
    const float odd[] = {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()};
    OvSampleConverter out16;
    ASSERT_TRUE(out16.Init(2, 1, 48000, AUDIO_SAMPLEFORMAT_PLANAR_FLOAT, AUDIO_SAMPLEFORMAT_S16));
    int16_t s16[2] = {5, 5};
    out16.Convert(odd, s16, 2);
    EXPECT_EQ(s16[0], 0);
    EXPECT_EQ(s16[1], 0);
}

}  // namespace
