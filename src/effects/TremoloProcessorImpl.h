// Tremolo: multiplies every channel by one sine swinging between 1 - range
// and 1, read from a table that holds one period (sampleRate / freq frames,
// truncated) and is rebuilt at the top of the first block after a change of
// setting. No crossfade at a change of bypass: the block in which bypass is
// first seen is still modulated; leaving bypass restarts the table.
#pragma once

#include <cstdint>

#include "effects/TremoloProcessor.h"

class TremoloProcessorImpl final : public TremoloProcessor {
public:
    // Returns a new instance, or null when out of memory.
    static TremoloProcessor* Create();

    bool Init(uint32_t maxFrames, uint32_t channels, uint32_t sampleRate) override;
    void Destroy() override;
    void Process(float* samples, bool* draining, uint32_t* frames) override;
    void SetBypass(bool bypass) override;
    void Reset() override;
    bool SetParams(double freq, double range) override;

    virtual ~TremoloProcessorImpl();

private:
    TremoloProcessorImpl() = default;
    bool BuildGainTable();
    void ReleaseTable();

    bool bypass = true;
    bool bypassPrev = true;
    uint32_t maxFrames = 0;
    uint32_t sampleRate = 0;
    uint32_t channels = 0;
    double freq = 0.0;
    double freqApplied = 0.0;
    double range = 0.0;
    double rangeApplied = 0.0;
    double* gainTable = nullptr;
    uint32_t gainTableLength = 0;
    uint32_t gainTableIndex = 0;
    bool resetPending = false;
};
