// The compressor core measured from outside: steady levels against the
// static curve, 10-90 % attack and release times, linked against per-channel
// detection, the keyed detector, and block-size invariance.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "ov/OvMemAllocDefault.h"
#include "sdk/dsp/OvCompressor.h"
#include "support/PlanarTestBuffer.h"

namespace {

using testsupport::PlanarTestBuffer;
using testsupport::TestStreamFormat;
using Signal = std::vector<std::vector<float>>;

constexpr uint32_t kRate = 44100;
constexpr double kPi = 3.14159265358979323846;

struct Settings {
    float thresholdDb;
    float ratio;
    float attackS;
    float releaseS;
    float rangeDb;
};

// Expected reduction in dB of a steady signal at levelDb (RMS, dBFS).
double StaticReductionDb(double levelDb, const Settings& s)
{
    const double overDb = std::max(levelDb - s.thresholdDb, 0.0);
    return std::max(double(s.rangeDb), overDb * (1.0 / s.ratio - 1.0));
}

Signal Sine(uint32_t channels, size_t frames, double rmsDb, double hz)
{
    const double amplitude = std::sqrt(2.0) * std::pow(10.0, rmsDb / 20.0);
    Signal signal(channels, std::vector<float>(frames));
    for (size_t i = 0; i < frames; ++i)
        for (uint32_t c = 0; c < channels; ++c)
            signal[c][i] = float(amplitude * std::sin(2.0 * kPi * hz * double(i) / kRate));
    return signal;
}

double RmsDb(const std::vector<float>& x, size_t start, size_t end)
{
    double sum = 0.0;
    for (size_t i = start; i < end; ++i)
        sum += double(x[i]) * x[i];
    return 10.0 * std::log10(sum / double(end - start));
}

// Runs a whole signal through the compressor in blocks of blockFrames (the
// last one shorter); keyed when key is given.
Signal RunThrough(OvCompressor& compressor, const Signal& input, const Settings& s, uint32_t blockFrames,
           const Signal* key = nullptr)
{
    const uint32_t channels = uint32_t(input.size());
    Signal output = input;
    PlanarTestBuffer block(channels, blockFrames);
    PlanarTestBuffer keyBlock(channels, blockFrames);
    const size_t frames = input[0].size();
    for (size_t start = 0; start < frames; start += blockFrames) {
        const uint32_t n = uint32_t(std::min<size_t>(blockFrames, frames - start));
        block.Load(input, start, n);
        if (key) {
            keyBlock.Load(*key, start, n);
            compressor.ProcessWithKey(&block.buffer, &keyBlock.buffer, s.thresholdDb, s.ratio,
                                      s.attackS, s.releaseS, s.rangeDb);
        } else {
            compressor.Process(&block.buffer, s.thresholdDb, s.ratio, s.attackS, s.releaseS,
                               s.rangeDb);
        }
        block.Store(output, start);
    }
    return output;
}

class Compressor {
public:
    Compressor(uint32_t channels, bool link, float attackS = 0.01f, float releaseS = 0.01f,
               bool processLFE = true)
    {
        result = core.Init(OV::DefaultAllocator(), processLFE, TestStreamFormat(channels, kRate),
                           attackS, releaseS, link);
    }
    ~Compressor() { core.Shutdown(OV::DefaultAllocator()); }
    OvCompressor core;
    OvResult result;
};

TEST(OvCompressor, SteadySineLevelFollowsThresholdRatioAndRange)
{
    const Settings cases[] = {
        {-20.0f, 4.0f, 0.01f, 0.01f, -60.0f},
        {-30.0f, 2.0f, 0.01f, 0.01f, -60.0f},
        {-10.0f, 10.0f, 0.01f, 0.01f, -60.0f},
        {-30.0f, 4.0f, 0.01f, 0.01f, -6.0f},  // the range limits the reduction
        {-30.0f, 1.0f, 0.01f, 0.01f, -60.0f}, // ratio 1 changes nothing
    };
    const double levelsDb[] = {-45.0, -25.0, -15.0, -6.0, -1.0};
    const size_t frames = kRate;  // 1 s; the last 0.4 s is measured
    for (bool link : {false, true}) {
        for (const Settings& s : cases) {
            for (double levelDb : levelsDb) {
                const uint32_t channels = link ? 2 : 1;
                Compressor c(channels, link, s.attackS, s.releaseS);
                ASSERT_EQ(c.result, OV_Success);
                const Signal in = Sine(channels, frames, levelDb, 997.0);
                const Signal out = RunThrough(c.core, in, s, 512);
                const double expectedDb = levelDb + StaticReductionDb(levelDb, s);
                for (uint32_t ch = 0; ch < channels; ++ch)
                    EXPECT_NEAR(RmsDb(out[ch], frames * 6 / 10, frames), expectedDb, 0.1)
                        << "link " << link << " threshold " << s.thresholdDb << " ratio "
                        << s.ratio << " range " << s.rangeDb << " level " << levelDb;
            }
        }
    }
}

// Gain reduction in dB per sample of a DC input (no detector ripple).
std::vector<double> ReductionDb(const Signal& in, const Signal& out)
{
    std::vector<double> r(in[0].size());
    for (size_t i = 0; i < r.size(); ++i)
        r[i] = 20.0 * std::log10(double(out[0][i]) / in[0][i]);
    return r;
}

// Time in seconds from the first crossing of a to the first crossing of b
// after sample start, for a curve moving monotonically from a towards b.
double CrossingTime(const std::vector<double>& r, size_t start, double a, double b)
{
    const bool falling = b < a;
    auto crossed = [&](double v, double level) { return falling ? v <= level : v >= level; };
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
    // ratio 2 the reduction moves between 0 and -10 dB.
    // The RMS detector falls at about 190 dB/s, so that releases much shorter
    // than the 0.1 s it takes to fall 20 dB cannot be seen apart from it.
    const float attackTimes[] = {0.05f, 0.2f, 1.0f};
    const float releaseTimes[] = {0.25f, 0.5f, 2.0f};
    for (float attackS : attackTimes) {
        for (float releaseS : releaseTimes) {
            const Settings s = {-20.0f, 2.0f, attackS, releaseS, -60.0f};
            Compressor c(1, false, attackS, releaseS);
            const size_t quiet = kRate / 2;
            const size_t loud = size_t(kRate * 4.0 * attackS) + kRate / 5;
            const size_t after = size_t(kRate * 4.0 * releaseS) + kRate / 5;
            Signal in(1, std::vector<float>(quiet + loud + after, std::pow(10.0f, -30.0f / 20.0f)));
            std::fill(in[0].begin() + quiet, in[0].begin() + quiet + loud, 1.0f);
            const std::vector<double> r = ReductionDb(in, RunThrough(c.core, in, s, 1024));
            EXPECT_NEAR(r[quiet + loud - 1], -10.0, 0.1);
            EXPECT_NEAR(r.back(), 0.0, 0.1);
            // The detector's own 23 ms adds a little to each.
            EXPECT_NEAR(CrossingTime(r, quiet, -1.0, -9.0), attackS, 0.05 * attackS + 0.01)
                << "attack " << attackS;
            EXPECT_NEAR(CrossingTime(r, quiet + loud, -9.0, -1.0), releaseS,
                        0.05 * releaseS + 0.01)
                << "release " << releaseS;
        }
    }
}

TEST(OvCompressor, LinkedDetectsMeanPowerPerChannelDetectsEach)
{
    // Left well over the threshold, right under it.
    const Settings s = {-20.0f, 4.0f, 0.01f, 0.01f, -60.0f};
    const size_t frames = kRate;
    Signal in = Sine(2, frames, -5.0, 997.0);
    const Signal right = Sine(1, frames, -35.0, 1499.0);
    in[1] = right[0];
    const double leftDb = RmsDb(in[0], 0, frames), rightDb = RmsDb(in[1], 0, frames);
    const size_t from = frames * 6 / 10;

    Compressor separate(2, false);
    EXPECT_EQ(separate.core.GetNumSideChain(), 2u);
    const Signal outSeparate = RunThrough(separate.core, in, s, 441);
    EXPECT_NEAR(RmsDb(outSeparate[0], from, frames), leftDb + StaticReductionDb(leftDb, s), 0.1);
    EXPECT_NEAR(RmsDb(outSeparate[1], from, frames), rightDb, 0.02);

    Compressor linked(2, true);
    EXPECT_EQ(linked.core.GetNumSideChain(), 1u);
    const Signal outLinked = RunThrough(linked.core, in, s, 441);
    const double meanDb =
        10.0 * std::log10((std::pow(10.0, leftDb / 10.0) + std::pow(10.0, rightDb / 10.0)) / 2.0);
    const double reductionDb = StaticReductionDb(meanDb, s);
    EXPECT_NEAR(RmsDb(outLinked[0], from, frames), leftDb + reductionDb, 0.1);
    EXPECT_NEAR(RmsDb(outLinked[1], from, frames), rightDb + reductionDb, 0.1);
    // One gain for both: the per-sample ratio of output to input agrees.
    for (size_t i = from; i < frames; i += 97) {
        if (std::fabs(in[0][i]) > 1e-3f && std::fabs(in[1][i]) > 1e-4f) {
            EXPECT_NEAR(outLinked[0][i] / in[0][i], outLinked[1][i] / in[1][i], 1e-4);
        }
    }
}

TEST(OvCompressor, ZeroRangeChangesNothing)
{
    const Settings s = {-40.0f, 20.0f, 0.001f, 0.05f, 0.0f};
    for (bool link : {false, true}) {
        Compressor c(2, link);
        Signal in = Sine(2, kRate / 2, -3.0, 440.0);
        uint32_t seed = 12345;
        for (auto& ch : in)
            for (float& x : ch) {
                seed = seed * 1664525u + 1013904223u;
                x += float(seed >> 8) / float(1 << 24) - 0.5f;
            }
        const Signal out = RunThrough(c.core, in, s, 333);
        for (uint32_t ch = 0; ch < 2; ++ch)
            for (size_t i = 0; i < in[ch].size(); ++i)
                ASSERT_NEAR(out[ch][i], in[ch][i], 1e-3f * std::fabs(in[ch][i]) + 1e-9f)
                    << "channel " << ch << " frame " << i;
    }
}

TEST(OvCompressor, KeyDrivesTheGainOfTheSignal)
{
    const Settings s = {-30.0f, 4.0f, 0.01f, 0.01f, -60.0f};
    const size_t frames = kRate;
    const size_t from = frames * 6 / 10;
    const Signal quiet = Sine(1, frames, -40.0, 997.0);
    const Signal loud = Sine(1, frames, -10.0, 211.0);
    const Signal silent(1, std::vector<float>(frames, 0.0f));

    Compressor byLoudKey(1, true);
    const Signal out1 = RunThrough(byLoudKey.core, quiet, s, 512, &loud);
    EXPECT_NEAR(RmsDb(out1[0], from, frames), -40.0 + StaticReductionDb(-10.0, s), 0.15);

    Compressor bySilentKey(1, true);
    const Signal out2 = RunThrough(bySilentKey.core, loud, s, 512, &silent);
    EXPECT_NEAR(RmsDb(out2[0], from, frames), -10.0, 0.02);
}

TEST(OvCompressor, BlockSizeDoesNotChangeTheOutput)
{
    const Settings s = {-25.0f, 3.0f, 0.02f, 0.2f, -20.0f};
    Signal in = Sine(2, 20000, -6.0, 313.0);
    for (size_t i = 0; i < in[1].size(); ++i)
        in[1][i] *= (i / 4000) % 2 ? 1.0f : 0.05f;
    for (bool link : {false, true}) {
        Compressor whole(2, link), pieces(2, link), single(2, link);
        const Signal a = RunThrough(whole.core, in, s, 2048);
        const Signal b = RunThrough(pieces.core, in, s, 37);
        const Signal c = RunThrough(single.core, in, s, 1);
        for (uint32_t ch = 0; ch < 2; ++ch) {
            EXPECT_EQ(a[ch], b[ch]) << "channel " << ch;
            EXPECT_EQ(a[ch], c[ch]) << "channel " << ch;
        }
    }
}

TEST(OvCompressor, LfeChannelIsLeftAloneWhenNotProcessed)
{
    const Settings s = {-30.0f, 8.0f, 0.01f, 0.01f, -60.0f};
    for (bool link : {false, true}) {
        Compressor c(6, link, 0.01f, 0.01f, /*processLFE=*/false);
        EXPECT_EQ(c.core.GetNumProcessedChannels(), 5u);
        EXPECT_EQ(c.core.GetNumSideChain(), link ? 1u : 5u);
        const Signal in = Sine(6, 8192, -6.0, 997.0);
        const Signal out = RunThrough(c.core, in, s, 1024);
        EXPECT_EQ(out[5], in[5]);
        EXPECT_LT(RmsDb(out[0], 4096, 8192), -12.0);
    }
}

}  // namespace
