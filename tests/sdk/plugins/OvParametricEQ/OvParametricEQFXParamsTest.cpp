// Parameter IDs, clamps, change flags and the packed block, byte by byte.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "ov/OvMemAllocDefault.h"
#include "sdk/plugins/OvParametricEQ/OvParametricEQFXParams.h"
#include "support/OvPluginHarness.h"
#include "support/RecordingAssertHook.h"

namespace {

using testsupport::RecordingAssertHook;

void ClearFlags(OvParametricEQFXParams& p)
{
    for (uint32_t n = 0; n < 9; ++n)
        p.SetBandChanged(n, false);
}

TEST(OvParametricEQFXParams, EachIdStoresItsFieldMarksItsBandAndClampsGains)
{
    RecordingAssertHook asserts;
    OvParametricEQFXParams p;
    for (uint32_t band = 0; band < 9; ++band) {
        ClearFlags(p);
        const uint32_t type = 9;
        const float gainDb = 30.0f, freqHz = 1234.5f + float(band), q = 0.3f;
        const uint8_t on = 1;
        ASSERT_EQ(p.SetParam(uint16_t(5 * band + 0), &type, 4), OV_Success);
        ASSERT_EQ(p.SetParam(uint16_t(5 * band + 1), &gainDb, 4), OV_Success);
        ASSERT_EQ(p.SetParam(uint16_t(5 * band + 2), &freqHz, 4), OV_Success);
        ASSERT_EQ(p.SetParam(uint16_t(5 * band + 3), &q, 4), OV_Success);
        ASSERT_EQ(p.SetParam(uint16_t(5 * band + 4), &on, 1), OV_Success);
        const OvParametricEQBandParams& b = p.GetBand(band);
        EXPECT_EQ(b.FilterType, 9u);
        EXPECT_EQ(b.fGain, 24.0f) << "a gain of 30 dB is stored as 24";
        EXPECT_EQ(b.fFrequency, freqHz);
        EXPECT_EQ(b.fQ, q);
        EXPECT_EQ(b.bOn, 1);
        for (uint32_t other = 0; other < 9; ++other)
            EXPECT_EQ(p.IsBandChanged(other), other == band) << band << " " << other;
    }
    const float low = -40.0f;
    p.SetParam(1, &low, 4);
    EXPECT_EQ(p.GetBand(0).fGain, -24.0f);

    ClearFlags(p);
    const float outDb = 31.0f;
    const uint8_t lfe = 0;
    EXPECT_EQ(p.SetParam(45, &outDb, 4), OV_Success);
    EXPECT_EQ(p.SetParam(46, &lfe, 1), OV_Success);
    EXPECT_EQ(p.fOutputGain, 24.0f);
    EXPECT_EQ(p.bProcessLFE, 0);
    for (uint32_t n = 0; n < 9; ++n)
        EXPECT_FALSE(p.IsBandChanged(n)) << "output gain and LFE mark no band";
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();

    EXPECT_EQ(p.SetParam(3, nullptr, 4), OV_BadParameter);
    EXPECT_EQ(p.SetParam(47, &outDb, 4), OV_BadParameter);
    ASSERT_EQ(asserts.Count(), 2u);
    EXPECT_STREQ(asserts.At(0).expression, "in_pValue != NULL");
    EXPECT_STREQ(asserts.At(1).expression, "Invalid parameter.");
}

std::vector<uint8_t> PackedBlock()
{
    std::vector<uint8_t> block(56, 0);
    auto put = [&](size_t at, const void* v, size_t n) { std::memcpy(&block[at], v, n); };
    const uint32_t types[3] = {0, 3, 10};
    const float gains[3] = {30.0f, -2.0f, 5.0f}, freqs[3] = {50.0f, 700.0f, 9000.0f}, qs[3] = {0.6f, 4.0f, 2.0f};
    for (size_t n = 0; n < 3; ++n) {
        put(17 * n, &types[n], 4);
        put(17 * n + 4, &gains[n], 4);
        put(17 * n + 8, &freqs[n], 4);
        put(17 * n + 12, &qs[n], 4);
        block[17 * n + 16] = uint8_t(n != 1);
    }
    const float out = -3.5f;
    put(51, &out, 4);
    block[55] = 1;
    return block;
}

TEST(OvParametricEQFXParams, PackedBlockSetsThreeBandsUnclampedAndIdlesTheRest)
{
    RecordingAssertHook asserts;
    OvParametricEQFXParams p;
    const float freq = 333.0f;
    p.SetParam(5 * 6 + 2, &freq, 4);
    ClearFlags(p);
    const std::vector<uint8_t> block = PackedBlock();
    ASSERT_EQ(p.Init(OV::DefaultAllocator(), block.data(), 56), OV_Success);
    EXPECT_EQ(p.GetBand(0).FilterType, 0u);
    EXPECT_EQ(p.GetBand(0).fGain, 30.0f) << "blocks are not clamped";
    EXPECT_EQ(p.GetBand(1).fFrequency, 700.0f);
    EXPECT_EQ(p.GetBand(1).bOn, 0);
    EXPECT_EQ(p.GetBand(2).FilterType, 10u);
    EXPECT_EQ(p.GetBand(2).fQ, 2.0f);
    EXPECT_EQ(p.fOutputGain, -3.5f);
    EXPECT_EQ(p.bProcessLFE, 1);
    for (uint32_t n = 3; n < 9; ++n) {
        const OvParametricEQBandParams& b = p.GetBand(n);
        EXPECT_EQ(b.FilterType, 5u);
        EXPECT_EQ(b.fGain, 0.0f);
        EXPECT_EQ(b.fFrequency, 5000.0f);
        EXPECT_EQ(b.fQ, 5.0f);
        EXPECT_EQ(b.bOn, 0);
    }
    for (uint32_t n = 0; n < 9; ++n)
        EXPECT_TRUE(p.IsBandChanged(n));
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();

    // A block too short to hold the layout is refused whole.
    EXPECT_EQ(p.SetAllParams(block.data(), 55), OV_BadParameter);
    EXPECT_EQ(p.GetBand(0).fGain, 30.0f);

    // No block: the parameter object's own start set.
    OvParametricEQFXParams q;
    ASSERT_EQ(q.Init(OV::DefaultAllocator(), nullptr, 0), OV_Success);
    const uint32_t expectedTypes[3] = {4, 6, 5};
    const float expectedFreqs[3] = {120.0f, 2000.0f, 5000.0f};
    for (uint32_t n = 0; n < 3; ++n) {
        EXPECT_EQ(q.GetBand(n).FilterType, expectedTypes[n]);
        EXPECT_EQ(q.GetBand(n).fFrequency, expectedFreqs[n]);
        EXPECT_EQ(q.GetBand(n).fGain, 0.0f);
        EXPECT_EQ(q.GetBand(n).fQ, 5.0f);
        EXPECT_EQ(q.GetBand(n).bOn, 1);
    }
    EXPECT_EQ(q.GetBand(8).bOn, 0);
    EXPECT_EQ(q.bProcessLFE, 1);
    EXPECT_EQ(q.fOutputGain, 0.0f);
}

TEST(OvParametricEQFXParams, CloneCopiesValuesWithEveryFlagSet)
{
    OvParametricEQFXParams p;
    const float gain = -7.0f;
    p.SetParam(21, &gain, 4);
    ClearFlags(p);
    IOvEffectParams* clone = p.Clone(OV::DefaultAllocator());
    ASSERT_NE(clone, nullptr);
    auto* c = static_cast<OvParametricEQFXParams*>(clone);
    EXPECT_EQ(c->GetBand(4).fGain, -7.0f);
    for (uint32_t n = 0; n < 9; ++n)
        EXPECT_TRUE(c->IsBandChanged(n));
    clone->Shutdown(OV::DefaultAllocator());
}

}  // namespace
