// Speaker bits of a channel mask, and the mask a wrapper derives from a bare
// channel count. Channels of a buffer follow the order of their bits, lowest
// first, except LFE, which is always the last channel.
#pragma once

#include <cstdint>

constexpr uint32_t OV_SPEAKER_FRONT_LEFT = 0x1;
constexpr uint32_t OV_SPEAKER_FRONT_RIGHT = 0x2;
constexpr uint32_t OV_SPEAKER_FRONT_CENTER = 0x4;
constexpr uint32_t OV_SPEAKER_LOW_FREQUENCY = 0x8;
constexpr uint32_t OV_SPEAKER_BACK_LEFT = 0x10;
constexpr uint32_t OV_SPEAKER_BACK_RIGHT = 0x20;
constexpr uint32_t OV_SPEAKER_SIDE_LEFT = 0x200;
constexpr uint32_t OV_SPEAKER_SIDE_RIGHT = 0x400;

constexpr uint32_t OV_SPEAKER_SETUP_MONO = OV_SPEAKER_FRONT_CENTER;
constexpr uint32_t OV_SPEAKER_SETUP_STEREO = OV_SPEAKER_FRONT_LEFT | OV_SPEAKER_FRONT_RIGHT;

namespace OV {

// Number of speakers in a mask (its population count).
inline uint32_t ChannelMaskToNumChannels(uint32_t in_uChannelMask)
{
    uint32_t uCount = 0;
    while (in_uChannelMask) {
        in_uChannelMask &= in_uChannelMask - 1;
        ++uCount;
    }
    return uCount;
}

// The standard mask for 1 to 8 channels; 0 for any other count. Three
// channels are left, right and LFE, not centre; intended.
uint32_t ChannelMaskFromNumChannels(uint32_t in_uNumChannels);

}  // namespace OV
