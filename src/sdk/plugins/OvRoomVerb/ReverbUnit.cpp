#include "sdk/plugins/OvRoomVerb/ReverbUnit.h"

#include <cmath>

#if defined(__SSE__) || defined(_M_X64)
#include <xmmintrin.h>
#define OV_REVERBUNIT_SSE 1
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
#ifndef OV_REVERBUNIT_SSE
    ProcessScalar(in_pfInput, io_ppfOutputs, in_uNumOutputs, in_uNumFrames);
#else
    if (!m_lines[OV_REVERBUNIT_LINES - 1].HasMemory() || in_uNumOutputs == 0)
        return;
    float* pOut[OV_REVERBUNIT_MAX_OUTPUTS] = {io_ppfOutputs[0], in_uNumOutputs > 1 ? io_ppfOutputs[1] : nullptr,
                                              in_uNumOutputs > 2 ? io_ppfOutputs[2] : nullptr};
    const __m128 vB0 = _mm_setr_ps(m_filters[0].fB0, m_filters[1].fB0, m_filters[2].fB0, m_filters[3].fB0);
    const __m128 vA = _mm_setr_ps(-m_filters[0].fA1, -m_filters[1].fA1, -m_filters[2].fA1, -m_filters[3].fA1);
    const __m128 vHalf = _mm_set1_ps(0.5f);
    uint32_t uDone = 0;
    while (uDone < in_uNumFrames) {
        const uint32_t n = SegmentLength(in_uNumFrames - uDone);
        float* p0 = m_lines[0].pDelay + m_lines[0].uCurOffset;
        float* p1 = m_lines[1].pDelay + m_lines[1].uCurOffset;
        float* p2 = m_lines[2].pDelay + m_lines[2].uCurOffset;
        float* p3 = m_lines[3].pDelay + m_lines[3].uCurOffset;
        const float* pIn = in_pfInput + uDone;
        float* pSeg[OV_REVERBUNIT_MAX_OUTPUTS];
        for (uint32_t o = 0; o < OV_REVERBUNIT_MAX_OUTPUTS; ++o)
            pSeg[o] = pOut[o] ? pOut[o] + uDone : nullptr;
        // Lanes are lines; the state vector holds the last output of each.
        __m128 vY = _mm_setr_ps(m_filters[0].fState, m_filters[1].fState, m_filters[2].fState, m_filters[3].fState);
        uint32_t i = 0;
        for (; i + 4 <= n; i += 4) {
            __m128 r0 = _mm_loadu_ps(p0 + i), r1 = _mm_loadu_ps(p1 + i);
            __m128 r2 = _mm_loadu_ps(p2 + i), r3 = _mm_loadu_ps(p3 + i);
            _MM_TRANSPOSE4_PS(r0, r1, r2, r3);  // r_t: the four lines at time t
            vY = _mm_add_ps(_mm_mul_ps(vB0, r0), _mm_mul_ps(vA, vY));
            r0 = vY;
            vY = _mm_add_ps(_mm_mul_ps(vB0, r1), _mm_mul_ps(vA, vY));
            r1 = vY;
            vY = _mm_add_ps(_mm_mul_ps(vB0, r2), _mm_mul_ps(vA, vY));
            r2 = vY;
            vY = _mm_add_ps(_mm_mul_ps(vB0, r3), _mm_mul_ps(vA, vY));
            r3 = vY;
            _MM_TRANSPOSE4_PS(r0, r1, r2, r3);  // back: r_l is line l at four times
            _mm_storeu_ps(pSeg[0] + i, _mm_add_ps(_mm_loadu_ps(pSeg[0] + i),
                                                  _mm_sub_ps(_mm_add_ps(r0, r2), _mm_add_ps(r1, r3))));
            if (in_uNumOutputs > 1)
                _mm_storeu_ps(pSeg[1] + i, _mm_add_ps(_mm_loadu_ps(pSeg[1] + i),
                                                      _mm_sub_ps(_mm_add_ps(r0, r1), _mm_add_ps(r2, r3))));
            if (in_uNumOutputs > 2)
                _mm_storeu_ps(pSeg[2] + i, _mm_add_ps(_mm_loadu_ps(pSeg[2] + i),
                                                      _mm_sub_ps(_mm_add_ps(r0, r3), _mm_add_ps(r1, r2))));
            const __m128 vSum = _mm_add_ps(_mm_add_ps(_mm_add_ps(r0, r1), r2), r3);
            const __m128 vS = _mm_sub_ps(_mm_loadu_ps(pIn + i), _mm_mul_ps(vHalf, vSum));
            _mm_storeu_ps(p0 + i, _mm_add_ps(vS, r1));
            _mm_storeu_ps(p1 + i, _mm_add_ps(vS, r2));
            _mm_storeu_ps(p2 + i, _mm_add_ps(vS, r3));
            _mm_storeu_ps(p3 + i, _mm_add_ps(vS, r0));
        }
        alignas(16) float fState[4];
        _mm_store_ps(fState, vY);
        for (uint32_t l = 0; l < OV_REVERBUNIT_LINES; ++l)
            m_filters[l].fState = fState[l];
        // The last n % 4 samples one at a time; RunScalar works from the line
        // positions, which only Advance moves.
        RunScalar(pIn, pSeg, in_uNumOutputs, i, n);
        Advance(n);
        uDone += n;
    }
#endif
}
