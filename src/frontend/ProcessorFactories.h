// The factories the chain builds its effects with, one per slot. A null entry
// means the effect is not part of this build: its slot stays empty and its
// setters do nothing. Tests and benchmarks hand the chain tables of their own.
#pragma once

#include "frontend/EffectSlots.h"

struct ProcessorFactories {
    using Factory = AudioProcessor* (*)();

    // Sets slot S to a factory that returns the slot's own interface type, so
    // the chain's typed getters can trust what it made.
    template <Slot S, SlotType<S>* (*Create)()>
    constexpr ProcessorFactories& With()
    {
        create[Index(S)] = &Make<S, Create>;
        return *this;
    }

    Factory create[kSlotCount] = {};

private:
    template <Slot S, SlotType<S>* (*Create)()>
    static AudioProcessor* Make()
    {
        return Create();
    }
};

// The effects this library ships.
const ProcessorFactories& DefaultProcessorFactories();
