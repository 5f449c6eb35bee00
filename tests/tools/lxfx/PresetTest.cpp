// Presets reach the library: the defaults round-trip through `state`, every
// field of the complete preset lands in its own place of the state dump, and
// the log lines come out as "level tag: text".
#include <algorithm>
#include <cctype>
#include <functional>
#include <set>
#include <string>

#include <gtest/gtest.h>
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
    std::vector<std::pair<std::string, Json>> leaves;
    std::function<void(const Json&, const std::string&)> collect = [&](const Json& node, const std::string& path) {
        if (node.is_object())
            for (const auto& item : node.items())
                collect(item.value(), path.empty() ? item.key() : path + "." + item.key());
        else if (node.is_array())
            for (size_t i = 0; i < node.size(); ++i)
                collect(node[i], path + "[" + std::to_string(i) + "]");
        else if (path.find("impulse") == std::string::npos)  // files; see below
            leaves.emplace_back(path, node);
    };
    collect(Json::parse(defaults.out), "");
    const std::vector<std::string> baseline = SplitLines(plain.out);
    ASSERT_EQ(baseline.size(), 37u);
    std::set<size_t> reached = {0, 1};  // the instance and the stream format
    for (const auto& [path, value] : leaves) {
        SCOPED_TRACE(path);
        std::string text = value.is_number_integer() ? "7" : "7.25", shown = text == "7" ? text : "7.250000";
        if (value.is_boolean())
            text = shown = value.get<bool>() ? "false" : "true";
        const RunResult run = RunLxfx({"state", "--set", path + "=" + text});
        ASSERT_EQ(run.exitStatus, 0) << run.err;
        const std::vector<std::string> lines = SplitLines(run.out);
        ASSERT_EQ(lines.size(), baseline.size());
        std::vector<size_t> changed;
        for (size_t i = 0; i < lines.size(); ++i)
            if (lines[i] != baseline[i])
                changed.push_back(i);
        ASSERT_EQ(changed.size(), 1u) << run.out;
        reached.insert(changed[0]);
        const std::string& got = lines[changed[0]];

        std::string group = path.substr(0, path.rfind('.') + 1), name = path.substr(group.size());
        const size_t bracket = group.find('[');
        if (bracket != std::string::npos)  // "filters[1]." is the dump's "Filter 2"
            group = group.substr(0, bracket - 1) + std::to_string(std::stoul(group.substr(bracket + 1)) + 1);
        EXPECT_EQ(Squeeze(got).rfind(Squeeze(group), 0), 0u) << got;
        if (name.compare(0, 6, "gains[") == 0)
            EXPECT_EQ(size_t(std::count(got.begin(), got.begin() + got.find(shown), ',')), std::stoul(name.substr(6)) + 1)
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
