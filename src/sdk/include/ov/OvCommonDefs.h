// Codes and constants shared by every plug-in of the frame and by its host.
//
// Naming across the frame: types carry the prefix Ov (OvPipelineBuffer,
// IOvEffect) and live in the global namespace; constants and codes carry OV_;
// free helper functions live in namespace OV (OV::FastPow10, OV::ApplyGainRamp).
// Members are m_, arguments in_, out_, io_, with the type letters u (unsigned),
// f (float), b (bool), p (pointer), e (enumeration).
//
// The frame, header by header: IOvEffect and IOvEffectParams (what a plug-in
// implements), IOvEffectContext and IOvGlobalContext (what it may ask the
// host), IOvMemAlloc, OvMemAllocDefault and OvPluginNew (its memory),
// OvPipelineBuffer, OvChannelConfig, OvSpeakerConfig and OvStreamFormat (its
// audio), OvFXParameterChangeHandler, OvTailExtender, OvGainRamp and
// OvFastMath (shared helpers), OvAssert (contract checks), OvPluginList. The
// two-input mixes are in sdk/dsp/Mix2Interp.h; the wrapper side is
// wrappers/OvProcessorWrapper.h over wrappers/OvEffectHost.h.
#pragma once

#include <cstdint>

// Alignment, in bytes, of all memory that a plug-in takes from IOvMemAlloc.
constexpr uint32_t OV_SIMD_ALIGNMENT = 16;

// One 32-bit enumeration serves both as operation result and as the state of
// an OvPipelineBuffer (OvPipelineBuffer::eState). The wrappers only ever test
// for OV_Success.
enum OvResult : uint32_t {
    OV_Success = 1,
    OV_Failure = 2,           // generic failure; also an eState a plug-in in trouble may set
    OV_BufferEnded = 17,      // eState: the input has ended; the effect may append its tail
    OV_BadParameter = 31,     // unknown parameter ID or null value pointer
    OV_BufferNeedsData = 43,  // eState of an empty, freshly constructed buffer
    OV_BufferHasData = 45,    // eState of a normal block; also what SkipFrames returns
    OV_NoDataReady = 46,      // eState: nothing produced
    OV_OutOfMemory = 52,      // the allocator returned null
    OV_BadChannelConfig = 78, // a channel layout the plug-in does not serve
    OV_NoMedia = 79,          // the context has no media for the plug-in
};

// What every plug-in reports through IOvEffect::GetInfo.
constexpr uint32_t OV_PLUGIN_TYPE_EFFECT = 3;
constexpr uint32_t OV_PLUGIN_BUILD_VERSION = 516354;
