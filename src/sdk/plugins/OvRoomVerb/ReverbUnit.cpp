#include "sdk/plugins/OvRoomVerb/ReverbUnit.h"

#include <cmath>

#if defined(__SSE__) || defined(_M_X64)
#include <xmmintrin.h>
#define OV_REVERBUNIT_SSE 1
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
#include <immintrin.h>
#define OV_REVERBUNIT_AVX 1
#endif
#endif

#include "ov/OvCpuInfo.h"

// The step must be inlined for the unit states to stay in registers.
#if defined(__GNUC__)
#define OV_REVERBUNIT_INLINE inline __attribute__((always_inline))
#else
#define OV_REVERBUNIT_INLINE inline
#endif

OvResult ReverbUnit::Init(IOvMemAlloc* in_pAllocator, const uint32_t in_uLineLengths[OV_REVERBUNIT_LINES],
                          uint32_t in_uInputDelay)
{
    for (uint32_t i = 0; i < OV_REVERBUNIT_LINES; ++i)
        if (m_lines[i].Init(in_pAllocator, in_uLineLengths[i]) != OV_Success)
            return OV_OutOfMemory;
    return m_inputDelay.Init(in_pAllocator, in_uInputDelay);
}

void ReverbUnit::Term(IOvMemAlloc* in_pAllocator)
{
    for (DelayLine& line : m_lines)
        line.Shutdown(in_pAllocator);
    m_inputDelay.Shutdown(in_pAllocator);
}

void ReverbUnit::Reset()
{
    for (uint32_t i = 0; i < OV_REVERBUNIT_LINES; ++i) {
        m_lines[i].Reset();
        m_lines[i].uCurOffset = 0;
        m_filters[i].fState = 0.0f;
    }
    m_inputDelay.Reset();
}

void ReverbUnit::SetDecay(double in_dDecayTime, double in_dHFDamping, uint32_t in_uSampleRate)
{
    const double dRate = double(in_uSampleRate);
    // Gain of a line of D samples for -60 dB after T seconds, and its level in nepers * 20.
    auto lineGain = [&](double D) { return std::pow(10.0, -3.0 * D / (in_dDecayTime * dRate)); };
    auto lineK = [&](double g) { return 20.0 * std::log10(g) * std::log(10.0); };

    const double kLongest = lineK(lineGain(double(m_lines[OV_REVERBUNIT_LINES - 1].uDelayLineLength))) / 80.0;
    const double q = 1.0 - in_dHFDamping * in_dHFDamping;
    const double alpha = std::sqrt(1.0 - (kLongest * q > 1.0 ? 1.0 / kLongest : q));
    for (uint32_t i = 0; i < OV_REVERBUNIT_LINES; ++i) {
        const double g = lineGain(double(m_lines[i].uDelayLineLength));
        double a = lineK(g) / 80.0 * (1.0 - alpha * alpha);
        if (a > 0.999)
            a = 0.999;
        // Below 1 the damping lifts the highs (a < 0); the gain at Nyquist,
        // g (1 - a) / (1 + a), would pass 1 below a = -(1 - g) / (1 + g) and
        // the loop would grow. Only the top is held in the classic setup; the
        // bottom is held here, where a short decay would cross it.
        const double aLowest = -(1.0 - g) / (1.0 + g);
        if (!(a >= aLowest))
            a = aLowest;
        m_filters[i].fB0 = float(g * (1.0 - a));
        m_filters[i].fA1 = float(-a);
    }
}

uint32_t ReverbUnit::SegmentLength(uint32_t in_uFrames) const
{
    uint32_t n = in_uFrames;
    for (const DelayLine& line : m_lines) {
        const uint32_t uRoom = line.uDelayLineLength - line.uCurOffset;
        n = uRoom < n ? uRoom : n;
    }
    return n;
}

void ReverbUnit::Advance(uint32_t in_uFrames)
{
    // At most the room to a line's end plus a straddling group: one wrap.
    for (DelayLine& line : m_lines) {
        line.uCurOffset += in_uFrames;
        if (line.uCurOffset >= line.uDelayLineLength)
            line.uCurOffset -= line.uDelayLineLength;
    }
}

void ReverbUnit::RunScalar(const float* in_pfInput, float* const* io_ppfOutputs, uint32_t in_uNumOutputs,
                           uint32_t in_uFrom, uint32_t in_uTo)
{
    float* p[OV_REVERBUNIT_LINES];
    float y[OV_REVERBUNIT_LINES], b0[OV_REVERBUNIT_LINES], a[OV_REVERBUNIT_LINES];
    for (uint32_t l = 0; l < OV_REVERBUNIT_LINES; ++l) {
        p[l] = m_lines[l].pDelay + m_lines[l].uCurOffset;
        y[l] = m_filters[l].fState;
        b0[l] = m_filters[l].fB0;
        a[l] = -m_filters[l].fA1;
    }
    for (uint32_t i = in_uFrom; i < in_uTo; ++i) {
        for (uint32_t l = 0; l < OV_REVERBUNIT_LINES; ++l)
            y[l] = b0[l] * p[l][i] + a[l] * y[l];
        const float d0 = y[0], d1 = y[1], d2 = y[2], d3 = y[3];
        io_ppfOutputs[0][i] += (d0 + d2) - (d1 + d3);
        if (in_uNumOutputs > 1)
            io_ppfOutputs[1][i] += (d0 + d1) - (d2 + d3);
        if (in_uNumOutputs > 2)
            io_ppfOutputs[2][i] += (d0 + d3) - (d1 + d2);
        const float s = in_pfInput[i] - 0.5f * (d0 + d1 + d2 + d3);
        p[0][i] = s + d1;
        p[1][i] = s + d2;
        p[2][i] = s + d3;
        p[3][i] = s + d0;
    }
    for (uint32_t l = 0; l < OV_REVERBUNIT_LINES; ++l)
        m_filters[l].fState = y[l];
}

void ReverbUnit::ProcessScalar(const float* in_pfInput, float* const* io_ppfOutputs, uint32_t in_uNumOutputs,
                               uint32_t in_uNumFrames)
{
    if (!m_lines[OV_REVERBUNIT_LINES - 1].HasMemory() || in_uNumOutputs == 0)
        return;
    float* pOut[OV_REVERBUNIT_MAX_OUTPUTS] = {io_ppfOutputs[0], in_uNumOutputs > 1 ? io_ppfOutputs[1] : nullptr,
                                              in_uNumOutputs > 2 ? io_ppfOutputs[2] : nullptr};
    uint32_t uDone = 0;
    while (uDone < in_uNumFrames) {
        const uint32_t n = SegmentLength(in_uNumFrames - uDone);
        float* pSeg[OV_REVERBUNIT_MAX_OUTPUTS];
        for (uint32_t o = 0; o < OV_REVERBUNIT_MAX_OUTPUTS; ++o)
            pSeg[o] = pOut[o] ? pOut[o] + uDone : nullptr;
        RunScalar(in_pfInput + uDone, pSeg, in_uNumOutputs, 0, n);
        Advance(n);
        uDone += n;
    }
}

void ReverbUnit::Process(const float* in_pfInput, float* const* io_ppfOutputs, uint32_t in_uNumOutputs,
                         uint32_t in_uNumFrames)
{
    ProcessSideBySide(this, 1, &in_pfInput, io_ppfOutputs, in_uNumOutputs, in_uNumFrames, ReverbUnitPath::Sse2);
}

#ifdef OV_REVERBUNIT_SSE
namespace {

// One unit's lines and coefficients for the four-line step.
struct UnitLanes {
    float* p[ReverbUnit::OV_REVERBUNIT_LINES];
    const float* pIn;
    float* pOut[ReverbUnit::OV_REVERBUNIT_MAX_OUTPUTS];
    __m128 vB0, vA, vY;
};

// Four samples of one unit: the lines transposed so that lanes are lines,
// the one-pole recursion along time, transposed back.
OV_REVERBUNIT_INLINE void StepUnit(UnitLanes& u, uint32_t i, uint32_t in_uNumOutputs)
{
    const __m128 vHalf = _mm_set1_ps(0.5f);
    __m128 r0 = _mm_loadu_ps(u.p[0] + i), r1 = _mm_loadu_ps(u.p[1] + i);
    __m128 r2 = _mm_loadu_ps(u.p[2] + i), r3 = _mm_loadu_ps(u.p[3] + i);
    _MM_TRANSPOSE4_PS(r0, r1, r2, r3);  // r_t: the four lines at time t
    __m128 vY = u.vY;
    vY = _mm_add_ps(_mm_mul_ps(u.vB0, r0), _mm_mul_ps(u.vA, vY));
    r0 = vY;
    vY = _mm_add_ps(_mm_mul_ps(u.vB0, r1), _mm_mul_ps(u.vA, vY));
    r1 = vY;
    vY = _mm_add_ps(_mm_mul_ps(u.vB0, r2), _mm_mul_ps(u.vA, vY));
    r2 = vY;
    vY = _mm_add_ps(_mm_mul_ps(u.vB0, r3), _mm_mul_ps(u.vA, vY));
    r3 = vY;
    u.vY = vY;
    _MM_TRANSPOSE4_PS(r0, r1, r2, r3);  // back: r_l is line l at four times
    _mm_storeu_ps(u.pOut[0] + i,
                  _mm_add_ps(_mm_loadu_ps(u.pOut[0] + i), _mm_sub_ps(_mm_add_ps(r0, r2), _mm_add_ps(r1, r3))));
    if (in_uNumOutputs > 1)
        _mm_storeu_ps(u.pOut[1] + i,
                      _mm_add_ps(_mm_loadu_ps(u.pOut[1] + i), _mm_sub_ps(_mm_add_ps(r0, r1), _mm_add_ps(r2, r3))));
    if (in_uNumOutputs > 2)
        _mm_storeu_ps(u.pOut[2] + i,
                      _mm_add_ps(_mm_loadu_ps(u.pOut[2] + i), _mm_sub_ps(_mm_add_ps(r0, r3), _mm_add_ps(r1, r2))));
    const __m128 vSum = _mm_add_ps(_mm_add_ps(_mm_add_ps(r0, r1), r2), r3);
    const __m128 vS = _mm_sub_ps(_mm_loadu_ps(u.pIn + i), _mm_mul_ps(vHalf, vSum));
    _mm_storeu_ps(u.p[0] + i, _mm_add_ps(vS, r1));
    _mm_storeu_ps(u.p[1] + i, _mm_add_ps(vS, r2));
    _mm_storeu_ps(u.p[2] + i, _mm_add_ps(vS, r3));
    _mm_storeu_ps(u.p[3] + i, _mm_add_ps(vS, r0));
}

// K units, one four-sample step of each in turn, over [0, in_uEnd) in steps
// of four; the units' recursions are independent, so they overlap.
template <uint32_t K>
uint32_t StepUnits(UnitLanes* io_pLanes, uint32_t in_uEnd, uint32_t in_uNumOutputs)
{
    UnitLanes lanes[K];
    for (uint32_t k = 0; k < K; ++k)
        lanes[k] = io_pLanes[k];
    uint32_t i = 0;
    for (; i + 4 <= in_uEnd; i += 4) {
#pragma GCC unroll 4
        for (uint32_t k = 0; k < K; ++k)
            StepUnit(lanes[k], i, in_uNumOutputs);
    }
    for (uint32_t k = 0; k < K; ++k)
        io_pLanes[k].vY = lanes[k].vY;
    return i;
}

#ifdef OV_REVERBUNIT_AVX
// Two units in one register, one in each 128-bit half: the lanes of a half
// are the unit's four lines, and every shuffle stays within its half, so
// each unit sees the arithmetic of StepUnit.
struct PairLanes {
    __m256 vB0, vA, vY;
};

__attribute__((target("avx"))) OV_REVERBUNIT_INLINE __m256 LoadPair(const float* in_pfA, const float* in_pfB)
{
    return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(in_pfA)), _mm_loadu_ps(in_pfB), 1);
}

__attribute__((target("avx"))) OV_REVERBUNIT_INLINE void StorePair(float* out_pfA, float* out_pfB, __m256 in_v)
{
    _mm_storeu_ps(out_pfA, _mm256_castps256_ps128(in_v));
    _mm_storeu_ps(out_pfB, _mm256_extractf128_ps(in_v, 1));
}

// Adds each half to its unit's output; A's addition comes first.
__attribute__((target("avx"))) OV_REVERBUNIT_INLINE void AddPair(float* io_pfA, float* io_pfB, __m256 in_v)
{
    _mm_storeu_ps(io_pfA, _mm_add_ps(_mm_loadu_ps(io_pfA), _mm256_castps256_ps128(in_v)));
    _mm_storeu_ps(io_pfB, _mm_add_ps(_mm_loadu_ps(io_pfB), _mm256_extractf128_ps(in_v, 1)));
}

__attribute__((target("avx"))) OV_REVERBUNIT_INLINE void Transpose4InHalves(__m256& r0, __m256& r1, __m256& r2,
                                                                            __m256& r3)
{
    const __m256 t0 = _mm256_unpacklo_ps(r0, r1), t1 = _mm256_unpacklo_ps(r2, r3);
    const __m256 t2 = _mm256_unpackhi_ps(r0, r1), t3 = _mm256_unpackhi_ps(r2, r3);
    r0 = _mm256_shuffle_ps(t0, t1, _MM_SHUFFLE(1, 0, 1, 0));
    r1 = _mm256_shuffle_ps(t0, t1, _MM_SHUFFLE(3, 2, 3, 2));
    r2 = _mm256_shuffle_ps(t2, t3, _MM_SHUFFLE(1, 0, 1, 0));
    r3 = _mm256_shuffle_ps(t2, t3, _MM_SHUFFLE(3, 2, 3, 2));
}

__attribute__((target("avx"))) OV_REVERBUNIT_INLINE void StepPair(const UnitLanes& a, const UnitLanes& b,
                                                                  PairLanes& v, uint32_t i, uint32_t in_uNumOutputs)
{
    __m256 r0 = LoadPair(a.p[0] + i, b.p[0] + i), r1 = LoadPair(a.p[1] + i, b.p[1] + i);
    __m256 r2 = LoadPair(a.p[2] + i, b.p[2] + i), r3 = LoadPair(a.p[3] + i, b.p[3] + i);
    Transpose4InHalves(r0, r1, r2, r3);
    __m256 vY = v.vY;
    vY = _mm256_add_ps(_mm256_mul_ps(v.vB0, r0), _mm256_mul_ps(v.vA, vY));
    r0 = vY;
    vY = _mm256_add_ps(_mm256_mul_ps(v.vB0, r1), _mm256_mul_ps(v.vA, vY));
    r1 = vY;
    vY = _mm256_add_ps(_mm256_mul_ps(v.vB0, r2), _mm256_mul_ps(v.vA, vY));
    r2 = vY;
    vY = _mm256_add_ps(_mm256_mul_ps(v.vB0, r3), _mm256_mul_ps(v.vA, vY));
    r3 = vY;
    v.vY = vY;
    Transpose4InHalves(r0, r1, r2, r3);
    AddPair(a.pOut[0] + i, b.pOut[0] + i, _mm256_sub_ps(_mm256_add_ps(r0, r2), _mm256_add_ps(r1, r3)));
    if (in_uNumOutputs > 1)
        AddPair(a.pOut[1] + i, b.pOut[1] + i, _mm256_sub_ps(_mm256_add_ps(r0, r1), _mm256_add_ps(r2, r3)));
    if (in_uNumOutputs > 2)
        AddPair(a.pOut[2] + i, b.pOut[2] + i, _mm256_sub_ps(_mm256_add_ps(r0, r3), _mm256_add_ps(r1, r2)));
    const __m256 vSum = _mm256_add_ps(_mm256_add_ps(_mm256_add_ps(r0, r1), r2), r3);
    const __m256 vS = _mm256_sub_ps(LoadPair(a.pIn + i, b.pIn + i), _mm256_mul_ps(_mm256_set1_ps(0.5f), vSum));
    StorePair(a.p[0] + i, b.p[0] + i, _mm256_add_ps(vS, r1));
    StorePair(a.p[1] + i, b.p[1] + i, _mm256_add_ps(vS, r2));
    StorePair(a.p[2] + i, b.p[2] + i, _mm256_add_ps(vS, r3));
    StorePair(a.p[3] + i, b.p[3] + i, _mm256_add_ps(vS, r0));
}

// P pairs of units (units 2p and 2p + 1), the pairs in turn at each step.
template <uint32_t P>
__attribute__((target("avx"))) uint32_t StepPairs(UnitLanes* io_pLanes, uint32_t in_uEnd, uint32_t in_uNumOutputs)
{
    PairLanes pairs[P];
    for (uint32_t q = 0; q < P; ++q) {
        const UnitLanes& a = io_pLanes[2 * q];
        const UnitLanes& b = io_pLanes[2 * q + 1];
        pairs[q].vB0 = _mm256_insertf128_ps(_mm256_castps128_ps256(a.vB0), b.vB0, 1);
        pairs[q].vA = _mm256_insertf128_ps(_mm256_castps128_ps256(a.vA), b.vA, 1);
        pairs[q].vY = _mm256_insertf128_ps(_mm256_castps128_ps256(a.vY), b.vY, 1);
    }
    uint32_t i = 0;
    for (; i + 4 <= in_uEnd; i += 4) {
#pragma GCC unroll 2
        for (uint32_t q = 0; q < P; ++q)
            StepPair(io_pLanes[2 * q], io_pLanes[2 * q + 1], pairs[q], i, in_uNumOutputs);
    }
    for (uint32_t q = 0; q < P; ++q) {
        io_pLanes[2 * q].vY = _mm256_castps256_ps128(pairs[q].vY);
        io_pLanes[2 * q + 1].vY = _mm256_extractf128_ps(pairs[q].vY, 1);
    }
    return i;
}
#endif

}  // namespace
#endif

ReverbUnitPath ReverbUnit::WidestPath()
{
#ifdef OV_REVERBUNIT_AVX
    if (OvCpuInfo::Get().HasFeature(OV_CPU_AVX))
        return ReverbUnitPath::Avx;
#endif
    return ReverbUnitPath::Sse2;
}

void ReverbUnit::ProcessSideBySide(ReverbUnit* io_pUnits, uint32_t in_uNumUnits, const float* const* in_ppfInputs,
                                   float* const* io_ppfOutputs, uint32_t in_uNumOutputs, uint32_t in_uNumFrames,
                                   ReverbUnitPath in_ePath)
{
    if (in_uNumOutputs == 0 || in_uNumOutputs > OV_REVERBUNIT_MAX_OUTPUTS || in_uNumUnits == 0 ||
        in_uNumUnits > OV_REVERBUNIT_MAX_SIDE_BY_SIDE)
        return;
    for (uint32_t k = 0; k < in_uNumUnits; ++k)
        if (!io_pUnits[k].m_lines[OV_REVERBUNIT_LINES - 1].HasMemory())
            return;
#ifndef OV_REVERBUNIT_SSE
    for (uint32_t k = 0; k < in_uNumUnits; ++k)
        io_pUnits[k].ProcessScalar(in_ppfInputs[k], io_ppfOutputs + k * in_uNumOutputs, in_uNumOutputs, in_uNumFrames);
#else
    UnitLanes lanes[OV_REVERBUNIT_MAX_SIDE_BY_SIDE];
    for (uint32_t k = 0; k < in_uNumUnits; ++k) {
        const ReverbUnitFilter* f = io_pUnits[k].m_filters;
        lanes[k].vB0 = _mm_setr_ps(f[0].fB0, f[1].fB0, f[2].fB0, f[3].fB0);
        lanes[k].vA = _mm_setr_ps(-f[0].fA1, -f[1].fA1, -f[2].fA1, -f[3].fA1);
    }
    uint32_t uDone = 0;
    while (uDone < in_uNumFrames) {
        // The segment ends where the first line of any unit wraps.
        uint32_t n = in_uNumFrames - uDone;
        for (uint32_t k = 0; k < in_uNumUnits; ++k)
            n = io_pUnits[k].SegmentLength(n);
        for (uint32_t k = 0; k < in_uNumUnits; ++k) {
            ReverbUnit& unit = io_pUnits[k];
            UnitLanes& u = lanes[k];
            for (uint32_t l = 0; l < OV_REVERBUNIT_LINES; ++l)
                u.p[l] = unit.m_lines[l].pDelay + unit.m_lines[l].uCurOffset;
            u.pIn = in_ppfInputs[k] + uDone;
            for (uint32_t o = 0; o < OV_REVERBUNIT_MAX_OUTPUTS; ++o)
                u.pOut[o] = o < in_uNumOutputs ? io_ppfOutputs[k * in_uNumOutputs + o] + uDone : nullptr;
            u.vY = _mm_setr_ps(unit.m_filters[0].fState, unit.m_filters[1].fState, unit.m_filters[2].fState,
                               unit.m_filters[3].fState);
        }
        // Pairs of units in AVX registers; an odd last unit follows them in
        // SSE over the same stretch, which keeps the order per sample.
        auto step = [&](UnitLanes* io_pLanes, uint32_t in_uEnd) {
#ifdef OV_REVERBUNIT_AVX
            if (in_ePath == ReverbUnitPath::Avx && in_uNumUnits >= 2) {
                const uint32_t uEnd = in_uNumUnits >= 4 ? StepPairs<2>(io_pLanes, in_uEnd, in_uNumOutputs)
                                                        : StepPairs<1>(io_pLanes, in_uEnd, in_uNumOutputs);
                if (in_uNumUnits % 2)
                    StepUnits<1>(io_pLanes + in_uNumUnits - 1, in_uEnd, in_uNumOutputs);
                return uEnd;
            }
#endif
            switch (in_uNumUnits) {
            case 1: return StepUnits<1>(io_pLanes, in_uEnd, in_uNumOutputs);
            case 2: return StepUnits<2>(io_pLanes, in_uEnd, in_uNumOutputs);
            case 3: return StepUnits<3>(io_pLanes, in_uEnd, in_uNumOutputs);
            default: return StepUnits<4>(io_pLanes, in_uEnd, in_uNumOutputs);
            }
        };
        const uint32_t i = step(lanes, n);
        // A segment cut by a wrap goes on with one group of four that
        // straddles it: the lines that wrap inside it are gathered from both
        // ends into small buffers, stepped like the others and put back. So
        // only the end of the call is left to the scalar form.
        const bool bStraddle = i < n && uDone + i + 4 <= in_uNumFrames;
        const uint32_t uAdvance = bStraddle ? i + 4 : n;
        if (bStraddle) {
            alignas(16) float fGathered[OV_REVERBUNIT_MAX_SIDE_BY_SIDE][OV_REVERBUNIT_LINES][4];
            UnitLanes group[OV_REVERBUNIT_MAX_SIDE_BY_SIDE];
            for (uint32_t k = 0; k < in_uNumUnits; ++k) {
                group[k] = lanes[k];
                group[k].pIn += i;
                for (uint32_t o = 0; o < in_uNumOutputs; ++o)
                    group[k].pOut[o] += i;
                for (uint32_t l = 0; l < OV_REVERBUNIT_LINES; ++l) {
                    const DelayLine& line = io_pUnits[k].m_lines[l];
                    if (line.uCurOffset + i + 4 <= line.uDelayLineLength) {
                        group[k].p[l] += i;
                        continue;
                    }
                    for (uint32_t j = 0; j < 4; ++j)
                        fGathered[k][l][j] = line.pDelay[(line.uCurOffset + i + j) % line.uDelayLineLength];
                    group[k].p[l] = fGathered[k][l];
                }
            }
            step(group, 4);
            for (uint32_t k = 0; k < in_uNumUnits; ++k) {
                lanes[k].vY = group[k].vY;
                for (uint32_t l = 0; l < OV_REVERBUNIT_LINES; ++l) {
                    const DelayLine& line = io_pUnits[k].m_lines[l];
                    if (group[k].p[l] == fGathered[k][l])
                        for (uint32_t j = 0; j < 4; ++j)
                            line.pDelay[(line.uCurOffset + i + j) % line.uDelayLineLength] = fGathered[k][l][j];
                }
            }
        }
        for (uint32_t k = 0; k < in_uNumUnits; ++k) {
            ReverbUnit& unit = io_pUnits[k];
            alignas(16) float fState[4];
            _mm_store_ps(fState, lanes[k].vY);
            for (uint32_t l = 0; l < OV_REVERBUNIT_LINES; ++l)
                unit.m_filters[l].fState = fState[l];
            // RunScalar works from the line positions, which only Advance moves.
            if (!bStraddle)
                unit.RunScalar(lanes[k].pIn, lanes[k].pOut, in_uNumOutputs, i, n);
            unit.Advance(uAdvance);
        }
        uDone += uAdvance;
    }
#endif
}
