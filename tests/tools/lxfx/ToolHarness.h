// Test support for the command-line host: a scratch folder, a way to run the
// built program and collect its output, and audio files made and read back
// with libsndfile.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lxfxtest {

struct RunResult {
    int exitStatus = -1;
    std::string out;
    std::string err;
};

// Runs the lxfx program with the arguments, without a shell.
RunResult RunLxfx(const std::vector<std::string>& args);

// A fresh folder, removed with everything in it at the end of the test.
class ScratchDir {
public:
    ScratchDir();
    ~ScratchDir();
    std::string Path(const std::string& name) const { return root + "/" + name; }
    // Names of all files in the folder, hidden ones included.
    std::vector<std::string> Files() const;

private:
    std::string root;
};

struct AudioData {
    int format = 0;  // SF_FORMAT_* container | encoding
    int channels = 0;
    int sampleRate = 0;
    // Interleaved, in the encoding's own scale: whole numbers for integer
    // encodings (-32768 to 32767 for 16-bit), floats for float files.
    std::vector<double> samples;
};

// Writes the samples in the given container and encoding.
void WriteAudio(const std::string& path, const AudioData& audio);
// Reads a whole file; fails the test when libsndfile cannot open it.
AudioData ReadAudio(const std::string& path);

void WriteText(const std::string& path, const std::string& text);
std::string ReadText(const std::string& path);
bool FileExists(const std::string& path);
std::vector<std::string> SplitLines(const std::string& text);

}  // namespace lxfxtest
