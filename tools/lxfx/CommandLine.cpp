#include "CommandLine.h"

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <algorithm>
#include <string>
#include <thread>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "ToolError.h"

namespace lxfx {

namespace {

// One Push carries a few kilobytes in a player. 16 MiB is over a minute of
// 16-bit stereo at 48 kHz, and the host loop holds two chunks of it.
constexpr uint64_t kMaxChunkBytes = uint64_t(16) << 20;

// A whole number from minValue to maxValue. The check runs before CLI11
// converts the text, so that a value out of the option's type is reported
// the same way as one out of the range.
CLI::Validator WholeNumber(uint64_t minValue, uint64_t maxValue)
{
    const std::string low = std::to_string(minValue), high = std::to_string(maxValue);
    return CLI::Validator(
        [=](std::string& text) {
            uint64_t value = 0;
            const char* end = text.data() + text.size();
            const auto parsed = std::from_chars(text.data(), end, value);
            if (parsed.ec != std::errc() || parsed.ptr != end || value < minValue ||
                value > maxValue)
                return "expected a whole number from " + low + " to " + high + ", got \"" +
                       Clipped(text) + "\"";
            return std::string();
        },
        "[" + low + ", " + high + "]");
}

void AddSettingsOptions(CLI::App& command, SettingsOptions& settings)
{
    command.add_option("--preset", settings.presetFile, "preset file (JSON)");
    command.add_option("--set", settings.overrides,
                       "override one value after the preset, e.g. graphEQ.gains[2]=3 or "
                       "reverb.rvb.DecayTime=2.5 (repeatable)");
    command.add_option("--fir-impulse", settings.firImpulseFile,
                       "WAV file to load as the FIR impulse; switches FIR on");
    command.add_option("--headphone-impulse", settings.headphoneImpulseFile,
                       "WAV file to load as the headphone impulse; switches headphone on");
}

}  // namespace

int RunCommandLine(int argc, char** argv)
{
    CLI::App app{"lxfx: runs the lxaudioeffects library on audio files"};
    app.require_subcommand(1);

    ProcessOptions process;
    CLI::App* processCommand =
        app.add_subcommand("process", "process an audio file through the effect chain");
    processCommand->add_option("IN", process.inFile, "input file (WAV, FLAC, AIFF, Ogg...)")
        ->required();
    processCommand->add_option("OUT", process.outFile, "output file; its extension picks the container")
        ->required();
    AddSettingsOptions(*processCommand, process.settings);
    processCommand->add_option("--chunk-bytes", process.chunkBytes,
                               "bytes per Push, cut to whole frames (default 4096)")
        ->check(WholeNumber(1, kMaxChunkBytes));
    processCommand->add_option("--buffer-bytes", process.bufferBytes,
                               "host buffer size given to Init, 0 for no preference "
                               "(default: the chunk size)")
        ->check(WholeNumber(0, UINT32_MAX));
    processCommand->add_flag("--log", process.log, "print the library's log lines to stderr");
    processCommand->add_flag("--quiet", process.quiet, "no progress bar");

    StateOptions state;
    CLI::App* stateCommand =
        app.add_subcommand("state", "initialise a front end and print its state dump");
    AddSettingsOptions(*stateCommand, state.settings);
    stateCommand->add_option("--rate", state.sampleRate, "sample rate in Hz (default 44100)")
        ->check(WholeNumber(0, UINT32_MAX));
    stateCommand->add_option("--channels", state.channels, "channel count (default 2)")
        ->check(WholeNumber(0, UINT32_MAX));
    stateCommand->add_flag("--log", state.log, "print the library's log lines to stderr");

    PresetOptions preset;
    CLI::App* presetCommand = app.add_subcommand("preset", "print a complete preset");
    presetCommand->add_flag("--defaults", preset.defaults, "the library's defaults");
    presetCommand->add_flag("--showcase", preset.showcase, "the demo's preset");

    DemoOptions demo;
    CLI::App* demoCommand =
        app.add_subcommand("demo", "render the built-in 20 s demo through every effect");
    demoCommand->add_option("--out", demo.outFile, "output file (default demo-out.wav)");
    demoCommand->add_option("--dry", demo.dryFile, "also write the untreated signal here");
    AddSettingsOptions(*demoCommand, demo.settings);
    demoCommand->add_option("--chunk-bytes", demo.chunkBytes, "bytes per Push (default 4096)")
        ->check(WholeNumber(1, kMaxChunkBytes));
    demoCommand->add_flag("--log", demo.log, "print the library's log lines to stderr");
    demoCommand->add_flag("--quiet", demo.quiet, "no progress bar");

    ReplayGainOptions replayGain;
    CLI::App* replayGainCommand = app.add_subcommand(
        "replaygain", "measure track gain and peak of each file, and album gain and peak; --tag writes them");
    replayGainCommand->add_option("FILE", replayGain.files, "audio files (and folders with --recursive)")->required();
    replayGainCommand->add_flag("--json", replayGain.json, "print JSON instead of a table");
    replayGainCommand->add_flag("--tag", replayGain.tag,
                                "write REPLAYGAIN_* tags into the files (the album pair when several form an album)");
    replayGainCommand->add_flag("--recursive", replayGain.recursive,
                                "walk the folders given; the audio files of each folder form one album");
    replayGainCommand->add_flag("--skip-existing", replayGain.skipExisting,
                                "leave files that already carry a track gain tag");
    replayGain.jobs = std::max(1u, std::thread::hardware_concurrency());
    replayGainCommand->add_option("--jobs", replayGain.jobs, "files decoded at once (default: the number of cores)")
        ->check(CLI::Range(1u, 256u));
    replayGainCommand->add_flag("--quiet", replayGain.quiet, "no progress bar");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0)
            return app.exit(error);
        // CLI11 quotes the arguments it could not place, whatever their length.
        std::fprintf(stderr, "lxfx: error: %s\n", Clipped(error.what(), 200).c_str());
        return kExitBadInput;
    }

    if (*processCommand)
        return RunProcess(process);
    if (*stateCommand)
        return RunState(state);
    if (*presetCommand)
        return RunPreset(preset);
    if (*demoCommand)
        return RunDemo(demo);
    return RunReplayGain(replayGain);
}

}  // namespace lxfx
