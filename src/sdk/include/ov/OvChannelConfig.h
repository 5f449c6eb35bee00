// Channel layout of a stream or buffer, packed in one 32-bit word: from the
// lowest bit, the channel count (8 bits), the configuration type (4 bits) and
// the speaker mask (20 bits, see OvSpeakerConfig.h).
#pragma once

#include <cstdint>

#include "ov/OvAssert.h"
#include "ov/OvSpeakerConfig.h"

enum OvChannelConfigType : uint32_t {
    OV_ChannelConfigType_None = 0,      // empty configuration
    OV_ChannelConfigType_Standard = 1,  // channels given by the speaker mask
    OV_ChannelConfigType_Anonymous = 2, // a count with no speaker positions
    OV_ChannelConfigType_Ambisonic = 3, // ambisonic components, W first
};

struct OvChannelConfig {
    uint32_t uNumChannels : 8;
    uint32_t eConfigType : 4;
    uint32_t uChannelMask : 20;

    OvChannelConfig() : uNumChannels(0), eConfigType(0), uChannelMask(0) {}

    // Count and mask; a non-zero mask makes the type standard, a zero mask
    // leaves it empty. The count must match the mask when there is one.
    void SetStandardOrAnonymous(uint32_t in_uNumChannels, uint32_t in_uChannelMask)
    {
        OV_ASSERT(in_uChannelMask == 0 || in_uNumChannels == OV::ChannelMaskToNumChannels(in_uChannelMask));
        uNumChannels = in_uNumChannels & 0xFF;
        uChannelMask = in_uChannelMask & 0xFFFFF;
        eConfigType = in_uChannelMask ? OV_ChannelConfigType_Standard : OV_ChannelConfigType_None;
    }

    void SetAnonymous(uint32_t in_uNumChannels)
    {
        uNumChannels = in_uNumChannels & 0xFF;
        uChannelMask = 0;
        eConfigType = OV_ChannelConfigType_Anonymous;
    }

    void SetAmbisonic(uint32_t in_uNumChannels)
    {
        uNumChannels = in_uNumChannels & 0xFF;
        uChannelMask = 0;
        eConfigType = OV_ChannelConfigType_Ambisonic;
    }

    bool IsValid() const { return uNumChannels != 0; }
    bool HasLFE() const { return (uChannelMask & OV_SPEAKER_LOW_FREQUENCY) != 0; }

    // A copy without the LFE channel.
    OvChannelConfig DropLFE() const
    {
        OvChannelConfig result = *this;
        const uint32_t uNumLFEChannel = HasLFE() ? 1 : 0;
        OV_ASSERT(uNumLFEChannel == 0 || uNumLFEChannel == 1);
        result.uNumChannels = uNumChannels - uNumLFEChannel;
        result.uChannelMask = uChannelMask & ~OV_SPEAKER_LOW_FREQUENCY;
        return result;
    }

    // The word as stored.
    uint32_t Serialize() const
    {
        return uint32_t(uNumChannels) | (uint32_t(eConfigType) << 8) | (uint32_t(uChannelMask) << 12);
    }

    void Clear()
    {
        uNumChannels = 0;
        eConfigType = 0;
        uChannelMask = 0;
    }

    bool operator==(const OvChannelConfig& in_other) const { return Serialize() == in_other.Serialize(); }
    bool operator!=(const OvChannelConfig& in_other) const { return !(*this == in_other); }
};

static_assert(sizeof(OvChannelConfig) == 4, "OvChannelConfig is one 32-bit word");
