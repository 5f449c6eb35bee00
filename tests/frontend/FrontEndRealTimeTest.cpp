// The front end with the library's own effects, as a host gets it: no
// allocation once settled, setters racing the audio thread, and the limiter,
// on from the start and last in the chain, which keeps a stream's length,
// leaves audio below its ceiling alone and keeps hot audio from wrapping in
// the output conversion.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <random>
#include <thread>
#include <vector>

#include "common/WavImage.h"
#include "lxaudioeffects/AudioEffects.h"
#include "support/AllocationCounter.h"
#include "support/RandomEffectSettings.h"
#include "support/RecordingAssertHook.h"
#include "support/RecordingLogger.h"

namespace {

// A decaying mono impulse as a float WAV image.
std::vector<uint8_t> DecayingImpulseImage(uint32_t rateHz, size_t frames)
{
    std::vector<float> impulse(frames);
    for (size_t i = 0; i < impulse.size(); ++i)
        impulse[i] = std::exp(-float(i) / 800.0f) * ((i * 7919) % 13 < 6 ? 1.0f : -1.0f);
    return Riff(WavImage().Fmt(3, 1, rateHz, 32).Data(FloatBytes(impulse)));
}

// Everything switched on with musical settings.
void SwitchAllOn(audiofx::AudioEffects* fx)
{
    using A = audiofx::AudioEffects;
    for (void (A::*on)(bool) : {&A::SetLoudnessON, &A::SetCompressorON, &A::SetPostCompressorON, &A::SetGraphEQON,
                                &A::SetBassTrebleON, &A::SetParametricEQON, &A::SetVibratoON, &A::SetTremoloON,
                                &A::SetDelayON, &A::SetReverbON, &A::SetStereoEnhancerON, &A::SetRotate3DON,
                                &A::SetSpatialAudioON, &A::SetFIRON, &A::SetHeadphoneON, &A::SetLimiterON})
        (fx->*on)(true);
    // An impulse at another rate: resampled, then several partitions.
    const std::vector<uint8_t> image = DecayingImpulseImage(48000, 6000);
    fx->SetFIRImpulse(image.data(), image.size());
    WavImage headphone;
    for (int i = 0; i < 3000; ++i)
        headphone.U16(uint16_t(int16_t(8000.0f * std::exp(-float(i) / 300.0f) * (i % 3 ? 1.0f : -1.0f))));
    const std::vector<uint8_t> headphoneImage = Riff(WavImage().Fmt(1, 1, 48000, 16).Data(headphone.bytes));
    fx->SetHeadphoneImpulse(headphoneImage.data(), headphoneImage.size());
    const float gains[10] = {3, 2, 1, 0, -1, -2, 0, 1, 2, 3};
    const DelayEffectParams delay = {80.0f, 0.4f, 0.0f, -6.0f};
    fx->SetLoudnessParams(-3.0f, 0.8f);
    fx->SetGraphEQGains(gains);
    fx->SetBassTrebleGains(4.0f, 2.0f);
    fx->SetVibratoParams(5.0, 0.2);
    fx->SetTremoloParams(4.0, 0.3);
    fx->SetDelayParams(&delay);
}

void FillSine(std::vector<int16_t>& chunk, size_t& phase)
{
    for (size_t i = 0; i < chunk.size(); i += 2, ++phase) {
        chunk[i] = int16_t(20000.0 * std::sin(2.0 * M_PI * 440.0 * phase / 44100.0));
        chunk[i + 1] = int16_t(12000.0 * std::sin(2.0 * M_PI * 660.0 * phase / 44100.0));
    }
}

// Pushes in chunks, ends the stream and pulls all; returns the output.
template <typename T>
std::vector<T> RunFrontEnd(audiofx::AudioEffects* fx, const std::vector<T>& in, uint32_t channels, size_t chunkFrames)
{
    std::vector<T> output, scratch(8192 * channels);
    bool end = false;
    auto pull = [&] {
        uint32_t bytes = uint32_t(scratch.size() * sizeof(T));
        fx->Pull(scratch.data(), &bytes, &end);
        output.insert(output.end(), scratch.begin(), scratch.begin() + bytes / sizeof(T));
    };
    for (size_t at = 0; at < in.size(); at += chunkFrames * channels) {
        fx->Push(in.data() + at, uint32_t(std::min(chunkFrames * channels, in.size() - at) * sizeof(T)), -1);
        pull();
    }
    fx->Push(nullptr, 0, -1);
    for (int guard = 0; !end && guard < 10000; ++guard)
        pull();
    EXPECT_TRUE(end);
    return output;
}

TEST(FrontEndRealTime, SteadyStatePushPullAllocatesNothing)
{
    for (int setup = 0; setup < 3; ++setup) {  // defaults, all on, all on in bypass mode
        audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
        if (setup > 0)
            SwitchAllOn(fx);
        fx->SetBypassMode(setup == 2);
        ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0)) << setup;
        std::vector<int16_t> chunk(1500 * 2), out(8192 * 2);
        size_t phase = 0;
        bool end = false;
        for (int i = 0; i < 240; ++i) {
            // The first 40 chunks let FIFOs and tables settle.
            testsupport::AllocationCounter counter;
            FillSine(chunk, phase);
            fx->Push(chunk.data(), uint32_t(chunk.size() * 2), -1);
            uint32_t bytes = uint32_t(out.size() * 2);
            fx->Pull(out.data(), &bytes, &end);
            if (i >= 40) {
                ASSERT_EQ(counter.Count(), 0u) << setup << " at chunk " << i;
            }
        }
        fx->Destroy();
    }
}

// Any setting or switch may change between pushes; a change that needs memory
// takes it in the setter, so Push and Pull neither allocate nor free once the
// FIFOs have grown. Also a broad run for contract checks, the tail included.
TEST(FrontEndRealTime, SettingChangesBetweenPushesAllocateNothingInPushOrPull)
{
    using testsupport::kRandomEffects;
    testsupport::Rng rng(11);
    const std::vector<uint8_t> impulses[] = {DecayingImpulseImage(44100, 300), DecayingImpulseImage(48000, 9000)};
    for (uint32_t channels : {1u, 2u, 6u}) {
        SCOPED_TRACE(testing::Message() << channels << " channels");
        testsupport::RecordingAssertHook asserts;
        audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
        ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, channels, 48000, 0));
        std::vector<float> chunk(1500 * channels), out(8192 * channels);
        bool end = false;
        for (int i = 0; i < 300; ++i) {
            if (i >= 4) {  // the first pushes let the FIFOs grow
                for (const auto& effect : kRandomEffects) {
                    if (rng() % 3 == 0)
                        effect.randomise(fx, rng);
                    if (rng() % 4 == 0)
                        (fx->*effect.on)(rng() % 4 != 0);
                }
                // The ends of the table and line lengths; a 0 ms delay has no line.
                if (rng() % 6 == 0) {
                    const bool low = rng() % 2 == 0;
                    fx->SetTremoloParams(low ? 1.0 : 1000.0, 0.5);
                    fx->SetVibratoParams(low ? 1000.0 : 1.0, 0.9);
                    const DelayEffectParams delay = {low ? 0.0f : 3000.0f, low ? 0.0f : 0.5f, 0.0f, -6.0f};
                    fx->SetDelayParams(&delay);
                }
                // New impulses, of other partition sizes, replace the old.
                if (rng() % 8 == 0) {
                    fx->SetFIRON(rng() % 4 != 0);
                    const auto& image = impulses[rng() % 2];
                    fx->SetFIRImpulse(image.data(), image.size());
                }
                fx->SetBypassMode(rng() % 10 == 0);
            }
            for (float& x : chunk)
                x = testsupport::Uniform(rng, -0.5f, 0.5f);
            testsupport::AllocationCounter counter;
            fx->Push(chunk.data(), uint32_t(chunk.size() * sizeof(float)), -1);
            uint32_t bytes = uint32_t(out.size() * sizeof(float));
            fx->Pull(out.data(), &bytes, &end);
            if (i >= 4) {
                ASSERT_EQ(counter.Count(), 0u) << "allocated at push " << i;
                ASSERT_EQ(counter.Frees(), 0u) << "freed at push " << i;
            }
        }
        fx->Push(nullptr, 0, -1);
        for (int guard = 0; !end && guard < 1000; ++guard) {
            uint32_t bytes = uint32_t(out.size() * sizeof(float));
            fx->Pull(out.data(), &bytes, &end);
        }
        EXPECT_TRUE(end);
        EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
        fx->Destroy();
    }
}

// The delay's tail is one delay time long and ends the stream in blocks of
// any length; no contract check of the plug-ins fires on the way.
TEST(FrontEndRealTime, DelayTailsOfAnyLengthKeepEveryContract)
{
    for (float delayMs : {0.0f, 0.1f, 1.0f, 10.0f, 20.05f, 46.4f, 100.0f}) {
        for (size_t frames : {1, 999, 2048, 5001}) {
            SCOPED_TRACE(testing::Message() << delayMs << " ms, " << frames << " frames");
            testsupport::RecordingAssertHook asserts;
            audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
            const DelayEffectParams delay = {delayMs, 0.3f, 0.0f, -6.0f};
            fx->SetDelayON(true);
            fx->SetDelayParams(&delay);
            ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, 2, 44100, 0));
            const std::vector<float> output = RunFrontEnd(fx, std::vector<float>(frames * 2, 0.1f), 2, 777);
            fx->Destroy();
            const size_t tail = size_t(double(delayMs) / 1000.0 * 44100.0);
            EXPECT_EQ(output.size() / 2, frames + (frames % 2048 == 0 ? 1 : 0) + tail);
            EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
        }
    }
}

// Setters on one thread while another pushes and pulls; no frame is lost.
// Run under the sanitizers this also looks for races and lock-order faults.
TEST(FrontEndRealTime, SettersRaceThePushPullLoop)
{
    testsupport::RecordingLogger log;
    audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
    fx->SetLogger(&log);
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 4096));
    std::atomic<bool> stop{false};
    std::thread setters([&] {
        for (unsigned i = 0; !stop.load(); ++i) {
            const bool on = (i & 1) != 0;
            const float x = float(i % 13);
            if (i % 50 == 0)
                SwitchAllOn(fx);
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
            // Attack 0.04 and InfiniteRatio true are the chain's values: a change
            // of either restarts the limiter, which drops the audio in its
            // look-ahead, and this test counts frames. Threshold and Release
            // change without a restart.
            const LimiterEffectParams lim = {-x, 0.04f, 0.1f + 0.01f * x, 0.0f, true, 20.0f};
            fx->SetLimiterParams(&lim);
            fx->SetBypassMode(i % 7 == 0);
            if (i % 97 == 0)
                fx->ResetEffects();
            if (i % 31 == 0)
                fx->DumpState();
            if (i % 500 == 0)
                log.Take();  // keeps memory flat
        }
    });
    std::vector<int16_t> in(1500 * 777 * 2);
    size_t phase = 0;
    FillSine(in, phase);
    const size_t framesOut = RunFrontEnd(fx, in, 2, 777).size() / 2;
    stop = true;
    setters.join();
    EXPECT_GE(framesOut, 1500u * 777u);
    fx->Destroy();
}

// Frames out equal frames in (plus the front end's extra frame for a stream
// of whole blocks), for streams shorter and longer than the 40 ms look-ahead;
// below the ceiling the linked hard ceiling passes audio bit-exactly.
TEST(FrontEndRealTime, LimiterKeepsTheLengthAndQuietAudioBitExact)
{
    std::mt19937 rng(42);
    std::uniform_real_distribution<float> unit(-0.95f, 0.95f);
    for (uint32_t channels : {1u, 2u, 6u}) {
        for (size_t frames : {1, 1763, 1764, 1765, 2048, 4096, 44107}) {
            SCOPED_TRACE(testing::Message() << channels << " channels, " << frames << " frames");
            audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
            ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, channels, 44100, 0));
            std::vector<float> input(frames * channels);
            for (float& x : input)
                x = unit(rng);
            const std::vector<float> output = RunFrontEnd(fx, input, channels, 1000);
            fx->Destroy();
            ASSERT_EQ(output.size() / channels, frames + (frames % 2048 == 0 ? 1 : 0));
            // Mono runs the dB law, which scales by 10^0 computed the fast way (0.999039).
            if (channels != 1) {
                ASSERT_TRUE(std::equal(input.begin(), input.end(), output.begin()));
            }
        }
    }
}

// Gain in front of the limiter on a full-scale 16-bit square wave: +6 dB of
// the delay's dry level on stereo (hard ceiling), the loudness gain on mono
// (per-channel dB law, whose fast log and power land near the ceiling).
// With the limiter every sample keeps its sign and stays under the ceiling;
// without it the conversion wraps.
TEST(FrontEndRealTime, FullScale16BitWithGainInFrontNoLongerWraps)
{
    const struct {
        const char* name;
        uint32_t channels;
        void (*gainInFront)(audiofx::AudioEffects*);
    } cases[] = {
        {"stereo, delay dry +6 dB", 2,
         [](audiofx::AudioEffects* fx) {
             const DelayEffectParams dry6 = {50.0f, 0.0f, 6.0f, -96.3f};
             fx->SetDelayON(true);
             fx->SetDelayParams(&dry6);
         }},
        {"mono, loudness +3 dB", 1,
         [](audiofx::AudioEffects* fx) {
             fx->SetLoudnessON(true);
             fx->SetLoudnessParams(-3.0f, 1.0f);  // the target level adds 6 dB
         }},
    };
    const size_t frames = 44100 * 2;
    for (const auto& c : cases) {
        std::vector<int16_t> input(frames * c.channels);
        for (size_t i = 0; i < input.size(); ++i) {
            const bool high = (i / c.channels / 100 + i % c.channels) % 2 == 0;
            input[i] = high ? 32767 : -32768;
        }
        for (bool limiterOn : {true, false}) {
            SCOPED_TRACE(testing::Message() << c.name << ", limiter " << (limiterOn ? "on" : "off"));
            audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
            c.gainInFront(fx);
            fx->SetLimiterON(limiterOn);
            ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, c.channels, 44100, 4096));
            const std::vector<int16_t> output = RunFrontEnd(fx, input, c.channels, 777);
            fx->Destroy();
            ASSERT_GE(output.size(), input.size());
            size_t wrapped = 0;
            int worst = 0;
            for (size_t i = 0; i < input.size(); ++i) {
                wrapped += (output[i] < 0) != (input[i] < 0);
                worst = std::max(worst, std::abs(int(output[i])));
            }
            if (limiterOn) {
                EXPECT_EQ(wrapped, 0u);
                EXPECT_LE(worst, 32736);  // 0.999039 of full scale
                EXPECT_GE(worst, 32700);
            } else {
                EXPECT_GT(wrapped, input.size() / 4);
            }
        }
    }
}

}  // namespace
