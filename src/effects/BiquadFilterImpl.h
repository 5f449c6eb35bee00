// The one BiquadFilter. Coefficients and the four delay values per channel
// are double whatever the sample format; the sample loops run two frames per
// pass with the delay pairs swapping roles instead of shifting, which gives
// the plain recursion's results to the bit.
#pragma once

#include <cstdint>

#include "effects/BiquadFilter.h"

struct BiquadChannelState {
    double i1, i2, o1, o2;
};

class BiquadFilterImpl final : public BiquadFilter {
public:
    static BiquadFilterImpl* Create();

    bool Init(uint32_t format, int32_t sampleRate, int32_t channels) override;
    bool SetParams(const BiquadParams& params) override;
    void Process(void** channelData, int32_t frames) override;
    void Reset() override;
    void Destroy() override;
    const BiquadParams& PendingParams() const override { return pending; }

    virtual ~BiquadFilterImpl();

    // One channel's sample loop over frames samples of T, in place: the
    // result, for tests of the two-frame form.
    template <typename T>
    static void Run(T* samples, int32_t frames, BiquadChannelState& state, const BiquadParams& p);

private:
    BiquadFilterImpl() = default;
    void Release();

    using SampleLoop = void (*)(void*, int32_t, BiquadChannelState&, const BiquadParams&);

    uint32_t sampleFormat = 0;
    int32_t sampleRate = 0;
    int32_t channels = 0;
    BiquadParams active;
    bool resetPending = false;
    bool paramsDirty = false;
    BiquadParams pending;
    BiquadChannelState* state = nullptr;
    SampleLoop loop = nullptr;
};
