// The reverb's sample primitives against their closed forms: the allpass's
// flat magnitude and its wrap, the mixdown's constant power, the DC blocker's
// rejection, and the three-input mix's ramp.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
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

}  // namespace
