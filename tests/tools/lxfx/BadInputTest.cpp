// Bad input ends lxfx with exit status 2, one short line on stderr that names
// the problem, and no new file: an output already there is left as it was, and
// no temporary stays beside it.
#include "ToolHarness.h"

namespace lxfxtest {
namespace {

TEST(LxfxBadInput, ExitsWithStatusTwoAndOneLineAndLeavesNoFile)
{
    struct Case {
        const char* preset;             // written to p.json when given
        std::vector<std::string> args;  // "@x" is the scratch folder's file x
        const char* message;            // "@" as in args
    };
    const std::string deepLists = std::string(100000, '[') + std::string(100000, ']');
    std::string deepObjects;
    for (int i = 0; i < 100000; ++i)
        deepObjects += "{\"a\":";
    deepObjects += "1" + std::string(100000, '}');
    std::string longList = "{\"reverb\": [1";
    for (int i = 1; i < 1000000; ++i)
        longList += ",1";
    longList += "]}";
    const std::string longName = R"({"fir": {"impulse": ")" + std::string(100000, 'x') + "\"}}";
    const std::string deepValue = "graphEQ.gains=" + std::string(10000, '[') + std::string(10000, ']');
    const Case cases[] = {
        {nullptr, {"process", "@none.wav", "@out.wav"}, "input file not found: \""},
        {nullptr, {"process", "@", "@out.wav"}, "it is a folder"},
        {"not audio", {"process", "@p.json", "@out.wav"}, "is not in an audio format libsndfile reads"},
        {nullptr, {"state", "--channels", "0"},
         "the library refused 44100 Hz, 0 channels, 16-bit samples: Initialize audio effect instance failed."},
        {"{\n  \"reverb\": {\n    \"on\": tru\n  }\n}\n", {"process", "@in.wav", "@out.wav", "--preset", "@p.json"},
         "p.json: malformed JSON at line 3, column"},
        {R"({"reverb": {"rvb": {"DecayTim": 2}}})", {"process", "@in.wav", "@out.wav", "--preset", "@p.json"},
         "unknown key \"reverb.rvb.DecayTim\" (did you mean \"reverb.rvb.DecayTime\"?)"},
        {R"({"graphEQ": {"on": 1}})", {"process", "@in.wav", "@out.wav", "--preset", "@p.json"},
         "\"graphEQ.on\" expects true or false, got 1"},
        {nullptr, {"process", "@in.wav", "@out.wav", "--set", "reverb.rvb.DecayTime=long"},
         "\"reverb.rvb.DecayTime\" expects a number, got \"long\""},
        {nullptr, {"process", "@in.wav", "@out.wav", "--set", "reverb.rvb.Quality=-2"},
         "\"reverb.rvb.Quality\" expects a whole number"},
        {R"({"graphEQ": {"gains": [0,0,0,0,0,0,0,0,0,0,1]}})",
         {"process", "@in.wav", "@out.wav", "--preset", "@p.json"},
         "\"graphEQ.gains\" has 10 entries (0 to 9); index 10 is outside the table"},
        {nullptr, {"process", "@in.wav", "@out.wav", "--set", "parametricEQ.filters[9].Gain=3"},
         "\"parametricEQ.filters\" has 9 entries (0 to 8); index 9 is outside the table"},
        {nullptr, {"process", "@in.wav", "@out.wav", "--fir-impulse", "@none.wav"}, "cannot read FIR impulse"},
        {nullptr, {"process", "@in.wav", "@no/such/folder/out.wav"}, "cannot write output"},
        {nullptr, {"process", "@in.wav", "@out.mp9"}, "cannot tell the output format from"},
        {nullptr, {"state", "--preset", "@"}, "cannot read preset \"@\": it is a folder, not a file"},
        {nullptr, {"state", "--fir-impulse", "@"},
         "cannot read FIR impulse \"@\": it is a folder, not a file"},
        {nullptr, {"state", "--headphone-impulse", "@"},
         "cannot read headphone impulse \"@\": it is a folder, not a file"},
        {nullptr, {"state", "--preset", "/dev/zero"},
         "cannot read preset \"/dev/zero\": larger than 16 MiB"},
        {deepLists.c_str(), {"state", "--preset", "@p.json"},
         "p.json: nested deeper than 64 levels at line 1, column 65"},
        {deepObjects.c_str(), {"state", "--preset", "@p.json"},
         "p.json: nested deeper than 64 levels at line 1, column 321"},
        {nullptr, {"state", "--set", deepValue}, "the value is nested deeper than 64 levels"},
        {longList.c_str(), {"state", "--preset", "@p.json"},
         "\"reverb\" expects an object, got [1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1..."},
        {R"({"reverb": {"rvb": {"DecayTime": 1e400}}})", {"state", "--preset", "@p.json"},
         "p.json: the number 1e400 is out of range"},
        {nullptr, {"state", "--set", "reverb.rvb.Quality=-1e400"}, "the number -1e400 is out of range"},
        {longName.c_str(), {"state", "--preset", "@p.json"}, "xxxxxxxx...\": File name too long"},
        {"", {"state", "--preset", "@p.json"}, "p.json: the file is empty"},
        {"3", {"state", "--preset", "@p.json"}, "p.json: a preset expects an object, got 3"},
        {nullptr, {"state", "--set", "graphEQ.gains[99999999999999999999]=1"},
         "index 99999999999999999999 is outside the table"},
        {nullptr, {"state", "--set", "graphEQ.on.x=1"},
         "unknown key \"graphEQ.on.x\" (\"graphEQ.on\" is a single value)"},
        {nullptr, {"process", "@in.wav", "@out.wav", "--chunk-bytes", "4294967295"},
         "--chunk-bytes: expected a whole number from 1 to 16777216, got \"4294967295\""},
        {nullptr, {"demo", "--out", "@out.wav", "--chunk-bytes", "0"},
         "--chunk-bytes: expected a whole number from 1 to 16777216, got \"0\""},
        {nullptr, {"process", "@in.wav", "@out.wav", "--buffer-bytes", "4294967296"},
         "--buffer-bytes: expected a whole number from 0 to 4294967295, got \"4294967296\""},
        {nullptr, {"state", "--channels", "-1"},
         "--channels: expected a whole number from 0 to 4294967295, got \"-1\""},
        {nullptr, {"demo", "--out", "@out.wav", "--dry", "@./out.wav"},
         "--dry and --out name the same file"},
    };
    const AudioData tone{SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 44100, std::vector<double>(4000, 1000.0)};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        ScratchDir dir;
        WriteAudio(dir.Path("in.wav"), tone);
        WriteText(dir.Path("out.wav"), "the previous render");
        if (c.preset)
            WriteText(dir.Path("p.json"), c.preset);
        const size_t filesBefore = dir.FileCount();
        std::vector<std::string> args;
        for (const std::string& arg : c.args)
            args.push_back(arg[0] == '@' ? dir.Path(arg.substr(1)) : arg);

        std::string message = c.message;
        if (const size_t at = message.find('@'); at != std::string::npos)
            message.replace(at, 1, dir.Path(""));

        const RunResult run = RunLxfx(args);
        EXPECT_EQ(run.exitStatus, 2);
        EXPECT_EQ(SplitLines(run.err).size(), 1u) << run.err.substr(0, 240);
        EXPECT_LT(run.err.size(), 240u) << run.err.substr(0, 240);
        EXPECT_NE(run.err.find(message), std::string::npos) << run.err.substr(0, 240);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(ReadText(dir.Path("out.wav")), "the previous render");
        EXPECT_EQ(dir.FileCount(), filesBefore);
    }
}

}  // namespace
}  // namespace lxfxtest
