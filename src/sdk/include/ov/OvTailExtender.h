// Lets an effect ring on after the end of the stream. Call ExtendTail at the
// top of each ProcessBlock with the effect's total tail length in frames:
// while the input runs it does nothing; once eState says OV_BufferEnded it pads
// the block with zeros so the effect can play its tail into them, and turns
// the state back to OV_BufferHasData until the tail's frames have all been
// given. The last block of the tail returns OV_BufferEnded with the valid
// frames that remain.
//
//   void OvDelayFX::ProcessBlock(OvPipelineBuffer* io_pBuffer)
//   {
//       m_tail.ExtendTail(io_pBuffer, m_uDelayFrames);
//       ... process io_pBuffer->uValidFrames frames ...
//   }
//
// A total that grows while the tail runs lengthens it by the difference; a
// smaller one does not shorten it.
#pragma once

#include <cstdint>

class OvPipelineBuffer;

class OvTailExtender {
public:
    static constexpr uint32_t kNoTail = 0xFFFFFFFF;

    void ExtendTail(OvPipelineBuffer* io_pBuffer, uint32_t in_uTailFramesTotal);

    uint32_t uTailFramesLeft = kNoTail;  // kNoTail while no tail is running
    uint32_t uTailFramesTotal = 0;
};
