// The FIR effect against a direct convolution computed here, normalised to
// unit impulse energy per channel; frame bookkeeping at the end of a stream,
// across bypass changes and impulse swaps; resampled and refused impulses.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "common/WavImage.h"
#include "effects/FIRProcessorImpl.h"
#include "effects/PartitionedFIRConvolver.h"
#include "effects/SpectrumMultiplyAdd.h"

namespace {

using Planes = std::vector<std::vector<float>>;

std::vector<uint8_t> FloatImage(const Planes& impulse, uint32_t rateHz)
{
    std::vector<float> interleaved;
    for (size_t i = 0; i < impulse[0].size(); ++i)
        for (const auto& channel : impulse)
            interleaved.push_back(channel[i]);
    return Riff(WavImage().Fmt(3, uint32_t(impulse.size()), rateHz, 32).Data(FloatBytes(interleaved)));
}

Planes Noise(uint32_t channels, size_t frames, uint32_t seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-0.5f, 0.5f);
    Planes x(channels, std::vector<float>(frames));
    for (auto& channel : x)
        for (float& v : channel)
            v = u(rng);
    return x;
}

struct Fir {
    FIRProcessor* fir = FIRProcessor::Create();
    uint32_t maxFrames, channels;
    Fir(uint32_t maxFrames_, uint32_t channels_, uint32_t rateHz = 44100) : maxFrames(maxFrames_), channels(channels_)
    {
        EXPECT_TRUE(fir->Init(maxFrames, channels, rateHz));
        fir->SetBypass(false);
    }
    ~Fir() { fir->Destroy(); }

    // Runs a stream in blocks of blockFrames(index) frames, the last one
    // marked as the end, then drains; between(index) runs before each block.
    Planes Run(const Planes& in, const std::function<uint32_t(size_t)>& blockFrames,
               const std::function<void(size_t)>& between = {})
    {
        Planes out(channels);
        std::vector<float> block(size_t(maxFrames) * channels);
        const size_t total = in[0].size();
        auto take = [&](uint32_t frames) {
            for (uint32_t c = 0; c < channels; ++c)
                out[c].insert(out[c].end(), block.begin() + size_t(c) * maxFrames,
                              block.begin() + size_t(c) * maxFrames + frames);
        };
        size_t at = 0;
        for (size_t index = 0;; ++index) {
            if (between)
                between(index);
            const uint32_t n = uint32_t(std::min<size_t>(std::min(blockFrames(index), maxFrames), total - at));
            std::fill(block.begin(), block.end(), 0.0f);
            for (uint32_t c = 0; c < channels; ++c)
                std::copy_n(in[c].begin() + at, n, block.begin() + size_t(c) * maxFrames);
            at += n;
            bool draining = at == total;
            uint32_t frames = n;
            fir->Process(block.data(), &draining, &frames);
            take(frames);
            if (at < total)
                continue;
            for (int guard = 0; !draining && guard < 1000; ++guard) {
                frames = 0;
                draining = true;
                fir->Process(block.data(), &draining, &frames);
                take(frames);
            }
            EXPECT_TRUE(draining);
            return out;
        }
    }
};

std::vector<double> DirectConvolution(const std::vector<float>& x, const std::vector<float>& h, double gain)
{
    std::vector<double> y(x.size(), 0.0);
    for (size_t n = 0; n < x.size(); ++n)
        for (size_t k = 0; k < h.size() && k <= n; ++k)
            y[n] += double(h[k]) * x[n - k];
    for (double& v : y)
        v *= gain;
    return y;
}

double RelativeRmsError(const std::vector<float>& got, const std::vector<double>& want)
{
    double err = 0.0, ref = 0.0;
    for (size_t i = 0; i < got.size(); ++i) {
        err += (got[i] - want[i]) * (got[i] - want[i]);
        ref += want[i] * want[i];
    }
    return std::sqrt(err / ref);
}

// Expected length: the whole stream, but when it ends on a partition the last
// partition's output is never played.
size_t ExpectedFrames(size_t input, uint32_t partition)
{
    return input % partition ? input : input - partition;
}

TEST(PartitionedFIRConvolver, PartitionFollowsTheImpulseAndTheBlock)
{
    struct Case {
        uint32_t impulseFrames, maxFrames, partition, count;
    } cases[] = {{1, 4096, 8, 1},        {16, 4096, 8, 2},     {17, 4096, 16, 2},
                 {3000, 4096, 2048, 2},  {3000, 1000, 512, 6}, {44100, 2048, 2048, 22},
                 {200000, 8192, 2048, 98}, {40, 5, 8, 5}};
    for (const Case& c : cases) {
        PartitionedFIRConvolver* convolver = PartitionedFIRConvolver::Create();
        std::vector<float> h(c.impulseFrames, 0.01f);
        const float* data[1] = {h.data()};
        ASSERT_TRUE(convolver->Init(c.maxFrames, 2));
        ASSERT_TRUE(convolver->SetImpulse(data, c.impulseFrames, 1));
        EXPECT_EQ(convolver->PartitionSize(), c.partition) << c.impulseFrames << " " << c.maxFrames;
        EXPECT_EQ(convolver->PartitionCount(), c.count) << c.impulseFrames << " " << c.maxFrames;
        EXPECT_FLOAT_EQ(convolver->NormalizeGain(), 1.0f / std::sqrt(c.impulseFrames * 1e-4f));
        delete convolver;
    }
}

TEST(SpectrumMultiplyAdd, SseMatchesTheScalarFormBitForBit)
{
    for (uint32_t bins : {4u, 13u, 2048u}) {
        const Planes v = Noise(6, bins + 4, bins);
        Planes acc = Noise(2, bins + 4, bins + 1), reference = acc;
        // The vector loads need 16-byte alignment, which vector storage gives.
        MultiplyAddSpectraSse({v[0].data(), v[1].data()}, {v[2].data(), v[3].data()}, {acc[0].data(), acc[1].data()},
                              bins);
        MultiplyAddSpectraScalar({v[0].data(), v[1].data()}, {v[2].data(), v[3].data()},
                                 {reference[0].data(), reference[1].data()}, bins);
        EXPECT_EQ(acc, reference) << bins;
        const float want = reference[0][1] - (v[0][1] * v[2][1] - v[1][1] * v[3][1]);
        EXPECT_FLOAT_EQ(want, Noise(2, bins + 4, bins + 1)[0][1]) << "acc += x h, real part";
    }
}

TEST(FIRProcessor, EqualsADirectConvolutionNormalisedToUnitEnergy)
{
    std::mt19937 rng(7);
    std::normal_distribution<float> gauss;
    std::vector<float> decaying(4000);
    for (size_t i = 0; i < decaying.size(); ++i)
        decaying[i] = gauss(rng) * std::exp(-float(i) / 600.0f);
    std::vector<float> other = decaying;
    std::reverse(other.begin(), other.end());
    struct Case {
        const char* name;
        Planes impulse;
        uint32_t channels;
    } cases[] = {{"one negative tap", {{-0.5f}}, 2},
                 {"two taps", {{0.6f, -0.3f}}, 2},
                 {"decaying noise, shared", {decaying}, 3},
                 {"decaying noise, per channel", {decaying, other}, 2}};
    for (const Case& c : cases) {
        Fir fir(1024, c.channels);
        ASSERT_TRUE(fir.fir->SetImpulse(FloatImage(c.impulse, 44100).data(), FloatImage(c.impulse, 44100).size()));
        const Planes x = Noise(c.channels, 9001, 3);
        const Planes y = fir.Run(x, [](size_t) { return 1024u; });
        double energy = 0.0;
        for (const auto& h : c.impulse)
            for (float v : h)
                energy += double(v) * v;
        const double gain = 1.0 / std::sqrt(energy / double(c.impulse.size()));
        for (uint32_t ch = 0; ch < c.channels; ++ch) {
            ASSERT_EQ(y[ch].size(), x[ch].size()) << c.name;
            const auto want = DirectConvolution(x[ch], c.impulse[c.impulse.size() == 1 ? 0 : ch], gain);
            EXPECT_LT(RelativeRmsError(y[ch], want), 1e-5) << c.name << " channel " << ch;
        }
    }
}

TEST(FIRProcessor, EndOfStreamPlaysAllButAWholeLastPartition)
{
    const Planes impulse = {Noise(1, 3000, 9)[0]};
    struct Case {
        uint32_t maxFrames, block, partition;
    } cases[] = {{512, 512, 512}, {1000, 1000, 512}, {1000, 333, 512}, {4096, 4096, 2048}, {5, 5, 8}, {5, 3, 8}};
    for (const Case& c : cases) {
        for (size_t frames : {size_t(1), size_t(c.partition) - 1, size_t(c.partition), size_t(c.partition) + 1,
                              size_t(3 * c.partition), size_t(3 * c.partition + 7), size_t(2 * c.block)}) {
            const Planes h = {std::vector<float>(impulse[0].begin(), impulse[0].begin() + (c.maxFrames < 8 ? 40 : 3000))};
            Fir fir(c.maxFrames, 2);
            ASSERT_TRUE(fir.fir->SetImpulse(FloatImage(h, 44100).data(), FloatImage(h, 44100).size()));
            const Planes x = Noise(2, frames, uint32_t(frames));
            const Planes y = fir.Run(x, [&](size_t) { return c.block; });
            ASSERT_EQ(y[0].size(), ExpectedFrames(frames, c.partition)) << c.maxFrames << " " << c.block << " " << frames;
            double energy = 0.0;
            for (float v : h[0])
                energy += double(v) * v;
            auto want = DirectConvolution(x[0], h[0], 1.0 / std::sqrt(energy));
            want.resize(y[0].size());
            if (!want.empty()) {
                EXPECT_LT(RelativeRmsError(y[0], want), 1e-5) << c.maxFrames << " " << c.block << " " << frames;
            }
        }
    }
}

TEST(FIRProcessor, BypassChangesAndNewImpulsesNeitherLoseNorDoubleFrames)
{
    // Unit impulses of several lengths: wet equals dry, so the output must be
    // the input, in order, whatever the switching.
    std::vector<std::vector<uint8_t>> images;
    for (size_t length : {1, 100, 3000}) {
        std::vector<float> h(length, 0.0f);
        h[0] = 1.0f;
        images.push_back(FloatImage({h}, 44100));
    }
    std::mt19937 rng(11);
    for (int trial = 0; trial < 4; ++trial) {
        Fir fir(1024, 2);
        ASSERT_TRUE(fir.fir->SetImpulse(images[2].data(), images[2].size()));
        const Planes x = Noise(2, 40000 + trial * 777, trial);
        const size_t blocks = (x[0].size() + 1023) / 1024;
        const Planes y = fir.Run(
            x, [](size_t) { return 1024u; },
            [&](size_t index) {
                if (rng() % 3 == 0) {
                    fir.fir->SetBypass(rng() % 2 == 0);
                }
                if (rng() % 5 == 0) {
                    const auto& image = images[rng() % 3];
                    ASSERT_TRUE(fir.fir->SetImpulse(image.data(), image.size()));
                }
                if (index + 1 == blocks)
                    fir.fir->SetBypass(true);  // the end plays everything
            });
        ASSERT_EQ(y[0].size(), x[0].size()) << trial;
        for (size_t i = 0; i < x[0].size(); ++i)
            ASSERT_NEAR(y[1][i], x[1][i], 1e-5) << trial << " frame " << i;
    }
}

TEST(FIRProcessor, AnImpulseAtAnotherRateIsResampled)
{
    // A unit impulse 400 frames late at 96 kHz is 200 frames late at 48 kHz.
    std::vector<float> h(1000, 0.0f);
    h[400] = 1.0f;
    Fir fir(1024, 1, 48000);
    ASSERT_TRUE(fir.fir->SetImpulse(FloatImage({h}, 96000).data(), FloatImage({h}, 96000).size()));
    Planes x(1, std::vector<float>(3000, 0.0f));
    x[0][0] = 1.0f;
    const Planes y = fir.Run(x, [](size_t) { return 1024u; });
    const size_t peak = size_t(std::max_element(y[0].begin(), y[0].end()) - y[0].begin());
    EXPECT_NEAR(double(peak), 200.0, 1.0);
    double energy = 0.0;
    for (float v : y[0])
        energy += double(v) * v;
    EXPECT_NEAR(energy, 1.0, 0.02) << "normalised to unit energy after resampling";
}

TEST(FIRProcessor, RefusedImpulsesLeaveTheAudioAlone)
{
    const std::vector<uint8_t> pcm16 = {0x00, 0x40, 0x00, 0xc0, 0x00, 0x20};
    std::vector<uint8_t> truncated = Riff(WavImage().Fmt(1, 1, 44100, 16).Data(pcm16));
    truncated.resize(truncated.size() - 20);
    const std::vector<std::vector<uint8_t>> bad = {
        {'n', 'o', 't', ' ', 'a', ' ', 'w', 'a', 'v', 'e'},
        Riff(WavImage().Fmt(1, 3, 44100, 16).Data({0, 1, 0, 1, 0, 1})),
        Riff(WavImage().Fmt(0xfffe, 1, 44100, 16, 40).Data(pcm16)),
        truncated,
        Riff(WavImage().Fmt(1, 1, 44100, 16).Data(pcm16, 1u << 30)),
        FloatImage({std::vector<float>(64, 0.0f)}, 44100),
        FloatImage({std::vector<float>(64, 0.0f)}, 22050),
        FloatImage({{1.0f, 0.5f}, {0.5f, 1.0f}}, 44100),  // two channels on four
    };
    for (size_t i = 0; i < bad.size(); ++i) {
        Fir fir(256, 4);
        EXPECT_FALSE(fir.fir->SetImpulse(bad[i].data(), bad[i].size())) << i;
        const Planes x = Noise(4, 1000, 5);
        EXPECT_EQ(fir.Run(x, [](size_t) { return 256u; }), x) << i;
    }
    // A refused reload keeps the impulse that plays.
    Fir fir(256, 1);
    ASSERT_TRUE(fir.fir->SetImpulse(FloatImage({{-2.0f}}, 44100).data(), FloatImage({{-2.0f}}, 44100).size()));
    EXPECT_FALSE(fir.fir->SetImpulse(bad[0].data(), bad[0].size()));
    const Planes x = Noise(1, 1001, 6);
    const Planes y = fir.Run(x, [](size_t) { return 256u; });
    ASSERT_EQ(y[0].size(), x[0].size());
    for (size_t i = 0; i < x[0].size(); ++i)
        ASSERT_NEAR(y[0][i], -x[0][i], 1e-6);
}

}  // namespace
