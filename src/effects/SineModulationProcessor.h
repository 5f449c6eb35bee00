// Settings and bypass bookkeeping shared by the sine-modulated effects
// (tremolo, vibrato). Frequency (1 to 1000 Hz) and range (0 to 1) are stored
// by SetParams and applied by the effect at the top of its next block.
// Leaving bypass, or Reset, asks the effect to start over at the next block:
// table positions at 0 and, in the vibrato, a silent ring. TInterface is the
// effect's interface.
#pragma once

#include <cmath>
#include <cstdint>

template <class TInterface>
class SineModulationProcessor : public TInterface {
public:
    void SetBypass(bool bypass_) override { bypass = bypass_; }
    // Starts over as a new effect would: a restart at the next block, and the
    // bypass taken as just left, so the vibrato fades in from dry over that
    // block as it does when first switched on. A bypassed effect stays so.
    void Reset() override
    {
        resetPending = true;
        bypassPrev = true;
    }

    // Freq's domain is [1, 1000] Hz: the tables are sized at Init for one
    // period at 1 Hz. Above 1000 Hz it is clamped to 1000. Below 1 Hz, and
    // for a NaN, the pair is refused and the previous settings stay, as they
    // always have: a clamp to 1 Hz would change how such settings sound
    // today. Range is clamped
    // to [0, 1], where the tremolo's gain stays within [0, 1] and the
    // vibrato's delay within its ring; a NaN keeps the previous range. True
    // only when both values were taken as sent (0 < range < 1).
    bool SetParams(double freq_, double range_) override
    {
        if (!(freq_ >= 1.0))
            return false;
        const bool asSent = freq_ <= 1000.0 && range_ > 0.0 && range_ < 1.0;
        freq = freq_ > 1000.0 ? 1000.0 : freq_;
        if (!std::isnan(range_))
            range = range_ < 0.0 ? 0.0 : (range_ > 1.0 ? 1.0 : range_);
        return asSent;
    }

protected:
    // Stores the format and clears the settings; false, storing nothing, when
    // any of them is zero.
    bool InitSettings(uint32_t maxFrames_, uint32_t channels_, uint32_t sampleRate_)
    {
        if (maxFrames_ == 0 || channels_ == 0 || sampleRate_ == 0)
            return false;
        freq = freqApplied = range = 0.0;
        maxFrames = maxFrames_;
        channels = channels_;
        sampleRate = sampleRate_;
        return true;
    }

    // Takes a change of bypass into account; true when there was one.
    // Leaving bypass asks for a restart, entering it does not.
    bool TakeBypassChange()
    {
        if (bypassPrev == bypass)
            return false;
        resetPending = bypassPrev;
        bypassPrev = bypass;
        return true;
    }

    // True once after a restart was asked for.
    bool TakeResetPending()
    {
        const bool pending = resetPending;
        resetPending = false;
        return pending;
    }

    bool bypass = true;
    bool bypassPrev = true;
    uint32_t maxFrames = 0;
    uint32_t sampleRate = 0;
    uint32_t channels = 0;
    double freq = 0.0;         // Hz, as last set
    double freqApplied = 0.0;  // Hz, as the table was built for
    double range = 0.0;

private:
    bool resetPending = false;
};
