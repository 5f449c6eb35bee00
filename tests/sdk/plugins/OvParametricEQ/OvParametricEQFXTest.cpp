// The nine-band EQ measured from impulse responses: every filter type in a
// cascade of nine bands against the closed form, the gain clamp, the output
// gain, and an unknown type.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "sdk/plugins/OvParametricEQ/OvParametricEQFX.h"
#include "sdk/plugins/OvParametricEQ/OvParametricEQFXParams.h"
#include "support/FrequencyResponse.h"
#include "support/OvPluginHarness.h"
#include "support/RecordingAssertHook.h"

namespace {

using testsupport::MagnitudeDb;
using testsupport::PrototypeDb;
using Harness = testsupport::OvPluginHarness<OvParametricEQFX, OvParametricEQFXParams>;

constexpr uint32_t kRate = 44100;

void SetBand(Harness& h, uint32_t band, uint32_t type, float gainDb, float freqHz, float q, bool on = true)
{
    h.Set(OvParametricEQBandParamID(band, OV_PARAMETRICEQ_FIELD_TYPE), type);
    h.Set(OvParametricEQBandParamID(band, OV_PARAMETRICEQ_FIELD_GAIN), gainDb);
    h.Set(OvParametricEQBandParamID(band, OV_PARAMETRICEQ_FIELD_FREQUENCY), freqHz);
    h.Set(OvParametricEQBandParamID(band, OV_PARAMETRICEQ_FIELD_Q), q);
    h.Set(OvParametricEQBandParamID(band, OV_PARAMETRICEQ_FIELD_ON), uint8_t(on));
}

TEST(OvParametricEQFX, NineBandsInSeriesFollowTheClosedFormOfEveryType)
{
    testsupport::RecordingAssertHook asserts;
    struct Band { uint32_t type; float gainDb, freqHz, q; };
    // Two layouts cover all eleven types; the last band of the second lies
    // above 45 % of the rate and is designed there. A gain of 30 dB is
    // clamped to 24.
    const Band layouts[2][9] = {
        {{7, 4, 90, 0.7f}, {6, -3, 250, 1}, {6, 30, 700, 2}, {4, -6, 1500, 9}, {9, 0, 18000, 0.8f},
         {3, 0, 5000, 8}, {6, 2, 8000, 1}, {8, -5, 12000, 0.7f}, {1, 0, 30, 1}},
        {{5, 3, 6000, 9}, {2, 0, 1000, 0.3f}, {10, 0, 40, 0.6f}, {6, -8, 3000, 4}, {6, 6, 150, 1.5f},
         {7, -4, 300, 0.5f}, {8, 2, 9000, 1}, {6, 1, 500, 0.7f}, {0, 0, 30000, 1}},
    };
    const double probes[] = {0, 40, 100, 300, 700, 1000, 2500, 4000, 7000, 10000, 15000, 19845, 22050};
    for (const auto& layout : layouts) {
        Harness h(2, kRate, 256);
        for (uint32_t band = 0; band < 9; ++band)
            SetBand(h, band, layout[band].type, layout[band].gainDb, layout[band].freqHz, layout[band].q);
        const float outDb = -4.5f;
        h.Set(OV_PARAMETRICEQ_ID_OUTPUTGAIN, outDb);
        // The first block ramps from 0 dB to the output gain: run it on
        // silence, which leaves the memories silent, and measure after it.
        h.Run(256);
        const std::vector<float> ir = h.Impulse(1 << 14);
        for (double f : probes) {
            double expected = outDb;
            for (const Band& b : layout)
                expected += PrototypeDb(b.type, f, std::min(b.freqHz, 0.45f * kRate), std::min(b.gainDb, 24.0f),
                                        b.q, kRate);
            if (expected > -50.0) {  // above the float noise floor
                EXPECT_NEAR(MagnitudeDb(ir, f, kRate), expected, 0.05) << f << " Hz";
            }
        }
    }
    // Types 4 and 5 have a fixed slope: Q makes no difference.
    for (uint32_t type : {4u, 5u}) {
        Harness a(1, kRate, 512), b(1, kRate, 512);
        for (uint32_t band = 1; band < 9; ++band) {
            a.Set(OvParametricEQBandParamID(band, OV_PARAMETRICEQ_FIELD_ON), uint8_t(0));
            b.Set(OvParametricEQBandParamID(band, OV_PARAMETRICEQ_FIELD_ON), uint8_t(0));
        }
        SetBand(a, 0, type, 6.0f, 1000.0f, 0.3f);
        SetBand(b, 0, type, 6.0f, 1000.0f, 8.0f);
        EXPECT_EQ(a.Impulse(4096), b.Impulse(4096)) << type;
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvParametricEQFX, UnknownFilterTypeIsReportedAndKeepsThePreviousDesign)
{
    testsupport::RecordingAssertHook asserts;
    Harness h(1, kRate, 256);
    SetBand(h, 2, 6, 6.0f, 1000.0f, 1.0f);
    const std::vector<float> before = h.Impulse(1024);
    h.Set(OvParametricEQBandParamID(2, OV_PARAMETRICEQ_FIELD_TYPE), uint32_t(11));
    EXPECT_EQ(h.Impulse(1024), before);
    EXPECT_EQ(asserts.Count(), 1u);
    EXPECT_TRUE(asserts.Saw("Invalid filter type."));
}

}  // namespace
