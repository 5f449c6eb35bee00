// lxfx demo: the built-in signal is 20 s of stereo music that ends in
// silence, and the showcase run, which switches on every effect but the two
// that need impulses, writes the file and the summary.
#include <tuple>

#include "ToolHarness.h"

namespace lxfxtest {
namespace {

TEST(LxfxDemo, RendersTheShowcaseOfStereoMusicThatEndsInSilence)
{
    ScratchDir dir;
    const RunResult run = RunLxfx({"demo", "--dry", dir.Path("dry.wav"), "--out", dir.Path("demo.wav")});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.out.find("in         20.000 s      882000 frames"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("demo.wav"), std::string::npos);
    const AudioData dry = ReadAudio(dir.Path("dry.wav"));
    const AudioData wet = ReadAudio(dir.Path("demo.wav"));
    EXPECT_EQ(std::tie(dry.format, dry.channels, dry.sampleRate),
              std::make_tuple(SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 44100));
    ASSERT_EQ(dry.samples.size(), 20u * 44100 * 2);
    EXPECT_EQ(wet.channels, 2);
    EXPECT_GE(wet.samples.size(), dry.samples.size());
    EXPECT_TRUE(std::all_of(wet.samples.begin(), wet.samples.end(), [](double s) { return std::isfinite(s); }));

    // Loud enough to hear, under full scale, different on the two sides, and
    // silent over the last second so that tails can ring out.
    double peak = 0.0, sideEnergy = 0.0, midEnergy = 0.0, lastSecondPeak = 0.0;
    for (size_t i = 0; i < dry.samples.size(); i += 2) {
        const double left = dry.samples[i], right = dry.samples[i + 1];
        double& peakSoFar = i < 2u * 19 * 44100 ? peak : lastSecondPeak;
        peakSoFar = std::max({peakSoFar, std::fabs(left), std::fabs(right)});
        sideEnergy += (left - right) * (left - right);
        midEnergy += (left + right) * (left + right);
    }
    EXPECT_TRUE(peak > 0.25 && peak < 0.9) << peak;
    EXPECT_GT(sideEnergy, 0.02 * midEnergy);
    EXPECT_EQ(lastSecondPeak, 0.0);

    WriteText(dir.Path("showcase.json"), RunLxfx({"preset", "--showcase"}).out);
    const std::string state = RunLxfx({"state", "--preset", dir.Path("showcase.json")}).out;
    for (const char* effect : {"Loudness", "Reverb", "Stereo Enhancer", "Rotate 3D", "SpatialAudio", "Graph EQ",
                               "Bass Treble", "Compressor", "Post Compressor", "Parametric EQ", "Delay", "Vibrato",
                               "Tremolo", "Limiter"})
        EXPECT_NE(state.find(std::string("\n") + effect + ": on true"), std::string::npos) << effect;
    for (const char* effect : {"\nFIR: on false", "\nHeadphone: on false"})
        EXPECT_NE(state.find(effect), std::string::npos) << effect;
}

}  // namespace
}  // namespace lxfxtest
