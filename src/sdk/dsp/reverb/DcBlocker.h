// One-pole DC blocker, y = g x - g x[n-1] + R y[n-1], with
// R = 1 - 2 pi cutoff / rate. The optional input gain g sits ahead of the
// filter, and the previous input is kept after scaling.
#pragma once

#include <cstdint>

class DcBlocker {
public:
    // Cutoff in Hz. R is held to [0, 1): a rate of 0, or a cutoff at or above
    // rate / (2 pi), would give a pole on or outside the unit circle.
    void Init(float in_fCutoffHz, uint32_t in_uSampleRate);
    void Reset()
    {
        fPrevInput = 0.0f;
        fPrevOutput = 0.0f;
    }
    void ProcessBuffer(float* io_pfBuffer, uint32_t in_uNumFrames, float in_fInputGain = 1.0f);
    // Blocker b on buffer b, in pairs in one loop so that their recursions
    // overlap; the same arithmetic as ProcessBuffer on each.
    static void ProcessSideBySide(DcBlocker* io_pBlockers, float* const* io_ppfBuffers, uint32_t in_uNumBlockers,
                                  uint32_t in_uNumFrames, float in_fInputGain);

    float fPrevInput = 0.0f;
    float fPrevOutput = 0.0f;
    float fR = 0.0f;
};
