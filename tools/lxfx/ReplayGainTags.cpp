#include "ReplayGainTags.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>

#include <taglib/aifffile.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <taglib/opusfile.h>
#include <taglib/textidentificationframe.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/xiphcomment.h>

#include "ToolError.h"

namespace lxfx {

namespace {

enum class Container { Flac, Ogg, Mp3, Wav, Aiff, Other };

Container ContainerOf(const std::string& path)
{
    const size_t dot = path.find_last_of('.');
    std::string extension = dot == std::string::npos ? "" : path.substr(dot + 1);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    if (extension == "flac")
        return Container::Flac;
    if (extension == "ogg" || extension == "oga" || extension == "opus")
        return Container::Ogg;
    if (extension == "mp3")
        return Container::Mp3;
    if (extension == "wav" || extension == "wave")
        return Container::Wav;
    if (extension == "aif" || extension == "aiff" || extension == "aifc")
        return Container::Aiff;
    return Container::Other;
}

const char* const kTrackGain = "REPLAYGAIN_TRACK_GAIN";
const char* const kTrackPeak = "REPLAYGAIN_TRACK_PEAK";
const char* const kAlbumGain = "REPLAYGAIN_ALBUM_GAIN";
const char* const kAlbumPeak = "REPLAYGAIN_ALBUM_PEAK";

std::string GainText(float gainDb)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.2f dB", double(gainDb));
    return text;
}

std::string PeakText(float peak)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.6f", double(peak));
    return text;
}

// Opus gains are Q7.8 dB against -23 LUFS; ours are against -18.
std::string R128Text(float gainDb)
{
    const double q78 = std::round((double(gainDb) - 5.0) * 256.0);
    return std::to_string(int(std::clamp(q78, -32768.0, 32767.0)));
}

// The tag a file keeps its ReplayGain in, one of two kinds.
struct TagAccess {
    std::unique_ptr<TagLib::File> file;
    TagLib::Ogg::XiphComment* xiph = nullptr;
    TagLib::ID3v2::Tag* id3 = nullptr;
    bool opus = false;
    std::function<bool()> save;
};

// Opens the file's tag, creating one when create is set; no tag when TagLib
// cannot read the file or the format takes none.
TagAccess OpenTag(const std::string& path, Container container, bool create)
{
    TagAccess access;
    const char* name = path.c_str();
    switch (container) {
    case Container::Flac: {
        auto* file = new TagLib::FLAC::File(name, false);
        access.file.reset(file);
        if (file->isValid())
            access.xiph = file->xiphComment(create);
        access.save = [file] { return file->save(); };
        break;
    }
    case Container::Ogg: {
        auto* vorbis = new TagLib::Ogg::Vorbis::File(name, false);
        access.file.reset(vorbis);
        if (vorbis->isValid()) {
            access.xiph = vorbis->tag();
            access.save = [vorbis] { return vorbis->save(); };
            break;
        }
        auto* opus = new TagLib::Ogg::Opus::File(name, false);
        access.file.reset(opus);
        if (opus->isValid()) {
            access.xiph = opus->tag();
            access.opus = true;
        }
        access.save = [opus] { return opus->save(); };
        break;
    }
    case Container::Mp3: {
        auto* file = new TagLib::MPEG::File(name, false);
        access.file.reset(file);
        if (file->isValid())
            access.id3 = file->ID3v2Tag(create);
        // Only the ID3v2 tag is written; any ID3v1 or APE tag stays as it is.
        access.save = [file] {
            return file->save(TagLib::MPEG::File::ID3v2, TagLib::File::StripNone, TagLib::ID3v2::v4,
                              TagLib::File::DoNotDuplicate);
        };
        break;
    }
    case Container::Wav: {
        auto* file = new TagLib::RIFF::WAV::File(name, false);
        access.file.reset(file);
        if (file->isValid())
            access.id3 = file->ID3v2Tag();
        access.save = [file] {
            return file->save(TagLib::RIFF::WAV::File::AllTags, TagLib::File::StripNone, TagLib::ID3v2::v4);
        };
        break;
    }
    case Container::Aiff: {
        auto* file = new TagLib::RIFF::AIFF::File(name, false);
        access.file.reset(file);
        if (file->isValid())
            access.id3 = file->tag();
        access.save = [file] { return file->save(); };
        break;
    }
    case Container::Other: break;
    }
    return access;
}

bool HasTxxx(TagLib::ID3v2::Tag* tag, const char* description)
{
    // Frames may carry the description in any case.
    for (TagLib::ID3v2::Frame* frame : tag->frameList("TXXX")) {
        auto* txxx = dynamic_cast<TagLib::ID3v2::UserTextIdentificationFrame*>(frame);
        if (txxx && txxx->description().upper() == description)
            return true;
    }
    return false;
}

void RemoveTxxx(TagLib::ID3v2::Tag* tag, const char* description)
{
    // A copy: removing a frame changes the tag's own list.
    const TagLib::ID3v2::FrameList frames = tag->frameList("TXXX");
    for (TagLib::ID3v2::Frame* frame : frames) {
        auto* txxx = dynamic_cast<TagLib::ID3v2::UserTextIdentificationFrame*>(frame);
        if (txxx && txxx->description().upper() == description)
            tag->removeFrame(frame);
    }
}

void SetTxxx(TagLib::ID3v2::Tag* tag, const char* description, const std::string& value)
{
    RemoveTxxx(tag, description);
    auto* frame = new TagLib::ID3v2::UserTextIdentificationFrame(TagLib::String::UTF8);
    frame->setDescription(description);
    frame->setText(TagLib::String(value, TagLib::String::UTF8));
    tag->addFrame(frame);
}

// A temporary file beside path, removed unless released.
class TempCopy {
public:
    explicit TempCopy(const std::string& original) : path(original + ".lxfx-tag-XXXXXX")
    {
        struct stat status;
        if (stat(original.c_str(), &status) != 0)
            throw ToolError("cannot read it");
        const int out = mkstemp(path.data());
        if (out < 0)
            throw ToolError("cannot write beside it");
        created = true;
        const int in = open(original.c_str(), O_RDONLY);
        bool copied = in >= 0;
        char buffer[1 << 16];
        for (ssize_t got; copied && (got = read(in, buffer, sizeof buffer)) > 0;)
            copied = write(out, buffer, size_t(got)) == got;
        if (in >= 0)
            close(in);
        copied = fchmod(out, status.st_mode & 07777) == 0 && copied;
        copied = close(out) == 0 && copied;
        if (!copied)
            throw ToolError("cannot copy it to write its tags");
    }
    ~TempCopy()
    {
        if (created)
            unlink(path.c_str());
    }
    void ReplaceOriginal(const std::string& original)
    {
        if (rename(path.c_str(), original.c_str()) != 0)
            throw ToolError("cannot replace it with the tagged copy");
        created = false;
    }
    std::string path;

private:
    bool created = false;
};

}  // namespace

bool HasTrackGainTag(const std::string& path)
{
    const TagAccess access = OpenTag(path, ContainerOf(path), false);
    if (access.xiph)
        return access.xiph->contains(kTrackGain) || (access.opus && access.xiph->contains("R128_TRACK_GAIN"));
    return access.id3 && HasTxxx(access.id3, kTrackGain);
}

void WriteReplayGainTags(const std::string& path, const GainFigures& track, const GainFigures* album)
{
    const Container container = ContainerOf(path);
    if (container == Container::Other)
        throw ToolError("cannot write tags into this kind of file");
    TempCopy copy(path);
    {
        TagAccess access = OpenTag(copy.path, container, true);
        if (!access.xiph && !access.id3)
            throw ToolError("cannot read its tags");
        if (access.xiph) {
            TagLib::Ogg::XiphComment* xiph = access.xiph;
            xiph->addField(kTrackGain, GainText(track.gainDb), true);
            xiph->addField(kTrackPeak, PeakText(track.peak), true);
            if (album) {
                xiph->addField(kAlbumGain, GainText(album->gainDb), true);
                xiph->addField(kAlbumPeak, PeakText(album->peak), true);
            } else {
                xiph->removeFields(kAlbumGain);
                xiph->removeFields(kAlbumPeak);
            }
            if (access.opus) {
                xiph->addField("R128_TRACK_GAIN", R128Text(track.gainDb), true);
                if (album)
                    xiph->addField("R128_ALBUM_GAIN", R128Text(album->gainDb), true);
                else
                    xiph->removeFields("R128_ALBUM_GAIN");
            }
        } else {
            TagLib::ID3v2::Tag* id3 = access.id3;
            SetTxxx(id3, kTrackGain, GainText(track.gainDb));
            SetTxxx(id3, kTrackPeak, PeakText(track.peak));
            if (album) {
                SetTxxx(id3, kAlbumGain, GainText(album->gainDb));
                SetTxxx(id3, kAlbumPeak, PeakText(album->peak));
            } else {
                RemoveTxxx(id3, kAlbumGain);
                RemoveTxxx(id3, kAlbumPeak);
            }
        }
        if (!access.save())
            throw ToolError("TagLib could not save its tags");
    }
    copy.ReplaceOriginal(path);
}

}  // namespace lxfx
