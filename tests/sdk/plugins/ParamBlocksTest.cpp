// The packed parameter block of every plug-in: a block written by the
// plug-in's PackBlock reads back through SetAllParams field for field (dB
// fields arrive linear), has the size its header gives, and the end
// check reports a surplus byte once while a short block is refused.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "sdk/plugins/OvCompressor/OvCompressorFXParams.h"
#include "sdk/plugins/OvDelay/OvDelayFXParams.h"
#include "sdk/plugins/OvGraphicEQ/OvGraphicEQFXParams.h"
#include "sdk/plugins/OvMultibandCompressor/OvMultibandCompressorFXParams.h"
#include "sdk/plugins/OvParametricEQ/OvParametricEQFXParams.h"
#include "sdk/plugins/OvPeakLimiter/OvPeakLimiterFXParams.h"
#include "support/RecordingAssertHook.h"

namespace {

float Linear(float db)
{
    return std::pow(10.0f, db / 20.0f);
}

// Packs `values`, checks the size, the surplus report and the short-block
// refusal, then reads the block into a fresh object and hands it to `expect`.
template <class TParams, class TExpect>
void CheckBlock(const char* name, const typename TParams::BlockValues& values, uint32_t expectedBytes,
                TExpect expect)
{
    SCOPED_TRACE(name);
    std::vector<uint8_t> block(expectedBytes + 1, 0xEE);
    ASSERT_EQ(TParams::PackBlock(values, block.data()), expectedBytes);
    EXPECT_EQ(block[expectedBytes], 0xEE) << "wrote past the block";

    testsupport::RecordingAssertHook asserts;
    TParams refused;
    EXPECT_EQ(refused.SetAllParams(block.data(), expectedBytes - 1), OV_BadParameter);
    TParams longer;
    EXPECT_EQ(longer.SetAllParams(block.data(), expectedBytes + 1), OV_Success);
    EXPECT_EQ(asserts.Count(), 1u);
    EXPECT_TRUE(asserts.Saw("in_ulBlockSize == 0 || eResult != OV_Success"));
    asserts.Clear();

    TParams params;
    ASSERT_EQ(params.SetAllParams(block.data(), expectedBytes), OV_Success);
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
    expect(params);
}

TEST(ParamBlocks, EveryPackedBlockReadsBackFieldForField)
{
    CheckBlock<OvCompressorFXParams>(
        "compressor", {-3.0f, -20.0f, 4.0f, 0.01f, 0.2f, -12.0f, 2.0f, 0, 1}, 30,
        [](const OvCompressorFXParams& p) {
            const OvCompressorFXParamStruct& v = p.m_Params;
            EXPECT_FLOAT_EQ(v.fPreGain, Linear(-3.0f));
            EXPECT_EQ(v.fThreshold, -20.0f);
            EXPECT_EQ(v.fRatio, 4.0f);
            EXPECT_EQ(v.fAttack, 0.01f);
            EXPECT_EQ(v.fRelease, 0.2f);
            EXPECT_EQ(v.fRange, -12.0f);
            EXPECT_FLOAT_EQ(v.fPostGain, Linear(2.0f));
            EXPECT_FALSE(v.bProcessLFE);
            EXPECT_TRUE(v.bChannelLink);
        });

    CheckBlock<OvDelayFXParams>("delay", {1.5f, 0.4f, -6.0f, -9.0f}, 16, [](const OvDelayFXParams& p) {
        EXPECT_FLOAT_EQ(p.fDelayTime, Linear(1.5f));  // through the dB conversion, as read
        EXPECT_EQ(p.fFeedback, 0.4f);
        EXPECT_FLOAT_EQ(p.fDryLevel, Linear(-6.0f));
        EXPECT_FLOAT_EQ(p.fWetLevel, Linear(-9.0f));
    });

    OvGraphicEQFXParams::BlockValues graphic = {40.0f, 0.9f, -2.0f, 0.6f, 0.8f, 0, 10, {}};
    for (uint32_t i = 0; i < 10; ++i)
        graphic.fBandGain[i] = float(i) - 4.5f;
    CheckBlock<OvGraphicEQFXParams>("graphic EQ, 10 bands", graphic, 25 + 10 * 4,
                                    [](const OvGraphicEQFXParams& p) {
                                        const OvGraphicEQFXParamsBlock& v = p.m_Params;
                                        EXPECT_EQ(v.fStartFrequency, 40.0f);
                                        EXPECT_EQ(v.fBandwidth, 0.9f);
                                        EXPECT_FLOAT_EQ(v.fOutputGain, Linear(-2.0f));
                                        EXPECT_EQ(v.fLowShelfQ, 0.6f);
                                        EXPECT_EQ(v.fHighShelfQ, 0.8f);
                                        EXPECT_EQ(v.bShelves, 0);
                                        EXPECT_EQ(v.uNumBands, 10u);
                                        for (uint32_t i = 0; i < 10; ++i)
                                            EXPECT_EQ(v.fBandGain[i], float(i) - 4.5f) << i;
                                    });

    const OvParametricEQFXParams::BlockValues parametric = {
        {{7, 3.0f, 120.0f, 0.5f, 1}, {6, -30.0f, 1000.0f, 2.0f, 0}, {8, 4.5f, 6000.0f, 0.7f, 1}}, 30.0f, 1};
    CheckBlock<OvParametricEQFXParams>(
        "parametric EQ", parametric, 56, [&](const OvParametricEQFXParams& p) {
            for (uint32_t n = 0; n < 3; ++n) {
                const OvParametricEQBandParams &got = p.m_Bands[n], &want = parametric.bands[n];
                EXPECT_EQ(got.FilterType, want.FilterType) << n;
                EXPECT_EQ(got.fGain, want.fGain) << n;  // unclamped on this path
                EXPECT_EQ(got.fFrequency, want.fFrequency) << n;
                EXPECT_EQ(got.fQ, want.fQ) << n;
                EXPECT_EQ(got.bOn, want.bOn) << n;
            }
            EXPECT_EQ(p.fOutputGain, 30.0f);
            EXPECT_EQ(p.bProcessLFE, 1);
        });

    CheckBlock<OvPeakLimiterFXParams>("peak limiter", {-3.0f, 8.0f, 0.03f, 2.0f, 0.25f, -1.5f, 0, 2, 3, 4}, 28,
                                      [](const OvPeakLimiterFXParams& p) {
                                          EXPECT_EQ(p.fThreshold, -3.0f);
                                          EXPECT_EQ(p.fRatio, 8.0f);
                                          EXPECT_EQ(p.fLookAhead, 0.03f);
                                          EXPECT_EQ(p.fLookAheadDivisor, 2.0f);
                                          EXPECT_EQ(p.fRelease, 0.25f);
                                          EXPECT_FLOAT_EQ(p.fOutputGain, Linear(-1.5f));
                                          EXPECT_EQ(p.bHardCeiling, 0);
                                          EXPECT_EQ(p.bProcessLFE, 2);
                                          EXPECT_EQ(p.bChannelLink, 3);
                                          EXPECT_EQ(p.bInfiniteRatio, 4);
                                      });

    OvMultibandCompressorFXParams::BlockValues multiband = {};
    // Distinct values, each within its field's domain.
    for (uint32_t b = 0; b < 5; ++b) {
        float* band = multiband.fBand[b];
        band[OV_MBCFXPARAM_BAND_INPUTGAIN] = float(b) - 6.0f;
        band[OV_MBCFXPARAM_BAND_THRESHOLD] = -10.0f - float(b);
        band[OV_MBCFXPARAM_BAND_RATIO] = 2.0f + float(b);
        band[OV_MBCFXPARAM_BAND_ATTACK] = 0.01f * float(b + 1);
        band[OV_MBCFXPARAM_BAND_RELEASE] = 0.1f * float(b + 1);
        band[OV_MBCFXPARAM_BAND_RANGE] = -3.0f * float(b);
        band[OV_MBCFXPARAM_BAND_OUTPUTGAIN] = 0.5f * float(b);
    }
    for (uint32_t e = 0; e < 4; ++e)
        multiband.fCrossover[e] = 200.0f * float(e + 1);
    multiband.fOutputGainDb = -4.0f;
    multiband.bProcessLFE = 0;
    multiband.bChannelLink = 1;
    multiband.bFourthOrderCrossover = 0;
    multiband.uNumBands = 3;
    multiband.fInputGainDb = 5.0f;
    CheckBlock<OvMultibandCompressorFXParams>(
        "multiband compressor", multiband, 171, [&](const OvMultibandCompressorFXParams& p) {
            const OvMultibandCompressorFXParamStruct& v = p.m_Params;
            for (uint32_t b = 0; b < 5; ++b) {
                const float* in = multiband.fBand[b];
                const OvMultibandCompressorBand& got = v.band[b];
                EXPECT_FLOAT_EQ(got.fBandInputGain, Linear(in[OV_MBCFXPARAM_BAND_INPUTGAIN])) << b;
                EXPECT_EQ(got.fThreshold, in[OV_MBCFXPARAM_BAND_THRESHOLD]) << b;
                EXPECT_EQ(got.fRatio, in[OV_MBCFXPARAM_BAND_RATIO]) << b;
                EXPECT_EQ(got.fAttack, in[OV_MBCFXPARAM_BAND_ATTACK]) << b;
                EXPECT_EQ(got.fRelease, in[OV_MBCFXPARAM_BAND_RELEASE]) << b;
                EXPECT_EQ(got.fRange, in[OV_MBCFXPARAM_BAND_RANGE]) << b;
                EXPECT_FLOAT_EQ(got.fBandOutputGain, Linear(in[OV_MBCFXPARAM_BAND_OUTPUTGAIN])) << b;
            }
            for (uint32_t e = 0; e < 4; ++e)
                EXPECT_EQ(v.fCrossover[e], 200.0f * float(e + 1)) << e;
            EXPECT_FLOAT_EQ(v.fOutputGain, Linear(-4.0f));
            EXPECT_FALSE(v.bProcessLFE);
            EXPECT_TRUE(v.bChannelLink);
            EXPECT_FALSE(v.bFourthOrderCrossover);
            EXPECT_EQ(v.uNumBands, 3u);
            EXPECT_FLOAT_EQ(v.fInputGain, Linear(5.0f));
        });
}

}  // namespace
