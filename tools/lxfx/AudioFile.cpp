#include "AudioFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <vector>

#include <sndfile.h>

#include "ToolError.h"

namespace lxfx {

namespace {

AUDIO_SAMPLEFORMAT LibraryFormatFor(int encoding)
{
    switch (encoding) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
        return AUDIO_SAMPLEFORMAT_U8;
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_ALAW:
    case SF_FORMAT_ULAW:
    case SF_FORMAT_IMA_ADPCM:
    case SF_FORMAT_MS_ADPCM:
    case SF_FORMAT_GSM610:
    case SF_FORMAT_DWVW_12:
    case SF_FORMAT_DWVW_16:
        return AUDIO_SAMPLEFORMAT_S16;
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_DWVW_24:
        return AUDIO_SAMPLEFORMAT_S32;
    case SF_FORMAT_DOUBLE:
        return AUDIO_SAMPLEFORMAT_DOUBLE;
    default:  // float and the lossy codecs
        return AUDIO_SAMPLEFORMAT_FLOAT;
    }
}

struct Container {
    const char* extension;
    int format;
};

const Container kContainers[] = {
    {"wav", SF_FORMAT_WAV},   {"wave", SF_FORMAT_WAV}, {"w64", SF_FORMAT_W64},
    {"rf64", SF_FORMAT_RF64}, {"flac", SF_FORMAT_FLAC}, {"aif", SF_FORMAT_AIFF},
    {"aiff", SF_FORMAT_AIFF}, {"aifc", SF_FORMAT_AIFF}, {"ogg", SF_FORMAT_OGG},
    {"oga", SF_FORMAT_OGG},   {"caf", SF_FORMAT_CAF},  {"au", SF_FORMAT_AU},
    {"snd", SF_FORMAT_AU},
};

std::string Lowercase(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

int ContainerFor(const std::string& path)
{
    const size_t slash = path.rfind('/');
    const size_t dot = path.rfind('.');
    const std::string extension =
        dot == std::string::npos || (slash != std::string::npos && dot < slash)
            ? ""
            : Lowercase(path.substr(dot + 1));
    for (const Container& container : kContainers)
        if (extension == container.extension)
            return container.format;
    throw ToolError("cannot tell the output format from \"" + path +
                    "\": use the extension .wav, .flac, .aiff, .ogg, .caf, .au, .w64 or .rf64");
}

// The input's encoding when the container takes it, else the encoding of the
// library format, else the closest one the container does take.
int ChooseEncoding(int container, int hint, const StreamFormat& format)
{
    std::vector<int> candidates;
    if (hint)
        candidates.push_back(hint);
    switch (format.sampleFormat) {
    case AUDIO_SAMPLEFORMAT_U8:
        candidates.insert(candidates.end(), {SF_FORMAT_PCM_U8, SF_FORMAT_PCM_S8, SF_FORMAT_PCM_16});
        break;
    case AUDIO_SAMPLEFORMAT_S16:
        candidates.push_back(SF_FORMAT_PCM_16);
        break;
    case AUDIO_SAMPLEFORMAT_S32:
        candidates.insert(candidates.end(), {SF_FORMAT_PCM_32, SF_FORMAT_PCM_24});
        break;
    case AUDIO_SAMPLEFORMAT_DOUBLE:
        candidates.insert(candidates.end(), {SF_FORMAT_DOUBLE, SF_FORMAT_FLOAT});
        break;
    default:
        candidates.push_back(SF_FORMAT_FLOAT);
        break;
    }
    candidates.insert(candidates.end(), {SF_FORMAT_PCM_24, SF_FORMAT_PCM_16, SF_FORMAT_VORBIS});
    for (int encoding : candidates) {
        SF_INFO info = {};
        info.samplerate = static_cast<int>(format.sampleRate);
        info.channels = static_cast<int>(format.channels);
        info.format = container | encoding;
        if (sf_format_check(&info))
            return container | encoding;
    }
    throw ToolError("no sample encoding of this container holds " +
                    std::to_string(format.channels) + " channels at " +
                    std::to_string(format.sampleRate) + " Hz");
}

// Ctrl-C while writing removes the temporary file before the tool ends.
char g_tempPathForSignal[4096];

void RemoveTempAndDie(int signal)
{
    if (g_tempPathForSignal[0])
        unlink(g_tempPathForSignal);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void GuardTempPath(const std::string& path)
{
    if (path.size() < sizeof g_tempPathForSignal) {
        std::memcpy(g_tempPathForSignal, path.c_str(), path.size() + 1);
        std::signal(SIGINT, RemoveTempAndDie);
        std::signal(SIGTERM, RemoveTempAndDie);
    }
}

void ReleaseTempPath()
{
    g_tempPathForSignal[0] = '\0';
}

}  // namespace

AudioFileReader::AudioFileReader(const std::string& path)
{
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        throw ToolError(errno == ENOENT ? "input file not found: \"" + path + "\""
                                        : "cannot read input \"" + path + "\": " +
                                              std::strerror(errno));
    if (S_ISDIR(status.st_mode))
        throw ToolError("cannot read input \"" + path + "\": it is a folder");
    const int descriptor = open(path.c_str(), O_RDONLY);
    if (descriptor < 0)
        throw ToolError("cannot read input \"" + path + "\": " + std::strerror(errno));
    SF_INFO info = {};
    file = sf_open_fd(descriptor, SFM_READ, &info, SF_TRUE);
    if (!file)
        throw ToolError("\"" + path + "\" is not in an audio format libsndfile reads (" +
                        sf_strerror(nullptr) + ")");
    if (info.channels <= 0 || info.samplerate <= 0) {
        sf_close(file);
        throw ToolError("\"" + path + "\" has no channels or no sample rate");
    }
    fileFormat = info.format;
    format.sampleFormat = LibraryFormatFor(info.format & SF_FORMAT_SUBMASK);
    format.channels = static_cast<uint32_t>(info.channels);
    format.sampleRate = static_cast<uint32_t>(info.samplerate);
    frames = info.frames >= 0 && info.frames < SF_COUNT_MAX ? int64_t(info.frames) : -1;
}

AudioFileReader::~AudioFileReader()
{
    if (file)
        sf_close(file);
}

size_t AudioFileReader::Read(void* out, size_t count)
{
    sf_count_t got = 0;
    switch (format.sampleFormat) {
    case AUDIO_SAMPLEFORMAT_U8: {
        // libsndfile has no 8-bit reads; its 16-bit values are the 8-bit ones
        // shifted up, so the shift back is exact.
        widened.resize(count * format.channels);
        got = sf_readf_short(file, widened.data(), sf_count_t(count));
        uint8_t* bytes = static_cast<uint8_t*>(out);
        for (size_t i = 0; i < size_t(got) * format.channels; ++i)
            bytes[i] = uint8_t((widened[i] >> 8) + 128);
        break;
    }
    case AUDIO_SAMPLEFORMAT_S16:
        got = sf_readf_short(file, static_cast<short*>(out), sf_count_t(count));
        break;
    case AUDIO_SAMPLEFORMAT_S32:
        got = sf_readf_int(file, static_cast<int*>(out), sf_count_t(count));
        break;
    case AUDIO_SAMPLEFORMAT_DOUBLE:
        got = sf_readf_double(file, static_cast<double*>(out), sf_count_t(count));
        break;
    default:
        got = sf_readf_float(file, static_cast<float*>(out), sf_count_t(count));
        break;
    }
    return got > 0 ? size_t(got) : 0;
}

AudioFileWriter::AudioFileWriter(const std::string& path_, const StreamFormat& format_,
                                 int encodingHint)
    : format(format_), path(path_)
{
    const int container = ContainerFor(path);
    struct stat status;
    if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
        throw ToolError("cannot write output \"" + path + "\": it is a folder");
    SF_INFO info = {};
    info.samplerate = static_cast<int>(format.sampleRate);
    info.channels = static_cast<int>(format.channels);
    info.format = ChooseEncoding(container, encodingHint & SF_FORMAT_SUBMASK, format);

    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash);
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    tempPath = folder + "/." + name + ".lxfx-" + std::to_string(getpid()) + ".tmp";
    const int descriptor = open(tempPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (descriptor < 0)
        throw ToolError("cannot write output \"" + path + "\": " + std::strerror(errno));
    GuardTempPath(tempPath);
    file = sf_open_fd(descriptor, SFM_WRITE, &info, SF_TRUE);
    if (!file) {
        close(descriptor);
        Discard();
        throw ToolError("cannot write output \"" + path + "\": " + sf_strerror(nullptr));
    }
    // Float samples beyond full scale clip in integer files instead of wrapping.
    sf_command(file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
}

AudioFileWriter::~AudioFileWriter()
{
    Discard();
}

void AudioFileWriter::Discard()
{
    if (file) {
        sf_close(file);
        file = nullptr;
    }
    if (!tempPath.empty()) {
        unlink(tempPath.c_str());
        tempPath.clear();
        ReleaseTempPath();
    }
}

void AudioFileWriter::Write(const void* frames, size_t count)
{
    sf_count_t put = 0;
    switch (format.sampleFormat) {
    case AUDIO_SAMPLEFORMAT_U8: {
        widened.resize(count * format.channels);
        const uint8_t* bytes = static_cast<const uint8_t*>(frames);
        for (size_t i = 0; i < widened.size(); ++i)
            widened[i] = short((int(bytes[i]) - 128) * 256);
        put = sf_writef_short(file, widened.data(), sf_count_t(count));
        break;
    }
    case AUDIO_SAMPLEFORMAT_S16:
        put = sf_writef_short(file, static_cast<const short*>(frames), sf_count_t(count));
        break;
    case AUDIO_SAMPLEFORMAT_S32:
        put = sf_writef_int(file, static_cast<const int*>(frames), sf_count_t(count));
        break;
    case AUDIO_SAMPLEFORMAT_DOUBLE:
        put = sf_writef_double(file, static_cast<const double*>(frames), sf_count_t(count));
        break;
    default:
        put = sf_writef_float(file, static_cast<const float*>(frames), sf_count_t(count));
        break;
    }
    if (put != sf_count_t(count))
        throw ToolError("cannot write output \"" + path + "\": " + sf_strerror(file));
}

void AudioFileWriter::Commit()
{
    const int closed = sf_close(file);
    file = nullptr;
    if (closed != 0)
        throw ToolError("cannot write output \"" + path + "\": " + sf_error_number(closed));
    if (std::rename(tempPath.c_str(), path.c_str()) != 0)
        throw ToolError("cannot write output \"" + path + "\": " + std::strerror(errno));
    tempPath.clear();
    ReleaseTempPath();
}

}  // namespace lxfx
