#include "effects/FIRProcessorImpl.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "common/AudioFifo.h"
#include "common/ResampleImpulse.h"
#include "common/WavReader.h"
#include "effects/PartitionedFIRConvolver.h"

namespace {

// Room in the output FIFO beyond one block: a partition being gathered, the
// convolver's dry block, and an old convolver's frames flushed by a swap, at
// the largest partition. Sized once so that blocks never grow it.
constexpr uint32_t kOutputSlackFrames = 6 * PartitionedFIRConvolver::kMaxPartition;

}  // namespace

FIRProcessor* FIRProcessor::Create()
{
    return FIRProcessorImpl::Create();
}

FIRProcessor* FIRProcessorImpl::Create()
{
    return new (std::nothrow) FIRProcessorImpl();
}

FIRProcessorImpl::~FIRProcessorImpl()
{
    Release();
}

void FIRProcessorImpl::Destroy()
{
    delete this;
}

void FIRProcessorImpl::Release()
{
    delete convolver;
    convolver = nullptr;
    partitionSize = 0;
    delete outputFifo;
    outputFifo = nullptr;
    delete[] channelPointers;
    channelPointers = nullptr;
    delete[] inputPointers;
    inputPointers = nullptr;
    delete[] partitionStorage;
    partitionStorage = nullptr;
    delete[] blockOutput;
    blockOutput = nullptr;
    delete[] pending;
    pending = nullptr;
    pendingFrames = 0;
}

bool FIRProcessorImpl::Init(uint32_t maxFrames_, uint32_t channels_, uint32_t sampleRate_)
{
    std::lock_guard<std::mutex> lock(mutex);
    Release();
    maxFrames = maxFrames_;
    channels = channels_;
    sampleRate = sampleRate_;
    if (maxFrames == 0 || channels == 0 || maxFrames > uint32_t(INT32_MAX) - kOutputSlackFrames)
        return false;
    outputFifo = new (std::nothrow) AudioFifo(sizeof(float), int32_t(channels), 1,
                                              int32_t(maxFrames + kOutputSlackFrames));
    channelPointers = new (std::nothrow) float*[channels]();
    inputPointers = new (std::nothrow) const float*[channels]();
    blockOutput = new (std::nothrow) float*[channels]();
    pending = new (std::nothrow) float*[channels]();
    if (!outputFifo || outputFifo->Space() <= 0 || !channelPointers || !inputPointers || !blockOutput || !pending) {
        Release();
        return false;
    }
    return true;
}

void FIRProcessorImpl::PointPlanes(float* storage)
{
    partitionStorage = storage;
    for (uint32_t c = 0; c < channels; ++c) {
        blockOutput[c] = storage + size_t(c) * partitionSize;
        pending[c] = storage + (size_t(channels) + c) * partitionSize;
    }
}

void FIRProcessorImpl::Reset()
{
    std::lock_guard<std::mutex> lock(mutex);
    if (convolver)
        convolver->Reset();
    // Frames waiting for a partition are audio state too.
    pendingFrames = 0;
}

bool FIRProcessorImpl::SetImpulse(const void* data, uint64_t size)
{
    if (!data || !outputFifo)
        return false;
    WavReader reader;
    if (!reader.Load(data, size, true) || reader.FrameCount() == 0 || !reader.Samples())
        return false;
    const uint32_t impulseChannels = reader.Channels();
    const float* samples = reader.Samples();
    uint32_t frames = reader.FrameCount();
    float* resampled = nullptr;
    if (reader.SampleRate() != sampleRate) {
        if (ResampleImpulse(samples, frames, reader.SampleRate(), impulseChannels, &resampled, &frames,
                            sampleRate) != kResampleDone ||
            !resampled || frames == 0) {
            std::free(resampled);
            return false;
        }
        samples = resampled;
    }

    float* planes = new (std::nothrow) float[size_t(frames) * impulseChannels];
    PartitionedFIRConvolver* fresh = planes ? PartitionedFIRConvolver::Create() : nullptr;
    bool made = false;
    if (fresh) {
        const float* channelData[2] = {planes, planes + frames};
        for (uint32_t h = 0; h < impulseChannels; ++h)
            for (uint32_t i = 0; i < frames; ++i)
                planes[size_t(h) * frames + i] = samples[size_t(i) * impulseChannels + h];
        made = impulseChannels <= 2 && fresh->Init(maxFrames, channels) &&
               fresh->SetImpulse(channelData, frames, impulseChannels);
    }
    std::free(resampled);
    delete[] planes;
    float* storage = nullptr;
    if (made)
        storage = new (std::nothrow) float[size_t(2) * channels * fresh->PartitionSize()]();
    if (!storage) {
        delete fresh;
        return false;
    }

    PartitionedFIRConvolver* old;
    float* oldStorage;
    {
        std::lock_guard<std::mutex> lock(mutex);
        FlushDry();
        old = convolver;
        oldStorage = partitionStorage;
        convolver = fresh;
        partitionSize = fresh->PartitionSize();
        PointPlanes(storage);
    }
    delete old;
    delete[] oldStorage;
    return true;
}

void FIRProcessorImpl::FlushDry()
{
    if (!convolver)
        return;
    for (;;) {
        uint32_t frames = partitionSize;
        convolver->FlushDry(blockOutput, &frames);
        if (frames == 0)
            break;
        outputFifo->Write(reinterpret_cast<const void* const*>(blockOutput), int32_t(frames));
    }
    if (pendingFrames > 0)
        outputFifo->Write(reinterpret_cast<const void* const*>(pending), int32_t(pendingFrames));
    pendingFrames = 0;
}

void FIRProcessorImpl::ConvolvePartition(const float* const* input)
{
    uint32_t frames = partitionSize;
    convolver->ProcessBlock(input, blockOutput, &frames);
    if (frames > 0)
        outputFifo->Write(reinterpret_cast<const void* const*>(blockOutput), int32_t(frames));
}

void FIRProcessorImpl::Process(float* samples, bool* draining, uint32_t* frames)
{
    std::lock_guard<std::mutex> lock(mutex);
    if (!outputFifo)
        return;
    const uint32_t count = std::min(*frames, maxFrames);
    for (uint32_t c = 0; c < channels; ++c)
        channelPointers[c] = samples + size_t(c) * maxFrames;

    if (bypass || !convolver) {
        // Checked on every block, not only when bypass changes, so that
        // frames held at a switch made during the drain still come out.
        FlushDry();
        if (count > 0)
            outputFifo->Write(reinterpret_cast<const void* const*>(channelPointers), int32_t(count));
    } else {
        const uint32_t P = partitionSize;
        uint32_t offset = 0;
        if (pendingFrames > 0) {
            const uint32_t take = std::min(P - pendingFrames, count);
            for (uint32_t c = 0; c < channels; ++c)
                std::memcpy(pending[c] + pendingFrames, channelPointers[c], take * sizeof(float));
            pendingFrames += take;
            offset = take;
            if (pendingFrames == P) {
                ConvolvePartition(pending);
                pendingFrames = 0;
            }
        }
        for (; count - offset >= P; offset += P) {
            for (uint32_t c = 0; c < channels; ++c)
                inputPointers[c] = channelPointers[c] + offset;
            ConvolvePartition(inputPointers);
        }
        if (offset < count) {
            pendingFrames = count - offset;
            for (uint32_t c = 0; c < channels; ++c)
                std::memcpy(pending[c], channelPointers[c] + offset, pendingFrames * sizeof(float));
        }
        if (*draining && pendingFrames > 0) {
            // The last partial partition, padded with silence, then the tail
            // of its convolution: as many frames as it held.
            const uint32_t held = pendingFrames;
            for (uint32_t c = 0; c < channels; ++c)
                std::memset(pending[c] + held, 0, (P - held) * sizeof(float));
            ConvolvePartition(pending);
            pendingFrames = 0;
            for (uint32_t c = 0; c < channels; ++c)
                std::memset(blockOutput[c], 0, P * sizeof(float));
            uint32_t tail = P;
            convolver->FlushTail(blockOutput, &tail);
            outputFifo->Write(reinterpret_cast<const void* const*>(blockOutput), int32_t(std::min(tail, held)));
        }
    }

    const int32_t read = outputFifo->Read(reinterpret_cast<void* const*>(channelPointers), int32_t(maxFrames));
    *frames = read > 0 ? uint32_t(read) : 0;
    if (*draining)
        *draining = outputFifo->Size() == 0;
}
