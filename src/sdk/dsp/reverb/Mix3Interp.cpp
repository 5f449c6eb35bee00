#include "sdk/dsp/reverb/Mix3Interp.h"

#include "ov/OvAssert.h"

#if defined(__SSE__) || defined(_M_X64)
#include <xmmintrin.h>
#define OV_MIX3_SSE 1
#endif

namespace OV {

void Mix3Interp(const float* in_pfInput1, const float* in_pfInput2, const float* in_pfInput3, float* out_pfOutput,
                float in_fStartGain1, float in_fEndGain1, float in_fStartGain2, float in_fEndGain2,
                float in_fStartGain3, float in_fEndGain3, uint32_t in_uNumFrames)
{
    OV_ASSERT_TEXT(!((out_pfOutput == in_pfInput1) || (out_pfOutput == in_pfInput2)),
                   "!((out_pfOutput == in_pfInput1) || (out_pfOutput == in_pfInput2))");
    if (in_uNumFrames == 0)
        return;
    const bool bFixed = in_fStartGain1 == in_fEndGain1 && in_fStartGain2 == in_fEndGain2 &&
                        in_fStartGain3 == in_fEndGain3;
    const float fDiv = float(in_uNumFrames);
    const float fStep1 = bFixed ? 0.0f : (in_fEndGain1 - in_fStartGain1) / fDiv;
    const float fStep2 = bFixed ? 0.0f : (in_fEndGain2 - in_fStartGain2) / fDiv;
    const float fStep3 = bFixed ? 0.0f : (in_fEndGain3 - in_fStartGain3) / fDiv;
    float g1 = in_fStartGain1, g2 = in_fStartGain2, g3 = in_fStartGain3;
    for (uint32_t i = 0; i < in_uNumFrames; ++i) {
        out_pfOutput[i] = g1 * in_pfInput1[i] + g2 * in_pfInput2[i] + g3 * in_pfInput3[i];
        g1 += fStep1;
        g2 += fStep2;
        g3 += fStep3;
    }
}

void Mix3Interp(float* io_pfBuffer, const float* in_pfInput1, const float* in_pfInput2, float in_fStartGainIO,
                float in_fEndGainIO, float in_fStartGain1, float in_fEndGain1, float in_fStartGain2,
                float in_fEndGain2, uint32_t in_uNumFrames)
{
    if (in_fStartGainIO == in_fEndGainIO && in_fStartGain1 == in_fEndGain1 && in_fStartGain2 == in_fEndGain2) {
        const float gIO = in_fStartGainIO, g1 = in_fStartGain1, g2 = in_fStartGain2;
        const uint32_t uWhole = in_uNumFrames & ~3u;
#ifdef OV_MIX3_SSE
        const __m128 vIO = _mm_set1_ps(gIO), v1 = _mm_set1_ps(g1), v2 = _mm_set1_ps(g2);
        for (uint32_t i = 0; i < uWhole; i += 4) {
            const __m128 a = _mm_add_ps(_mm_mul_ps(vIO, _mm_loadu_ps(io_pfBuffer + i)),
                                        _mm_mul_ps(v1, _mm_loadu_ps(in_pfInput1 + i)));
            _mm_storeu_ps(io_pfBuffer + i, _mm_add_ps(a, _mm_mul_ps(v2, _mm_loadu_ps(in_pfInput2 + i))));
        }
#else
        for (uint32_t i = 0; i < uWhole; i += 4)
            for (uint32_t k = i; k < i + 4; ++k)
                io_pfBuffer[k] = gIO * io_pfBuffer[k] + g1 * in_pfInput1[k] + g2 * in_pfInput2[k];
#endif
        for (uint32_t i = uWhole; i < in_uNumFrames; ++i)
            io_pfBuffer[i] = gIO * io_pfBuffer[i] + g1 * in_pfInput1[i] + g2 * in_pfInput2[i];
        return;
    }
    if (in_uNumFrames == 0)
        return;
    const float fDiv = float(in_uNumFrames);
    const float fStepIO = (in_fEndGainIO - in_fStartGainIO) / fDiv;
    const float fStep1 = (in_fEndGain1 - in_fStartGain1) / fDiv;
    const float fStep2 = (in_fEndGain2 - in_fStartGain2) / fDiv;
    float gIO = in_fStartGainIO, g1 = in_fStartGain1, g2 = in_fStartGain2;
    for (uint32_t i = 0; i < in_uNumFrames; ++i) {
        io_pfBuffer[i] = gIO * io_pfBuffer[i] + g1 * in_pfInput1[i] + g2 * in_pfInput2[i];
        gIO += fStepIO;
        g1 += fStep1;
        g2 += fStep2;
    }
}

}  // namespace OV
