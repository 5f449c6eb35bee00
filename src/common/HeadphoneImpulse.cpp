#include "common/HeadphoneImpulse.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "common/ResampleImpulse.h"
#include "common/WavReader.h"
#include "common/WavWriter.h"

float LinearToDb(float x)
{
    return x == 0.0f ? kSilenceDb : 20.0f * std::log10(x);
}

bool ReadLxhgTrailer(const uint8_t* image, uint64_t imageBytes, uint64_t riffEnd, float* bypassedGain,
                     float* activeGain)
{
    if (!image || riffEnd > imageBytes || imageBytes - riffEnd < 16 || std::memcmp(image + riffEnd, "LXHG", 4) != 0)
        return false;
    float bypassed, active;
    std::memcpy(&bypassed, image + riffEnd + 8, 4);
    std::memcpy(&active, image + riffEnd + 12, 4);
    if (!std::isfinite(bypassed) || !std::isfinite(active))
        return false;
    *bypassedGain = bypassed;
    *activeGain = active;
    return true;
}

void PrepareHeadphoneImpulse(const void* image, void** impulse, uint64_t* imageBytes, float* bypassedGain,
                             float* activeGain, uint32_t streamRateHz)
{
    *bypassedGain = *activeGain = 0.0f;
    WavReader reader;
    if (!reader.Load(image, *imageBytes, false))
        return;
    const uint64_t riffEnd = static_cast<uint64_t>(reader.RiffSize()) + 8;
    if (riffEnd > *imageBytes)
        return;
    ReadLxhgTrailer(static_cast<const uint8_t*>(image), *imageBytes, riffEnd, bypassedGain, activeGain);
    *imageBytes = riffEnd;
    if (reader.SampleRate() == streamRateHz || streamRateHz == 0 || !reader.ReadSamples())
        return;
    const uint32_t channels = reader.Channels();
    float* resampled = nullptr;
    uint32_t frames = 0;
    if (ResampleImpulse(reader.Samples(), reader.FrameCount(), reader.SampleRate(), channels, &resampled, &frames,
                        streamRateHz) != kResampleDone ||
        !resampled || frames == 0) {
        std::free(resampled);
        return;
    }
    float energy = 0.0f;
    const uint64_t count = static_cast<uint64_t>(frames) * channels;
    for (uint64_t i = 0; i < count; ++i)
        energy += resampled[i] * resampled[i];
    // A silent or overflowing result has no level to correct to; the image
    // then goes on cut but unresampled, as when the samples do not read.
    if (!(energy > 0.0f) || !std::isfinite(energy)) {
        std::free(resampled);
        return;
    }
    WavWriter writer;
    const WavFormat format{reader.SampleCode(), channels, streamRateHz};
    const int32_t status = writer.Write(format, resampled, frames);
    std::free(resampled);
    if (status != WavWriter::kDone)
        return;
    void* copy = std::calloc(writer.Size(), 1);
    if (!copy)
        return;
    std::memcpy(copy, writer.Data(), writer.Size());
    *impulse = copy;
    *imageBytes = writer.Size();
    *activeGain += LinearToDb(1.0f / std::sqrt(energy / static_cast<float>(channels)));
}
