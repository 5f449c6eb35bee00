// The channel-by-band grid (band order, per-channel memories, band switches,
// a buffer wider than the grid) and the shared-coefficient filter's memories.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "ov/OvMemAllocDefault.h"
#include "ov/OvPipelineBuffer.h"
#include "sdk/dsp/filters/DesignBiquad.h"
#include "sdk/dsp/filters/OvBiquadMulti.h"
#include "sdk/dsp/filters/OvMultiBandEQ.h"
#include "support/RecordingAssertHook.h"

namespace {

TEST(OvMultiBandEQ, EachChannelRunsItsOwnCascadeOfTheEnabledBands)
{
    testsupport::RecordingAssertHook asserts;
    struct Band { int type; float freqHz, gainDb, q; };
    const Band bands[4] = {{7, 80, 6, 0.7f}, {1, 500, -9, 1.4f}, {1, 3000, 4, 2}, {8, 9000, -5, 0.7f}};
    const uint16_t channels = 3, maxFrames = 256;
    OvMultiBandEQ eq;
    ASSERT_EQ(eq.Init(OV::DefaultAllocator(), channels, 4), OV_Success);
    for (uint32_t b = 0; b < 4; ++b)
        eq.SetCoefs(b, 48000.0f, bands[b].type, bands[b].freqHz, bands[b].gainDb, bands[b].q);
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> sample(-1.0f, 1.0f);
    OvChannelConfig config;
    config.SetAnonymous(channels + 1);  // one channel more than the grid: reported and left alone
    alignas(16) float block[(channels + 1) * maxFrames];
    for (bool skipBand2 : {false, true}) {
        eq.EnableBand(2, !skipBand2);
        eq.Reset();
        // Reference: separate filters per channel, one set of memories each.
        OvBiquad reference[channels][4];
        for (auto& channel : reference)
            for (uint32_t b = 0; b < 4; ++b)
                DesignBiquad(channel[b], bands[b].type, 48000.0f, bands[b].freqHz, bands[b].gainDb, bands[b].q);
        for (uint16_t valid : {256, 37, 101}) {
            SCOPED_TRACE(testing::Message() << "band 2 off " << skipBand2 << ", valid " << valid);
            for (float& v : block)
                v = sample(rng);
            std::vector<float> expected(std::begin(block), std::end(block));
            for (uint32_t c = 0; c < channels; ++c)
                for (uint32_t b = 0; b < 4; ++b)
                    if (!(skipBand2 && b == 2))
                        reference[c][b].ProcessSamples(&expected[c * maxFrames], valid);
            OvPipelineBuffer buffer;
            buffer.AttachContiguousDeinterleaved(block, config, maxFrames, valid);
            eq.ProcessBuffer(&buffer);
            for (uint32_t i = 0; i < (channels + 1) * maxFrames; ++i)
                ASSERT_FLOAT_EQ(block[i], expected[i]) << "channel " << i / maxFrames << " frame " << i % maxFrames;
        }
    }
    eq.Shutdown(OV::DefaultAllocator());
    EXPECT_EQ(asserts.Count(), 6u);
    EXPECT_TRUE(asserts.Saw("uNumChannels <= m_uNumChannels"));
}

TEST(OvBiquadMulti, EachMemoryContinuesOnlyItsOwnSignal)
{
    testsupport::RecordingAssertHook asserts;
    OvBiquadMulti multi;
    ASSERT_EQ(multi.AllocateMemories(OV::DefaultAllocator(), 3), OV_Success);
    OvBiquad single[3];
    DesignBiquad(multi, 1, 44100.0f, 700.0f, 8.0f, 1.0f);
    for (OvBiquad& f : single)
        DesignBiquad(f, 1, 44100.0f, 700.0f, 8.0f, 1.0f);
    std::mt19937 rng(3);
    alignas(16) float a[96], b[96];
    for (int call = 0; call < 9; ++call) {  // the memories' calls interleaved, at shifting alignment
        for (int i = 0; i < 96; ++i)
            a[i] = b[i] = float(rng() % 2001) / 1000.0f - 1.0f;
        multi.ProcessSamples(a + call / 3, 96 - call / 3, call % 3);
        single[call % 3].ProcessSamples(b + call / 3, 96 - call / 3);
        ASSERT_TRUE(std::equal(a, a + 96, b)) << "call " << call;
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
    multi.ProcessSamples(a, 4, 3);  // no memory 3: reported, samples untouched
    EXPECT_TRUE(std::equal(a, a + 96, b) && asserts.Saw("in_uMemory < NumMemories()"));
    multi.FreeMemories(OV::DefaultAllocator());
}

}  // namespace
