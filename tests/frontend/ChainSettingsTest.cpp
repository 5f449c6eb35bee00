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
using Calls = std::vector<std::string>;

namespace {

Calls Take()
{
    Calls calls;
    calls.swap(Journal().calls);
    return calls;
}

bool Has(const Calls& calls, const std::string& call)
{
    return std::find(calls.begin(), calls.end(), call) != calls.end();
}

bool HasPrefix(const Calls& calls, const std::string& prefix)
{
    return std::any_of(calls.begin(), calls.end(), [&](const std::string& c) { return c.rfind(prefix, 0) == 0; });
}

class Chain : public ::testing::Test {
protected:
    void SetUp() override
    {
        Journal() = testsupport::FakeJournal();
        fx->SetLogger(&log);
    }
    void TearDown() override
    {
        fx->Destroy();
        EXPECT_EQ(Journal().live, 0);
    }
    testsupport::RecordingLogger log;
    audiofx::AudioEffectsImpl* fx = new audiofx::AudioEffectsImpl(FakeFactories());
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
        Calls expected = {"loudness", "compressor", "graphicEQ", "bassTreble", "parametricEQ", "postCompressor",
                          "vibrato", "tremolo", "stereoEnhancer", "rotate3D", "spatialAudio", "delay",
                          "reverb", "fir", "headphone", "limiter"};
        if (channels != 2)  // stereo-only effects never exist
            expected.erase(expected.begin() + 8, expected.begin() + 11);
        for (std::string& e : expected)
            e += ".Process(100,-)";
        EXPECT_EQ(Take(), expected);
        Journal().recordProcess = false;
        chain->Destroy();
    }
}

// Bypass mode bypasses everything but loudness and limiter, which follow
// their own switches; a switch in bypass mode keeps its effect bypassed.
TEST_F(Chain, BypassModeLeavesOnlyLoudnessAndLimiter)
{
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, 2, 48000, 0));
    fx->SetFIRImpulse("x", 1);
    fx->SetHeadphoneImpulse("x", 1);
    using A = audiofx::AudioEffectsImpl;
    for (void (A::*on)(bool) : {&A::SetLoudnessON, &A::SetReverbON, &A::SetStereoEnhancerON, &A::SetRotate3DON,
                                &A::SetSpatialAudioON, &A::SetGraphEQON, &A::SetBassTrebleON, &A::SetCompressorON,
                                &A::SetPostCompressorON, &A::SetParametricEQON, &A::SetDelayON, &A::SetFIRON,
                                &A::SetHeadphoneON, &A::SetVibratoON, &A::SetTremoloON})
        (fx->*on)(true);
    Take();
    fx->SetBypassMode(true);
    Calls expected;
    for (const char* name : {"reverb", "stereoEnhancer", "rotate3D", "spatialAudio", "graphicEQ", "bassTreble",
                             "compressor", "postCompressor", "parametricEQ", "delay", "fir", "headphone",
                             "vibrato", "tremolo"})
        expected.push_back(std::string(name) + ".SetBypass(1)");
    expected.push_back("limiter.SetBypass(0)");
    EXPECT_EQ(Take(), expected);
    fx->SetDelayON(true);
    fx->SetLoudnessON(true);
    fx->SetLimiterON(false);
    EXPECT_EQ(Take(), (Calls{"delay.SetBypass(1)", "loudness.SetBypass(0)", "limiter.SetBypass(1)"}));
}

// Stored settings survive a format change; an effect switched off at Init
// gets none of its parameters, the limiter gets its own either way and the
// loudness its unity gain; indices
// outside the filter tables are ignored.
TEST_F(Chain, StoredSettingsReachANewChain)
{
    const CompressorEffectParams comp = {-20.0f, 3.0f, 0.2f, 0.3f, 10.0f, 1.0f, 2.0f};
    const DelayEffectParams delay = {120.0f, 0.25f, -3.0f, -6.0f};
    const float gains[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    fx->SetCompressorON(true);
    fx->SetCompressorParams(&comp);
    fx->SetDelayParams(&delay);  // delay stays off
    fx->SetGraphEQON(true);
    fx->SetGraphEQGains(gains);
    fx->SetTremoloON(true);
    fx->SetTremoloParams(5.0, 0.5);
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0));
    for (int format : {AUDIO_SAMPLEFORMAT_FLOAT, AUDIO_SAMPLEFORMAT_S32}) {
        Take();
        ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT(format), 1, 96000, 0));
        const Calls calls = Take();
        for (const char* call : {"compressor.SetParams(-20,3,0.2,0.3,10,1,2)", "compressor.SetBypass(0)",
                                 "graphicEQ.SetBandGains(1,2,3,4,5,6,7,8,9,10)", "tremolo.SetParams(5,0.5)",
                                 "limiter.SetParams(0,0.04,0.08,0,1,50)", "loudness.SetParams(0,1)"})
            EXPECT_TRUE(Has(calls, call)) << call;
        EXPECT_FALSE(HasPrefix(calls, "delay.SetParams"));
        EXPECT_FALSE(HasPrefix(calls, "postCompressor.SetParams"));
        fx->SetLimiterON(false);
    }
    // Switching the delay on later sends only the switch.
    Take();
    fx->SetDelayON(true);
    EXPECT_EQ(Take(), Calls{"delay.SetBypass(0)"});

    const ReverbFilterParams filter = {1, 1, 6.0f, 500.0f, 2.0f};
    const ParametricEQFilterParams band = {2, 3.0f, 440.0f, 0.7f, true};
    for (uint32_t index : {0u, 4u, 0xffffffffu})
        fx->SetReverbTCFilter(index, &filter);
    for (uint32_t index : {9u, 0xffffffffu})
        fx->SetParametricEQFilter(index, &band);
    EXPECT_TRUE(Take().empty());
    fx->SetReverbTCFilter(2, &filter);
    fx->SetParametricEQFilter(8, &band);
    EXPECT_EQ(Take(), (Calls{"reverb.SetToneCorrectionFilter(2,1,1,6,500,2)",
                             "parametricEQ.SetFilter(8,2,3,440,0.7,1)"}));
}

// ResetEffects sends the reset values down the chain while the stored copies,
// shown by the dump, take the defaults; it leaves loudness alone and logs nothing.
TEST_F(Chain, ResetEffectsSendsResetValuesWhileTheFrontEndShowsDefaults)
{
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0));
    const CompressorEffectParams comp = {-30.0f, 8.0f, 0.01f, 1.0f, 5.0f, 0.0f, 3.0f};
    const LimiterEffectParams limiter = {-3.0f, 0.01f, 0.2f, 1.0f, false, 10.0f};
    fx->SetCompressorParams(&comp);
    fx->SetLimiterParams(&limiter);
    fx->SetBypassMode(true);
    fx->SetLoudnessON(true);
    fx->SetLoudnessParams(-4.0f, 0.9f);
    log.Take();
    Take();
    fx->ResetEffects();
    const Calls calls = Take();
    for (const char* call :
         {"compressor.SetParams(-12,4,0.05,0.5,0,0,0)", "postCompressor.SetParams(-12,4,0.05,0.5,0,0,0)",
          "delay.SetParams(0,0,0,-96.3)", "parametricEQ.SetFilter(0,7,0,100,1,0)",
          "parametricEQ.SetFilter(1,6,0,1000,1,0)", "parametricEQ.SetFilter(2,8,0,10000,1,0)",
          "parametricEQ.SetFilter(8,8,0,18000,1,0)", "reverb.SetToneCorrectionFilter(3,3,2,0,10000,1)",
          "graphicEQ.SetBandGains(0,0,0,0,0,0,0,0,0,0)", "limiter.SetBypass(0)"})
        EXPECT_TRUE(Has(calls, call)) << call;
    EXPECT_FALSE(HasPrefix(calls, "limiter.SetParams"));
    EXPECT_FALSE(HasPrefix(calls, "loudness."));
    EXPECT_TRUE(log.Take().empty());

    fx->DumpState();
    const Calls dump = log.Texts();
    EXPECT_EQ(dump[2], "BypassMode: false");
    EXPECT_EQ(dump[3], "Loudness: on true, gain -4.000000, peak 0.900000");
    EXPECT_EQ(dump[19], "Compressor: on false, Threshold -14.000000, Ratio 4.000000, Attack 0.100000, "
                        "Release 0.500000, Range 0.000000, PreGain 0.000000, PostGain 0.000000");
    EXPECT_EQ(dump[36], "Limiter: on true, Threshold -3.000000, Attack 0.010000, Release 0.200000, "
                        "OutputGain 1.000000, Ratio 10.000000, InfiniteRatio false");
}

TEST_F(Chain, ImpulseSettersSwapUnderTheirRules)
{
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0));
    Take();
    // On without an impulse: stored, nothing runs.
    fx->SetFIRON(true);
    EXPECT_TRUE(Take().empty());
    // The first impulse makes the effect, already switched on.
    fx->SetFIRImpulse("abcd", 4);
    EXPECT_EQ(Take(), (Calls{"fir.Init(2048,2,44100)", "fir.SetBypass(0)", "fir.SetImpulse(4)"}));
    // A failed reload removes the FIR effect.
    Journal().impulseLoads = false;
    fx->SetFIRImpulse("abc", 3);
    EXPECT_EQ(Take(), (Calls{"fir.SetImpulse(3)", "fir.Destroy()"}));
    Journal().impulseLoads = true;
    // A non-null image of size 0 clears the stored bytes and fails the load.
    fx->SetFIRImpulse("", 0);
    EXPECT_EQ(Take(), (Calls{"fir.Init(2048,2,44100)", "fir.SetBypass(0)", "fir.SetImpulse(0)", "fir.Destroy()"}));
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
    EXPECT_EQ(Take(), (Calls{"headphone.Init(2048,2,44100)", "headphone.SetImpulse(2)", "headphone.SetBypass(1)"}));
    Journal().impulseLoads = false;
    fx->SetHeadphoneImpulse("hp2", 3);
    EXPECT_EQ(Take(), (Calls{"headphone.Init(2048,2,44100)", "headphone.SetImpulse(3)", "headphone.Destroy()"}));
    Journal().impulseLoads = true;
    fx->SetHeadphoneImpulse("hp33", 4);
    EXPECT_EQ(Take(), (Calls{"headphone.Init(2048,2,44100)", "headphone.SetImpulse(4)", "headphone.SetBypass(1)",
                             "headphone.Destroy()"}));
    log.Take();
    fx->DumpState();
    EXPECT_EQ(log.Texts()[33], "Headphone: on false, IR size 4");
    // With the switch on, a new chain reloads the stored impulses.
    fx->SetHeadphoneON(true);
    Take();
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 1, 44100, 0));
    const Calls calls = Take();
    EXPECT_TRUE(Has(calls, "headphone.SetImpulse(4)"));
    EXPECT_TRUE(Has(calls, "fir.SetImpulse(4)"));
}

}  // namespace
