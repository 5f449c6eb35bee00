// Jobs run side by side, and cascades run a step apart, give exactly the bits
// of the same filters run one by one, for every kernel the processor has,
// whatever the number of jobs, their lengths (each its own) and their
// buffers' alignment.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <iterator>
#include <random>
#include <vector>

#include "sdk/dsp/filters/OvBiquadBatch.h"

namespace {

TEST(OvBiquadBatch, EveryKernelMatchesTheFiltersRunOneByOneBitForBit)
{
    const uint32_t kLengths[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 255, 256, 257};
    constexpr uint32_t kRoom = 272;
    std::mt19937 rng(99);
    std::uniform_real_distribution<float> sample(-1.0f, 1.0f), radius(0.0f, 0.98f), angle(0.0f, 3.14159f),
        b(-2.0f, 2.0f);
    typedef void (*Kernel)(const OvBiquadJob*, uint32_t);
    std::vector<Kernel> kernels = {&OvBiquadBatch::RunJobsSse2, &OvBiquadBatch::RunJobs};
    if (OvBiquadBatch::HasAvx())
        kernels.push_back(&OvBiquadBatch::RunJobsAvx);
    for (uint32_t numJobs = 1; numJobs <= OvBiquadBatch::kMaxJobs + 2; ++numJobs) {
        for (uint32_t trial = 0; trial < 12; ++trial) {
            SCOPED_TRACE(::testing::Message() << numJobs << " jobs, trial " << trial);
            std::vector<OvBiquadCoefs> coefs(numJobs);
            std::vector<OvBiquadState> start(numJobs);
            std::vector<uint32_t> frames(numJobs), offset(numJobs);
            std::vector<float> input(numJobs * kRoom);
            for (uint32_t j = 0; j < numJobs; ++j) {
                const float r = radius(rng), theta = angle(rng);
                coefs[j].SetCoefs(b(rng), b(rng), b(rng), -2.0f * r * std::cos(theta), r * r);
                start[j] = {sample(rng), sample(rng), sample(rng), sample(rng)};
                // The same length for all jobs in half the trials, one's own in the rest.
                frames[j] = kLengths[(trial % 2 ? rng() : trial) % std::size(kLengths)];
                offset[j] = (trial + (trial % 3 == 0 ? 0 : j)) % 4;
                for (uint32_t i = 0; i < kRoom; ++i)
                    input[j * kRoom + i] = sample(rng);
            }
            // The reference: each filter on its own.
            std::vector<float> expected = input;
            std::vector<OvBiquadState> expectedState = start;
            for (uint32_t j = 0; j < numJobs; ++j)
                coefs[j].Run(&expected[j * kRoom + offset[j]], frames[j], expectedState[j]);
            for (Kernel kernel : kernels) {
                std::vector<float> io = input;
                std::vector<OvBiquadState> state = start;
                std::vector<OvBiquadJob> jobs(numJobs);
                for (uint32_t j = 0; j < numJobs; ++j)
                    jobs[j] = {&coefs[j], &io[j * kRoom + offset[j]], &state[j], frames[j]};
                kernel(jobs.data(), numJobs);
                ASSERT_EQ(std::memcmp(io.data(), expected.data(), io.size() * sizeof(float)), 0);
                ASSERT_EQ(std::memcmp(state.data(), expectedState.data(), state.size() * sizeof(OvBiquadState)), 0);
            }
            // The collecting form, which runs a full batch before it takes more.
            std::vector<float> io = input;
            std::vector<OvBiquadState> state = start;
            {
                OvBiquadBatch batch;
                for (uint32_t j = 0; j < numJobs; ++j)
                    batch.Add(coefs[j], &io[j * kRoom + offset[j]], frames[j], state[j]);
            }
            ASSERT_EQ(std::memcmp(io.data(), expected.data(), io.size() * sizeof(float)), 0);

            // Cascades: a second filter after the first on the samples of
            // most jobs, run a step behind it; as the collecting form's second
            // stage and through each cascade kernel.
            std::vector<OvBiquadCoefs> next(numJobs);
            std::vector<OvBiquadState> nextStart(numJobs);
            for (uint32_t j = 0; j < numJobs; ++j) {
                next[j].SetCoefs(b(rng), b(rng), b(rng), -0.5f, 0.25f);
                nextStart[j] = {sample(rng), sample(rng), sample(rng), sample(rng)};
            }
            std::vector<float> expectedCascade = expected;
            std::vector<OvBiquadState> expectedNext = nextStart;
            for (uint32_t j = 0; j < numJobs; ++j)
                if (j % 3 != 2)
                    next[j].Run(&expectedCascade[j * kRoom + offset[j]], frames[j], expectedNext[j]);
            for (int form = 0; form < 3; ++form) {
                SCOPED_TRACE(form);
                io = input;
                state = start;
                std::vector<OvBiquadState> nextState = nextStart;
                std::vector<OvBiquadJob> firstJobs, secondJobs;
                for (uint32_t j = 0; j < numJobs; ++j)
                    firstJobs.push_back({&coefs[j], &io[j * kRoom + offset[j]], &state[j], frames[j]});
                for (uint32_t j = 0; j < numJobs; ++j)
                    if (j % 3 != 2)
                        secondJobs.push_back({&next[j], &io[j * kRoom + offset[j]], &nextState[j], frames[j]});
                if (form == 0) {
                    OvBiquadBatch batch;
                    for (const OvBiquadJob& job : firstJobs)
                        batch.Add(*job.pCoefs, job.pSamples, job.uFrames, *job.pState);
                    batch.NextStage();
                    for (const OvBiquadJob& job : secondJobs)
                        batch.Add(*job.pCoefs, job.pSamples, job.uFrames, *job.pState);
                } else {
                    // Only the cascaded jobs, first-stage ones alone beforehand.
                    std::vector<OvBiquadJob> paired, alone;
                    for (uint32_t j = 0; j < numJobs; ++j)
                        (j % 3 != 2 ? paired : alone).push_back(firstJobs[j]);
                    OvBiquadBatch::RunJobs(alone.data(), uint32_t(alone.size()));
                    OvBiquadBatch::RunCascades(paired.data(), secondJobs.data(), uint32_t(paired.size()), form == 2);
                }
                ASSERT_EQ(std::memcmp(io.data(), expectedCascade.data(), io.size() * sizeof(float)), 0);
                ASSERT_EQ(std::memcmp(nextState.data(), expectedNext.data(), nextState.size() * sizeof(OvBiquadState)),
                          0);
            }
        }
    }
}

}  // namespace
