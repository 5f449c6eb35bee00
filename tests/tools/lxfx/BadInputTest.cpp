// Bad input ends lxfx with exit status 2, one line on stderr that names the
// problem, and no output file: neither the file nor a temporary beside it.
#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <sndfile.h>

#include "ToolHarness.h"

namespace lxfxtest {
namespace {

AudioData ShortTone()
{
    AudioData audio;
    audio.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    audio.channels = 2;
    audio.sampleRate = 44100;
    for (int i = 0; i < 2000; ++i)
        audio.samples.push_back(double((i * 37) % 2000 - 1000));
    return audio;
}

TEST(LxfxBadInput, ExitsWithStatusTwoAndOneLineAndLeavesNoFile)
{
    struct Case {
        const char* name;
        std::function<void(const ScratchDir&)> setUp;
        std::vector<std::string> args;  // "@x" is the scratch folder's file x
        const char* message;
        const char* output;  // the file that must not appear
    };
    const Case cases[] = {
        {"missing input", nullptr, {"process", "@none.wav", "@out.wav"},
         "input file not found: \"", "out.wav"},
        {"input is a folder", nullptr, {"process", "@", "@out.wav"}, "it is a folder", "out.wav"},
        {"not audio",
         [](const ScratchDir& d) { WriteText(d.Path("text.wav"), "just some text, not audio\n"); },
         {"process", "@text.wav", "@out.wav"}, "is not in an audio format libsndfile reads", "out.wav"},
        {"format the library refuses", nullptr,
         {"process", "@in.wav", "@out.wav", "--buffer-bytes", "3"},
         "the library refused 44100 Hz, 2 channels, 16-bit samples: Initialize audio effect "
         "instance failed.",
         "out.wav"},
        {"channel count the library refuses", nullptr, {"state", "--channels", "0"},
         "the library refused 44100 Hz, 0 channels, 16-bit samples: Initialize audio effect "
         "instance failed.",
         "out.wav"},
        {"malformed JSON",
         [](const ScratchDir& d) { WriteText(d.Path("p.json"), "{\n  \"reverb\": {\n    \"on\": tru\n  }\n}\n"); },
         {"process", "@in.wav", "@out.wav", "--preset", "@p.json"},
         "p.json: malformed JSON at line 3, column", "out.wav"},
        {"unknown key",
         [](const ScratchDir& d) { WriteText(d.Path("p.json"), R"({"reverb": {"rvb": {"DecayTim": 2}}})"); },
         {"process", "@in.wav", "@out.wav", "--preset", "@p.json"},
         "unknown key \"reverb.rvb.DecayTim\" (did you mean \"reverb.rvb.DecayTime\"?)", "out.wav"},
        {"unknown group on the command line", nullptr,
         {"process", "@in.wav", "@out.wav", "--set", "tremollo.on=true"},
         "unknown key \"tremollo\" (did you mean \"tremolo\"?)", "out.wav"},
        {"wrong type",
         [](const ScratchDir& d) { WriteText(d.Path("p.json"), R"({"graphEQ": {"on": 1}})"); },
         {"process", "@in.wav", "@out.wav", "--preset", "@p.json"},
         "\"graphEQ.on\" expects true or false, got 1", "out.wav"},
        {"text for a number", nullptr,
         {"process", "@in.wav", "@out.wav", "--set", "reverb.rvb.DecayTime=long"},
         "\"reverb.rvb.DecayTime\" expects a number, got \"long\"", "out.wav"},
        {"negative whole number", nullptr,
         {"process", "@in.wav", "@out.wav", "--set", "reverb.rvb.Quality=-2"},
         "\"reverb.rvb.Quality\" expects a whole number", "out.wav"},
        {"table too long",
         [](const ScratchDir& d) {
             WriteText(d.Path("p.json"), R"({"graphEQ": {"gains": [0,0,0,0,0,0,0,0,0,0,1]}})");
         },
         {"process", "@in.wav", "@out.wav", "--preset", "@p.json"},
         "\"graphEQ.gains\" has 10 entries (0 to 9); index 10 is outside the table", "out.wav"},
        {"index outside the table", nullptr,
         {"process", "@in.wav", "@out.wav", "--set", "parametricEQ.filters[9].Gain=3"},
         "\"parametricEQ.filters\" has 9 entries (0 to 8); index 9 is outside the table", "out.wav"},
        {"reverb filter index outside the table", nullptr,
         {"process", "@in.wav", "@out.wav", "--set", "reverb.tc.filters[3].Q=1"},
         "index 3 is outside the table", "out.wav"},
        {"missing impulse", nullptr,
         {"process", "@in.wav", "@out.wav", "--fir-impulse", "@none.wav"},
         "cannot read FIR impulse", "out.wav"},
        {"unwritable output path", nullptr, {"process", "@in.wav", "@no/such/folder/out.wav"},
         "cannot write output", "no"},
        {"unknown output extension", nullptr, {"process", "@in.wav", "@out.mp9"},
         "cannot tell the output format from", "out.mp9"},
        {"demo into a missing folder", nullptr, {"demo", "--out", "@no/demo.wav"},
         "cannot write output", "no"},
        {"unknown option", nullptr, {"process", "@in.wav", "@out.wav", "--chunk-bits", "3"},
         "--chunk-bits", "out.wav"},
        {"zero chunk", nullptr, {"process", "@in.wav", "@out.wav", "--chunk-bytes", "0"},
         "--chunk-bytes", "out.wav"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScratchDir dir;
        WriteAudio(dir.Path("in.wav"), ShortTone());
        if (c.setUp)
            c.setUp(dir);
        const size_t filesBefore = dir.Files().size();
        std::vector<std::string> args;
        for (const std::string& arg : c.args)
            args.push_back(arg[0] == '@' ? dir.Path(arg.substr(1)) : arg);

        const RunResult run = RunLxfx(args);
        EXPECT_EQ(run.exitStatus, 2);
        EXPECT_EQ(SplitLines(run.err).size(), 1u) << run.err;
        EXPECT_NE(run.err.find(c.message), std::string::npos) << run.err;
        EXPECT_EQ(run.out, "");
        EXPECT_FALSE(FileExists(dir.Path(c.output)));
        EXPECT_EQ(dir.Files().size(), filesBefore);
    }
}

TEST(LxfxBadInput, AFailedRunLeavesAnExistingOutputAlone)
{
    ScratchDir dir;
    WriteAudio(dir.Path("in.wav"), ShortTone());
    WriteText(dir.Path("out.wav"), "the previous render");
    const RunResult run =
        RunLxfx({"process", dir.Path("in.wav"), dir.Path("out.wav"), "--set", "limiter.on=maybe"});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_NE(run.err.find("\"limiter.on\" expects true or false, got \"maybe\""), std::string::npos)
        << run.err;
    EXPECT_EQ(ReadText(dir.Path("out.wav")), "the previous render");
    EXPECT_EQ(dir.Files().size(), 2u);
    // The same command with a good value replaces it.
    ASSERT_EQ(RunLxfx({"process", dir.Path("in.wav"), dir.Path("out.wav"), "--set", "limiter.on=true"})
                  .exitStatus,
              0);
    EXPECT_TRUE(ReadAudio(dir.Path("out.wav")).samples == ShortTone().samples);
    EXPECT_EQ(dir.Files().size(), 2u);
}

}  // namespace
}  // namespace lxfxtest
