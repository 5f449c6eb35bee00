// Lets an effect that works in fixed process blocks of B frames run in a
// pipeline whose buffers hold P frames. A ring of whole process blocks sits
// between the pipeline buffer and the effect: pipeline frames go in
// (Consume), full blocks are handed to the effect in place
// (GetProcessBuffer / ReleaseProcessBuffer), results go back (Produce).
//
//   BeginBlock(pipeline);
//   do {
//       Consume(pipeline);
//       OvPipelineBuffer block;
//       while (GetProcessBuffer(pipeline, block, bTailing)) { process block; ReleaseProcessBuffer(block); }
//   } while (Produce(pipeline));
//
// Ring size and latency (zeros put ahead of the first input, so that every
// pipeline buffer gets output from the start):
//   B > P, B % P == 0:   ring B,   latency ((B - 1) / P) * P
//   B > P, B % P != 0:   ring 2B,  latency ((B - 1) / P) * P + P - B % P
//   B < P, P % B != 0:   ring 2B,  latency B
//   B < P, P % B == 0, or B == P: no ring, no latency; the effect works on the
//   pipeline buffer itself, in runs of B.
// In the ring a block is planar with channel stride B, so it is an
// OvPipelineBuffer as it stands.
//
// At the end of the stream a partial last block is handed out, then, while
// the effect's tail still has frames (bTailing), empty blocks for the tail
// to fill; the whole tail comes out, and Produce ends the loop as soon as a
// pass moves nothing. The three positions only grow; they are compared by
// their differences and rebased by whole rings, so they never wrap.
#pragma once

#include <cstdint>

#include "ov/IOvMemAlloc.h"
#include "ov/OvCommonDefs.h"
#include "ov/OvPipelineBuffer.h"

class OvMismatchBuffering {
public:
    // OV_Failure when the ring cannot be had (then it acts as ringless).
    OvResult Init(uint32_t in_uPipelineFrames, uint32_t in_uProcessBlockFrames, uint32_t in_uChannels,
                  IOvMemAlloc* in_pAllocator);
    void Term(IOvMemAlloc* in_pAllocator);
    // Back to where Init left it: empty ring, positions at 0, latency due again.
    void Reset();

    void BeginBlock(const OvPipelineBuffer& in_pipelineBuffer);
    void Consume(OvPipelineBuffer& in_pipelineBuffer);
    bool GetProcessBuffer(OvPipelineBuffer& in_pipelineBuffer, OvPipelineBuffer& out_processBuffer, bool in_bTailing);
    void ReleaseProcessBuffer(const OvPipelineBuffer& in_processBuffer);
    // True when the caller must run another pass of its loop.
    bool Produce(OvPipelineBuffer& io_pipelineBuffer);

    bool HasRing() const { return m_uMmbSizeFrames != 0; }
    uint32_t LatencyFrames() const { return m_uLatency; }
    uint32_t RingFrames() const { return m_uMmbSizeFrames; }

private:
    float* RingBlock(uint32_t in_uFrameIndex) const;
    // Copies runs between the pipeline and the ring, bounded by block ends.
    void WriteRuns(const OvPipelineBuffer* in_pSource, uint32_t in_uSourceOffset, uint32_t in_uFrames);
    void Rebase();

    float* m_pBuffer = nullptr;
    uint32_t m_uMmbSizeFrames = 0;
    uint32_t m_uProcessBlockFrames = 0;
    uint32_t m_uChannels = 0;
    uint32_t m_uWriteIdx = 0;
    uint32_t m_uProcessIdx = 0;
    uint32_t m_uReadIdx = 0;
    OvResult m_eState = OV_BufferNeedsData;
    uint32_t m_uPipelineBufferConsumed = 0;
    uint32_t m_uPipelineBufferWritten = 0;
    uint32_t m_uSilenceDue = 0;
    uint32_t m_uLatency = 0;
    OvChannelConfig m_channelConfig;
};
