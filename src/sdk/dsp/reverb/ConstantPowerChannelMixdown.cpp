#include "sdk/dsp/reverb/ConstantPowerChannelMixdown.h"

#include <cmath>
#include <cstring>
#include <initializer_list>

#include "ov/OvAssert.h"
#include "ov/OvPipelineBuffer.h"

#if defined(__SSE__) || defined(_M_X64)
#include <xmmintrin.h>
#define OV_MIXDOWN_SSE 1
#endif

namespace OV {

namespace {

void Accumulate(float* io_pfMono, const float* in_pfChannel, float in_fGain, uint32_t in_uNumFrames)
{
    uint32_t i = 0;
#ifdef OV_MIXDOWN_SSE
    const __m128 g = _mm_set1_ps(in_fGain);
    for (; i + 4 <= in_uNumFrames; i += 4)
        _mm_storeu_ps(io_pfMono + i,
                      _mm_add_ps(_mm_loadu_ps(io_pfMono + i), _mm_mul_ps(g, _mm_loadu_ps(in_pfChannel + i))));
#endif
    for (; i < in_uNumFrames; ++i)
        io_pfMono[i] += in_fGain * in_pfChannel[i];
}

}  // namespace

void ConstantPowerChannelMixdown(const OvPipelineBuffer& in_buffer, uint32_t in_uNumFrames, uint32_t in_uFrameOffset,
                                 float* out_pfMono, float in_fCenterLevel, float in_fLFELevel)
{
    // Exactly in_uNumFrames samples: a count padded up to the next four would
    // write past a caller's scratch of that many samples.
    std::memset(out_pfMono, 0, size_t(in_uNumFrames) * sizeof(float));
    const OvChannelConfig config = in_buffer.GetChannelConfig();
    if (config.eConfigType == OV_ChannelConfigType_Ambisonic) {
        if (config.uNumChannels > 0)
            std::memcpy(out_pfMono, in_buffer.GetChannel(0) + in_uFrameOffset, size_t(in_uNumFrames) * sizeof(float));
        return;
    }
    if (config.eConfigType != OV_ChannelConfigType_Standard) {
        OV_ASSERT_TEXT(false, "Unsupported channel config type");
        return;
    }
    const uint32_t uMask = config.uChannelMask;
    float fPower = 0.0f;
    for (uint32_t uBit : {OV_SPEAKER_FRONT_LEFT, OV_SPEAKER_FRONT_RIGHT, OV_SPEAKER_SIDE_LEFT, OV_SPEAKER_SIDE_RIGHT,
                          OV_SPEAKER_BACK_LEFT, OV_SPEAKER_BACK_RIGHT})
        if (uMask & uBit)
            fPower += 1.0f;
    // A NaN level counts as 0.
    const float c = in_fCenterLevel < 1.0f ? (in_fCenterLevel > 0.0f ? in_fCenterLevel : 0.0f) : 1.0f;
    const float l = in_fLFELevel < 1.0f ? (in_fLFELevel > 0.0f ? in_fLFELevel : 0.0f) : 1.0f;
    if (uMask & OV_SPEAKER_FRONT_CENTER)
        fPower += c * c;
    if (uMask & OV_SPEAKER_LOW_FREQUENCY)
        fPower += l * l;
    // No power at all (a centre or LFE alone at level 0) mixes to silence,
    // where sqrt(1 / 0) * 0 would give NaN.
    if (!(fPower > 0.0f))
        return;
    const float fGain = std::sqrt(1.0f / fPower);

    uint32_t uIndex = 0;
    const uint32_t uChannels = in_buffer.NumChannels();
    for (uint32_t uBit = 1; uBit <= uMask && uBit != 0; uBit <<= 1) {
        if (!(uMask & uBit) || uBit == OV_SPEAKER_LOW_FREQUENCY)
            continue;
        if (uIndex >= uChannels)
            return;
        const float g = uBit == OV_SPEAKER_FRONT_CENTER ? fGain * c : fGain;
        Accumulate(out_pfMono, in_buffer.GetChannel(uIndex) + in_uFrameOffset, g, in_uNumFrames);
        ++uIndex;
    }
    // LFE last, as the last channel of the buffer.
    if ((uMask & OV_SPEAKER_LOW_FREQUENCY) && uIndex < uChannels)
        Accumulate(out_pfMono, in_buffer.GetChannel(uChannels - 1) + in_uFrameOffset, fGain * l, in_uNumFrames);
}

}  // namespace OV
