// libFuzzer target over the impulse-file path: the WAV reader, resampling of
// an impulse to the stream's rate, and the headphone image preparation. The
// first byte picks the stream rate; the rest is the image.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "FuzzInput.h"
#include "common/HeadphoneImpulse.h"
#include "common/ResampleImpulse.h"
#include "common/WavReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const uint32_t streamRateHz = FuzzStreamRate(data[0]);
    const uint8_t* image = data + 1;
    const uint64_t imageBytes = size - 1;

    WavReader reader;
    if (reader.Load(image, imageBytes, true) && reader.FrameCount() > 0) {
        float* resampled = nullptr;
        uint32_t resampledFrames = 0;
        if (ResampleImpulse(reader.Samples(), reader.FrameCount(), reader.SampleRate(), reader.Channels(),
                            &resampled, &resampledFrames, streamRateHz) == kResampleDone) {
            for (uint64_t i = 0; i < uint64_t(resampledFrames) * reader.Channels(); ++i)
                if (!(resampled[i] == resampled[i]))
                    std::abort();  // resampling must not make NaN from finite samples
        }
        std::free(resampled);
    }

    void* prepared = nullptr;
    uint64_t preparedBytes = imageBytes;
    float bypassedGain = 0.0f, activeGain = 0.0f;
    PrepareHeadphoneImpulse(image, &prepared, &preparedBytes, &bypassedGain, &activeGain, streamRateHz);
    if (prepared) {
        // The prepared image must load again, at the stream's rate.
        WavReader again;
        if (!again.Load(prepared, preparedBytes, true) || again.SampleRate() != streamRateHz)
            std::abort();
    }
    std::free(prepared);
    return 0;
}
