// The graphic EQ's band layout, each band's gain at its centre, the identity
// at 0 dB, and which bands a change redesigns.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "sdk/plugins/OvGraphicEQ/OvGraphicEQFX.h"
#include "sdk/plugins/OvGraphicEQ/OvGraphicEQFXParams.h"
#include "support/FrequencyResponse.h"
#include "support/OvPluginHarness.h"
#include "support/RecordingAssertHook.h"

namespace {

using testsupport::RecordingAssertHook;
using testsupport::MagnitudeDb;
using Harness = testsupport::OvPluginHarness<OvGraphicEQFX, OvGraphicEQFXParams>;

constexpr uint32_t kRate = 44100;

void SetGain(OvGraphicEQFXParams& p, uint32_t band, float gainDb)
{
    p.SetParam(uint16_t(OV_GRAPHICEQ_ID_BANDGAIN0 + band), &gainDb, 4);
}

TEST(OvGraphicEQFX, TenOctaveBandsFromTheStartFrequencyWithShelvesAtTheEnds)
{
    RecordingAssertHook asserts;
    Harness h(512, 2, kRate);
    ASSERT_TRUE(h.ready);
    const double expectedHz[10] = {44.19417, 62.5, 125, 250, 500, 1000, 2000, 4000, 8000, 11313.708};
    for (uint32_t i = 0; i < 10; ++i) {
        EXPECT_NEAR(h.plugin->BandFrequency(i), expectedHz[i], expectedHz[i] * 1e-5) << i;
        EXPECT_EQ(h.plugin->BandType(i), i == 0 ? 7 : i == 9 ? 8 : 1) << i;
    }
    EXPECT_NEAR(h.plugin->BandQ(), std::sqrt(2.0), 1e-5);

    // Each band alone at +-9 dB shows that gain at its centre; the shelves
    // reach it at the band edge (DC, Nyquist) and half of it at their corner.
    for (uint32_t band = 0; band < 10; ++band) {
        for (float gainDb : {9.0f, -9.0f}) {
            Harness one(512, 1, kRate);
            SetGain(*one.params, band, gainDb);
            const std::vector<float> ir = one.Impulse(1 << 15);
            const double centreHz = expectedHz[band];
            if (band == 0) {
                // A 44 Hz shelf in float coefficients is good to about 0.2 dB at DC.
                EXPECT_NEAR(MagnitudeDb(ir, 0.0, kRate), gainDb, 0.25);
                EXPECT_NEAR(MagnitudeDb(ir, centreHz, kRate), gainDb / 2, 0.05);
            } else if (band == 9) {
                EXPECT_NEAR(MagnitudeDb(ir, kRate / 2.0, kRate), gainDb, 0.05);
                EXPECT_NEAR(MagnitudeDb(ir, centreHz, kRate), gainDb / 2, 0.05);
            } else {
                EXPECT_NEAR(MagnitudeDb(ir, centreHz, kRate), gainDb, 0.05) << band;
                // Two octaves away a peak of Q sqrt(2) has lost most of its gain.
                const double awayHz = centreHz * 4 < 20000 ? centreHz * 4 : centreHz / 4;
                EXPECT_LT(std::abs(MagnitudeDb(ir, awayHz, kRate)), std::abs(gainDb) / 4) << band;
            }
        }
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvGraphicEQFX, AllGainsAtZeroGiveTheInputBack)
{
    Harness h(256, 2, kRate);
    std::mt19937 rng(21);
    std::uniform_real_distribution<float> sample(-1.0f, 1.0f);
    double worst = 0;
    for (int block = 0; block < 20; ++block) {
        for (float& v : h.samples)
            v = sample(rng);
        const std::vector<float> in = h.samples;
        h.Run(256);
        for (size_t i = 0; i < in.size(); ++i)
            worst = std::max(worst, double(std::abs(h.samples[i] - in[i])));
    }
    // Rounding, raised by the 44 Hz poles' noise gain: below -60 dB.
    EXPECT_LT(worst, 1e-3);
    // And no level change anywhere: flat to a thousandth of a dB.
    Harness flat(512, 1, kRate);
    const std::vector<float> ir = flat.Impulse(1 << 15);
    for (double f : {20.0, 44.19, 62.5, 500.0, 1000.0, 8000.0, 11313.7, 20000.0})
        EXPECT_NEAR(MagnitudeDb(ir, f, kRate), 0.0, 1e-3) << f << " Hz";
}

TEST(OvGraphicEQFX, AChangeRedesignsOnlyTheBandsItConcerns)
{
    // Overwrite every filter's design with a marker; whatever the next block
    // redesigns loses its marker.
    auto mark = [](OvGraphicEQFX& fx) {
        OvMultiBandEQ& eq = fx.Filters();
        for (uint32_t c = 0; c < eq.NumChannels(); ++c)
            for (uint32_t b = 0; b < eq.NumBands(); ++b)
                eq.Filter(c, b)->SetCoefs(0.5f, 0.0f, 0.0f, 0.0f, 0.0f);
    };
    auto redesigned = [](OvGraphicEQFX& fx) {
        std::vector<uint32_t> bands;
        OvMultiBandEQ& eq = fx.Filters();
        for (uint32_t b = 0; b < eq.NumBands(); ++b) {
            const bool changed = eq.Filter(0, b)->B0() != 0.5f;
            for (uint32_t c = 1; c < eq.NumChannels(); ++c)
                EXPECT_EQ(eq.Filter(c, b)->B0() != 0.5f, changed) << "channels disagree in band " << b;
            if (changed)
                bands.push_back(b);
        }
        return bands;
    };
    struct Change {
        uint16_t id;
        float value;
        std::vector<uint32_t> expected;
    };
    const std::vector<uint32_t> all = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    const Change changes[] = {
        {OV_GRAPHICEQ_ID_BANDGAIN0 + 3, 4.0f, {3}},
        {OV_GRAPHICEQ_ID_BANDGAIN0 + 9, -2.0f, {9}},
        {OV_GRAPHICEQ_ID_LOWSHELFQ, 1.0f, {0}},
        {OV_GRAPHICEQ_ID_HIGHSHELFQ, 0.9f, {9}},
        {OV_GRAPHICEQ_ID_OUTPUTGAIN, -3.0f, {}},
        {OV_GRAPHICEQ_ID_STARTFREQUENCY, 40.0f, all},
        {OV_GRAPHICEQ_ID_BANDWIDTH, 0.9f, all},
    };
    Harness h(128, 3, kRate);
    h.Run(128);
    for (const Change& change : changes) {
        mark(*h.plugin);
        h.params->SetParam(change.id, &change.value, 4);
        h.Run(128);
        EXPECT_EQ(redesigned(*h.plugin), change.expected) << "ID " << change.id;
    }
    mark(*h.plugin);
    const uint8_t shelvesOff = 0;
    h.params->SetParam(OV_GRAPHICEQ_ID_SHELVES, &shelvesOff, 1);
    h.Run(128);
    EXPECT_EQ(redesigned(*h.plugin), all);
    // Without shelves band 0 is a peak at exactly the start frequency.
    EXPECT_EQ(h.plugin->BandType(0), 1);
    EXPECT_EQ(h.plugin->BandFrequency(0), 40.0f);
}

TEST(OvGraphicEQFX, AChangedGainKeepsTheOtherBandsRunning)
{
    // Two copies fed the same noise; one gets a new gain in band 5 halfway.
    // Right after the change the output differs by that band alone, so a
    // copy that had its memories cleared would show as a click.
    Harness a(256, 1, kRate), b(256, 1, kRate);
    for (Harness* h : {&a, &b})
        for (uint32_t band = 0; band < 10; ++band)
            SetGain(*h->params, band, float(band % 3) * 3.0f - 3.0f);
    std::mt19937 rng(4);
    std::uniform_real_distribution<float> sample(-0.5f, 0.5f);
    std::vector<float> ya, yb;
    for (int block = 0; block < 8; ++block) {
        if (block == 4)
            SetGain(*b.params, 5, 0.5f + a.params->m_Params.fBandGain[5]);
        for (uint32_t i = 0; i < 256; ++i)
            a.samples[i] = b.samples[i] = sample(rng);
        a.Run(256);
        b.Run(256);
        ya.insert(ya.end(), a.samples.begin(), a.samples.end());
        yb.insert(yb.end(), b.samples.begin(), b.samples.end());
    }
    for (size_t i = 0; i < 4 * 256; ++i)
        ASSERT_EQ(ya[i], yb[i]);
    double worst = 0;
    for (size_t i = 4 * 256; i < ya.size(); ++i)
        worst = std::max(worst, double(std::abs(ya[i] - yb[i])));
    EXPECT_GT(worst, 1e-3);
    EXPECT_LT(worst, 0.2);  // half a dB in one band, not a restart
}

TEST(OvGraphicEQFX, PackedBlockAndNewBandCountRebuildTheGrid)
{
    RecordingAssertHook asserts;
    // 5 bands from 100 Hz, two octaves apart, no shelves, +6 dB in band 2.
    std::vector<uint8_t> block(25 + 5 * 4, 0);
    const float head[5] = {100.0f, 2.0f, 0.0f, 0.707f, 0.707f};
    std::memcpy(block.data(), head, sizeof head);
    block[20] = 0;
    const uint32_t bands = 5;
    std::memcpy(&block[21], &bands, 4);
    const float gain = 6.0f;
    std::memcpy(&block[25 + 2 * 4], &gain, 4);
    Harness h(512, 2, kRate, block.data(), uint32_t(block.size()));
    ASSERT_TRUE(h.ready);
    EXPECT_EQ(h.plugin->Filters().NumBands(), 5u);
    EXPECT_EQ(h.plugin->Filters().NumFilters(), 10u);
    EXPECT_FLOAT_EQ(h.plugin->BandFrequency(2), 1600.0f);
    EXPECT_NEAR(MagnitudeDb(h.Impulse(1 << 14), 1600.0, kRate), 6.0, 0.05);

    const uint32_t seven = 7;
    h.params->SetParam(OV_GRAPHICEQ_ID_NUMBANDS, &seven, 4);
    h.Run(512);
    EXPECT_EQ(h.plugin->Filters().NumBands(), 7u);
    EXPECT_EQ(h.plugin->Filters().NumFilters(), 14u);
    EXPECT_NEAR(MagnitudeDb(h.Impulse(1 << 14), 1600.0, kRate), 6.0, 0.05);
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();

    EXPECT_EQ(h.params->SetParam(37, &gain, 4), OV_BadParameter);
    EXPECT_EQ(asserts.Count(), 1u);
    EXPECT_TRUE(asserts.Saw("Invalid Graphic EQ parameter."));
}

}  // namespace
