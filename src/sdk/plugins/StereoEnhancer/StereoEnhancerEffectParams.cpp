#include "sdk/plugins/StereoEnhancer/StereoEnhancerEffectParams.h"

#include <cmath>

#include "ov/OvAssert.h"
#include "ov/OvMemAllocDefault.h"
#include "ov/OvParamValues.h"
#include "ov/OvPluginNew.h"

namespace {

// Domains. Presence is clamped to [0, 10], the control's travel (0 to 6 dB on
// the mid peak). The stereoizer is clamped to [-96.3, 24] dB: -96.3 dB is as
// good as no side at all, and above +24 dB the side would only overflow.
constexpr float kMaxPresence = StereoEnhancerEffectParams::STEREOENHANCER_MAX_PRESENCE;
constexpr float kMinStereoizerDb = StereoEnhancerEffectParams::STEREOENHANCER_MIN_STEREOIZER_DB;
constexpr float kMaxStereoizerDb = StereoEnhancerEffectParams::STEREOENHANCER_MAX_STEREOIZER_DB;

constexpr uint32_t kSizeWordBytes = 4;

}  // namespace

uint32_t StereoEnhancerEffectParams::SectionBytes(uint32_t in_uSection)
{
    switch (in_uSection) {
    case STEREOENHANCER_SECTION_MIDCOMPRESSOR:
    case STEREOENHANCER_SECTION_SIDECOMPRESSOR: return OV_MBCFXPARAM_BLOCK_BYTES;
    case STEREOENHANCER_SECTION_AMBIENCE: return OvRoomVerbFXParams::OV_ROOMVERBFX_BLOCK_BYTES;
    default: return OV_PARAMETRICEQ_BLOCK_BYTES;
    }
}

IOvEffectParams& StereoEnhancerEffectParams::Section(uint32_t in_uSection)
{
    switch (in_uSection) {
    case STEREOENHANCER_SECTION_MIDKEYEQ: return m_MidKeyEQ;
    case STEREOENHANCER_SECTION_MIDEQ: return m_MidEQ;
    case STEREOENHANCER_SECTION_SIDEKEYEQ: return m_SideKeyEQ;
    case STEREOENHANCER_SECTION_SIDEEQ: return m_SideEQ;
    case STEREOENHANCER_SECTION_MIDCOMPRESSOR: return m_MidCompressor;
    case STEREOENHANCER_SECTION_SIDECOMPRESSOR: return m_SideCompressor;
    default: return m_Ambience;
    }
}

OvResult StereoEnhancerEffectParams::SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize)
{
    // Every ID reads its value: a null pointer is refused for all of them.
    if (!in_pValue) {
        OV_ASSERT(in_pValue != NULL);
        return OV_BadParameter;
    }
    switch (in_uID) {
    case STEREOENHANCER_PARAM_PRESENCE_ID:
    case STEREOENHANCER_PARAM_STEREOIZER_ID: {
        if (in_uSize < sizeof(float))
            return OV_BadParameter;
        const float fValue = OV::ReadLE<float>(in_pValue);
        if (in_uID == STEREOENHANCER_PARAM_PRESENCE_ID)
            fPresence = OV::ClampToDomain(fValue, 0.0f, kMaxPresence, fPresence);
        else
            fStereoizer = OV::ClampToDomain(fValue, kMinStereoizerDb, kMaxStereoizerDb, fStereoizer);
        break;
    }
    case STEREOENHANCER_PARAM_AMBIENCE_ID:
        if (in_uSize < sizeof(uint32_t))
            return OV_BadParameter;
        uAmbience = OV::ReadLE<uint32_t>(in_pValue);
        break;
    case STEREOENHANCER_PARAM_SPECTRUMSHAPER_ID:
        if (in_uSize < 1)
            return OV_BadParameter;
        bSpectrumShaper = *static_cast<const uint8_t*>(in_pValue) != 0 ? 1 : 0;
        break;
    case STEREOENHANCER_PARAM_PRESET_ID:
    case STEREOENHANCER_PARAM_ALL_ID: return SetAllParams(in_pValue, in_uSize);
    default: OV_ASSERT_TEXT(false, "Invalid parameter."); return OV_BadParameter;
    }
    m_changes.MarkChanged(in_uID);
    return OV_Success;
}

OvResult StereoEnhancerEffectParams::SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize)
{
    if (!in_pParamsBlock)
        return OV_BadParameter;
    const uint8_t* pBytes = static_cast<const uint8_t*>(in_pParamsBlock);

    // First the sizes alone: every section must lie inside the block and be
    // empty or at least as long as its block, else nothing is applied.
    uint32_t uSectionSize[STEREOENHANCER_NUM_SECTIONS];
    uint64_t uOffset = 0;
    for (uint32_t s = 0; s < STEREOENHANCER_NUM_SECTIONS; ++s) {
        if (uOffset + kSizeWordBytes > in_uBlockSize)
            return OV_BadParameter;
        uSectionSize[s] = OV::ReadLE<uint32_t>(pBytes + uOffset);
        uOffset += kSizeWordBytes;
        if (uOffset + uSectionSize[s] > in_uBlockSize)
            return OV_BadParameter;
        if (uSectionSize[s] != 0 && uSectionSize[s] < SectionBytes(s))
            return OV_BadParameter;
        uOffset += uSectionSize[s];
    }

    uOffset = 0;
    for (uint32_t s = 0; s < STEREOENHANCER_NUM_SECTIONS; ++s) {
        uOffset += kSizeWordBytes;
        IOvEffectParams& section = Section(s);
        if (uSectionSize[s] != 0) {
            section.SetAllParams(pBytes + uOffset, uSectionSize[s]);
        } else {
            section.Init(m_pAllocator ? m_pAllocator : OV::DefaultAllocator(), nullptr, 0);
            if (s == STEREOENHANCER_SECTION_AMBIENCE) {
                // Defaults restored this way do not tell the reverb; storing
                // one rebuild value again lets it take its memory now, on
                // this thread, rather than in its next block.
                const uint32_t uQuality = m_Ambience.rebuild.uQuality;
                m_Ambience.SetParam(OV_ROOMVERBFXPARAM_QUALITY_ID, &uQuality, sizeof uQuality);
            }
        }
        uOffset += uSectionSize[s];
    }
    OV_CHECK_BLOCK_END(uint64_t(in_uBlockSize), uOffset);
    MarkAllChanged();
    return OV_Success;
}

OvResult StereoEnhancerEffectParams::Init(IOvMemAlloc* in_pAllocator, const void* in_pParamsBlock,
                                          uint32_t in_uBlockSize)
{
    OV_ASSERT(in_pAllocator != NULL);
    m_pAllocator = in_pAllocator;
    if (in_uBlockSize != 0)
        return SetAllParams(in_pParamsBlock, in_uBlockSize);
    for (uint32_t s = 0; s < STEREOENHANCER_NUM_SECTIONS; ++s)
        Section(s).Init(in_pAllocator, nullptr, 0);
    MarkAllChanged();
    return OV_Success;
}

IOvEffectParams* CreateStereoEnhancerEffectParams(IOvMemAlloc* in_pAllocator)
{
    return OV::New<StereoEnhancerEffectParams>(in_pAllocator);
}
