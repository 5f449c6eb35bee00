// The player's side of the front end: push the source in chunks, pull what is
// ready after each push, announce the end of the stream, and pull the tail
// until the front end says it has ended.
#pragma once

#include <cstdint>
#include <functional>

#include "PcmStream.h"
#include "SignalMeter.h"
#include "lxaudioeffects/AudioEffects.h"

namespace lxfx {

struct HostLoopResult {
    SignalMeter in;
    SignalMeter out;
    double libraryTimeS = 0.0;  // spent inside Push and Pull
};

// Called after each chunk with the frames pushed so far.
using ProgressFn = std::function<void(uint64_t framesPushed)>;

// The front end must have had Init with format. chunkBytes is cut down to
// whole frames, at least one, since the front end drops a partial frame.
HostLoopResult RunHostLoop(audiofx::AudioEffects& effects, const StreamFormat& format,
                           PcmSource& source, PcmSink& sink, uint32_t chunkBytes,
                           const ProgressFn& progress);

}  // namespace lxfx
