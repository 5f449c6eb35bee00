// The block bridge on engines whose output is known: no frame is lost or
// reordered at any block size, through bypass changes and drains; the flush
// puts the engine's tail before the frames the engine had not taken; block
// sizes below the engine's block run inside the caller's buffer (ASan build);
// a resampler's stretch after a drain is what a new soxr stream gives; and
// Process allocates nothing once settled, at 44.1 and 48 kHz, bypass changes
// and drains included.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include "common/AudioFifo.h"
#include "common/SoxrResampler.h"
#include "effects/BlockBridge.h"
#include "support/AllocationCounter.h"

namespace {

constexpr uint32_t kBlock = 256;

// Passes blocks through unchanged and has no tail.
struct IdentityEngine final : BlockEngine {
    uint32_t blocks = 0, flushes = 0;
    void ProcessBlock(float* const*, uint32_t*) override { ++blocks; }
    uint32_t FlushBlock(float* const*) override
    {
        ++flushes;
        return 0;
    }
    bool WarmingUp() const override { return false; }
};

// Gives each block one block late, as rotate 3D does with its warm-up: the
// first block gives nothing, and the flush hands over the one held back.
struct LateEngine final : BlockEngine {
    std::vector<float> held = std::vector<float>(2 * kBlock);
    std::vector<float> now = std::vector<float>(2 * kBlock);
    uint32_t heldFrames = 0;
    void ProcessBlock(float* const* planes, uint32_t* frames) override
    {
        std::copy(planes[0], planes[0] + *frames, now.begin());
        std::copy(planes[1], planes[1] + *frames, now.begin() + kBlock);
        const uint32_t give = heldFrames;
        std::copy(held.begin(), held.begin() + give, planes[0]);
        std::copy(held.begin() + kBlock, held.begin() + kBlock + give, planes[1]);
        held.swap(now);
        heldFrames = *frames;
        *frames = give;
    }
    uint32_t FlushBlock(float* const* planes) override
    {
        const uint32_t give = heldFrames;
        std::copy(held.begin(), held.begin() + give, planes[0]);
        std::copy(held.begin() + kBlock, held.begin() + kBlock + give, planes[1]);
        heldFrames = 0;
        return give;
    }
    bool WarmingUp() const override { return heldFrames == 0; }
};

// Runs a stream through a bridge: blocks of maxFrames (the last one shorter),
// the bypass changed where toggle says, then drain passes with a count of 0
// until the bridge lets the stream end. Returns the output, planar by channel.
struct Output {
    std::vector<float> left, right;
};
Output Stream(BlockBridge& bridge, BlockEngine& engine, uint32_t maxFrames, const std::vector<float>& l,
           const std::vector<float>& r, const std::vector<bool>& bypassPerBlock = {})
{
    Output out;
    // Exactly two planes of maxFrames: ASan sees any write past them.
    std::vector<float> block(2 * size_t(maxFrames));
    size_t at = 0, b = 0;
    bool draining = false;
    auto take = [&](uint32_t n) {
        out.left.insert(out.left.end(), block.begin(), block.begin() + n);
        out.right.insert(out.right.end(), block.begin() + maxFrames, block.begin() + maxFrames + n);
    };
    while (at < l.size()) {
        const uint32_t n = uint32_t(std::min<size_t>(maxFrames, l.size() - at));
        if (b < bypassPerBlock.size())
            bridge.SetBypass(bypassPerBlock[b]);
        ++b;
        std::copy(l.begin() + at, l.begin() + at + n, block.begin());
        std::copy(r.begin() + at, r.begin() + at + n, block.begin() + maxFrames);
        at += n;
        uint32_t count = n;
        draining = at == l.size();
        bridge.Process(engine, block.data(), &draining, &count);
        EXPECT_LE(count, maxFrames);
        take(count);
    }
    for (int guard = 0; !draining && guard < 1000000; ++guard) {
        uint32_t count = 0;
        draining = true;
        bridge.Process(engine, block.data(), &draining, &count);
        EXPECT_LE(count, maxFrames);
        take(count);
    }
    EXPECT_TRUE(draining);
    return out;
}

// Each resampler rounds its stream's length to a whole frame: half an
// engine frame on the way in is rate / 44100 / 2 frames on the way out.
double LengthTolerance(uint32_t rate)
{
    return 1.0 + 0.5 * std::max(1.0, double(rate) / 44100.0);
}

std::vector<float> Ramp(size_t n, float offset)
{
    std::vector<float> x(n);
    for (size_t i = 0; i < n; ++i)
        x[i] = offset + float(i);
    return x;
}

// At the engine's rate every frame comes out once, in order, whatever the
// block size, the bypass changes or the engine's delay; a ramp shows it.
TEST(BlockBridge, NoFrameIsLostOrReorderedAtAnyBlockSizeThroughBypassChangesAndDrains)
{
    std::mt19937 rng(2);
    for (uint32_t maxFrames : {1u, 17u, 64u, 128u, 255u, 256u, 257u, 1000u, 2048u}) {
        for (int pattern = 0; pattern < 3; ++pattern) {
            for (bool late : {false, true}) {
                SCOPED_TRACE(testing::Message() << maxFrames << " frames, pattern " << pattern << (late ? ", late" : ""));
                const size_t frames = 3000 + rng() % 7000;
                const std::vector<float> l = Ramp(frames, 1.0f), r = Ramp(frames, -100000.0f);
                std::vector<bool> bypass;
                for (size_t b = 0; b * maxFrames < frames; ++b)
                    bypass.push_back(pattern == 0 ? false : pattern == 1 ? (b / 3) % 2 == 1 : rng() % 2 == 0);
                BlockBridge bridge;
                ASSERT_TRUE(bridge.Init(maxFrames, 2, 44100, 44100, kBlock));
                IdentityEngine identity;
                LateEngine lateEngine;
                BlockEngine& engine = late ? static_cast<BlockEngine&>(lateEngine) : identity;
                const Output out = Stream(bridge, engine, maxFrames, l, r, bypass);
                ASSERT_EQ(out.left.size(), frames);
                for (size_t i = 0; i < frames; ++i) {
                    ASSERT_EQ(out.left[i], l[i]) << "frame " << i;
                    ASSERT_EQ(out.right[i], r[i]) << "frame " << i;
                }
                EXPECT_EQ(bridge.QueuedInput(), 0);
                EXPECT_EQ(bridge.QueuedOutput(), 0);
            }
        }
    }
}

// In bypass with frames still queued, blocks join the queue and whole blocks
// come out; a drain pass with a count of 0 still delivers the queue.
TEST(BlockBridge, InBypassTheQueueComesOutFirstAndADrainOfZeroFramesDeliversIt)
{
    BlockBridge bridge;
    LateEngine engine;
    const uint32_t maxFrames = 300;
    ASSERT_TRUE(bridge.Init(maxFrames, 2, 44100, 44100, kBlock));
    bridge.SetBypass(false);
    std::vector<float> block(2 * maxFrames);
    float next = 1.0f, expected = 1.0f;
    auto push = [&](uint32_t n, bool draining) {
        for (uint32_t i = 0; i < n; ++i) {
            block[i] = next;
            block[maxFrames + i] = -next;
            next += 1.0f;
        }
        uint32_t count = n;
        bridge.Process(engine, block.data(), &draining, &count);
        for (uint32_t i = 0; i < count; ++i) {
            EXPECT_EQ(block[i], expected);
            EXPECT_EQ(block[maxFrames + i], -expected);
            expected += 1.0f;
        }
        return std::make_pair(count, draining);
    };
    // 600 frames in: the engine took two blocks and gave one back.
    EXPECT_EQ(push(300, false).first, 0u);
    EXPECT_EQ(push(300, false).first, 0u);
    EXPECT_EQ(bridge.QueuedOutput(), 256);
    EXPECT_EQ(bridge.QueuedInput(), 88);
    bridge.SetBypass(true);
    // The flush queues the engine's held block and the 88 frames it had not
    // taken behind the 256 queued; the new block joins them and one whole
    // block comes out.
    EXPECT_EQ(push(300, false).first, 300u);
    EXPECT_EQ(bridge.QueuedOutput(), 600);
    EXPECT_EQ(push(300, false).first, 300u);
    EXPECT_EQ(bridge.QueuedOutput(), 600);
    // Drain passes with no frames deliver the queue, a block at a time.
    const auto first = push(0, true);
    EXPECT_EQ(first.first, 300u);
    EXPECT_FALSE(first.second);
    const auto second = push(0, true);
    EXPECT_EQ(second.first, 300u);
    EXPECT_TRUE(second.second);
    EXPECT_EQ(bridge.QueuedOutput(), 0);
    EXPECT_EQ(expected, next);
    // Queue empty: blocks pass untouched, count unchanged.
    EXPECT_EQ(push(123, false).first, 123u);
    EXPECT_EQ(expected, next);
}

// Entering bypass runs the engine's flush once, and the engine's tail comes
// before the frames it never took.
TEST(BlockBridge, TheFlushPutsTheEnginesTailBeforeTheFramesItHadNotTaken)
{
    BlockBridge bridge;
    LateEngine engine;
    ASSERT_TRUE(bridge.Init(1000, 2, 44100, 44100, kBlock));
    bridge.SetBypass(false);
    std::vector<float> block(2000);
    for (uint32_t i = 0; i < 1000; ++i)
        block[i] = block[1000 + i] = float(i);
    uint32_t count = 1000;
    bool draining = false;
    bridge.Process(engine, block.data(), &draining, &count);
    // 1000 frames: three blocks to the engine, two given back, 232 waiting.
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(bridge.QueuedInput(), 1000 - 3 * 256);
    EXPECT_EQ(bridge.QueuedOutput(), 2 * 256);
    bridge.SetBypass(true);
    count = 0;
    draining = true;
    bridge.Process(engine, block.data(), &draining, &count);
    EXPECT_EQ(count, 1000u);
    for (uint32_t i = 0; i < 1000; ++i)
        ASSERT_EQ(block[i], float(i));
}

// Resampled: the stream goes to the engine's rate and back, its length kept
// within the resamplers' rounding, a band-limited signal unchanged but for
// the resamplers' own error, at any block size (ASan sees every write).
TEST(BlockBridge, ResampledStreamsKeepTheirLengthAndTheirSound)
{
    for (uint32_t rate : {32000u, 48000u, 96000u, 22050u}) {
        for (uint32_t maxFrames : {1u, 64u, 255u, 2048u}) {
            SCOPED_TRACE(testing::Message() << rate << " Hz, " << maxFrames << " frames");
            const size_t frames = size_t(rate) / 4;
            std::vector<float> l(frames), r(frames);
            for (size_t i = 0; i < frames; ++i) {
                l[i] = 0.5f * float(std::sin(2.0 * M_PI * 440.0 * double(i) / rate));
                r[i] = 0.3f * float(std::sin(2.0 * M_PI * 1234.0 * double(i) / rate));
            }
            BlockBridge bridge;
            ASSERT_TRUE(bridge.Init(maxFrames, 2, rate, 44100, kBlock));
            ASSERT_TRUE(bridge.Resampling());
            bridge.SetBypass(false);
            IdentityEngine engine;
            const Output out = Stream(bridge, engine, maxFrames, l, r);
            EXPECT_NEAR(double(out.left.size()), double(frames), LengthTolerance(rate));
            double worst = 0.0;
            for (size_t i = 200; i + 200 < std::min(frames, out.left.size()); ++i)
                worst = std::max({worst, double(std::fabs(out.left[i] - l[i])), double(std::fabs(out.right[i] - r[i]))});
            EXPECT_LT(worst, 1e-3);
        }
    }
}

// soxr takes input only as far as the output has room; the resampler adapter
// honours that, so a block far larger than one soxr call, and a drain whose
// tail is longer than the room, lose nothing.
TEST(BlockBridge, LargeBlocksAndLongTailsThroughSmallRoomLoseNothing)
{
    for (uint32_t rate : {8000u, 352800u}) {
        SCOPED_TRACE(rate);
        const uint32_t maxFrames = 16384;
        const size_t frames = 3 * maxFrames + 77;
        std::vector<float> l(frames), r(frames);
        for (size_t i = 0; i < frames; ++i)
            l[i] = r[i] = 0.25f * float(std::sin(2.0 * M_PI * 200.0 * double(i) / rate));
        BlockBridge bridge;
        ASSERT_TRUE(bridge.Init(maxFrames, 2, rate, 44100, kBlock));
        bridge.SetBypass(false);
        IdentityEngine engine;
        const Output out = Stream(bridge, engine, maxFrames, l, r);
        EXPECT_NEAR(double(out.left.size()), double(frames), LengthTolerance(rate));
    }
}

// A stretch after a drain starts as a new soxr stream of silence and then
// the stretch would: the same length as a new stream of the stretch alone,
// round(n * out/in), and the same samples, where the two rates share a short
// period. (A new soxr stream of the stretch alone differs from that in its
// first three output frames only, soxr's start-up.) Where the rates share no
// short period the stretch starts up to half an output frame late.
TEST(BlockBridgeResampler, AStretchAfterADrainIsANewStreamAfterSilence)
{
    struct Case {
        uint32_t in, out;
        bool aligned;
    };
    for (const Case& k : {Case{48000, 44100, true}, Case{44100, 48000, true}, Case{32000, 44100, true},
                          Case{44100, 96000, true}, Case{96000, 44100, true}, Case{44101, 44100, false}}) {
        SCOPED_TRACE(testing::Message() << k.in << " to " << k.out);
        BlockBridgeResampler* bridged = BlockBridgeResampler::Create(k.in, k.out, 2);
        ASSERT_NE(bridged, nullptr);
        AudioFifo sink(4, 2, 1, 1024);
        std::mt19937 rng(k.in);
        std::uniform_real_distribution<float> noise(-0.5f, 0.5f);
        // Silence ahead of the reference stream: whole periods of the grid.
        const uint32_t period = k.in / std::gcd(k.in, k.out);
        const uint32_t silence = k.aligned ? period * (4000 / period + 1) : 4000;
        const size_t silenceOut = size_t(std::floor(double(silence) * k.out / k.in + 0.5));
        for (int stretch = 0; stretch < 4; ++stretch) {
            const uint32_t n = 300 + uint32_t(rng() % 5000);
            std::vector<float> l(n), r(n);
            for (uint32_t i = 0; i < n; ++i) {
                l[i] = noise(rng);
                r[i] = float(std::sin(0.01 * i));
            }
            // Through the bridged resampler in blocks of up to 512, then a drain.
            sink.Reset();
            for (uint32_t at = 0; at < n; at += 512) {
                const float* planes[2] = {l.data() + at, r.data() + at};
                bridged->Process(planes, std::min(512u, n - at), sink);
            }
            bridged->Drain(sink);
            const size_t got = size_t(sink.Size());
            EXPECT_EQ(got, size_t(std::floor(double(n) * k.out / k.in + 0.5))) << "stretch " << stretch;
            std::vector<float> bl(got), br(got);
            void* readPlanes[2] = {bl.data(), br.data()};
            sink.Read(readPlanes, int32_t(got));
            // A new soxr stream of silence and the stretch, flushed.
            std::vector<float> pl(silence + size_t(n), 0.0f), pr(pl.size(), 0.0f);
            std::copy(l.begin(), l.end(), pl.begin() + silence);
            std::copy(r.begin(), r.end(), pr.begin() + silence);
            SoxrResampler* fresh = SoxrResampler::Create(k.in, k.out, 2);
            std::vector<float> fl(2 * pl.size() * k.out / k.in + 4096), fr(fl.size());
            float* outPlanes[2] = {fl.data(), fr.data()};
            const float* inPlanes[2] = {pl.data(), pr.data()};
            size_t made = fresh->Process(inPlanes, pl.size(), outPlanes, fl.size());
            float* tailPlanes[2] = {fl.data() + made, fr.data() + made};
            made += fresh->Flush(tailPlanes, fl.size() - made);
            fresh->Destroy();
            ASSERT_GE(made, silenceOut + got);
            double worstNoise = 0.0, worstSine = 0.0;
            for (size_t i = 0; i < got; ++i) {
                worstNoise = std::max(worstNoise, double(std::fabs(bl[i] - fl[silenceOut + i])));
                // Unaligned, the frames next to the stretch's ends sit at
                // other times against its edges, where the filter rings.
                if (k.aligned || (i >= 20 && i + 20 < got))
                    worstSine = std::max(worstSine, double(std::fabs(br[i] - fr[silenceOut + i])));
            }
            if (k.aligned) {
                EXPECT_LT(worstNoise, 1e-6) << "stretch " << stretch;
                EXPECT_LT(worstSine, 1e-6) << "stretch " << stretch;
            } else {
                // Half a frame of a sine of 0.01 radians a frame.
                EXPECT_LT(worstSine, 0.01) << "stretch " << stretch;
            }
        }
        bridged->Destroy();
    }
}

// Once the FIFOs and soxr have settled, Process takes no memory: in steady
// state, across bypass changes (each a flush) and across drains, at the
// engine's rate and through both resamplers.
TEST(BlockBridge, ProcessAllocatesNothingOnceSettledBypassChangesAndDrainsIncluded)
{
    for (uint32_t rate : {44100u, 48000u}) {
        for (uint32_t maxFrames : {128u, 1024u, 2048u}) {
            SCOPED_TRACE(testing::Message() << rate << " Hz, " << maxFrames << " frames");
            BlockBridge bridge;
            ASSERT_TRUE(bridge.Init(maxFrames, 2, rate, 44100, kBlock));
            LateEngine engine;
            std::vector<float> block(2 * size_t(maxFrames));
            std::mt19937 rng(9);
            size_t phase = 0;
            for (int i = 0; i < 600; ++i) {
                for (uint32_t f = 0; f < maxFrames; ++f, ++phase)
                    block[f] = block[maxFrames + f] = 0.3f * float(std::sin(0.02 * double(phase)));
                // Bypass changes now and then, a drain now and then (the
                // drain passes run until the bridge lets the stream end).
                if (i > 100 && rng() % 10 == 0)
                    bridge.SetBypass(!bridge.Bypass());
                const bool drain = i > 100 && rng() % 25 == 0;
                testsupport::AllocationCounter counter;
                uint32_t count = maxFrames;
                bool draining = drain;
                bridge.Process(engine, block.data(), &draining, &count);
                for (int guard = 0; drain && !draining && guard < 10000; ++guard) {
                    count = 0;
                    draining = true;
                    bridge.Process(engine, block.data(), &draining, &count);
                }
                if (i >= 50) {
                    ASSERT_EQ(counter.Count(), 0u) << "allocated at block " << i;
                    ASSERT_EQ(counter.Frees(), 0u) << "freed at block " << i;
                }
            }
        }
    }
}

TEST(BlockBridge, InitRefusesWhatItCannotServe)
{
    BlockBridge bridge;
    EXPECT_FALSE(bridge.Init(0, 2, 44100, 44100, kBlock));
    EXPECT_FALSE(bridge.Init(256, 0, 44100, 44100, kBlock));
    EXPECT_FALSE(bridge.Init(256, 2, 0, 44100, kBlock));
    EXPECT_FALSE(bridge.Init(256, 2, 44100, 0, kBlock));
    EXPECT_FALSE(bridge.Init(256, 2, 44100, 44100, 0));
    EXPECT_FALSE(bridge.Init(256, 9, 44100, 44100, kBlock));
    // Beyond soxr's ratio of 256.
    EXPECT_FALSE(bridge.Init(256, 2, 100, 44100, kBlock));
    EXPECT_FALSE(bridge.Ready());
    EXPECT_TRUE(bridge.Init(1, 2, 44100, 44100, kBlock));
    EXPECT_FALSE(bridge.Resampling());
    EXPECT_TRUE(bridge.Init(1, 2, 8000, 44100, kBlock));
    EXPECT_TRUE(bridge.Resampling());
}

}  // namespace
