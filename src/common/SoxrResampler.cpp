#include "common/SoxrResampler.h"

#include <algorithm>
#include <cmath>
#include <new>

#include <soxr.h>

namespace {

// Stands in for the caller's planes when there is no input: a null input
// pointer would tell soxr that the stream has ended.
const float kNoSamples[1] = {0.0f};
const float* const kNoInput[SoxrResampler::kMaxChannels] = {kNoSamples, kNoSamples, kNoSamples, kNoSamples,
                                                            kNoSamples, kNoSamples, kNoSamples, kNoSamples};

bool IsRate(double rateHz)
{
    return std::isfinite(rateHz) && rateHz > 0.0;
}

}  // namespace

SoxrResampler* SoxrResampler::Create(double inRateHz, double outRateHz, uint32_t channels)
{
    if (!IsRate(inRateHz) || !IsRate(outRateHz) || channels < 1 || channels > kMaxChannels)
        return nullptr;
    const double ratio = outRateHz / inRateHz;
    if (!(ratio <= kMaxRatio && ratio >= 1.0 / kMaxRatio))
        return nullptr;
    SoxrResampler* r = new (std::nothrow) SoxrResampler();
    if (!r)
        return nullptr;
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_S, SOXR_FLOAT32_S);
    soxr_error_t error = nullptr;
    r->resampler = soxr_create(inRateHz, outRateHz, channels, &error, &io, nullptr, nullptr);
    if (!r->resampler || error) {
        r->Destroy();
        return nullptr;
    }
    r->channels = channels;
    r->ratio = ratio;
    return r;
}

void SoxrResampler::Destroy()
{
    delete this;
}

SoxrResampler::~SoxrResampler()
{
    if (resampler)
        soxr_delete(resampler);
}

size_t SoxrResampler::Process(const float* const* inPlanes, size_t inFrames, float* const* outPlanes,
                              size_t outCapacity, size_t* inFramesUsed)
{
    if (flushing)
        Clear();
    if (!inPlanes)
        inFrames = 0;
    const float* in[kMaxChannels];
    float* out[kMaxChannels];
    size_t used = 0, written = 0;
    while (written < outCapacity) {
        for (uint32_t c = 0; c < channels; ++c) {
            in[c] = used < inFrames ? inPlanes[c] + used : kNoInput[c];
            out[c] = outPlanes[c] + written;
        }
        const size_t inLength = std::min(inFrames - used, kCallFrames);
        const size_t outLength = std::min(outCapacity - written, kCallFrames);
        size_t inDone = 0, outDone = 0;
        if (soxr_process(resampler, in, inLength, &inDone, out, outLength, &outDone))
            break;
        used += inDone;
        written += outDone;
        // With the input used up, one more call collects what soxr can still
        // give for it; a call that moves nothing ends the loop.
        if (inDone == 0 && outDone == 0)
            break;
    }
    if (inFramesUsed)
        *inFramesUsed = used;
    return written;
}

size_t SoxrResampler::Flush(float* const* outPlanes, size_t outCapacity)
{
    float* out[kMaxChannels];
    size_t written = 0;
    bool drained = false;
    while (written < outCapacity) {
        for (uint32_t c = 0; c < channels; ++c)
            out[c] = outPlanes[c] + written;
        const size_t outLength = std::min(outCapacity - written, kCallFrames);
        size_t outDone = 0;
        flushing = true;
        const bool failed = soxr_process(resampler, nullptr, 0, nullptr, out, outLength, &outDone) != nullptr;
        written += outDone;
        // soxr gives all it holds at the end of input, so a short call is the last.
        if (failed || outDone < outLength) {
            drained = true;
            break;
        }
    }
    if (drained)
        Clear();
    return written;
}

double SoxrResampler::Delay() const
{
    return soxr_delay(resampler);
}

size_t SoxrResampler::Capacity(size_t frames) const
{
    const double room = double(frames) * ratio + Delay() + 1.0 + 0.5;
    if (!(room < double(kMaxCapacityFrames) + 1.0))
        return 0;
    return size_t(room);
}

void SoxrResampler::Clear()
{
    soxr_clear(resampler);
    flushing = false;
}
