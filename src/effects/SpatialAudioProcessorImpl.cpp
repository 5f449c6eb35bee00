#include "effects/SpatialAudioProcessorImpl.h"

#include <new>

SpatialAudioProcessor* SpatialAudioProcessor::Create()
{
    return SpatialAudioProcessorImpl::Create();
}

SpatialAudioProcessor* SpatialAudioProcessorImpl::Create()
{
    return new (std::nothrow) SpatialAudioProcessorImpl();
}

SpatialAudioProcessorImpl::~SpatialAudioProcessorImpl()
{
    ReleaseAll();
}

void SpatialAudioProcessorImpl::Destroy()
{
    delete this;
}

void SpatialAudioProcessorImpl::ReleaseAll()
{
    if (engine)
        engine->Destroy();
    engine = nullptr;
    bridge.Release();
}

bool SpatialAudioProcessorImpl::Init(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate)
{
    ReleaseAll();
    if (maxFrames == 0 || channels != SpatialAudioEngine::kChannels || sampleRate == 0)
        return false;
    const uint32_t engineRate = EngineRate(sampleRate);
    engine = SpatialAudioEngine::Create();
    if (!engine ||
        !engine->Init(engineRate, SpatialAudioEngine::kChannels, SpatialAudioEngine::kBlockFrames) ||
        !bridge.Init(maxFrames, channels, sampleRate, engineRate, SpatialAudioEngine::kBlockFrames)) {
        ReleaseAll();
        return false;
    }
    if (haveParams)
        ApplyParams();
    return true;
}

void SpatialAudioProcessorImpl::Process(float* samples, bool* draining, uint32_t* frames)
{
    if (!engine)
        return;
    bridge.Process(*this, samples, draining, frames);
}

void SpatialAudioProcessorImpl::SetBypass(bool bypass)
{
    bridge.SetBypass(bypass);
}

void SpatialAudioProcessorImpl::Reset()
{
    if (!engine)
        return;
    engine->Reset();
    bridge.Reset();
}

void SpatialAudioProcessorImpl::SetParams(const SpatialAudioParams& params_)
{
    // Kept for the engine that Init makes, when there is none yet.
    params = params_;
    haveParams = true;
    if (engine)
        ApplyParams();
}

void SpatialAudioProcessorImpl::ApplyParams()
{
    engine->SetCenter(params.Center);
    engine->SetLfe(params.LFE);
    engine->SetFrontLeft(params.FL);
    engine->SetFrontRight(params.FR);
    engine->SetSideLeft(params.SL);
    engine->SetSideRight(params.SR);
    engine->SetRearLeft(params.RL);
    engine->SetRearRight(params.RR);
    engine->SetEnhance(params.Enhance);
}

void SpatialAudioProcessorImpl::ProcessBlock(float* const* planes, uint32_t* frames)
{
    engine->Process(planes, frames);
}

// No tail block: the overlap and the reverberation stay in the engine for
// the next active block.
uint32_t SpatialAudioProcessorImpl::FlushBlock(float* const*)
{
    return 0;
}

bool SpatialAudioProcessorImpl::WarmingUp() const
{
    return engine->WarmingUp();
}
