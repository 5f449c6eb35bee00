// Runs several independent plug-in biquads side by side. One biquad's
// four-sample form is bound by the latency of its own feedback (y1, y2 into
// the next step), not by the work per step; filters that share neither
// samples nor memory can overlap their steps. Each job gives exactly the bits
// of OvBiquadCoefs::Run on its own: the same scalar head up to its buffer's
// 16-byte boundary, the same four-sample steps, the same scalar tail; only
// the interleaving differs.
//
// Two kernels: SSE2 (the default) runs two jobs' steps in one loop; AVX,
// where the processor and the operating system have it, puts two jobs'
// four-sample forms in one 256-bit register, two registers per loop (four
// jobs). The choice is made once per process.
#pragma once

#include <cstdint>

#include "sdk/dsp/filters/OvBiquadCoefs.h"

// One filter run: in place over uFrames samples, with pState as memory.
struct OvBiquadJob {
    const OvBiquadCoefs* pCoefs;
    float* pSamples;
    OvBiquadState* pState;
    uint32_t uFrames;
};

// Collects jobs that are independent of one another (no shared samples, no
// shared memory) and runs them together; after NextStage, a second stage of
// jobs that may each continue the cascade of a first-stage job on its
// samples. Holds no memory of its own beyond the fixed array; a full batch
// runs before it takes the next job.
class OvBiquadBatch {
public:
    static constexpr uint32_t kMaxJobs = 16;

    OvBiquadBatch() = default;
    ~OvBiquadBatch() { Run(); }
    OvBiquadBatch(const OvBiquadBatch&) = delete;
    OvBiquadBatch& operator=(const OvBiquadBatch&) = delete;

    void Add(const OvBiquadCoefs& in_coefs, float* io_pSamples, uint32_t in_uFrames, OvBiquadState& io_state);
    // Jobs added from here on run after those before: each on the samples
    // (and length) of one earlier job, as the next filter of its cascade, or
    // on samples no earlier job touches. A cascaded job runs one four-sample
    // step behind the job before it, in the same loop, so that both
    // recursions overlap. Once per Run; the jobs within a stage stay
    // independent of one another.
    void NextStage();
    // Runs every job added since the last Run, then starts empty.
    void Run();

    // The kernels themselves, for tests and benchmarks. RunJobsAvx needs
    // HasAvx(); RunJobs picks the kernel.
    static void RunJobs(const OvBiquadJob* in_pJobs, uint32_t in_uNumJobs);
    static void RunJobsSse2(const OvBiquadJob* in_pJobs, uint32_t in_uNumJobs);
    static void RunJobsAvx(const OvBiquadJob* in_pJobs, uint32_t in_uNumJobs);
    static bool HasAvx();
    // in_pSecond[j] runs after in_pFirst[j] on the same samples and length;
    // the pairs are independent of one another.
    static void RunCascades(const OvBiquadJob* in_pFirst, const OvBiquadJob* in_pSecond, uint32_t in_uNumPairs,
                            bool in_bAvx);

private:
    OvBiquadJob m_jobs[kMaxJobs];
    uint32_t m_uNumJobs = 0;
    uint32_t m_uStage = 0;  // first job of the second stage; 0 for none
};
