#include "ov/OvGainRamp.h"

#include "ov/OvPipelineBuffer.h"

namespace OV {

void ApplyGainRamp(float* io_pChannel, float in_fStart, float in_fEnd, uint32_t in_uFrames)
{
    const uint32_t uWhole = in_uFrames & ~3u;
    if (in_uFrames == 0)
        return;
    if (in_fStart == in_fEnd) {
        if (in_fStart == 1.0f)
            return;
        const float fGain = in_fStart;
        for (uint32_t i = 0; i < uWhole; i += 4) {
            io_pChannel[i] *= fGain;
            io_pChannel[i + 1] *= fGain;
            io_pChannel[i + 2] *= fGain;
            io_pChannel[i + 3] *= fGain;
        }
        for (uint32_t i = uWhole; i < in_uFrames; ++i)
            io_pChannel[i] *= fGain;
        return;
    }

    if (uWhole != 0) {
        const float fStep = (in_fEnd - in_fStart) / float(uWhole);
        const float fStep4 = 4.0f * fStep;
        float g0 = in_fStart, g1 = in_fStart + fStep, g2 = in_fStart + 2.0f * fStep, g3 = in_fStart + 3.0f * fStep;
        for (uint32_t i = 0; i < uWhole; i += 4) {
            io_pChannel[i] *= g0;
            io_pChannel[i + 1] *= g1;
            io_pChannel[i + 2] *= g2;
            io_pChannel[i + 3] *= g3;
            g0 += fStep4;
            g1 += fStep4;
            g2 += fStep4;
            g3 += fStep4;
        }
    }
    // The remainder restarts the ramp from the start gain; intended.
    const float fStep = (in_fEnd - in_fStart) / float(in_uFrames);
    float fGain = in_fStart;
    for (uint32_t i = uWhole; i < in_uFrames; ++i) {
        io_pChannel[i] *= fGain;
        fGain += fStep;
    }
}

void ApplyGainToBuffer(OvPipelineBuffer* io_pBuffer, float in_fPrev, float in_fTarget, bool in_bProcessLFE)
{
    uint32_t uChannels = io_pBuffer->NumChannels();
    if (!in_bProcessLFE && io_pBuffer->HasLFE() && uChannels > 0)
        --uChannels;
    const uint32_t uFrames = io_pBuffer->uValidFrames <= io_pBuffer->MaxFrames() ? io_pBuffer->uValidFrames
                                                                                 : io_pBuffer->MaxFrames();
    for (uint32_t i = 0; i < uChannels; ++i)
        ApplyGainRamp(io_pBuffer->GetChannel(i), in_fPrev, in_fTarget, uFrames);
}

}  // namespace OV
