#include "effects/Rotate3DProcessorImpl.h"

#include <new>

Rotate3DProcessor* Rotate3DProcessor::Create()
{
    return Rotate3DProcessorImpl::Create();
}

Rotate3DProcessor* Rotate3DProcessorImpl::Create()
{
    return new (std::nothrow) Rotate3DProcessorImpl();
}

Rotate3DProcessorImpl::~Rotate3DProcessorImpl()
{
    ReleaseAll();
}

void Rotate3DProcessorImpl::Destroy()
{
    delete this;
}

void Rotate3DProcessorImpl::ReleaseAll()
{
    if (engine)
        engine->Destroy();
    engine = nullptr;
    bridge.Release();
}

bool Rotate3DProcessorImpl::Init(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate)
{
    ReleaseAll();
    if (maxFrames == 0 || channels == 0 || sampleRate == 0 || channels != Rotate3DEngine::kChannels)
        return false;
    engine = Rotate3DEngine::Create();
    if (!engine || !engine->Init(Rotate3DEngine::kSampleRate, Rotate3DEngine::kChannels, Rotate3DEngine::kBlockFrames) ||
        !bridge.Init(maxFrames, channels, sampleRate, Rotate3DEngine::kSampleRate, Rotate3DEngine::kBlockFrames)) {
        ReleaseAll();
        return false;
    }
    engine->SetVelocity(float(velocity));
    velocityApplied = velocity;
    return true;
}

void Rotate3DProcessorImpl::Process(float* samples, bool* draining, uint32_t* frames)
{
    if (!engine)
        return;
    if (!bridge.Bypass() && velocityApplied != velocity) {
        velocityApplied = velocity;
        engine->SetVelocity(float(velocity));
    }
    bridge.Process(*this, samples, draining, frames);
}

void Rotate3DProcessorImpl::SetBypass(bool bypass)
{
    bridge.SetBypass(bypass);
}

void Rotate3DProcessorImpl::Reset()
{
    if (!engine)
        return;
    engine->Reset();
    engine->ResetAngle();
    bridge.Reset();
}

void Rotate3DProcessorImpl::SetParams(float velocity_)
{
    // A NaN fails the test too.
    if (!(velocity_ >= 1.0f))
        return;
    velocity = velocity_;
}

void Rotate3DProcessorImpl::ProcessBlock(float* const* planes, uint32_t* frames)
{
    engine->Process(planes, frames);
}

// One silent block gives the engine's tail; then the engine starts over at
// angle 0, its next block a warm-up block.
uint32_t Rotate3DProcessorImpl::FlushBlock(float* const* planes)
{
    uint32_t frames = Rotate3DEngine::kBlockFrames;
    engine->Process(planes, &frames);
    engine->Reset();
    engine->ResetAngle();
    return frames;
}

bool Rotate3DProcessorImpl::WarmingUp() const
{
    return engine->WarmingUp();
}
