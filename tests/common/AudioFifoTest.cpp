#include "common/AudioFifo.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

namespace {

// Writes a counting sequence in random chunk sizes and reads it back in other
// random sizes: order and content survive growth while wrapped, in both
// layouts. (The front end's FIFOs settle early and never grow while wrapped.)
TEST(AudioFifo, KeepsOrderAcrossGrowthAndWrap)
{
    const int channels = 3;
    for (int planar : {0, 1}) {
        AudioFifo fifo(2, channels, planar, 5);
        std::mt19937 rng(11);
        int nextWritten = 0, nextRead = 0;
        std::vector<int16_t> in[channels], out[channels];
        auto at = [&](std::vector<int16_t>* planes, int f, int c) -> int16_t& {
            return planar ? planes[c][size_t(f)] : planes[0][size_t(f) * channels + c];
        };
        for (int round = 0; round < 400; ++round) {
            const int n = int(rng() % 37), want = int(rng() % 41);
            const void* inPlanes[channels];
            void* outPlanes[channels];
            for (int c = 0; c < channels; ++c) {
                in[c].assign(size_t(n) * channels, 0);
                out[c].assign(size_t(want) * channels, 0);
                inPlanes[c] = in[c].data();
                outPlanes[c] = out[c].data();
            }
            for (int f = 0; f < n; ++f, ++nextWritten)
                for (int c = 0; c < channels; ++c)
                    at(in, f, c) = int16_t(nextWritten * 4 + c);
            ASSERT_EQ(fifo.Write(inPlanes, n), n);
            const int expected = std::min(want, fifo.Size());
            ASSERT_EQ(fifo.Read(outPlanes, want), expected);
            for (int f = 0; f < expected; ++f, ++nextRead)
                for (int c = 0; c < channels; ++c)
                    ASSERT_EQ(at(out, f, c), int16_t(nextRead * 4 + c));
        }
    }
}

}  // namespace
