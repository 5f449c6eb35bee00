// The eight ambience presets of the stereo enhancer: packed blocks of every
// embedded plug-in, as StereoEnhancerEffectParams::SetAllParams reads them
// (seven sections, each a u32 size and the block: 56, 56, 56, 56, 171, 171
// and 186 bytes). Preset 0 loads a reverb too, though the effect does not run
// it at ambience 0.
#pragma once

#include <cstdint>

constexpr uint32_t STEREOENHANCER_NUM_PRESETS = 8;
constexpr uint32_t STEREOENHANCER_PRESET_BYTES = 780;

// The STEREOENHANCER_PRESET_BYTES of preset in_uIndex; an index above 7 gives
// preset 7.
const uint8_t* StereoEnhancerPreset(uint32_t in_uIndex);
