#include "sdk/dsp/filters/OvBiquadCoefs.h"

#include <cstddef>

#if defined(__SSE__) || defined(_M_X64)
#include <xmmintrin.h>
#define OV_BIQUAD_SSE 1
#endif

OvBiquadCoefs::OvBiquadCoefs()
{
    SetCoefs(1.0f, 0.0f, 0.0f, 0.0f, 0.0f);
}

void OvBiquadCoefs::SetCoefs(float in_fB0, float in_fB1, float in_fB2, float in_fA1, float in_fA2)
{
    m_fB0 = in_fB0;
    m_fB1 = in_fB1;
    m_fB2 = in_fB2;
    m_fC1 = -in_fA1;
    m_fC2 = -in_fA2;

    const float c1 = m_fC1;
    const float c2 = m_fC2;
    const float h0 = m_fB0;
    const float h1 = m_fB1 + c1 * h0;
    const float h2 = m_fB2 + c1 * h1 + c2 * h0;
    const float h3 = c1 * h2 + c2 * h1;
    const float rows[4][4] = {
        {h0, h0, h0, h0},
        {0.0f, 0.0f, 0.0f, h1},
        {0.0f, 0.0f, h1, h2},
        {0.0f, h1, h2, h3},
    };
    for (int r = 0; r < 4; ++r)
        for (int k = 0; k < 4; ++k)
            m_fRows[r][k] = rows[r][k];

    // Rows 4-7: run four outputs of the recursion with zero input from a
    // state that holds a single 1.
    for (int s = 0; s < 4; ++s) {
        float x1 = s == 0 ? 1.0f : 0.0f;
        float x2 = s == 1 ? 1.0f : 0.0f;
        float y1 = s == 2 ? 1.0f : 0.0f;
        float y2 = s == 3 ? 1.0f : 0.0f;
        for (int k = 0; k < 4; ++k) {
            const float y = m_fB2 * x2 + m_fB1 * x1 + c2 * y2 + c1 * y1;
            m_fRows[4 + s][k] = y;
            x2 = x1;
            x1 = 0.0f;
            y2 = y1;
            y1 = y;
        }
    }
}

void OvBiquadCoefs::RunScalar(float* io_pSamples, uint32_t in_uFrames, OvBiquadState& io_state) const
{
    float x1 = io_state.x1;
    float x2 = io_state.x2;
    float y1 = io_state.y1;
    float y2 = io_state.y2;
    const float b0 = m_fB0, b1 = m_fB1, b2 = m_fB2, c1 = m_fC1, c2 = m_fC2;
    for (uint32_t i = 0; i < in_uFrames; ++i) {
        const float x = io_pSamples[i];
        const float y = b0 * x + b2 * x2 + b1 * x1 + c2 * y2 + c1 * y1;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        io_pSamples[i] = y;
    }
    io_state = {x1, x2, y1, y2};
}

#ifdef OV_BIQUAD_SSE

void OvBiquadCoefs::RunFourSamples(float* io_pSamples, uint32_t in_uFrames, OvBiquadState& io_state) const
{
    const __m128 r0 = _mm_load_ps(m_fRows[0]);
    const __m128 r1 = _mm_load_ps(m_fRows[1]);
    const __m128 r2 = _mm_load_ps(m_fRows[2]);
    const __m128 r3 = _mm_load_ps(m_fRows[3]);
    const __m128 r4 = _mm_load_ps(m_fRows[4]);
    const __m128 r5 = _mm_load_ps(m_fRows[5]);
    const __m128 r6 = _mm_load_ps(m_fRows[6]);
    const __m128 r7 = _mm_load_ps(m_fRows[7]);
    __m128 x1 = _mm_set1_ps(io_state.x1);
    __m128 x2 = _mm_set1_ps(io_state.x2);
    __m128 y1 = _mm_set1_ps(io_state.y1);
    __m128 y2 = _mm_set1_ps(io_state.y2);
    for (uint32_t i = 0; i < in_uFrames; i += 4) {
        const __m128 x = _mm_loadu_ps(io_pSamples + i);
        const __m128 xn0 = _mm_shuffle_ps(x, x, _MM_SHUFFLE(0, 0, 0, 0));
        const __m128 xn1 = _mm_shuffle_ps(x, x, _MM_SHUFFLE(1, 1, 1, 1));
        const __m128 xn2 = _mm_shuffle_ps(x, x, _MM_SHUFFLE(2, 2, 2, 2));
        // Input terms first: they do not wait for the previous step.
        __m128 acc = _mm_add_ps(_mm_mul_ps(r0, x), _mm_mul_ps(r1, xn2));
        acc = _mm_add_ps(acc, _mm_add_ps(_mm_mul_ps(r2, xn1), _mm_mul_ps(r3, xn0)));
        acc = _mm_add_ps(acc, _mm_add_ps(_mm_mul_ps(r4, x1), _mm_mul_ps(r5, x2)));
        const __m128 y = _mm_add_ps(acc, _mm_add_ps(_mm_mul_ps(r6, y1), _mm_mul_ps(r7, y2)));
        _mm_storeu_ps(io_pSamples + i, y);
        x1 = _mm_shuffle_ps(x, x, _MM_SHUFFLE(3, 3, 3, 3));
        x2 = xn2;
        y1 = _mm_shuffle_ps(y, y, _MM_SHUFFLE(3, 3, 3, 3));
        y2 = _mm_shuffle_ps(y, y, _MM_SHUFFLE(2, 2, 2, 2));
    }
    io_state.x1 = _mm_cvtss_f32(x1);
    io_state.x2 = _mm_cvtss_f32(x2);
    io_state.y1 = _mm_cvtss_f32(y1);
    io_state.y2 = _mm_cvtss_f32(y2);
}

#else

void OvBiquadCoefs::RunFourSamples(float* io_pSamples, uint32_t in_uFrames, OvBiquadState& io_state) const
{
    float x1 = io_state.x1, x2 = io_state.x2, y1 = io_state.y1, y2 = io_state.y2;
    for (uint32_t i = 0; i < in_uFrames; i += 4) {
        float* p = io_pSamples + i;
        float y[4];
        for (int k = 0; k < 4; ++k)
            y[k] = m_fRows[0][k] * p[k] + m_fRows[1][k] * p[2] + m_fRows[2][k] * p[1] +
                   m_fRows[3][k] * p[0] + m_fRows[4][k] * x1 + m_fRows[5][k] * x2 +
                   m_fRows[6][k] * y1 + m_fRows[7][k] * y2;
        x1 = p[3];
        x2 = p[2];
        y1 = y[3];
        y2 = y[2];
        for (int k = 0; k < 4; ++k)
            p[k] = y[k];
    }
    io_state = {x1, x2, y1, y2};
}

#endif

void OvBiquadCoefs::Run(float* io_pSamples, uint32_t in_uFrames, OvBiquadState& io_state) const
{
    uint32_t head = 0;
    const uintptr_t misalign = reinterpret_cast<uintptr_t>(io_pSamples) % 16;
    if (misalign != 0) {
        head = uint32_t((16 - misalign) / 4);
        if (head > in_uFrames)
            head = in_uFrames;
        RunScalar(io_pSamples, head, io_state);
    }
    const uint32_t left = in_uFrames - head;
    const uint32_t body = left & ~3u;
    if (body != 0)
        RunFourSamples(io_pSamples + head, body, io_state);
    if (left != body)
        RunScalar(io_pSamples + head + body, left - body, io_state);
}
