// Second-order IIR filter of the native effects: a filter description (shape,
// centre or corner frequency, bandwidth in one of six units, gain in dB,
// dry/wet mix) turned into five normalised coefficients by the Audio EQ
// Cookbook's formulas, run in place over planar audio of 16-bit, 32-bit,
// float or double samples. Spatial audio's engine is its user. A new
// description takes effect at the start of the next Process; the channel
// state carries over, so the new filter starts from the old one's delays.
#pragma once

#include <cstdint>

enum BiquadType : uint32_t {
    BIQUAD_TYPE_BIQUAD = 0,  // coefficients taken from the record
    BIQUAD_TYPE_EQUALIZER = 1,
    BIQUAD_TYPE_BASS = 2,  // low shelf, alternative shelf term
    BIQUAD_TYPE_LOWSHELF = 3,
    BIQUAD_TYPE_TREBLE = 4,  // high shelf, alternative shelf term
    BIQUAD_TYPE_HIGHSHELF = 5,
    BIQUAD_TYPE_BANDPASS = 6,
    BIQUAD_TYPE_BANDREJECT = 7,
    BIQUAD_TYPE_LOWPASS = 8,
    BIQUAD_TYPE_HIGHPASS = 9,
    BIQUAD_TYPE_ALLPASS = 10,
};

enum BiquadWidthType : uint32_t {
    BIQUAD_WIDTH_NONE = 0,
    BIQUAD_WIDTH_HERTZ = 1,
    BIQUAD_WIDTH_KILOHERTZ = 2,
    BIQUAD_WIDTH_OCTAVE = 3,
    BIQUAD_WIDTH_QFACTOR = 4,
    BIQUAD_WIDTH_SLOPE = 5,
};

// The caller sets every field that has no default here.
struct BiquadParams {
    uint32_t type = BIQUAD_TYPE_BIQUAD;
    uint32_t poles = 2;  // 1: one-pole lowpass and highpass; read by no other shape
    bool constantSkirtGain = false;  // bandpass only
    double frequency = 0.0;          // Hz
    uint32_t widthType = BIQUAD_WIDTH_NONE;
    double width = 0.0;  // in the unit of widthType
    double gain = 0.0;   // dB, peaking and shelves
    double mix = 1.0;    // share of the filtered signal in the output
    bool normalize = false;  // feed-forward scaled to unit gain at DC
    double a0 = 0.0, a1 = 0.0, a2 = 0.0, b0 = 0.0, b1 = 0.0, b2 = 0.0;
};

class BiquadFilter {
public:
    // Returns a new BiquadFilterImpl, or null when out of memory.
    static BiquadFilter* Create();

    // format: 1 (16-bit), 2 (32-bit), 3 (float) or 4 (double), planar.
    // False, holding nothing, for any other format, a rate or channel count
    // of 0, or out of memory. Both descriptions survive.
    virtual bool Init(uint32_t format, int32_t sampleRate, int32_t channels) = 0;
    // Designs the coefficients and keeps them for the next Process. False,
    // the running and pending filters untouched, when the frequency lies
    // above half the rate, the width type or type is unknown, or the design
    // gives a coefficient that is not finite.
    virtual bool SetParams(const BiquadParams& params) = 0;
    // channelData: one buffer per channel, frames frames each, in place.
    virtual void Process(void** channelData, int32_t frames) = 0;
    // Clears the channel state at the start of the next Process.
    virtual void Reset() = 0;
    virtual void Destroy() = 0;

    // The pending description with its coefficients, for tests.
    virtual const BiquadParams& PendingParams() const = 0;

protected:
    ~BiquadFilter() = default;
};
