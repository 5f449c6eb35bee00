// The compressor core measured from outside: steady levels against the static
// curve, 10-90 % attack and release times, linked against per-channel
// detection, Range 0, the LFE rule and block-size invariance; the vector side
// chains (both lane kernels) against the scalar form, and the gains applied
// in place against the separate passes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "ov/OvFastMath.h"
#include "ov/OvGainRamp.h"
#include "sdk/dsp/delays/Mix2Interp.h"
#include "sdk/dsp/dynamics/OvCompressor.h"
#include "support/OvPluginHarness.h"

namespace {

using testsupport::Planes;
using testsupport::RmsDb;

constexpr uint32_t kRate = 44100;

struct Settings {
    float thresholdDb, ratio, attackS, releaseS, rangeDb;
};

// Expected reduction in dB of a steady signal at levelDb (RMS, dBFS).
double StaticReductionDb(double levelDb, const Settings& s)
{
    return std::max(double(s.rangeDb), std::max(levelDb - s.thresholdDb, 0.0) * (1.0 / s.ratio - 1.0));
}

std::vector<float> Sine(size_t frames, double rmsDb, double hz)
{
    return testsupport::Sine(frames, rmsDb, hz, kRate);
}

// A fresh core run over the whole input in blocks of blockFrames.
Planes Compress(const Planes& input, const Settings& s, bool link, uint32_t blockFrames, bool processLFE = true,
                uint32_t* sideChains = nullptr)
{
    const uint32_t channels = uint32_t(input.size());
    OvCompressor core;
    EXPECT_EQ(core.Init(OV::DefaultAllocator(), processLFE, testsupport::PlanarFormat(channels, kRate), s.attackS,
                        s.releaseS, link),
              OV_Success);
    if (sideChains)
        *sideChains = core.GetNumSideChain();
    testsupport::PlanarBlock block(channels, blockFrames);
    Planes output(channels);
    for (size_t start = 0; start < input[0].size(); start += blockFrames) {
        const uint32_t n = uint32_t(std::min<size_t>(blockFrames, input[0].size() - start));
        block.Load(input, start, n);
        core.Process(&block.buffer, s.thresholdDb, s.ratio, s.attackS, s.releaseS, s.rangeDb);
        block.AppendTo(output, n);
    }
    core.Shutdown(OV::DefaultAllocator());
    return output;
}

TEST(OvCompressor, SteadySineLevelFollowsThresholdRatioAndRange)
{
    const Settings cases[] = {
        {-20.0f, 4.0f, 0.01f, 0.01f, -60.0f},
        {-10.0f, 10.0f, 0.01f, 0.01f, -60.0f},
        {-30.0f, 4.0f, 0.01f, 0.01f, -6.0f},  // the range limits the reduction
        {-30.0f, 1.0f, 0.01f, 0.01f, -60.0f}, // ratio 1 changes nothing
    };
    const size_t frames = kRate;  // 1 s; the last 0.4 s is measured
    for (bool link : {false, true})
        for (const Settings& s : cases)
            for (double levelDb : {-45.0, -25.0, -15.0, -1.0}) {
                SCOPED_TRACE(testing::Message() << "link " << link << " threshold " << s.thresholdDb << " ratio "
                                                << s.ratio << " range " << s.rangeDb << " level " << levelDb);
                const uint32_t channels = link ? 2 : 1;
                const Planes out = Compress(Planes(channels, Sine(frames, levelDb, 997.0)), s, link, 512);
                for (uint32_t ch = 0; ch < channels; ++ch)
                    EXPECT_NEAR(RmsDb(out[ch], frames * 6 / 10, frames), levelDb + StaticReductionDb(levelDb, s),
                                0.1);
            }
}

// Time in seconds from the first crossing of a to the first crossing of b
// after sample start, for a curve moving monotonically from a towards b.
double CrossingTime(const std::vector<double>& r, size_t start, double a, double b)
{
    auto crossed = [&](double v, double level) { return b < a ? v <= level : v >= level; };
    size_t i = start;
    while (i < r.size() && !crossed(r[i], a))
        ++i;
    const size_t ia = i;
    while (i < r.size() && !crossed(r[i], b))
        ++i;
    return double(i - ia) / kRate;
}

TEST(OvCompressor, AttackAndReleaseAreTenToNinetyPercentTimes)
{
    // DC steps from 10 dB under to 20 dB over the threshold and back; with
    // ratio 2 the reduction moves between 0 and -10 dB. The RMS detector
    // falls at about 190 dB/s, so releases much shorter than 0.1 s could not
    // be told apart from it.
    for (float attackS : {0.05f, 1.0f}) {
        for (float releaseS : {0.25f, 2.0f}) {
            const Settings s = {-20.0f, 2.0f, attackS, releaseS, -60.0f};
            const size_t quiet = kRate / 2;
            const size_t loud = size_t(kRate * 4.0 * attackS) + kRate / 5;
            const size_t after = size_t(kRate * 4.0 * releaseS) + kRate / 5;
            Planes in(1, std::vector<float>(quiet + loud + after, std::pow(10.0f, -30.0f / 20.0f)));
            std::fill(in[0].begin() + quiet, in[0].begin() + quiet + loud, 1.0f);
            const Planes out = Compress(in, s, false, 1024);
            std::vector<double> r(in[0].size());
            for (size_t i = 0; i < r.size(); ++i)
                r[i] = 20.0 * std::log10(double(out[0][i]) / in[0][i]);
            EXPECT_NEAR(r[quiet + loud - 1], -10.0, 0.1);
            EXPECT_NEAR(r.back(), 0.0, 0.1);
            // The detector's own 23 ms adds a little to each.
            EXPECT_NEAR(CrossingTime(r, quiet, -1.0, -9.0), attackS, 0.05 * attackS + 0.01) << "attack " << attackS;
            EXPECT_NEAR(CrossingTime(r, quiet + loud, -9.0, -1.0), releaseS, 0.05 * releaseS + 0.01)
                << "release " << releaseS;
        }
    }
}

TEST(OvCompressor, LinkedDetectsMeanPowerPerChannelDetectsEach)
{
    // Left well over the threshold, right under it.
    const Settings s = {-20.0f, 4.0f, 0.01f, 0.01f, -60.0f};
    const size_t frames = kRate, from = frames * 6 / 10;
    const Planes in = {Sine(frames, -5.0, 997.0), Sine(frames, -35.0, 1499.0)};
    const double leftDb = RmsDb(in[0], 0, frames), rightDb = RmsDb(in[1], 0, frames);

    uint32_t sideChains = 0;
    const Planes separate = Compress(in, s, false, 441, true, &sideChains);
    EXPECT_EQ(sideChains, 2u);
    EXPECT_NEAR(RmsDb(separate[0], from, frames), leftDb + StaticReductionDb(leftDb, s), 0.1);
    EXPECT_NEAR(RmsDb(separate[1], from, frames), rightDb, 0.02);

    const Planes linked = Compress(in, s, true, 441, true, &sideChains);
    EXPECT_EQ(sideChains, 1u);
    const double meanDb = 10.0 * std::log10((std::pow(10.0, leftDb / 10.0) + std::pow(10.0, rightDb / 10.0)) / 2.0);
    EXPECT_NEAR(RmsDb(linked[0], from, frames), leftDb + StaticReductionDb(meanDb, s), 0.1);
    EXPECT_NEAR(RmsDb(linked[1], from, frames), rightDb + StaticReductionDb(meanDb, s), 0.1);
    // One gain for both: the per-sample ratio of output to input agrees.
    for (size_t i = from; i < frames; i += 97) {
        if (std::fabs(in[0][i]) > 1e-3f && std::fabs(in[1][i]) > 1e-4f) {
            EXPECT_NEAR(linked[0][i] / in[0][i], linked[1][i] / in[1][i], 1e-4);
        }
    }
}

TEST(OvCompressor, ZeroRangeChangesNothingAndBlockSizeDoesNotMatter)
{
    std::mt19937 rng(12345);
    std::uniform_real_distribution<float> noise(-0.5f, 0.5f);
    Planes in(2, Sine(20000, -3.0, 313.0));
    for (size_t i = 0; i < in[1].size(); ++i)
        in[1][i] = in[1][i] * ((i / 4000) % 2 ? 1.0f : 0.05f) + noise(rng);
    for (bool link : {false, true}) {
        const Settings zeroRange = {-40.0f, 20.0f, 0.001f, 0.05f, 0.0f};
        const Planes out = Compress(in, zeroRange, link, 333);
        for (uint32_t ch = 0; ch < 2; ++ch)
            for (size_t i = 0; i < in[ch].size(); ++i)
                ASSERT_NEAR(out[ch][i], in[ch][i], 1e-3f * std::fabs(in[ch][i]) + 1e-9f) << ch << " " << i;

        const Settings s = {-25.0f, 3.0f, 0.02f, 0.2f, -20.0f};
        const Planes whole = Compress(in, s, link, 2048);
        EXPECT_EQ(whole, Compress(in, s, link, 37)) << "link " << link;
        EXPECT_EQ(whole, Compress(in, s, link, 1)) << "link " << link;
    }
}

TEST(OvCompressor, LfeChannelIsLeftAloneWhenNotProcessed)
{
    const Settings s = {-30.0f, 8.0f, 0.01f, 0.01f, -60.0f};
    const Planes in(6, Sine(8192, -6.0, 997.0));
    for (bool link : {false, true}) {
        const Planes out = Compress(in, s, link, 1024, /*processLFE=*/false);
        EXPECT_EQ(out[5], in[5]);
        EXPECT_LT(RmsDb(out[0], 4096, 8192), -12.0);
    }
}

// The scalar form of one side chain over a whole signal of detector powers;
// returns the gains.
std::vector<float> ScalarGains(const std::vector<float>& power, const Settings& s)
{
    const float rms = expf(-1.0f / (0.02322f * float(kRate)));
    const float attack = expf(-2.2f / (s.attackS * float(kRate)));
    const float release = expf(-2.2f / (s.releaseS * float(kRate)));
    const float ratioFactor = 1.0f / s.ratio - 1.0f;
    float level = 0.0f, gainDb = 0.0f;
    std::vector<float> gains;
    for (const float p : power) {
        level = p + rms * (level - p);
        const float overDb = std::max(10.0f * OV::FastLog10(level) - s.thresholdDb, 0.0f);
        const float delta = gainDb - overDb;
        gainDb = (overDb - gainDb >= 0.0f) ? overDb + attack * delta : overDb + release * delta;
        gains.push_back(OV::FastPow10FromDb(std::max(s.rangeDb, gainDb * ratioFactor)));
    }
    return gains;
}

// The side chains run in vector lanes (channels, or frames when linked): each
// must give the scalar form's bits, in groups of four, the one left over, the
// remainder of a block, linked, and gathered from compressors with other
// settings.
TEST(OvCompressor, VectorSideChainsGiveTheScalarFormsBits)
{
    std::mt19937 rng(777);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    const size_t frames = 9001;
    Planes in(5, std::vector<float>(frames));
    for (uint32_t ch = 0; ch < 5; ++ch)
        for (size_t i = 0; i < frames; ++i)
            in[ch][i] = (i / (1500 + 300 * ch)) % 2 ? noise(rng) * (ch + 1) * 0.4f : 0.001f * noise(rng);
    // Attack faster than release, slower, instant (a coefficient of 0), a
    // range low enough for the power function's underflow to matter, and a
    // group mixing the first two.
    const Settings settings[] = {{-30.0f, 4.0f, 0.003f, 0.08f, -24.0f},
                                 {-12.0f, 1.5f, 0.5f, 0.05f, -6.0f},
                                 {-20.0f, 3.0f, 0.0f, 0.1f, -40.0f},
                                 {-800.0f, 1000.0f, 0.001f, 0.02f, -1000.0f}};
    const auto expected = [&](const std::vector<float>& x, const std::vector<float>& power, const Settings& s) {
        std::vector<float> y = ScalarGains(power, s);
        for (size_t i = 0; i < y.size(); ++i)
            y[i] *= x[i];
        return y;
    };
    const auto sameBits = [](const std::vector<float>& a, const std::vector<float>& b) {
        return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
    };
    std::vector<float> power[5], linkedPower(frames);
    for (uint32_t ch = 0; ch < 5; ++ch)
        for (size_t i = 0; i < frames; ++i)
            power[ch].push_back(in[ch][i] * in[ch][i] + 1e-25f);
    for (size_t i = 0; i < frames; ++i)
        linkedPower[i] = ((in[0][i] * in[0][i] + in[1][i] * in[1][i]) + in[2][i] * in[2][i]) * (1.0f / 3.0f) + 1e-25f;
    for (const Settings& s : settings) {
        for (uint32_t block : {1u, 5u, 9u, 61u, 1024u}) {
            const Planes lanes = Compress(in, s, false, block);
            for (uint32_t ch = 0; ch < 5; ++ch)
                EXPECT_TRUE(sameBits(lanes[ch], expected(in[ch], power[ch], s)))
                    << "attack " << s.attackS << ", block " << block << " channel " << ch;
            const Planes linked = Compress(Planes(in.begin(), in.begin() + 3), s, true, block);
            for (uint32_t ch = 0; ch < 3; ++ch)
                EXPECT_TRUE(sameBits(linked[ch], expected(in[ch], linkedPower, s)))
                    << "attack " << s.attackS << ", linked, block " << block << " channel " << ch;
        }
    }

    // Two mono compressors with different settings gathered into one group.
    OvCompressor cores[2];
    testsupport::PlanarBlock blocks[2] = {testsupport::PlanarBlock(1, 512), testsupport::PlanarBlock(1, 512)};
    Planes out[2];
    for (uint32_t k = 0; k < 2; ++k)
        ASSERT_EQ(cores[k].Init(OV::DefaultAllocator(), true, testsupport::PlanarFormat(1, kRate),
                                settings[k].attackS, settings[k].releaseS, false),
                  OV_Success);
    for (size_t start = 0; start + 512 <= frames; start += 512) {
        OvCompressor::Lane lanes[2];
        uint32_t n = 0;
        for (uint32_t k = 0; k < 2; ++k) {
            blocks[k].Load(Planes(1, in[k]), start, 512);
            const Settings& s = settings[k];
            n += cores[k].CollectLanes(lanes + n, 2 - n, &blocks[k].buffer, nullptr, s.thresholdDb, s.ratio,
                                       s.attackS, s.releaseS, s.rangeDb);
        }
        ASSERT_EQ(n, 2u);
        OvCompressor::RunLanes(lanes, n);
        for (uint32_t k = 0; k < 2; ++k)
            blocks[k].AppendTo(out[k], 512);
    }
    for (uint32_t k = 0; k < 2; ++k) {
        cores[k].Shutdown(OV::DefaultAllocator());
        const size_t done = out[k][0].size();
        const std::vector<float> x(in[k].begin(), in[k].begin() + done);
        const std::vector<float> p(power[k].begin(), power[k].begin() + done);
        EXPECT_TRUE(sameBits(out[k][0], expected(x, p, settings[k]))) << "compressor " << k;
    }
}

// The lane kernels, SSE2 groups of four and (where the processor has it) AVX
// groups of eight, against the scalar form: any lane count (full groups and
// those left over), block size, keyed or self detection, each smoother pick,
// a range low enough for the power function's underflow, and the gains
// around the core.
TEST(OvCompressor, LaneKernelsGiveTheScalarFormsBits)
{
    constexpr uint32_t kMaxLanes = 16;
    const size_t frames = 1200;
    std::mt19937 rng(4242);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    Planes in(kMaxLanes, std::vector<float>(frames)), key = in;
    for (uint32_t k = 0; k < kMaxLanes; ++k)
        for (size_t i = 0; i < frames; ++i) {
            in[k][i] = (i / (200 + 37 * k)) % 2 ? noise(rng) * 0.2f * float(1 + k % 5) : 0.001f * noise(rng);
            key[k][i] = (i / (150 + 23 * k)) % 2 ? noise(rng) : 0.01f * noise(rng);
        }
    // Each lane takes one of a pair: attack faster than release, slower, a
    // mix with an instant attack, and faster with a very low range.
    const Settings pairs[4][2] = {{{-30.0f, 4.0f, 0.003f, 0.08f, -24.0f}, {-20.0f, 2.0f, 0.01f, 0.2f, -12.0f}},
                                  {{-12.0f, 1.5f, 0.5f, 0.05f, -6.0f}, {-25.0f, 3.0f, 0.2f, 0.02f, -30.0f}},
                                  {{-20.0f, 3.0f, 0.0f, 0.1f, -40.0f}, {-12.0f, 1.5f, 0.5f, 0.05f, -6.0f}},
                                  {{-30.0f, 4.0f, 0.003f, 0.08f, -24.0f}, {-800.0f, 1000.0f, 0.001f, 0.02f, -1000.0f}}};
    const OvCompressor::GainsAround around = {1.41f, 0.79f};
    const auto coef = [](float seconds) { return expf(-2.2f / (seconds * float(kRate))); };
    for (const bool avx : {false, OvCompressor::HasAvxLanes()})
        for (const auto& pair : pairs)
            for (const OvCompressor::GainsAround* gains : {static_cast<const OvCompressor::GainsAround*>(nullptr),
                                                           &around})
                for (uint32_t count : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 10u, 16u})
                    for (uint32_t block : {1u, 2u, 5u, 9u, 256u}) {
                        SCOPED_TRACE(testing::Message() << "avx " << avx << ", attack " << pair[0].attackS
                                                        << ", gains " << (gains != nullptr) << ", " << count
                                                        << " lanes, block " << block);
                        const float pre = gains ? gains->fPre : 1.0f;
                        Planes out(in.begin(), in.begin() + count);
                        OvCompressor::SideChainState states[kMaxLanes] = {};
                        for (size_t start = 0; start < frames; start += block) {
                            const uint32_t n = uint32_t(std::min<size_t>(block, frames - start));
                            OvCompressor::Lane lanes[kMaxLanes];
                            for (uint32_t k = 0; k < count; ++k) {
                                const Settings& s = pair[k % 2];
                                float* pOut = out[k].data() + start;
                                lanes[k] = {pOut, k % 3 == 1 ? key[k].data() + start : pOut, &states[k], n,
                                            expf(-1.0f / (0.02322f * float(kRate))), coef(s.attackS),
                                            coef(s.releaseS), s.thresholdDb, 1.0f / s.ratio - 1.0f, s.rangeDb};
                            }
                            OvCompressor::RunLanesOn(avx, lanes, count, gains);
                        }
                        for (uint32_t k = 0; k < count; ++k) {
                            const std::vector<float>& detect = k % 3 == 1 ? key[k] : in[k];
                            std::vector<float> power(frames), expected(frames);
                            for (size_t i = 0; i < frames; ++i) {
                                const float x = gains ? detect[i] * pre : detect[i];
                                power[i] = x * x + 1e-25f;
                            }
                            const std::vector<float> g = ScalarGains(power, pair[k % 2]);
                            for (size_t i = 0; i < frames; ++i) {
                                const float y = (gains ? in[k][i] * pre : in[k][i]) * g[i];
                                expected[i] = gains ? 0.0f + gains->fPost * y : y;
                            }
                            ASSERT_EQ(std::memcmp(out[k].data(), expected.data(), frames * sizeof(float)), 0)
                                << "lane " << k;
                        }
                    }
}

// ProcessWithGains against the passes it replaces: pre gain on a copy, the
// core, and a mix at the post gain into a cleared block (which turns -0 into
// +0). The same bits, per channel and linked; an unprocessed LFE is left alone.
TEST(OvCompressor, GainsAppliedInPlaceGiveTheSeparatePassesBits)
{
    std::mt19937 rng(99);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    const size_t frames = 3000;
    Planes in(6, std::vector<float>(frames));
    for (auto& channel : in)
        for (size_t i = 0; i < frames; ++i)
            channel[i] = i % 7 == 3 ? -0.0f : noise(rng) * ((i / 700) % 2 ? 1.0f : 0.01f);
    const Settings s = {-30.0f, 4.0f, 0.003f, 0.08f, -24.0f};
    struct Gains {
        float pre, post;
    };
    for (const Gains g : {Gains{1.0f, 1.0f}, Gains{1.41f, 0.79f}}) {
        for (uint32_t channels : {1u, 2u, 6u}) {
            for (bool link : {false, true}) {
                const bool processLFE = channels != 6;
                const OvStreamFormat format = testsupport::PlanarFormat(channels, kRate);
                OvCompressor passes, inPlace;
                ASSERT_EQ(passes.Init(OV::DefaultAllocator(), processLFE, format, s.attackS, s.releaseS, link),
                          OV_Success);
                ASSERT_EQ(inPlace.Init(OV::DefaultAllocator(), processLFE, format, s.attackS, s.releaseS, link),
                          OV_Success);
                const uint32_t processed = processLFE ? channels : channels - 1;
                for (uint32_t block : {1u, 5u, 9u, 61u, 1024u}) {
                    SCOPED_TRACE(testing::Message() << channels << " channels, link " << link << ", block " << block
                                                    << ", pre " << g.pre);
                    testsupport::PlanarBlock a(channels, block), b(channels, block);
                    for (size_t start = 0; start < frames; start += block) {
                        const uint32_t n = uint32_t(std::min<size_t>(block, frames - start));
                        a.Load(in, start, n);
                        b.Load(in, start, n);
                        for (uint32_t c = 0; c < channels; ++c)
                            OV::ApplyGainRamp(a.Channel(c), g.pre, g.pre, n);
                        passes.Process(&a.buffer, s.thresholdDb, s.ratio, s.attackS, s.releaseS, s.rangeDb);
                        ASSERT_EQ(inPlace.ProcessWithGains(&b.buffer, g.pre, g.post, s.thresholdDb, s.ratio,
                                                           s.attackS, s.releaseS, s.rangeDb),
                                  processed);
                        for (uint32_t c = 0; c < processed; ++c) {
                            std::vector<float> mixed(n, 0.0f);
                            OV::Mix2InterpAnyLength(mixed.data(), a.Channel(c), 1.0f, 1.0f, g.post, g.post, n);
                            ASSERT_EQ(std::memcmp(mixed.data(), b.Channel(c), n * sizeof(float)), 0)
                                << "channel " << c << " at " << start;
                        }
                        for (uint32_t c = processed; c < channels; ++c)
                            ASSERT_EQ(std::memcmp(in[c].data() + start, b.Channel(c), n * sizeof(float)), 0);
                    }
                }
                passes.Shutdown(OV::DefaultAllocator());
                inPlace.Shutdown(OV::DefaultAllocator());
            }
        }
    }
}

}  // namespace
