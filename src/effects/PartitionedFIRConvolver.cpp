#include "effects/PartitionedFIRConvolver.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "common/AudioFifo.h"
#include "common/FFmpegFft.h"
#include "effects/SpectrumMultiplyAdd.h"

namespace {

constexpr uint32_t kFloatsPerLine = kFftAlignmentBytes / sizeof(float);
// No single block of the impulse's state may exceed this many bytes.
constexpr uint64_t kMaxBlockBytes = uint64_t(1) << 31;

float* AllocateFloats(uint64_t count)
{
    if (count == 0 || count * sizeof(float) >= kMaxBlockBytes)
        return nullptr;
    return static_cast<float*>(AllocateFftBuffer(size_t(count) * sizeof(float)));
}

uint32_t Log2(uint32_t powerOfTwo)
{
    uint32_t bits = 0;
    while ((1u << bits) < powerOfTwo)
        ++bits;
    return bits;
}

// y - y is 0 for every finite y and NaN otherwise.
inline float FiniteOrZero(float y)
{
    return y - y == 0.0f ? y : 0.0f;
}

}  // namespace

PartitionedFIRConvolver* PartitionedFIRConvolver::Create()
{
    return new (std::nothrow) PartitionedFIRConvolver();
}

PartitionedFIRConvolver::~PartitionedFIRConvolver()
{
    Release();
}

void PartitionedFIRConvolver::Release()
{
    if (transform)
        transform->Destroy();
    transform = nullptr;
    for (float** buffer : {&fftBuffer, &accumulator, &inputSpectra, &impulseSpectra, &overlaps}) {
        FreeFftBuffer(*buffer);
        *buffer = nullptr;
    }
    delete dryFifo;
    dryFifo = nullptr;
    partitionSize = 0;
    partitionCount = 0;
}

bool PartitionedFIRConvolver::Init(uint32_t maxFrames_, uint32_t channels_)
{
    Release();
    maxFrames = maxFrames_;
    channels = channels_;
    return maxFrames > 0 && channels > 0;
}

float* PartitionedFIRConvolver::InputSlot(uint32_t channel, uint32_t slot) const
{
    return inputSpectra + (uint64_t(channel) * partitionCount + slot) * spectrumStride;
}

const float* PartitionedFIRConvolver::ImpulsePartition(uint32_t impulseChannel, uint32_t partition) const
{
    return impulseSpectra + (uint64_t(impulseChannel) * partitionCount + partition) * spectrumStride;
}

bool PartitionedFIRConvolver::SetImpulse(const float* const* channelData, uint32_t frames,
                                         uint32_t impulseChannels_)
{
    Release();
    if (!channelData || frames == 0 || channels == 0 ||
        (impulseChannels_ != 1 && impulseChannels_ != channels))
        return false;
    // Longer impulses would need more than the block limit in any case; the
    // bound also keeps the padded length inside 32 bits.
    if (frames > (1u << 30))
        return false;
    impulseFrames = frames;
    impulseChannels = impulseChannels_;
    sharedImpulse = impulseChannels == 1;

    uint32_t exponent = 4;
    while ((uint64_t(1) << exponent) < frames)
        ++exponent;
    impulsePaddedFrames = 1u << exponent;
    maxPartition = 1u << (std::min(exponent, 16u) - 1);
    const uint32_t limit = std::min({maxPartition, maxFrames, kMaxPartition});
    // Blocks below 8 frames still convolve in partitions of 8: the caller
    // gathers input until a partition is full.
    uint32_t size = kMinPartition;
    while (size * 2 <= limit)
        size *= 2;
    partitionSize = size;
    const uint32_t P = partitionSize;
    partitionCount = (frames + P - 1) / P;
    spectrumStride = (2 * P + 1 + kFloatsPerLine - 1) / kFloatsPerLine * kFloatsPerLine;

    transform = FFmpegRealFft::Create(int(Log2(2 * P)));
    fftBuffer = AllocateFloats(2 * P);
    accumulator = AllocateFloats(spectrumStride);
    inputSpectra = AllocateFloats(uint64_t(channels) * partitionCount * spectrumStride);
    impulseSpectra = AllocateFloats(uint64_t(impulseChannels) * partitionCount * spectrumStride);
    overlaps = AllocateFloats(uint64_t(channels) * 3 * P);
    dryFifo = new (std::nothrow) AudioFifo(sizeof(float), int32_t(channels), 1, int32_t(3 * P));
    if (!transform || !fftBuffer || !accumulator || !inputSpectra || !impulseSpectra || !overlaps || !dryFifo ||
        dryFifo->Space() < int32_t(3 * P)) {
        Release();
        return false;
    }

    double energy = 0.0;
    const uint32_t keep = std::max(1u, uint32_t(double(frames) * impulseLengthFactor));
    const float scale = 1.0f / float(P);
    bool finite = true;
    for (uint32_t h = 0; h < impulseChannels; ++h) {
        const float* samples = channelData[h];
        for (uint32_t i = 0; i < keep; ++i)
            energy += double(samples[i]) * samples[i];
        for (uint32_t p = 0; p < partitionCount; ++p) {
            const uint32_t start = p * P;
            const uint32_t count = std::min(P, keep > start ? keep - start : 0u);
            std::memset(fftBuffer, 0, 2 * P * sizeof(float));
            std::memcpy(fftBuffer + P, samples + start, count * sizeof(float));
            transform->Forward(fftBuffer);
            float* spectrum = impulseSpectra + (uint64_t(h) * partitionCount + p) * spectrumStride;
            spectrum[0] = fftBuffer[0] * scale;
            spectrum[P] = 0.0f;
            for (uint32_t k = 1; k < P; ++k) {
                spectrum[k] = fftBuffer[2 * k] * scale;
                spectrum[P + k] = fftBuffer[2 * k + 1] * scale;
            }
            spectrum[2 * P] = fftBuffer[1] * scale;
            for (uint32_t k = 0; k <= 2 * P; ++k)
                finite &= std::isfinite(spectrum[k]);
        }
    }
    // An impulse without energy would need an infinite gain, and one whose
    // samples or spectra overflow would put Inf into the stream: refused.
    const double gain = autoNormalize ? 1.0 / std::sqrt(energy / impulseChannels) : 1.0;
    if (!finite || !(energy > 0.0) || !std::isfinite(gain) || !(float(gain) > 0.0f)) {
        Release();
        return false;
    }
    normalizeGain = float(gain);
    Reset();
    return true;
}

void PartitionedFIRConvolver::ProcessBlock(const float* const* input, float* const* output, uint32_t* frames)
{
    if (partitionSize == 0) {
        *frames = 0;
        return;
    }
    const uint32_t P = partitionSize;
    const uint32_t n = std::min(*frames, P);
    dryFifo->Write(reinterpret_cast<const void* const*>(input), int32_t(n));
    const float gain = normalizeGain * outputGain;
    const SplitSpectrum acc{accumulator, accumulator + P};
    for (uint32_t c = 0; c < channels; ++c) {
        // The block sits in the second half of the transform, so the
        // circular product of two such halves is their linear convolution.
        std::memset(fftBuffer, 0, 2 * P * sizeof(float));
        for (uint32_t i = 0; i < n; ++i)
            fftBuffer[P + i] = FiniteOrZero(input[c][i] * inputGain);
        transform->Forward(fftBuffer);
        float* slot = InputSlot(c, partitionIndex);
        slot[0] = fftBuffer[0];
        slot[P] = 0.0f;
        for (uint32_t k = 1; k < P; ++k) {
            slot[k] = fftBuffer[2 * k];
            slot[P + k] = fftBuffer[2 * k + 1];
        }
        slot[2 * P] = fftBuffer[1];

        std::memset(accumulator, 0, (2 * P + 1) * sizeof(float));
        const uint32_t h = sharedImpulse ? 0 : c;
        uint32_t s = partitionIndex;
        for (uint32_t q = 0; q < partitionCount; ++q) {
            const float* x = InputSlot(c, s);
            const float* impulse = ImpulsePartition(h, q);
            MultiplyAddSpectraSse({x, x + P}, {impulse, impulse + P}, acc, P);
            accumulator[2 * P] += x[2 * P] * impulse[2 * P];
            s = s == 0 ? partitionCount - 1 : s - 1;
        }

        fftBuffer[0] = accumulator[0];
        fftBuffer[1] = accumulator[2 * P];
        for (uint32_t k = 1; k < P; ++k) {
            fftBuffer[2 * k] = accumulator[k];
            fftBuffer[2 * k + 1] = accumulator[P + k];
        }
        transform->Inverse(fftBuffer);

        float* ring = overlaps + uint64_t(c) * 3 * P;
        float* next = ring + (overlapIndex + 1) % 3 * P;
        float* afterNext = ring + (overlapIndex + 2) % 3 * P;
        const float* present = ring + overlapIndex * P;
        for (uint32_t i = 0; i < P; ++i) {
            next[i] += fftBuffer[i];
            afterNext[i] = fftBuffer[P + i];
        }
        // Input near the float limit can overflow the spectra; the stream
        // gets silence for it, never Inf or NaN.
        if (!firstBlock)
            for (uint32_t i = 0; i < n; ++i)
                output[c][i] = FiniteOrZero(present[i] * gain);
    }
    if (firstBlock) {
        firstBlock = false;
        *frames = 0;
    } else {
        *frames = n;
    }
    dryFifo->Drain(int32_t(*frames));
    partitionIndex = (partitionIndex + 1) % partitionCount;
    overlapIndex = (overlapIndex + 1) % 3;
}

void PartitionedFIRConvolver::FlushTail(float* const* output, uint32_t* frames)
{
    if (firstBlock || partitionSize == 0) {
        *frames = 0;
        return;
    }
    ProcessBlock(output, output, frames);
    Reset();
}

bool PartitionedFIRConvolver::HoldsDryFrames() const
{
    return partitionSize != 0 && !firstBlock && dryFifo->Size() > 0;
}

void PartitionedFIRConvolver::FlushDry(float* const* output, uint32_t* frames)
{
    if (!HoldsDryFrames()) {
        *frames = 0;
        return;
    }
    const int32_t read = dryFifo->Read(reinterpret_cast<void* const*>(output), int32_t(*frames));
    *frames = read > 0 ? uint32_t(read) : 0;
    if (dryFifo->Size() == 0)
        Reset();
}

void PartitionedFIRConvolver::Reset()
{
    firstBlock = true;
    partitionIndex = 0;
    overlapIndex = 0;
    if (partitionSize == 0)
        return;
    dryFifo->Reset();
    std::memset(overlaps, 0, uint64_t(channels) * 3 * partitionSize * sizeof(float));
    std::memset(inputSpectra, 0, uint64_t(channels) * partitionCount * spectrumStride * sizeof(float));
}
