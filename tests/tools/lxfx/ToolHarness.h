// Test support for the command-line host: a scratch folder, a way to run the
// built program and collect its output, and audio files made and read back
// with libsndfile. It brings the headers every test of the tool uses.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sndfile.hh>

extern char** environ;

namespace lxfxtest {

inline void WriteText(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

inline std::string ReadText(const std::string& path)
{
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

inline std::vector<std::string> SplitLines(const std::string& text)
{
    std::vector<std::string> lines;
    std::stringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// A fresh folder, removed with everything in it at the end of the test.
class ScratchDir {
public:
    ScratchDir() : root(std::filesystem::temp_directory_path().string() + "/lxfx-test-XXXXXX")
    {
        if (!mkdtemp(root.data()))
            ADD_FAILURE() << "cannot make a scratch folder";
    }
    ~ScratchDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    std::string Path(const std::string& name) const { return root + "/" + name; }
    // Hidden files count too: a stray temporary is a fault.
    size_t FileCount() const { return size_t(std::distance(std::filesystem::directory_iterator(root), {})); }

private:
    std::string root;
};

struct RunResult {
    int exitStatus;
    std::string out, err;
};

// Runs the lxfx program with the arguments, without a shell.
inline RunResult RunLxfx(std::vector<std::string> args)
{
    const ScratchDir capture;
    const std::string outPath = capture.Path("stdout"), errPath = capture.Path("stderr");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT, 0644);
    args.insert(args.begin(), LXFX_BINARY);
    std::vector<char*> argv;
    for (std::string& arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    int status = 0;
    if (posix_spawn(&pid, LXFX_BINARY, &actions, nullptr, argv.data(), environ) != 0 ||
        waitpid(pid, &status, 0) != pid)
        ADD_FAILURE() << "cannot run " << LXFX_BINARY;
    posix_spawn_file_actions_destroy(&actions);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), ReadText(outPath), ReadText(errPath)};
}

struct AudioData {
    int format = 0;  // SF_FORMAT_* container | encoding
    int channels = 0;
    int sampleRate = 0;
    // Interleaved, in the encoding's own scale: whole numbers for integer
    // encodings (-32768 to 32767 for 16-bit), floats for float files.
    std::vector<double> samples;
};

inline void WriteAudio(const std::string& path, const AudioData& audio)
{
    SndfileHandle file(path, SFM_WRITE, audio.format, audio.channels, audio.sampleRate);
    ASSERT_EQ(file.error(), 0) << path << ": " << file.strError();
    file.command(SFC_SET_NORM_DOUBLE, nullptr, SF_FALSE);
    const sf_count_t frames = sf_count_t(audio.samples.size() / audio.channels);
    EXPECT_EQ(file.writef(audio.samples.data(), frames), frames);
}

// Reads a whole file; fails the test when libsndfile cannot open it.
inline AudioData ReadAudio(const std::string& path)
{
    SndfileHandle file(path);
    EXPECT_EQ(file.error(), 0) << path << ": " << file.strError();
    AudioData audio{file.format(), file.channels(), file.samplerate(), {}};
    audio.samples.resize(size_t(file.frames()) * size_t(file.channels()));
    file.command(SFC_SET_NORM_DOUBLE, nullptr, SF_FALSE);
    EXPECT_EQ(file.readf(audio.samples.data(), file.frames()), file.frames());
    return audio;
}

}  // namespace lxfxtest
