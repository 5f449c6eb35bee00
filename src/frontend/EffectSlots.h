// The sixteen effect slots of the chain: an enum in process order, what sets
// each slot apart, the order in which the chain builds, resets and releases
// them, and the interface class behind each.
#pragma once

#include <cstddef>
#include <cstdint>

class AudioProcessor;
class LoudnessProcessor;
class CompressorProcessor;
class GraphicEQProcessor;
class BassTrebleProcessor;
class ParametricEQProcessor;
class VibratoProcessor;
class TremoloProcessor;
class StereoEnhancerProcessor;
class Rotate3DProcessor;
class SpatialAudioProcessor;
class DelayProcessor;
class ReverbProcessor;
class FIRProcessor;
class HeadphoneProcessor;
class LimiterProcessor;

enum class Slot : uint8_t {
    Loudness,
    Compressor,
    GraphicEQ,
    BassTreble,
    ParametricEQ,
    PostCompressor,
    Vibrato,
    Tremolo,
    StereoEnhancer,
    Rotate3D,
    SpatialAudio,
    Delay,
    Reverb,
    FIR,
    Headphone,
    Limiter,
};

constexpr size_t kSlotCount = 16;

constexpr size_t Index(Slot slot)
{
    return size_t(slot);
}

struct SlotInfo {
    bool stereoOnly;         // exists only on two-channel streams
    bool followsBypassMode;  // bypass mode switches it off with the others
    bool madeByImpulse;      // built by an impulse setter, not by Init; a reset drops it while off
};

// Indexed by Slot.
constexpr SlotInfo kSlotInfo[kSlotCount] = {
    /* Loudness */ {false, false, false},
    /* Compressor */ {false, true, false},
    /* GraphicEQ */ {false, true, false},
    /* BassTreble */ {false, true, false},
    /* ParametricEQ */ {false, true, false},
    /* PostCompressor */ {false, true, false},
    /* Vibrato */ {false, true, false},
    /* Tremolo */ {false, true, false},
    /* StereoEnhancer */ {true, true, false},
    /* Rotate3D */ {true, true, false},
    /* SpatialAudio */ {true, true, false},
    /* Delay */ {false, true, false},
    /* Reverb */ {false, true, false},
    /* FIR */ {false, true, true},
    /* Headphone */ {false, true, true},
    /* Limiter */ {false, false, false},
};

constexpr const SlotInfo& Info(Slot slot)
{
    return kSlotInfo[Index(slot)];
}

// The order a block runs through the effects: it is what makes the chain
// sound as it does.
constexpr Slot kProcessOrder[kSlotCount] = {
    Slot::Loudness, Slot::Compressor,     Slot::GraphicEQ, Slot::BassTreble,
    Slot::ParametricEQ, Slot::PostCompressor, Slot::Vibrato, Slot::Tremolo,
    Slot::StereoEnhancer, Slot::Rotate3D, Slot::SpatialAudio, Slot::Delay,
    Slot::Reverb, Slot::FIR, Slot::Headphone, Slot::Limiter,
};

// The order the chain builds, resets and releases its effects in, and the
// order of the bypass-mode pass over the switches (which leaves out the
// loudness gain, first here).
constexpr Slot kBuildOrder[kSlotCount] = {
    Slot::Loudness, Slot::Reverb, Slot::StereoEnhancer, Slot::Rotate3D,
    Slot::SpatialAudio, Slot::GraphicEQ, Slot::BassTreble, Slot::Compressor,
    Slot::PostCompressor, Slot::ParametricEQ, Slot::Delay, Slot::FIR,
    Slot::Headphone, Slot::Vibrato, Slot::Tremolo, Slot::Limiter,
};

// The interface class behind each slot.
template <Slot S>
struct SlotInterface;
#define LXFX_SLOT_INTERFACE(slot, Class) \
    template <>                          \
    struct SlotInterface<Slot::slot> {   \
        using type = Class;              \
    }
LXFX_SLOT_INTERFACE(Loudness, LoudnessProcessor);
LXFX_SLOT_INTERFACE(Compressor, CompressorProcessor);
LXFX_SLOT_INTERFACE(GraphicEQ, GraphicEQProcessor);
LXFX_SLOT_INTERFACE(BassTreble, BassTrebleProcessor);
LXFX_SLOT_INTERFACE(ParametricEQ, ParametricEQProcessor);
LXFX_SLOT_INTERFACE(PostCompressor, CompressorProcessor);
LXFX_SLOT_INTERFACE(Vibrato, VibratoProcessor);
LXFX_SLOT_INTERFACE(Tremolo, TremoloProcessor);
LXFX_SLOT_INTERFACE(StereoEnhancer, StereoEnhancerProcessor);
LXFX_SLOT_INTERFACE(Rotate3D, Rotate3DProcessor);
LXFX_SLOT_INTERFACE(SpatialAudio, SpatialAudioProcessor);
LXFX_SLOT_INTERFACE(Delay, DelayProcessor);
LXFX_SLOT_INTERFACE(Reverb, ReverbProcessor);
LXFX_SLOT_INTERFACE(FIR, FIRProcessor);
LXFX_SLOT_INTERFACE(Headphone, HeadphoneProcessor);
LXFX_SLOT_INTERFACE(Limiter, LimiterProcessor);
#undef LXFX_SLOT_INTERFACE

template <Slot S>
using SlotType = typename SlotInterface<S>::type;
