// The nine-band EQ measured from impulse responses: each filter type's
// landmark, the cascade of all nine bands, the output gain, the LFE rule.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "sdk/plugins/OvParametricEQ/OvParametricEQFX.h"
#include "sdk/plugins/OvParametricEQ/OvParametricEQFXParams.h"
#include "support/FrequencyResponse.h"
#include "support/OvPluginHarness.h"
#include "wrappers/ParametricEQDefaultBlock.h"

namespace {

using testsupport::AssertLog;
using testsupport::MagnitudeDb;
using Harness = testsupport::OvPluginHarness<OvParametricEQFX, OvParametricEQFXParams>;

constexpr uint32_t kRate = 44100;
constexpr size_t kImpulse = 1 << 14;

void SetBand(OvParametricEQFXParams& p, uint32_t band, uint32_t type, float gainDb, float freqHz, float q,
             bool on = true)
{
    const uint8_t onByte = on ? 1 : 0;
    p.SetParam(uint16_t(5 * band), &type, 4);
    p.SetParam(uint16_t(5 * band + 1), &gainDb, 4);
    p.SetParam(uint16_t(5 * band + 2), &freqHz, 4);
    p.SetParam(uint16_t(5 * band + 3), &q, 4);
    p.SetParam(uint16_t(5 * band + 4), &onByte, 1);
}

void AllOff(OvParametricEQFXParams& p)
{
    const uint8_t off = 0;
    for (uint16_t band = 0; band < 9; ++band)
        p.SetParam(uint16_t(5 * band + 4), &off, 1);
}

TEST(OvParametricEQFX, EachFilterTypeHasItsLandmarkInAnyBand)
{
    AssertLog asserts;
    struct Case {
        uint32_t type;
        float freqHz, gainDb, q;
        double probeHz, expectedDb, toleranceDb;
    };
    const double nyq = kRate / 2.0;
    const Case cases[] = {
        {0, 2000, 0, 1, 2000, -3.0103, 0.02},   {0, 2000, 0, 1, 0, 0.0, 0.01},
        {1, 300, 0, 1, 300, -3.0103, 0.05},     {1, 300, 0, 1, nyq, 0.0, 0.01},
        {2, 1000, 0, 2, 1000, 0.0, 0.02},       {3, 1000, 0, 2, 1000, -200, 140},  // deep notch
        {4, 200, 9, 5, 0, 9.0, 0.01},           {4, 200, 9, 5, nyq, 0.0, 0.01},
        {5, 4000, -7, 5, nyq, -7.0, 0.01},      {5, 4000, -7, 5, 0, 0.0, 0.01},
        {6, 2500, 11, 3, 2500, 11.0, 0.02},     {6, 80, -13, 0.7f, 80, -13.0, 0.05},
        {7, 150, 6, 0.5f, 0, 6.0, 0.01},        {7, 150, 6, 0.5f, 150, 3.0, 0.02},
        {8, 6000, -8, 0.5f, nyq, -8.0, 0.01},   {8, 6000, -8, 0.5f, 6000, -4.0, 0.02},
        {9, 1500, 0, 4, 1500, 20 * std::log10(4.0), 0.05}, {9, 1500, 0, 4, 0, 0.0, 0.01},
        {10, 1500, 0, 0.5f, 1500, 20 * std::log10(0.5), 0.05}, {10, 1500, 0, 0.5f, nyq, 0.0, 0.01},
        // Clamped to 45 % of the rate: the Butterworth's -3 dB point lands there.
        {0, 30000, 0, 1, 0.45 * kRate, -3.0103, 0.05},
    };
    uint32_t band = 0;
    for (const Case& c : cases) {
        Harness h(512, 1, kRate);
        ASSERT_TRUE(h.ready);
        AllOff(*h.params);
        band = (band + 4) % 9;
        SetBand(*h.params, band, c.type, c.gainDb, c.freqHz, c.q);
        const std::vector<float> ir = h.Impulse(kImpulse);
        EXPECT_NEAR(MagnitudeDb(ir, c.probeHz, kRate), c.expectedDb, c.toleranceDb)
            << "type " << c.type << " at " << c.probeHz << " Hz, band " << band;
    }
    // Types 4 and 5 have a fixed slope: Q makes no difference.
    for (uint32_t type : {4u, 5u}) {
        Harness a(512, 1, kRate), b(512, 1, kRate);
        AllOff(*a.params);
        AllOff(*b.params);
        SetBand(*a.params, 0, type, 6.0f, 1000.0f, 0.3f);
        SetBand(*b.params, 0, type, 6.0f, 1000.0f, 8.0f);
        EXPECT_EQ(a.Impulse(4096), b.Impulse(4096)) << type;
    }
    EXPECT_TRUE(asserts.texts().empty());
}

TEST(OvParametricEQFX, NineBandsCascadeAndTheOutputGainScalesAll)
{
    const uint32_t types[9] = {7, 6, 6, 6, 9, 3, 6, 8, 1};
    const float freqs[9] = {90, 250, 700, 1500, 18000, 5000, 8000, 12000, 30};
    const float gains[9] = {4, -3, 5, -6, 0, 0, 2, -5, 0};
    const float qs[9] = {0.7f, 1.0f, 2.0f, 1.5f, 0.5f, 8.0f, 1.0f, 0.7f, 1.0f};
    const double probes[] = {40, 100, 300, 1000, 2500, 4000, 7000, 10000, 15000};

    std::vector<double> sumDb(std::size(probes), 0.0);
    for (uint32_t band = 0; band < 9; ++band) {
        Harness single(256, 1, kRate);
        AllOff(*single.params);
        SetBand(*single.params, band, types[band], gains[band], freqs[band], qs[band]);
        const std::vector<float> ir = single.Impulse(kImpulse);
        for (size_t i = 0; i < std::size(probes); ++i)
            sumDb[i] += MagnitudeDb(ir, probes[i], kRate);
    }
    Harness all(256, 2, kRate);
    for (uint32_t band = 0; band < 9; ++band)
        SetBand(*all.params, band, types[band], gains[band], freqs[band], qs[band]);
    const float outDb = -4.5f;
    all.params->SetParam(45, &outDb, 4);
    // The first block ramps from 0 dB to the output gain; measure after it.
    all.Run(256);
    all.plugin->Reset();
    const std::vector<float> ir = all.Impulse(kImpulse);
    for (size_t i = 0; i < std::size(probes); ++i)
        EXPECT_NEAR(MagnitudeDb(ir, probes[i], kRate), sumDb[i] + outDb, 0.02) << probes[i] << " Hz";
}

TEST(OvParametricEQFX, LfeChannelIsLeftAloneUnlessProcessed)
{
    for (uint8_t processLfe : {uint8_t(0), uint8_t(1)}) {
        // 6 channels: front pair, sides, centre and LFE last.
        std::vector<uint8_t> block(ParametricEQDefaultBlock(), ParametricEQDefaultBlock() + 56);
        block[55] = processLfe;
        Harness h(128, 6, kRate, block.data(), 56);
        ASSERT_TRUE(h.ready);
        EXPECT_EQ(h.plugin->NumProcessedChannels(), processLfe ? 6u : 5u);
        SetBand(*h.params, 1, 6, 12.0f, 1000.0f, 1.0f);
        const float outDb = -6.0f;
        h.params->SetParam(45, &outDb, 4);
        std::mt19937 rng(11);
        std::uniform_real_distribution<float> sample(-0.5f, 0.5f);
        for (int blockNo = 0; blockNo < 4; ++blockNo) {
            for (float& v : h.samples)
                v = sample(rng);
            const std::vector<float> in = h.samples;
            h.Run(blockNo == 3 ? 77 : 128);
            for (uint32_t c = 0; c < 6; ++c) {
                double diff = 0;
                for (uint32_t i = 0; i < 77; ++i)
                    diff = std::max(diff, double(std::abs(h.Channel(c)[i] - in[c * 128 + i])));
                if (c == 5 && !processLfe)
                    EXPECT_EQ(diff, 0.0) << "LFE touched";
                else
                    EXPECT_GT(diff, 0.01) << "channel " << c << " not processed";
            }
        }
    }
}

TEST(OvParametricEQFX, ResetForgetsAudioButKeepsTheDesign)
{
    Harness h(300, 2, 48000);
    SetBand(*h.params, 0, 6, 9.0f, 400.0f, 4.0f);
    const std::vector<float> first = h.Impulse(1200);
    h.Impulse(150);  // leaves the memories ringing mid-response
    h.plugin->Reset();
    EXPECT_EQ(h.Impulse(1200), first);
}

TEST(OvParametricEQFX, UnknownFilterTypeIsReportedAndKeepsThePreviousDesign)
{
    AssertLog asserts;
    Harness h(256, 1, kRate);
    AllOff(*h.params);
    SetBand(*h.params, 2, 6, 6.0f, 1000.0f, 1.0f);
    const std::vector<float> before = h.Impulse(1024);
    const uint32_t bad = 11;
    h.params->SetParam(10, &bad, 4);
    const std::vector<float> after = h.Impulse(1024);
    EXPECT_EQ(before, after);
    ASSERT_EQ(asserts.texts().size(), 1u);
    EXPECT_EQ(asserts.texts()[0], "Invalid filter type.");
    for (float v : after)
        ASSERT_TRUE(std::isfinite(v));
}

}  // namespace
