// Vibrato: reads each channel through a 5 ms ring of doubles at a delay that
// follows a sine, with linear interpolation between the two ring entries
// around the read point. The delay table holds one period (sampleRate / freq
// frames, truncated) from 0 to the ring length in frames, starting at its
// lowest value; Range scales it, so the delay swings between
// ringLength * (1 - range) and ringLength frames. Init takes the ring and
// room for the longest table (sampleRate doubles, at 1 Hz), so a change of
// Freq rebuilds the table without taking memory. A change of bypass runs one
// block that crossfades linearly between dry and wet. Leaving bypass and
// Reset start over with a silent ring, as a new effect does.
#pragma once

#include <cstdint>

#include "effects/SineModulationProcessor.h"
#include "effects/VibratoProcessor.h"

class VibratoProcessorImpl final : public SineModulationProcessor<VibratoProcessor> {
public:
    // Returns a new instance, or null when out of memory.
    static VibratoProcessor* Create();

    bool Init(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate) override;
    void Destroy() override;
    void Process(float* samples, bool* draining, uint32_t* frames) override;

    virtual ~VibratoProcessorImpl();

private:
    VibratoProcessorImpl() = default;
    bool BuildDelayTable();
    // The delay curve and ring a block reads with.
    struct Positions {
        double depth;  // range
        const double* table;
        uint32_t tableLength;
        uint32_t ringLength;
    };
    // Runs count frames from the given positions and moves them on; the
    // gains only matter when kCrossfade.
    template <bool kCrossfade>
    void RunFrames(float* samples, uint32_t count, const Positions& positions, uint32_t& tableIndex,
                   uint32_t& writeIndex, double dryGain, double dryStep, double wetGain, double wetStep) const;
    void ReleaseAll();

    double** ringBuffers = nullptr;  // ringBuffers[0] owns the storage of all channels
    uint32_t ringLength = 0;
    uint32_t ringWriteIndex = 0;
    double* tableStorage = nullptr;  // owned; room for sampleRate entries
    double* delayTable = nullptr;    // tableStorage while a table is built, else null
    uint32_t delayTableLength = 0;
    uint32_t delayTableIndex = 0;
};
