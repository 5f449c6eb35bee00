#include "sdk/dsp/delays/Mix2Interp.h"

#include "ov/OvAssert.h"

namespace OV {

void Mix2Interp(const float* in_pfInput1, const float* in_pfInput2, float* out_pfOutput,
                float in_fStartGain1, float in_fEndGain1, float in_fStartGain2, float in_fEndGain2,
                uint32_t in_uNumFrames)
{
    OV_ASSERT(!((out_pfOutput == in_pfInput1) || (out_pfOutput == in_pfInput2)));
    if (in_fStartGain1 == in_fEndGain1 && in_fStartGain2 == in_fEndGain2) {
        OV_ASSERT((in_uNumFrames % 32) == 0);
        const float g1 = in_fStartGain1, g2 = in_fStartGain2;
        const uint32_t uWhole = in_uNumFrames & ~31u;
        for (uint32_t i = 0; i < uWhole; i += 32)
            for (uint32_t k = i; k < i + 32; ++k)
                out_pfOutput[k] = g1 * in_pfInput1[k] + g2 * in_pfInput2[k];
        // A count off the contract still stays inside the buffers.
        for (uint32_t i = uWhole; i < in_uNumFrames; ++i)
            out_pfOutput[i] = g1 * in_pfInput1[i] + g2 * in_pfInput2[i];
        return;
    }
    if (in_uNumFrames == 0)
        return;
    const float fStep1 = (in_fEndGain1 - in_fStartGain1) / float(in_uNumFrames);
    const float fStep2 = (in_fEndGain2 - in_fStartGain2) / float(in_uNumFrames);
    float g1 = in_fStartGain1, g2 = in_fStartGain2;
    for (uint32_t i = 0; i < in_uNumFrames; ++i) {
        out_pfOutput[i] = g1 * in_pfInput1[i] + g2 * in_pfInput2[i];
        g1 += fStep1;
        g2 += fStep2;
    }
}

void Mix2Interp(float* io_pfBuffer, const float* in_pfInput, float in_fStartGainIO, float in_fEndGainIO,
                float in_fStartGainIn, float in_fEndGainIn, uint32_t in_uNumFrames)
{
    if (in_fStartGainIO == in_fEndGainIO && in_fStartGainIn == in_fEndGainIn) {
        OV_ASSERT((in_uNumFrames % 4) == 0);
        const float gIO = in_fStartGainIO, gIn = in_fStartGainIn;
        const uint32_t uWhole = in_uNumFrames & ~3u;
        for (uint32_t i = 0; i < uWhole; i += 4) {
            io_pfBuffer[i] = gIO * io_pfBuffer[i] + gIn * in_pfInput[i];
            io_pfBuffer[i + 1] = gIO * io_pfBuffer[i + 1] + gIn * in_pfInput[i + 1];
            io_pfBuffer[i + 2] = gIO * io_pfBuffer[i + 2] + gIn * in_pfInput[i + 2];
            io_pfBuffer[i + 3] = gIO * io_pfBuffer[i + 3] + gIn * in_pfInput[i + 3];
        }
        for (uint32_t i = uWhole; i < in_uNumFrames; ++i)
            io_pfBuffer[i] = gIO * io_pfBuffer[i] + gIn * in_pfInput[i];
        return;
    }
    if (in_uNumFrames == 0)
        return;
    const float fStepIO = (in_fEndGainIO - in_fStartGainIO) / float(in_uNumFrames);
    const float fStepIn = (in_fEndGainIn - in_fStartGainIn) / float(in_uNumFrames);
    float gIO = in_fStartGainIO, gIn = in_fStartGainIn;
    for (uint32_t i = 0; i < in_uNumFrames; ++i) {
        io_pfBuffer[i] = gIO * io_pfBuffer[i] + gIn * in_pfInput[i];
        gIO += fStepIO;
        gIn += fStepIn;
    }
}

void Mix2InterpAnyLength(float* io_pfBuffer, const float* in_pfInput, float in_fStartGainIO, float in_fEndGainIO,
                         float in_fStartGainIn, float in_fEndGainIn, uint32_t in_uNumFrames)
{
    if (in_fStartGainIO != in_fEndGainIO || in_fStartGainIn != in_fEndGainIn) {
        Mix2Interp(io_pfBuffer, in_pfInput, in_fStartGainIO, in_fEndGainIO, in_fStartGainIn, in_fEndGainIn,
                   in_uNumFrames);
        return;
    }
    const uint32_t uWhole = in_uNumFrames & ~3u;
    Mix2Interp(io_pfBuffer, in_pfInput, in_fStartGainIO, in_fStartGainIO, in_fStartGainIn, in_fStartGainIn, uWhole);
    Mix2(io_pfBuffer + uWhole, in_pfInput + uWhole, in_fStartGainIO, in_fStartGainIn, in_uNumFrames - uWhole);
}

void Mix2(float* io_pfBuffer, const float* in_pfInput, float in_fGainIO, float in_fGainIn, uint32_t in_uNumFrames)
{
    for (uint32_t i = 0; i < in_uNumFrames; ++i)
        io_pfBuffer[i] = in_fGainIO * io_pfBuffer[i] + in_fGainIn * in_pfInput[i];
}

}  // namespace OV
