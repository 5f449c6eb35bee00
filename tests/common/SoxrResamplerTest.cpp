#include "common/SoxrResampler.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "support/AllocationCounter.h"

namespace {

using Planes = std::vector<std::vector<float>>;

// Runs a whole stream through r: input in pieces of inChunk frames into
// outRoom frames of output per call (Capacity(inChunk) when outRoom is 0),
// then Flush until it returns less than the room. Returns the output.
Planes Convert(SoxrResampler* r, const Planes& in, size_t inChunk, size_t outRoom)
{
    const size_t channels = in.size(), frames = in[0].size();
    Planes out(channels);
    const size_t room = outRoom ? outRoom : r->Capacity(inChunk);
    std::vector<std::vector<float>> block(channels, std::vector<float>(room));
    std::vector<const float*> inPtr(channels);
    std::vector<float*> outPtr(channels);
    for (size_t c = 0; c < channels; ++c)
        outPtr[c] = block[c].data();
    auto keep = [&](size_t n) {
        for (size_t c = 0; c < channels; ++c)
            out[c].insert(out[c].end(), block[c].begin(), block[c].begin() + long(n));
    };
    for (size_t pos = 0; pos < frames;) {
        for (size_t c = 0; c < channels; ++c)
            inPtr[c] = in[c].data() + pos;
        size_t used = 0;
        keep(r->Process(inPtr.data(), std::min(inChunk, frames - pos), outPtr.data(), room, &used));
        pos += used;
    }
    for (size_t n = room; n == room;) {
        n = r->Flush(outPtr.data(), room);
        keep(n);
    }
    return out;
}

// Amplitude of the component at freqHz over frames [from, from + length),
// a whole number of its periods.
double ToneAmplitude(const std::vector<float>& x, double rateHz, double freqHz, size_t from, size_t length)
{
    std::complex<double> sum = 0.0;
    for (size_t i = from; i < from + length; ++i)
        sum += double(x[i]) * std::polar(1.0, -2.0 * M_PI * freqHz * double(i) / rateHz);
    return 2.0 * std::abs(sum) / double(length);
}

double Db(double ratio)
{
    return 20.0 * std::log10(ratio);
}

// A sine per channel, 44.1 kHz to 48 kHz and back: at both rates each channel
// holds its own tone at the same frequency and level, and the round trip
// matches the original sample by sample, so nothing else came in and the
// timing holds.
TEST(SoxrResampler, SineKeepsFrequencyLevelAndTimingThroughRoundTrip)
{
    const double freqs[] = {1000.0, 5000.0, 15000.0};
    const size_t channels = 3, frames = 3 * 44100;
    const double amplitude = 0.5;
    Planes in(channels, std::vector<float>(frames));
    for (size_t c = 0; c < channels; ++c)
        for (size_t i = 0; i < frames; ++i)
            in[c][i] = float(amplitude * std::sin(2.0 * M_PI * freqs[c] * double(i) / 44100.0));

    SoxrResampler* up = SoxrResampler::Create(44100.0, 48000.0, channels);
    SoxrResampler* down = SoxrResampler::Create(48000.0, 44100.0, channels);
    ASSERT_NE(up, nullptr);
    ASSERT_NE(down, nullptr);
    const Planes at48 = Convert(up, in, 512, 0);
    const Planes back = Convert(down, at48, 512, 0);
    for (size_t c = 0; c < channels; ++c) {
        SCOPED_TRACE(freqs[c]);
        // One second from the middle: a whole number of periods at both rates.
        EXPECT_NEAR(Db(ToneAmplitude(at48[c], 48000.0, freqs[c], 48000, 48000) / amplitude), 0.0, 0.1);
        EXPECT_NEAR(Db(ToneAmplitude(back[c], 44100.0, freqs[c], 44100, 44100) / amplitude), 0.0, 0.1);
        double worst = 0.0;
        for (size_t i = 44100; i < 2 * 44100; ++i)
            worst = std::max(worst, std::abs(double(back[c][i]) - in[c][i]));
        EXPECT_LT(worst, 1e-3 * amplitude);
    }
    up->Destroy();
    down->Destroy();
}

// Frames out over the whole stream, Process and Flush together, are the
// input times the ratio; once flushed nothing is held.
TEST(SoxrResampler, StreamLengthFollowsRatio)
{
    struct Case {
        double inRate, outRate;
        uint32_t channels;
        size_t frames;
    };
    for (const Case& c : {Case{44100, 48000, 2, 44100}, Case{48000, 44100, 1, 48000}, Case{8000, 192000, 8, 1000},
                          Case{192000, 8000, 2, 96001}, Case{32000, 48000, 5, 12345}, Case{44100, 44100, 1, 777}}) {
        SCOPED_TRACE(std::to_string(c.inRate) + " -> " + std::to_string(c.outRate));
        SoxrResampler* r = SoxrResampler::Create(c.inRate, c.outRate, c.channels);
        ASSERT_NE(r, nullptr);
        std::mt19937 rng{7};
        std::uniform_real_distribution<float> dist(-0.5f, 0.5f);
        Planes in(c.channels, std::vector<float>(c.frames));
        for (auto& plane : in)
            for (float& v : plane)
                v = dist(rng);
        const Planes out = Convert(r, in, 2048, 0);
        const double expected = double(c.frames) * c.outRate / c.inRate;
        for (const auto& plane : out)
            EXPECT_NEAR(double(plane.size()), expected, 2.0);
        EXPECT_EQ(r->Delay(), 0.0);
        r->Destroy();
    }
}

// Pieces of 1, 7 and 4096 frames, and output rooms down to 1 frame, give
// exactly the output of one call with room for all: nothing is lost or
// repeated at the edges of a call, a Flush that fills its room goes on where
// it stopped, and a drained Flush leaves the resampler ready for the next
// stream.
TEST(SoxrResampler, ChunkingAndSmallOutputRoomDoNotChangeOutput)
{
    const size_t frames = 20000;
    Planes in(2, std::vector<float>(frames));
    std::mt19937 rng{3};
    std::uniform_real_distribution<float> dist(-0.5f, 0.5f);
    for (auto& plane : in)
        for (float& v : plane)
            v = dist(rng);
    for (double outRate : {48000.0, 22050.0}) {
        SCOPED_TRACE(outRate);
        SoxrResampler* r = SoxrResampler::Create(44100.0, outRate, 2);
        ASSERT_NE(r, nullptr);
        const Planes reference = Convert(r, in, frames, 0);
        struct Case {
            size_t inChunk, outRoom;
        };
        for (const Case& c : {Case{1, 0}, Case{7, 0}, Case{4096, 0}, Case{4096, 3}, Case{7, 3}, Case{frames, 1}}) {
            SCOPED_TRACE(std::to_string(c.inChunk) + " in, room " + std::to_string(c.outRoom));
            const Planes out = Convert(r, in, c.inChunk, c.outRoom);
            for (size_t ch = 0; ch < 2; ++ch) {
                ASSERT_EQ(out[ch].size(), reference[ch].size());
                for (size_t i = 0; i < out[ch].size(); ++i)
                    ASSERT_EQ(out[ch][i], reference[ch][i]) << "channel " << ch << " frame " << i;
            }
        }
        r->Destroy();
    }
}

// Once soxr's FIFOs have grown during the first blocks, further blocks of
// sizes up to the largest seen so far run without an allocation.
TEST(SoxrResampler, SteadyStateProcessAllocatesNothing)
{
    for (double outRate : {48000.0, 8000.0, 192000.0}) {
        SCOPED_TRACE(outRate);
        SoxrResampler* r = SoxrResampler::Create(44100.0, outRate, 2);
        ASSERT_NE(r, nullptr);
        const size_t maxBlock = 4096, room = r->Capacity(maxBlock) * 2;
        std::vector<float> inData(maxBlock, 0.25f), outData[2] = {std::vector<float>(room), std::vector<float>(room)};
        const float* inPtr[2] = {inData.data(), inData.data()};
        float* outPtr[2] = {outData[0].data(), outData[1].data()};
        std::mt19937 rng{5};
        auto block = [&] {
            const size_t n = 1 + rng() % maxBlock;
            size_t used = 0;
            r->Process(inPtr, n, outPtr, room, &used);
            ASSERT_EQ(used, n);
        };
        for (int i = 0; i < 100; ++i)
            block();
        testsupport::AllocationCounter counter;
        for (int i = 0; i < 200; ++i)
            block();
        EXPECT_EQ(counter.Count(), 0u);
        r->Destroy();
    }
}

TEST(SoxrResampler, RefusesBadRatesChannelsAndRatios)
{
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    struct Case {
        double inRate, outRate;
        uint32_t channels;
        bool accepted;
    };
    for (const Case& c : {Case{0, 48000, 2, false}, Case{44100, 0, 2, false}, Case{-44100, 48000, 2, false},
                          Case{nan, 48000, 2, false}, Case{44100, inf, 2, false}, Case{44100, 48000, 0, false},
                          Case{44100, 48000, 9, false}, Case{1000, 257000, 1, false}, Case{257000, 1000, 1, false},
                          Case{1000, 256000, 1, true}, Case{256000, 1000, 1, true}, Case{44100, 48000, 8, true}}) {
        SCOPED_TRACE(std::to_string(c.inRate) + " -> " + std::to_string(c.outRate) + ", " +
                     std::to_string(c.channels));
        SoxrResampler* r = SoxrResampler::Create(c.inRate, c.outRate, c.channels);
        EXPECT_EQ(r != nullptr, c.accepted);
        if (r) {
            EXPECT_EQ(r->Capacity(std::numeric_limits<size_t>::max()), 0u);
            EXPECT_EQ(r->Capacity(0), 1u);
            r->Destroy();
        }
    }
}

}  // namespace
