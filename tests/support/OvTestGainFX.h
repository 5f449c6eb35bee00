// A plug-in for tests of the frame: a gain (negative for a polarity flip)
// that ramps over one block when it changes, with an optional tail. Tail
// frames carry kTailMarker, so a test can see where the tail lands. It notes
// what the host handed it, so tests can check the host's side of the contract.
//
// Parameter IDs: 0 gain (float, linear), 1 tail length (uint32, frames).
// Packed block: gain, tail (8 bytes).
//
// TestGainProcessor wraps it as the chain's delay slot (DelayProcessor):
// SetParams takes WetLevel as the gain and Delay as the tail in frames.
#pragma once

#include <cstdint>

#include "ov/IOvEffect.h"
#include "ov/IOvEffectParams.h"
#include "ov/OvFXParameterChangeHandler.h"
#include "ov/OvTailExtender.h"
#include "wrappers/DelayProcessor.h"
#include "wrappers/OvProcessorWrapper.h"

namespace testsupport {

class OvTestGainFXParams final : public IOvEffectParams {
public:
    enum : uint16_t { kGainID = 0, kTailID = 1 };
    static constexpr uint32_t kBlockSize = 8;

    OvResult SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize) override;
    IOvEffectParams* Clone(IOvMemAlloc* in_pAllocator) override;
    OvResult Init(IOvMemAlloc* in_pAllocator, const void* in_pParamsBlock, uint32_t in_uBlockSize) override;
    OvResult Shutdown(IOvMemAlloc* in_pAllocator) override;
    OvResult SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize) override;

    float fGain = 1.0f;
    uint32_t uTailFrames = 0;
    OvFXParameterChangeHandler<1> changes;
};

class OvTestGainFX final : public IOvEffect {
public:
    static constexpr float kTailMarker = 0.25f;

    OvResult Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext, IOvEffectParams* in_pParams,
                  const OvStreamFormat& in_format) override;
    OvResult Shutdown(IOvMemAlloc* in_pAllocator) override;
    OvResult Reset() override;
    void ProcessBlock(OvPipelineBuffer* io_pBuffer) override;

    // What the last ProcessBlock saw on entry.
    uint32_t blocks = 0;
    uint32_t resets = 0;
    OvResult stateIn = OV_BufferNeedsData;
    uint32_t validFramesIn = 0;
    uint32_t maxFramesIn = 0;
    bool flushToZeroSet = false;

private:
    OvTestGainFXParams* m_pParams = nullptr;
    float m_fPrevGain = 1.0f;
    OvTailExtender m_tail;
};

class TestGainProcessor final
    : public OvProcessorWrapper<DelayProcessor, OvTestGainFX, OvTestGainFXParams> {
public:
    TestGainProcessor() = default;
    // Starts from a packed block instead of the defaults.
    TestGainProcessor(const void* in_pBlock, uint32_t in_uSize) : OvProcessorWrapper(in_pBlock, in_uSize) {}

    void SetParams(const DelayEffectParams& params) override;
    void SetUnused(uint32_t, uint32_t, uint32_t) override {}

    OvTestGainFX* Plugin() const { return m_pPlugin; }
    OvTestGainFXParams* Params() const { return m_pParam; }

    static DelayProcessor* Create();
};

}  // namespace testsupport
