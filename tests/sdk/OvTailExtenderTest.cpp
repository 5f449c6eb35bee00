// Tail bookkeeping at the end of a stream: exactly the tail's frames after the
// last valid frame, the end state only in the call that finishes, and a total
// that grows while the tail runs.
#include <gtest/gtest.h>

#include <vector>

#include "ov/OvPipelineBuffer.h"
#include "ov/OvTailExtender.h"
#include "support/RecordingAssertHook.h"

namespace {

struct TailRun {
    uint32_t tailFrames = 0;  // frames given beyond the last valid input frame
    uint32_t calls = 0;
    bool endedOnlyInLastCall = true;
    bool padsWereZero = true;
};

// Drives an extender the way the chain does once the stream has ended: the
// last block with its valid frames, then empty blocks until the state stays
// ended. totals[k] is the tail length the effect asks for in call k (the last
// entry repeats).
TailRun RunToEnd(uint32_t maxFrames, uint32_t lastValid, const std::vector<uint32_t>& totals)
{
    OvTailExtender tail;
    std::vector<float> block(2 * maxFrames);
    OvChannelConfig stereo;
    stereo.SetStandardOrAnonymous(2, OV_SPEAKER_SETUP_STEREO);

    // One ordinary block first, as a stream has.
    OvPipelineBuffer buffer;
    buffer.AttachContiguousDeinterleaved(block.data(), stereo, uint16_t(maxFrames), uint16_t(maxFrames));
    buffer.eState = OV_BufferHasData;
    tail.ExtendTail(&buffer, totals[0]);

    TailRun run;
    uint32_t valid = lastValid;
    for (;;) {
        for (float& s : block)
            s = 1.0f;
        buffer.AttachContiguousDeinterleaved(block.data(), stereo, uint16_t(maxFrames), uint16_t(valid));
        buffer.eState = OV_BufferEnded;
        const uint32_t total = totals[run.calls < totals.size() ? run.calls : totals.size() - 1];
        tail.ExtendTail(&buffer, total);
        ++run.calls;
        run.tailFrames += buffer.uValidFrames - valid;
        for (uint32_t c = 0; c < 2; ++c)
            for (uint32_t i = valid; i < maxFrames; ++i)
                run.padsWereZero = run.padsWereZero && block[c * maxFrames + i] == 0.0f;
        if (buffer.eState == OV_BufferEnded)
            break;
        if (buffer.uValidFrames != maxFrames || run.calls > 1000) {
            run.endedOnlyInLastCall = false;
            break;
        }
        valid = 0;
    }
    return run;
}

TEST(OvTailExtender, GivesExactlyTheTailAfterTheLastValidFrame)
{
    testsupport::RecordingAssertHook asserts;
    for (uint32_t maxFrames : {8u, 64u, 2048u}) {
        for (uint32_t lastValid : {0u, 3u, maxFrames}) {
            for (uint32_t total : {0u, 1u, 5u, 8u, 13u, 100u, 5000u}) {
                const TailRun run = RunToEnd(maxFrames, lastValid, {total});
                EXPECT_EQ(run.tailFrames, total) << maxFrames << "/" << lastValid << "/" << total;
                EXPECT_TRUE(run.endedOnlyInLastCall);
                EXPECT_TRUE(run.padsWereZero);
                const uint32_t blocks = (lastValid + total + maxFrames - 1) / maxFrames;
                EXPECT_EQ(run.calls, blocks > 0 ? blocks : 1u) << maxFrames << "/" << lastValid << "/" << total;
            }
        }
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvTailExtender, ALargerTotalLengthensARunningTailASmallerOneDoesNot)
{
    // 20 frames of tail in blocks of 8; the second call asks for 30.
    EXPECT_EQ(RunToEnd(8, 0, {20, 30}).tailFrames, 30u);
    EXPECT_EQ(RunToEnd(8, 0, {20, 10}).tailFrames, 20u);
    EXPECT_EQ(RunToEnd(8, 5, {20, 20, 45}).tailFrames, 45u);
}

TEST(OvTailExtender, RunningAudioIsLeftAloneAndAFinishedTailStaysQuiet)
{
    OvTailExtender tail;
    std::vector<float> block(8, 1.0f);
    OvChannelConfig mono;
    mono.SetStandardOrAnonymous(1, OV_SPEAKER_SETUP_MONO);
    OvPipelineBuffer buffer;
    buffer.AttachContiguousDeinterleaved(block.data(), mono, 8, 5);
    buffer.eState = OV_BufferHasData;
    tail.ExtendTail(&buffer, 100);
    EXPECT_EQ(buffer.uValidFrames, 5u);
    EXPECT_EQ(buffer.eState, OV_BufferHasData);
    EXPECT_EQ(block[7], 1.0f);
    EXPECT_EQ(tail.uTailFramesLeft, OvTailExtender::kNoTail);

    // End with a 2-frame tail, then keep calling: nothing more is given.
    buffer.AttachContiguousDeinterleaved(block.data(), mono, 8, 5);
    buffer.eState = OV_BufferEnded;
    tail.ExtendTail(&buffer, 2);
    EXPECT_EQ(buffer.uValidFrames, 7u);
    EXPECT_EQ(buffer.eState, OV_BufferEnded);
    for (int k = 0; k < 3; ++k) {
        buffer.AttachContiguousDeinterleaved(block.data(), mono, 8, 0);
        buffer.eState = OV_BufferEnded;
        tail.ExtendTail(&buffer, 2);
        EXPECT_EQ(buffer.uValidFrames, 0u);
        EXPECT_EQ(buffer.eState, OV_BufferEnded);
    }
    // A new stream's audio re-arms it.
    buffer.AttachContiguousDeinterleaved(block.data(), mono, 8, 8);
    buffer.eState = OV_BufferHasData;
    tail.ExtendTail(&buffer, 2);
    EXPECT_EQ(tail.uTailFramesLeft, OvTailExtender::kNoTail);
}

}  // namespace
