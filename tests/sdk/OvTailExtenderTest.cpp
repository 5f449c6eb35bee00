// Tail bookkeeping at the end of a stream: exactly the tail's frames after the
// last valid frame, the end state only in the call that finishes, a total that
// grows while the tail runs, and running audio left alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "ov/OvPipelineBuffer.h"
#include "ov/OvTailExtender.h"
#include "support/RecordingAssertHook.h"

namespace {

// Drives an extender the way the chain does: a short block of running audio
// (left alone), the last block with its valid frames, empty blocks until the
// state stays ended (all full but the last, padded with zeros), one more ended
// call (gives nothing) and a new stream (re-arms). totals[k] is the tail length
// the effect asks for in call k after the stream ended; the last entry repeats.
// Returns the frames given beyond the last valid one, or -1 if a rule broke.
int64_t TailFrames(uint32_t maxFrames, uint32_t lastValid, const std::vector<uint32_t>& totals)
{
    OvTailExtender tail;
    std::vector<float> block(2 * maxFrames);
    OvChannelConfig stereo;
    stereo.SetStandardOrAnonymous(2, OV_SPEAKER_SETUP_STEREO);
    OvPipelineBuffer buffer;
    auto call = [&](uint32_t valid, OvResult state, uint32_t total) {
        std::fill(block.begin(), block.end(), 1.0f);
        buffer.AttachContiguousDeinterleaved(block.data(), stereo, uint16_t(maxFrames), uint16_t(valid));
        buffer.eState = state;
        tail.ExtendTail(&buffer, total);
    };
    call(maxFrames / 2, OV_BufferHasData, totals[0]);
    bool ok = buffer.uValidFrames == maxFrames / 2 && buffer.eState == OV_BufferHasData && block.back() == 1.0f;
    int64_t given = 0;
    for (uint32_t valid = lastValid, calls = 0; ok; valid = 0) {
        call(valid, OV_BufferEnded, totals[std::min<size_t>(calls++, totals.size() - 1)]);
        given += buffer.uValidFrames - valid;
        for (uint32_t i = 0; i < 2 * maxFrames; ++i)
            ok = ok && (i % maxFrames < valid || block[i] == 0.0f);
        if (buffer.eState == OV_BufferEnded)
            break;
        ok = ok && buffer.uValidFrames == maxFrames && calls < 1000;
    }
    call(0, OV_BufferEnded, totals.back());
    ok = ok && buffer.uValidFrames == 0 && buffer.eState == OV_BufferEnded;
    call(maxFrames, OV_BufferHasData, totals.back());
    ok = ok && tail.uTailFramesLeft == OvTailExtender::kNoTail;
    return ok ? given : -1;
}

TEST(OvTailExtender, GivesExactlyTheTailAfterTheLastValidFrame)
{
    testsupport::RecordingAssertHook asserts;
    for (uint32_t maxFrames : {8u, 64u, 2048u})
        for (uint32_t lastValid : {0u, 3u, maxFrames})
            for (uint32_t total : {0u, 1u, 5u, 8u, 13u, 100u, 5000u})
                EXPECT_EQ(TailFrames(maxFrames, lastValid, {total}), total) << maxFrames << "/" << lastValid;
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
    // A larger total lengthens a running tail, a smaller one does not (20 frames in blocks of 8).
    EXPECT_EQ(TailFrames(8, 0, {20, 30}), 30);
    EXPECT_EQ(TailFrames(8, 0, {20, 10}), 20);
    EXPECT_EQ(TailFrames(8, 5, {20, 20, 45}), 45);
}

}  // namespace
