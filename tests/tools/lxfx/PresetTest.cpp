// Presets reach the library: the defaults round-trip through `state`, every
// field of the complete preset lands in its own place of the state dump, and
// the log lines come out as "level tag: text".
#include <cctype>
#include <set>

#include <nlohmann/json.hpp>

#include "ToolHarness.h"

namespace lxfxtest {
namespace {

using Json = nlohmann::json;

// Lower case without spaces, dots and colons, so "Bass Q 7.250000" matches "bassQ" and 7.25.
std::string Squeeze(const std::string& text)
{
    std::string squeezed;
    for (char c : text)
        if (c != ' ' && c != ':' && c != '.')
            squeezed += char(std::tolower(static_cast<unsigned char>(c)));
    return squeezed;
}

TEST(LxfxPreset, DefaultsRoundTripAndEveryFieldLandsInItsOwnPlaceOfTheState)
{
    ScratchDir dir;
    const RunResult defaults = RunLxfx({"preset", "--defaults"});
    ASSERT_EQ(defaults.exitStatus, 0) << defaults.err;
    WriteText(dir.Path("defaults.json"), defaults.out);
    const RunResult plain = RunLxfx({"state"});
    EXPECT_EQ(RunLxfx({"state", "--preset", dir.Path("defaults.json")}).out, plain.out);
    EXPECT_EQ(Json::parse(defaults.out)["reverb"]["outputLevel"]["ER"], -96.3);  // the float, written short

    // Each leaf of the complete preset is set alone: exactly one line of the
    // dump changes, the line of the leaf's group, and it shows the field's name
    // with the new value (a graph EQ band in its own column); between them the
    // leaves reach every line.
    const std::vector<std::string> baseline = SplitLines(plain.out);
    ASSERT_EQ(baseline.size(), 37u);
    std::set<size_t> reached = {0, 1};  // the instance and the stream format
    const Json leaves = Json::parse(defaults.out).flatten();
    for (const auto& [pointer, value] : leaves.items()) {
        std::string path;  // "/reverb/tc/filters/0/Q" is "reverb.tc.filters[0].Q" to the tool
        std::stringstream parts(pointer.substr(1));
        for (std::string part; std::getline(parts, part, '/');)
            path += std::isdigit(static_cast<unsigned char>(part[0])) ? "[" + part + "]"
                                                                      : (path.empty() ? "" : ".") + part;
        if (path.find("impulse") != std::string::npos)
            continue;  // files; see below
        SCOPED_TRACE(path);
        std::string text = value.is_number_integer() ? "7" : "7.25", shown = text == "7" ? text : "7.250000";
        if (value.is_boolean())
            text = shown = value.get<bool>() ? "false" : "true";
        const RunResult run = RunLxfx({"state", "--set", path + "=" + text});
        ASSERT_EQ(run.exitStatus, 0) << run.err;
        const std::vector<std::string> lines = SplitLines(run.out);
        const auto diff = std::mismatch(lines.begin(), lines.end(), baseline.begin(), baseline.end());
        ASSERT_NE(diff.first, lines.end()) << run.out;
        ASSERT_TRUE(std::equal(diff.first + 1, lines.end(), diff.second + 1, baseline.end())) << run.out;
        reached.insert(size_t(diff.first - lines.begin()));
        const std::string& got = *diff.first;

        std::string group = path.substr(0, path.rfind('.') + 1), name = path.substr(group.size());
        const size_t bracket = group.find('[');
        if (bracket != std::string::npos)  // "filters[1]." is the dump's "Filter 2"
            group = group.substr(0, bracket - 1) + std::to_string(std::stoul(group.substr(bracket + 1)) + 1);
        EXPECT_EQ(Squeeze(got).rfind(Squeeze(group), 0), 0u) << got;
        if (name.compare(0, 6, "gains[") == 0)
            EXPECT_EQ(std::count(got.begin(), got.begin() + got.find(shown), ','), std::stol(name.substr(6)) + 1)
                << got;
        else
            EXPECT_NE(Squeeze(got).find(Squeeze((path == "reverb.tc.on" ? "enable" : name) + shown)), std::string::npos)
                << got;
    }
    EXPECT_EQ(reached.size(), baseline.size());
}

TEST(LxfxPreset, ImpulsesLogLinesAndOverridesAfterThePreset)
{
    ScratchDir dir;
    WriteText(dir.Path("ir.bin"), std::string(1234, 'x'));
    WriteText(dir.Path("hp.bin"), std::string(77, 'y'));
    // A relative impulse path in a preset is taken from the preset's folder.
    WriteText(dir.Path("preset.json"),
              R"({"headphone": {"on": true, "impulse": "hp.bin"}, "graphEQ": {"gains": [1, 2]},
                  "reverb": {"rvb": {"DecayTime": 9.5}}})");
    const RunResult run = RunLxfx({"state", "--log", "--preset", dir.Path("preset.json"), "--fir-impulse",
                                   dir.Path("ir.bin"), "--set", "reverb.rvb.DecayTime=2.5", "--set",
                                   "graphEQ.on=true"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    for (const char* expected : {"FIR: on true, IR size 1234\n", "Headphone: on true, IR size 77\n",
                                 "DecayTime 2.500000,", "Graph EQ: on true, 1.000000, 2.000000, 0.000000,"})
        EXPECT_NE(run.out.find(expected), std::string::npos) << expected;

    // --log writes the library's lines to stderr as "level tag: text".
    const std::vector<std::string> log = SplitLines(run.err);
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log.front(), "2 AudioEffects: Create new AudioEffects instance: 1, 44100, 2, 2048");
    EXPECT_NE(std::find(log.begin(), log.end(), "3 AudioEffects: SetGraphEQON: on true"), log.end());
    EXPECT_EQ(log.back(), "0 AudioEffects: AudioEffectsImpl::~AudioEffectsImpl invoked.");
    EXPECT_EQ(RunLxfx({"state"}).err, "");
}

}  // namespace
}  // namespace lxfxtest
