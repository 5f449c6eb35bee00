#include "effects/TremoloProcessorImpl.h"

#include <cmath>
#include <new>

namespace {

constexpr double kTwoPi = 6.283185307179586476925286766559;

}  // namespace

TremoloProcessor* TremoloProcessor::Create()
{
    return TremoloProcessorImpl::Create();
}

TremoloProcessor* TremoloProcessorImpl::Create()
{
    return new (std::nothrow) TremoloProcessorImpl();
}

TremoloProcessorImpl::~TremoloProcessorImpl()
{
    ReleaseStorage();
}

void TremoloProcessorImpl::Destroy()
{
    delete this;
}

// Drops the table; its room stays for the next one.
void TremoloProcessorImpl::ReleaseTable()
{
    gainTable = nullptr;
    gainTableLength = 0;
}

void TremoloProcessorImpl::ReleaseStorage()
{
    ReleaseTable();
    delete[] tableStorage;
    tableStorage = nullptr;
}

bool TremoloProcessorImpl::Init(uint32_t maxFrames_, uint32_t channels_, uint32_t sampleRate_)
{
    if (!InitSettings(maxFrames_, channels_, sampleRate_))
        return false;
    ReleaseStorage();
    rangeApplied = 0.0;
    gainTableIndex = 0;
    // The lowest Freq, 1 Hz, gives the longest period: sampleRate entries.
    tableStorage = new (std::nothrow) double[sampleRate];
    return tableStorage != nullptr;
}

bool TremoloProcessorImpl::BuildGainTable()
{
    // A rate below the frequency would give an empty period; treated as a
    // failed build so the block passes unchanged.
    const uint32_t length = uint32_t(double(sampleRate) / freq);
    if (length != gainTableLength)
        ReleaseTable();
    if (length == 0 || length > sampleRate || !tableStorage)
        return false;
    gainTable = tableStorage;
    gainTableLength = length;
    gainTableIndex = 0;
    const double offset = 1.0 - range / 2.0;
    const double depth = 1.0 - std::fabs(offset);
    for (uint32_t i = 0; i < length; ++i) {
        const double env = std::sin(kTwoPi * std::fmod(freq * double(i) / double(sampleRate) + 0.25, 1.0));
        // Where the phase lands on a whole period, sin gives exactly 0 and that
        // one entry holds 1.0 rather than the mid-swing value; intended.
        gainTable[i] = std::isnormal(env) ? env * depth + offset : 1.0;
    }
    return true;
}

void TremoloProcessorImpl::Process(float* samples, bool* /*draining*/, uint32_t* frames)
{
    if (!samples || !frames || *frames == 0)
        return;
    if (bypass && bypassPrev)
        return;
    if (freq != freqApplied || range != rangeApplied) {
        if (BuildGainTable()) {
            freqApplied = freq;
            rangeApplied = range;
        }
    }
    if (!gainTable)
        return;
    TakeBypassChange();
    if (TakeResetPending())
        gainTableIndex = 0;
    const uint32_t count = *frames < maxFrames ? *frames : maxFrames;
    const double* const gains = gainTable;
    const uint32_t length = gainTableLength;
    uint32_t position = gainTableIndex;
    for (uint32_t c = 0; c < channels; ++c) {
        float* const channel = samples + size_t(c) * maxFrames;
        position = gainTableIndex;
        for (uint32_t n = 0; n < count; ++n) {
            if (position >= length)
                position = 0;
            channel[n] = float(double(channel[n]) * gains[position]);
            ++position;
        }
    }
    gainTableIndex = position;
}
