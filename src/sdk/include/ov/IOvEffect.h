// The processing side of a plug-in, in three abstract levels: the plug-in
// base (six slots), the effect (adds Init) and the in-place effect (adds
// ProcessBlock and SkipFrames). IOvEffect is the full nine-slot interface that
// every plug-in implements and that the wrappers call.
//
// Life: construct in IOvMemAlloc memory; IOvEffectParams::Init; Init; Reset;
// then any number of ProcessBlock, SetParam and Reset calls; finally Shutdown
// on the effect, then on the parameter object (which the wrapper owns, not the
// effect).
//
// A minimal in-place plug-in (see tests/support/OvTestGainFX.h for a whole one):
//
//   class OvGainFX final : public IOvEffect {
//   public:
//       OvResult Init(IOvMemAlloc*, IOvEffectContext* in_pContext, IOvEffectParams* in_pParams,
//                     const OvStreamFormat& in_format) override;   // keep pointers, allocate
//       OvResult Shutdown(IOvMemAlloc* in_pAllocator) override
//       {
//           // free what Init took, then:
//           OV::Delete(in_pAllocator, this);
//           return OV_Success;
//       }
//       OvResult Reset() override;                          // clear audio state, keep memory
//       void ProcessBlock(OvPipelineBuffer* io_pBuffer) override;
//   };
//
// GetInfo, the two media slots and SkipFrames have the answers every plug-in
// of this library gives; override them only to answer otherwise.
//
// ProcessBlock reads the parameter object's values and change marks at the top
// of the block (and clears the marks), processes io_pBuffer->uValidFrames
// frames of each channel in place, ramps any gain change over the block, and
// calls OvTailExtender::ExtendTail first if it has a tail. It must not
// allocate, lock or log: memory a change needs is taken on the setter's
// thread (see IOvChangePreparer.h). OvProcessorWrapper builds plug-ins with
// their default constructor, which must not throw.
#pragma once

#include <cstdint>

#include "ov/IOvMemAlloc.h"
#include "ov/OvCommonDefs.h"
#include "ov/OvEffectInfo.h"

class IOvEffectContext;
class IOvEffectParams;
class OvPipelineBuffer;
struct OvStreamFormat;

class IOvPluginBase {
public:
    virtual ~IOvPluginBase() = default;
    // Frees everything taken in Init, runs the destructor, gives the memory
    // back. Must also work after a failed Init, or none.
    virtual OvResult Shutdown(IOvMemAlloc* in_pAllocator) = 0;
    // Clears all audio state, keeps allocations.
    virtual OvResult Reset() = 0;
    virtual OvResult GetInfo(OvEffectInfo& out_info)
    {
        out_info = OvEffectInfo();
        return OV_Success;
    }
    // Whether the plug-in's media may move in memory; only the convolution reverb says yes.
    virtual bool SupportsMediaRelocation() const { return false; }
    // Moves the plug-in's view of its media from in_pOldMedia to in_pNewMedia.
    virtual OvResult RelocateMedia(const uint8_t* /*in_pNewMedia*/, const uint8_t* /*in_pOldMedia*/)
    {
        return OvResult(0);
    }
};

class IOvEffectPlugin : public IOvPluginBase {
public:
    // Keeps the context and the parameter object (not owned), allocates, and
    // computes what depends on the format.
    virtual OvResult Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext,
                          IOvEffectParams* in_pParams, const OvStreamFormat& in_format) = 0;
};

class IOvEffect : public IOvEffectPlugin {
public:
    // Runs one block in place; may change io_pBuffer->uValidFrames and eState.
    virtual void ProcessBlock(OvPipelineBuffer* io_pBuffer) = 0;
    // Skipping is not supported: nothing happens.
    virtual OvResult SkipFrames(uint32_t /*in_uFrames*/) { return OV_BufferHasData; }
};
