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

// Designs in_uShape at in_fFrequencyHz (clamped to 45 % of the rate) with the
// shelf/peak amplitude in_fA (10^(gainDb/40)) and in_fQ, normalises by a0 and
// stores the result in io_filter. Returns false, leaving io_filter as it was,
// for a shape outside the table.
bool DesignBiquadShape(OvBiquadCoefs& io_filter, uint32_t in_uShape, float in_fSampleRate,
                       float in_fFrequencyHz, float in_fA, float in_fQ);
