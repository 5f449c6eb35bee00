// The multiband compressor: band gains reach only their band, the keyed entry
// listens to the key, and no allocation per block.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "sdk/plugins/OvMultibandCompressor/OvMultibandCompressorFX.h"
#include "sdk/plugins/OvMultibandCompressor/OvMultibandCompressorFXParams.h"
#include "support/AllocationCounter.h"
#include "support/FrequencyResponse.h"
#include "support/OvPluginHarness.h"

namespace {

using Harness = testsupport::OvPluginHarness<OvMultibandCompressorFX, OvMultibandCompressorFXParams>;
constexpr uint32_t kRate = 44100;
constexpr uint32_t kBlock = 1024;

void AllBands(Harness& h, uint32_t field, float value)
{
    for (uint32_t b = 0; b < 5; ++b)
        ASSERT_EQ(h.Set(OvMultibandCompressorBandParamID(b, field), value), OV_Success);
}

// A mono signal through the plug-in, block by block; through the keyed entry
// when a key is given.
std::vector<float> RunMono(Harness& h, const std::vector<float>& signal, const std::vector<float>* key = nullptr)
{
    testsupport::PlanarBlock keyBlock(1, kBlock);
    testsupport::Planes out(1);
    for (size_t start = 0; start < signal.size(); start += kBlock) {
        const uint32_t n = uint32_t(std::min<size_t>(kBlock, signal.size() - start));
        h.block.Load({signal}, start, n);
        if (key) {
            keyBlock.Load({*key}, start, n);
            h.plugin->ProcessBlockWithKey(&h.block.buffer, &keyBlock.buffer, nullptr);
        } else {
            h.Run(n);
        }
        h.block.AppendTo(out, n);
    }
    return out[0];
}

std::vector<float> Sine(size_t frames, double rmsDb, double hz)
{
    return testsupport::Sine(frames, rmsDb, hz, kRate);
}

TEST(OvMultibandCompressorFX, BandGainsReachOnlyTheirBand)
{
    // Band 0 down 20 dB, band 4 up 6 dB, input +3 dB, output -3 dB; Range 0
    // (the default) leaves the compressors without effect.
    Harness h(1, kRate, kBlock);
    ASSERT_TRUE(h.ok);
    h.Set(OvMultibandCompressorBandParamID(0, OV_MBCFXPARAM_BAND_OUTPUTGAIN), -20.0f);
    h.Set(OvMultibandCompressorBandParamID(4, OV_MBCFXPARAM_BAND_INPUTGAIN), 6.0f);
    h.Set(uint16_t(OV_MBCFXPARAM_INPUTGAIN_ID), 3.0f);
    h.Set(uint16_t(OV_MBCFXPARAM_OUTPUTGAIN_ID), -3.0f);
    RunMono(h, std::vector<float>(kBlock, 0.0f));  // past the gains' first ramp
    std::vector<float> impulse(16384, 0.0f);
    impulse[0] = 1.0f;
    const std::vector<float> out = RunMono(h, impulse);
    EXPECT_NEAR(testsupport::MagnitudeDb(out, 20.0, kRate), -20.0, 0.2);
    EXPECT_NEAR(testsupport::MagnitudeDb(out, 800.0, kRate), 0.0, 0.1);
    EXPECT_NEAR(testsupport::MagnitudeDb(out, 19000.0, kRate), 6.0, 0.2);
}

TEST(OvMultibandCompressorFX, KeyedEntryCompressesByTheKeysLevel)
{
    const size_t frames = kRate, from = frames / 2;
    const std::vector<float> quiet = Sine(frames, -40.0, 725.0), loud = Sine(frames, -10.0, 725.0);
    const std::vector<float> silent(frames, 0.0f);
    struct Case {
        uint32_t bands;
        const std::vector<float>& signal;
        const std::vector<float>* key;
        double expectedDb, toleranceDb;
    };
    // One band follows the static curve of the key's level, 20 dB over at
    // ratio 4. Of five bands, band 2 holds most of a 725 Hz sine and its key
    // is 30 dB louder; what leaks into bands 1 and 3 stays under threshold.
    const Case cases[] = {
        {1, quiet, &loud, -40.0 - 15.0, 0.15}, {1, loud, &silent, -10.0, 0.02}, {1, loud, nullptr, -25.0, 0.15},
        {5, quiet, &loud, -40.0 - 15.0, 5.0},  {5, loud, &silent, -10.0, 0.05},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.bands << " bands, key " << (c.key == &loud ? "loud" : c.key ? "silent" : "none"));
        Harness h(1, kRate, kBlock);
        ASSERT_TRUE(h.ok);
        ASSERT_EQ(h.Set(uint16_t(OV_MBCFXPARAM_NUMBANDS_ID), c.bands), OV_Success);
        AllBands(h, OV_MBCFXPARAM_BAND_THRESHOLD, -30.0f);
        AllBands(h, OV_MBCFXPARAM_BAND_RATIO, 4.0f);
        AllBands(h, OV_MBCFXPARAM_BAND_RANGE, -60.0f);
        AllBands(h, OV_MBCFXPARAM_BAND_ATTACK, 0.01f);
        AllBands(h, OV_MBCFXPARAM_BAND_RELEASE, 0.01f);
        EXPECT_NEAR(testsupport::RmsDb(RunMono(h, c.signal, c.key), from, frames), c.expectedDb, c.toleranceDb);
    }
}

TEST(OvMultibandCompressorFX, EdgeChangesAndKeyedBlocksAllocateNothing)
{
    Harness h(1, kRate, kBlock);
    ASSERT_TRUE(h.ok);
    h.Set(uint16_t(OV_MBCFXPARAM_FOURTHORDER_ID), uint8_t(0));
    AllBands(h, OV_MBCFXPARAM_BAND_THRESHOLD, -30.0f);
    AllBands(h, OV_MBCFXPARAM_BAND_RANGE, -20.0f);
    const testsupport::Planes signal(1, Sine(kBlock, -6.0, 440.0));
    testsupport::PlanarBlock key(1, kBlock);
    RunMono(h, signal[0], &signal[0]);
    testsupport::AllocationCounter counter;
    for (int i = 0; i < 50; ++i) {
        h.Set(uint16_t(OV_MBCFXPARAM_CROSSOVER0_ID + i % 4), 200.0f + 100.0f * float(i));
        h.Set(OvMultibandCompressorBandParamID(uint32_t(i % 5), OV_MBCFXPARAM_BAND_OUTPUTGAIN), float(i % 7) - 3.0f);
        h.block.Load(signal, 0, kBlock - 4 * (i % 3));
        key.Load(signal, 0, kBlock - 4 * (i % 3));
        h.plugin->ProcessBlockWithKey(&h.block.buffer, &key.buffer, nullptr);
        h.Run(kBlock);
    }
    EXPECT_EQ(counter.Count(), 0u);
}

}  // namespace
