#include "sdk/plugins/OvRoomVerb/ERUnitDual.h"

#include <cmath>
#include <cstring>

#include "ov/IOvMemAlloc.h"
#include "ov/OvAssert.h"

#if defined(__SSE__) || defined(_M_X64)
#include <xmmintrin.h>
#define OV_ER_SSE 1
#endif

namespace {

// Tap times lie on a 1/48 ms grid but are stored as floats, so at 48 kHz a
// tap can land a hair below a whole sample; within this many samples of the
// next whole one it counts as on it.
constexpr double kSampleSlack = 1.0e-3;

// Quantises one side's taps; returns the kept count.
uint16_t PlaceTaps(const OvRoomVerb::ERTap* in_pTaps, uint32_t in_uNumTaps, double in_dScale, double in_dMinTime,
                   uint32_t in_uSampleRate, uint32_t in_uLength, float* out_pfGains, uint16_t* out_puPositions,
                   uint16_t* out_puNextWrap)
{
    uint32_t uPrevOffset = 0xFFFFFFFF, uLargest = 0;
    uint16_t uKept = 0;
    *out_puNextWrap = 0;
    for (uint32_t i = 0; i < in_uNumTaps; ++i) {
        const double dOffset = (in_pTaps[i].fTime * in_dScale - in_dMinTime) * in_uSampleRate / 1000.0 + kSampleSlack;
        // The span was checked, so the offset is finite; a rounding below 0 counts as 0.
        uint32_t uOffset = dOffset > 0.0 ? uint32_t(dOffset) & ~3u : 0;
        if (uOffset >= in_uLength)
            uOffset = in_uLength - 4;
        if (uOffset != uPrevOffset) {
            const uint32_t uPosition = uOffset == 0 ? 0 : in_uLength - uOffset;
            out_puPositions[uKept] = uint16_t(uPosition);
            out_pfGains[uKept] = in_pTaps[i].fGain;
            if (uPosition > uLargest) {
                uLargest = uPosition;
                *out_puNextWrap = uKept;
            }
            ++uKept;
        }
        uPrevOffset = uOffset;
    }
    return uKept;
}

}  // namespace

OvResult ERUnitDual::Init(IOvMemAlloc* in_pAllocator, float in_fRoomSize, const OvRoomVerb::ERTap* in_pTapsLeft,
                          const OvRoomVerb::ERTap* in_pTapsRight, uint32_t in_uNumLeft, uint32_t in_uNumRight,
                          uint32_t in_uSampleRate)
{
    Term(in_pAllocator);
    if (in_uNumLeft == 0 || in_uNumLeft > OvRoomVerb::OV_ER_MAX_TAPS || in_uNumRight == 0 ||
        in_uNumRight > OvRoomVerb::OV_ER_MAX_TAPS || !in_pTapsLeft || !in_pTapsRight)
        return OV_Failure;
    const double dScale = std::pow(2.0, double(in_fRoomSize) / 100.0);
    const double dMinTime = std::fmin(in_pTapsLeft[0].fTime, in_pTapsRight[0].fTime) * dScale;
    const double dMaxTime =
        std::fmax(in_pTapsLeft[in_uNumLeft - 1].fTime, in_pTapsRight[in_uNumRight - 1].fTime) * dScale;
    // The span is compared before it becomes an integer: a huge room size (or
    // NaN) must fail here, not wrap in the conversion.
    const double dSpan = (dMaxTime - dMinTime) * in_uSampleRate / 1000.0 + kSampleSlack;
    if (!(dSpan < double(OV_ER_MAX_SPAN) + 1.0))
        return OV_Failure;
    const uint32_t uSpan = dSpan > 0.0 ? uint32_t(dSpan) : 0;
    const uint32_t uLength = uSpan < 4 ? 4 : (uSpan & ~3u);

    m_pfDelay = in_pAllocator ? static_cast<float*>(in_pAllocator->Malloc(size_t(uLength) * sizeof(float))) : nullptr;
    if (!m_pfDelay)
        return OV_OutOfMemory;
    m_uDelayLength = uLength;
    m_uNumLeft = PlaceTaps(in_pTapsLeft, in_uNumLeft, dScale, dMinTime, in_uSampleRate, uLength, m_fGainsLeft,
                           m_uPositionsLeft, &m_uNextWrapLeft);
    m_uNumRight = PlaceTaps(in_pTapsRight, in_uNumRight, dScale, dMinTime, in_uSampleRate, uLength, m_fGainsRight,
                            m_uPositionsRight, &m_uNextWrapRight);
    m_uWriteOffset = 0;
    return OV_Success;
}

void ERUnitDual::Term(IOvMemAlloc* in_pAllocator)
{
    if (m_pfDelay && in_pAllocator)
        in_pAllocator->Free(m_pfDelay);
    m_pfDelay = nullptr;
    m_uDelayLength = 0;
    m_uWriteOffset = 0;
    m_uNumLeft = m_uNumRight = 0;
}

void ERUnitDual::Reset()
{
    if (m_pfDelay)
        std::memset(m_pfDelay, 0, size_t(m_uDelayLength) * sizeof(float));
}

void ERUnitDual::Process(const float* in_pfInput, float* out_pfLeft, float* out_pfRight, uint32_t in_uNumFrames)
{
    OV_ASSERT(in_uNumFrames > 0);
    if (!m_pfDelay || m_uNumLeft == 0 || m_uNumRight == 0)
        return;
    const uint32_t uLength = m_uDelayLength;
    float* const pfLine = m_pfDelay;
    uint32_t uLeft = in_uNumFrames;
    while (uLeft) {
        // Every position moves with the write offset, so all ends lie the
        // same distance (mod 4) ahead: a group of four never straddles one.
        uint32_t n = uLeft;
        const uint32_t uRooms[3] = {uLength - m_uWriteOffset, uLength - m_uPositionsLeft[m_uNextWrapLeft],
                                    uLength - m_uPositionsRight[m_uNextWrapRight]};
        for (uint32_t uRoom : uRooms)
            n = uRoom < n ? uRoom : n;
        uint32_t i = 0;
#ifdef OV_ER_SSE
        for (; i + 4 <= n; i += 4) {
            _mm_storeu_ps(pfLine + m_uWriteOffset, _mm_loadu_ps(in_pfInput + i));
            m_uWriteOffset += 4;
            __m128 sumLeft = _mm_setzero_ps(), sumRight = _mm_setzero_ps();
            for (uint32_t t = 0; t < m_uNumLeft; ++t) {
                sumLeft = _mm_add_ps(sumLeft, _mm_mul_ps(_mm_set1_ps(m_fGainsLeft[t]),
                                                         _mm_loadu_ps(pfLine + m_uPositionsLeft[t])));
                m_uPositionsLeft[t] = uint16_t(m_uPositionsLeft[t] + 4);
            }
            for (uint32_t t = 0; t < m_uNumRight; ++t) {
                sumRight = _mm_add_ps(sumRight, _mm_mul_ps(_mm_set1_ps(m_fGainsRight[t]),
                                                           _mm_loadu_ps(pfLine + m_uPositionsRight[t])));
                m_uPositionsRight[t] = uint16_t(m_uPositionsRight[t] + 4);
            }
            _mm_storeu_ps(out_pfLeft + i, sumLeft);
            _mm_storeu_ps(out_pfRight + i, sumRight);
        }
#endif
        for (; i < n; ++i) {
            pfLine[m_uWriteOffset++] = in_pfInput[i];
            float fLeft = 0.0f, fRight = 0.0f;
            for (uint32_t t = 0; t < m_uNumLeft; ++t)
                fLeft += m_fGainsLeft[t] * pfLine[m_uPositionsLeft[t]++];
            for (uint32_t t = 0; t < m_uNumRight; ++t)
                fRight += m_fGainsRight[t] * pfLine[m_uPositionsRight[t]++];
            out_pfLeft[i] = fLeft;
            out_pfRight[i] = fRight;
        }
        if (m_uPositionsLeft[m_uNextWrapLeft] == uLength) {
            m_uPositionsLeft[m_uNextWrapLeft] = 0;
            m_uNextWrapLeft = uint16_t((m_uNextWrapLeft + 1) % m_uNumLeft);
        }
        if (m_uPositionsRight[m_uNextWrapRight] == uLength) {
            m_uPositionsRight[m_uNextWrapRight] = 0;
            m_uNextWrapRight = uint16_t((m_uNextWrapRight + 1) % m_uNumRight);
        }
        if (m_uWriteOffset == uLength)
            m_uWriteOffset = 0;
        in_pfInput += n;
        out_pfLeft += n;
        out_pfRight += n;
        uLeft -= n;
    }
}
