#include "wrappers/LoudnessProcessorImpl.h"

#include <cmath>
#include <new>

#include "ov/OvGainRamp.h"
#include "ov/OvParamValues.h"

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

namespace {

// The gain is clamped to +-40 dB: measured gains lie within +-25 or so, 1e6
// dB would be infinite, and the boosts of all the chain's effects together
// must stay well within the float range. The target level, with no caller
// yet, to [-60, 0] dB: a loudness above full scale means nothing.
constexpr float kMaxGainDb = 40.0f;
constexpr float kMinTargetDb = -60.0f;

}  // namespace

void LoudnessProcessorImpl::SetTargetLevel(float targetLoudnessDb)
{
    // NaN keeps the previous value.
    fTargetLoudness = OV::ClampToDomain(targetLoudnessDb, kMinTargetDb, 0.0f, fTargetLoudness);
}

void LoudnessProcessorImpl::SetParams(const LoudnessInfo& info)
{
    // A NaN keeps the previous value; the peak, which nothing reads, is
    // clamped to 0 or above.
    const float gain = OV::ClampToDomain(info.gain, -kMaxGainDb, kMaxGainDb, fGain);
    const bool changed = gain != fGain;
    fGain = gain;
    fPeak = OV::ClampToDomain(info.peak, 0.0f, INFINITY, fPeak);
    if (!changed)
        return;
    fTargetGain = bBypass ? 1.0f : LinearGain();
    fCurrentGain = fTargetGain;
}
