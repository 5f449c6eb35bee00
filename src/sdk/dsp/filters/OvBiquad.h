// The plug-ins' biquad with its own memory: one channel, one filter. Runs in
// place; see OvBiquadCoefs for the block filter. A new filter passes the
// signal unchanged and starts from a zero state.
#pragma once

#include <cstdint>

#include "sdk/dsp/filters/OvBiquadBatch.h"
#include "sdk/dsp/filters/OvBiquadCoefs.h"

class OvBiquad : public OvBiquadCoefs {
public:
    OvBiquad() : m_state{0.0f, 0.0f, 0.0f, 0.0f} {}

    // in_uMemory is there to match OvBiquadMulti; this filter has only memory 0.
    void ProcessSamples(float* io_pSamples, uint32_t in_uFrames, uint32_t in_uMemory = 0)
    {
        (void)in_uMemory;
        Run(io_pSamples, in_uFrames, m_state);
    }

    // The same run, queued on io_batch to go with other independent filters.
    void QueueSamples(OvBiquadBatch& io_batch, float* io_pSamples, uint32_t in_uFrames)
    {
        io_batch.Add(*this, io_pSamples, in_uFrames, m_state);
    }

    void ResetState() { m_state = {0.0f, 0.0f, 0.0f, 0.0f}; }

    const OvBiquadState& State() const { return m_state; }

private:
    OvBiquadState m_state;
};
