#include "frontend/AudioFifo.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "frontend/SampleFormat.h"

namespace {

TEST(SampleFormat, HelpersFollowTheFormatTable)
{
    const uint32_t bytes[] = {1, 2, 4, 4, 8, 4};
    for (int f = 0; f <= 5; ++f) {
        EXPECT_EQ(BytesPerSample(AUDIO_SAMPLEFORMAT(f)), bytes[f]) << f;
        const int normal = f == 3 ? 3 : f;
        EXPECT_EQ(NormalizeSampleFormat(AUDIO_SAMPLEFORMAT(f)), normal);
    }
    for (int unknown : {-1, 6, 7, 9, 1000}) {
        EXPECT_EQ(BytesPerSample(AUDIO_SAMPLEFORMAT(unknown)), 4u);
        EXPECT_EQ(NormalizeSampleFormat(AUDIO_SAMPLEFORMAT(unknown)), AUDIO_SAMPLEFORMAT_FLOAT);
    }
}

TEST(SampleFormat, FloorPowerOfTwoAgainstBruteForce)
{
    auto reference = [](uint32_t x) {
        uint32_t p = 0;
        for (uint64_t v = 1; v <= x; v <<= 1)
            p = uint32_t(v);
        return p;
    };
    for (uint32_t x : {0u, 1u, 2u, 3u, 1023u, 2048u, 2049u, 3000u, 0x7fffffffu, 0x80000000u,
                       0x80000001u, 0xffffffffu})
        EXPECT_EQ(FloorPowerOfTwo(x), reference(x)) << x;
    std::mt19937 rng(7);
    for (int i = 0; i < 1000; ++i) {
        const uint32_t x = rng();
        EXPECT_EQ(FloorPowerOfTwo(x), reference(x)) << x;
    }
}

// Writes a counting sequence in random chunk sizes and reads it back in other
// random sizes: order and content survive growth and wrap-around.
TEST(AudioFifo, KeepsOrderAcrossGrowthAndWrap)
{
    for (int planar : {0, 1}) {
        const int channels = 3;
        AudioFifo fifo(2, channels, planar, 5);
        std::mt19937 rng(11);
        int16_t nextWritten = 0, nextRead = 0;
        for (int round = 0; round < 400; ++round) {
            const int n = int(rng() % 37);
            std::vector<std::vector<int16_t>> in(channels, std::vector<int16_t>(size_t(n) * channels));
            std::vector<const void*> planes;
            for (int f = 0; f < n; ++f, ++nextWritten)
                for (int c = 0; c < channels; ++c) {
                    if (planar)
                        in[c][f] = int16_t(nextWritten * 4 + c);
                    else
                        in[0][size_t(f) * channels + c] = int16_t(nextWritten * 4 + c);
                }
            for (int p = 0; p < fifo.Planes(); ++p)
                planes.push_back(in[p].data());
            ASSERT_EQ(fifo.Write(planes.data(), n), n);

            const int want = int(rng() % 41);
            std::vector<std::vector<int16_t>> out(channels, std::vector<int16_t>(size_t(want) * channels));
            std::vector<void*> outPlanes;
            for (int p = 0; p < fifo.Planes(); ++p)
                outPlanes.push_back(out[p].data());
            const int stored = fifo.Size();
            const int got = fifo.Read(outPlanes.data(), want);
            ASSERT_EQ(got, std::min(want, stored));
            for (int f = 0; f < got; ++f, ++nextRead)
                for (int c = 0; c < channels; ++c) {
                    const int16_t v = planar ? out[c][f] : out[0][size_t(f) * channels + c];
                    ASSERT_EQ(v, int16_t(nextRead * 4 + c));
                }
            ASSERT_EQ(fifo.Size() + fifo.Space() >= fifo.Size(), true);
        }
    }
}

TEST(AudioFifo, CapacityGrowsToTwiceWhatIsNeeded)
{
    AudioFifo fifo(4, 2, 0, 64);
    std::vector<float> data(2 * 100);
    const void* planes[1] = {data.data()};
    ASSERT_EQ(fifo.Write(planes, 10), 10);
    EXPECT_EQ(fifo.Space(), 54);
    ASSERT_EQ(fifo.Write(planes, 100), 100);
    EXPECT_EQ(fifo.Size() + fifo.Space(), 220);
    EXPECT_EQ(fifo.Size(), 110);
}

TEST(AudioFifo, ErrorsAndShortReads)
{
    AudioFifo fifo(2, 1, 0, 8);
    int16_t buffer[16] = {1, 2, 3};
    const void* in[1] = {buffer};
    void* out[1] = {buffer};
    EXPECT_EQ(fifo.Write(in, -1), -22);
    EXPECT_EQ(fifo.Write(in, 0x40000000), -22);
    EXPECT_EQ(fifo.Read(out, -1), -22);
    EXPECT_EQ(fifo.Drain(-1), -22);
    EXPECT_EQ(fifo.Read(out, 4), 0);
    ASSERT_EQ(fifo.Write(in, 3), 3);
    EXPECT_EQ(fifo.Read(out, 10), 3);  // cut to what is stored
    ASSERT_EQ(fifo.Write(in, 5), 5);
    EXPECT_EQ(fifo.Drain(2), 0);
    EXPECT_EQ(fifo.Size(), 3);
    fifo.Reset();
    EXPECT_EQ(fifo.Size(), 0);
    EXPECT_EQ(fifo.Space(), 8);  // capacity stays
}

TEST(AudioFifo, BadConstructionLeavesAFifoThatRefusesWrites)
{
    int16_t buffer[4] = {};
    const void* in[1] = {buffer};
    for (auto args : {std::vector<int>{2, 1, 0, 0}, {2, 0, 0, 8}, {0, 1, 0, 8}, {2, -1, 1, 8},
                      {4, 8, 0, 0x7fffffff}}) {
        AudioFifo fifo(args[0], args[1], args[2], args[3]);
        EXPECT_EQ(fifo.Space(), 0);
        EXPECT_LT(fifo.Write(in, 1), 0);
        EXPECT_EQ(fifo.Size(), 0);
    }
}

}  // namespace
