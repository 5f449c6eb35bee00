// The stereo enhancer plug-in: the layouts it serves, its presets against the
// tables they come from, the checks on a whole block, the plug-in list's one
// node, and the reverb that cannot rebuild adding no raw side as ambience.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "ov/OvMemAllocDefault.h"
#include "ov/OvPluginList.h"
#include "sdk/plugins/StereoEnhancer/StereoEnhancerEffect.h"
#include "sdk/plugins/StereoEnhancer/StereoEnhancerPresets.h"
#include "support/OvPluginHarness.h"
#include "support/RecordingAssertHook.h"

namespace {

using Params = StereoEnhancerEffectParams;
using Harness = testsupport::OvPluginHarness<StereoEnhancerEffect, Params>;

float Linear(float db)
{
    return std::pow(10.0f, db / 20.0f);
}

TEST(StereoEnhancerEffect, ServesStandardStereoAloneAndRefusesOtherLayoutsWithBadChannelConfig)
{
    for (uint32_t channels : {1u, 2u, 3u, 6u}) {
        Harness h(channels, 44100, 512, StereoEnhancerPreset(1), STEREOENHANCER_PRESET_BYTES);
        EXPECT_EQ(h.ok, channels == 2) << channels;
        if (channels != 2) {
            EXPECT_EQ(h.plugin->Init(OV::DefaultAllocator(), &h.host, h.params,
                                     testsupport::PlanarFormat(channels, 44100)),
                      OV_BadChannelConfig);
        }
    }
}

TEST(StereoEnhancerEffectParams, PresetsCarryTheTablesValues)
{
    // Per preset: mid peak gain and switch, side compressor input (dB),
    // reverb decay (s), pre-delay (ms), quality, output reverb (dB).
    const float midGain[8] = {0, 0, 2.0f, 1.0f, 1.5f, 2.5f, 2.0f, 2.0f};
    const float sideInput[8] = {1.5f, 1, 1, 1, 0, 3, 4, 3};
    const float decay[8] = {1.0f, 1.0f, 3.8f, 1.8f, 1.0f, 1.3f, 2.3f, 6.1f};
    const float preDelay[8] = {0, 0, 21, 0, 1, 100, 0, 105};
    const uint32_t quality[8] = {16, 16, 16, 16, 14, 16, 16, 8};
    const float reverbDb[8] = {-96.0f, -18.0f, -15.0f, -12.0f, -12.5f, -28.0f, -19.5f, -24.0f};
    testsupport::RecordingAssertHook asserts;
    for (uint32_t p = 0; p < 9; ++p) {
        SCOPED_TRACE(p);
        const uint8_t* block = StereoEnhancerPreset(p);
        const uint32_t expectedSizes[7] = {56, 56, 56, 56, 171, 171, 186};
        uint32_t at = 0;
        for (uint32_t size : expectedSizes) {
            uint32_t word;
            std::memcpy(&word, block + at, 4);
            EXPECT_EQ(word, size);
            at += 4 + size;
        }
        EXPECT_EQ(at, STEREOENHANCER_PRESET_BYTES);
        Params params;
        ASSERT_EQ(params.SetAllParams(block, STEREOENHANCER_PRESET_BYTES), OV_Success);
        const uint32_t i = p < 8 ? p : 7;  // index 8 gives preset 7
        const OvParametricEQBandParams& peak = params.m_MidEQ.GetBand(BAND2);
        EXPECT_EQ(peak.fGain, midGain[i]);
        EXPECT_EQ(peak.fFrequency, 4000.0f);
        EXPECT_EQ(peak.bOn, i >= 2 ? 1 : 0);
        EXPECT_EQ(params.m_MidEQ.GetBand(BAND3).fFrequency, i == 2 ? 18246.0f : 12000.0f);
        const OvMultibandCompressorFXParamStruct& mid = params.m_MidCompressor.m_Params;
        const OvMultibandCompressorFXParamStruct& side = params.m_SideCompressor.m_Params;
        EXPECT_FLOAT_EQ(side.fInputGain, Linear(sideInput[i]));
        EXPECT_EQ(mid.fInputGain, 1.0f);
        EXPECT_EQ(mid.band[2].fRelease, 0.3f);
        EXPECT_EQ(mid.band[3].fThreshold, -22.0f);
        EXPECT_EQ(side.band[3].fThreshold, i == 6 ? -52.2f : -27.0f);
        const OvRoomVerbFXParams& r = params.m_Ambience;
        EXPECT_EQ(r.live.fDecayTime, decay[i]);
        EXPECT_EQ(r.rebuild.fPreDelay, preDelay[i]);
        EXPECT_EQ(r.rebuild.uQuality, quality[i]);
        EXPECT_NEAR(r.live.fOutputLevelReverb / Linear(reverbDb[i] - 3.0f), 1.0f, 1e-5f);
        EXPECT_EQ(r.structure.fUnitDelayTotalMs, 100.0f);  // not the reverb's default, on purpose
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(StereoEnhancerEffectParams, BlocksAreCheckedWholeAndControlsHeldToTheirDomains)
{
    testsupport::RecordingAssertHook asserts;
    Params params;
    ASSERT_EQ(params.Init(OV::DefaultAllocator(), StereoEnhancerPreset(7), STEREOENHANCER_PRESET_BYTES), OV_Success);
    std::vector<uint8_t> block(StereoEnhancerPreset(2), StereoEnhancerPreset(2) + STEREOENHANCER_PRESET_BYTES);
    auto setAmbienceSize = [&](uint32_t size) { std::memcpy(block.data() + 780 - 186 - 4, &size, 4); };

    // Null, short, a section running past the end, a section shorter than
    // its block: refused, and preset 7 stays.
    for (uint16_t id : {uint16_t(STEREOENHANCER_PARAM_PRESET_ID), uint16_t(STEREOENHANCER_PARAM_ALL_ID)})
        EXPECT_EQ(params.SetParam(id, nullptr, 780), OV_BadParameter);
    EXPECT_TRUE(asserts.Saw("in_pValue != NULL"));
    asserts.Clear();
    EXPECT_EQ(params.SetAllParams(block.data(), 779), OV_BadParameter);
    setAmbienceSize(187);
    EXPECT_EQ(params.SetParam(STEREOENHANCER_PARAM_ALL_ID, block.data(), 780), OV_BadParameter);
    setAmbienceSize(185);
    EXPECT_EQ(params.SetParam(STEREOENHANCER_PARAM_PRESET_ID, block.data(), 780), OV_BadParameter);
    EXPECT_EQ(params.m_Ambience.live.fDecayTime, 6.1f);
    EXPECT_EQ(params.m_MidEQ.GetBand(BAND2).fGain, 2.0f);
    EXPECT_EQ(params.m_SideCompressor.m_Params.fInputGain, Linear(3.0f));

    // An empty section puts its block back to its defaults; the others load.
    setAmbienceSize(0);
    EXPECT_EQ(params.SetParam(STEREOENHANCER_PARAM_PRESET_ID, block.data(), 780 - 186), OV_Success);
    EXPECT_EQ(params.m_Ambience.live.fDecayTime, 1.2f);
    EXPECT_EQ(params.m_MidEQ.GetBand(BAND3).fFrequency, 18246.0f);
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();

    // Controls: presence [0, 10], stereoizer [-96.3, 24] dB, NaN keeps.
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    const struct {
        uint16_t id;
        float value, stored;
    } controls[] = {{0, 4.0f, 4.0f}, {0, nan, 4.0f},   {0, 1e30f, 10.0f}, {0, -3.0f, 0.0f},
                    {1, 6.0f, 6.0f}, {1, nan, 6.0f},   {1, inf, 24.0f},   {1, -inf, -96.3f}};
    for (const auto& c : controls) {
        ASSERT_EQ(params.SetParam(c.id, &c.value, 4), OV_Success);
        EXPECT_EQ(c.id == 0 ? params.fPresence : params.fStereoizer, c.stored) << c.id << " " << c.value;
    }
    const uint32_t any = 4000000000u;
    EXPECT_EQ(params.SetParam(STEREOENHANCER_PARAM_AMBIENCE_ID, &any, 4), OV_Success);
    EXPECT_EQ(params.uAmbience, any);
    EXPECT_EQ(params.SetParam(4, &any, 4), OV_BadParameter);
    EXPECT_TRUE(asserts.Saw("Invalid parameter."));
}

TEST(OvPluginList, HoldsTheStereoEnhancerAlone)
{
    ASSERT_NE(g_pOVPluginList, nullptr);
    const OvPluginListNode& node = *g_pOVPluginList;
    EXPECT_EQ(node.pNext, nullptr);
    EXPECT_EQ(node.uPluginType, 3u);
    EXPECT_EQ(node.uCompanyID, 0u);
    EXPECT_EQ(node.uPluginID, 182u);
    IOvEffect* effect = node.pCreateEffect(OV::DefaultAllocator());
    IOvEffectParams* params = node.pCreateParams(OV::DefaultAllocator());
    ASSERT_TRUE(effect && params);
    EXPECT_NE(dynamic_cast<StereoEnhancerEffect*>(effect), nullptr);
    effect->Shutdown(OV::DefaultAllocator());
    params->Shutdown(OV::DefaultAllocator());
}

// Hands out the default allocator's memory until told to fail.
struct FlakyAllocator final : IOvMemAlloc {
    void* Malloc(size_t size) override { return fail ? nullptr : OV::DefaultAllocator()->Malloc(size); }
    void Free(void* p) override { OV::DefaultAllocator()->Free(p); }
    void* MallocWithHint(size_t size, uint32_t) override { return Malloc(size); }
    bool fail = false;
};

struct FlakyHost final : OvEffectHost {
    IOvMemAlloc* GetAllocator() override { return &allocator; }
    FlakyAllocator allocator;
};

TEST(StereoEnhancerEffect, AReverbThatCannotRebuildAddsNoRawSideAsAmbience)
{
    constexpr uint32_t kFrames = 512;
    FlakyHost host;
    auto* plugin = OV::New<StereoEnhancerEffect>(&host.allocator);
    auto* params = OV::New<Params>(&host.allocator);
    ASSERT_TRUE(host.InitPlugin(plugin, params, kFrames, 2, 44100, StereoEnhancerPreset(1), 780));
    const uint8_t off = 0;
    params->SetParam(STEREOENHANCER_PARAM_SPECTRUMSHAPER_ID, &off, 1);

    // Pure side: L = s, R = -s. The mid path carries nothing, the side EQ has
    // no band on, so without ambience the output is the input.
    std::vector<float> block(2 * kFrames), input(kFrames);
    auto run = [&](uint32_t b) {
        for (uint32_t i = 0; i < kFrames; ++i) {
            input[i] = 0.25f * std::sin(0.037f * float(b * kFrames + i));
            block[i] = input[i];
            block[kFrames + i] = -input[i];
        }
        bool draining = false;
        uint32_t frames = kFrames;
        host.RunPlugin(plugin, block.data(), &draining, &frames);
        float worst = 0.0f;
        for (uint32_t i = 0; i < kFrames; ++i)
            worst = std::max({worst, std::fabs(block[i] - input[i]), std::fabs(block[kFrames + i] + input[i])});
        return worst;
    };
    run(0);  // the side fades in
    host.allocator.fail = true;
    ASSERT_EQ(params->SetAllParams(StereoEnhancerPreset(7), 780), OV_Success);  // quality 8: a rebuild
    for (uint32_t b = 1; b < 4; ++b)
        EXPECT_LT(run(b), 1e-6f) << "block " << b;
    host.allocator.fail = false;  // the reverb rebuilds and plays
    float wet = 0.0f;
    for (uint32_t b = 4; b < 40; ++b)
        wet = std::max(wet, run(b));
    EXPECT_GT(wet, 1e-3f);
    plugin->Shutdown(&host.allocator);
    params->Shutdown(&host.allocator);
}

}  // namespace
