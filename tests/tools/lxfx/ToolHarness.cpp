#include "ToolHarness.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <sndfile.h>

extern char** environ;

namespace lxfxtest {

RunResult RunLxfx(const std::vector<std::string>& args)
{
    const ScratchDir capture;
    const std::string outPath = capture.Path("stdout");
    const std::string errPath = capture.Path("stderr");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::vector<std::string> all = {LXFX_BINARY};
    all.insert(all.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& arg : all)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    RunResult result;
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, LXFX_BINARY, &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        ADD_FAILURE() << "cannot start " << LXFX_BINARY;
        return result;
    }
    int status = 0;
    waitpid(pid, &status, 0);
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.out = ReadText(outPath);
    result.err = ReadText(errPath);
    return result;
}

ScratchDir::ScratchDir()
{
    std::string pattern = std::filesystem::temp_directory_path().string() + "/lxfx-test-XXXXXX";
    if (!mkdtemp(pattern.data()))
        ADD_FAILURE() << "cannot make a scratch folder";
    root = pattern;
}

ScratchDir::~ScratchDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
}

std::vector<std::string> ScratchDir::Files() const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(root))
        names.push_back(entry.path().filename().string());
    return names;
}

void WriteAudio(const std::string& path, const AudioData& audio)
{
    SF_INFO info = {};
    info.format = audio.format;
    info.channels = audio.channels;
    info.samplerate = audio.sampleRate;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << path << ": " << sf_strerror(nullptr);
    sf_command(file, SFC_SET_NORM_DOUBLE, nullptr, SF_FALSE);
    const sf_count_t frames = sf_count_t(audio.samples.size() / audio.channels);
    EXPECT_EQ(sf_writef_double(file, audio.samples.data(), frames), frames);
    sf_close(file);
}

AudioData ReadAudio(const std::string& path)
{
    AudioData audio;
    SF_INFO info = {};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file) {
        ADD_FAILURE() << path << ": " << sf_strerror(nullptr);
        return audio;
    }
    audio.format = info.format;
    audio.channels = info.channels;
    audio.sampleRate = info.samplerate;
    sf_command(file, SFC_SET_NORM_DOUBLE, nullptr, SF_FALSE);
    audio.samples.resize(size_t(info.frames) * info.channels);
    EXPECT_EQ(sf_readf_double(file, audio.samples.data(), info.frames), info.frames);
    sf_close(file);
    return audio;
}

void WriteText(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

std::string ReadText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

bool FileExists(const std::string& path)
{
    return std::filesystem::exists(path);
}

std::vector<std::string> SplitLines(const std::string& text)
{
    std::vector<std::string> lines;
    std::stringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

}  // namespace lxfxtest
