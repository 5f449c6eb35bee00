// Values a host can send, and streams as they really end: whatever arrives,
// every sample that leaves the front end is finite and, with the limiter at
// its defaults, within full scale.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "lxaudioeffects/AudioEffects.h"
#include "support/RandomEffectSettings.h"

namespace {

using A = audiofx::AudioEffects;

// Pushes the interleaved input in chunks of 1000 frames, ends the stream and
// pulls everything.
template <typename T>
std::vector<T> RunStream(A* fx, const std::vector<T>& in, uint32_t channels)
{
    std::vector<T> out, scratch(16384 * channels);
    bool end = false;
    auto pull = [&] {
        uint32_t bytes = uint32_t(scratch.size() * sizeof(T));
        fx->Pull(scratch.data(), &bytes, &end);
        out.insert(out.end(), scratch.begin(), scratch.begin() + bytes / sizeof(T));
    };
    for (size_t at = 0; at < in.size(); at += 1000 * channels) {
        fx->Push(in.data() + at, uint32_t(std::min<size_t>(1000 * channels, in.size() - at) * sizeof(T)), -1);
        pull();
    }
    fx->Push(nullptr, 0, -1);
    for (int guard = 0; !end && guard < 100000; ++guard)
        pull();
    return out;
}

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

// Settings outside every effect's domain, the switch with them.
struct Hostile {
    const char* name;
    void (*send)(A*);
};

CompressorEffectParams Compressor(float value, int field)
{
    CompressorEffectParams p = {-20.0f, 4.0f, 0.01f, 0.2f, -20.0f, 0.0f, 0.0f};
    (&p.Threshold)[field] = value;
    return p;
}

const Hostile kHostile[] = {
    {"bass/treble Q 0", [](A* fx) { fx->SetBassTrebleON(true); fx->SetBassTrebleGains(6, 6); fx->SetBassTrebleParams(120, 0, 6000, -1); }},
    {"bass/treble freq 0", [](A* fx) { fx->SetBassTrebleON(true); fx->SetBassTrebleGains(6, 6); fx->SetBassTrebleParams(0, 0.5f, 1e9f, 0.5f); }},
    {"bass/treble NaN", [](A* fx) { fx->SetBassTrebleON(true); fx->SetBassTrebleGains(kNaN, kInf); fx->SetBassTrebleParams(kNaN, kNaN, kInf, kNaN); }},
    {"parametric Q 0, freq -1", [](A* fx) {
         fx->SetParametricEQON(true);
         for (uint32_t band = 0; band < 9; ++band) {
             const ParametricEQFilterParams p = {band, 6.0f, band % 2 ? -100.0f : 1000.0f, band % 3 ? 0.0f : -2.0f, true};
             fx->SetParametricEQFilter(band, &p);
         }
     }},
    {"parametric NaN", [](A* fx) {
         fx->SetParametricEQON(true);
         fx->SetParametricEQGain(kNaN);
         const ParametricEQFilterParams p = {99u, kNaN, kNaN, kNaN, true};
         for (uint32_t band = 0; band < 9; ++band)
             fx->SetParametricEQFilter(band, &p);
     }},
    {"graphic EQ -inf +inf 1e30 1e6", [](A* fx) {
         fx->SetGraphEQON(true);
         const float gains[10] = {-kInf, kInf, 1e30f, -1e30f, 1e6f, kNaN, -1e6f, 0, 12, -12};
         fx->SetGraphEQGains(gains);
     }},
    {"delay feedback 100 wet 100 dB", [](A* fx) {
         fx->SetDelayON(true);
         const DelayEffectParams p = {10.0f, 100.0f, 0.0f, 100.0f};
         fx->SetDelayParams(&p);
     }},
    {"delay NaN and negative", [](A* fx) {
         fx->SetDelayON(true);
         const DelayEffectParams p = {kNaN, -5.0f, kInf, kNaN};
         fx->SetDelayParams(&p);
         const DelayEffectParams q = {-100.0f, kNaN, kNaN, 1e30f};
         fx->SetDelayParams(&q);
     }},
    {"loudness 1e6 dB", [](A* fx) { fx->SetLoudnessON(true); fx->SetLoudnessParams(1e6f, 1e6f); }},
    {"loudness NaN", [](A* fx) { fx->SetLoudnessON(true); fx->SetLoudnessParams(kNaN, kNaN); }},
    {"compressor gains 1e6 dB", [](A* fx) {
         fx->SetCompressorON(true);
         const CompressorEffectParams p = Compressor(1e6f, 5), q = Compressor(1e6f, 6);
         fx->SetCompressorParams(&p);
         fx->SetPostCompressorON(true);
         fx->SetPostCompressorParams(&q);
     }},
    {"compressor NaN and zero in every field", [](A* fx) {
         fx->SetCompressorON(true);
         fx->SetPostCompressorON(true);
         for (int field = 0; field < 7; ++field) {
             const CompressorEffectParams p = Compressor(kNaN, field), q = Compressor(0.0f, field);
             fx->SetCompressorParams(&p);
             fx->SetPostCompressorParams(&q);
         }
     }},
    {"limiter NaN", [](A* fx) {
         const LimiterEffectParams p = {kNaN, kNaN, kNaN, kNaN, true, kNaN};
         fx->SetLimiterParams(&p);
     }},
    {"limiter wild", [](A* fx) {
         const LimiterEffectParams p = {1e30f, -1.0f, 1e30f, 1e6f, true, -5.0f};
         fx->SetLimiterParams(&p);
     }},
    {"vibrato and tremolo wild", [](A* fx) {
         fx->SetVibratoON(true);
         fx->SetVibratoParams(std::nan(""), 1e300);
         fx->SetVibratoParams(-5.0, -1.0);
         fx->SetTremoloON(true);
         fx->SetTremoloParams(1e300, std::nan(""));
         fx->SetTremoloParams(0.0, 50.0);
     }},
};

// Every hostile setting, sent before and after Init, on float and 16-bit,
// mono and stereo: the output stays finite and, with the limiter at its
// defaults, within full scale.
TEST(HostValues, NoSettingPutsNaNOrOverloadIntoTheOutput)
{
    for (const Hostile& h : kHostile) {
        for (bool beforeInit : {true, false}) {
            for (uint32_t channels : {1u, 2u}) {
                for (AUDIO_SAMPLEFORMAT format : {AUDIO_SAMPLEFORMAT_FLOAT, AUDIO_SAMPLEFORMAT_S16}) {
                    SCOPED_TRACE(testing::Message() << h.name << (beforeInit ? ", before Init, " : ", after Init, ")
                                                    << channels << " channels, format " << format);
                    A* fx = A::Create();
                    if (beforeInit)
                        h.send(fx);
                    ASSERT_TRUE(fx->Init(format, channels, 44100, 0));
                    if (!beforeInit)
                        h.send(fx);
                    const bool limiterAtDefaults = std::string(h.name).rfind("limiter", 0) != 0;
                    const size_t frames = 20000;
                    if (format == AUDIO_SAMPLEFORMAT_FLOAT) {
                        std::vector<float> in(frames * channels);
                        for (size_t i = 0; i < in.size(); ++i)
                            in[i] = 0.5f * float(std::sin(0.05 * double(i)));
                        const std::vector<float> out = RunStream(fx, in, channels);
                        double energy = 0;
                        for (size_t i = 0; i < out.size(); ++i) {
                            ASSERT_TRUE(std::isfinite(out[i])) << out[i];
                            if (limiterAtDefaults) {
                                ASSERT_LE(std::fabs(out[i]), 1.0f);
                            }
                            energy += i >= out.size() / 2 ? double(out[i]) * out[i] : 0.0;
                        }
                        // The effects still play: a NaN did not stick in their state.
                        EXPECT_GT(energy / double(out.size() / 2), 1e-6);
                    } else {
                        std::vector<int16_t> in(frames * channels);
                        for (size_t i = 0; i < in.size(); ++i)
                            in[i] = int16_t(16000.0 * std::sin(0.05 * double(i)));
                        const std::vector<int16_t> out = RunStream(fx, in, channels);
                        EXPECT_FALSE(out.empty());
                    }
                    fx->Destroy();
                }
            }
        }
    }
}

// A value of any kind a host might send: NaN, infinities, huge, zero,
// negative, or something ordinary.
float AnyValue(std::mt19937& rng)
{
    const float values[] = {kNaN, kInf, -kInf, 1e30f, -1e30f, 1e6f, -1e6f, 0.0f, -1.0f, 1e-30f, 0.5f, 100.0f};
    if (rng() % 3 == 0)
        return std::uniform_real_distribution<float>(-100.0f, 20000.0f)(rng);
    return values[rng() % (sizeof values / sizeof values[0])];
}

// Random settings of every effect, any value in any field, switches included,
// between pushes of random length: the output stays finite, and within full
// scale in the runs that leave the limiter at its defaults. Then musical
// settings on every effect bring the sound back: no state was left stuck.
TEST(HostValues, AnyValuesInAnySetterBetweenPushesKeepTheOutputFinite)
{
    for (uint32_t run = 0; run < 8; ++run) {
        std::mt19937 rng(run);
        const uint32_t channels = 1 + run % 2;
        const bool limiterAtDefaults = run % 4 < 2;
        SCOPED_TRACE(testing::Message() << "run " << run);
        A* fx = A::Create();
        ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, channels, 44100, 256u << (run % 4)));
        const std::vector<void (*)(A*, std::mt19937&, float (*)(std::mt19937&))> setters = {
            [](A* a, std::mt19937& r, float (*x)(std::mt19937&)) { a->SetLoudnessON(r() % 2); a->SetLoudnessParams(x(r), x(r)); },
            [](A* a, std::mt19937& r, float (*x)(std::mt19937&)) {
                const CompressorEffectParams p = {x(r), x(r), x(r), x(r), x(r), x(r), x(r)};
                a->SetCompressorON(r() % 2);
                (r() % 2) ? a->SetCompressorParams(&p) : a->SetPostCompressorParams(&p);
                a->SetPostCompressorON(r() % 2);
            },
            [](A* a, std::mt19937& r, float (*x)(std::mt19937&)) {
                float gains[10];
                for (float& g : gains)
                    g = x(r);
                a->SetGraphEQON(r() % 2);
                a->SetGraphEQGains(gains);
            },
            [](A* a, std::mt19937& r, float (*x)(std::mt19937&)) {
                a->SetBassTrebleON(r() % 2);
                a->SetBassTrebleGains(x(r), x(r));
                a->SetBassTrebleParams(x(r), x(r), x(r), x(r));
            },
            [](A* a, std::mt19937& r, float (*x)(std::mt19937&)) {
                const ParametricEQFilterParams p = {uint32_t(r() % 12), x(r), x(r), x(r), r() % 2 == 0};
                a->SetParametricEQON(r() % 2);
                a->SetParametricEQGain(x(r));
                a->SetParametricEQFilter(r() % 9, &p);
            },
            [](A* a, std::mt19937& r, float (*x)(std::mt19937&)) {
                const DelayEffectParams p = {x(r), x(r), x(r), x(r)};
                a->SetDelayON(r() % 2);
                a->SetDelayParams(&p);
            },
            [](A* a, std::mt19937& r, float (*x)(std::mt19937&)) {
                a->SetVibratoON(r() % 2);
                a->SetVibratoParams(x(r), x(r));
                a->SetTremoloON(r() % 2);
                a->SetTremoloParams(x(r), x(r));
            },
        };
        auto limiter = [](A* a, std::mt19937& r, float (*x)(std::mt19937&)) {
            const LimiterEffectParams p = {x(r), x(r), x(r), x(r), r() % 2 == 0, x(r)};
            a->SetLimiterParams(&p);
        };
        std::uniform_real_distribution<float> noise(-0.5f, 0.5f);
        std::vector<float> scratch(16384 * channels);
        for (int push = 0; push < 60; ++push) {
            setters[rng() % setters.size()](fx, rng, AnyValue);
            if (!limiterAtDefaults && rng() % 4 == 0)
                limiter(fx, rng, AnyValue);
            std::vector<float> in((1 + rng() % 3000) * channels);
            for (float& x : in)
                x = noise(rng);
            fx->Push(in.data(), uint32_t(in.size() * sizeof(float)), -1);
            uint32_t bytes = uint32_t(scratch.size() * sizeof(float));
            bool end = false;
            fx->Pull(scratch.data(), &bytes, &end);
            for (uint32_t i = 0; i < bytes / sizeof(float); ++i) {
                ASSERT_TRUE(std::isfinite(scratch[i])) << "push " << push << ": " << scratch[i];
                if (limiterAtDefaults) {
                    ASSERT_LE(std::fabs(scratch[i]), 1.0f) << "push " << push;
                }
            }
        }
        for (const testsupport::RandomEffect& e : testsupport::kRandomEffects) {
            (fx->*e.on)(true);
            e.randomise(fx, rng);
        }
        std::vector<float> in(44100 * channels);
        for (float& x : in)
            x = noise(rng);
        const std::vector<float> out = RunStream(fx, in, channels);
        // The second half of the input's span: the tails behind it (two
        // reverbs in series may outlast the input) decay by design.
        ASSERT_GE(out.size(), in.size());
        double energy = 0;
        for (size_t i = in.size() / 2; i < in.size(); ++i)
            energy += double(out[i]) * out[i];
        EXPECT_GT(energy / double(in.size() / 2), 1e-6);
        fx->Destroy();
    }
}

// A broken decoder's NaN and infinities become silence on the way in and
// leave no trace in the effects' state; an empty stream ends with one frame
// of silence, before and after a reset.
TEST(HostValues, NonFiniteInputAndEmptyStreamsComeOutSilent)
{
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    for (uint32_t channels : {1u, 2u}) {
        SCOPED_TRACE(channels);
        A* fx = A::Create();
        fx->SetGraphEQON(true);
        ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, channels, 44100, 0));
        std::vector<float> in(5000 * channels, 0.25f);
        for (size_t i = 0; i < in.size(); i += 7)
            in[i] = (i % 3 == 0) ? nan : (i % 3 == 1 ? inf : -inf);
        for (const float x : RunStream(fx, in, channels))
            ASSERT_TRUE(std::isfinite(x) && std::fabs(x) <= 1.0f) << x;
        fx->Reset();
        const std::vector<float> clean(5000 * channels, 0.25f);
        const std::vector<float> after = RunStream(fx, clean, channels);
        ASSERT_FALSE(after.empty());
        EXPECT_NEAR(after.back(), 0.25f, 0.01f);  // the filters hold no NaN
        fx->Reset();
        EXPECT_EQ(RunStream(fx, std::vector<float>{}, channels), std::vector<float>(channels, 0.0f));
        fx->Destroy();

        A* fresh = A::Create();
        ASSERT_TRUE(fresh->Init(AUDIO_SAMPLEFORMAT_S16, channels, 44100, 0));
        EXPECT_EQ(RunStream(fresh, std::vector<int16_t>{}, channels), std::vector<int16_t>(channels, 0));
        fresh->Destroy();
    }
}

}  // namespace
