// Sample peak and RMS of an interleaved stream, all channels together, on the
// library's scale (16-bit full scale is 32768, 32-bit 2^31, floats 1.0).
#pragma once

#include <cstddef>
#include <cstdint>

#include "PcmStream.h"

namespace lxfx {

class SignalMeter {
public:
    explicit SignalMeter(const StreamFormat& format_) : format(format_) {}

    void Add(const void* frames, size_t count);

    uint64_t Frames() const { return frames; }
    double Peak() const { return peak; }
    double Rms() const;
    // In dB relative to full scale; -inf for silence.
    double PeakDbfs() const;
    double RmsDbfs() const;

private:
    StreamFormat format;
    uint64_t frames = 0;
    double peak = 0.0;
    double sumSquares = 0.0;
};

}  // namespace lxfx
