// The graphic EQ's band layout, each band's gain at its centre, the identity
// at 0 dB, and which bands a change redesigns.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "sdk/plugins/OvGraphicEQ/OvGraphicEQFX.h"
#include "sdk/plugins/OvGraphicEQ/OvGraphicEQFXParams.h"
#include "support/FrequencyResponse.h"
#include "support/OvPluginHarness.h"
#include "support/RecordingAssertHook.h"

namespace {

using testsupport::MagnitudeDb;
using Harness = testsupport::OvPluginHarness<OvGraphicEQFX, OvGraphicEQFXParams>;

constexpr uint32_t kRate = 44100;

TEST(OvGraphicEQFX, TenOctaveBandsShowTheirGainAtTheirCentres)
{
    testsupport::RecordingAssertHook asserts;
    const double centresHz[10] = {44.19417, 62.5, 125, 250, 500, 1000, 2000, 4000, 8000, 11313.708};
    for (uint32_t band = 0; band < 10; ++band) {
        for (float gainDb : {9.0f, -9.0f}) {
            SCOPED_TRACE(testing::Message() << "band " << band << " at " << gainDb << " dB");
            Harness h(1, kRate, 512);
            EXPECT_NEAR(h.plugin->BandFrequency(band), centresHz[band], centresHz[band] * 1e-5);
            h.Set(uint16_t(OV_GRAPHICEQ_ID_BANDGAIN0 + band), gainDb);
            const std::vector<float> ir = h.Impulse(1 << 15);
            const double centreHz = centresHz[band];
            // The shelves at the ends reach the gain at DC or Nyquist and half
            // of it at their corner; a 44 Hz shelf in float coefficients is
            // good to about 0.2 dB at DC.
            if (band == 0 || band == 9) {
                EXPECT_NEAR(MagnitudeDb(ir, band == 0 ? 0.0 : kRate / 2.0, kRate), gainDb, band == 0 ? 0.25 : 0.05);
                EXPECT_NEAR(MagnitudeDb(ir, centreHz, kRate), gainDb / 2, 0.05);
            } else {
                EXPECT_NEAR(MagnitudeDb(ir, centreHz, kRate), gainDb, 0.05);
                // Two octaves away a peak of Q sqrt(2) has lost most of its gain.
                const double awayHz = centreHz * 4 < 20000 ? centreHz * 4 : centreHz / 4;
                EXPECT_LT(std::abs(MagnitudeDb(ir, awayHz, kRate)), std::abs(gainDb) / 4);
            }
        }
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvGraphicEQFX, AllGainsAtZeroGiveTheInputBack)
{
    // Flat to a thousandth of a dB everywhere, and the impulse itself back to
    // rounding, raised by the 44 Hz poles' noise gain: below -60 dB.
    Harness h(2, kRate, 512);
    const std::vector<float> ir = h.Impulse(1 << 15);
    for (double f : {20.0, 44.19, 62.5, 500.0, 1000.0, 8000.0, 11313.7, 20000.0})
        EXPECT_NEAR(MagnitudeDb(ir, f, kRate), 0.0, 1e-3) << f << " Hz";
    for (size_t i = 0; i < ir.size(); ++i)
        ASSERT_NEAR(ir[i], i == 0 ? 1.0f : 0.0f, 1e-3f) << i;
}

TEST(OvGraphicEQFX, AChangeRedesignsOnlyTheBandsItConcerns)
{
    // Overwrite every filter's design with a marker; whatever the next block
    // redesigns loses its marker.
    Harness h(3, kRate, 128);
    OvMultiBandEQ& eq = h.plugin->Filters();
    auto redesigned = [&](uint16_t id, auto value) {
        for (uint32_t c = 0; c < eq.NumChannels(); ++c)
            for (uint32_t b = 0; b < eq.NumBands(); ++b)
                eq.Filter(c, b)->SetCoefs(0.5f, 0.0f, 0.0f, 0.0f, 0.0f);
        h.Set(id, value);
        h.Run(128);
        std::vector<uint32_t> bands;
        for (uint32_t b = 0; b < eq.NumBands(); ++b) {
            const bool changed = eq.Filter(0, b)->B0() != 0.5f;
            for (uint32_t c = 1; c < eq.NumChannels(); ++c)
                EXPECT_EQ(eq.Filter(c, b)->B0() != 0.5f, changed) << "channels disagree in band " << b;
            if (changed)
                bands.push_back(b);
        }
        return bands;
    };
    using Bands = std::vector<uint32_t>;
    const Bands all = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    h.Run(128);
    EXPECT_EQ(redesigned(OV_GRAPHICEQ_ID_BANDGAIN0 + 3, 4.0f), Bands{3});
    EXPECT_EQ(redesigned(OV_GRAPHICEQ_ID_BANDGAIN0 + 9, -2.0f), Bands{9});
    EXPECT_EQ(redesigned(OV_GRAPHICEQ_ID_LOWSHELFQ, 1.0f), Bands{0});
    EXPECT_EQ(redesigned(OV_GRAPHICEQ_ID_HIGHSHELFQ, 0.9f), Bands{9});
    EXPECT_EQ(redesigned(OV_GRAPHICEQ_ID_OUTPUTGAIN, -3.0f), Bands{});
    EXPECT_EQ(redesigned(OV_GRAPHICEQ_ID_STARTFREQUENCY, 40.0f), all);
    EXPECT_EQ(redesigned(OV_GRAPHICEQ_ID_BANDWIDTH, 0.9f), all);
    EXPECT_EQ(redesigned(OV_GRAPHICEQ_ID_SHELVES, uint8_t(0)), all);
    // Without shelves band 0 is a peak at exactly the start frequency.
    EXPECT_EQ(h.plugin->BandType(0), 1);
    EXPECT_EQ(h.plugin->BandFrequency(0), 40.0f);
}

}  // namespace
