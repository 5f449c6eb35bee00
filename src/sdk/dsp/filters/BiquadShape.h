// The filter shapes of the plug-ins' biquad and their coefficient formulas
// (bilinear transform with the frequency prewarped to the design frequency).
// The numbering is the parametric EQ's band type; DesignBiquad maps its own.
#pragma once

#include <cstdint>

#include "sdk/dsp/filters/OvBiquadCoefs.h"

enum OvBiquadShape : uint32_t {
    OV_Shape_ButterworthLowPass = 0,
    OV_Shape_ButterworthHighPass = 1,
    OV_Shape_BandPass = 2,           // 0 dB at the centre
    OV_Shape_Notch = 3,
    OV_Shape_LowShelf = 4,           // fixed slope, Q ignored
    OV_Shape_HighShelf = 5,          // fixed slope, Q ignored
    OV_Shape_Peak = 6,
    OV_Shape_LowShelfQ = 7,
    OV_Shape_HighShelfQ = 8,
    OV_Shape_LowPassQ = 9,
    OV_Shape_HighPassQ = 10,
};

// Highest design frequency as a fraction of the sample rate.
constexpr float OV_BIQUAD_MAX_FREQUENCY_RATIO = 0.5f * 0.9f;
// Lowest one, where a frequency of 0, below or NaN lands.
constexpr float OV_BIQUAD_MIN_FREQUENCY_RATIO = 1e-6f;
// Semitone steps an unstable design may be moved up (20 octaves).
constexpr int OV_BIQUAD_MAX_RAISE_STEPS = 240;

// Designs in_uShape at in_fFrequencyHz (held to 1e-6 .. 45 % of the rate) with
// the shelf/peak amplitude in_fA (10^(gainDb/40)) and in_fQ, normalises by a0
// and stores the result in io_filter. A design whose float poles would not lie
// inside the unit circle is moved up in frequency until they do (far below
// any audible setting); see the .cpp. Returns false, leaving io_filter as it
// was, for a shape outside the table. in_fA and in_fQ must be positive.
bool DesignBiquadShape(OvBiquadCoefs& io_filter, uint32_t in_uShape, float in_fSampleRate,
                       float in_fFrequencyHz, float in_fA, float in_fQ);
