#include "sdk/dsp/filters/BiquadShape.h"

#include <algorithm>
#include <cmath>

namespace {

struct Coefs {
    float b0, b1, b2, a1, a2;  // divided by a0
};

// Both poles of z^2 + a1 z + a2 strictly inside the unit circle (the
// stability triangle); false for NaN.
bool PolesInside(const Coefs& in_c)
{
    return in_c.a2 < 1.0f && in_c.a2 > -1.0f && std::fabs(in_c.a1) < 1.0f + in_c.a2;
}

// The formulas of one shape at frequency f; false for a shape outside the table.
bool DesignAt(Coefs& out_c, uint32_t in_uShape, float fs, float f, float in_fA, float in_fQ)
{
    const float w = 6.2831855f * f / fs;
    const float sinW = std::sin(w);
    const float C = std::cos(w);
    const float A = in_fA;
    float alpha = sinW / (2.0f * in_fQ);
    float b0, b1, b2, a0, a1, a2;

    switch (in_uShape) {
    case OV_Shape_ButterworthLowPass: {
        const float k = 1.0f / std::tan(3.1415927f * f / fs);
        const float d = 1.0f / (1.0f + 1.4142135f * k + k * k);
        b0 = d;
        b1 = 2.0f * d;
        b2 = d;
        a0 = 1.0f;
        a1 = 2.0f * d * (1.0f - k * k);
        a2 = (1.0f + k * k - 1.4142135f * k) * d;
        break;
    }
    case OV_Shape_ButterworthHighPass: {
        const float k = std::tan(3.1415927f * f / fs);
        const float d = 1.0f / (1.0f + 1.4142135f * k + k * k);
        b0 = d;
        b1 = -2.0f * d;
        b2 = d;
        a0 = 1.0f;
        a1 = 2.0f * d * (k * k - 1.0f);
        a2 = (1.0f + k * k - 1.4142135f * k) * d;
        break;
    }
    case OV_Shape_BandPass:
        b0 = alpha;
        b1 = 0.0f;
        b2 = -alpha;
        a0 = 1.0f + alpha;
        a1 = -2.0f * C;
        a2 = 1.0f - alpha;
        break;
    case OV_Shape_Notch:
        b0 = 1.0f;
        b1 = -2.0f * C;
        b2 = 1.0f;
        a0 = 1.0f + alpha;
        a1 = -2.0f * C;
        a2 = 1.0f - alpha;
        break;
    case OV_Shape_LowShelf:
    case OV_Shape_LowShelfQ:
    case OV_Shape_HighShelf:
    case OV_Shape_HighShelfQ: {
        if (in_uShape == OV_Shape_LowShelf || in_uShape == OV_Shape_HighShelf) {
            // Fixed slope 1: the slope term (1/S - 1) is zero; intended.
            alpha = sinW / 2.0f * std::sqrt((A + 1.0f / A) * 0.0f + 2.0f);
        }
        const float S = 2.0f * std::sqrt(A) * alpha;
        if (in_uShape == OV_Shape_LowShelf || in_uShape == OV_Shape_LowShelfQ) {
            b0 = A * ((A + 1.0f) - (A - 1.0f) * C + S);
            b1 = 2.0f * A * ((A - 1.0f) - (A + 1.0f) * C);
            b2 = A * ((A + 1.0f) - (A - 1.0f) * C - S);
            a0 = (A + 1.0f) + (A - 1.0f) * C + S;
            a1 = -2.0f * ((A - 1.0f) + (A + 1.0f) * C);
            a2 = (A + 1.0f) + (A - 1.0f) * C - S;
        } else {
            b0 = A * ((A + 1.0f) + (A - 1.0f) * C + S);
            b1 = -2.0f * A * ((A - 1.0f) + (A + 1.0f) * C);
            b2 = A * ((A + 1.0f) + (A - 1.0f) * C - S);
            a0 = (A + 1.0f) - (A - 1.0f) * C + S;
            a1 = 2.0f * ((A - 1.0f) - (A + 1.0f) * C);
            a2 = (A + 1.0f) - (A - 1.0f) * C - S;
        }
        break;
    }
    case OV_Shape_Peak:
        b0 = 1.0f + alpha * A;
        b1 = -2.0f * C;
        b2 = 1.0f - alpha * A;
        a0 = 1.0f + alpha / A;
        a1 = -2.0f * C;
        a2 = 1.0f - alpha / A;
        break;
    case OV_Shape_LowPassQ:
        b0 = (1.0f - C) / 2.0f;
        b1 = 1.0f - C;
        b2 = (1.0f - C) / 2.0f;
        a0 = 1.0f + alpha;
        a1 = -2.0f * C;
        a2 = 1.0f - alpha;
        break;
    case OV_Shape_HighPassQ:
        b0 = (1.0f + C) / 2.0f;
        b1 = -(1.0f + C);
        b2 = (1.0f + C) / 2.0f;
        a0 = 1.0f + alpha;
        a1 = -2.0f * C;
        a2 = 1.0f - alpha;
        break;
    default:
        return false;
    }
    out_c = {b0 / a0, b1 / a0, b2 / a0, a1 / a0, a2 / a0};
    return true;
}

}  // namespace

bool DesignBiquadShape(OvBiquadCoefs& io_filter, uint32_t in_uShape, float in_fSampleRate,
                       float in_fFrequencyHz, float in_fA, float in_fQ)
{
    const float fs = in_fSampleRate;
    // The frequency is held to (1e-6 of the rate, 45 % of it]; NaN counts as the bottom.
    const float fLowest = fs * OV_BIQUAD_MIN_FREQUENCY_RATIO;
    float f = std::min(in_fFrequencyHz, fs * OV_BIQUAD_MAX_FREQUENCY_RATIO);
    if (!(f > fLowest))
        f = fLowest;
    Coefs c;
    if (!DesignAt(c, in_uShape, fs, f, in_fA, in_fQ))
        return false;
    // Rounded to float, the coefficients cannot hold poles very close to
    // z = 1: low enough (below about 4e-4 of the rate with extreme Q or gain)
    // a design lands on or outside the unit circle and grows without bound.
    // Such a design is moved up a semitone at a time until its poles are
    // inside; a stable design is never moved. Nothing stable within 20
    // octaves (only a non-finite gain or Q) leaves the filter as it was.
    for (int step = 0; !PolesInside(c); ++step) {
        if (step == OV_BIQUAD_MAX_RAISE_STEPS || f >= fs * OV_BIQUAD_MAX_FREQUENCY_RATIO)
            return true;
        f = std::min(f * 1.0594631f, fs * OV_BIQUAD_MAX_FREQUENCY_RATIO);
        DesignAt(c, in_uShape, fs, f, in_fA, in_fQ);
    }
    io_filter.SetCoefs(c.b0, c.b1, c.b2, c.a1, c.a2);
    return true;
}
