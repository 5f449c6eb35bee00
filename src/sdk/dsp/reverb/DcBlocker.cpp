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

namespace {

// K blockers in one loop: their recursions are independent and overlap.
template <uint32_t K>
void RunSideBySide(DcBlocker* io_pBlockers, float* const* io_ppfBuffers, uint32_t in_uNumFrames, float in_fInputGain)
{
    float fPrevIn[K], fPrevOut[K], fR[K];
    float* pf[K];
    for (uint32_t k = 0; k < K; ++k) {
        fPrevIn[k] = io_pBlockers[k].fPrevInput;
        fPrevOut[k] = io_pBlockers[k].fPrevOutput;
        fR[k] = io_pBlockers[k].fR;
        pf[k] = io_ppfBuffers[k];
    }
    for (uint32_t i = 0; i < in_uNumFrames; ++i) {
#pragma GCC unroll 6
        for (uint32_t k = 0; k < K; ++k) {
            const float s = in_fInputGain * pf[k][i];
            const float y = s - fPrevIn[k] + fR[k] * fPrevOut[k];
            fPrevIn[k] = s;
            fPrevOut[k] = y;
            pf[k][i] = y;
        }
    }
    for (uint32_t k = 0; k < K; ++k) {
        io_pBlockers[k].fPrevInput = fPrevIn[k];
        io_pBlockers[k].fPrevOutput = fPrevOut[k];
    }
}

}  // namespace

void DcBlocker::ProcessSideBySide(DcBlocker* io_pBlockers, float* const* io_ppfBuffers, uint32_t in_uNumBlockers,
                                  uint32_t in_uNumFrames, float in_fInputGain)
{
    uint32_t b = 0;
    for (; b + 2 <= in_uNumBlockers; b += 2)
        RunSideBySide<2>(io_pBlockers + b, io_ppfBuffers + b, in_uNumFrames, in_fInputGain);
    if (b < in_uNumBlockers)
        io_pBlockers[b].ProcessBuffer(io_ppfBuffers[b], in_uNumFrames, in_fInputGain);
}
