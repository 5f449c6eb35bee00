// Streaming sample-rate converter over libsoxr, for planar 32-bit float at
// soxr's default quality (its "high", 20-bit recipe, linear phase), 1 to 8
// channels. soxr hides its own filter delay: output starts at the first
// input frame, and a stream of n frames gives n * out/in frames once flushed.
//
// Process and Flush hand soxr at most kCallFrames frames of input and of
// output room per soxr call, which keeps soxr's internal FIFOs small whatever
// the caller's block. Memory: soxr allocates at Create and grows its FIFOs
// during the first blocks; once it has seen blocks of the largest size the
// caller uses, Process runs without allocating. A Flush may grow them once
// more for the tail, and soxr_clear (Clear, and the end of a drained Flush)
// rebuilds soxr's state, allocating, after which the growth of the first
// blocks happens again. Priming at Create cannot avoid that: the only way
// from primed state back to a clean stream is soxr_clear.
#pragma once

#include <cstddef>
#include <cstdint>

struct soxr;

class SoxrResampler {
public:
    static constexpr uint32_t kMaxChannels = 8;
    // out/in stays within [1/kMaxRatio, kMaxRatio]: 8 kHz to 384 kHz is 48.
    static constexpr double kMaxRatio = 256.0;
    // Largest count that Capacity returns; the FIFOs count frames in 32 bits.
    static constexpr size_t kMaxCapacityFrames = 0x7fffffff;
    static constexpr size_t kCallFrames = 1024;

    // Null when a rate is not a finite positive number, the ratio is outside
    // its range, channels is outside [1, kMaxChannels], soxr refuses or
    // memory runs out.
    static SoxrResampler* Create(double inRateHz, double outRateHz, uint32_t channels);
    void Destroy();

    // Converts up to inFrames frames from inPlanes (one pointer per channel;
    // null only with inFrames 0) into outPlanes, and returns the frames
    // written, at most outCapacity. It goes on until all input is taken and
    // soxr has no more output for it, or the room is full; input that did not
    // fit is not taken, and *inFramesUsed (when given) says how much was.
    // A soxr error ends the call with what was written so far. A Process
    // after an unfinished Flush clears first; the rest of that tail is lost.
    size_t Process(const float* const* inPlanes, size_t inFrames, float* const* outPlanes, size_t outCapacity,
                   size_t* inFramesUsed = nullptr);
    // End of input: writes what soxr still holds, up to outCapacity frames,
    // and returns the count. A result below outCapacity means the tail is
    // out and the resampler is cleared for a new stream; a full room means
    // more may follow, and the next Flush goes on from there.
    size_t Flush(float* const* outPlanes, size_t outCapacity);
    // Frames, in output frames, that soxr holds (soxr_delay).
    double Delay() const;
    // Room for the output of frames input frames: frames * out/in + Delay()
    // + 1.5, truncated; 0 when that exceeds kMaxCapacityFrames.
    size_t Capacity(size_t frames) const;
    // Drops all held input and output; ready for a new stream.
    void Clear();

    uint32_t Channels() const { return channels; }

private:
    SoxrResampler() = default;
    ~SoxrResampler();
    SoxrResampler(const SoxrResampler&) = delete;
    SoxrResampler& operator=(const SoxrResampler&) = delete;

    soxr* resampler = nullptr;
    uint32_t channels = 0;
    double ratio = 1.0;  // out/in
    bool flushing = false;
};
