// Parameters of StereoEnhancerEffect: its four controls and, by value, the
// parameter blocks of the seven plug-ins it embeds (the key and tone EQs of
// mid and side, their multiband compressors, and the ambience reverb).
//
// Controls, by ID: 0 presence (0 to 10, float), 1 stereoizer (dB on the side
// signal, float), 2 ambience (preset index, u32; the effect only tests it
// against 0), 3 spectrum shaper (byte). Each is held to a domain (the .cpp
// states them); a NaN keeps the previous value.
//
// IDs 301 and 32767 take a whole block, as SetAllParams: seven sections in
// the order of the embedded blocks, each a u32 size and that many bytes. A
// section of size 0 puts its block back to that block's defaults. The block
// is checked whole before any of it is applied, so a short or malformed one
// is refused and changes nothing. The controls are not part of it.
#pragma once

#include <cstdint>

#include "ov/OvEffectParamsBase.h"
#include "ov/OvFXParameterChangeHandler.h"
#include "sdk/plugins/OvMultibandCompressor/OvMultibandCompressorFXParams.h"
#include "sdk/plugins/OvParametricEQ/OvParametricEQFXParams.h"
#include "sdk/plugins/OvRoomVerb/OvRoomVerbFXParams.h"

enum StereoEnhancerParamID : uint16_t {
    STEREOENHANCER_PARAM_PRESENCE_ID = 0,        // 0 to 10
    STEREOENHANCER_PARAM_STEREOIZER_ID = 1,      // dB
    STEREOENHANCER_PARAM_AMBIENCE_ID = 2,        // u32
    STEREOENHANCER_PARAM_SPECTRUMSHAPER_ID = 3,  // byte
    STEREOENHANCER_PARAM_PRESET_ID = 301,        // a whole block
    STEREOENHANCER_PARAM_ALL_ID = 32767,         // the same
};

// The embedded blocks, in the order of the preset block's sections.
enum StereoEnhancerSection : uint32_t {
    STEREOENHANCER_SECTION_MIDKEYEQ = 0,
    STEREOENHANCER_SECTION_MIDEQ,
    STEREOENHANCER_SECTION_SIDEKEYEQ,
    STEREOENHANCER_SECTION_SIDEEQ,
    STEREOENHANCER_SECTION_MIDCOMPRESSOR,
    STEREOENHANCER_SECTION_SIDECOMPRESSOR,
    STEREOENHANCER_SECTION_AMBIENCE,
    STEREOENHANCER_NUM_SECTIONS,
};

class StereoEnhancerEffectParams final : public OvEffectParamsBase<StereoEnhancerEffectParams> {
public:
    static constexpr uint32_t STEREOENHANCER_MAX_PARAM_ID = 4;
    static constexpr float STEREOENHANCER_MAX_PRESENCE = 10.0f;
    static constexpr float STEREOENHANCER_MIN_STEREOIZER_DB = -96.3f;
    static constexpr float STEREOENHANCER_MAX_STEREOIZER_DB = 24.0f;

    StereoEnhancerEffectParams() = default;
    StereoEnhancerEffectParams(const StereoEnhancerEffectParams&) = default;
    StereoEnhancerEffectParams& operator=(const StereoEnhancerEffectParams&) = default;

    // Bytes of section in_uSection in every preset: the size of that block.
    static uint32_t SectionBytes(uint32_t in_uSection);

    OvResult SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize) override;
    OvResult SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize) override;
    OvResult Init(IOvMemAlloc* in_pAllocator, const void* in_pParamsBlock, uint32_t in_uBlockSize) override;
    void MarkAllChanged() { m_changes.MarkAllChanged(); }

    float fPresence = 0.0f;
    float fStereoizer = 0.0f;  // dB
    uint32_t uAmbience = 1;
    uint8_t bSpectrumShaper = 1;

    OvParametricEQFXParams m_MidKeyEQ;
    OvParametricEQFXParams m_MidEQ;
    OvParametricEQFXParams m_SideKeyEQ;
    OvParametricEQFXParams m_SideEQ;
    OvMultibandCompressorFXParams m_MidCompressor;
    OvMultibandCompressorFXParams m_SideCompressor;
    OvRoomVerbFXParams m_Ambience;

    IOvMemAlloc* m_pAllocator = nullptr;
    OvFXParameterChangeHandler<STEREOENHANCER_MAX_PARAM_ID> m_changes;

private:
    IOvEffectParams& Section(uint32_t in_uSection);
};

// The factory of the plug-in list.
IOvEffectParams* CreateStereoEnhancerEffectParams(IOvMemAlloc* in_pAllocator);
