// The one-pass echo against the same work done step by step with the shared
// blocks (dry gain, fed-back block, DelayLine::ProcessBuffer, wet mix, the
// fed-back copy held to +-1000 with NaN as 0): the same bits in the block,
// the fed-back buffer and the line, over lengths that cut the four-sample
// steps and the line's wrap anywhere.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "ov/OvGainRamp.h"
#include "ov/OvMemAllocDefault.h"
#include "sdk/dsp/delays/DelayLine.h"
#include "sdk/dsp/delays/Mix2Interp.h"
#include "sdk/plugins/OvDelay/OvDelayEcho.h"

namespace {

bool SameBits(const float* a, const float* b, size_t n)
{
    return n == 0 || std::memcmp(a, b, n * sizeof(float)) == 0;
}

TEST(OvDelayEcho, OnePassHasTheBitsOfTheStepsOneByOne)
{
    std::mt19937 rng(77);
    std::uniform_real_distribution<float> sample(-1.5f, 1.5f);
    std::uniform_int_distribution<uint32_t> pick(0, 40);
    const float oddValues[] = {-0.0f, 3000.0f, -2500.0f, std::numeric_limits<float>::infinity(),
                              std::numeric_limits<float>::quiet_NaN()};
    for (uint32_t length : {4u, 5u, 7u, 13u, 64u}) {
        for (int flags = 0; flags < 4; ++flags) {
            const bool addFed = flags & 1, hold = flags & 2;
            SCOPED_TRACE(testing::Message() << "line " << length << " add " << addFed << " hold " << hold);
            DelayLine one, steps;
            ASSERT_EQ(one.Init(OV::DefaultAllocator(), length), OV_Success);
            ASSERT_EQ(steps.Init(OV::DefaultAllocator(), length), OV_Success);
            one.Reset();
            steps.Reset();
            for (int block = 0; block < 30; ++block) {
                const uint32_t frames = pick(rng);
                const float dry = block % 3 ? 0.5f + sample(rng) : 1.0f;
                const float feedback = 0.9f * sample(rng), wet = 2.0f * sample(rng);
                std::vector<float> in(frames), fed(frames);
                for (uint32_t i = 0; i < frames; ++i) {
                    in[i] = pick(rng) == 0 ? oddValues[pick(rng) % 5] : sample(rng);
                    fed[i] = pick(rng) == 0 ? oddValues[pick(rng) % 5] : sample(rng);
                }
                std::vector<float> in1 = in, fed1 = fed;
                OV::EchoOnePass(in1.data(), fed1.data(), one, frames, dry, feedback, addFed, wet, hold);

                OV::ApplyGainRamp(in.data(), dry, dry, frames);
                if (addFed)
                    for (uint32_t i = 0; i < frames; ++i)
                        in[i] += feedback * fed[i];
                steps.ProcessBuffer(in.data(), fed.data(), frames);
                OV::Mix2InterpAnyLength(in.data(), fed.data(), 1.0f, 1.0f, wet, wet, frames);
                if (hold) {
                    for (uint32_t i = 0; i < frames; ++i)
                        fed[i] = std::isnan(in[i]) ? 0.0f : std::fmax(-1000.0f, std::fmin(1000.0f, in[i]));
                    // The held copy the plug-in's ramp path makes.
                    std::vector<float> held(frames);
                    OV::HoldFedBack(in.data(), held.data(), frames);
                    ASSERT_TRUE(SameBits(held.data(), fed.data(), frames)) << "block " << block;
                }

                ASSERT_TRUE(SameBits(in1.data(), in.data(), frames)) << "block " << block;
                ASSERT_TRUE(SameBits(fed1.data(), fed.data(), frames)) << "block " << block;
                ASSERT_EQ(one.uCurOffset, steps.uCurOffset);
                ASSERT_TRUE(SameBits(one.pDelay, steps.pDelay, length)) << "block " << block;
            }
            one.Shutdown(OV::DefaultAllocator());
            steps.Shutdown(OV::DefaultAllocator());
        }
    }
}

}  // namespace
