// The interface every effect offers the chain. Effects run in place on the
// chain's planar float block: channel c starts at element c * maxFrames.
#pragma once

#include <cstdint>

class AudioProcessor {
public:
    // Prepares for blocks of at most maxFrames frames.
    virtual bool Init(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate) = 0;
    virtual void Destroy() = 0;
    // *frames: valid frames in, valid frames out (at most maxFrames).
    // *draining true says the stream has ended; an effect with output still
    // to give sets it to false.
    virtual void Process(float* samples, bool* draining, uint32_t* frames) = 0;
    // true: the effect must not alter the audio.
    virtual void SetBypass(bool bypass) = 0;
    // Forgets all audio state, keeps settings.
    virtual void Reset() = 0;

protected:
    ~AudioProcessor() = default;
};
