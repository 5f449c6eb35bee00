// The three EQ wrappers through the front end: what the setters do to a
// sine, click-free switching, no allocation while playing.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "lxaudioeffects/AudioEffects.h"
#include "support/AllocationCounter.h"
#include "support/FrequencyResponse.h"

namespace {

using testsupport::PrototypeDb;

constexpr uint32_t kRate = 44100;
constexpr uint32_t kChunkFrames = 1000;

// A stereo float front end fed sines, keeping the left output.
class Player {
public:
    Player()
    {
        fx = audiofx::AudioEffects::Create();
        ready = fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, 2, kRate, 0);
    }
    ~Player() { fx->Destroy(); }

    // Plays `frames` frames of a sine (both channels) and returns the left
    // output; the buffers are the player's own, so playing allocates nothing.
    const std::vector<float>& Play(double freqHz, double amplitude, uint32_t frames)
    {
        out.clear();
        for (uint32_t done = 0; done < frames; done += kChunkFrames) {
            for (uint32_t i = 0; i < kChunkFrames; ++i, ++phase) {
                const float v = float(amplitude * std::sin(2.0 * M_PI * freqHz * double(phase) / kRate));
                chunk[2 * i] = chunk[2 * i + 1] = v;
            }
            fx->Push(chunk.data(), uint32_t(chunk.size() * 4), -1);
            uint32_t bytes = uint32_t(pulled.size() * 4);
            bool end = false;
            fx->Pull(pulled.data(), &bytes, &end);
            for (uint32_t i = 0; i < bytes / 8; ++i)
                out.push_back(pulled[2 * i]);
        }
        return out;
    }

    // Gain in dB of the effects for a sine, once settled.
    double GainDb(double freqHz)
    {
        const std::vector<float>& y = Play(freqHz, 0.1, 30000);
        // Least-squares fit of a sine and a cosine over the last 8192 samples.
        const size_t n = 8192, first = y.size() - n;
        const size_t outPhase = phase - y.size();  // phase of y[0]
        double ss = 0, cc = 0, sc = 0, ys = 0, yc = 0;
        for (size_t i = first; i < y.size(); ++i) {
            const double t = 2.0 * M_PI * freqHz * double(outPhase + i) / kRate;
            const double s = std::sin(t), c = std::cos(t);
            ss += s * s, cc += c * c, sc += s * c, ys += y[i] * s, yc += y[i] * c;
        }
        const double det = ss * cc - sc * sc;
        const double a = (ys * cc - yc * sc) / det, b = (yc * ss - ys * sc) / det;
        return 20.0 * std::log10(std::hypot(a, b) / 0.1);
    }

    audiofx::AudioEffects* fx = nullptr;
    bool ready = false;
    std::vector<float> chunk = std::vector<float>(2 * kChunkFrames);
    std::vector<float> pulled = std::vector<float>(2 * 8192);
    std::vector<float> out = std::vector<float>(1 << 16);
    size_t phase = 0;
};

TEST(EQWrappers, BassTrebleAndParametricSettersShapeTheResponse)
{
    Player p;
    ASSERT_TRUE(p.ready);
    p.fx->SetBassTrebleON(true);
    p.fx->SetParametricEQON(true);
    EXPECT_NEAR(p.GainDb(2500.0), 0.0, 0.01) << "flat at 0 dB, the stored bands off";
    // Shelves at 300 Hz and 3 kHz; a peak and a low cut in the parametric EQ.
    p.fx->SetBassTrebleGains(9.0f, -6.0f);
    p.fx->SetBassTrebleParams(300.0f, 1.0f, 3000.0f, 0.7f);
    const ParametricEQFilterParams peak = {6, 10.0f, 2500.0f, 2.0f, true};
    const ParametricEQFilterParams lowCut = {1, 0.0f, 200.0f, 1.0f, true};
    p.fx->SetParametricEQFilter(4, &peak);
    p.fx->SetParametricEQFilter(8, &lowCut);
    p.fx->SetParametricEQGain(-6.0f);
    for (double f : {100.0, 300.0, 600.0, 2500.0, 9000.0}) {
        const double expected = PrototypeDb(7, f, 300, 9, 1.0, kRate) + PrototypeDb(8, f, 3000, -6, 0.7, kRate) +
                                PrototypeDb(6, f, 2500, 10, 2, kRate) + PrototypeDb(1, f, 200, 0, 1, kRate) - 6.0;
        EXPECT_NEAR(p.GainDb(f), expected, 0.05) << f << " Hz";
    }
}

// Largest sample-to-sample difference.
double LargestStep(const std::vector<float>& y, size_t from)
{
    double step = 0;
    for (size_t i = from + 1; i < y.size(); ++i)
        step = std::max(step, double(std::abs(y[i] - y[i - 1])));
    return step;
}

TEST(EQWrappers, SwitchingOnAndOffMakesNoStepBeyondTheSignalsOwn)
{
    using Switch = void (audiofx::AudioEffects::*)(bool);
    struct Case {
        const char* name;
        Switch on;
        void (*settings)(audiofx::AudioEffects*);
        double freqHz;  // where the settings lift the signal
    };
    const Case cases[] = {
        {"graphic", &audiofx::AudioEffects::SetGraphEQON,
         [](audiofx::AudioEffects* fx) {
             const float gains[10] = {0, 0, 0, 0, 6, 12, 6, 0, 0, 0};
             fx->SetGraphEQGains(gains);
         },
         1000.0},
        {"bassTreble", &audiofx::AudioEffects::SetBassTrebleON,
         [](audiofx::AudioEffects* fx) { fx->SetBassTrebleGains(12.0f, 12.0f); }, 12000.0},
        {"parametric", &audiofx::AudioEffects::SetParametricEQON,
         [](audiofx::AudioEffects* fx) {
             const ParametricEQFilterParams peak = {6, 12.0f, 1000.0f, 1.0f, true};
             fx->SetParametricEQFilter(0, &peak);
             fx->SetParametricEQGain(3.0f);
         },
         1000.0},
    };
    for (const Case& c : cases) {
        Player p;
        ASSERT_TRUE(p.ready);
        c.settings(p.fx);
        const double amplitude = 0.1;
        // The wet signal's own largest step, measured with the effect on.
        (p.fx->*c.on)(true);
        const double wetStep = LargestStep(p.Play(c.freqHz, amplitude, 20000), 10000);
        const double dryStep = 2.0 * amplitude * std::sin(M_PI * c.freqHz / kRate);
        double worst = 0;
        for (int toggle = 0; toggle < 8; ++toggle) {
            (p.fx->*c.on)(toggle % 2 == 1);
            worst = std::max(worst, LargestStep(p.Play(c.freqHz, amplitude, 3000 + 1000 * toggle), 0));
        }
        EXPECT_LT(worst, 1.02 * std::max(wetStep, dryStep)) << c.name;
        EXPECT_GT(wetStep, 3.0 * dryStep) << c.name << ": the settings should lift the sine";
    }
}

TEST(EQWrappers, PlayingAndChangingSettingsAllocatesNothing)
{
    Player p;
    ASSERT_TRUE(p.ready);
    p.fx->SetGraphEQON(true);
    p.fx->SetBassTrebleON(true);
    p.fx->SetParametricEQON(true);
    p.Play(440.0, 0.2, 10000);
    testsupport::AllocationCounter counter;
    for (int step = 0; step < 20; ++step) {
        float gains[10];
        for (int b = 0; b < 10; ++b)
            gains[b] = float((step + b) % 7) - 3.0f;
        p.fx->SetGraphEQGains(gains);
        p.fx->SetBassTrebleGains(float(step % 5), -float(step % 3));
        p.fx->SetBassTrebleParams(100.0f + float(step), 0.5f, 5000.0f, 0.6f);
        const ParametricEQFilterParams band = {uint32_t(step % 11), float(step % 9) - 4.0f, 300.0f * float(step + 1),
                                               1.0f, true};
        p.fx->SetParametricEQFilter(uint32_t(step % 9), &band);
        p.fx->SetParametricEQGain(float(step % 4) - 2.0f);
        p.Play(440.0, 0.2, 2000);
    }
    EXPECT_EQ(counter.Count(), 0u);
}

}  // namespace
