// The nine-band EQ measured from impulse responses: each filter type's
// landmark, the cascade of all nine bands, the output gain, the LFE rule.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "sdk/plugins/OvParametricEQ/OvParametricEQFX.h"
#include "sdk/plugins/OvParametricEQ/OvParametricEQFXParams.h"
#include "support/FrequencyResponse.h"
#include "support/OvPluginHarness.h"
#include "support/RecordingAssertHook.h"
#include "wrappers/ParametricEQDefaultBlock.h"

namespace {

using testsupport::RecordingAssertHook;
using testsupport::MagnitudeDb;
using testsupport::PrototypeDb;
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

TEST(OvParametricEQFX, NineBandsInSeriesFollowTheClosedFormOfEveryType)
{
    RecordingAssertHook asserts;
    struct Band { uint32_t type; float gainDb, freqHz, q; };
    // Two layouts cover all eleven types; the last band of the second lies
    // above 45 % of the rate and is designed there.
    const Band layouts[2][9] = {
        {{7, 4, 90, 0.7f}, {6, -3, 250, 1}, {6, 5, 700, 2}, {4, -6, 1500, 9}, {9, 0, 18000, 0.8f},
         {3, 0, 5000, 8}, {6, 2, 8000, 1}, {8, -5, 12000, 0.7f}, {1, 0, 30, 1}},
        {{5, 3, 6000, 9}, {2, 0, 1000, 0.3f}, {10, 0, 40, 0.6f}, {6, -8, 3000, 4}, {6, 6, 150, 1.5f},
         {7, -4, 300, 0.5f}, {8, 2, 9000, 1}, {6, 1, 500, 0.7f}, {0, 0, 30000, 1}},
    };
    const double probes[] = {0, 40, 100, 300, 1000, 2500, 4000, 7000, 10000, 15000, 19845, 22050};
    for (const auto& layout : layouts) {
        Harness h(256, 2, kRate);
        for (uint32_t band = 0; band < 9; ++band)
            SetBand(*h.params, band, layout[band].type, layout[band].gainDb, layout[band].freqHz, layout[band].q);
        const float outDb = -4.5f;
        h.params->SetParam(45, &outDb, 4);
        // The first block ramps from 0 dB to the output gain; measure after it.
        h.Run(256);
        h.plugin->Reset();
        const std::vector<float> ir = h.Impulse(kImpulse);
        for (double f : probes) {
            double expected = outDb;
            for (const Band& b : layout)
                expected += PrototypeDb(b.type, f, std::min(b.freqHz, 0.45f * kRate), b.gainDb, b.q, kRate);
            if (expected < -50.0)
                continue;  // float noise floor
            EXPECT_NEAR(MagnitudeDb(ir, f, kRate), expected, 0.05) << f << " Hz";
        }
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
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
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
    RecordingAssertHook asserts;
    Harness h(256, 1, kRate);
    AllOff(*h.params);
    SetBand(*h.params, 2, 6, 6.0f, 1000.0f, 1.0f);
    const std::vector<float> before = h.Impulse(1024);
    const uint32_t bad = 11;
    h.params->SetParam(10, &bad, 4);
    const std::vector<float> after = h.Impulse(1024);
    EXPECT_EQ(before, after);
    EXPECT_EQ(asserts.Count(), 1u);
    EXPECT_TRUE(asserts.Saw("Invalid filter type."));
    for (float v : after)
        ASSERT_TRUE(std::isfinite(v));
}

}  // namespace
