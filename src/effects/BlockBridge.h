// The block bridge (used by rotate 3D and spatial audio): fits an engine that works
// on blocks of a fixed size at a fixed rate into the chain, which hands
// blocks of any size up to maxFrames at the stream's rate. Audio goes in
// through an input FIFO, and through a resampler to the engine's rate when
// the stream has another; the engine takes whole blocks from the FIFO; its
// output goes back through a second resampler, when there is one, into an
// output FIFO; and the chain gets whole blocks of maxFrames from there until
// the stream ends, when the rest comes out.
//
// Process runs the bridge's usual steps; the points worth knowing:
// - The engine works in the bridge's own planes of blockFrames frames, not
//   in the caller's block: with maxFrames below blockFrames (16-bit stereo
//   with a host buffer under 1024 bytes gets 128 frames or fewer) the
//   caller's planes are too short for it. Any maxFrames from 1 up works.
// - The resamplers are never cleared on the audio thread. libsoxr rebuilds
//   its state, allocating, on every soxr_clear, and grows its buffers again
//   in the blocks after. So a flush (bypass entered, end of stream) does not
//   end a resampler's stream: it feeds silence behind the audio until every
//   output frame of the audio is out, then more silence so that nothing of
//   it stays in the filter, and keeps count of frames on both sides to drop
//   the output that belongs to the silence. The next audio comes out as a
//   new soxr stream of silence and then that audio would give it (a new
//   stream of the audio alone differs in its first three output frames,
//   soxr's start-up), to the bit where the two rates repeat their grid
//   within 1024 input frames (44.1, 48, 32, 96 kHz and their kin), else up
//   to half an output frame late. Reset, which the host calls to seek,
//   clears them; Init and Reset then prime them with a second of silence,
//   so that soxr has grown its buffers before the first block.
//   Once settled, Process allocates nothing, bypass changes and drains
//   included (the FIFOs are made with room for all that a flush puts in
//   them).
// - A block of fewer frames than blockFrames reaches the engine with the
//   rest of its planes silent.
// - At the end of the stream a last partial block goes to the engine only
//   when the engine is past its warm-up: otherwise it would run as the
//   warm-up block and be lost. A stream shorter than one block thus comes
//   out whole, the unprocessed input behind the tail. So no input frame is lost, and at the engine's rate a
//   stream keeps its length whatever its length and bypass changes.
// - Bypass: when the output FIFO still holds frames, the block joins them and
//   whole blocks come out, whatever the count, so no frame is lost and the
//   order holds; a count of 0 with the stream draining delivers what is
//   queued.
#pragma once

#include <cstdint>

#include "common/AudioFifo.h"
#include "common/SoxrResampler.h"

// What the bridge drives. Both calls work in place on planes of blockFrames
// frames, one per channel.
class BlockEngine {
public:
    // Runs one block: *frames valid frames (at most blockFrames) in, frames
    // given out.
    virtual void ProcessBlock(float* const* planes, uint32_t* frames) = 0;
    // The bridge's flush, before the frames still queued move on: an engine
    // with a tail writes it into the planes, which come silent, and returns
    // its frame count (0 for none), and forgets or keeps its state as its
    // design says.
    virtual uint32_t FlushBlock(float* const* planes) = 0;
    // True while the next block would give no frames (a warm-up block). At
    // the end of the stream the bridge then runs no last partial block
    // through the engine, where it would be lost; its frames pass
    // unprocessed at the flush, behind the engine's tail.
    virtual bool WarmingUp() const = 0;

protected:
    ~BlockEngine() = default;
};

// A soxr stream that a flush does not end (see above). Output frame j of a
// soxr stream stands for input time j * in/out; a stretch of audio from
// input frame s to e gives output frames round(s * out/in) to
// round(e * out/in), as many as a new soxr stream of e - s frames gives
// once flushed, round((e - s) * out/in), where s falls on the grid.
//
// soxr is fed in calls of one fixed size, callFrames, staged here: a whole
// number of the periods after which the output grid repeats (in / gcd, 160
// input frames from 48 to 44.1 kHz, 147 back), at least 128 frames. So every
// stretch starts on the grid, and soxr sees the same calls whatever the
// caller's block sizes: its buffers go through states that repeat, which
// the priming has all seen, and the output does not depend on the block
// sizes. The staging delays the audio by up to callFrames - 1 frames.
// soxr takes input only as far as the output room allows: each call goes on
// until soxr has taken all of its input and given all the output it has for
// it. A drain never asks soxr to flush, so no tail is cut at the room's size.
class BlockBridgeResampler {
public:
    // Null when soxr refuses the rates or channels, or memory runs out.
    // Primes at once: allocates, and runs a second of silence.
    static BlockBridgeResampler* Create(uint32_t inRate, uint32_t outRate, uint32_t channels);
    void Destroy();

    // Converts frames frames from planes and appends what comes out to sink;
    // frames short of a whole call wait for the next Process or Drain.
    void Process(const float* const* planes, uint32_t frames, AudioFifo& sink);
    // End of a stretch: appends every output frame of the input so far.
    // Nothing to do when no input came since the last Drain.
    void Drain(AudioFifo& sink);
    // A new stream, as after Create: soxr cleared and primed again.
    // Allocates (soxr_clear).
    void Reset();

    uint32_t InRate() const { return inRate; }
    uint32_t OutRate() const { return outRate; }
    uint32_t CallFrames() const { return callFrames; }
    // Most output frames that a Process of n frames appends (the staged
    // frames included), rounded up, plus 2.
    uint32_t MaxOutput(uint32_t n) const;

private:
    BlockBridgeResampler() = default;
    ~BlockBridgeResampler();
    BlockBridgeResampler(const BlockBridgeResampler&) = delete;
    BlockBridgeResampler& operator=(const BlockBridgeResampler&) = delete;

    // round(inputFrame * out/in), in integers.
    uint64_t OutputIndex(uint64_t inputFrame) const;
    // Feeds callFrames frames from planes and sends the output in
    // [keepFrom, keepUntil) to sink (null: nowhere).
    void Feed(const float* const* planes, AudioFifo* sink);
    // Feeds calls of silence.
    void Silence(uint64_t calls, AudioFifo* sink);
    void Prime();

    SoxrResampler* soxr = nullptr;
    float* storage = nullptr;  // output planes of storageFrames, then the stage
    float* storagePlanes[SoxrResampler::kMaxChannels] = {};
    float* stagePlanes[SoxrResampler::kMaxChannels] = {};
    uint32_t storageFrames = 0;
    uint32_t callFrames = 0;
    uint32_t staged = 0;  // frames waiting in the stage
    uint32_t channels = 0;
    uint32_t inRate = 0;
    uint32_t outRate = 0;
    uint64_t inputFed = 0;    // frames soxr took, silence included
    uint64_t outputSeen = 0;  // frames soxr gave
    uint64_t keepFrom = 0;    // output frames below this are dropped
    uint64_t keepUntil = 0;   // and from this on
    bool audioPending = false;
};

class BlockBridge {
public:
    BlockBridge() = default;
    ~BlockBridge();
    BlockBridge(const BlockBridge&) = delete;
    BlockBridge& operator=(const BlockBridge&) = delete;

    // False, holding nothing, when any argument is 0, channels exceeds
    // SoxrResampler::kMaxChannels, a resampler cannot be made for the two
    // rates or memory runs out. The bypass flag survives.
    bool Init(uint32_t maxFrames, uint32_t channels, uint32_t streamRate, uint32_t engineRate, uint32_t blockFrames);
    void Release();

    // samples holds channels planes at a stride of
    // maxFrames; *frames and *draining as in AudioProcessor.
    void Process(BlockEngine& engine, float* samples, bool* draining, uint32_t* frames);
    void SetBypass(bool bypass_) { bypass = bypass_; }
    bool Bypass() const { return bypass; }
    // Both FIFOs emptied, resamplers as after Init, and the bypass taken as
    // settled, as in a new bridge. Allocates when there are resamplers.
    void Reset();

    bool Ready() const { return inputFifo != nullptr; }
    bool Resampling() const { return inputResampler != nullptr; }
    int32_t QueuedInput() const { return inputFifo ? inputFifo->Size() : 0; }
    int32_t QueuedOutput() const { return outputFifo ? outputFifo->Size() : 0; }

private:
    void BringIn(const float* const* planes, uint32_t frames);
    void SendOut(const float* const* planes, uint32_t frames);
    void RunEngine(BlockEngine& engine, uint32_t frames);
    void Flush(BlockEngine& engine);
    void SilenceWork(uint32_t fromFrame);

    AudioFifo* inputFifo = nullptr;
    AudioFifo* outputFifo = nullptr;
    BlockBridgeResampler* inputResampler = nullptr;   // stream rate to engine rate
    BlockBridgeResampler* outputResampler = nullptr;  // engine rate to stream rate
    float* workStorage = nullptr;                     // channels planes of blockFrames
    float* channelPointers[SoxrResampler::kMaxChannels] = {};
    float* workPointers[SoxrResampler::kMaxChannels] = {};
    uint32_t maxFrames = 0;
    uint32_t channels = 0;
    uint32_t streamRate = 0;
    uint32_t engineRate = 0;
    uint32_t blockFrames = 0;
    bool bypass = true;
    bool bypassPrev = true;
};
