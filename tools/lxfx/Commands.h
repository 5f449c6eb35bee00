// The tool's commands, each with the options it reads.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lxfx {

// Where the settings come from: a preset file, impulse files, then single
// overrides in the order given.
struct SettingsOptions {
    std::string presetFile;
    std::vector<std::string> overrides;  // KEY=VALUE
    std::string firImpulseFile;
    std::string headphoneImpulseFile;
};

struct ProcessOptions {
    std::string inFile;
    std::string outFile;
    SettingsOptions settings;
    uint32_t chunkBytes = 4096;
    int64_t bufferBytes = -1;  // below 0: the chunk size
    bool log = false;
    bool quiet = false;
};

struct StateOptions {
    SettingsOptions settings;
    uint32_t sampleRate = 44100;
    uint32_t channels = 2;
    bool log = false;
};

struct PresetOptions {
    bool defaults = false;
    bool showcase = false;
};

struct DemoOptions {
    std::string outFile = "demo-out.wav";
    std::string dryFile;  // the untreated signal, when asked for
    SettingsOptions settings;  // a preset file here replaces the showcase
    uint32_t chunkBytes = 4096;
    bool log = false;
    bool quiet = false;
};

struct ReplayGainOptions {
    std::vector<std::string> files;  // files, and with recursive folders
    bool json = false;
    bool tag = false;
    bool recursive = false;
    bool skipExisting = false;
    bool quiet = false;
    unsigned jobs = 1;
};

// Each returns the exit status; problems with the input throw ToolError.
int RunProcess(const ProcessOptions& options);
int RunState(const StateOptions& options);
int RunPreset(const PresetOptions& options);
int RunDemo(const DemoOptions& options);
int RunReplayGain(const ReplayGainOptions& options);

}  // namespace lxfx
