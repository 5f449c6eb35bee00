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

void DecodeAndMeasure(TrackScan& track, Decoded& decoded, bool skipExisting)
{
    try {
        if (skipExisting && HasTrackGainTag(track.file)) {
            track.skipped = true;
            return;
        }
        AudioFileReader reader(track.file);
        reader.ReadAsFloat();
        decoded.format = reader.Format();
        const StreamFormat& format = decoded.format;
        ReplayGainProcessor analyser;
        if (!analyser.Init(AUDIO_SAMPLEFORMAT_FLOAT, format.channels, format.sampleRate))
            throw ToolError("the analyser refused " + std::to_string(format.sampleRate) + " Hz, " +
                            std::to_string(format.channels) + " channels");
        constexpr size_t kChunkFrames = 4096;
        if (reader.Frames() > 0)
            decoded.samples.reserve(size_t(reader.Frames()) * format.channels);
        for (;;) {
            const size_t at = decoded.samples.size();
            decoded.samples.resize(at + kChunkFrames * format.channels);
            const size_t frames = reader.Read(decoded.samples.data() + at, kChunkFrames);
            decoded.samples.resize(at + frames * format.channels);
            if (frames == 0)
                break;
            analyser.PushSamples(decoded.samples.data() + at, unsigned(frames), false);
        }
        // The end of the track closes the 100 ms block being gathered.
        analyser.PushSamples(nullptr, 0, true);
        analyser.GetReplayGain(ReplayGainTrack, track.info);
    } catch (const ToolError& error) {
        track.error = error.what();
        decoded.samples = {};
    } catch (const std::bad_alloc&) {
        track.error = track.file + ": too long to hold in memory";
        decoded.samples = {};
    }
}

// The album hears its files as one gapless stream, in order. Files of
// another rate or channel count than the first would need a new Init, which
// ends the measurement.
class AlbumMeasure {
public:
    void Add(const TrackScan& track, const Decoded& decoded)
    {
        if (!track.error.empty() || track.skipped)
            return;
        const StreamFormat& format = decoded.format;
        if (!started) {
            started = analyser.Init(AUDIO_SAMPLEFORMAT_FLOAT, format.channels, format.sampleRate);
            channels = format.channels;
            sampleRate = format.sampleRate;
        } else if (format.channels != channels || format.sampleRate != sampleRate) {
            broken = true;
        }
        if (started && !broken && !decoded.samples.empty())
            analyser.PushSamples(const_cast<float*>(decoded.samples.data()),
                                 unsigned(decoded.samples.size() / channels), false);
    }
    void Finish(AlbumScan& album)
    {
        size_t measured = 0;
        for (const TrackScan& track : album.tracks)
            measured += track.error.empty() && !track.skipped;
        if (measured == 0 || !started) {
            album.note = "no file could be measured";
        } else if (broken) {
            album.note = "not measured: the files differ in sample rate or channel count";
        } else {
            analyser.PushSamples(nullptr, 0, true);
            analyser.GetReplayGain(ReplayGainAlbum, album.info);
        }
    }

private:
    ReplayGainProcessor analyser;
    bool started = false;
    bool broken = false;
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
            DecodeAndMeasure(*tracks[index], decoded[index], settings.skipExisting);
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
