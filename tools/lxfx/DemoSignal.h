// The built-in demo: 20 s of stereo float at 44.1 kHz, made in code and the
// same on every run. A four-chord song at 120 BPM: a bass line, chord pads
// spread across the stereo field, an arpeggio that pans from side to side, a
// kick, a snare and a hi-hat click on the eighths; the last bars fade and end
// in silence so that tails can be heard.
#pragma once

#include <vector>

#include "PcmStream.h"

namespace lxfx {

class DemoSignal : public PcmSource {
public:
    static constexpr double kDurationS = 20.0;
    static constexpr unsigned kSampleRate = 44100;

    DemoSignal();

    StreamFormat Format() const;
    size_t Frames() const { return samples.size() / 2; }
    size_t Read(void* frames, size_t count) override;

private:
    std::vector<float> samples;  // interleaved left, right
    size_t position = 0;         // frames handed out
};

}  // namespace lxfx
