// The headphone effect through the front end, against a direct convolution
// computed here: active it plays (x * h) at the active gain, bypassed x at the
// bypassed gain, a switch ramps over one process block, latency and tail
// follow the block size; refused images keep the effect that plays. Also
// the resampling filter's stated taps and the partition counts.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "common/WavImage.h"
#include "lxaudioeffects/AudioEffects.h"
#include "support/RecordingAssertHook.h"
#include "wrappers/HeadphoneFreqData.h"
#include "wrappers/HeadphoneProcessorImpl.h"

namespace {

constexpr uint32_t kRate = 48000;
constexpr uint32_t kBlock = 1024;

// Noise through three one-pole low-passes: little energy near Nyquist, the
// bin the convolution drops.
std::vector<float> LowPassedNoise(size_t frames, uint32_t seed, float level)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    std::vector<float> x(frames);
    float a = 0, b = 0, c = 0;
    for (float& v : x) {
        a += 0.3f * (unit(rng) - a);
        b += 0.3f * (a - b);
        c += 0.3f * (b - c);
        v = level * c;
    }
    return x;
}

// A 16-bit mono image with an LXHG trailer; *h receives the samples as the
// effect reads them.
std::vector<uint8_t> Image16(size_t frames, float bypassedDb, float activeDb, std::vector<float>* h)
{
    std::vector<float> shape = LowPassedNoise(frames, 99, 4.0f);
    WavImage samples;
    h->clear();
    for (size_t i = 0; i < frames; ++i) {
        const int v = int(std::lround(shape[i] * std::exp(-float(i) / 400.0f) * 20000.0f));
        samples.U16(uint16_t(int16_t(v)));
        h->push_back(float(v * 3.051850947599719e-05));
    }
    std::vector<uint8_t> image = Riff(WavImage().Fmt(1, 1, kRate, 16).Data(samples.bytes));
    WavImage trailer;
    trailer.Tag("LXHG").U32(0).F32(bypassedDb).F32(activeDb);
    image.insert(image.end(), trailer.bytes.begin(), trailer.bytes.end());
    return image;
}

std::vector<double> Convolve(const std::vector<float>& x, const std::vector<float>& h)
{
    std::vector<double> y(x.size() + h.size() - 1, 0.0);
    for (size_t n = 0; n < x.size(); ++n)
        for (size_t k = 0; k < h.size(); ++k)
            y[n + k] += double(x[n]) * h[k];
    return y;
}

// Runs planar channels through a float front end with blocks of maxFrames;
// returns the output planes.
std::vector<std::vector<float>> RunFrontEnd(audiofx::AudioEffects* fx, const std::vector<std::vector<float>>& in,
                                            uint32_t chunkFrames)
{
    const size_t channels = in.size(), frames = in[0].size();
    std::vector<float> interleaved(frames * channels), scratch(16384 * channels), out;
    for (size_t i = 0; i < frames; ++i)
        for (size_t c = 0; c < channels; ++c)
            interleaved[i * channels + c] = in[c][i];
    bool end = false;
    auto pull = [&] {
        uint32_t bytes = uint32_t(scratch.size() * 4);
        fx->Pull(scratch.data(), &bytes, &end);
        out.insert(out.end(), scratch.begin(), scratch.begin() + bytes / 4);
    };
    for (size_t at = 0; at < interleaved.size(); at += chunkFrames * channels) {
        fx->Push(interleaved.data() + at, uint32_t(std::min(chunkFrames * channels, interleaved.size() - at) * 4), -1);
        pull();
    }
    fx->Push(nullptr, 0, -1);
    for (int guard = 0; !end && guard < 1000; ++guard)
        pull();
    std::vector<std::vector<float>> planes(channels);
    for (size_t i = 0; i < out.size(); ++i)
        planes[i % channels].push_back(out[i]);
    return planes;
}

uint32_t LatencyFor(uint32_t maxFrames)
{
    return maxFrames >= kBlock ? 0 : kBlock - maxFrames;
}

}  // namespace

TEST(HeadphoneProcessor, PlaysTheConvolutionActiveAndTheInputBypassedWithLatencyAndTail)
{
    testsupport::RecordingAssertHook asserts;
    const float bypassedDb = -6.0f, activeDb = 3.0f;
    const float gb = std::pow(10.0f, bypassedDb / 20.0f), ga = std::pow(10.0f, activeDb / 20.0f);
    std::vector<float> h;
    const std::vector<uint8_t> image = Image16(1500, bypassedDb, activeDb, &h);
    const uint32_t partitions = 1500 / kBlock + 2;
    for (uint32_t channels : {1u, 2u, 6u})
        for (uint32_t maxFrames : {2048u, 1024u, 512u, 256u})
            for (bool on : {true, false}) {
                SCOPED_TRACE(testing::Message() << channels << " channels, blocks of " << maxFrames << ", on " << on);
                audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
                fx->SetLimiterON(false);
                fx->SetHeadphoneON(on);
                ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, channels, kRate, maxFrames * 4 * channels));
                fx->SetHeadphoneImpulse(image.data(), image.size());
                std::vector<std::vector<float>> in;
                for (uint32_t c = 0; c < channels; ++c)
                    in.push_back(LowPassedNoise(5000 + 77, 10 + c, 0.5f));
                const auto out = RunFrontEnd(fx, in, 700);
                fx->Destroy();

                const uint32_t latency = LatencyFor(maxFrames);
                for (uint32_t c = 0; c < channels; ++c) {
                    ASSERT_EQ(out[c].size(), latency + in[c].size() + partitions * kBlock);
                    const std::vector<double> wet = Convolve(in[c], h);
                    double error = 0.0;
                    for (size_t n = 0; n < out[c].size(); ++n) {
                        const long m = long(n) - long(latency);
                        const double x = m >= 0 && m < long(in[c].size()) ? in[c][m] : 0.0;
                        const double y = m >= 0 && m < long(wet.size()) ? wet[m] : 0.0;
                        // Switched on: the first process block ramps from the
                        // bypassed level of the dry signal to the active one of the wet.
                        const double ramp = on && n < kBlock ? double(n) / kBlock : (on ? 1.0 : 0.0);
                        const double want = gb * (1.0 - ramp) * x + ga * ramp * y;
                        error = std::max(error, std::abs(out[c][n] - want));
                    }
                    EXPECT_LT(error, 2e-3) << "channel " << c;
                }
            }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(HeadphoneProcessor, RefusedImagesKeepThePreviousEffect)
{
    std::vector<float> h;
    const std::vector<uint8_t> good = Image16(300, 0.0f, 0.0f, &h);
    const std::vector<uint8_t> one = {0x10, 0x00};
    const std::vector<std::pair<const char*, std::vector<uint8_t>>> refused = {
        {"stereo", Riff(WavImage().Fmt(1, 2, kRate, 16).Data({1, 0, 2, 0}))},
        {"8-bit", Riff(WavImage().Fmt(1, 1, kRate, 8).Data({1, 2, 3}))},
        {"block align 0", Riff(WavImage().Tag("fmt ").U32(16).U16(1).U16(1).U32(kRate).U32(0).U16(0).U16(16).Data(one))},
        {"fmt below 16 bytes", Riff(WavImage().Tag("fmt ").U32(14).U16(1).U16(1).U32(kRate).U32(0).U16(2).Data(one))},
        {"rate 0", Riff(WavImage().Fmt(1, 1, 0, 16).Data(one))},
        {"data beyond the image", Riff(WavImage().Fmt(1, 1, kRate, 16).Data(one, 4000))},
        {"chunk size that wraps", Riff(WavImage().Fmt(1, 1, kRate, 16).Tag("junk").U32(0xFFFFFFF8u).Data(one))},
        {"odd chunk at the end", Riff(WavImage().Fmt(1, 1, kRate, 16).Tag("junk").U32(1).Raw({7}))},
        {"data before fmt", Riff(WavImage().Data(one).Fmt(1, 1, kRate, 16))},
        {"not RIFF", {'R', 'I', 'F', 'X', 0, 0, 0, 0, 'W', 'A', 'V', 'E'}},
    };
    const std::vector<std::vector<float>> in = {LowPassedNoise(4000, 5, 0.5f)};
    auto run = [&](const std::vector<uint8_t>* second) {
        audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
        fx->SetHeadphoneON(true);
        EXPECT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, 1, kRate, 0));
        fx->SetHeadphoneImpulse(good.data(), good.size());
        if (second)
            fx->SetHeadphoneImpulse(second->data(), second->size());
        const auto out = RunFrontEnd(fx, in, 1000);
        fx->Destroy();
        return out[0];
    };
    const std::vector<float> want = run(nullptr);
    for (const auto& [name, image] : refused) {
        HeadphoneWav wav;
        EXPECT_FALSE(ParseHeadphoneWav(image.data(), image.size(), &wav) && wav.blockAlign >= 2 && wav.blockAlign <= 4)
            << name;
        EXPECT_EQ(run(&image), want) << name;
    }
}

TEST(HeadphoneProcessor, PartitionCountsAndSilenceForAnAllZeroImpulse)
{
    for (auto [samples, partitions] : {std::pair{1024u, 2u}, {1025u, 3u}, {1u, 2u}}) {
        HeadphoneProcessorImpl hp;
        ASSERT_TRUE(hp.Init(512, 2, kRate));
        // A LIST chunk of odd size with its zero pad byte comes first.
        std::vector<uint8_t> data(samples * 3, 0);
        if (samples > 1)
            data[(samples - 1) * 3 + 2] = 0x40;  // only the last sample is non-zero
        const auto image = Riff(WavImage().Tag("LIST").U32(3).Raw({1, 2, 3, 0}).Fmt(1, 1, kRate, 24).Data(data));
        ASSERT_TRUE(hp.SetImpulse(image.data(), image.size(), 0.0f, 0.0f)) << samples;
        EXPECT_EQ(hp.Plugin()->Engine().Header().uNumCompressedPartition, partitions) << samples;
        hp.SetBypass(false);
        if (samples != 1)
            continue;
        // All zeros: one sample stays, and the output is silence.
        std::vector<float> block(512 * 2, 0.7f);
        for (int i = 0; i < 8; ++i) {
            bool draining = false;
            uint32_t frames = 512;
            hp.Process(block.data(), &draining, &frames);
        }
        for (float v : block)
            ASSERT_EQ(v, 0.0f);
    }
}

TEST(HeadphoneProcessor, ResamplingFilterHasTheStatedTapsAndKeepsASine)
{
    const double* taps = HeadphoneFilterTaps();
    EXPECT_NEAR(taps[255], 0.208284656892, 1e-11);
    EXPECT_NEAR(taps[0], -3.82065753164e-05, 1e-13);
    EXPECT_NEAR(taps[1], 2.59531821736e-05, 1e-13);
    EXPECT_NEAR(taps[2], 7.99727668303e-05, 1e-13);
    EXPECT_NEAR(taps[3], 0.000101423871248, 1e-13);
    EXPECT_NEAR(taps[250], -0.00830036584205, 1e-12);
    double sum = 0.0;
    for (uint32_t i = 0; i < kHeadphoneFilterTaps; ++i) {
        sum += taps[i];
        EXPECT_EQ(taps[i], taps[kHeadphoneFilterTaps - 1 - i]);
    }
    EXPECT_NEAR(sum, 1.0, 1e-12);

    // 1 kHz at 44.1 kHz to 48 kHz: the same sine, at the new rate.
    std::vector<float> x(4410);
    for (size_t i = 0; i < x.size(); ++i)
        x[i] = float(0.5 * std::sin(2.0 * M_PI * 1000.0 * double(i) / 44100.0));
    uint32_t count = 0;
    float* y = ResampleHeadphoneImpulse(x.data(), uint32_t(x.size()), 44100, 48000, &count);
    ASSERT_NE(y, nullptr);
    EXPECT_NEAR(double(count), 4410.0 * 48000.0 / 44100.0, 2.0);
    double error = 0.0;
    for (uint32_t i = 200; i + 200 < count; ++i)
        error = std::max(error, std::abs(y[i] - 0.5 * std::sin(2.0 * M_PI * 1000.0 * double(i) / 48000.0)));
    EXPECT_LT(error, 5e-3);
    delete[] y;
    EXPECT_EQ(ResampleHeadphoneImpulse(x.data(), uint32_t(x.size()), 0, 48000, &count), nullptr);
}
