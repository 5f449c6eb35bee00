#include "lxaudioeffects/ReplayGainProcessor.h"

#include <cstring>
#include <new>

#include "effects/LoudnessAnalyzerImpl.h"
#include "common/AudioFifo.h"
#include "common/SampleFormat.h"

namespace {

constexpr int kBlockFrames = 2048;
constexpr int kFifoFrames = 20480;

// Interleaved PCM of the input format to planar floats at a stride of kBlockFrames.
void ToPlanarFloat(AUDIO_SAMPLEFORMAT format, const uint8_t* pcm, unsigned channels, int frames,
                   float** out)
{
    for (unsigned c = 0; c < channels; ++c) {
        float* const plane = out[c];
        switch (format) {
        case AUDIO_SAMPLEFORMAT_U8:
            for (int n = 0; n < frames; ++n)
                plane[n] = float((int(pcm[size_t(n) * channels + c]) - 128) / 128.0);
            break;
        case AUDIO_SAMPLEFORMAT_S16: {
            const int16_t* const in = reinterpret_cast<const int16_t*>(pcm);
            for (int n = 0; n < frames; ++n)
                plane[n] = float(in[size_t(n) * channels + c] / 32768.0);
            break;
        }
        case AUDIO_SAMPLEFORMAT_S32: {
            const int32_t* const in = reinterpret_cast<const int32_t*>(pcm);
            for (int n = 0; n < frames; ++n)
                plane[n] = float(in[size_t(n) * channels + c] / 2147483648.0);
            break;
        }
        case AUDIO_SAMPLEFORMAT_DOUBLE: {
            const double* const in = reinterpret_cast<const double*>(pcm);
            for (int n = 0; n < frames; ++n)
                plane[n] = float(in[size_t(n) * channels + c]);
            break;
        }
        default: {
            const float* const in = reinterpret_cast<const float*>(pcm);
            for (int n = 0; n < frames; ++n)
                plane[n] = in[size_t(n) * channels + c];
            break;
        }
        }
    }
}

// Formats without a conversion of their own are read as interleaved float.
AUDIO_SAMPLEFORMAT InputFormat(AUDIO_SAMPLEFORMAT format)
{
    switch (format) {
    case AUDIO_SAMPLEFORMAT_U8:
    case AUDIO_SAMPLEFORMAT_S16:
    case AUDIO_SAMPLEFORMAT_S32:
    case AUDIO_SAMPLEFORMAT_DOUBLE: return format;
    default: return AUDIO_SAMPLEFORMAT_FLOAT;
    }
}

}  // namespace

ReplayGainProcessor::ReplayGainProcessor()
    : analyzer(nullptr), fifo(nullptr), format(AUDIO_SAMPLEFORMAT_FLOAT), channels(2),
      floatPointers(nullptr), pcmBuffer(nullptr)
{
}

ReplayGainProcessor::~ReplayGainProcessor()
{
    Cleanup();
}

ReplayGainProcessor::ReplayGainProcessor(const ReplayGainProcessor& other)
    : analyzer(other.analyzer), fifo(other.fifo), format(other.format), channels(other.channels),
      floatPointers(other.floatPointers), pcmBuffer(other.pcmBuffer)
{
    if (analyzer)
        analyzer->AddOwner();
}

// A copy shares everything the original holds; the analyser counts the
// holders so that only the last one frees the shared state.
ReplayGainProcessor& ReplayGainProcessor::operator=(const ReplayGainProcessor& other)
{
    if (this == &other)
        return *this;
    if (other.analyzer)
        other.analyzer->AddOwner();
    Cleanup();
    analyzer = other.analyzer;
    fifo = other.fifo;
    format = other.format;
    channels = other.channels;
    floatPointers = other.floatPointers;
    pcmBuffer = other.pcmBuffer;
    return *this;
}

void ReplayGainProcessor::Cleanup()
{
    // The other parts exist only beside an analyser, so its holder count
    // speaks for all of them.
    if (analyzer && analyzer->ReleaseOwner()) {
        analyzer->Destroy();
        delete fifo;
        if (floatPointers)
            delete[] floatPointers[0];
        delete[] floatPointers;
        delete[] pcmBuffer;
    }
    analyzer = nullptr;
    fifo = nullptr;
    floatPointers = nullptr;
    pcmBuffer = nullptr;
}

bool ReplayGainProcessor::Init(AUDIO_SAMPLEFORMAT format_, unsigned channels_, unsigned sampleRate)
{
    if (channels_ == 0 || sampleRate == 0)
        return false;
    Cleanup();
    format = format_;
    channels = channels_;
    const uint32_t sampleBytes = BytesPerSample(InputFormat(format));
    const uint64_t frameBytes = uint64_t(sampleBytes) * channels;
    if (frameBytes * kFifoFrames > 0x7fffffffu)
        return false;

    analyzer = LoudnessAnalyzerImpl::Create();
    bool ok = analyzer && analyzer->Init(kBlockFrames, channels, sampleRate);
    if (ok) {
        fifo = new (std::nothrow) AudioFifo(int32_t(sampleBytes), int32_t(channels), 0, kFifoFrames);
        ok = fifo && fifo->Planes() == 1;
    }
    if (ok) {
        pcmBuffer = new (std::nothrow) uint8_t[size_t(frameBytes) * kBlockFrames]();
        floatPointers = new (std::nothrow) float*[channels]();
        float* storage = new (std::nothrow) float[size_t(channels) * kBlockFrames]();
        ok = pcmBuffer && floatPointers && storage;
        if (ok) {
            for (unsigned c = 0; c < channels; ++c)
                floatPointers[c] = storage + size_t(c) * kBlockFrames;
        } else {
            delete[] storage;
            delete[] floatPointers;
            floatPointers = nullptr;
        }
    }
    if (!ok)
        Cleanup();
    return ok;
}

void ReplayGainProcessor::Push(void* data, unsigned bytes, bool last)
{
    const unsigned sampleBytes = BytesPerSample(InputFormat(format));
    PushSamples(data, bytes / sampleBytes / channels, last);
}

void ReplayGainProcessor::PushSamples(void* data, unsigned frames, bool last)
{
    if (!analyzer || !fifo || !pcmBuffer || !floatPointers)
        return;
    const uint8_t* in = static_cast<const uint8_t*>(data);
    const size_t frameBytes = size_t(BytesPerSample(InputFormat(format))) * channels;
    bool notLast = false;
    // Large pushes go through the FIFO in pieces that fit it, so it never has
    // to grow; the analyser sees the same blocks of 2048 frames either way.
    while (in && frames > 0) {
        const unsigned space = unsigned(fifo->Space());
        const unsigned piece = frames < space ? frames : space;
        const void* const planes[1] = {in};
        if (piece == 0 || fifo->Write(planes, int32_t(piece)) != int32_t(piece))
            break;
        in += piece * frameBytes;
        frames -= piece;
        while (fifo->Size() >= kBlockFrames) {
            const int n = ReadSamples(floatPointers, kBlockFrames);
            if (n <= 0)
                break;
            uint32_t count = uint32_t(n);
            analyzer->Process(floatPointers[0], &notLast, &count);
        }
    }
    if (!last)
        return;
    int n = 0;
    if (fifo->Size() == 0) {
        // Clears bytes, not floats: with more than one channel the extra frame
        // is zero in the first channel and stale in the others; intended.
        std::memset(floatPointers[0], 0, size_t(channels) * kBlockFrames);
        n = 1;
    } else {
        n = ReadSamples(floatPointers, kBlockFrames);
    }
    if (n <= 0)
        return;
    bool isLast = true;
    uint32_t count = uint32_t(n);
    analyzer->Process(floatPointers[0], &isLast, &count);
}

int ReplayGainProcessor::ReadSamples(float** out, int frames)
{
    if (frames > kBlockFrames)
        frames = kBlockFrames;
    void* const planes[1] = {pcmBuffer};
    const int read = fifo->Read(planes, kBlockFrames);
    if (read <= 0)
        return read;
    // Converts the whole request even when fewer came; the caller counts only
    // what was read.
    ToPlanarFloat(InputFormat(format), pcmBuffer, channels, frames, out);
    return read;
}

void ReplayGainProcessor::GetReplayGain(ReplayGainType type, ReplayGainInfo& info)
{
    if (analyzer)
        analyzer->GetResult(type, info);
}

void ReplayGainProcessor::ResetReplayGain(ReplayGainType type)
{
    if (analyzer)
        analyzer->ResetResult(type);
}

void ReplayGainProcessor::Reset()
{
    if (analyzer)
        analyzer->Reset();
}
