// Presets reach the library: the defaults round-trip through `state`, every
// field of the complete preset lands in its own place of the state dump, and
// the log lines come out as "level tag: text".
#include <algorithm>
#include <cctype>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "ToolHarness.h"

namespace lxfxtest {
namespace {

using Json = nlohmann::json;

// Lower case without spaces and colons, so "Bass Q 7.250000" matches "bassQ" and 7.25.
std::string Squeeze(const std::string& text)
{
    std::string squeezed;
    for (char c : text)
        if (c != ' ' && c != ':')
            squeezed += char(std::tolower(static_cast<unsigned char>(c)));
    return squeezed;
}

void CollectLeaves(const Json& node, const std::string& path, std::vector<std::pair<std::string, Json>>& leaves)
{
    if (node.is_object()) {
        for (const auto& item : node.items())
            CollectLeaves(item.value(), path.empty() ? item.key() : path + "." + item.key(), leaves);
    } else if (node.is_array()) {
        for (size_t i = 0; i < node.size(); ++i)
            CollectLeaves(node[i], path + "[" + std::to_string(i) + "]", leaves);
    } else {
        leaves.emplace_back(path, node);
    }
}

TEST(LxfxPreset, DefaultsRoundTripThroughTheLibraryUnchanged)
{
    ScratchDir dir;
    const RunResult defaults = RunLxfx({"preset", "--defaults"});
    ASSERT_EQ(defaults.exitStatus, 0) << defaults.err;
    WriteText(dir.Path("defaults.json"), defaults.out);

    const RunResult plain = RunLxfx({"state"});
    const RunResult fed = RunLxfx({"state", "--preset", dir.Path("defaults.json")});
    ASSERT_EQ(plain.exitStatus, 0) << plain.err;
    ASSERT_EQ(fed.exitStatus, 0) << fed.err;
    EXPECT_EQ(SplitLines(plain.out).size(), 37u);
    EXPECT_EQ(fed.out, plain.out);

    // Every setting group of the front end is in the complete preset.
    const Json preset = Json::parse(defaults.out);
    for (const char* group : {"loudness", "reverb", "stereoEnhancer", "rotate3D", "spatialAudio",
                              "graphEQ", "bassTreble", "compressor", "postCompressor",
                              "parametricEQ", "delay", "fir", "headphone", "vibrato", "tremolo",
                              "limiter", "bypassMode"})
        EXPECT_TRUE(preset.contains(group)) << group;
    EXPECT_EQ(preset["graphEQ"]["gains"].size(), 10u);
    EXPECT_EQ(preset["parametricEQ"]["filters"].size(), 9u);
    EXPECT_EQ(preset["reverb"]["tc"]["filters"].size(), 3u);
    EXPECT_EQ(preset["limiter"]["on"], true);
    EXPECT_EQ(preset["reverb"]["outputLevel"]["ER"], -96.3);  // the float, written short
}

TEST(LxfxPreset, EveryFieldLandsInItsOwnPlaceOfTheState)
{
    const RunResult defaults = RunLxfx({"preset", "--defaults"});
    ASSERT_EQ(defaults.exitStatus, 0);
    std::vector<std::pair<std::string, Json>> leaves;
    CollectLeaves(Json::parse(defaults.out), "", leaves);
    ASSERT_GT(leaves.size(), 140u);
    const std::vector<std::string> baseline = SplitLines(RunLxfx({"state"}).out);
    ASSERT_EQ(baseline.size(), 37u);

    for (const auto& [path, value] : leaves) {
        if (path.find("impulse") != std::string::npos)
            continue;  // files; checked below
        SCOPED_TRACE(path);
        std::string text;
        std::string shown;
        if (value.is_boolean()) {
            text = value.get<bool>() ? "false" : "true";
            shown = text;
        } else if (value.is_number_integer()) {
            text = "7";
            shown = "7";
        } else {
            text = "7.25";
            shown = "7.250000";
        }
        const RunResult run = RunLxfx({"state", "--set", path + "=" + text});
        ASSERT_EQ(run.exitStatus, 0) << run.err;
        const std::vector<std::string> lines = SplitLines(run.out);
        ASSERT_EQ(lines.size(), baseline.size());
        std::vector<size_t> changed;
        for (size_t i = 0; i < lines.size(); ++i)
            if (lines[i] != baseline[i])
                changed.push_back(i);
        ASSERT_EQ(changed.size(), 1u) << run.out;
        const std::string& line = lines[changed[0]];

        // The dump names the field as the preset does, with the new value after it.
        const size_t bracket = path.rfind('[');
        if (path.compare(0, 14, "graphEQ.gains[") == 0) {
            const size_t band = std::stoul(path.substr(bracket + 1));
            size_t field = 0, pos = 0;
            for (; field < band + 1; ++field)
                pos = line.find(", ", pos) + 2;
            EXPECT_EQ(line.compare(pos, shown.size(), shown), 0) << line;
            continue;
        }
        std::string name = path.substr(path.rfind('.') + 1);
        if (path == "reverb.tc.on")
            name = "enable";
        EXPECT_NE(Squeeze(line).find(Squeeze(name + shown)), std::string::npos) << line;
        // Table entries land in the line of their index, counted from 1 in the dump.
        if (bracket != std::string::npos) {
            const size_t index = std::stoul(path.substr(bracket + 1));
            EXPECT_NE(line.find("Filter " + std::to_string(index + 1) + ":"), std::string::npos) << line;
        }
    }
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
    const RunResult run = RunLxfx({"state", "--log", "--preset", dir.Path("preset.json"),
                                   "--fir-impulse", dir.Path("ir.bin"), "--set",
                                   "reverb.rvb.DecayTime=2.5", "--set", "graphEQ.on=true"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.out.find("FIR: on true, IR size 1234\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("Headphone: on true, IR size 77\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("DecayTime 2.500000,"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("Graph EQ: on true, 1.000000, 2.000000, 0.000000,"), std::string::npos);

    // --log writes the library's lines to stderr as "level tag: text".
    const std::vector<std::string> log = SplitLines(run.err);
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log.front(), "2 AudioEffects: Create new AudioEffects instance: 1, 44100, 2, 2048");
    EXPECT_NE(std::find(log.begin(), log.end(), "3 AudioEffects: SetGraphEQON: on true"), log.end());
    EXPECT_NE(std::find(log.begin(), log.end(), "3 AudioEffects: Initialize audio effect instance done."),
              log.end());
    EXPECT_EQ(log.back(), "0 AudioEffects: AudioEffectsImpl::~AudioEffectsImpl invoked.");
    EXPECT_EQ(RunLxfx({"state"}).err, "");
}

}  // namespace
}  // namespace lxfxtest
