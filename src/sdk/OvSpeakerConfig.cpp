#include "ov/OvSpeakerConfig.h"

namespace OV {

uint32_t ChannelMaskFromNumChannels(uint32_t in_uNumChannels)
{
    constexpr uint32_t kFront = OV_SPEAKER_FRONT_LEFT | OV_SPEAKER_FRONT_RIGHT;
    constexpr uint32_t kSides = OV_SPEAKER_SIDE_LEFT | OV_SPEAKER_SIDE_RIGHT;
    constexpr uint32_t kBacks = OV_SPEAKER_BACK_LEFT | OV_SPEAKER_BACK_RIGHT;
    switch (in_uNumChannels) {
    case 1: return OV_SPEAKER_SETUP_MONO;
    case 2: return kFront;
    case 3: return kFront | OV_SPEAKER_LOW_FREQUENCY;  // not the centre; intended
    case 4: return kFront | kSides;
    case 5: return kFront | kSides | OV_SPEAKER_FRONT_CENTER;
    case 6: return kFront | kSides | OV_SPEAKER_FRONT_CENTER | OV_SPEAKER_LOW_FREQUENCY;
    case 7: return kFront | OV_SPEAKER_FRONT_CENTER | kBacks | kSides;
    case 8: return kFront | OV_SPEAKER_FRONT_CENTER | kBacks | kSides | OV_SPEAKER_LOW_FREQUENCY;
    default: return 0;
    }
}

}  // namespace OV
