// The reverb's sample primitives against their closed forms: the allpass's
// flat magnitude and its wrap, the mixdown's constant power, the DC blocker's
// rejection, and the three-input mix's ramp.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>
#include <vector>

#include "ov/OvMemAllocDefault.h"
#include "sdk/dsp/reverb/AllpassFilter.h"
#include "sdk/dsp/reverb/ConstantPowerChannelMixdown.h"
#include "sdk/dsp/reverb/DcBlocker.h"
#include "sdk/dsp/reverb/Mix3Interp.h"
#include "support/OvPluginHarness.h"

namespace {

TEST(ReverbPrimitives, AllpassPassesEveryFrequencyAtUnitGain)
{
    for (uint32_t length : {1u, 7u, 211u}) {
        AllpassFilter allpass;
        ASSERT_EQ(allpass.Init(OV::DefaultAllocator(), length, 0.6f), OV_Success);
        allpass.Reset();
        std::vector<float> ir(8192, 0.0f);
        ir[0] = 1.0f;
        // In pieces that end exactly on the end of the history, and beyond.
        for (size_t at = 0; at < ir.size(); at += length)
            allpass.ProcessBuffer(ir.data() + at, uint32_t(std::min<size_t>(length, ir.size() - at)));
        EXPECT_EQ(allpass.uCurOffset, ir.size() % length);
        for (double f : {0.01, 0.13, 0.31, 0.49}) {
            std::complex<double> h = 0.0;
            for (size_t n = 0; n < ir.size(); ++n)
                h += double(ir[n]) * std::polar(1.0, -2.0 * M_PI * f * double(n));
            EXPECT_NEAR(std::abs(h), 1.0, 1e-3) << length << ", " << f;
        }
        allpass.Term(OV::DefaultAllocator());
    }
}

TEST(ReverbPrimitives, MixdownKeepsThePowerOfAllChannels)
{
    struct Case {
        uint32_t channels;
        float center, lfe;
        std::vector<float> gains;  // expected per channel
    };
    const float h = std::sqrt(0.5f);
    const std::vector<Case> cases = {
        {1, 1.0f, 1.0f, {1.0f}},
        {1, 4.0f, 1.0f, {1.0f}},   // a centre level above 1 counts as 1
        {1, 0.0f, 1.0f, {0.0f}},   // no power at all: silence, not NaN
        {2, 1.0f, 1.0f, {h, h}},
        {6, 0.5f, 0.0f, {1 / std::sqrt(4.25f), 1 / std::sqrt(4.25f), 0.5f / std::sqrt(4.25f), 1 / std::sqrt(4.25f),
                         1 / std::sqrt(4.25f), 0.0f}},
    };
    for (const Case& c : cases) {
        testsupport::PlanarBlock block(c.channels, 255);
        for (uint32_t ch = 0; ch < c.channels; ++ch)
            for (uint32_t i = 0; i < 255; ++i)
                block.Channel(ch)[i] = float(1 << ch);
        // 255 frames into a buffer of exactly 255: nothing past its end.
        std::vector<float> mono(256, 7.0f);
        OV::ConstantPowerChannelMixdown(block.buffer, 255, 0, mono.data(), c.center, c.lfe);
        float expected = 0.0f;
        for (uint32_t ch = 0; ch < c.channels; ++ch)
            expected += c.gains[ch] * float(1 << ch);
        EXPECT_NEAR(mono[254], expected, 1e-5f) << c.channels << " channels";
        EXPECT_EQ(mono[255], 7.0f);
    }
}

TEST(ReverbPrimitives, DcBlockerRemovesDcAndPassesTheBand)
{
    DcBlocker blocker;
    blocker.Init(40.0f, 48000);
    std::vector<float> x(48000);
    for (size_t i = 0; i < x.size(); ++i)
        x[i] = 0.5f + 0.25f * std::sin(2.0f * float(M_PI) * 1000.0f * float(i) / 48000.0f);
    blocker.ProcessBuffer(x.data(), uint32_t(x.size()), 2.0f);
    double mean = 0.0, power = 0.0;
    for (size_t i = 24000; i < x.size(); ++i)
        mean += x[i], power += double(x[i]) * x[i];
    mean /= 24000.0;
    EXPECT_NEAR(mean, 0.0, 1e-3);
    EXPECT_NEAR(std::sqrt(power / 24000.0), 0.5 / std::sqrt(2.0), 0.01);  // the 1 kHz tone at the input gain
}

TEST(ReverbPrimitives, Mix3RampsEveryGainWhenOneDiffers)
{
    std::vector<float> io(10, 1.0f), a(10, 1.0f), b(10, 1.0f);
    // Only the second input's gain moves; all three ramp, and the last sample stops one step short.
    OV::Mix3Interp(io.data(), a.data(), b.data(), 1.0f, 1.0f, 0.5f, 0.5f, 0.0f, 1.0f, 10);
    EXPECT_FLOAT_EQ(io[0], 1.5f);
    EXPECT_FLOAT_EQ(io[9], 1.5f + 0.9f);
}

TEST(ReverbPrimitives, FourSampleStepsMatchTheDefiningFormsBitForBit)
{
    // Pieces of 1 to 9 samples and longer, from a start off the 16-byte grid;
    // the allpass's short history wraps inside pieces.
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    const uint32_t total = 2000;
    std::vector<float> x(total + 1), y(total + 1);
    for (float& v : x)
        v = noise(rng);
    auto pieces = [&](auto&& run) {
        for (uint32_t at = 1, k = 0; at <= total; ++k) {
            const uint32_t n = std::min(total + 1 - at, k % 4 ? 1 + k % 9 : 40 + k % 23);
            run(at, n);
            at += n;
        }
    };
    for (uint32_t length : {1u, 3u, 13u, 211u}) {
        AllpassFilter allpass;
        ASSERT_EQ(allpass.Init(OV::DefaultAllocator(), length, 0.6f), OV_Success);
        allpass.Reset();
        pieces([&](uint32_t at, uint32_t n) { allpass.ProcessBuffer(x.data() + at, y.data() + at, n); });
        for (uint32_t n = 1; n <= total; ++n) {
            const float px = n > length ? x[n - length] : 0.0f, py = n > length ? y[n - length] : 0.0f;
            ASSERT_EQ(y[n], 0.6f * (x[n] - py) + px) << length << ", " << n;
        }
        allpass.Term(OV::DefaultAllocator());
    }
    // DC blockers in pairs against each on its own.
    for (uint32_t count : {1u, 2u, 5u, 6u}) {
        std::vector<std::vector<float>> side(count, x), alone(count, x);
        DcBlocker pairs[6], single[6];
        std::vector<float*> pointers(count);
        for (uint32_t b = 0; b < count; ++b) {
            pairs[b].Init(20.0f + 10.0f * float(b), 44100);
            single[b] = pairs[b];
            single[b].ProcessBuffer(alone[b].data() + 1, total, 0.7f);
        }
        pieces([&](uint32_t at, uint32_t n) {
            for (uint32_t b = 0; b < count; ++b)
                pointers[b] = side[b].data() + at;
            DcBlocker::ProcessSideBySide(pairs, pointers.data(), count, n, 0.7f);
        });
        for (uint32_t b = 0; b < count; ++b)
            ASSERT_EQ(side[b], alone[b]) << count << " blockers, " << b;
    }
    // The fixed-gain mixes.
    for (uint32_t n = 1; n <= 9; ++n) {
        std::vector<float> io(x.begin(), x.begin() + n + 1), expected = io;
        const float* a = y.data() + 1;
        const float* b = y.data() + 2;
        OV::Mix3Interp(io.data() + 1, a, b, 0.3f, 0.3f, -0.7f, -0.7f, 1.1f, 1.1f, n);
        for (uint32_t i = 0; i < n; ++i)
            ASSERT_EQ(io[i + 1], 0.3f * expected[i + 1] + -0.7f * a[i] + 1.1f * b[i]) << n << ", " << i;
        testsupport::PlanarBlock block(2, 16);
        for (uint32_t c = 0; c < 2; ++c)
            for (uint32_t i = 0; i < 16; ++i)
                block.Channel(c)[i] = x[16 * c + i];
        std::vector<float> mono(n);
        OV::ConstantPowerChannelMixdown(block.buffer, n, 1, mono.data(), 1.0f, 1.0f);
        const float g = std::sqrt(1.0f / 2.0f);
        for (uint32_t i = 0; i < n; ++i)
            ASSERT_EQ(mono[i], (0.0f + g * x[i + 1]) + g * x[16 + i + 1]) << n << ", " << i;
    }
}

}  // namespace
