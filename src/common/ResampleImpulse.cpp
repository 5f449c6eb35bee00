#include "common/ResampleImpulse.h"

#include <cmath>
#include <cstdlib>
#include <new>

#include "common/SoxrResampler.h"

int32_t ResampleImpulse(const float* samples, uint32_t frames, uint32_t inRateHz, uint32_t channels, float** out,
                        uint32_t* outFrames, uint32_t outRateHz)
{
    if (!out || !outFrames)
        return kResampleInvalid;
    *out = nullptr;
    *outFrames = 0;
    if (!samples || frames == 0 || inRateHz == 0 || outRateHz == 0)
        return kResampleInvalid;
    SoxrResampler* resampler = SoxrResampler::Create(inRateHz, outRateHz, channels);
    if (!resampler)
        return kResampleInvalid;
    // Capacity is 0 when the output would not fit its 32-bit frame counts.
    const size_t capacity = resampler->Capacity(frames);
    if (capacity == 0 || capacity > 0xffffffffu / channels) {
        resampler->Destroy();
        return kResampleInvalid;
    }
    float* inPlanar = new (std::nothrow) float[static_cast<size_t>(frames) * channels];
    float* outPlanar = new (std::nothrow) float[capacity * channels];
    float* interleaved = static_cast<float*>(std::malloc(capacity * channels * sizeof(float)));
    if (!inPlanar || !outPlanar || !interleaved) {
        delete[] inPlanar;
        delete[] outPlanar;
        std::free(interleaved);
        resampler->Destroy();
        return kResampleNoMemory;
    }
    const float* inPlanes[SoxrResampler::kMaxChannels];
    float* outPlanes[SoxrResampler::kMaxChannels];
    for (uint32_t c = 0; c < channels; ++c) {
        inPlanes[c] = inPlanar + static_cast<size_t>(c) * frames;
        outPlanes[c] = outPlanar + c * capacity;
        for (uint32_t i = 0; i < frames; ++i)
            inPlanar[static_cast<size_t>(c) * frames + i] = samples[static_cast<size_t>(i) * channels + c];
    }
    const size_t done = resampler->Process(inPlanes, frames, outPlanes, capacity);
    float* tailPlanes[SoxrResampler::kMaxChannels];
    for (uint32_t c = 0; c < channels; ++c)
        tailPlanes[c] = outPlanes[c] + done;
    const size_t tail = resampler->Flush(tailPlanes, capacity - done);
    resampler->Destroy();
    delete[] inPlanar;
    // With nothing from the flush the whole result is dropped; intended.
    if (tail == 0) {
        delete[] outPlanar;
        std::free(interleaved);
        return kResampleDone;
    }
    const size_t total = done + tail;
    bool finite = true;
    for (uint32_t c = 0; c < channels; ++c)
        for (size_t i = 0; i < total; ++i) {
            const float x = outPlanes[c][i];
            finite &= std::isfinite(x);
            interleaved[i * channels + c] = x;
        }
    delete[] outPlanar;
    // Samples near the float limit can overflow the filter; such an impulse
    // is refused rather than handed on with Inf or NaN in it.
    if (!finite) {
        std::free(interleaved);
        return kResampleInvalid;
    }
    *out = interleaved;
    *outFrames = static_cast<uint32_t>(total);
    return kResampleDone;
}
