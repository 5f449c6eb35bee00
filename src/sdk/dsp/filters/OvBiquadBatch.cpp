#include "sdk/dsp/filters/OvBiquadBatch.h"

#include <algorithm>

#include "ov/OvCpuInfo.h"

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define OV_BATCH_SSE2 1
#endif

#if OV_BATCH_SSE2 && (defined(__GNUC__) || defined(__clang__)) && (defined(__x86_64__) || defined(__i386__))
#include <immintrin.h>
#define OV_BATCH_AVX 1
#define OV_AVX_INLINE __attribute__((target("avx"), always_inline)) inline
#endif

namespace {

// Where a job's four-sample steps start, after its scalar head.
struct Body {
    float* pSteps;
    uint32_t uHead;
    uint32_t uSteps;
};

// Runs every job's scalar head, as Run would cut it, and returns the number
// of four-sample steps that all jobs have.
uint32_t RunHeads(const OvBiquadJob* in_pJobs, uint32_t in_uNumJobs, Body* out_pBodies)
{
    uint32_t uCommon = in_uNumJobs != 0 ? 0xFFFFFFFFu : 0u;
    for (uint32_t j = 0; j < in_uNumJobs; ++j) {
        const OvBiquadJob& job = in_pJobs[j];
        uint32_t uHead = 0;
        const uintptr_t uMisalign = reinterpret_cast<uintptr_t>(job.pSamples) % 16;
        if (uMisalign != 0) {
            uHead = std::min(uint32_t((16 - uMisalign) / 4), job.uFrames);
            job.pCoefs->RunScalar(job.pSamples, uHead, *job.pState);
        }
        const uint32_t uSteps = (job.uFrames - uHead) / 4;
        out_pBodies[j] = {job.pSamples + uHead, uHead, uSteps};
        uCommon = std::min(uCommon, uSteps);
    }
    return uCommon;
}

// The steps beyond the common count and the scalar tails, job by job.
void RunRests(const OvBiquadJob* in_pJobs, uint32_t in_uNumJobs, const Body* in_pBodies, uint32_t in_uDone)
{
    for (uint32_t j = 0; j < in_uNumJobs; ++j) {
        const OvBiquadJob& job = in_pJobs[j];
        const Body& body = in_pBodies[j];
        if (body.uSteps > in_uDone)
            job.pCoefs->RunFourSamples(body.pSteps + 4 * in_uDone, 4 * (body.uSteps - in_uDone), *job.pState);
        const uint32_t uTail = job.uFrames - body.uHead - 4 * body.uSteps;
        if (uTail != 0)
            job.pCoefs->RunScalar(body.pSteps + 4 * body.uSteps, uTail, *job.pState);
    }
}

#if OV_BATCH_SSE2

// One job's four-sample form, step by step; the arithmetic and its order are
// those of OvBiquadCoefs::RunFourSamples.
struct SseLane {
    __m128 x1, x2, y1, y2;
    const float* pRows;
    float* p;
};

inline SseLane LoadSse(const OvBiquadJob& in_job, float* in_p)
{
    const OvBiquadState& s = *in_job.pState;
    return {_mm_set1_ps(s.x1), _mm_set1_ps(s.x2), _mm_set1_ps(s.y1), _mm_set1_ps(s.y2), in_job.pCoefs->Rows(), in_p};
}

inline void StoreSse(const SseLane& in_lane, const OvBiquadJob& io_job)
{
    *io_job.pState = {_mm_cvtss_f32(in_lane.x1), _mm_cvtss_f32(in_lane.x2), _mm_cvtss_f32(in_lane.y1),
                      _mm_cvtss_f32(in_lane.y2)};
}

#define OV_SSE_STEP_BODY                                                                                    \
    const float* r = io_lane.pRows;                                                                         \
    const __m128 x = _mm_loadu_ps(io_lane.p + in_i);                                                        \
    const __m128 xn0 = _mm_shuffle_ps(x, x, _MM_SHUFFLE(0, 0, 0, 0));                                        \
    const __m128 xn1 = _mm_shuffle_ps(x, x, _MM_SHUFFLE(1, 1, 1, 1));                                        \
    const __m128 xn2 = _mm_shuffle_ps(x, x, _MM_SHUFFLE(2, 2, 2, 2));                                        \
    __m128 acc = _mm_add_ps(_mm_mul_ps(_mm_load_ps(r), x), _mm_mul_ps(_mm_load_ps(r + 4), xn2));            \
    acc = _mm_add_ps(acc, _mm_add_ps(_mm_mul_ps(_mm_load_ps(r + 8), xn1), _mm_mul_ps(_mm_load_ps(r + 12), xn0))); \
    acc = _mm_add_ps(acc, _mm_add_ps(_mm_mul_ps(_mm_load_ps(r + 16), io_lane.x1),                           \
                                     _mm_mul_ps(_mm_load_ps(r + 20), io_lane.x2)));                         \
    const __m128 y = _mm_add_ps(acc, _mm_add_ps(_mm_mul_ps(_mm_load_ps(r + 24), io_lane.y1),                \
                                                _mm_mul_ps(_mm_load_ps(r + 28), io_lane.y2)));              \
    _mm_storeu_ps(io_lane.p + in_i, y);                                                                     \
    io_lane.x1 = _mm_shuffle_ps(x, x, _MM_SHUFFLE(3, 3, 3, 3));                                              \
    io_lane.x2 = xn2;                                                                                       \
    io_lane.y1 = _mm_shuffle_ps(y, y, _MM_SHUFFLE(3, 3, 3, 3));                                              \
    io_lane.y2 = _mm_shuffle_ps(y, y, _MM_SHUFFLE(2, 2, 2, 2));

inline void StepSse(SseLane& io_lane, uint32_t in_i)
{
    OV_SSE_STEP_BODY
}

// T_JOBS jobs (1 or 2) over in_uSteps common steps. Two jobs already keep
// the SSE units busy; more only add register pressure.
template <uint32_t T_JOBS>
void RunSseGroup(const OvBiquadJob* in_pJobs, const Body* in_pBodies, uint32_t in_uSteps)
{
    SseLane a = LoadSse(in_pJobs[0], in_pBodies[0].pSteps);
    SseLane b = T_JOBS > 1 ? LoadSse(in_pJobs[1], in_pBodies[1].pSteps) : a;
    for (uint32_t i = 0; i < 4 * in_uSteps; i += 4) {
        StepSse(a, i);
        if (T_JOBS > 1)
            StepSse(b, i);
    }
    StoreSse(a, in_pJobs[0]);
    if (T_JOBS > 1)
        StoreSse(b, in_pJobs[1]);
}

// A job and the next filter of its cascade on the same samples, the second
// one step behind.
void RunSseCascade(const OvBiquadJob& in_first, const Body& in_firstBody, const OvBiquadJob& in_second,
                   const Body& in_secondBody, uint32_t in_uSteps)
{
    SseLane a = LoadSse(in_first, in_firstBody.pSteps);
    SseLane b = LoadSse(in_second, in_secondBody.pSteps);
    StepSse(a, 0);
    for (uint32_t i = 4; i < 4 * in_uSteps; i += 4) {
        StepSse(a, i);
        StepSse(b, i - 4);
    }
    StepSse(b, 4 * in_uSteps - 4);
    StoreSse(a, in_first);
    StoreSse(b, in_second);
}

#endif  // OV_BATCH_SSE2

#if OV_BATCH_AVX

// Two jobs in one 256-bit register: the first in the low half, the second in
// the high half, each half doing exactly what one SSE lane does. No fused
// multiply-add: the target is AVX alone, so the products round as in SSE.
struct AvxPair {
    __m256 rows[8];
    __m256 x1, x2, y1, y2;
    float* pLow;
    float* pHigh;
};

OV_AVX_INLINE __m256 Join(__m128 in_low, __m128 in_high)
{
    return _mm256_insertf128_ps(_mm256_castps128_ps256(in_low), in_high, 1);
}

OV_AVX_INLINE void LoadAvx(AvxPair& out_pair, const OvBiquadJob& in_low, float* in_pLow, const OvBiquadJob& in_high,
                           float* in_pHigh)
{
    const float* rl = in_low.pCoefs->Rows();
    const float* rh = in_high.pCoefs->Rows();
    for (int k = 0; k < 8; ++k)
        out_pair.rows[k] = Join(_mm_load_ps(rl + 4 * k), _mm_load_ps(rh + 4 * k));
    const OvBiquadState& l = *in_low.pState;
    const OvBiquadState& h = *in_high.pState;
    out_pair.x1 = Join(_mm_set1_ps(l.x1), _mm_set1_ps(h.x1));
    out_pair.x2 = Join(_mm_set1_ps(l.x2), _mm_set1_ps(h.x2));
    out_pair.y1 = Join(_mm_set1_ps(l.y1), _mm_set1_ps(h.y1));
    out_pair.y2 = Join(_mm_set1_ps(l.y2), _mm_set1_ps(h.y2));
    out_pair.pLow = in_pLow;
    out_pair.pHigh = in_pHigh;
}

OV_AVX_INLINE float Low(__m256 in_v)
{
    return _mm_cvtss_f32(_mm256_castps256_ps128(in_v));
}

OV_AVX_INLINE float High(__m256 in_v)
{
    return _mm_cvtss_f32(_mm256_extractf128_ps(in_v, 1));
}

OV_AVX_INLINE void StoreAvx(const AvxPair& in_pair, const OvBiquadJob& io_low, const OvBiquadJob& io_high)
{
    *io_low.pState = {Low(in_pair.x1), Low(in_pair.x2), Low(in_pair.y1), Low(in_pair.y2)};
    *io_high.pState = {High(in_pair.x1), High(in_pair.x2), High(in_pair.y1), High(in_pair.y2)};
}

OV_AVX_INLINE void StepAvx(AvxPair& io_pair, uint32_t in_i)
{
    const __m256* r = io_pair.rows;
    const __m256 x = Join(_mm_loadu_ps(io_pair.pLow + in_i), _mm_loadu_ps(io_pair.pHigh + in_i));
    const __m256 xn0 = _mm256_permute_ps(x, _MM_SHUFFLE(0, 0, 0, 0));
    const __m256 xn1 = _mm256_permute_ps(x, _MM_SHUFFLE(1, 1, 1, 1));
    const __m256 xn2 = _mm256_permute_ps(x, _MM_SHUFFLE(2, 2, 2, 2));
    __m256 acc = _mm256_add_ps(_mm256_mul_ps(r[0], x), _mm256_mul_ps(r[1], xn2));
    acc = _mm256_add_ps(acc, _mm256_add_ps(_mm256_mul_ps(r[2], xn1), _mm256_mul_ps(r[3], xn0)));
    acc = _mm256_add_ps(acc, _mm256_add_ps(_mm256_mul_ps(r[4], io_pair.x1), _mm256_mul_ps(r[5], io_pair.x2)));
    const __m256 y =
        _mm256_add_ps(acc, _mm256_add_ps(_mm256_mul_ps(r[6], io_pair.y1), _mm256_mul_ps(r[7], io_pair.y2)));
    _mm_storeu_ps(io_pair.pLow + in_i, _mm256_castps256_ps128(y));
    _mm_storeu_ps(io_pair.pHigh + in_i, _mm256_extractf128_ps(y, 1));
    io_pair.x1 = _mm256_permute_ps(x, _MM_SHUFFLE(3, 3, 3, 3));
    io_pair.x2 = xn2;
    io_pair.y1 = _mm256_permute_ps(y, _MM_SHUFFLE(3, 3, 3, 3));
    io_pair.y2 = _mm256_permute_ps(y, _MM_SHUFFLE(2, 2, 2, 2));
}

OV_AVX_INLINE void StepSseInAvx(SseLane& io_lane, uint32_t in_i)
{
    OV_SSE_STEP_BODY
}

// T_PAIRS pairs (1 or 2) and T_SINGLE lone jobs (0 or 1), in that order.
template <uint32_t T_PAIRS, uint32_t T_SINGLE>
__attribute__((target("avx"))) void RunAvxGroup(const OvBiquadJob* in_pJobs, const Body* in_pBodies,
                                                uint32_t in_uSteps)
{
    AvxPair p[T_PAIRS];
    for (uint32_t k = 0; k < T_PAIRS; ++k)
        LoadAvx(p[k], in_pJobs[2 * k], in_pBodies[2 * k].pSteps, in_pJobs[2 * k + 1], in_pBodies[2 * k + 1].pSteps);
    const uint32_t s = 2 * T_PAIRS;
    SseLane lone = LoadSse(in_pJobs[T_SINGLE ? s : 0], in_pBodies[T_SINGLE ? s : 0].pSteps);
    for (uint32_t i = 0; i < 4 * in_uSteps; i += 4) {
        StepAvx(p[0], i);
        if (T_PAIRS > 1)
            StepAvx(p[T_PAIRS > 1 ? 1 : 0], i);
        if (T_SINGLE)
            StepSseInAvx(lone, i);
    }
    for (uint32_t k = 0; k < T_PAIRS; ++k)
        StoreAvx(p[k], in_pJobs[2 * k], in_pJobs[2 * k + 1]);
    if (T_SINGLE)
        StoreSse(lone, in_pJobs[s]);
}

// Two jobs and the next filters of their cascades, the second pair one step
// behind the first.
__attribute__((target("avx"))) void RunAvxCascade(const OvBiquadJob* in_pFirst, const Body* in_pFirstBodies,
                                                  const OvBiquadJob* in_pSecond, const Body* in_pSecondBodies,
                                                  uint32_t in_uSteps)
{
    AvxPair a, b;
    LoadAvx(a, in_pFirst[0], in_pFirstBodies[0].pSteps, in_pFirst[1], in_pFirstBodies[1].pSteps);
    LoadAvx(b, in_pSecond[0], in_pSecondBodies[0].pSteps, in_pSecond[1], in_pSecondBodies[1].pSteps);
    StepAvx(a, 0);
    for (uint32_t i = 4; i < 4 * in_uSteps; i += 4) {
        StepAvx(a, i);
        StepAvx(b, i - 4);
    }
    StepAvx(b, 4 * in_uSteps - 4);
    StoreAvx(a, in_pFirst[0], in_pFirst[1]);
    StoreAvx(b, in_pSecond[0], in_pSecond[1]);
}

#endif  // OV_BATCH_AVX

}  // namespace

void OvBiquadBatch::Add(const OvBiquadCoefs& in_coefs, float* io_pSamples, uint32_t in_uFrames,
                        OvBiquadState& io_state)
{
    if (m_uNumJobs == kMaxJobs)
        Run();
    m_jobs[m_uNumJobs++] = {&in_coefs, io_pSamples, &io_state, in_uFrames};
}

void OvBiquadBatch::NextStage()
{
    m_uStage = m_uNumJobs;
}

void OvBiquadBatch::Run()
{
    const uint32_t uStage = m_uStage;
    const uint32_t uNumJobs = m_uNumJobs;
    m_uStage = 0;
    m_uNumJobs = 0;
    if (uStage == 0 || uStage == uNumJobs) {
        RunJobs(m_jobs, uNumJobs);
        return;
    }
    // Pair each second-stage job with the first-stage job on its samples;
    // the others touch samples no job of the other stage touches.
    OvBiquadJob first[kMaxJobs], second[kMaxJobs], rest[kMaxJobs];
    bool bPaired[kMaxJobs] = {};
    uint32_t uPairs = 0, uRest = 0;
    for (uint32_t k = uStage; k < uNumJobs; ++k) {
        uint32_t j = 0;
        while (j < uStage && (bPaired[j] || m_jobs[j].pSamples != m_jobs[k].pSamples))
            ++j;
        if (j == uStage) {
            rest[uRest++] = m_jobs[k];
        } else if (m_jobs[j].uFrames != m_jobs[k].uFrames) {
            // Not a cascade of one buffer: stage after stage.
            RunJobs(m_jobs, uStage);
            RunJobs(m_jobs + uStage, uNumJobs - uStage);
            return;
        } else {
            bPaired[j] = true;
            first[uPairs] = m_jobs[j];
            second[uPairs++] = m_jobs[k];
        }
    }
    for (uint32_t j = 0; j < uStage; ++j)
        if (!bPaired[j])
            rest[uRest++] = m_jobs[j];
    RunCascades(first, second, uPairs, HasAvx());
    RunJobs(rest, uRest);
}

void OvBiquadBatch::RunCascades(const OvBiquadJob* in_pFirst, const OvBiquadJob* in_pSecond, uint32_t in_uNumPairs,
                                bool in_bAvx)
{
#if OV_BATCH_SSE2
    while (in_uNumPairs > kMaxJobs) {
        RunCascades(in_pFirst, in_pSecond, kMaxJobs, in_bAvx);
        in_pFirst += kMaxJobs;
        in_pSecond += kMaxJobs;
        in_uNumPairs -= kMaxJobs;
    }
    Body firstBodies[kMaxJobs], secondBodies[kMaxJobs];
    // The heads in cascade order: every first job's, then every second's.
    const uint32_t uFirstSteps = RunHeads(in_pFirst, in_uNumPairs, firstBodies);
    const uint32_t uSteps = std::min(uFirstSteps, RunHeads(in_pSecond, in_uNumPairs, secondBodies));
    uint32_t j = 0;
    if (uSteps != 0) {
#if OV_BATCH_AVX
        if (in_bAvx && HasAvx())
            for (; j + 2 <= in_uNumPairs; j += 2)
                RunAvxCascade(in_pFirst + j, firstBodies + j, in_pSecond + j, secondBodies + j, uSteps);
#else
        (void)in_bAvx;
#endif
        for (; j < in_uNumPairs; ++j)
            RunSseCascade(in_pFirst[j], firstBodies[j], in_pSecond[j], secondBodies[j], uSteps);
    }
    RunRests(in_pFirst, in_uNumPairs, firstBodies, uSteps);
    RunRests(in_pSecond, in_uNumPairs, secondBodies, uSteps);
#else
    (void)in_bAvx;
    RunJobsSse2(in_pFirst, in_uNumPairs);
    RunJobsSse2(in_pSecond, in_uNumPairs);
#endif
}

bool OvBiquadBatch::HasAvx()
{
#if OV_BATCH_AVX
    static const bool s_bAvx = OvCpuInfo::Get().HasFeature(OV_CPU_AVX);
    return s_bAvx;
#else
    return false;
#endif
}

void OvBiquadBatch::RunJobs(const OvBiquadJob* in_pJobs, uint32_t in_uNumJobs)
{
    if (HasAvx())
        RunJobsAvx(in_pJobs, in_uNumJobs);
    else
        RunJobsSse2(in_pJobs, in_uNumJobs);
}

void OvBiquadBatch::RunJobsSse2(const OvBiquadJob* in_pJobs, uint32_t in_uNumJobs)
{
#if OV_BATCH_SSE2
    while (in_uNumJobs != 0) {
        const uint32_t uJobs = std::min<uint32_t>(in_uNumJobs, kMaxJobs);
        Body bodies[kMaxJobs];
        const uint32_t uSteps = RunHeads(in_pJobs, uJobs, bodies);
        if (uSteps != 0) {
            uint32_t j = 0;
            for (; j + 2 <= uJobs; j += 2)
                RunSseGroup<2>(in_pJobs + j, bodies + j, uSteps);
            if (j < uJobs)
                RunSseGroup<1>(in_pJobs + j, bodies + j, uSteps);
        }
        RunRests(in_pJobs, uJobs, bodies, uSteps);
        in_pJobs += uJobs;
        in_uNumJobs -= uJobs;
    }
#else
    for (uint32_t j = 0; j < in_uNumJobs; ++j)
        in_pJobs[j].pCoefs->Run(in_pJobs[j].pSamples, in_pJobs[j].uFrames, *in_pJobs[j].pState);
#endif
}

void OvBiquadBatch::RunJobsAvx(const OvBiquadJob* in_pJobs, uint32_t in_uNumJobs)
{
#if OV_BATCH_AVX
    if (!HasAvx()) {
        RunJobsSse2(in_pJobs, in_uNumJobs);
        return;
    }
    while (in_uNumJobs != 0) {
        const uint32_t uJobs = std::min<uint32_t>(in_uNumJobs, kMaxJobs);
        Body bodies[kMaxJobs];
        const uint32_t uSteps = RunHeads(in_pJobs, uJobs, bodies);
        if (uSteps != 0) {
            uint32_t j = 0;
            for (; j + 4 <= uJobs; j += 4)
                RunAvxGroup<2, 0>(in_pJobs + j, bodies + j, uSteps);
            switch (uJobs - j) {
            case 3: RunAvxGroup<1, 1>(in_pJobs + j, bodies + j, uSteps); break;
            case 2: RunAvxGroup<1, 0>(in_pJobs + j, bodies + j, uSteps); break;
            case 1: RunSseGroup<1>(in_pJobs + j, bodies + j, uSteps); break;
            default: break;
            }
        }
        RunRests(in_pJobs, uJobs, bodies, uSteps);
        in_pJobs += uJobs;
        in_uNumJobs -= uJobs;
    }
#else
    RunJobsSse2(in_pJobs, in_uNumJobs);
#endif
}
