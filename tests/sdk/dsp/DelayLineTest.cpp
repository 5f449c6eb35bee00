// DelayLine: the delay equals the length (at least 4), however the input is
// cut into pieces, in both the in-place and the two-buffer form.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "ov/IOvMemAlloc.h"
#include "sdk/dsp/DelayLine.h"

namespace {

// Aligned heap that counts what is live and can be told to fail.
class CountingAllocator : public IOvMemAlloc {
public:
    void* Malloc(size_t in_uSize) override
    {
        if (fail)
            return nullptr;
        ++live;
        return std::aligned_alloc(16, (in_uSize + 15) & ~size_t(15));
    }
    void Free(void* in_pMemory) override
    {
        if (in_pMemory)
            --live;
        std::free(in_pMemory);
    }
    void* MallocWithHint(size_t in_uSize, uint32_t) override { return Malloc(in_uSize); }

    int live = 0;
    bool fail = false;
};

TEST(DelayLine, DelaysByItsLengthWithAFloorOfFourWhateverTheChunking)
{
    std::mt19937 rng(1234);
    std::uniform_real_distribution<float> sample(-1.0f, 1.0f);
    std::uniform_int_distribution<uint32_t> piece(1, 37);
    CountingAllocator allocator;
    for (uint32_t length : {0u, 1u, 3u, 4u, 5u, 6u, 7u, 8u, 13u, 64u, 441u, 2205u}) {
        const uint32_t expectedDelay = length < 4 ? 4 : length;
        std::vector<float> input(3 * expectedDelay + 200);
        for (float& x : input)
            x = sample(rng);
        for (int form = 0; form < 2; ++form) {
            DelayLine line;
            ASSERT_EQ(line.Init(&allocator, length), OV_Success);
            EXPECT_EQ(line.uDelayLineLength, expectedDelay);
            line.Reset();
            std::vector<float> output(input.size());
            for (size_t pos = 0; pos < input.size();) {
                const size_t n = std::min<size_t>(piece(rng), input.size() - pos);
                if (form == 0) {
                    std::copy(input.begin() + pos, input.begin() + pos + n, output.begin() + pos);
                    line.ProcessBuffer(output.data() + pos, uint32_t(n));
                } else {
                    line.ProcessBuffer(input.data() + pos, output.data() + pos, uint32_t(n));
                }
                pos += n;
                ASSERT_LE(line.uCurOffset, line.uDelayLineLength);
            }
            for (size_t i = 0; i < input.size(); ++i) {
                const float expected = i < expectedDelay ? 0.0f : input[i - expectedDelay];
                ASSERT_EQ(output[i], expected) << "length " << length << " form " << form << " at " << i;
            }
            line.Shutdown(&allocator);
            EXPECT_FALSE(line.HasMemory());
        }
    }
    EXPECT_EQ(allocator.live, 0);
}

TEST(DelayLine, ResetSilencesAndFailedAllocationLeavesNoLine)
{
    CountingAllocator allocator;
    DelayLine line;
    ASSERT_EQ(line.Init(&allocator, 10), OV_Success);
    line.Reset();
    std::vector<float> block(10, 1.0f);
    line.ProcessBuffer(block.data(), 10);
    line.Reset();
    line.ProcessBuffer(block.data(), 10);
    for (float x : block)
        EXPECT_EQ(x, 0.0f);

    // A second Init replaces the memory instead of leaking it.
    ASSERT_EQ(line.Init(&allocator, 20), OV_Success);
    EXPECT_EQ(allocator.live, 1);
    line.Shutdown(&allocator);
    EXPECT_EQ(allocator.live, 0);

    allocator.fail = true;
    EXPECT_EQ(line.Init(&allocator, 10), OV_OutOfMemory);
    EXPECT_FALSE(line.HasMemory());
    line.Reset();
    line.ProcessBuffer(block.data(), 10);  // no memory: nothing happens
}

}  // namespace
