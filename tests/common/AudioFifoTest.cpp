#include "common/AudioFifo.h"

#include <gtest/gtest.h>

#include <algorithm>
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

// The same counting sequence through two FIFOs, moved between them ring to
// ring in random amounts while both wrap and grow; a Peek sees what the next
// Read returns and leaves it there.
TEST(AudioFifo, TransferAndPeekKeepOrder)
{
    const int channels = 3;
    for (int planar : {0, 1}) {
        AudioFifo first(4, channels, planar, 3), second(4, channels, planar, 4);
        const int planes = planar ? channels : 1;
        std::mt19937 rng(5);
        int32_t nextWritten = 0, nextRead = 0;
        for (int round = 0; round < 300; ++round) {
            std::vector<int32_t> in(size_t(rng() % 29) * channels), peeked(64 * channels), out(64 * channels);
            const int n = int(in.size()) / channels;
            for (int f = 0; f < n; ++f, ++nextWritten)
                for (int c = 0; c < channels; ++c)
                    in[planar ? size_t(c) * n + f : size_t(f) * channels + c] = nextWritten * 4 + c;
            const void* inPlanes[channels];
            void* peekPlanes[channels];
            void* outPlanes[channels];
            for (int c = 0; c < planes; ++c) {
                inPlanes[c] = in.data() + size_t(c) * n;
                peekPlanes[c] = peeked.data() + c * 64;
                outPlanes[c] = out.data() + c * 64;
            }
            ASSERT_EQ(first.Write(inPlanes, n), n);
            const int ask = int(rng() % 31), moved = std::min(ask, first.Size());
            ASSERT_EQ(first.Transfer(second, ask), moved);
            const int want = std::min(int(rng() % 40), second.Size());
            ASSERT_EQ(second.Peek(peekPlanes, want), want);
            ASSERT_EQ(second.Read(outPlanes, want), want);
            ASSERT_EQ(peeked, out);
            for (int f = 0; f < want; ++f, ++nextRead)
                for (int c = 0; c < channels; ++c)
                    ASSERT_EQ(out[planar ? size_t(c) * 64 + f : size_t(f) * channels + c], nextRead * 4 + c);
        }
    }
}

}  // namespace
