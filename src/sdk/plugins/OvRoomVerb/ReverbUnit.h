// One unit of the room reverb's body: a feedback delay network of four lines
// with a one-pole low-pass in each line (y = b0 d + a y[n-1], b0 holding the
// line's decay gain), fed back through a Householder matrix whose rows are
// rotated by one, s = x - (d0 + d1 + d2 + d3) / 2, line i <- s + d(i+1 mod 4),
// which joins the four lines into a single loop. Up to three decorrelated
// outputs are added to the caller's buses: (d0 + d2) - (d1 + d3),
// (d0 + d1) - (d2 + d3), (d0 + d3) - (d1 + d2). A short input delay sits in
// front; it is run separately, in place, so that delays add up from unit to
// unit.
//
// The decay setup follows the -60 dB-at-T rule per line, with the low-pass
// set so that HFDamping H above 1 makes the highs decay H times faster.
#pragma once

#include <cstdint>

#include "ov/OvCommonDefs.h"
#include "sdk/dsp/delays/DelayLine.h"

class IOvMemAlloc;

// How ProcessSideBySide runs the units: four lines of a unit to an SSE
// register, or two units to an AVX register. Both give the same bits.
enum class ReverbUnitPath : uint8_t { Sse2, Avx };

// One line's low-pass: state, b0, and a1 stored negated (y = b0 d - a1 y).
struct ReverbUnitFilter {
    float fState = 0.0f;
    float fB0 = 0.0f;
    float fA1 = 0.0f;
};

class ReverbUnit {
public:
    static constexpr uint32_t OV_REVERBUNIT_LINES = 4;
    static constexpr uint32_t OV_REVERBUNIT_MAX_OUTPUTS = 3;
    // Units that ProcessSideBySide runs together.
    static constexpr uint32_t OV_REVERBUNIT_MAX_SIDE_BY_SIDE = 4;

    // Lines of the given lengths (samples) and the input delay; the memory is
    // not cleared: Reset before use.
    OvResult Init(IOvMemAlloc* in_pAllocator, const uint32_t in_uLineLengths[OV_REVERBUNIT_LINES],
                  uint32_t in_uInputDelay);
    void Term(IOvMemAlloc* in_pAllocator);
    // Silences lines, filter states and input delay.
    void Reset();

    // Coefficients for a decay time in seconds and a damping factor; the delay
    // contents stay, so a tail morphs.
    void SetDecay(double in_dDecayTime, double in_dHFDamping, uint32_t in_uSampleRate);

    // The input delay, in place or from one buffer into another.
    void DelayInput(float* io_pfBuffer, uint32_t in_uNumFrames) { m_inputDelay.ProcessBuffer(io_pfBuffer, in_uNumFrames); }
    void DelayInput(const float* in_pfInput, float* out_pfDelayed, uint32_t in_uNumFrames)
    {
        m_inputDelay.ProcessBuffer(in_pfInput, out_pfDelayed, in_uNumFrames);
    }

    // Adds in_uNumOutputs outputs to io_ppfOutputs[0 ..]; four samples of all
    // four lines per step, transposed in registers.
    void Process(const float* in_pfInput, float* const* io_ppfOutputs, uint32_t in_uNumOutputs,
                 uint32_t in_uNumFrames);
    // Up to four units (io_pUnits[0 .. in_uNumUnits)) run side by side, so
    // that their latency-bound recursions overlap. Unit k reads
    // in_ppfInputs[k] and adds to io_ppfOutputs[k * in_uNumOutputs + o].
    // Where units share an output, each sample takes their additions in unit
    // order: the sums are bit for bit those of running the units one after
    // another. Segments end at the first wrap of any of their lines.
    static void ProcessSideBySide(ReverbUnit* io_pUnits, uint32_t in_uNumUnits, const float* const* in_ppfInputs,
                                  float* const* io_ppfOutputs, uint32_t in_uNumOutputs, uint32_t in_uNumFrames,
                                  ReverbUnitPath in_ePath);
    // The widest path the processor has.
    static ReverbUnitPath WidestPath();
    // The same as Process, one sample at a time: the reference for both.
    void ProcessScalar(const float* in_pfInput, float* const* io_ppfOutputs, uint32_t in_uNumOutputs,
                       uint32_t in_uNumFrames);

    DelayLine m_lines[OV_REVERBUNIT_LINES];
    ReverbUnitFilter m_filters[OV_REVERBUNIT_LINES];
    DelayLine m_inputDelay;

private:
    // Samples until the first line reaches its end, at most in_uFrames.
    uint32_t SegmentLength(uint32_t in_uFrames) const;
    void Advance(uint32_t in_uFrames);
    // Samples [in_uFrom, in_uTo) of a segment, one at a time.
    void RunScalar(const float* in_pfInput, float* const* io_ppfOutputs, uint32_t in_uNumOutputs, uint32_t in_uFrom,
                   uint32_t in_uTo);
};
