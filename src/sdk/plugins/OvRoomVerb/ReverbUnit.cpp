#include "sdk/plugins/OvRoomVerb/ReverbUnit.h"

#include <cmath>

#if defined(__SSE__) || defined(_M_X64)
#include <xmmintrin.h>
#define OV_REVERBUNIT_SSE 1
#endif

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
    for (DelayLine& line : m_lines) {
        line.uCurOffset += in_uFrames;
        if (line.uCurOffset >= line.uDelayLineLength)
            line.uCurOffset = 0;
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
    ProcessSideBySide(this, 1, &in_pfInput, io_ppfOutputs, in_uNumOutputs, in_uNumFrames);
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

}  // namespace
#endif

void ReverbUnit::ProcessSideBySide(ReverbUnit* io_pUnits, uint32_t in_uNumUnits, const float* const* in_ppfInputs,
                                   float* const* io_ppfOutputs, uint32_t in_uNumOutputs, uint32_t in_uNumFrames)
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
        uint32_t i = 0;
        switch (in_uNumUnits) {
        case 1: i = StepUnits<1>(lanes, n, in_uNumOutputs); break;
        case 2: i = StepUnits<2>(lanes, n, in_uNumOutputs); break;
        case 3: i = StepUnits<3>(lanes, n, in_uNumOutputs); break;
        default: i = StepUnits<4>(lanes, n, in_uNumOutputs); break;
        }
        // The last n % 4 samples one at a time, unit after unit: a shared
        // output still takes the units in order. RunScalar works from the
        // line positions, which only Advance moves.
        for (uint32_t k = 0; k < in_uNumUnits; ++k) {
            ReverbUnit& unit = io_pUnits[k];
            alignas(16) float fState[4];
            _mm_store_ps(fState, lanes[k].vY);
            for (uint32_t l = 0; l < OV_REVERBUNIT_LINES; ++l)
                unit.m_filters[l].fState = fState[l];
            unit.RunScalar(lanes[k].pIn, lanes[k].pOut, in_uNumOutputs, i, n);
            unit.Advance(n);
        }
        uDone += n;
    }
#endif
}
