#include "effects/BlockBridge.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <new>

namespace {

constexpr uint64_t kForever = std::numeric_limits<uint64_t>::max();
// soxr is fed in calls of one fixed size, a whole number of the grid's
// periods of at least this many frames.
constexpr uint32_t kMinCallFrames = 128;
// The output grid repeats every in / gcd(in, out) input frames; where that is
// longer than this, calls are kMinCallFrames and stretches start off the grid.
// So a call is at most this long.
constexpr uint32_t kMaxPeriod = 1024;
// Silence comes from here, every channel reading the same zeros.
const float kSilence[kMaxPeriod] = {};
// A drain that has not seen its audio out after this much silence gives up
// (soxr failing); real drains take some hundreds to a few thousand frames.
constexpr uint64_t kMaxDrainFrames = uint64_t(1) << 20;
// Priming: this much silence lets soxr grow its buffers before the audio
// comes. Its state under a fixed call size repeats; a second covers it at
// rates from 8 to 384 kHz (the tests run the bridge and the front end through
// random block sizes, bypass changes and drains without an allocation).
// It costs about 0.5 ms at 48 kHz, 1.6 ms at 384 kHz, per resampler.
constexpr double kPrimeSeconds = 1.0;
// Output storage of a resampler: one call's output and this much more.
constexpr uint32_t kStorageSlack = 256;
// Room in the FIFOs for what one drain of a resampler adds.
constexpr uint32_t kDrainRoomFrames = 8192;

uint32_t Gcd(uint32_t a, uint32_t b)
{
    while (b) {
        const uint32_t t = a % b;
        a = b;
        b = t;
    }
    return a;
}

}  // namespace

// --- BlockBridgeResampler ---

BlockBridgeResampler* BlockBridgeResampler::Create(uint32_t inRate, uint32_t outRate, uint32_t channels)
{
    if (inRate == 0 || outRate == 0 || channels == 0 || channels > SoxrResampler::kMaxChannels)
        return nullptr;
    BlockBridgeResampler* r = new (std::nothrow) BlockBridgeResampler();
    if (!r)
        return nullptr;
    r->inRate = inRate;
    r->outRate = outRate;
    r->channels = channels;
    const uint32_t period = inRate / Gcd(inRate, outRate);
    r->callFrames = period <= kMaxPeriod ? period * ((kMinCallFrames + period - 1) / period) : kMinCallFrames;
    r->storageFrames = uint32_t((uint64_t(r->callFrames) * outRate + inRate - 1) / inRate) + kStorageSlack;
    r->soxr = SoxrResampler::Create(double(inRate), double(outRate), channels);
    if (r->soxr)
        r->storage = new (std::nothrow) float[size_t(channels) * (r->storageFrames + r->callFrames)];
    if (!r->storage) {
        r->Destroy();
        return nullptr;
    }
    for (uint32_t c = 0; c < channels; ++c) {
        r->storagePlanes[c] = r->storage + size_t(c) * r->storageFrames;
        r->stagePlanes[c] = r->storage + size_t(channels) * r->storageFrames + size_t(c) * r->callFrames;
    }
    r->Prime();
    return r;
}

void BlockBridgeResampler::Destroy()
{
    delete this;
}

BlockBridgeResampler::~BlockBridgeResampler()
{
    if (soxr)
        soxr->Destroy();
    delete[] storage;
}

uint32_t BlockBridgeResampler::MaxOutput(uint32_t n) const
{
    const uint64_t frames = ((uint64_t(n) + callFrames) * outRate + inRate - 1) / inRate + 2;
    return frames < uint64_t(0x3fffffff) ? uint32_t(frames) : uint32_t(0x3fffffff);
}

// floor(x * out / in + 1/2), with x split so that nothing overflows.
uint64_t BlockBridgeResampler::OutputIndex(uint64_t inputFrame) const
{
    const uint64_t whole = inputFrame / inRate, rest = inputFrame % inRate;
    return whole * outRate + (2 * rest * outRate + inRate) / (2 * uint64_t(inRate));
}

// One call's worth of input, callFrames frames, to soxr; its output in
// [keepFrom, keepUntil) to sink.
void BlockBridgeResampler::Feed(const float* const* planes, AudioFifo* sink)
{
    const float* in[SoxrResampler::kMaxChannels];
    const void* out[SoxrResampler::kMaxChannels];
    uint32_t used = 0;
    for (;;) {
        for (uint32_t c = 0; c < channels; ++c)
            in[c] = planes[c] + used;
        size_t taken = 0;
        const size_t given = soxr->Process(in, callFrames - used, storagePlanes, storageFrames, &taken);
        used += uint32_t(taken);
        inputFed += taken;
        const uint64_t from = std::max(outputSeen, keepFrom);
        const uint64_t until = std::min(outputSeen + given, keepUntil);
        if (sink && from < until) {
            for (uint32_t c = 0; c < channels; ++c)
                out[c] = storagePlanes[c] + (from - outputSeen);
            sink->Write(out, int32_t(until - from));
        }
        outputSeen += given;
        // A full room may leave more output in soxr; anything less says it
        // gave all it had for the input.
        if (used >= callFrames && given < storageFrames)
            break;
        if (taken == 0 && given == 0)
            break;
    }
}

void BlockBridgeResampler::Silence(uint64_t calls, AudioFifo* sink)
{
    const float* silence[SoxrResampler::kMaxChannels];
    std::fill(std::begin(silence), std::end(silence), kSilence);
    for (uint64_t k = 0; k < calls; ++k) {
        const uint64_t before = inputFed;
        Feed(silence, sink);
        if (inputFed == before)
            break;  // soxr takes nothing more
    }
}

void BlockBridgeResampler::Prime()
{
    inputFed = outputSeen = 0;
    staged = 0;
    keepFrom = keepUntil = 0;  // all of the priming's output is dropped
    Silence(uint64_t(double(inRate) * kPrimeSeconds) / callFrames + 1, nullptr);
    keepFrom = std::max(OutputIndex(inputFed), outputSeen);
    keepUntil = kForever;
    audioPending = false;
}

void BlockBridgeResampler::Process(const float* const* planes, uint32_t frames, AudioFifo& sink)
{
    if (!planes || frames == 0)
        return;
    audioPending = true;
    for (uint32_t used = 0; used < frames;) {
        const uint32_t take = std::min(callFrames - staged, frames - used);
        for (uint32_t c = 0; c < channels; ++c)
            std::copy(planes[c] + used, planes[c] + used + take, stagePlanes[c] + staged);
        staged += take;
        used += take;
        if (staged == callFrames) {
            Feed(stagePlanes, &sink);
            staged = 0;
        }
    }
}

void BlockBridgeResampler::Drain(AudioFifo& sink)
{
    if (!audioPending)
        return;
    audioPending = false;
    // The audio ends after the staged frames; silence fills the call.
    const uint64_t start = inputFed;
    keepUntil = OutputIndex(inputFed + staged);
    if (staged > 0) {
        for (uint32_t c = 0; c < channels; ++c)
            std::fill(stagePlanes[c] + staged, stagePlanes[c] + callFrames, 0.0f);
        Feed(stagePlanes, &sink);
        staged = 0;
    }
    // Silence until every output frame of the audio is out.
    while (outputSeen < keepUntil && inputFed - start < kMaxDrainFrames) {
        const uint64_t before = inputFed;
        Silence(1, &sink);
        if (inputFed == before)
            break;
    }
    // As much silence again, so that the filter holds nothing of the audio
    // when the next comes; its output is dropped. Calls of whole periods
    // leave the next stretch on the output grid.
    Silence((inputFed - start) / callFrames, &sink);
    keepFrom = std::max(OutputIndex(inputFed), outputSeen);
    keepUntil = kForever;
}

void BlockBridgeResampler::Reset()
{
    soxr->Clear();
    Prime();
}

// --- BlockBridge ---

BlockBridge::~BlockBridge()
{
    Release();
}

void BlockBridge::Release()
{
    delete inputFifo;
    inputFifo = nullptr;
    delete outputFifo;
    outputFifo = nullptr;
    if (inputResampler)
        inputResampler->Destroy();
    inputResampler = nullptr;
    if (outputResampler)
        outputResampler->Destroy();
    outputResampler = nullptr;
    delete[] workStorage;
    workStorage = nullptr;
    std::fill(std::begin(channelPointers), std::end(channelPointers), nullptr);
    std::fill(std::begin(workPointers), std::end(workPointers), nullptr);
    maxFrames = channels = streamRate = engineRate = blockFrames = 0;
}

bool BlockBridge::Init(uint32_t maxFrames_, uint32_t channels_, uint32_t streamRate_, uint32_t engineRate_,
                       uint32_t blockFrames_)
{
    Release();
    bypassPrev = true;
    if (maxFrames_ == 0 || channels_ == 0 || channels_ > SoxrResampler::kMaxChannels || streamRate_ == 0 ||
        engineRate_ == 0 || blockFrames_ == 0)
        return false;
    maxFrames = maxFrames_;
    channels = channels_;
    streamRate = streamRate_;
    engineRate = engineRate_;
    blockFrames = blockFrames_;

    workStorage = new (std::nothrow) float[size_t(channels) * blockFrames]();
    if (!workStorage) {
        Release();
        return false;
    }
    for (uint32_t c = 0; c < channels; ++c)
        workPointers[c] = workStorage + size_t(c) * blockFrames;

    // Room for all that one Process puts in a FIFO, a flush included, so
    // that they never grow on the audio thread: the input FIFO holds less
    // than an engine block plus one converted block plus a drain; the output
    // FIFO less than two blocks of maxFrames plus a flush (a tail block and
    // the engine block's worth it had not taken) plus the conversion of all
    // that. They still grow if a caller goes beyond.
    uint64_t inputRoom = uint64_t(blockFrames) + maxFrames;
    uint64_t outputRoom = 3 * uint64_t(maxFrames) + 4 * uint64_t(blockFrames);
    if (streamRate != engineRate) {
        inputResampler = BlockBridgeResampler::Create(streamRate, engineRate, channels);
        outputResampler = BlockBridgeResampler::Create(engineRate, streamRate, channels);
        if (!inputResampler || !outputResampler) {
            Release();
            return false;
        }
        inputRoom = uint64_t(blockFrames) + inputResampler->MaxOutput(maxFrames) + kDrainRoomFrames;
        outputRoom = 3 * uint64_t(maxFrames) +
                     outputResampler->MaxOutput(uint32_t(std::min<uint64_t>(inputRoom + blockFrames, 0x3fffffff))) +
                     outputResampler->MaxOutput(kDrainRoomFrames);
    }
    const uint64_t kMaxRoom = 0x3fffffff;
    inputFifo = new (std::nothrow) AudioFifo(int32_t(sizeof(float)), int32_t(channels), 1,
                                             int32_t(std::min(inputRoom, kMaxRoom)));
    outputFifo = new (std::nothrow) AudioFifo(int32_t(sizeof(float)), int32_t(channels), 1,
                                              int32_t(std::min(outputRoom, kMaxRoom)));
    if (!inputFifo || !outputFifo || inputFifo->Planes() != int32_t(channels) ||
        outputFifo->Planes() != int32_t(channels)) {
        Release();
        return false;
    }
    return true;
}

void BlockBridge::Reset()
{
    if (inputFifo)
        inputFifo->Reset();
    if (outputFifo)
        outputFifo->Reset();
    if (inputResampler)
        inputResampler->Reset();
    if (outputResampler)
        outputResampler->Reset();
    bypassPrev = true;
}

void BlockBridge::SilenceWork(uint32_t fromFrame)
{
    if (fromFrame >= blockFrames)
        return;
    for (uint32_t c = 0; c < channels; ++c)
        std::fill(workPointers[c] + fromFrame, workPointers[c] + blockFrames, 0.0f);
}

// Caller's frames to the input FIFO, at the engine's rate.
void BlockBridge::BringIn(const float* const* planes, uint32_t frames)
{
    if (inputResampler)
        inputResampler->Process(planes, frames, *inputFifo);
    else
        inputFifo->Write(reinterpret_cast<const void* const*>(planes), int32_t(frames));
}

// Engine-rate frames to the output FIFO, at the stream's rate.
void BlockBridge::SendOut(const float* const* planes, uint32_t frames)
{
    if (outputResampler)
        outputResampler->Process(planes, frames, *outputFifo);
    else
        outputFifo->Write(reinterpret_cast<const void* const*>(planes), int32_t(frames));
}

void BlockBridge::RunEngine(BlockEngine& engine, uint32_t frames)
{
    SilenceWork(frames);
    uint32_t count = frames;
    engine.ProcessBlock(workPointers, &count);
    if (count > 0)
        SendOut(workPointers, std::min(count, blockFrames));
}

// The engine's tail, then the frames that never reached the engine, behind
// it and unprocessed, then the output resampler's tail.
void BlockBridge::Flush(BlockEngine& engine)
{
    if (!inputFifo || !outputFifo)
        return;
    SilenceWork(0);
    const uint32_t tail = std::min(engine.FlushBlock(workPointers), blockFrames);
    if (tail > 0)
        SendOut(workPointers, tail);
    if (inputResampler)
        inputResampler->Drain(*inputFifo);
    while (inputFifo->Size() > 0) {
        const int32_t got = inputFifo->Read(reinterpret_cast<void* const*>(workPointers), int32_t(blockFrames));
        if (got <= 0)
            break;
        SendOut(workPointers, uint32_t(got));
    }
    if (outputResampler)
        outputResampler->Drain(*outputFifo);
}

void BlockBridge::Process(BlockEngine& engine, float* samples, bool* draining, uint32_t* frames)
{
    if (!inputFifo || !samples || !draining || !frames)
        return;
    const uint32_t n = std::min(*frames, maxFrames);
    for (uint32_t c = 0; c < channels; ++c)
        channelPointers[c] = samples + size_t(c) * maxFrames;
    const void* const* in = reinterpret_cast<const void* const*>(channelPointers);

    if (bypass) {
        if (bypassPrev != bypass) {
            bypassPrev = bypass;
            Flush(engine);
        }
        // Nothing queued: the block stands as it came.
        if (outputFifo->Size() == 0)
            return;
        // Behind what is queued, so the stream keeps its order.
        if (n > 0)
            outputFifo->Write(in, int32_t(n));
    } else {
        bypassPrev = bypass;
        if (n > 0)
            BringIn(channelPointers, n);
        if (*draining && inputResampler)
            inputResampler->Drain(*inputFifo);
        while (inputFifo->Size() >= int32_t(blockFrames) || (*draining && !engine.WarmingUp())) {
            const int32_t got = inputFifo->Read(reinterpret_cast<void* const*>(workPointers), int32_t(blockFrames));
            if (got <= 0)
                break;
            RunEngine(engine, uint32_t(got));
        }
        if (*draining)
            Flush(engine);
    }

    // Whole blocks of maxFrames until the stream ends, then the rest.
    const int32_t queued = outputFifo->Size();
    if (queued == 0 || (!*draining && queued < int32_t(maxFrames))) {
        *frames = 0;
    } else {
        const int32_t got = outputFifo->Read(reinterpret_cast<void* const*>(channelPointers),
                                             std::min(queued, int32_t(maxFrames)));
        *frames = got > 0 ? uint32_t(got) : 0;
    }
    if (*draining)
        *draining = outputFifo->Size() == 0;
}
