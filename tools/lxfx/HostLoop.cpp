#include "HostLoop.h"

#include <time.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <vector>

namespace lxfx {

namespace {

// CPU time of this thread: the library does all its work on the caller's
// thread, and unlike wall time it does not grow when the machine is busy.
struct ThreadCpuClock {
    using duration = std::chrono::nanoseconds;
    using time_point = std::chrono::time_point<ThreadCpuClock>;
    static time_point now()
    {
        timespec t{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
        return time_point(duration(int64_t(t.tv_sec) * 1000000000 + t.tv_nsec));
    }
};

}  // namespace

HostLoopResult RunHostLoop(audiofx::AudioEffects& effects, const StreamFormat& format,
                           PcmSource& source, PcmSink& sink, uint32_t chunkBytes,
                           const ProgressFn& progress)
{
    using Clock = ThreadCpuClock;
    const uint32_t frameBytes = format.BytesPerFrame();
    const uint32_t chunkFrames = std::max<uint32_t>(1, chunkBytes / frameBytes);
    std::vector<uint8_t> inChunk(size_t(chunkFrames) * frameBytes);
    std::vector<uint8_t> outChunk(inChunk.size());
    HostLoopResult result{SignalMeter(format), SignalMeter(format), 0.0};
    Clock::duration libraryTime{};

    // Pulls until nothing is ready; returns true once the stream has ended.
    auto pullReady = [&]() {
        for (;;) {
            uint32_t bytes = uint32_t(outChunk.size());
            bool end = false;
            const auto start = Clock::now();
            effects.Pull(outChunk.data(), &bytes, &end);
            libraryTime += Clock::now() - start;
            const size_t frames = bytes / frameBytes;
            if (frames) {
                result.out.Add(outChunk.data(), frames);
                sink.Write(outChunk.data(), frames);
            }
            if (end)
                return true;
            if (!frames)
                return false;
        }
    };

    uint64_t pushed = 0;
    for (size_t frames; (frames = source.Read(inChunk.data(), chunkFrames)) > 0;) {
        result.in.Add(inChunk.data(), frames);
        // The stream position in milliseconds, as a player reports it.
        const int32_t positionMs = int32_t(pushed * 1000 / format.sampleRate);
        const auto start = Clock::now();
        effects.Push(inChunk.data(), uint32_t(frames * frameBytes), positionMs);
        libraryTime += Clock::now() - start;
        pushed += frames;
        pullReady();
        if (progress)
            progress(pushed);
    }
    // End of stream: the whole tail is processed inside this call.
    const auto start = Clock::now();
    effects.Push(nullptr, 0, -1);
    libraryTime += Clock::now() - start;
    if (!pullReady())
        throw std::runtime_error("the front end did not end the stream");
    result.libraryTimeS = std::chrono::duration<double>(libraryTime).count();
    return result;
}

}  // namespace lxfx
