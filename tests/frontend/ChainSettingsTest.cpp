// What reaches the effects: the chain's order, the bypass rules, stored
// settings across a format change, ResetEffects and the impulse setters.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "frontend/AudioEffectsImpl.h"
#include "frontend/LXAudioEffectsProcessorImpl.h"
#include "support/FakeEffects.h"
#include "support/RecordingLogger.h"

using testsupport::FakeFactories;
using testsupport::Journal;

namespace {

std::vector<std::string> Take()
{
    std::vector<std::string> calls;
    calls.swap(Journal().calls);
    return calls;
}

bool Has(const std::vector<std::string>& calls, const std::string& call)
{
    return std::find(calls.begin(), calls.end(), call) != calls.end();
}

std::vector<std::string> Matching(const std::vector<std::string>& calls, const std::string& prefix)
{
    std::vector<std::string> out;
    for (const std::string& c : calls)
        if (c.rfind(prefix, 0) == 0)
            out.push_back(c);
    return out;
}

class Chain : public ::testing::Test {
protected:
    void SetUp() override { Journal() = testsupport::FakeJournal(); }
    void TearDown() override { EXPECT_EQ(Journal().live, 0); }
};

TEST_F(Chain, RunsEffectsInTheFixedOrder)
{
    for (uint32_t channels : {2u, 1u}) {
        auto* chain = new LXAudioEffectsProcessorImpl(FakeFactories());
        ASSERT_TRUE(chain->Init(AUDIO_SAMPLEFORMAT_S16, 256, channels, 44100));
        chain->SetFIRImpulse("x", 1);
        chain->SetHeadphoneImpulse("x", 1);
        Take();
        Journal().recordProcess = true;
        int16_t block[512] = {};
        uint32_t frames = 100;
        bool done = false;
        chain->Process(block, &frames, &done, 0);
        std::vector<std::string> expected = {
            "loudness", "compressor", "graphicEQ", "bassTreble", "parametricEQ", "postCompressor",
            "vibrato", "tremolo", "stereoEnhancer", "rotate3D", "spatialAudio", "delay",
            "reverb", "fir", "headphone", "limiter"};
        if (channels != 2)  // stereo-only effects never exist
            expected.erase(expected.begin() + 8, expected.begin() + 11);
        std::vector<std::string> calls = Take();
        ASSERT_EQ(calls.size(), expected.size());
        for (size_t i = 0; i < calls.size(); ++i)
            EXPECT_EQ(calls[i], expected[i] + ".Process(100,-)");
        chain->Destroy();
    }
}

TEST_F(Chain, BypassModeLeavesOnlyLoudnessAndLimiter)
{
    auto* chain = new LXAudioEffectsProcessorImpl(FakeFactories());
    ASSERT_TRUE(chain->Init(AUDIO_SAMPLEFORMAT_FLOAT, 512, 2, 48000));
    chain->SetFIRImpulse("x", 1);
    chain->SetHeadphoneImpulse("x", 1);
    chain->SetLoudnessON(true);
    chain->SetReverbON(true);
    chain->SetStereoEnhancerON(true);
    chain->SetRotate3DON(true);
    chain->SetSpatialAudioON(true);
    chain->SetGraphEQON(true);
    chain->SetBassTrebleON(true);
    chain->SetCompressorON(true);
    chain->SetPostCompressorON(true);
    chain->SetParametricEQON(true);
    chain->SetDelayON(true);
    chain->SetFIRON(true);
    chain->SetHeadphoneON(true);
    chain->SetVibratoON(true);
    chain->SetTremoloON(true);
    chain->SetLimiterON(true);
    Take();
    chain->SetBypassMode(true);
    const std::vector<std::string> expected = {
        "reverb.SetBypass(1)",   "stereoEnhancer.SetBypass(1)", "rotate3D.SetBypass(1)",
        "spatialAudio.SetBypass(1)", "graphicEQ.SetBypass(1)",  "bassTreble.SetBypass(1)",
        "compressor.SetBypass(1)", "postCompressor.SetBypass(1)", "parametricEQ.SetBypass(1)",
        "delay.SetBypass(1)",    "fir.SetBypass(1)",            "headphone.SetBypass(1)",
        "vibrato.SetBypass(1)",  "tremolo.SetBypass(1)",        "limiter.SetBypass(0)"};
    EXPECT_EQ(Take(), expected);
    // Switches in bypass mode keep the effect bypassed, but loudness and
    // limiter follow their own switch.
    chain->SetDelayON(true);
    chain->SetLoudnessON(true);
    chain->SetLimiterON(false);
    EXPECT_EQ(Take(), (std::vector<std::string>{"delay.SetBypass(1)", "loudness.SetBypass(0)",
                                                 "limiter.SetBypass(1)"}));
    chain->Destroy();
}

TEST_F(Chain, InitIsAllOrNothing)
{
    auto* chain = new LXAudioEffectsProcessorImpl(FakeFactories());
    Journal().failInit = true;
    EXPECT_FALSE(chain->Init(AUDIO_SAMPLEFORMAT_S16, 256, 2, 44100));
    EXPECT_EQ(Journal().live, 0);
    int16_t block[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    uint32_t frames = 4;
    bool done = true;
    chain->Process(block, &frames, &done, 0);  // an empty chain touches nothing
    EXPECT_EQ(block[0], 1);
    chain->SetCompressorParams(nullptr);
    chain->SetDelayON(true);
    Journal().failInit = false;
    for (uint32_t bad : {0u}) {
        EXPECT_FALSE(chain->Init(AUDIO_SAMPLEFORMAT_S16, bad, 2, 44100));
        EXPECT_FALSE(chain->Init(AUDIO_SAMPLEFORMAT_S16, 256, bad, 44100));
        EXPECT_FALSE(chain->Init(AUDIO_SAMPLEFORMAT_S16, 256, 2, bad));
    }
    EXPECT_TRUE(chain->Init(AUDIO_SAMPLEFORMAT_S16, 256, 2, 44100));
    // The loudness gain starts at unity, sent right after its Init.
    const auto calls = Take();
    EXPECT_TRUE(Has(calls, "loudness.SetParams(0,1)"));
    chain->Destroy();
}

// Stored settings survive a format change; an effect switched off at Init
// gets none of its parameters.
TEST_F(Chain, StoredSettingsReachANewChain)
{
    auto* fx = new audiofx::AudioEffectsImpl(FakeFactories());
    CompressorEffectParams comp = {-20.0f, 3.0f, 0.2f, 0.3f, 10.0f, 1.0f, 2.0f};
    DelayEffectParams delay = {120.0f, 0.25f, -3.0f, -6.0f};
    fx->SetCompressorON(true);
    fx->SetCompressorParams(&comp);
    fx->SetDelayParams(&delay);  // delay stays off
    const float gains[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    fx->SetGraphEQON(true);
    fx->SetGraphEQGains(gains);
    fx->SetTremoloON(true);
    fx->SetTremoloParams(5.0, 0.5);
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0));
    for (int format : {AUDIO_SAMPLEFORMAT_FLOAT, AUDIO_SAMPLEFORMAT_S32}) {
        Take();
        ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT(format), 1, 96000, 0));
        const auto calls = Take();
        EXPECT_TRUE(Has(calls, "compressor.SetParams(-20,3,0.2,0.3,10,1,2)"));
        EXPECT_TRUE(Has(calls, "compressor.SetBypass(0)"));
        EXPECT_TRUE(Has(calls, "graphicEQ.SetBandGains(1,2,3,4,5,6,7,8,9,10)"));
        EXPECT_TRUE(Has(calls, "tremolo.SetParams(5,0.5)"));
        EXPECT_TRUE(Matching(calls, "delay.SetParams").empty());
        EXPECT_TRUE(Matching(calls, "postCompressor.SetParams").empty());
        // The limiter's parameters go whether it is on or off.
        EXPECT_TRUE(Has(calls, "limiter.SetParams(0,0.04,0.08,0,1,50)"));
        fx->SetLimiterON(false);
    }
    // Switching the delay on later sends only the switch.
    Take();
    fx->SetDelayON(true);
    EXPECT_EQ(Take(), std::vector<std::string>{"delay.SetBypass(0)"});
    fx->Destroy();
}

TEST_F(Chain, ResetEffectsSendsResetValuesWhileTheFrontEndShowsDefaults)
{
    testsupport::RecordingLogger log;
    auto* fx = new audiofx::AudioEffectsImpl(FakeFactories());
    fx->SetLogger(&log);
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0));
    CompressorEffectParams comp = {-30.0f, 8.0f, 0.01f, 1.0f, 5.0f, 0.0f, 3.0f};
    LimiterEffectParams limiter = {-3.0f, 0.01f, 0.2f, 1.0f, false, 10.0f};
    fx->SetCompressorParams(&comp);
    fx->SetLimiterParams(&limiter);
    fx->SetBypassMode(true);
    fx->SetLoudnessON(true);
    fx->SetLoudnessParams(-4.0f, 0.9f);
    log.Take();
    Take();
    fx->ResetEffects();
    const auto calls = Take();
    EXPECT_TRUE(Has(calls, "compressor.SetParams(-12,4,0.05,0.5,0,0,0)"));
    EXPECT_TRUE(Has(calls, "postCompressor.SetParams(-12,4,0.05,0.5,0,0,0)"));
    EXPECT_TRUE(Has(calls, "delay.SetParams(0,0,0,-96.3)"));
    EXPECT_TRUE(Has(calls, "parametricEQ.SetFilter(0,7,0,100,1,0)"));
    EXPECT_TRUE(Has(calls, "parametricEQ.SetFilter(1,6,0,1000,1,0)"));
    EXPECT_TRUE(Has(calls, "parametricEQ.SetFilter(2,8,0,10000,1,0)"));
    EXPECT_TRUE(Has(calls, "parametricEQ.SetFilter(8,8,0,18000,1,0)"));
    EXPECT_TRUE(Has(calls, "reverb.SetToneCorrectionFilter(3,3,2,0,10000,1)"));
    EXPECT_TRUE(Has(calls, "graphicEQ.SetBandGains(0,0,0,0,0,0,0,0,0,0)"));
    EXPECT_TRUE(Has(calls, "limiter.SetBypass(0)"));
    EXPECT_TRUE(Matching(calls, "limiter.SetParams").empty());
    EXPECT_TRUE(Matching(calls, "loudness.").empty());
    EXPECT_TRUE(log.Take().empty());  // ResetEffects logs nothing

    fx->DumpState();
    const auto dump = log.Texts();
    EXPECT_EQ(dump[2], "BypassMode: false");
    EXPECT_EQ(dump[3], "Loudness: on true, gain -4.000000, peak 0.900000");
    EXPECT_EQ(dump[19], "Compressor: on false, Threshold -14.000000, Ratio 4.000000, Attack 0.100000, "
                        "Release 0.500000, Range 0.000000, PreGain 0.000000, PostGain 0.000000");
    EXPECT_EQ(dump[36], "Limiter: on true, Threshold -3.000000, Attack 0.010000, Release 0.200000, "
                        "OutputGain 1.000000, Ratio 10.000000, InfiniteRatio false");
    fx->Destroy();
}

TEST_F(Chain, SettersIgnoreIndicesOutsideTheirTables)
{
    testsupport::RecordingLogger log;
    auto* fx = new audiofx::AudioEffectsImpl(FakeFactories());
    fx->SetLogger(&log);
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0));
    const ReverbFilterParams filter = {1, 1, 6.0f, 500.0f, 2.0f};
    const ParametricEQFilterParams band = {2, 3.0f, 440.0f, 0.7f, true};
    Take();
    fx->SetReverbTCFilter(0, &filter);
    fx->SetReverbTCFilter(4, &filter);
    fx->SetParametricEQFilter(9, &band);
    fx->SetParametricEQFilter(0xffffffffu, &band);
    EXPECT_TRUE(Take().empty());
    fx->SetReverbTCFilter(2, &filter);
    fx->SetParametricEQFilter(8, &band);
    EXPECT_EQ(Take(), (std::vector<std::string>{"reverb.SetToneCorrectionFilter(2,1,1,6,500,2)",
                                                 "parametricEQ.SetFilter(8,2,3,440,0.7,1)"}));
    log.Take();
    fx->DumpState();
    const auto dump = log.Texts();
    EXPECT_EQ(dump[8], "Reverb TC Filter 1: InsertType 3, CurveType 0, Gain 0.000000, Freq 100.000000, Q 1.000000");
    EXPECT_EQ(dump[9], "Reverb TC Filter 2: InsertType 1, CurveType 1, Gain 6.000000, Freq 500.000000, Q 2.000000");
    EXPECT_EQ(dump[10], "Reverb TC Filter 3: InsertType 3, CurveType 2, Gain 0.000000, Freq 10000.000000, Q 1.000000");
    EXPECT_EQ(dump[30], "Parametric EQ Filter 9: on true, FilterType 2, Gain 3.000000, Freq 440.000000, Q 0.700000");
    fx->Destroy();
}

TEST_F(Chain, ImpulseSettersSwapUnderTheirRules)
{
    auto* fx = new audiofx::AudioEffectsImpl(FakeFactories());
    testsupport::RecordingLogger log;
    fx->SetLogger(&log);
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0));
    Take();
    // On without an impulse: stored, nothing runs.
    fx->SetFIRON(true);
    EXPECT_TRUE(Take().empty());
    // The first impulse makes the effect, already switched on.
    fx->SetFIRImpulse("abcd", 4);
    EXPECT_EQ(Take(), (std::vector<std::string>{"fir.Init(2048,2,44100)", "fir.SetBypass(0)",
                                                 "fir.SetImpulse(4)"}));
    // A failed reload removes the FIR effect.
    Journal().impulseLoads = false;
    fx->SetFIRImpulse("abc", 3);
    EXPECT_EQ(Take(), (std::vector<std::string>{"fir.SetImpulse(3)", "fir.Destroy()"}));
    Journal().impulseLoads = true;
    // A non-null image of size 0 clears the stored bytes and fails the load.
    fx->SetFIRImpulse("", 0);
    EXPECT_EQ(Take(), (std::vector<std::string>{"fir.Init(2048,2,44100)", "fir.SetBypass(0)",
                                                 "fir.SetImpulse(0)", "fir.Destroy()"}));
    fx->SetFIRImpulse("abcd", 4);
    // Reset drops an impulse effect that is switched off.
    fx->SetFIRON(false);
    Take();
    fx->Reset();
    EXPECT_TRUE(Has(Take(), "fir.Destroy()"));
    fx->SetFIRON(true);
    EXPECT_TRUE(Take().empty());

    // Headphone: a new processor each time; a failure keeps the old one.
    fx->SetHeadphoneImpulse("hp", 2);
    EXPECT_EQ(Take(), (std::vector<std::string>{"headphone.Init(2048,2,44100)", "headphone.SetImpulse(2)",
                                                 "headphone.SetBypass(1)"}));
    Journal().impulseLoads = false;
    fx->SetHeadphoneImpulse("hp2", 3);
    EXPECT_EQ(Take(), (std::vector<std::string>{"headphone.Init(2048,2,44100)", "headphone.SetImpulse(3)",
                                                 "headphone.Destroy()"}));
    Journal().impulseLoads = true;
    fx->SetHeadphoneImpulse("hp33", 4);
    EXPECT_EQ(Take(), (std::vector<std::string>{"headphone.Init(2048,2,44100)", "headphone.SetImpulse(4)",
                                                 "headphone.SetBypass(1)", "headphone.Destroy()"}));
    log.Take();
    fx->DumpState();
    EXPECT_EQ(log.Texts()[33], "Headphone: on false, IR size 4");
    // With the switch on, a new chain reloads the stored impulse.
    fx->SetHeadphoneON(true);
    Take();
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 1, 44100, 0));
    const auto calls = Take();
    EXPECT_TRUE(Has(calls, "headphone.SetImpulse(4)"));
    EXPECT_TRUE(Has(calls, "fir.SetImpulse(4)"));
    fx->Destroy();
}

}  // namespace
