#include "sdk/dsp/filters/DesignBiquad.h"

#include "ov/OvAssert.h"
#include "ov/OvFastMath.h"
#include "sdk/dsp/filters/BiquadShape.h"

void DesignBiquad(OvBiquadCoefs& io_filter, int in_iType, float in_fSampleRate, float in_fFrequencyHz,
                  float in_fGainDb, float in_fQ)
{
    static const uint32_t kShapes[] = {
        OV_Shape_LowShelf,   OV_Shape_Peak,     OV_Shape_HighShelf,
        OV_Shape_ButterworthLowPass, OV_Shape_ButterworthHighPass, OV_Shape_BandPass,
        OV_Shape_Notch,      OV_Shape_LowShelfQ, OV_Shape_HighShelfQ,
    };
    if (in_iType < 0 || in_iType >= int(sizeof(kShapes) / sizeof(kShapes[0]))) {
        OV_ASSERT_TEXT(false, "Invalid filter type.");
        return;
    }
    // The fast power is 0.1 % off at 0 (0.999039); a band at 0 dB must pass
    // the signal unchanged, so that one value is exact.
    const float A = in_fGainDb == 0.0f ? 1.0f : OV::FastPow10(in_fGainDb * 0.025f);
    DesignBiquadShape(io_filter, kShapes[in_iType], in_fSampleRate, in_fFrequencyHz, A, in_fQ);
}
