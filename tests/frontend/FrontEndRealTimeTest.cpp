// Real-time behaviour of the front end with the library's own effects:
// no allocation once settled, and setters racing the audio thread.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <functional>
#include <thread>
#include <vector>

#include "lxaudioeffects/AudioEffects.h"
#include "support/AllocationCounter.h"
#include "support/RecordingLogger.h"

namespace {

struct EffectSetup {
    const char* name;
    std::function<void(audiofx::AudioEffects*)> apply;
};

// Each effect switched on with musical settings; "all" switches on everything.
std::vector<EffectSetup> Setups()
{
    auto all = [](audiofx::AudioEffects* fx) {
        fx->SetLoudnessON(true);
        fx->SetLoudnessParams(-3.0f, 0.8f);
        fx->SetCompressorON(true);
        fx->SetPostCompressorON(true);
        fx->SetGraphEQON(true);
        const float gains[10] = {3, 2, 1, 0, -1, -2, 0, 1, 2, 3};
        fx->SetGraphEQGains(gains);
        fx->SetBassTrebleON(true);
        fx->SetBassTrebleGains(4.0f, 2.0f);
        fx->SetParametricEQON(true);
        fx->SetVibratoON(true);
        fx->SetVibratoParams(5.0, 0.2);
        fx->SetTremoloON(true);
        fx->SetTremoloParams(4.0, 0.3);
        fx->SetDelayON(true);
        const DelayEffectParams delay = {80.0f, 0.4f, 0.0f, -6.0f};
        fx->SetDelayParams(&delay);
        fx->SetReverbON(true);
        fx->SetStereoEnhancerON(true);
        fx->SetRotate3DON(true);
        fx->SetSpatialAudioON(true);
        fx->SetLimiterON(true);
    };
    return {
        {"defaults", [](audiofx::AudioEffects*) {}},
        {"all", all},
        {"bypassMode", [all](audiofx::AudioEffects* fx) {
             all(fx);
             fx->SetBypassMode(true);
         }},
    };
}

void FillSine(std::vector<int16_t>& chunk, size_t& phase)
{
    for (size_t i = 0; i < chunk.size(); i += 2, ++phase) {
        const double t = double(phase) / 44100.0;
        chunk[i] = int16_t(20000.0 * std::sin(2.0 * M_PI * 440.0 * t));
        chunk[i + 1] = int16_t(12000.0 * std::sin(2.0 * M_PI * 660.0 * t));
    }
}

TEST(FrontEndRealTime, SteadyStatePushPullAllocatesNothing)
{
    for (const EffectSetup& setup : Setups()) {
        audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
        setup.apply(fx);
        ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0)) << setup.name;
        std::vector<int16_t> chunk(1500 * 2), out(8192 * 2);
        size_t phase = 0;
        bool end = false;
        auto step = [&] {
            FillSine(chunk, phase);
            fx->Push(chunk.data(), uint32_t(chunk.size() * 2), -1);
            uint32_t bytes = uint32_t(out.size() * 2);
            fx->Pull(out.data(), &bytes, &end);
        };
        for (int i = 0; i < 40; ++i)  // let FIFOs and tables settle
            step();
        {
            testsupport::AllocationCounter counter;
            for (int i = 0; i < 200; ++i)
                step();
            EXPECT_EQ(counter.Count(), 0u) << setup.name;
        }
        fx->Destroy();
    }
}

// Setters on one thread while another pushes and pulls. Run under the
// sanitizers this also looks for races and lock-order faults.
TEST(FrontEndRealTime, SettersRaceThePushPullLoop)
{
    testsupport::RecordingLogger log;
    audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
    fx->SetLogger(&log);
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 4096));
    std::atomic<bool> stop{false};
    std::thread setters([&] {
        unsigned i = 0;
        while (!stop.load()) {
            const bool on = (i & 1) != 0;
            const float x = float(i % 13);
            const EffectSetup all = Setups()[1];
            if (i % 50 == 0)
                all.apply(fx);
            fx->SetCompressorON(on);
            const CompressorEffectParams comp = {-10.0f - x, 2.0f + x, 0.01f, 0.2f, x, 0.0f, 1.0f};
            fx->SetCompressorParams(&comp);
            const float gains[10] = {x, -x, x, -x, x, -x, x, -x, x, -x};
            fx->SetGraphEQGains(gains);
            fx->SetBassTrebleGains(x - 6.0f, 6.0f - x);
            const ParametricEQFilterParams band = {i % 9, x - 6.0f, 200.0f + 100.0f * x, 0.7f, on};
            fx->SetParametricEQFilter(i % 9, &band);
            fx->SetTremoloParams(1.0 + x, 0.1 + 0.05 * x);
            fx->SetVibratoParams(2.0 + x, 0.05 + 0.05 * x);
            const DelayEffectParams delay = {10.0f + 20.0f * x, 0.1f * (x / 13.0f), 0.0f, -x};
            fx->SetDelayParams(&delay);
            // Attack and InfiniteRatio keep the chain's values: a change of
            // either restarts the limiter, which drops the audio in its
            // look-ahead, and this test counts frames. Threshold and Release
            // change without a restart.
            const LimiterEffectParams lim = {-x, 0.04f, 0.1f + 0.01f * x, 0.0f, true, 20.0f};
            fx->SetLimiterParams(&lim);
            fx->SetBypassMode(i % 7 == 0);
            if (i % 97 == 0)
                fx->ResetEffects();
            if (i % 31 == 0)
                fx->DumpState();
            ++i;
        }
    });
    std::vector<int16_t> chunk(777 * 2), out(8192 * 2);
    size_t phase = 0;
    bool end = false;
    size_t framesOut = 0;
    for (int i = 0; i < 1500; ++i) {
        FillSine(chunk, phase);
        fx->Push(chunk.data(), uint32_t(chunk.size() * 2), i * 10);
        uint32_t bytes = uint32_t(out.size() * 2);
        fx->Pull(out.data(), &bytes, &end);
        framesOut += bytes / 4;
        if (i % 500 == 499)
            log.Take();
    }
    stop = true;
    setters.join();
    fx->Push(nullptr, 0, -1);
    for (int guard = 0; !end && guard < 100000; ++guard) {
        uint32_t bytes = uint32_t(out.size() * 2);
        fx->Pull(out.data(), &bytes, &end);
        framesOut += bytes / 4;
    }
    EXPECT_TRUE(end);
    EXPECT_GE(framesOut, 1500u * 777u);
    fx->Destroy();
}

}  // namespace
