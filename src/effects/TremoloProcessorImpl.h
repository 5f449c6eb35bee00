// Tremolo: multiplies every channel by one sine swinging between 1 - range
// and 1, read from a table that holds one period (sampleRate / freq frames,
// truncated) and is rebuilt at the top of the first block after a change of
// setting. Init takes room for the longest period (sampleRate doubles, at
// 1 Hz), so the rebuild needs no memory. No crossfade at a change of bypass:
// the block in which bypass is first seen is still modulated; leaving bypass
// restarts the table.
#pragma once

#include <cstdint>

#include "effects/SineModulationProcessor.h"
#include "effects/TremoloProcessor.h"

class TremoloProcessorImpl final : public SineModulationProcessor<TremoloProcessor> {
public:
    // Returns a new instance, or null when out of memory.
    static TremoloProcessor* Create();

    bool Init(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate) override;
    void Destroy() override;
    void Process(float* samples, bool* draining, uint32_t* frames) override;

    virtual ~TremoloProcessorImpl();

private:
    TremoloProcessorImpl() = default;
    bool BuildGainTable();
    void ReleaseTable();
    void ReleaseStorage();

    double rangeApplied = 0.0;
    double* tableStorage = nullptr;  // owned; room for sampleRate entries
    double* gainTable = nullptr;     // tableStorage while a table is built, else null
    uint32_t gainTableLength = 0;
    uint32_t gainTableIndex = 0;
};
