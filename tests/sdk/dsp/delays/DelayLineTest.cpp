// DelayLine: the delay equals the length (at least 4), however the input is
// cut into pieces, in both the in-place and the two-buffer form.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "ov/OvMemAllocDefault.h"
#include "sdk/dsp/delays/DelayLine.h"

namespace {

struct FailingAllocator : IOvMemAlloc {
    void* Malloc(size_t) override { return nullptr; }
    void Free(void*) override {}
    void* MallocWithHint(size_t, uint32_t) override { return nullptr; }
};

TEST(DelayLine, DelaysByItsLengthWithAFloorOfFourWhateverTheChunking)
{
    std::mt19937 rng(1234);
    std::uniform_real_distribution<float> sample(-1.0f, 1.0f);
    std::uniform_int_distribution<uint32_t> piece(1, 37);
    for (uint32_t length : {0u, 1u, 3u, 4u, 5u, 7u, 8u, 13u, 441u, 2205u}) {
        const uint32_t delay = length < 4 ? 4 : length;
        std::vector<float> input(3 * delay + 200);
        for (float& x : input)
            x = sample(rng);
        for (bool inPlace : {true, false}) {
            SCOPED_TRACE(testing::Message() << "length " << length << " in place " << inPlace);
            DelayLine line;
            ASSERT_EQ(line.Init(OV::DefaultAllocator(), length), OV_Success);
            line.Reset();
            std::vector<float> output(inPlace ? input : std::vector<float>(input.size()));
            for (size_t pos = 0, n = 0; pos < input.size(); pos += n) {
                // Pieces shorter and longer than the line.
                n = std::min<size_t>(pos % 3 ? piece(rng) : 7 * piece(rng) + 300, input.size() - pos);
                if (inPlace)
                    line.ProcessBuffer(output.data() + pos, uint32_t(n));
                else
                    line.ProcessBuffer(input.data() + pos, output.data() + pos, uint32_t(n));
            }
            for (size_t i = 0; i < input.size(); ++i)
                ASSERT_EQ(output[i], i < delay ? 0.0f : input[i - delay]) << "at " << i;
            line.Reset();  // silences what is stored
            line.ProcessBuffer(output.data(), delay);
            EXPECT_EQ(std::count(output.begin(), output.begin() + delay, 0.0f), std::ptrdiff_t(delay));
            // A second Init replaces the memory (the sanitizer build catches a leak).
            ASSERT_EQ(line.Init(OV::DefaultAllocator(), length + 8), OV_Success);
            line.Shutdown(OV::DefaultAllocator());
        }
    }
    FailingAllocator failing;
    DelayLine line;
    EXPECT_EQ(line.Init(&failing, 10), OV_OutOfMemory);
    EXPECT_FALSE(line.HasMemory());
    std::vector<float> block(10, 1.0f);
    line.Reset();
    line.ProcessBuffer(block.data(), 10);  // no memory: nothing happens
}

}  // namespace
