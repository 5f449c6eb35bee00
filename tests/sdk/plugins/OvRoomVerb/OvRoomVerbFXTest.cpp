// The room reverb plug-in measured from outside: its delay lengths at the
// defaults, the decay time of its impulse response, where the early
// reflections land, the length of its tail, its layouts, and its output
// under any setting a host may send.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "sdk/plugins/OvRoomVerb/OvRoomVerbFX.h"
#include "sdk/plugins/OvRoomVerb/OvRoomVerbFXParams.h"
#include "support/OvPluginHarness.h"
#include "support/RecordingAssertHook.h"

namespace {

using Rig = testsupport::OvPluginHarness<OvRoomVerbFX, OvRoomVerbFXParams>;
using testsupport::Planes;

constexpr float kSilenceDb = -96.3f;

// Reverb body alone: no ER, dry and ER silent, reverb at 0 dB (-3 dB stored).
void BodyOnly(Rig& rig)
{
    rig.Set(OV_ROOMVERBFXPARAM_ERENABLE_ID, uint8_t(0));
    rig.Set(OV_ROOMVERBFXPARAM_OUTPUTLEVEL_DRY_ID, kSilenceDb);
    rig.Set(OV_ROOMVERBFXPARAM_OUTPUTLEVEL_ER_ID, kSilenceDb);
    rig.Set(OV_ROOMVERBFXPARAM_OUTPUTLEVEL_REVERB_ID, 0.0f);
}

// Decay time from the Schroeder backward integral, fitted from -5 to -35 dB.
double MeasureRt60(const std::vector<float>& ir, double rate)
{
    std::vector<double> energy(ir.size() + 1, 0.0);
    for (size_t i = ir.size(); i-- > 0;)
        energy[i] = energy[i + 1] + double(ir[i]) * ir[i];
    double sx = 0, sy = 0, sxx = 0, sxy = 0, count = 0;
    for (size_t i = 0; i < ir.size(); ++i) {
        const double db = 10.0 * std::log10(energy[i] / energy[0] + 1e-300);
        if (db > -5.0 || db < -35.0)
            continue;
        const double t = double(i) / rate;
        sx += t, sy += db, sxx += t * t, sxy += t * db, ++count;
    }
    const double slope = (count * sxy - sx * sy) / (count * sxx - sx * sx);  // dB per second
    return -60.0 / slope;
}

TEST(OvRoomVerbFX, DefaultsGiveTheKnownDelayLengthsAt48k)
{
    Rig rig(2, 48000, 1024);
    ASSERT_TRUE(rig.ok);
    const OvRoomVerbFX& fx = *rig.plugin;
    ASSERT_EQ(fx.NumReverbUnits(), 8u);
    std::vector<uint32_t> lines;
    for (uint32_t u = 0; u < 8; ++u) {
        for (const DelayLine& line : fx.Unit(u).m_lines)
            lines.push_back(line.uDelayLineLength);
        // Each unit's fourth line is its longest.
        EXPECT_EQ(fx.Unit(u).m_lines[3].uDelayLineLength, lines.back());
        EXPECT_LT(fx.Unit(u).m_lines[2].uDelayLineLength, lines.back());
        // Its input delay comes out at 3 or 4 samples and the line raises it to 4.
        EXPECT_EQ(fx.Unit(u).m_inputDelay.uDelayLineLength, 4u);
    }
    std::sort(lines.begin(), lines.end());
    const std::vector<uint32_t> expected = {1627, 1657, 1663, 1693, 1709, 1759, 1777, 1801, 1823, 1847, 1871,
                                            1901, 1913, 1973, 1979, 2017, 2039, 2081, 2089, 2099, 2129, 2153,
                                            2179, 2221, 2237, 2281, 2287, 2333, 2351, 2371, 2377, 2437};
    EXPECT_EQ(lines, expected);
    const uint32_t allpasses[4] = {211, 313, 499, 733};
    for (uint32_t i = 0; i < 4; ++i)
        EXPECT_EQ(fx.Allpass(i).uDelayLineLength, allpasses[i]);

    // Diffusion fades the allpasses in from the longest: 0 gives pure delays,
    // 25 only the longest at full gain.
    for (float diffusion : {0.0f, 25.0f}) {
        rig.Set(OV_ROOMVERBFXPARAM_DIFFUSION_ID, diffusion);
        rig.Run(16);
        for (uint32_t i = 0; i < 4; ++i)
            EXPECT_FLOAT_EQ(fx.Allpass(i).fGain, diffusion == 25.0f && i == 3 ? 0.61803f : 0.0f) << diffusion;
    }
}

TEST(OvRoomVerbFX, ImpulseResponseDecaysBy60DbInTheDecayTime)
{
    for (uint32_t rate : {44100u, 48000u})
        for (float decay : {0.5f, 1.2f, 3.0f}) {
            SCOPED_TRACE(testing::Message() << rate << " Hz, " << decay << " s");
            Rig rig(2, rate, 2048);
            ASSERT_TRUE(rig.ok);
            BodyOnly(rig);
            rig.Set(OV_ROOMVERBFXPARAM_HFDAMPING_ID, 1.0f);
            rig.Set(OV_ROOMVERBFXPARAM_DECAYTIME_ID, decay);
            const std::vector<float> ir = rig.Impulse(size_t(1.3 * decay * rate) + rate / 10);
            EXPECT_NEAR(MeasureRt60(ir, rate), decay, 0.1 * decay);
        }

    // Damping above 1: the highs die away faster than the lows.
    const uint32_t rate = 48000;
    Rig rig(2, rate, 2048);
    BodyOnly(rig);
    rig.Set(OV_ROOMVERBFXPARAM_HFDAMPING_ID, 3.0f);
    rig.Set(OV_ROOMVERBFXPARAM_DECAYTIME_ID, 2.0f);
    const std::vector<float> ir = rig.Impulse(3 * rate);
    // Fourth-order one-pole cascades: below 300 Hz and above 6 kHz.
    auto band = [&](bool high) {
        std::vector<float> y = ir;
        const double c = std::exp(-2.0 * M_PI * (high ? 6000.0 : 300.0) / rate);
        for (int pass = 0; pass < 4; ++pass) {
            double low = 0.0;
            for (float& v : y) {
                low = (1.0 - c) * v + c * low;
                v = float(high ? v - low : low);
            }
        }
        return y;
    };
    const double lowRt = MeasureRt60(band(false), rate), highRt = MeasureRt60(band(true), rate);
    EXPECT_LT(highRt, 0.6 * lowRt) << "low " << lowRt << " s, high " << highRt << " s";
}

// Where the taps of a side land: the pattern's first tap is the pre-delay,
// the others fall on groups of four samples after it, the first of a group
// winning.
struct Tap {
    int steps;  // of 1/48 ms
    float gain;
};

TEST(OvRoomVerbFX, EarlyReflectionsLandOnThePatternsTaps)
{
    // The published leading taps: pattern 9's left set, pattern 23's first six per side.
    const std::vector<Tap> cathedral = {{3163, 0.5938f}, {3235, 0.676f},  {3307, -0.3875f}, {3379, 0.2215f},
                                        {3451, -0.1256f}, {7234, 0.2293f}, {7306, 0.2637f}, {7378, -0.1503f}};
    const std::vector<Tap> largeRoom = {{1332, 0.3889f}, {1333, 0.1218f}, {1334, 0.0528f},
                                        {1404, 0.6202f}, {1405, 0.1948f}, {1406, 0.0851f}};
    const std::vector<Tap> largeRoomRight = {{1332, 0.5332f}, {1333, 0.1678f}, {1334, 0.0729f},
                                             {1476, 0.3428f}, {1477, 0.1075f}, {1548, -0.2732f}};
    struct Case {
        uint32_t pattern;
        const std::vector<Tap>& taps;
        bool right;
        int firstSteps;  // the pattern's earliest tap on either side
    };
    const Case cases[] = {{9, cathedral, false, 3163}, {23, largeRoom, false, 1332}, {23, largeRoomRight, true, 1332}};
    const float erDb = -6.0f;
    for (uint32_t rate : {48000u, 44100u})
        for (const Case& c : cases) {
            SCOPED_TRACE(testing::Message() << "pattern " << c.pattern << (c.right ? " right" : " left") << ", "
                                            << rate << " Hz");
            Rig rig(2, rate, 512);
            rig.Set(OV_ROOMVERBFXPARAM_PATTERN_ID, c.pattern);
            rig.Set(OV_ROOMVERBFXPARAM_OUTPUTLEVEL_DRY_ID, kSilenceDb);
            rig.Set(OV_ROOMVERBFXPARAM_OUTPUTLEVEL_REVERB_ID, kSilenceDb);
            rig.Set(OV_ROOMVERBFXPARAM_OUTPUTLEVEL_ER_ID, erDb);
            rig.Run(64);  // a silent block takes the levels, which ramp over it
            // An impulse on one channel: the constant-power mix of stereo gives it 1/sqrt(2).
            const size_t length = size_t(0.2 * rate);
            Planes input(2, std::vector<float>(length, 0.0f));
            input[c.right ? 1 : 0][0] = 1.0f;
            const Planes out = rig.Run(input, [](size_t) { return 512u; });
            const std::vector<float>& y = out[c.right ? 1 : 0];
            const double mixGain = std::sqrt(0.5) * std::pow(10.0, erDb / 20.0);
            const size_t preDelay = size_t(int64_t(c.firstSteps) * rate / 48000);
            int64_t previous = -1;
            for (const Tap& tap : c.taps) {
                // Exact: steps * rate / 48000 samples after the first tap.
                const int64_t offset = (int64_t(tap.steps - c.firstSteps) * rate / 48000) & ~int64_t(3);
                if (offset == previous)
                    continue;  // shares its group with the tap before
                previous = offset;
                EXPECT_NEAR(y[preDelay + size_t(offset)], mixGain * tap.gain, 1e-3) << "tap at " << tap.steps;
            }
            // Nothing arrives before the first tap.
            for (size_t i = 0; i < preDelay; ++i)
                ASSERT_LT(std::fabs(y[i]), 1e-4f) << i;
        }
}

TEST(OvRoomVerbFX, TailIsPreDelayPlusDecayTimeAndDryIsUndelayed)
{
    struct Case {
        uint32_t rate;
        float preDelayMs, decay;
        uint32_t expectedTail;  // trunc((PreDelay / 1000 + DecayTime) * rate)
    };
    const Case cases[] = {{48000, 25.0f, 1.2f, 58800}, {44100, 10.0f, 0.5f, 22491}, {96000, 0.0f, 2.0f, 192000}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.rate << " Hz");
        Rig rig(2, c.rate, 1000);
        rig.Set(OV_ROOMVERBFXPARAM_ERENABLE_ID, uint8_t(0));
        rig.Set(OV_ROOMVERBFXPARAM_PREDELAY_ID, c.preDelayMs);
        rig.Set(OV_ROOMVERBFXPARAM_DECAYTIME_ID, c.decay);
        rig.Set(OV_ROOMVERBFXPARAM_OUTPUTLEVEL_DRY_ID, 0.0f);
        rig.Set(OV_ROOMVERBFXPARAM_OUTPUTLEVEL_REVERB_ID, 0.0f);
        std::mt19937 rng(5);
        std::uniform_real_distribution<float> noise(-0.5f, 0.5f);
        Planes input(2, std::vector<float>(5003));
        for (auto& ch : input)
            for (float& x : ch)
                x = noise(rng);
        const Planes out = rig.Run(input, [](size_t b) { return 997u + 3u * uint32_t(b % 2); });
        EXPECT_EQ(out[0].size(), input[0].size() + c.expectedTail);
        // Up to the pre-delay the wet path is silent and the dry passes as it is.
        const size_t preDelay = size_t(c.preDelayMs * c.rate / 1000.0f);
        for (size_t i = 0; i < preDelay; ++i)
            ASSERT_EQ(out[0][i], input[0][i]) << i;
        double wet = 0.0;
        for (size_t i = input[0].size(); i < out[0].size(); ++i)
            wet += double(out[0][i]) * out[0][i];
        EXPECT_GT(wet, 1.0);
    }
}

TEST(OvRoomVerbFX, LayoutsFromMonoTo8ChannelsAndPassThroughBeyond)
{
    // Channels that carry reverb (by index) for each count; 9 channels have no layout.
    const std::vector<std::vector<uint32_t>> wetChannels = {
        {0}, {0, 1}, {0, 1}, {0, 1, 2, 3}, {0, 1, 2, 3, 4}, {0, 1, 2, 3, 4}, {0, 1, 2, 3, 4, 5, 6},
        {0, 1, 2, 3, 4, 5, 6}, {}};
    testsupport::RecordingAssertHook asserts;
    for (uint32_t channels = 1; channels <= 9; ++channels) {
        SCOPED_TRACE(testing::Message() << channels << " channels");
        Rig rig(channels, 44100, 300);
        ASSERT_TRUE(rig.ok);
        rig.Set(OV_ROOMVERBFXPARAM_DECAYTIME_ID, 0.3f);
        rig.Set(OV_ROOMVERBFXPARAM_OUTPUTLEVEL_ER_ID, 0.0f);
        rig.Set(OV_ROOMVERBFXPARAM_OUTPUTLEVEL_REVERB_ID, 0.0f);
        Planes input(channels, std::vector<float>(4410, 0.0f));
        for (auto& ch : input)
            ch[0] = 1.0f;
        const Planes out = rig.Run(input, [](size_t) { return 300u; });
        for (uint32_t c = 0; c < channels; ++c) {
            double late = 0.0;
            for (size_t i = 1; i < out[c].size(); ++i)
                late += double(out[c][i]) * out[c][i];
            const auto& wet = wetChannels[channels - 1];
            const bool expectWet = std::find(wet.begin(), wet.end(), c) != wet.end();
            EXPECT_EQ(late > 1e-3, expectWet) << "channel " << c << ": " << late;
            EXPECT_FLOAT_EQ(out[c][0], 1.0f) << "channel " << c;  // dry at 0 dB, undelayed
        }
        if (channels == 2) {
            // Left and right are decorrelated, not copies.
            double diff = 0.0;
            for (size_t i = 0; i < out[0].size(); ++i)
                diff += std::fabs(out[0][i] - out[1][i]);
            EXPECT_GT(diff, 1.0);
        }
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvRoomVerbFX, BlockSizesDoNotChangeTheOutput)
{
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> noise(-0.5f, 0.5f);
    Planes input(2, std::vector<float>(9000));
    for (auto& ch : input)
        for (float& x : ch)
            x = noise(rng);
    auto run = [&](const testsupport::BlockFrames& frames) {
        Rig rig(2, 48000, 2048);
        rig.Set(OV_ROOMVERBFXPARAM_OUTPUTLEVEL_REVERB_ID, 0.0f);
        rig.Set(OV_ROOMVERBFXPARAM_SURROUNDDELAY_ID, 7.0f);
        rig.Set(OV_ROOMVERBFXPARAM_ROOMSIZE_ID, 37.0f);
        rig.Run(64);  // a silent block takes the levels, which ramp over it
        return rig.Run(input, frames);
    };
    const Planes whole = run([](size_t) { return 2048u; });
    std::mt19937 sizes(3);
    const Planes odd = run([&](size_t) { return 1u + uint32_t(sizes() % 300); });
    const Planes single = run([](size_t) { return 1u; });
    ASSERT_EQ(odd[0].size(), whole[0].size());
    ASSERT_EQ(single[0].size(), whole[0].size());
    // Tone filters stay off here: the plug-in biquad's four-sample form rounds
    // a little differently from its scalar head and tail, which move with the
    // block split.
    for (uint32_t c = 0; c < 2; ++c)
        for (size_t i = 0; i < whole[c].size(); ++i) {
            ASSERT_NEAR(odd[c][i], whole[c][i], 1e-6f) << c << ", " << i;
            ASSERT_NEAR(single[c][i], whole[c][i], 1e-6f) << c << ", " << i;
        }
}

TEST(OvRoomVerbFX, UnitsSideBySideMatchTheScalarFormBitForBit)
{
    // One to four units run together, even and odd units sharing two sets of
    // outputs as in the reverb, against the scalar form run unit after unit.
    // Odd block sizes leave tails, and the short lines wrap often. Both
    // paths where the processor has AVX.
    const uint32_t lengths[4][4] = {{1627, 1801, 1979, 2437}, {13, 29, 31, 37}, {1657, 1709, 1871, 2089}, {7, 5, 11, 3}};
    for (uint32_t run = 0; run < 8; ++run) {
        const uint32_t units = 1 + run % 4;
        const ReverbUnitPath path = run < 4 ? ReverbUnitPath::Sse2 : ReverbUnit::WidestPath();
        SCOPED_TRACE(testing::Message() << units << " units, path " << int(path));
        ReverbUnit vector[4], scalar[4];
        for (uint32_t k = 0; k < units; ++k)
            for (ReverbUnit* unit : {&vector[k], &scalar[k]}) {
                ASSERT_EQ(unit->Init(OV::DefaultAllocator(), lengths[k], 7), OV_Success);
                unit->Reset();
                unit->SetDecay(1.5, 2.25, 48000);
            }
        std::mt19937 rng(2);
        std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
        std::vector<float> x[4], outV[6], outS[6];
        for (int block = 0; block < 120; ++block) {
            const uint32_t n = 1 + rng() % 300;
            for (uint32_t k = 0; k < units; ++k) {
                x[k].resize(n);
                for (float& v : x[k])
                    v = block < 20 ? noise(rng) : 0.0f;
            }
            for (uint32_t o = 0; o < 6; ++o) {
                outV[o].assign(n, 0.5f);
                outS[o].assign(n, 0.5f);
            }
            const uint32_t outputs = 1 + block % 3;
            const float* inputs[4];
            float* pV[12];
            for (uint32_t k = 0; k < units; ++k) {
                inputs[k] = x[k].data();
                float* pS[3];
                for (uint32_t o = 0; o < outputs; ++o) {
                    pV[k * outputs + o] = outV[2 * o + (k & 1)].data();
                    pS[o] = outS[2 * o + (k & 1)].data();
                }
                scalar[k].ProcessScalar(x[k].data(), pS, outputs, n);
            }
            ReverbUnit::ProcessSideBySide(vector, units, inputs, pV, outputs, n, path);
            for (uint32_t o = 0; o < 6; ++o)
                for (uint32_t i = 0; i < n; ++i)
                    ASSERT_EQ(outV[o][i], outS[o][i]) << block << ", " << o << ", " << i;
        }
        for (uint32_t k = 0; k < units; ++k) {
            vector[k].Term(OV::DefaultAllocator());
            scalar[k].Term(OV::DefaultAllocator());
        }
    }
}

TEST(OvRoomVerbFX, HostileSettingsKeepTheOutputFinite)
{
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    struct Setting {
        uint16_t id;
        float value;  // sent as an unsigned 32 for the integer IDs
    };
    // Each is a hazard: division by sqrt(0), odd or oversized unit counts, rows
    // outside the table, decays at or below 0, a damping below 1 with a short
    // decay, non-finite or negative times and percentages, Q at or below 0.
    const Setting hazards[] = {
        {14, 0}, {14, 1}, {14, 17}, {14, 4e9f}, {0, 31}, {0, 4e9f}, {10, 0}, {10, -1}, {10, nan}, {10, inf},
        {11, 0.01f}, {11, -5}, {11, nan}, {1, -10}, {1, 1e30f}, {1, nan}, {12, -50}, {12, inf}, {12, nan},
        {13, -1e9f}, {13, nan}, {2, 1e4f}, {2, -inf}, {2, nan}, {3, -1}, {3, inf}, {25, 0}, {25, -1},
        {24, nan}, {24, 0}, {23, inf}, {40, inf}, {41, nan}, {62, inf}, {60, nan}, {100, -1e30f},
        {101, inf}, {105, 0}, {106, 1e30f}, {108, 1e9f}, {109, inf}, {102, nan}};
    std::mt19937 rng(17);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    for (uint32_t channels : {1u, 2u, 6u}) {
        SCOPED_TRACE(testing::Message() << channels << " channels");
        Rig rig(channels, 44100, 256);
        ASSERT_TRUE(rig.ok);
        rig.Set(OV_ROOMVERBFXPARAM_TCENABLE_ID, uint8_t(1));
        rig.Set(OV_ROOMVERBFXPARAM_OUTPUTLEVEL_REVERB_ID, 0.0f);
        Planes input(channels, std::vector<float>(256));
        for (int round = 0; round < 300; ++round) {
            const Setting& s = hazards[rng() % std::size(hazards)];
            const bool integer = s.id == 0 || s.id == 14 || (s.id >= 21 && s.id < 36 && (s.id - 21) % 5 < 2);
            if (integer)
                rig.Set(s.id, uint32_t(std::min(s.value, 4e9f)));
            else
                rig.Set(s.id, s.value);
            if (round % 7 == 0)  // and now and then back to a short damped decay
                rig.Set(OV_ROOMVERBFXPARAM_DECAYTIME_ID, 0.01f);
            for (auto& ch : input)
                for (float& x : ch)
                    x = noise(rng);
            // 255 frames and other counts off the groups of four.
            const uint32_t frames = round % 3 == 0 ? 255u : 1u + uint32_t(rng() % 256);
            rig.block.Load(input, 0, frames);
            rig.Run(frames);
            for (uint32_t c = 0; c < channels; ++c)
                for (uint32_t i = 0; i < rig.lastFrames; ++i)
                    ASSERT_TRUE(std::isfinite(rig.block.Channel(c)[i])) << round << ", " << c << ", " << i;
        }
    }
    // A rate of 0 is refused at Init.
    Rig zeroRate(2, 0, 256);
    EXPECT_FALSE(zeroRate.ok);
}

}  // namespace
