#include "sdk/dsp/reverb/DcBlocker.h"

void DcBlocker::Init(float in_fCutoffHz, uint32_t in_uSampleRate)
{
    const float fR = in_uSampleRate ? 1.0f - 6.2831855f * in_fCutoffHz / float(in_uSampleRate) : 0.0f;
    // NaN and anything below 0 end at 0 (no feedback); the top stays below 1.
    this->fR = fR >= 0.0f ? (fR < 0.99999f ? fR : 0.99999f) : 0.0f;
}

void DcBlocker::ProcessBuffer(float* io_pfBuffer, uint32_t in_uNumFrames, float in_fInputGain)
{
    float fPrevIn = fPrevInput, fPrevOut = fPrevOutput;
    const float R = fR;
    for (uint32_t i = 0; i < in_uNumFrames; ++i) {
        const float s = in_fInputGain * io_pfBuffer[i];
        const float y = s - fPrevIn + R * fPrevOut;
        fPrevIn = s;
        fPrevOut = y;
        io_pfBuffer[i] = y;
    }
    fPrevInput = fPrevIn;
    fPrevOutput = fPrevOut;
}
