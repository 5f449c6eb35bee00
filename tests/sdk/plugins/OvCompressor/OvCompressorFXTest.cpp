// The compressor plug-in: its parameter block (IDs, dB to linear, the packed
// block, refusals) and the gains around the core.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "ov/OvMemAllocDefault.h"
#include "ov/OvPluginNew.h"
#include "sdk/plugins/OvCompressor/OvCompressorFX.h"
#include "sdk/plugins/OvCompressor/OvCompressorFXParams.h"
#include "support/PlanarTestBuffer.h"
#include "support/RecordingAssertHook.h"
#include "wrappers/OvEffectHost.h"

namespace {

TEST(OvCompressorFXParams, IdsStoreGainsLinearAndRefuseWhatTheyCannotRead)
{
    testsupport::RecordingAssertHook asserts;
    OvCompressorFXParams params;
    params.m_ParamChangeHandler.ClearAllChanges();
    const float values[9] = {0, 0, -6.0f, -18.0f, 3.0f, 0.02f, 0.3f, -12.0f, 6.0f};
    for (uint16_t id = 2; id <= 8; ++id)
        ASSERT_EQ(params.SetParam(id, &values[id], 4), OV_Success) << id;
    const uint8_t off = 0;
    EXPECT_EQ(params.SetParam(OV_COMPRESSORFXPARAM_CHANNELLINK_ID, &off, 1), OV_Success);
    const OvCompressorFXParamStruct& p = params.m_Params;
    EXPECT_NEAR(p.fPreGain, 0.501187f, 1e-6f);
    EXPECT_EQ(p.fThreshold, -18.0f);
    EXPECT_EQ(p.fRatio, 3.0f);
    EXPECT_EQ(p.fAttack, 0.02f);
    EXPECT_EQ(p.fRelease, 0.3f);
    EXPECT_EQ(p.fRange, -12.0f);
    EXPECT_NEAR(p.fPostGain, 1.995262f, 1e-6f);
    EXPECT_TRUE(p.bProcessLFE);
    EXPECT_FALSE(p.bChannelLink);
    for (uint16_t id = 1; id <= 8; ++id)
        EXPECT_TRUE(params.m_ParamChangeHandler.IsChanged(id)) << id;
    EXPECT_FALSE(params.m_ParamChangeHandler.IsChanged(0));
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();

    EXPECT_EQ(params.SetParam(3, nullptr, 4), OV_BadParameter);
    EXPECT_EQ(params.SetParam(9, &values[3], 4), OV_BadParameter);
    EXPECT_EQ(params.SetParam(3, &values[3], 2), OV_BadParameter);
    EXPECT_EQ(asserts.Count(), 2u) << asserts.Describe();
    EXPECT_TRUE(asserts.Saw("in_pValue != NULL"));
    EXPECT_TRUE(asserts.Saw("Invalid Compressor parameter ID"));
    EXPECT_EQ(params.m_Params.fThreshold, -18.0f);
}

TEST(OvCompressorFXParams, PackedBlockAndClone)
{
    testsupport::RecordingAssertHook asserts;
    uint8_t block[31] = {};
    const float fields[7] = {-20.0f, -10.0f, 8.0f, 0.005f, 1.5f, -40.0f, 20.0f};
    std::memcpy(block, fields, sizeof fields);
    block[28] = 0;
    block[29] = 1;
    OvCompressorFXParams params;
    ASSERT_EQ(params.Init(OV::DefaultAllocator(), block, 30), OV_Success);
    EXPECT_NEAR(params.m_Params.fPreGain, 0.1f, 1e-7f);
    EXPECT_EQ(params.m_Params.fThreshold, -10.0f);
    EXPECT_EQ(params.m_Params.fRatio, 8.0f);
    EXPECT_EQ(params.m_Params.fAttack, 0.005f);
    EXPECT_EQ(params.m_Params.fRelease, 1.5f);
    EXPECT_EQ(params.m_Params.fRange, -40.0f);
    EXPECT_NEAR(params.m_Params.fPostGain, 10.0f, 1e-5f);
    EXPECT_FALSE(params.m_Params.bProcessLFE);
    EXPECT_TRUE(params.m_Params.bChannelLink);
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();

    // A byte too many is reported; one too few is refused unread.
    EXPECT_EQ(params.SetAllParams(block, 31), OV_Success);
    EXPECT_EQ(asserts.Count(), 1u) << asserts.Describe();
    EXPECT_TRUE(asserts.Saw("in_ulBlockSize == 0 || eResult != OV_Success"));
    EXPECT_EQ(params.SetAllParams(block, 29), OV_BadParameter);

    params.m_ParamChangeHandler.ClearAllChanges();
    IOvEffectParams* clone = params.Clone(OV::DefaultAllocator());
    ASSERT_NE(clone, nullptr);
    auto* copy = static_cast<OvCompressorFXParams*>(clone);
    EXPECT_EQ(copy->m_Params.fRatio, 8.0f);
    for (uint16_t id = 0; id <= 8; ++id)
        EXPECT_TRUE(copy->m_ParamChangeHandler.IsChanged(id)) << id;
    clone->Shutdown(OV::DefaultAllocator());
}

// The plug-in in its host, fed one block at a time.
struct HostedCompressor {
    HostedCompressor(uint32_t channels, uint32_t maxFrames)
        : block(channels, maxFrames)
    {
        fx = OV::New<OvCompressorFX>(OV::DefaultAllocator());
        params = OV::New<OvCompressorFXParams>(OV::DefaultAllocator());
        ok = host.InitPlugin(fx, params, maxFrames, channels, 44100, nullptr, 0);
    }
    ~HostedCompressor()
    {
        fx->Shutdown(OV::DefaultAllocator());
        params->Shutdown(OV::DefaultAllocator());
    }
    void Set(uint16_t id, float value) { params->SetParam(id, &value, 4); }
    void Run(uint32_t frames)
    {
        bool draining = false;
        host.RunPlugin(fx, block.Channel(0), &draining, &frames);
    }
    OvEffectHost host;
    OvCompressorFX* fx;
    OvCompressorFXParams* params;
    testsupport::PlanarTestBuffer block;
    bool ok;
};

TEST(OvCompressorFX, ZeroRangeLeavesOnlyThePreAndPostGains)
{
    testsupport::RecordingAssertHook asserts;
    HostedCompressor c(2, 256);
    ASSERT_TRUE(c.ok);
    c.Set(OV_COMPRESSORFXPARAM_THRESHOLD_ID, -50.0f);
    c.Set(OV_COMPRESSORFXPARAM_RATIO_ID, 20.0f);
    c.Set(OV_COMPRESSORFXPARAM_PREGAIN_ID, 6.0f);
    c.Set(OV_COMPRESSORFXPARAM_POSTGAIN_ID, -9.0f);
    const float gain = std::pow(10.0f, -3.0f / 20.0f);
    uint32_t seed = 7;
    for (int b = 0; b < 20; ++b) {
        std::vector<float> in(512);
        for (float& x : in) {
            seed = seed * 1664525u + 1013904223u;
            x = float(int32_t(seed)) / 2147483648.0f;
        }
        std::memcpy(c.block.Channel(0), in.data(), 256 * sizeof(float));
        std::memcpy(c.block.Channel(1), in.data() + 256, 256 * sizeof(float));
        c.Run(256);
        if (b == 0)
            continue;  // the gains ramp in from their start values
        for (uint32_t ch = 0; ch < 2; ++ch)
            for (uint32_t i = 0; i < 256; ++i)
                ASSERT_NEAR(c.block.Channel(ch)[i], in[ch * 256 + i] * gain,
                            2e-3f * std::fabs(in[ch * 256 + i]) + 1e-7f)
                    << "block " << b << " channel " << ch << " frame " << i;
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvCompressorFX, GainChangesRampOverOneBlockAndPastTheValidFramesIsSilence)
{
    HostedCompressor c(2, 64);
    ASSERT_TRUE(c.ok);
    c.Set(OV_COMPRESSORFXPARAM_RATIO_ID, 1.0f);
    auto fill = [&] {
        for (uint32_t ch = 0; ch < 2; ++ch)
            std::fill(c.block.Channel(ch), c.block.Channel(ch) + 64, 0.5f);
    };
    fill();
    c.Run(64);
    // Post gain 0 -> +6 dB: the first channel ramps over the block, the second
    // steps at once; intended.
    c.Set(OV_COMPRESSORFXPARAM_POSTGAIN_ID, 6.0f);
    fill();
    c.Run(64);
    const float* left = c.block.Channel(0);
    const float* right = c.block.Channel(1);
    const float g = std::pow(10.0f, 6.0f / 20.0f);
    EXPECT_NEAR(left[0], 0.5f, 2e-3f);
    EXPECT_NEAR(left[32], 0.5f * (1.0f + (g - 1.0f) * 0.5f), 2e-3f);
    EXPECT_NEAR(right[0], 0.5f * g, 2e-3f);
    for (uint32_t i = 1; i < 64; ++i)
        EXPECT_GT(left[i], left[i - 1]);
    // Pre gain -6 dB: both channels ramp.
    c.Set(OV_COMPRESSORFXPARAM_PREGAIN_ID, -6.0f);
    fill();
    c.Run(40);
    EXPECT_NEAR(left[0], 0.5f * g, 2e-3f);
    EXPECT_NEAR(right[0], 0.5f * g, 2e-3f);
    EXPECT_LT(left[39], 0.55f * g);
    for (uint32_t i = 40; i < 64; ++i)
        EXPECT_EQ(left[i], 0.0f);
}

}  // namespace
