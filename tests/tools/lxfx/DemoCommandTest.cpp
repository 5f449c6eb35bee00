// lxfx demo: the built-in signal is 20 s of stereo music that ends in
// silence, the library's default chain passes it untouched, and the showcase
// run writes the file and the summary.
#include <algorithm>
#include <cmath>
#include <string>

#include <gtest/gtest.h>
#include <sndfile.h>

#include "ToolHarness.h"

namespace lxfxtest {
namespace {

TEST(LxfxDemo, SignalIsStereoMusicAndTheDefaultChainPassesItUntouched)
{
    ScratchDir dir;
    WriteText(dir.Path("empty.json"), "{}");
    const RunResult run = RunLxfx({"demo", "--preset", dir.Path("empty.json"), "--dry",
                                   dir.Path("dry.wav"), "--out", dir.Path("wet.wav")});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const AudioData dry = ReadAudio(dir.Path("dry.wav"));
    const AudioData wet = ReadAudio(dir.Path("wet.wav"));
    EXPECT_EQ(dry.format, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    EXPECT_EQ(dry.channels, 2);
    EXPECT_EQ(dry.sampleRate, 44100);
    ASSERT_EQ(dry.samples.size(), 20u * 44100 * 2);
    EXPECT_TRUE(wet.samples == dry.samples);

    // Loud enough to hear, under full scale, different on the two sides, and
    // silent over the last second so that tails can ring out.
    double peak = 0.0, sideEnergy = 0.0, midEnergy = 0.0, lastSecondPeak = 0.0;
    for (size_t frame = 0; frame < dry.samples.size() / 2; ++frame) {
        const double left = dry.samples[2 * frame], right = dry.samples[2 * frame + 1];
        peak = std::max({peak, std::fabs(left), std::fabs(right)});
        sideEnergy += (left - right) * (left - right);
        midEnergy += (left + right) * (left + right);
        if (frame >= 19u * 44100)
            lastSecondPeak = std::max({lastSecondPeak, std::fabs(left), std::fabs(right)});
    }
    EXPECT_GT(peak, 0.25);
    EXPECT_LT(peak, 0.9);
    EXPECT_GT(sideEnergy, 0.02 * midEnergy);
    EXPECT_EQ(lastSecondPeak, 0.0);

    // The beat: the kick lands every second, the bars are 2 s long. Energy in
    // the first 50 ms after each beat one beats the 50 ms before it.
    for (int second = 1; second < 17; ++second) {
        double before = 0.0, after = 0.0;
        for (int i = 0; i < 2205; ++i) {
            before += std::pow(dry.samples[2 * (second * 44100 - 2205 + i)], 2);
            after += std::pow(dry.samples[2 * (second * 44100 + i)], 2);
        }
        EXPECT_GT(after, 2.0 * before) << second;
    }
}

TEST(LxfxDemo, ShowcaseRendersTheFileAndPrintsTheSummary)
{
    ScratchDir dir;
    const RunResult run = RunLxfx({"demo", "--out", dir.Path("demo.wav")});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.out.find("in         20.000 s      882000 frames"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("demo.wav"), std::string::npos);
    const AudioData out = ReadAudio(dir.Path("demo.wav"));
    EXPECT_EQ(out.channels, 2);
    EXPECT_GE(out.samples.size(), 20u * 44100 * 2);
    for (double sample : out.samples)
        ASSERT_TRUE(std::isfinite(sample));

    // The showcase switches on every effect but the two that need impulses.
    const RunResult showcase = RunLxfx({"preset", "--showcase"});
    ASSERT_EQ(showcase.exitStatus, 0);
    WriteText(dir.Path("showcase.json"), showcase.out);
    const RunResult state = RunLxfx({"state", "--preset", dir.Path("showcase.json")});
    for (const char* effect : {"Loudness", "Reverb", "Stereo Enhancer", "Rotate 3D", "SpatialAudio",
                               "Graph EQ", "Bass Treble", "Compressor", "Post Compressor",
                               "Parametric EQ", "Delay", "Vibrato", "Tremolo", "Limiter"})
        EXPECT_NE(state.out.find(std::string("\n") + effect + ": on true"), std::string::npos)
            << effect;
    EXPECT_NE(state.out.find("FIR: on false"), std::string::npos);
    EXPECT_NE(state.out.find("Headphone: on false"), std::string::npos);
}

}  // namespace
}  // namespace lxfxtest
