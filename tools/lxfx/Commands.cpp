#include "Commands.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include "AudioFile.h"
#include "DemoSignal.h"
#include "HostLoop.h"
#include "Preset.h"
#include "ProgressBar.h"
#include "ShowcasePreset.h"
#include "Summary.h"
#include "ToolError.h"
#include "ToolLogger.h"
#include "lxaudioeffects/lxaudioeffects.h"

namespace lxfx {

namespace {

struct FrontEndDeleter {
    void operator()(audiofx::AudioEffects* effects) const { effects->Destroy(); }
};
using FrontEnd = std::unique_ptr<audiofx::AudioEffects, FrontEndDeleter>;

Preset BuildPreset(const SettingsOptions& options, const char* basePresetJson)
{
    Preset preset;
    if (!options.presetFile.empty())
        preset.LoadFile(options.presetFile);
    else if (basePresetJson)
        preset.LoadText(basePresetJson, "showcase preset");
    // An impulse given on the command line is meant to be heard.
    if (!options.firImpulseFile.empty()) {
        preset.SetText("fir.impulse", options.firImpulseFile);
        preset.Set("fir.on=true");
    }
    if (!options.headphoneImpulseFile.empty()) {
        preset.SetText("headphone.impulse", options.headphoneImpulseFile);
        preset.Set("headphone.on=true");
    }
    for (const std::string& assignment : options.overrides)
        preset.Set(assignment);
    return preset;
}

// A front end set up as a player does it: logger, settings, then Init.
FrontEnd MakeFrontEnd(const Preset& preset, const StreamFormat& format, uint32_t bufferBytes,
                      ToolLogger& logger)
{
    FrontEnd effects(audiofx::AudioEffects::Create());
    if (!effects)
        throw std::runtime_error("out of memory");
    effects->SetLogger(&logger);
    ApplySettings(preset.Settings(), preset.Groups(), *effects);
    if (!effects->Init(format.sampleFormat, format.channels, format.sampleRate, bufferBytes))
        throw ToolError("the library refused " + std::to_string(format.sampleRate) + " Hz, " +
                        std::to_string(format.channels) + " channels, " +
                        SampleFormatName(format.sampleFormat) + " samples: " +
                        logger.LastFailure());
    return effects;
}

// Passes frames on to a second sink, e.g. the demo's untreated copy.
class TeeSource : public PcmSource {
public:
    TeeSource(PcmSource& source_, PcmSink* copy_) : source(source_), copy(copy_) {}
    size_t Read(void* frames, size_t count) override
    {
        const size_t got = source.Read(frames, count);
        if (copy && got)
            copy->Write(frames, got);
        return got;
    }

private:
    PcmSource& source;
    PcmSink* copy;
};

// Two names of one file, e.g. "out.wav" and "./out.wav".
bool SameFile(const std::string& a, const std::string& b)
{
    namespace fs = std::filesystem;
    // A name that cannot be resolved counts as different; the writers then
    // report their own errors.
    auto resolve = [](const std::string& name, fs::path& resolved) {
        std::error_code error;
        const fs::path absolute = fs::absolute(name, error);
        if (!error)
            resolved = fs::weakly_canonical(absolute, error);
        return !error;
    };
    fs::path pathA, pathB;
    return resolve(a, pathA) && resolve(b, pathB) && pathA == pathB;
}

}  // namespace

int RunProcess(const ProcessOptions& options)
{
    AudioFileReader reader(options.inFile);
    const StreamFormat& format = reader.Format();
    const Preset preset = BuildPreset(options.settings, nullptr);
    ToolLogger logger(options.log);
    const uint32_t bufferBytes =
        options.bufferBytes < 0 ? options.chunkBytes : uint32_t(options.bufferBytes);
    FrontEnd effects = MakeFrontEnd(preset, format, bufferBytes, logger);
    AudioFileWriter writer(options.outFile, format, reader.FileFormat());

    HostLoopResult result = [&] {
        ProgressBar progress(reader.Frames(), format.sampleRate, options.quiet);
        return RunHostLoop(*effects, format, reader, writer, options.chunkBytes,
                           [&](uint64_t frames) { progress.Update(frames); });
    }();
    writer.Commit();
    PrintSummary(stdout, options.inFile, options.outFile, format, result);
    return 0;
}

int RunState(const StateOptions& options)
{
    const Preset preset = BuildPreset(options.settings, nullptr);
    ToolLogger logger(options.log);
    StreamFormat format;
    format.sampleFormat = AUDIO_SAMPLEFORMAT_S16;
    format.channels = options.channels;
    format.sampleRate = options.sampleRate;
    FrontEnd effects = MakeFrontEnd(preset, format, 0, logger);
    logger.Take();
    effects->DumpState();
    for (const LogLine& line : logger.Take())
        std::printf("%s\n", line.text.c_str());
    return 0;
}

int RunPreset(const PresetOptions& options)
{
    Preset preset;
    if (options.showcase)
        preset.LoadText(ShowcasePresetJson(), "showcase preset");
    else if (!options.defaults)
        throw ToolError("preset: give --defaults or --showcase");
    std::printf("%s\n", preset.ToJson().c_str());
    return 0;
}

int RunDemo(const DemoOptions& options)
{
    // Both writers would share one temporary file and one rename.
    if (!options.dryFile.empty() && SameFile(options.dryFile, options.outFile))
        throw ToolError("--dry and --out name the same file \"" + options.outFile + "\"");
    DemoSignal signal;
    const StreamFormat format = signal.Format();
    const Preset preset = BuildPreset(options.settings, ShowcasePresetJson());
    ToolLogger logger(options.log);
    FrontEnd effects = MakeFrontEnd(preset, format, options.chunkBytes, logger);
    AudioFileWriter writer(options.outFile, format, 0);
    std::unique_ptr<AudioFileWriter> dryWriter;
    if (!options.dryFile.empty())
        dryWriter = std::make_unique<AudioFileWriter>(options.dryFile, format, 0);
    TeeSource source(signal, dryWriter.get());

    HostLoopResult result = [&] {
        ProgressBar progress(int64_t(signal.Frames()), format.sampleRate, options.quiet);
        return RunHostLoop(*effects, format, source, writer, options.chunkBytes,
                           [&](uint64_t frames) { progress.Update(frames); });
    }();
    writer.Commit();
    if (dryWriter)
        dryWriter->Commit();
    PrintSummary(stdout, "demo signal", options.outFile, format, result);
    return 0;
}

}  // namespace lxfx
