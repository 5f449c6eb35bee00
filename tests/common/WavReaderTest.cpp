#include "common/WavReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "common/HeadphoneImpulse.h"
#include "common/WavWriter.h"
#include "WavImage.h"

namespace {

using Bytes = std::vector<uint8_t>;

TEST(WavReader, ReadsEachSampleFormatToKnownValues)
{
    const double q24 = 1.0 / 8388608.0;
    struct Case {
        const char* name;
        uint32_t tag, bits, channels, code;
        Bytes data;
        std::vector<float> expected;
        bool dataFirst;
    } cases[] = {
        {"8-bit", 1, 8, 1, 0, {0xc0, 0x00, 0x80}, {0.5f, -1.0f, 0.0f}, false},
        {"16-bit", 1, 16, 1, 1, {0x00, 0x40, 0x00, 0x80, 0xff, 0xff}, {0.5f, -1.0f, float(-1.0 / 32768)}, false},
        // 0xffffff reads as 0 and 0x800000 as -(2^23 - 1): one step short of
        // two's complement for every negative sample.
        {"24-bit",
         1,
         24,
         2,
         2,
         {0x00, 0x00, 0x40, 0xff, 0xff, 0xff, 0x00, 0x00, 0x80, 0xfe, 0xff, 0xff},
         {0.5f, 0.0f, float(-8388607 * q24), float(-q24)},
         false},
        {"32-bit", 1, 32, 1, 3, {0x00, 0x00, 0x00, 0x40, 0x00, 0x00, 0x00, 0x80}, {0.5f, -1.0f}, false},
        {"float", 3, 32, 2, 4, FloatBytes({0.25f, -0.75f, 1.5f, 0.0f}), {0.25f, -0.75f, 1.5f, 0.0f}, false},
        {"data before fmt", 1, 16, 2, 1, {0x00, 0x20, 0x00, 0xe0}, {0.25f, -0.25f}, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WavImage chunks;
        if (c.dataFirst)
            chunks.Data(c.data).Fmt(c.tag, c.channels, 22050, c.bits);
        else
            chunks.Fmt(c.tag, c.channels, 22050, c.bits).Data(c.data);
        const Bytes image = Riff(chunks);
        WavReader reader;
        ASSERT_TRUE(reader.Load(image.data(), image.size(), true));
        EXPECT_EQ(reader.SampleCode(), c.code);
        EXPECT_EQ(reader.Channels(), c.channels);
        EXPECT_EQ(reader.SampleRate(), 22050u);
        EXPECT_EQ(reader.RiffSize() + 8u, image.size());
        ASSERT_EQ(reader.FrameCount() * c.channels, c.expected.size());
        for (size_t i = 0; i < c.expected.size(); ++i)
            EXPECT_EQ(reader.Samples()[i], c.expected[i]) << i;
    }
}

TEST(WavWriter, ImageReadsBackWithItsLayout)
{
    const std::vector<float> samples = {0.5f, -0.5f, 0.25f, -1.0f, 0.999f, 0.0f};
    struct Case {
        uint32_t code, bits;
        size_t dataOffset;
        double step;
    } cases[] = {{1, 16, 36, 1.0 / 32768}, {2, 24, 36, 1.0 / 8388608}, {3, 32, 36, 1.0 / 2147483648.0}, {4, 32, 38, 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.code);
        WavWriter writer;
        ASSERT_EQ(writer.Write(WavFormat{c.code, 2, 44100}, samples.data(), 3), WavWriter::kDone);
        const uint8_t* d = writer.Data();
        const size_t dataBytes = 6 * c.bits / 8;
        const size_t expectedSize = c.dataOffset + 8 + dataBytes + (c.code == 4 ? 12 : 0);
        ASSERT_EQ(writer.Size(), expectedSize);
        EXPECT_EQ(0, std::memcmp(d + c.dataOffset, "data", 4));
        EXPECT_EQ(d[c.dataOffset + 4], dataBytes);
        EXPECT_EQ(d[4] + 8u, expectedSize);
        WavReader reader;
        ASSERT_TRUE(reader.Load(d, writer.Size(), true));
        ASSERT_EQ(reader.FrameCount(), 3u);
        for (size_t i = 0; i < samples.size(); ++i) {
            const double got = reader.Samples()[i];
            // Truncation toward zero, and the reader's negative 24-bit offset.
            EXPECT_NEAR(got, samples[i], 2 * c.step + 1e-7) << i;
        }
    }
    WavWriter eightBit;
    EXPECT_EQ(eightBit.Write(WavFormat{0, 1, 8000}, samples.data(), 6), WavWriter::kUnsupportedCode);
}

Bytes Valid16()
{
    return Riff(WavImage().Fmt(1, 1, 48000, 16).Data({0x00, 0x40, 0x00, 0xc0}));
}

// Every refused image must leave PrepareHeadphoneImpulse's outputs as the
// effect would get them without it: no impulse, size unchanged, gains 0.
void ExpectRefused(const Bytes& image, uint64_t size, const char* name)
{
    SCOPED_TRACE(name);
    WavReader reader;
    EXPECT_FALSE(reader.Load(image.data(), size, true));
    void* impulse = nullptr;
    uint64_t bytes = size;
    float bypassed = 1.0f, active = 1.0f;
    PrepareHeadphoneImpulse(image.data(), &impulse, &bytes, &bypassed, &active, 44100);
    EXPECT_EQ(impulse, nullptr);
    EXPECT_EQ(bytes, size);
    EXPECT_EQ(bypassed, 0.0f);
    EXPECT_EQ(active, 0.0f);
}

TEST(WavReader, RefusesMalformedImages)
{
    const Bytes sample = {0x00, 0x40};
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    Bytes riffTooLong = Valid16();
    riffTooLong[4] += 1;
    const Bytes rows[] = {
        {'R', 'I', 'F', 'F', 0, 0, 0, 0},                                                   // RIFF size 0
        {'R', 'I', 'F', 'F', 4, 0, 0, 0},                                                   // size 8: size - 8 is 0
        riffTooLong,                                                                        // RIFF runs past the image
        Riff(WavImage().Tag("fmt ").U32(40).U16(1).U16(1).U32(48000).Data(sample)),         // fmt runs past
        Riff(WavImage().Fmt(1, 1, 48000, 16, 14).Data(sample)),                             // fmt below 16
        Riff(WavImage().Fmt(1, 1, 48000, 16).Data(sample, 64)),                             // data larger than image
        Riff(WavImage().Fmt(1, 1, 48000, 16).Data({0x00}, 1)),                              // odd data: 0 frames
        Riff(WavImage().Fmt(1, 1, 48000, 16)),                                              // no data
        Riff(WavImage().Data(sample)),                                                      // no fmt
        Riff(WavImage().Fmt(3, 1, 48000, 8).Data(FloatBytes({0.5f}))),                      // float says 8 bits
        Riff(WavImage().Fmt(3, 1, 48000, 16).Data(FloatBytes({0.5f}))),                     // float says 16 bits
        Riff(WavImage().Fmt(3, 1, 48000, 24).Data(FloatBytes({0.5f, 0.5f, 0.5f}))),         // float says 24 bits
        Riff(WavImage().Fmt(3, 1, 48000, 32).Data(FloatBytes({0.5f, nan}))),                // NaN sample
        Riff(WavImage().Fmt(3, 1, 48000, 32).Data(FloatBytes({-inf, 0.5f}))),               // infinite sample
        Riff(WavImage().Fmt(1, 1, 0, 16).Data(sample)),                                     // rate 0
        Riff(WavImage().Fmt(1, 3, 48000, 16).Data({0, 0, 0, 0, 0, 0})),                     // 3 channels
        Riff(WavImage().Fmt(1, 0, 48000, 16).Data(sample)),                                 // 0 channels
        Riff(WavImage().Fmt(0xfffe, 1, 48000, 16, 40).Data(sample)),                        // extensible tag
        Riff(WavImage().Fmt(2, 1, 48000, 16).Data(sample)),                                 // ADPCM tag
        Riff(WavImage().Fmt(1, 1, 48000, 12).Data(sample)),                                 // 12 bits
    };
    for (const Bytes& row : rows)
        ExpectRefused(row, row.size(), "table row");
    Bytes wrongWave = Valid16();
    wrongWave[8] = 'w';
    ExpectRefused(wrongWave, wrongWave.size(), "WAVE magic");
    // A public size beyond the 32-bit signed range is refused before any read.
    const Bytes valid = Valid16();
    ExpectRefused(valid, 0x80000000ull, "size above INT32_MAX");
    for (size_t n = 0; n < valid.size(); ++n) {
        const Bytes cut(valid.begin(), valid.begin() + static_cast<std::ptrdiff_t>(n));
        ExpectRefused(cut, cut.size(), "truncated");
    }
    std::mt19937 random(7);
    for (int i = 0; i < 200; ++i) {
        Bytes garbage(static_cast<size_t>(random() % 96));
        for (uint8_t& b : garbage)
            b = static_cast<uint8_t>(random());
        if (i % 2 && !garbage.empty())  // half of them past the magic, into the chunk scan
            std::memcpy(garbage.data(), valid.data(), std::min<size_t>(12, garbage.size()));
        WavReader reader;
        if (garbage.size() >= 12 && reader.Load(garbage.data(), garbage.size(), true))
            continue;  // a random image may be valid; it must only not crash
        ExpectRefused(garbage, garbage.size(), "garbage");
    }
}

}  // namespace
