// Spatial audio: SpatialAudioEngine behind the block bridge, so that it runs
// in blocks of 512 frames at 44100 or 48000 Hz whatever the chain's block
// size and rate; at any other rate two resamplers carry the audio to
// 48000 Hz and back. At 44.1 and 48 kHz a stream whose blocks are whole
// multiples of 512 frames comes out without latency. Stereo only: Init
// refuses any other channel count, so the chain leaves the slot empty.
//
// Levels: SetParams takes dB for each speaker; a NaN keeps the speaker's
// previous gain, and levels are held at or below +24 dB. Settings made
// before Init are kept and applied when the engine exists.
//
// Bypass: entering it moves what the engine had not taken to the output,
// unprocessed, behind what it had given; the engine keeps its state (its
// overlap and reverberation are not played out, intended) and the next
// active block goes on from it.
#pragma once

#include <cstdint>

#include "effects/BlockBridge.h"
#include "effects/SpatialAudioEngine.h"
#include "effects/SpatialAudioProcessor.h"

class SpatialAudioProcessorImpl final : public SpatialAudioProcessor, private BlockEngine {
public:
    // Returns a new instance, or null when out of memory.
    static SpatialAudioProcessor* Create();

    // False when any argument is 0, channels is not 2, a resampler cannot be
    // made for the rate or memory runs out; all is released then.
    bool Init(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate) override;
    void Destroy() override;
    void Process(float* samples, bool* draining, uint32_t* frames) override;
    void SetBypass(bool bypass) override;
    void Reset() override;
    void SetParams(const SpatialAudioParams& params) override;

    virtual ~SpatialAudioProcessorImpl();

    // For tests and benchmarks.
    const SpatialAudioEngine* Engine() const { return engine; }
    const BlockBridge& Bridge() const { return bridge; }

    // The engine's rate for a stream's rate.
    static uint32_t EngineRate(uint32_t sampleRate)
    {
        return sampleRate == 44100 || sampleRate == 48000 ? sampleRate : 48000;
    }

private:
    SpatialAudioProcessorImpl() = default;
    void ReleaseAll();
    void ApplyParams();

    // BlockEngine
    void ProcessBlock(float* const* planes, uint32_t* frames) override;
    uint32_t FlushBlock(float* const* planes) override;
    bool WarmingUp() const override;

    SpatialAudioEngine* engine = nullptr;
    BlockBridge bridge;
    SpatialAudioParams params = {};
    bool haveParams = false;
};
