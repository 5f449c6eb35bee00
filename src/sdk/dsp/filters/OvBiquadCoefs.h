// Coefficients of the plug-ins' biquad and the block filter that runs them.
// Direct form I, a0 normalised to 1, feedback kept as c1 = -a1, c2 = -a2.
// Besides the five scalars, SetCoefs expands the recursion over four
// consecutive outputs into eight rows of four, so that the main loop computes
// four outputs per step from four inputs and the state with multiply-adds
// only, free of the sample-to-sample dependence on y1. Floats, no denormal
// handling (the wrappers set flush-to-zero around every plug-in call).
#pragma once

#include <cstdint>

// One filter memory: the last two inputs and outputs.
struct OvBiquadState {
    float x1;
    float x2;
    float y1;
    float y2;
};

class OvBiquadCoefs {
public:
    OvBiquadCoefs();

    // b0..a2 already divided by a0.
    void SetCoefs(float in_fB0, float in_fB1, float in_fB2, float in_fA1, float in_fA2);

    float B0() const { return m_fB0; }
    float B1() const { return m_fB1; }
    float B2() const { return m_fB2; }
    float A1() const { return -m_fC1; }
    float A2() const { return -m_fC2; }

    // In place over in_uFrames samples with io_state as memory. A head up to
    // the next 16-byte boundary and the last (frames mod 4) samples take the
    // scalar form, the rest the four-sample form.
    void Run(float* io_pSamples, uint32_t in_uFrames, OvBiquadState& io_state) const;

    // The same filter one sample at a time, for reference and short runs.
    void RunScalar(float* io_pSamples, uint32_t in_uFrames, OvBiquadState& io_state) const;

    // Only the four-sample form; in_uFrames must be a multiple of 4.
    void RunFourSamples(float* io_pSamples, uint32_t in_uFrames, OvBiquadState& io_state) const;

    // The eight rows of four, row by row, 16-byte aligned: for kernels that
    // run the four-sample form of several filters at once.
    const float* Rows() const { return &m_fRows[0][0]; }

private:
    // Row 0: h0 on each lane; rows 1-3: the impulse response applied to
    // x[n+2], x[n+1], x[n]; rows 4-7: the response to x1, x2, y1, y2.
    alignas(16) float m_fRows[8][4];
    float m_fB0;
    float m_fB1;
    float m_fB2;
    float m_fC1;
    float m_fC2;
};
