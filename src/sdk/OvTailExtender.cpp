#include "ov/OvTailExtender.h"

#include "ov/OvPipelineBuffer.h"

void OvTailExtender::ExtendTail(OvPipelineBuffer* io_pBuffer, uint32_t in_uTailFramesTotal)
{
    if (io_pBuffer->eState != OV_BufferEnded) {
        uTailFramesLeft = kNoTail;
        return;
    }
    const uint32_t uValidIn = io_pBuffer->uValidFrames;
    if (uTailFramesLeft == 0 && uValidIn == 0)
        return;  // the tail has run out

    if (uTailFramesLeft != kNoTail && uValidIn == 0) {
        // A running tail only grows: by the amount the total grew.
        if (in_uTailFramesTotal > uTailFramesTotal) {
            uTailFramesLeft = in_uTailFramesTotal - (uTailFramesTotal - uTailFramesLeft);
            uTailFramesTotal = in_uTailFramesTotal;
        }
    } else {
        uTailFramesLeft = in_uTailFramesTotal;
        uTailFramesTotal = in_uTailFramesTotal;
    }

    const uint32_t uMaxFrames = io_pBuffer->MaxFrames();
    const uint32_t uFree = uValidIn < uMaxFrames ? uMaxFrames - uValidIn : 0;
    const uint32_t uTailNow = uTailFramesLeft < uFree ? uTailFramesLeft : uFree;
    uTailFramesLeft -= uTailNow;

    io_pBuffer->PadToMaxFrames();
    if (uTailFramesLeft != 0)
        io_pBuffer->eState = OV_BufferHasData;  // a full block, and more to come
    else
        io_pBuffer->uValidFrames = uint16_t(uValidIn + uTailNow);
}
