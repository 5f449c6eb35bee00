#include "sdk/dsp/filters/BiquadShape.h"

#include <algorithm>
#include <cmath>

bool DesignBiquadShape(OvBiquadCoefs& io_filter, uint32_t in_uShape, float in_fSampleRate,
                       float in_fFrequencyHz, float in_fA, float in_fQ)
{
    const float fs = in_fSampleRate;
    const float f = std::min(in_fFrequencyHz, fs * OV_BIQUAD_MAX_FREQUENCY_RATIO);
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
    io_filter.SetCoefs(b0 / a0, b1 / a0, b2 / a0, a1 / a0, a2 / a0);
    return true;
}
