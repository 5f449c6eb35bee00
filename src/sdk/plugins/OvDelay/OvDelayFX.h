// Echo with feedback, one DelayLine per channel (at most 8; further channels
// get the dry gain only). Per block: dry gain ramp; the previous block's
// output, scaled by the feedback, is added sample for sample to the input;
// that sum enters the line; the line's output is mixed in at the wet level.
// The fed-back signal is therefore one block late in addition to the line and
// is also heard without passing the line; intended. A change of delay time
// brings new, silent lines, a change of feedback clears them. At the end of
// the stream the output runs on for uDelayFrames frames.
//
// Lines for a new delay time are taken on the setter's thread (the parameter
// object calls PrepareForChange) and swapped in at the top of the next block,
// so ProcessBlock never allocates; the lines it lets go are freed at the next
// change or at Shutdown. At most two sets of lines exist, each at most
// OV_DELAYFX_MAX_DELAY_FRAMES samples per channel. A delay time written into
// the parameters without SetParam waits for a PrepareForChange.
#pragma once

#include <cstdint>

#include "ov/IOvChangePreparer.h"
#include "ov/IOvEffect.h"
#include "ov/OvPipelineBuffer.h"
#include "ov/OvTailExtender.h"
#include "sdk/dsp/delays/DelayLine.h"

class OvDelayFXParams;
class IOvEffectContext;

class OvDelayFX final : public IOvEffect, public IOvChangePreparer {
public:
    static constexpr uint32_t OV_DELAYFX_MAX_LINES = 8;
    // Longest delay, in samples, that the lines are built for.
    static constexpr uint32_t OV_DELAYFX_MAX_DELAY_FRAMES = 1u << 22;

    OvResult Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext, IOvEffectParams* in_pParams,
                  const OvStreamFormat& in_format) override;
    OvResult Shutdown(IOvMemAlloc* in_pAllocator) override;
    OvResult Reset() override;
    OvResult GetInfo(OvEffectInfo& out_info) override;
    void ProcessBlock(OvPipelineBuffer* io_pBuffer) override;
    // Takes and clears the lines for the delay time the parameters hold, when
    // it differs from the one in use; on the setter's thread.
    void PrepareForChange() override;

    // Frames of delay for a time in ms, truncated; 0 for anything below one frame.
    static uint32_t DelayTimeToFrames(float in_fDelayTimeMs, uint32_t in_uSampleRate);

    uint32_t DelayFrames() const { return m_uDelayFrames; }

private:
    // One line per channel (at most 8) for the delay time, silent; none for a
    // time below one frame. On failure no line is left.
    OvResult AllocateLines(DelayLine* out_pLines, float in_fDelayTime);
    void ShutdownLines(DelayLine* io_pLines);
    void ClearLines();

    OvDelayFXParams* m_pParams = nullptr;
    IOvMemAlloc* m_pAllocator = nullptr;
    DelayLine m_lines[OV_DELAYFX_MAX_LINES];
    // While m_bPrepared: the lines for m_fPreparedDelayTime, m_ePrepared the
    // outcome of taking them. Otherwise the lines the last change let go.
    DelayLine m_spareLines[OV_DELAYFX_MAX_LINES];
    float m_fPreparedDelayTime = 0.0f;
    OvResult m_ePrepared = OV_Success;
    bool m_bPrepared = false;
    OvTailExtender m_tailExtender;
    uint32_t m_uDelayFrames = 0;
    float m_fPrevDelayTime = 0.0f;
    float m_fPrevDryLevel = 1.0f;
    float m_fPrevWetLevel = 1.0f;
    float m_fInitDryLevel = 1.0f;  // the levels Init saw, where Reset starts the ramps again
    float m_fInitWetLevel = 1.0f;
    float m_fPrevFeedback = 0.0f;
    OvEffectInfo m_FXInfo;
    OvPipelineBuffer m_feedbackBuffer;  // owns its samples: MaxFrames * channels
    uint32_t m_uSampleRate = 0;
    uint32_t m_uNumChannels = 0;
    uint16_t m_uMaxFrames = 0;
};
