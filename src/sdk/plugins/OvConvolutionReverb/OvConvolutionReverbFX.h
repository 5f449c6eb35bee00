// Convolution reverb: an in-place plug-in around
// OvPartitionedConvolutionEngine, with the impulse's frequency data as the
// plug-in's media. In per-channel mode every input channel is convolved by
// itself (a mono impulse serves them all, each channel with its own ring),
// delayed by the pre-delay, the rear channels also by the front/rear delay,
// and mixed with its dry signal: Wet and Dry levels ramp over the first
// process block after a change. The engine's fixed block runs at any
// pipeline block size through OvMismatchBuffering, which adds its latency;
// at the end of the stream the effect plays a tail of uBlockLength times
// the partition count plus the delays. With Wet at exactly 0 before and
// after, neither FFT runs and the rings stay silent.
//
// Down-mix mode (impulse channels fed from a mix of the input, spread back
// over the speakers) is not built: Init refuses it with OV_Failure, and a
// running effect switched to it passes its blocks unchanged until switched
// back.
//
// Everything is taken at Init, the scratch of the transforms included, and
// the delay lines for a new delay on the setter's thread; ProcessBlock
// allocates nothing. Delay lines exist for the first OV_CONVREVERB_MAX_DELAY_LINES
// convolved channels.
#pragma once

#include <cstdint>

#include "ov/IOvChangePreparer.h"
#include "ov/IOvEffect.h"
#include "ov/OvChannelConfig.h"
#include "ov/OvTailExtender.h"
#include "sdk/dsp/convolution/OvMismatchBuffering.h"
#include "sdk/dsp/convolution/OvPartitionedConvolutionEngine.h"
#include "sdk/dsp/delays/DelayLine.h"
#include "sdk/plugins/OvConvolutionReverb/OvConvolutionReverbFXParams.h"

class IOvEffectContext;

class OvConvolutionReverbFX final : public IOvEffect, public IOvChangePreparer {
public:
    static constexpr uint32_t OV_CONVREVERB_MAX_DELAY_LINES = 8;

    OvResult Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext, IOvEffectParams* in_pParams,
                  const OvStreamFormat& in_format) override;
    OvResult Shutdown(IOvMemAlloc* in_pAllocator) override;
    OvResult Reset() override;
    bool SupportsMediaRelocation() const override { return true; }
    OvResult RelocateMedia(const uint8_t* in_pNewMedia, const uint8_t* in_pOldMedia) override;
    void ProcessBlock(OvPipelineBuffer* io_pBuffer) override;
    void PrepareForChange() override;

    // Frames played after the end of the stream.
    uint32_t TailFrames() const { return m_uTailFrames; }
    // Frames of delay the block-size adaptation adds.
    uint32_t LatencyFrames() const { return m_mismatch.LatencyFrames(); }
    const OvPartitionedConvolutionEngine& Engine() const { return m_engine; }

private:
    // Delay lines of one length for some channels; none for a length below 4.
    struct DelaySet {
        DelayLine lines[OV_CONVREVERB_MAX_DELAY_LINES];
        uint32_t uCount = 0;
        float fDelayMs = 0.0f;  // what they were built for
    };

    OvResult BuildDelays(DelaySet& out_set, float in_fDelayMs, uint32_t in_uChannels);
    void FreeDelays(DelaySet& io_set);
    uint32_t RearDelayCount() const;
    void ComputeTail();
    // Applies a changed mode or delay; false when the block must pass as it came.
    bool ApplyChanges();
    void ProcessRuns(OvPipelineBuffer& io_block);
    bool IsRearChannel(uint32_t in_uChannel, uint32_t* out_pRearIndex) const;
    OvResult SetUpChannels(OvChannelConfig in_impulse);

    IOvEffectContext* m_pContext = nullptr;
    OvPartitionedConvolutionEngine m_engine;
    OvConvolutionReverbValues m_current;
    OvConvolutionReverbValues m_previous;
    DelaySet m_preDelays;
    DelaySet m_rearDelays;
    DelaySet m_sparePreDelays;  // built on the setter's thread, swapped in at the next block
    DelaySet m_spareRearDelays;
    bool m_bSparePreDelays = false;
    bool m_bSpareRearDelays = false;
    OvTailExtender m_tail;
    uint32_t m_uTailFrames = 0;
    OvChannelConfig m_channelConfigInput;
    OvChannelConfig m_channelConfigConvolved;
    uint32_t m_uSampleRate = 0;
    uint8_t* m_pChannelMap = nullptr;
    OvMismatchBuffering m_mismatch;
    OvConvolutionReverbFXParams* m_pParams = nullptr;
    IOvMemAlloc* m_pAllocator = nullptr;
    // Transform scratch and the dry copy of one run, taken at Init.
    float* m_pTimeScratch = nullptr;
    ov_fft_cpx* m_pFreqScratch = nullptr;
    float* m_pDryRun = nullptr;
    bool m_bReady = false;
};
