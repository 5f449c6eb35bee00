#include "wrappers/LoudnessProcessorImpl.h"

#include <cmath>
#include <new>

#include "ov/OvGainRamp.h"

LoudnessProcessor* LoudnessProcessor::Create()
{
    return new (std::nothrow) LoudnessProcessorImpl;
}

bool LoudnessProcessorImpl::Init(uint32_t maxFrames_, uint32_t channels_, uint32_t sampleRate_)
{
    maxFrames = maxFrames_;
    channels = channels_;
    sampleRate = sampleRate_;
    return true;
}

float LoudnessProcessorImpl::LinearGain() const
{
    return powf(10.0f, (fGain + (fTargetLoudness - kReferenceLoudnessDb)) * 0.05f);
}

void LoudnessProcessorImpl::Process(float* samples, bool*, uint32_t* frames)
{
    if (fCurrentGain == 1.0f && fTargetGain == 1.0f)
        return;
    const uint32_t count = *frames <= maxFrames ? *frames : maxFrames;
    for (uint32_t c = 0; c < channels; ++c)
        OV::ApplyGainRamp(samples + size_t(c) * maxFrames, fCurrentGain, fTargetGain, count);
    fCurrentGain = fTargetGain;
}

void LoudnessProcessorImpl::SetBypass(bool bypass)
{
    if (bypass == bBypass)
        return;
    bBypass = bypass;
    fTargetGain = bypass ? 1.0f : LinearGain();
}

void LoudnessProcessorImpl::SetParams(const LoudnessInfo& info)
{
    const bool changed = info.gain != fGain;
    fGain = info.gain;
    fPeak = info.peak;
    if (!changed)
        return;
    fTargetGain = bBypass ? 1.0f : LinearGain();
    fCurrentGain = fTargetGain;
}
