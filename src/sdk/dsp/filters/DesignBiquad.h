// Coefficient design for the graphic EQ, the crossovers and the reverb's
// filters. Types: 0 low shelf (fixed slope), 1 peak, 2 high shelf (fixed
// slope), 3 Butterworth low-pass, 4 Butterworth high-pass, 5 band-pass (0 dB
// peak), 6 notch, 7 low shelf with Q, 8 high shelf with Q. Frequency in Hz,
// clamped to 45 % of the rate; gain in dB (types 0-2, 7, 8); q unused by 3, 4.
#pragma once

#include "sdk/dsp/filters/OvBiquadCoefs.h"

// An unknown type is reported and leaves the filter as it was.
void DesignBiquad(OvBiquadCoefs& io_filter, int in_iType, float in_fSampleRate, float in_fFrequencyHz,
                  float in_fGainDb, float in_fQ);
