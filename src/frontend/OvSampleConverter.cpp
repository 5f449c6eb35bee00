#include "frontend/OvSampleConverter.h"

#include <new>

#include "frontend/SampleConversion.h"

OvSampleConverter* OvSampleConverter::Create()
{
    return new (std::nothrow) OvSampleConverter();
}

void OvSampleConverter::Destroy()
{
    delete this;
}

bool OvSampleConverter::Init(uint32_t maxFrames_, uint32_t channels_, uint32_t sampleRate_,
                             AUDIO_SAMPLEFORMAT inputFormat_, AUDIO_SAMPLEFORMAT outputFormat_)
{
    maxFrames = maxFrames_;
    channels = channels_;
    sampleRate = sampleRate_;
    inputFormat = inputFormat_;
    outputFormat = outputFormat_;
    return inputFormat == AUDIO_SAMPLEFORMAT_PLANAR_FLOAT ||
           outputFormat == AUDIO_SAMPLEFORMAT_PLANAR_FLOAT;
}

bool OvSampleConverter::FillsPlanes() const
{
    return outputFormat == AUDIO_SAMPLEFORMAT_PLANAR_FLOAT && inputFormat >= AUDIO_SAMPLEFORMAT_U8 &&
           inputFormat <= AUDIO_SAMPLEFORMAT_DOUBLE;
}

void OvSampleConverter::Convert(const void* input, void* output, uint32_t frames) const
{
    if (!input || !output)
        return;
    if (frames > maxFrames)
        frames = maxFrames;
    // Planar in and out, or an unknown format, writes nothing.
    if (outputFormat == AUDIO_SAMPLEFORMAT_PLANAR_FLOAT)
        sampleconversion::ToPlanesSse2(inputFormat, input, static_cast<float*>(output), frames, channels,
                                       maxFrames);
    else if (inputFormat == AUDIO_SAMPLEFORMAT_PLANAR_FLOAT)
        sampleconversion::FromPlanesSse2(outputFormat, static_cast<const float*>(input), output, frames,
                                         channels, maxFrames);
}
