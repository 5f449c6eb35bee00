#include "sdk/plugins/OvRoomVerb/ERUnitDual.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ov/IOvMemAlloc.h"
#include "ov/OvAssert.h"
#include "ov/OvCpuInfo.h"

#if defined(__SSE__) || defined(_M_X64)
#include <xmmintrin.h>
#define OV_ER_SSE 1
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
#include <immintrin.h>
#define OV_ER_AVX 1
#endif
#endif

// The tap helpers must be inlined for a block's sums to stay in registers.
#if defined(__GNUC__)
#define OV_ER_INLINE inline __attribute__((always_inline))
#else
#define OV_ER_INLINE inline
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

namespace {

// Block kernels: the tap sums run over time, several groups of four samples
// at once, each tap a gain times a delayed stretch of the line. Every output
// sample still takes its taps in ascending order from zero, the additions of
// the four-sample step. The block's input is written first, as the step
// writes its group first; a tap that reads slots the block overwrites later
// in time (its read position less than a block ahead of the write offset:
// the last taps of a side) reads them from a copy taken before the write.
struct ERBlockArgs {
    // Where tap position in_uPosition reads at sample in_uAt of the segment:
    // positions run past the end of the line within a segment and wrap here.
    const float* Read(uint32_t in_uPosition, uint32_t in_uAt) const
    {
        const uint32_t p = in_uPosition + in_uAt;
        return pfLine + (p >= uLength ? p - uLength : p);
    }

    float* pfLine;
    uint32_t uLength;
    uint32_t uWriteOffset;
    const float* pfGainsLeft;
    const float* pfGainsRight;
    const uint16_t* puPositionsLeft;
    const uint16_t* puPositionsRight;
    uint32_t uNumLeft, uNumRight;
};

// How far a tap's position lies ahead of the write offset.
inline uint32_t Ahead(const ERBlockArgs& a, uint32_t in_uPosition)
{
    return in_uPosition >= a.uWriteOffset ? in_uPosition - a.uWriteOffset : in_uPosition + a.uLength - a.uWriteOffset;
}

// Taps at the end of a side whose position lies less than in_uBlock ahead of the write offset.
uint32_t AheadTaps(const uint16_t* in_puPositions, uint32_t in_uCount, uint32_t in_uWriteOffset, uint32_t in_uLength,
                   uint32_t in_uBlock)
{
    uint32_t uAhead = 0;
    while (uAhead < in_uCount) {
        const uint32_t p = in_puPositions[in_uCount - 1 - uAhead];
        const uint32_t d = p >= in_uWriteOffset ? p - in_uWriteOffset : p + in_uLength - in_uWriteOffset;
        if (d == 0 || d >= in_uBlock)
            break;
        ++uAhead;
    }
    return uAhead;
}

// Fills io_pfHistory[0 .. 2 B) with the line from the write offset on, as
// it stands before the block is written, then writes the block's input. The
// sizes are constants, so the moves are inlined.
template <uint32_t B>
void TakeHistoryAndWrite(const ERBlockArgs& a, uint32_t in_uAt, const float* in_pfInput, float* io_pfHistory)
{
    const uint32_t w = a.uWriteOffset + in_uAt;
    if (a.uLength - w >= 2 * B) {
        std::memcpy(io_pfHistory, a.pfLine + w, 2 * B * sizeof(float));
    } else {
        // The line is at least two blocks long: the copy wraps at most once.
        const uint32_t uToEnd = a.uLength - w;
        std::memcpy(io_pfHistory, a.pfLine + w, size_t(uToEnd) * sizeof(float));
        std::memcpy(io_pfHistory + uToEnd, a.pfLine, size_t(2 * B - uToEnd) * sizeof(float));
    }
    std::memcpy(a.pfLine + w, in_pfInput, B * sizeof(float));
}

#ifdef OV_ER_SSE
constexpr uint32_t kSseBlock = 16;

// A block's sums, in named registers: an array would live on the stack.
struct SumsSse {
    __m128 a0, a1, a2, a3;
};

// One tap over a block: four groups of four, from a stretch that doesn't wrap.
OV_ER_INLINE void AddTapSse(SumsSse& io_acc, float in_fGain, const float* in_pfRead)
{
    const __m128 g = _mm_set1_ps(in_fGain);
    io_acc.a0 = _mm_add_ps(io_acc.a0, _mm_mul_ps(g, _mm_loadu_ps(in_pfRead)));
    io_acc.a1 = _mm_add_ps(io_acc.a1, _mm_mul_ps(g, _mm_loadu_ps(in_pfRead + 4)));
    io_acc.a2 = _mm_add_ps(io_acc.a2, _mm_mul_ps(g, _mm_loadu_ps(in_pfRead + 8)));
    io_acc.a3 = _mm_add_ps(io_acc.a3, _mm_mul_ps(g, _mm_loadu_ps(in_pfRead + 12)));
}

// The same from the line, where the tap may wrap inside the block (at a
// group's edge: the block starts on the grid of four of the line's end).
OV_ER_INLINE void AddLineTapSse(SumsSse& io_acc, float in_fGain, const ERBlockArgs& a, uint32_t in_uPosition,
                          uint32_t in_uAt)
{
    if (in_uPosition + in_uAt + kSseBlock <= a.uLength) {
        AddTapSse(io_acc, in_fGain, a.pfLine + in_uPosition + in_uAt);
        return;
    }
    const __m128 g = _mm_set1_ps(in_fGain);
    io_acc.a0 = _mm_add_ps(io_acc.a0, _mm_mul_ps(g, _mm_loadu_ps(a.Read(in_uPosition, in_uAt))));
    io_acc.a1 = _mm_add_ps(io_acc.a1, _mm_mul_ps(g, _mm_loadu_ps(a.Read(in_uPosition, in_uAt + 4))));
    io_acc.a2 = _mm_add_ps(io_acc.a2, _mm_mul_ps(g, _mm_loadu_ps(a.Read(in_uPosition, in_uAt + 8))));
    io_acc.a3 = _mm_add_ps(io_acc.a3, _mm_mul_ps(g, _mm_loadu_ps(a.Read(in_uPosition, in_uAt + 12))));
}

// Samples [in_uStart, in_uFrames) of a segment in whole blocks; returns where it stopped.
uint32_t RunBlocksSse(const ERBlockArgs& a, const float* in_pfInput, float* out_pfLeft, float* out_pfRight,
                      uint32_t in_uStart, uint32_t in_uFrames)
{
    constexpr uint32_t B = kSseBlock;
    const uint32_t uNearLeft = a.uNumLeft - AheadTaps(a.puPositionsLeft, a.uNumLeft, a.uWriteOffset, a.uLength, B);
    const uint32_t uNearRight =
        a.uNumRight - AheadTaps(a.puPositionsRight, a.uNumRight, a.uWriteOffset, a.uLength, B);
    const uint32_t uShared = uNearLeft < uNearRight ? uNearLeft : uNearRight;
    alignas(16) float fHistory[2 * B];
    uint32_t i = in_uStart;
    for (; i + B <= in_uFrames; i += B) {
        TakeHistoryAndWrite<B>(a, i, in_pfInput + i, fHistory);
        const __m128 z = _mm_setzero_ps();
        SumsSse accL = {z, z, z, z}, accR = {z, z, z, z};
        uint32_t t = 0;
        for (; t < uShared; ++t) {
            AddLineTapSse(accL, a.pfGainsLeft[t], a, a.puPositionsLeft[t], i);
            AddLineTapSse(accR, a.pfGainsRight[t], a, a.puPositionsRight[t], i);
        }
        for (uint32_t u = t; u < uNearLeft; ++u)
            AddLineTapSse(accL, a.pfGainsLeft[u], a, a.puPositionsLeft[u], i);
        for (uint32_t u = t; u < uNearRight; ++u)
            AddLineTapSse(accR, a.pfGainsRight[u], a, a.puPositionsRight[u], i);
        for (uint32_t u = uNearLeft; u < a.uNumLeft; ++u)
            AddTapSse(accL, a.pfGainsLeft[u], fHistory + Ahead(a, a.puPositionsLeft[u]));
        for (uint32_t u = uNearRight; u < a.uNumRight; ++u)
            AddTapSse(accR, a.pfGainsRight[u], fHistory + Ahead(a, a.puPositionsRight[u]));
        _mm_storeu_ps(out_pfLeft + i, accL.a0);
        _mm_storeu_ps(out_pfLeft + i + 4, accL.a1);
        _mm_storeu_ps(out_pfLeft + i + 8, accL.a2);
        _mm_storeu_ps(out_pfLeft + i + 12, accL.a3);
        _mm_storeu_ps(out_pfRight + i, accR.a0);
        _mm_storeu_ps(out_pfRight + i + 4, accR.a1);
        _mm_storeu_ps(out_pfRight + i + 8, accR.a2);
        _mm_storeu_ps(out_pfRight + i + 12, accR.a3);
    }
    return i;
}
#endif

#ifdef OV_ER_AVX
constexpr uint32_t kAvxBlock = 32;

struct SumsAvx {
    __m256 a0, a1, a2, a3;
};

__attribute__((target("avx"))) OV_ER_INLINE void AddTapAvx(SumsAvx& io_acc, float in_fGain, const float* in_pfRead)
{
    const __m256 g = _mm256_set1_ps(in_fGain);
    io_acc.a0 = _mm256_add_ps(io_acc.a0, _mm256_mul_ps(g, _mm256_loadu_ps(in_pfRead)));
    io_acc.a1 = _mm256_add_ps(io_acc.a1, _mm256_mul_ps(g, _mm256_loadu_ps(in_pfRead + 8)));
    io_acc.a2 = _mm256_add_ps(io_acc.a2, _mm256_mul_ps(g, _mm256_loadu_ps(in_pfRead + 16)));
    io_acc.a3 = _mm256_add_ps(io_acc.a3, _mm256_mul_ps(g, _mm256_loadu_ps(in_pfRead + 24)));
}

// A wrap may fall inside a register's eight samples: its halves are read apart.
__attribute__((target("avx"))) OV_ER_INLINE __m256 LoadWrappedAvx(const ERBlockArgs& a, uint32_t in_uPosition,
                                                           uint32_t in_uAt)
{
    return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(a.Read(in_uPosition, in_uAt))),
                                _mm_loadu_ps(a.Read(in_uPosition, in_uAt + 4)), 1);
}

__attribute__((target("avx"))) OV_ER_INLINE void AddLineTapAvx(SumsAvx& io_acc, float in_fGain, const ERBlockArgs& a,
                                                         uint32_t in_uPosition, uint32_t in_uAt)
{
    if (in_uPosition + in_uAt + kAvxBlock <= a.uLength) {
        AddTapAvx(io_acc, in_fGain, a.pfLine + in_uPosition + in_uAt);
        return;
    }
    const __m256 g = _mm256_set1_ps(in_fGain);
    io_acc.a0 = _mm256_add_ps(io_acc.a0, _mm256_mul_ps(g, LoadWrappedAvx(a, in_uPosition, in_uAt)));
    io_acc.a1 = _mm256_add_ps(io_acc.a1, _mm256_mul_ps(g, LoadWrappedAvx(a, in_uPosition, in_uAt + 8)));
    io_acc.a2 = _mm256_add_ps(io_acc.a2, _mm256_mul_ps(g, LoadWrappedAvx(a, in_uPosition, in_uAt + 16)));
    io_acc.a3 = _mm256_add_ps(io_acc.a3, _mm256_mul_ps(g, LoadWrappedAvx(a, in_uPosition, in_uAt + 24)));
}

// The same as RunBlocksSse, eight samples to a register and 32 to a block.
__attribute__((target("avx"))) uint32_t RunBlocksAvx(const ERBlockArgs& a, const float* in_pfInput,
                                                     float* out_pfLeft, float* out_pfRight, uint32_t in_uStart,
                                                     uint32_t in_uFrames)
{
    constexpr uint32_t B = kAvxBlock;
    const uint32_t uNearLeft = a.uNumLeft - AheadTaps(a.puPositionsLeft, a.uNumLeft, a.uWriteOffset, a.uLength, B);
    const uint32_t uNearRight =
        a.uNumRight - AheadTaps(a.puPositionsRight, a.uNumRight, a.uWriteOffset, a.uLength, B);
    const uint32_t uShared = uNearLeft < uNearRight ? uNearLeft : uNearRight;
    // Read with unaligned loads; no 32-byte alignment is asked of the stack,
    // which GCC does not keep on 64-bit Windows.
    alignas(16) float fHistory[2 * B];
    uint32_t i = in_uStart;
    for (; i + B <= in_uFrames; i += B) {
        TakeHistoryAndWrite<B>(a, i, in_pfInput + i, fHistory);
        const __m256 z = _mm256_setzero_ps();
        SumsAvx accL = {z, z, z, z}, accR = {z, z, z, z};
        uint32_t t = 0;
        for (; t < uShared; ++t) {
            AddLineTapAvx(accL, a.pfGainsLeft[t], a, a.puPositionsLeft[t], i);
            AddLineTapAvx(accR, a.pfGainsRight[t], a, a.puPositionsRight[t], i);
        }
        for (uint32_t u = t; u < uNearLeft; ++u)
            AddLineTapAvx(accL, a.pfGainsLeft[u], a, a.puPositionsLeft[u], i);
        for (uint32_t u = t; u < uNearRight; ++u)
            AddLineTapAvx(accR, a.pfGainsRight[u], a, a.puPositionsRight[u], i);
        for (uint32_t u = uNearLeft; u < a.uNumLeft; ++u)
            AddTapAvx(accL, a.pfGainsLeft[u], fHistory + Ahead(a, a.puPositionsLeft[u]));
        for (uint32_t u = uNearRight; u < a.uNumRight; ++u)
            AddTapAvx(accR, a.pfGainsRight[u], fHistory + Ahead(a, a.puPositionsRight[u]));
        _mm256_storeu_ps(out_pfLeft + i, accL.a0);
        _mm256_storeu_ps(out_pfLeft + i + 8, accL.a1);
        _mm256_storeu_ps(out_pfLeft + i + 16, accL.a2);
        _mm256_storeu_ps(out_pfLeft + i + 24, accL.a3);
        _mm256_storeu_ps(out_pfRight + i, accR.a0);
        _mm256_storeu_ps(out_pfRight + i + 8, accR.a1);
        _mm256_storeu_ps(out_pfRight + i + 16, accR.a2);
        _mm256_storeu_ps(out_pfRight + i + 24, accR.a3);
    }
    return i;
}
#endif

}  // namespace

ERVectorPath ERUnitDual::WidestPath()
{
#ifdef OV_ER_AVX
    if (OvCpuInfo::Get().HasFeature(OV_CPU_AVX))
        return ERVectorPath::Avx;
#endif
#ifdef OV_ER_SSE
    return ERVectorPath::Sse2;
#else
    return ERVectorPath::Scalar;
#endif
}

void ERUnitDual::UseVectorPath(ERVectorPath in_ePath)
{
    const ERVectorPath eWidest = WidestPath();
    m_ePath = uint8_t(in_ePath) < uint8_t(eWidest) ? in_ePath : eWidest;
}

void ERUnitDual::Process(const float* in_pfInput, float* out_pfLeft, float* out_pfRight, uint32_t in_uNumFrames)
{
    OV_ASSERT(in_uNumFrames > 0);
    if (!m_pfDelay || m_uNumLeft == 0 || m_uNumRight == 0)
        return;
    const uint32_t uLength = m_uDelayLength;
    float* const pfLine = m_pfDelay;
    // The blocks need a line of at least two blocks, so that a tap's reads
    // inside one block wrap at most once and reach the written slots only
    // as the step would.
    const bool bBlocks = uLength >= 64;
    uint32_t uLeft = in_uNumFrames;
    while (uLeft) {
        // Segments end where the write offset wraps. Sample i writes at w + i
        // and tap t reads at its position + i, wrapped; positions move on at
        // the segment's end.
        const uint32_t w = m_uWriteOffset;
        const uint32_t n = uLeft < uLength - w ? uLeft : uLength - w;
        const ERBlockArgs args = {pfLine,           uLength,           w,         m_fGainsLeft, m_fGainsRight,
                                  m_uPositionsLeft, m_uPositionsRight, m_uNumLeft, m_uNumRight};
        auto runScalar = [&](uint32_t in_uFrom, uint32_t in_uTo) {
            for (uint32_t i = in_uFrom; i < in_uTo; ++i) {
                pfLine[w + i] = in_pfInput[i];
                float fLeft = 0.0f, fRight = 0.0f;
                for (uint32_t t = 0; t < m_uNumLeft; ++t)
                    fLeft += m_fGainsLeft[t] * *args.Read(m_uPositionsLeft[t], i);
                for (uint32_t t = 0; t < m_uNumRight; ++t)
                    fRight += m_fGainsRight[t] * *args.Read(m_uPositionsRight[t], i);
                out_pfLeft[i] = fLeft;
                out_pfRight[i] = fRight;
            }
        };
        uint32_t i = 0;
#ifdef OV_ER_SSE
        if (m_ePath != ERVectorPath::Scalar) {
            // Up to the grid of four of the line's end, so that no group of
            // four straddles it.
            const uint32_t uHead = std::min(n, (4 - w % 4) % 4);
            runScalar(0, uHead);
            i = uHead;
#ifdef OV_ER_AVX
            if (bBlocks && m_ePath == ERVectorPath::Avx)
                i = RunBlocksAvx(args, in_pfInput, out_pfLeft, out_pfRight, i, n);
#endif
            if (bBlocks)
                i = RunBlocksSse(args, in_pfInput, out_pfLeft, out_pfRight, i, n);
            for (; i + 4 <= n; i += 4) {
                _mm_storeu_ps(pfLine + w + i, _mm_loadu_ps(in_pfInput + i));
                __m128 sumLeft = _mm_setzero_ps(), sumRight = _mm_setzero_ps();
                for (uint32_t t = 0; t < m_uNumLeft; ++t)
                    sumLeft = _mm_add_ps(sumLeft, _mm_mul_ps(_mm_set1_ps(m_fGainsLeft[t]),
                                                             _mm_loadu_ps(args.Read(m_uPositionsLeft[t], i))));
                for (uint32_t t = 0; t < m_uNumRight; ++t)
                    sumRight = _mm_add_ps(sumRight, _mm_mul_ps(_mm_set1_ps(m_fGainsRight[t]),
                                                               _mm_loadu_ps(args.Read(m_uPositionsRight[t], i))));
                _mm_storeu_ps(out_pfLeft + i, sumLeft);
                _mm_storeu_ps(out_pfRight + i, sumRight);
            }
        }
#endif
        runScalar(i, n);
        // Taps wrap in the order of the next-wrap index: those that passed
        // the end move it on.
        uint32_t uWrapped = 0;
        for (uint32_t t = 0; t < m_uNumLeft; ++t) {
            uint32_t p = m_uPositionsLeft[t] + n;
            uWrapped += p >= uLength;
            m_uPositionsLeft[t] = uint16_t(p >= uLength ? p - uLength : p);
        }
        m_uNextWrapLeft = uint16_t((m_uNextWrapLeft + uWrapped) % m_uNumLeft);
        uWrapped = 0;
        for (uint32_t t = 0; t < m_uNumRight; ++t) {
            uint32_t p = m_uPositionsRight[t] + n;
            uWrapped += p >= uLength;
            m_uPositionsRight[t] = uint16_t(p >= uLength ? p - uLength : p);
        }
        m_uNextWrapRight = uint16_t((m_uNextWrapRight + uWrapped) % m_uNumRight);
        m_uWriteOffset = w + n == uLength ? 0 : w + n;
        in_pfInput += n;
        out_pfLeft += n;
        out_pfRight += n;
        uLeft -= n;
    }
}
