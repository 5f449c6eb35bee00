#include "ReplayGainScan.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <new>
#include <thread>

#include "AudioFile.h"
#include "ReplayGainTags.h"
#include "ToolError.h"

namespace lxfx {

namespace {

struct Decoded {
    bool ready = false;
    StreamFormat format;
    std::vector<float> samples;  // interleaved
};

void Decode(TrackScan& track, Decoded& decoded, bool skipExisting)
{
    try {
        if (skipExisting && HasTrackGainTag(track.file)) {
            track.skipped = true;
            return;
        }
        AudioFileReader reader(track.file);
        reader.ReadAsFloat();
        decoded.format = reader.Format();
        constexpr size_t kChunkFrames = 4096;
        const size_t channels = decoded.format.channels;
        if (reader.Frames() > 0)
            decoded.samples.reserve(size_t(reader.Frames()) * channels);
        for (;;) {
            const size_t at = decoded.samples.size();
            decoded.samples.resize(at + kChunkFrames * channels);
            const size_t frames = reader.Read(decoded.samples.data() + at, kChunkFrames);
            decoded.samples.resize(at + frames * channels);
            if (frames == 0)
                break;
        }
    } catch (const ToolError& error) {
        track.error = error.what();
        decoded.samples = {};
    } catch (const std::bad_alloc&) {
        track.error = track.file + ": too long to hold in memory";
        decoded.samples = {};
    }
}

// One analyser per album hears its files once, in order, as a player using
// the library would: the end of each file closes the 100 ms block being
// gathered, the file's figure is the track measurement, which is then
// cleared, and the album measurement runs on over all files. A file of
// another rate or channel count than the first needs an analyser of its
// own, and the album is not measured.
class AlbumMeasure {
public:
    void Add(TrackScan& track, const Decoded& decoded)
    {
        if (!track.error.empty() || track.skipped)
            return;
        const StreamFormat& format = decoded.format;
        if (!started) {
            started = album.Init(AUDIO_SAMPLEFORMAT_FLOAT, format.channels, format.sampleRate);
            channels = format.channels;
            sampleRate = format.sampleRate;
            if (!started) {
                track.error = Refusal(format);
                return;
            }
        }
        const bool sameFormat = format.channels == channels && format.sampleRate == sampleRate;
        ReplayGainProcessor single;
        if (!sameFormat) {
            broken = true;
            if (!single.Init(AUDIO_SAMPLEFORMAT_FLOAT, format.channels, format.sampleRate)) {
                track.error = Refusal(format);
                return;
            }
        }
        ReplayGainProcessor& analyser = sameFormat ? album : single;
        if (!decoded.samples.empty())
            analyser.PushSamples(const_cast<float*>(decoded.samples.data()),
                                 unsigned(decoded.samples.size() / format.channels), false);
        analyser.PushSamples(nullptr, 0, true);
        analyser.GetReplayGain(ReplayGainTrack, track.info);
        analyser.ResetReplayGain(ReplayGainTrack);
        ++measured;
    }
    void Finish(AlbumScan& scan)
    {
        if (measured == 0 || !started)
            scan.note = "no file could be measured";
        else if (broken)
            scan.note = "not measured: the files differ in sample rate or channel count";
        else
            album.GetReplayGain(ReplayGainAlbum, scan.info);
    }

private:
    static std::string Refusal(const StreamFormat& format)
    {
        return "the analyser refused " + std::to_string(format.sampleRate) + " Hz, " +
               std::to_string(format.channels) + " channels";
    }

    ReplayGainProcessor album;
    bool started = false;
    bool broken = false;
    size_t measured = 0;
    uint32_t channels = 0, sampleRate = 0;
};

}  // namespace

void ScanAlbums(std::vector<AlbumScan>& albums, const ScanSettings& settings)
{
    std::vector<TrackScan*> tracks;
    for (AlbumScan& album : albums)
        for (TrackScan& track : album.tracks)
            tracks.push_back(&track);
    const size_t count = tracks.size();
    std::vector<Decoded> decoded(count);
    const unsigned jobs = std::max(1u, settings.jobs);

    std::mutex mutex;
    std::condition_variable changed;
    size_t nextToDecode = 0, nextToMeasure = 0;
    bool stop = false;
    auto worker = [&] {
        std::unique_lock<std::mutex> lock(mutex);
        for (;;) {
            // Stay at most `jobs` files ahead of the album measurement.
            changed.wait(lock, [&] { return stop || nextToDecode >= count || nextToDecode < nextToMeasure + jobs; });
            if (stop || nextToDecode >= count)
                return;
            const size_t index = nextToDecode++;
            lock.unlock();
            Decode(*tracks[index], decoded[index], settings.skipExisting);
            lock.lock();
            decoded[index].ready = true;
            changed.notify_all();
        }
    };
    std::vector<std::thread> workers;
    for (unsigned i = 0; i < std::min<size_t>(jobs, count); ++i)
        workers.emplace_back(worker);

    size_t index = 0;
    for (AlbumScan& album : albums) {
        AlbumMeasure measure;
        for (TrackScan& track : album.tracks) {
            {
                std::unique_lock<std::mutex> lock(mutex);
                changed.wait(lock, [&] { return decoded[index].ready; });
            }
            measure.Add(track, decoded[index]);
            decoded[index].samples = {};
            {
                std::lock_guard<std::mutex> lock(mutex);
                nextToMeasure = ++index;
            }
            changed.notify_all();
            if (settings.progress)
                settings.progress(index);
        }
        measure.Finish(album);
        if (settings.albumDone)
            settings.albumDone(album);
    }
    {
        std::lock_guard<std::mutex> lock(mutex);
        stop = true;
    }
    changed.notify_all();
    for (std::thread& thread : workers)
        thread.join();
}

}  // namespace lxfx
