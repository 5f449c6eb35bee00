#include "effects/VibratoProcessorImpl.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace {

constexpr double kPi = 3.14159265358979323846264338327950288;
constexpr double kRingSeconds = 0.005;

}  // namespace

template <bool kCrossfade>
void VibratoProcessorImpl::RunFrames(float* samples, uint32_t count, const Positions& positions, uint32_t& tableIndex,
                                     uint32_t& writeIndex, double dryGain, double dryStep, double wetGain,
                                     double wetStep) const
{
    const double depth = positions.depth;
    const double* const table = positions.table;
    const uint32_t tableLength = positions.tableLength;
    const uint32_t ring = positions.ringLength;
    const uint32_t channelCount = channels;
    const size_t stride = maxFrames;
    double* const* const rings = ringBuffers;
    uint32_t tableAt = tableIndex;
    uint32_t writeAt = writeIndex;
    for (uint32_t n = 0; n < count; ++n) {
        // d is finite and within [0, ring], so truncation splits it exactly
        // as modf would, without the library call.
        const double d = depth * table[tableAt];
        const double whole = double(uint32_t(d));
        const double fraction = d - whole;
        if (++tableAt >= tableLength)
            tableAt = 0;
        if (writeAt >= ring)
            writeAt = 0;
        // The offset never exceeds the ring length, so one subtraction brings
        // each read position back into the ring.
        uint32_t a = writeAt + uint32_t(whole);
        if (a >= ring)
            a -= ring;
        uint32_t b = a + 1;
        if (b >= ring)
            b -= ring;
        float* sample = samples + n;
        for (uint32_t c = 0; c < channelCount; ++c, sample += stride) {
            double* const buffer = rings[c];
            const double dry = *sample;
            const double older = buffer[a];
            const double wet = older + fraction * (buffer[b] - older);
            buffer[writeAt] = dry;
            *sample = kCrossfade ? float(wet * wetGain + dry * dryGain) : float(wet);
        }
        ++writeAt;
        if (kCrossfade) {
            dryGain += dryStep;
            wetGain += wetStep;
        }
    }
    tableIndex = tableAt;
    writeIndex = writeAt;
}

VibratoProcessor* VibratoProcessor::Create()
{
    return VibratoProcessorImpl::Create();
}

VibratoProcessor* VibratoProcessorImpl::Create()
{
    return new (std::nothrow) VibratoProcessorImpl();
}

VibratoProcessorImpl::~VibratoProcessorImpl()
{
    ReleaseAll();
}

void VibratoProcessorImpl::Destroy()
{
    delete this;
}

void VibratoProcessorImpl::ReleaseAll()
{
    if (ringBuffers)
        delete[] ringBuffers[0];
    delete[] ringBuffers;
    ringBuffers = nullptr;
    ringLength = 0;
    ringWriteIndex = 0;
    delete[] tableStorage;
    tableStorage = nullptr;
    delayTable = nullptr;
    delayTableLength = 0;
    delayTableIndex = 0;
}

bool VibratoProcessorImpl::Init(uint32_t maxFrames_, uint32_t channels_, uint32_t sampleRate_)
{
    if (!InitSettings(maxFrames_, channels_, sampleRate_))
        return false;
    ReleaseAll();
    const uint32_t length = uint32_t(double(sampleRate) * kRingSeconds);
    // Below 200 Hz the ring would be empty: the effect then stays without a
    // ring and passes audio unchanged.
    if (length == 0)
        return true;
    ringBuffers = new (std::nothrow) double*[channels]();
    double* storage = new (std::nothrow) double[size_t(channels) * length]();
    // The lowest Freq, 1 Hz, gives the longest table: sampleRate entries.
    tableStorage = new (std::nothrow) double[sampleRate];
    if (!ringBuffers || !storage || !tableStorage) {
        delete[] storage;
        ReleaseAll();
        return false;
    }
    for (uint32_t c = 0; c < channels; ++c)
        ringBuffers[c] = storage + size_t(c) * length;
    ringLength = length;
    return true;
}

bool VibratoProcessorImpl::BuildDelayTable()
{
    const uint32_t length = uint32_t(double(sampleRate) / freq);
    if (length != delayTableLength) {
        delayTable = nullptr;
        delayTableLength = 0;
    }
    if (length == 0 || length > sampleRate || !tableStorage)
        return false;
    delayTable = tableStorage;
    delayTableLength = length;
    delayTableIndex = 0;
    // A phase of three quarters of a period starts the sine at its lowest value.
    const double phase = 3.0 * kPi / 2.0;
    const uint32_t shift = uint32_t(phase / kPi / 2.0 * double(length) + 0.5);
    for (uint32_t i = 0; i < length; ++i) {
        const uint32_t p = uint32_t((uint64_t(i) + shift) % length);
        // The top of the curve is the ring length itself, not one below it.
        delayTable[i] = ((std::sin(double(p) / double(length) * 2.0 * kPi) + 1.0) / 2.0) * double(ringLength);
    }
    return true;
}

void VibratoProcessorImpl::Process(float* samples, bool* /*draining*/, uint32_t* frames)
{
    if (!ringBuffers || !samples || !frames || *frames == 0)
        return;
    if (bypass && bypassPrev)
        return;
    if (freq != freqApplied) {
        if (BuildDelayTable())
            freqApplied = freq;
    }
    if (!delayTable)
        return;
    // A restart (Reset, or leaving bypass) resets the positions and silences
    // the ring, so that nothing from before it is heard again.
    const bool crossfade = TakeBypassChange();
    if (TakeResetPending()) {
        ringWriteIndex = 0;
        delayTableIndex = 0;
        std::fill(ringBuffers[0], ringBuffers[0] + size_t(channels) * ringLength, 0.0);
    }

    const uint32_t count = *frames < maxFrames ? *frames : maxFrames;
    double dryGain = bypass ? 0.0 : 1.0;
    double wetGain = bypass ? 1.0 : 0.0;
    const double dryStep = ((bypass ? 1.0 : 0.0) - dryGain) / double(count);
    const double wetStep = ((bypass ? 0.0 : 1.0) - wetGain) / double(count);

    const Positions positions{range, delayTable, delayTableLength, ringLength};
    uint32_t tableIndex = delayTableIndex;
    uint32_t writeIndex = ringWriteIndex;
    if (crossfade)
        RunFrames<true>(samples, count, positions, tableIndex, writeIndex, dryGain, dryStep, wetGain, wetStep);
    else
        RunFrames<false>(samples, count, positions, tableIndex, writeIndex, dryGain, dryStep, wetGain, wetStep);
    delayTableIndex = tableIndex;
    ringWriteIndex = writeIndex;
}
