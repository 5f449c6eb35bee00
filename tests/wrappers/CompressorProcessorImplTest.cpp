// Both compressors of the chain, driven through the front end: what each
// setter field does to a steady sine, click-free switching, and no allocation
// in the wrapper's steady state.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "lxaudioeffects/AudioEffects.h"
#include "support/AllocationCounter.h"
#include "wrappers/CompressorProcessor.h"

namespace {

constexpr uint32_t kRate = 44100;

// Interleaved stereo float sine, the same on both channels.
std::vector<float> StereoSine(size_t frames, double rmsDb, double hz)
{
    const double amplitude = std::sqrt(2.0) * std::pow(10.0, rmsDb / 20.0);
    std::vector<float> x(frames * 2);
    for (size_t i = 0; i < frames; ++i)
        x[2 * i] = x[2 * i + 1] = float(amplitude * std::sin(2.0 * M_PI * hz * double(i) / kRate));
    return x;
}

// Pushes the signal in chunks of chunkFrames; before each chunk, between(i)
// may change settings (i is the chunk's first frame). Returns all output.
template <class Between>
std::vector<float> ThroughFrontEnd(audiofx::AudioEffects* fx, const std::vector<float>& in,
                                   size_t chunkFrames, Between between)
{
    std::vector<float> out;
    std::vector<float> pulled(16384 * 2);
    bool end = false;
    auto pull = [&] {
        uint32_t bytes = uint32_t(pulled.size() * sizeof(float));
        fx->Pull(pulled.data(), &bytes, &end);
        out.insert(out.end(), pulled.begin(), pulled.begin() + bytes / sizeof(float));
    };
    for (size_t start = 0; start < in.size() / 2; start += chunkFrames) {
        between(start);
        const size_t n = std::min(chunkFrames, in.size() / 2 - start);
        fx->Push(in.data() + 2 * start, uint32_t(n * 2 * sizeof(float)), -1);
        pull();
    }
    fx->Push(nullptr, 0, -1);
    while (!end)
        pull();
    return out;
}

double RmsDb(const std::vector<float>& x, size_t fromFrame, size_t toFrame, int channel)
{
    double sum = 0.0;
    for (size_t i = fromFrame; i < toFrame; ++i)
        sum += double(x[2 * i + channel]) * x[2 * i + channel];
    return 10.0 * std::log10(sum / double(toFrame - fromFrame));
}

double ExpectedDb(double levelDb, const CompressorEffectParams& p)
{
    const double detected = levelDb + p.PreGain;
    const double overDb = std::max(detected - p.Threshold, 0.0);
    return detected + std::max(double(p.Range), overDb * (1.0 / p.Ratio - 1.0)) + p.PostGain;
}

// A float stereo front end with one of the compressors on.
audiofx::AudioEffects* WithCompressor(bool post, const CompressorEffectParams& p, bool on = true)
{
    audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
    EXPECT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, 2, kRate, 0));
    post ? fx->SetPostCompressorON(on) : fx->SetCompressorON(on);
    post ? fx->SetPostCompressorParams(&p) : fx->SetCompressorParams(&p);
    return fx;
}

TEST(CompressorProcessor, EachSetterFieldChangesTheSteadyLevel)
{
    const CompressorEffectParams base = {-20.0f, 4.0f, 0.01f, 0.05f, -30.0f, 3.0f, -2.0f};
    std::vector<CompressorEffectParams> cases(8, base);
    cases[1].Threshold = -30.0f;
    cases[2].Ratio = 2.0f;
    cases[3].Range = -5.0f;
    cases[4].PreGain = -6.0f;
    cases[5].PostGain = 4.0f;
    cases[6].Range = 0.0f;  // no reduction at all: only the gains remain
    cases[7].Attack = 0.5f;  // too slow to settle at first...
    const double levelDb = -8.0;
    const size_t frames = kRate * 3 / 2;
    const std::vector<float> in = StereoSine(frames, levelDb, 1000.0);
    for (bool post : {false, true}) {
        for (size_t k = 0; k < cases.size(); ++k) {
            SCOPED_TRACE(testing::Message() << "post " << post << " case " << k);
            audiofx::AudioEffects* fx = WithCompressor(post, cases[k]);
            const std::vector<float> out = ThroughFrontEnd(fx, in, 1000, [](size_t) {});
            ASSERT_EQ(out.size(), in.size());
            const double expected = ExpectedDb(levelDb, cases[k]);
            for (int ch = 0; ch < 2; ++ch) {
                EXPECT_NEAR(RmsDb(out, frames * 2 / 3, frames, ch), expected, 0.15);
                if (k == 7) {  // ...so the first 50 ms still hold more than the end
                    EXPECT_GT(RmsDb(out, 0, 2205, ch), expected + 3.0);
                }
            }
            fx->Destroy();
        }
    }
}

// Largest difference between neighbouring samples of one channel.
float LargestStep(const std::vector<float>& x, int channel)
{
    float step = 0.0f;
    for (size_t i = 2 + channel; i < x.size(); i += 2)
        step = std::max(step, std::fabs(x[i] - x[i - 2]));
    return step;
}

TEST(CompressorProcessor, SwitchingMakesNoStepLargerThanTheSignalsOwn)
{
    const CompressorEffectParams heavy = {-40.0f, 20.0f, 0.001f, 0.01f, -40.0f, 6.0f, 6.0f};
    const size_t frames = kRate * 2;
    const std::vector<float> in = StereoSine(frames, -3.0, 150.0);
    for (bool post : {false, true}) {
        audiofx::AudioEffects* fx = WithCompressor(post, heavy, false);
        const std::vector<float> out = ThroughFrontEnd(fx, in, 777, [&](size_t start) {
            const bool on = (start / 777) % 20 >= 10;  // on and off every 10 chunks
            post ? fx->SetPostCompressorON(on) : fx->SetCompressorON(on);
        });
        ASSERT_EQ(out.size(), in.size());
        // The compressed level differs from the dry one by tens of dB, so a
        // hard switch would show as a step far beyond the sine's own.
        EXPECT_LT(RmsDb(out, 12 * 777, 17 * 777, 0), RmsDb(in, 12 * 777, 17 * 777, 0) - 20.0);
        for (int ch = 0; ch < 2; ++ch)
            EXPECT_LE(LargestStep(out, ch), LargestStep(in, ch) * 1.01f) << "post " << post;
        fx->Destroy();
    }
}

TEST(CompressorProcessor, SteadyStateAllocatesNothing)
{
    CompressorProcessor* compressor = CompressorProcessor::Create();
    ASSERT_TRUE(compressor->Init(2048, 2, kRate));
    std::vector<float> block(2 * 2048);
    auto run = [&](int i) {
        for (size_t s = 0; s < block.size(); ++s)
            block[s] = 0.5f * std::sin(0.01f * float(s + 2048 * i));
        bool draining = false;
        uint32_t frames = 2048 - (i % 3);
        compressor->Process(block.data(), &draining, &frames);
    };
    run(0);
    testsupport::AllocationCounter counter;
    for (int i = 1; i < 100; ++i) {
        compressor->SetParams({-10.0f - i % 20, 2.0f + i % 5, 0.01f, 0.1f, -float(i % 30), 1.0f, -1.0f});
        if (i % 10 == 0)
            compressor->SetBypass(i % 20 == 0);  // crossfade blocks too
        run(i);
    }
    EXPECT_EQ(counter.Count(), 0u);
    compressor->Destroy();
}

}  // namespace
