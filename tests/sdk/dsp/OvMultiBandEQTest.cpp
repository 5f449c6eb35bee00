// The channel-by-band grid: band order, per-channel memories, band switches,
// allocation failure and a buffer wider than the grid.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "ov/OvMemAllocDefault.h"
#include "ov/OvPipelineBuffer.h"
#include "sdk/dsp/DesignBiquad.h"
#include "sdk/dsp/OvBiquadMulti.h"
#include "sdk/dsp/OvMultiBandEQ.h"
#include "support/RecordingAssertHook.h"

namespace {

class FailingAllocator final : public IOvMemAlloc {
public:
    void* Malloc(size_t) override { return nullptr; }
    void Free(void*) override {}
    void* MallocWithHint(size_t, uint32_t) override { return nullptr; }
};

OvChannelConfig Channels(uint32_t n)
{
    OvChannelConfig config;
    config.SetAnonymous(n);
    return config;
}

struct Band { int type; float freqHz, gainDb, q; };
const Band kBands[4] = {{7, 80.0f, 6.0f, 0.7f}, {1, 500.0f, -9.0f, 1.4f}, {1, 3000.0f, 4.0f, 2.0f},
                        {8, 9000.0f, -5.0f, 0.7f}};

TEST(OvMultiBandEQ, EachChannelRunsItsOwnCascadeOfTheEnabledBands)
{
    testsupport::RecordingAssertHook asserts;
    IOvMemAlloc* allocator = OV::DefaultAllocator();
    const uint16_t channels = 3, bands = 4, maxFrames = 256;
    OvMultiBandEQ eq;
    ASSERT_EQ(eq.Init(allocator, channels, bands), OV_Success);
    EXPECT_EQ(eq.NumFilters(), 12u);
    for (uint32_t b = 0; b < bands; ++b)
        eq.SetCoefs(b, 48000.0f, kBands[b].type, kBands[b].freqHz, kBands[b].gainDb, kBands[b].q);

    for (bool skipBand2 : {false, true}) {
        eq.EnableBand(2, !skipBand2);
        eq.Reset();
        // Reference: separate filters per channel, one set of memories each.
        std::vector<OvBiquad> reference(channels * bands);
        for (uint32_t c = 0; c < channels; ++c)
            for (uint32_t b = 0; b < bands; ++b)
                DesignBiquad(reference[c * bands + b], kBands[b].type, 48000.0f, kBands[b].freqHz,
                             kBands[b].gainDb, kBands[b].q);

        std::mt19937 rng(7);
        std::uniform_real_distribution<float> sample(-1.0f, 1.0f);
        alignas(16) float block[channels * maxFrames];
        for (uint16_t valid : {uint16_t(256), uint16_t(37), uint16_t(101)}) {
            for (float& v : block)
                v = sample(rng);
            std::vector<float> expected(block, block + channels * maxFrames);
            for (uint32_t c = 0; c < channels; ++c)
                for (uint32_t b = 0; b < bands; ++b)
                    if (!(skipBand2 && b == 2))
                        reference[c * bands + b].ProcessSamples(&expected[c * maxFrames], valid);
            OvPipelineBuffer buffer;
            buffer.AttachContiguousDeinterleaved(block, Channels(channels), maxFrames, valid);
            eq.ProcessBuffer(&buffer);
            for (uint32_t c = 0; c < channels; ++c)
                for (uint32_t i = 0; i < maxFrames; ++i)
                    ASSERT_FLOAT_EQ(block[c * maxFrames + i], expected[c * maxFrames + i])
                        << "channel " << c << " frame " << i << " valid " << valid;
        }
    }
    eq.Shutdown(allocator);
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvMultiBandEQ, RefusesWhatItCannotServe)
{
    testsupport::RecordingAssertHook asserts;
    FailingAllocator failing;
    OvMultiBandEQ starved;
    EXPECT_EQ(starved.Init(&failing, 2, 10), OV_OutOfMemory);
    EXPECT_EQ(starved.NumFilters(), 0u);
    OvMultiBandEQ empty;
    EXPECT_EQ(empty.Init(&failing, 2, 0), OV_Success);
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();

    // A buffer with more channels than the grid: the extra channel is left alone.
    IOvMemAlloc* allocator = OV::DefaultAllocator();
    OvMultiBandEQ eq;
    ASSERT_EQ(eq.Init(allocator, 1, 2), OV_Success);
    eq.SetCoefs(0, 44100.0f, 3, 1000.0f, 0.0f, 1.0f);
    alignas(16) float block[2 * 64];
    for (float& v : block)
        v = 1.0f;
    OvPipelineBuffer buffer;
    buffer.AttachContiguousDeinterleaved(block, Channels(2), 64, 64);
    eq.ProcessBuffer(&buffer);
    EXPECT_EQ(asserts.Count(), 1u);
    EXPECT_TRUE(asserts.Saw("uNumChannels <= m_uNumChannels"));
    EXPECT_NE(block[1], 1.0f);
    for (int i = 64; i < 128; ++i)
        ASSERT_EQ(block[i], 1.0f);
    eq.Shutdown(allocator);
    EXPECT_EQ(eq.Filter(0, 0), nullptr);
}

TEST(OvBiquadMulti, MemoriesAreIndependentAndGivenBack)
{
    testsupport::RecordingAssertHook asserts;
    IOvMemAlloc* allocator = OV::DefaultAllocator();
    OvBiquadMulti multi;
    ASSERT_EQ(multi.AllocateMemories(allocator, 3), OV_Success);
    DesignBiquad(multi, 1, 44100.0f, 700.0f, 8.0f, 1.0f);
    OvBiquad single[3];
    for (OvBiquad& f : single)
        DesignBiquad(f, 1, 44100.0f, 700.0f, 8.0f, 1.0f);
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> sample(-1.0f, 1.0f);
    alignas(16) float a[3][96], b[3][96];
    // Interleave the channels' calls: each must continue only its own memory.
    for (int round = 0; round < 3; ++round)
        for (uint32_t c = 0; c < 3; ++c) {
            for (int i = 0; i < 96; ++i)
                a[c][i] = b[c][i] = sample(rng);
            multi.ProcessSamples(a[c] + round, 96 - round, c);
            single[c].ProcessSamples(b[c] + round, 96 - round);
            for (int i = 0; i < 96; ++i)
                ASSERT_EQ(a[c][i], b[c][i]);
        }
    // A memory that does not exist: reported, samples untouched.
    float untouched[4] = {1, 2, 3, 4};
    multi.ProcessSamples(untouched, 4, 3);
    EXPECT_EQ(untouched[3], 4.0f);
    EXPECT_EQ(asserts.Count(), 1u);
    EXPECT_TRUE(asserts.Saw("in_uMemory < NumMemories()"));

    FailingAllocator failing;
    OvBiquadMulti starved;
    EXPECT_EQ(starved.AllocateMemories(&failing, 2), OV_OutOfMemory);
    EXPECT_EQ(starved.NumMemories(), 0u);
    multi.FreeMemories(allocator);
    EXPECT_EQ(multi.NumMemories(), 0u);
    EXPECT_EQ(asserts.Count(), 1u);  // no "m_pMemories == NULL" at the end
}

}  // namespace
