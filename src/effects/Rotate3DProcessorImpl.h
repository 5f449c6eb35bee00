// Rotate 3D: Rotate3DEngine behind the block bridge, so that it
// runs at 44100 Hz in blocks of 256 frames whatever the chain's block size
// and rate; at other rates two resamplers carry the audio to 44100 Hz and
// back, and a revolution still takes velocity seconds. Stereo only: Init
// refuses any other channel count, so the chain leaves the slot empty.
//
// Velocity: SetParams takes 1 and up (+inf stops the rotation); anything
// else, NaN included, is ignored. It reaches the engine at the next active
// Process and survives Init.
//
// Bypass: entering it flushes (the engine's tail from one silent block, then
// what the engine had not taken, unprocessed) and resets the engine and its
// angle; the queued frames keep coming out until the output FIFO is empty,
// after which blocks pass untouched. Leaving it starts with a warm-up block
// at angle 0. The end of the stream flushes the same way.
//
// Reset leaves the effect as a new one with the same settings: engine
// silent, angle 0, FIFOs empty, resamplers as after Init: this library's
// Reset promises a new effect's sound, so the angle starts again at 0
// rather than going on from where it was; intended.
#pragma once

#include <cstdint>

#include "effects/BlockBridge.h"
#include "effects/Rotate3DEngine.h"
#include "effects/Rotate3DProcessor.h"

class Rotate3DProcessorImpl final : public Rotate3DProcessor, private BlockEngine {
public:
    // Returns a new instance, or null when out of memory.
    static Rotate3DProcessor* Create();

    // False when any argument is 0, channels is not 2, a resampler cannot be
    // made for the rate (soxr's ratio limit: below 173 Hz or above 11.2 MHz)
    // or memory runs out; all is released then.
    bool Init(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate) override;
    void Destroy() override;
    void Process(float* samples, bool* draining, uint32_t* frames) override;
    void SetBypass(bool bypass) override;
    void Reset() override;
    void SetParams(float velocity) override;

    virtual ~Rotate3DProcessorImpl();

    // For tests and benchmarks.
    const Rotate3DEngine* Engine() const { return engine; }
    const BlockBridge& Bridge() const { return bridge; }

private:
    Rotate3DProcessorImpl() = default;
    void ReleaseAll();

    // BlockEngine
    void ProcessBlock(float* const* planes, uint32_t* frames) override;
    uint32_t FlushBlock(float* const* planes) override;
    bool WarmingUp() const override;

    Rotate3DEngine* engine = nullptr;
    BlockBridge bridge;
    double velocityApplied = Rotate3DEngine::kDefaultVelocity;
    double velocity = Rotate3DEngine::kDefaultVelocity;
};
