#include "sdk/dsp/dynamics/OvCompressor.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>

#include <emmintrin.h>

#include "ov/OvAssert.h"
#include "ov/OvCpuInfo.h"

#if (defined(__GNUC__) || defined(__clang__)) && (defined(__x86_64__) || defined(__i386__))
#include <immintrin.h>
#define OV_COMPRESSOR_AVX 1
#endif

namespace {

// -2.2 makes the time the 10-90 % rise of the one-pole smoother.
float SmoothingCoef(float in_fSeconds, float in_fSampleRate)
{
    return expf(-2.2f / (in_fSeconds * in_fSampleRate));
}

constexpr float kRmsTimeSeconds = 0.02322f;
constexpr float kPowerFloor = 1e-25f;

// Detector and gain computer for four side chains, one per lane; returns the
// linear gains. Each lane does the scalar form's operations in its order
// (OV::FastLog10 and OV::FastPow10FromDb of the frame; the test holds the
// scalar form), so the bits are those of one side chain run alone:
// std::max(a, b) is _mm_max_ps(b, a) (the same pick on NaN and signed
// zeros), and the attack or release outcome is picked by a mask instead of a
// branch that the sign of the level change would mispredict.
// How the gain smoother picks between its attack and release outcomes. The
// attack is taken when the level is at or above the gain (delta = gain -
// level <= 0), and then attack * delta >= release * delta exactly when
// attack <= release; rounding keeps that order, so the attack outcome is the
// larger of the two whenever it is taken, and the release outcome likewise
// when it is taken: with attack <= release the pick is the larger outcome,
// with attack >= release the smaller. A max or min is shorter on the
// smoother's dependence chain than the compare and mask. It holds for
// coefficients that are finite and above 0 (then both outcomes are NaN
// together, with the same NaN, and equal outcomes are the same bits: a sum
// of 0 is +0, the level never being -0); any other coefficient takes the mask.
enum class SmoothPick { Mask, Larger, Smaller };

// The pick that serves all of in_uCount lanes' coefficients.
SmoothPick ChooseSmoothPick(const float* in_pAttackCoefs, const float* in_pReleaseCoefs, uint32_t in_uCount)
{
    bool bLarger = true, bSmaller = true;
    for (uint32_t k = 0; k < in_uCount; ++k) {
        const float a = in_pAttackCoefs[k], r = in_pReleaseCoefs[k];
        if (!(a > 0.0f && a <= FLT_MAX && r > 0.0f && r <= FLT_MAX))
            return SmoothPick::Mask;
        bLarger = bLarger && a <= r;
        bSmaller = bSmaller && a >= r;
    }
    return bLarger ? SmoothPick::Larger : (bSmaller ? SmoothPick::Smaller : SmoothPick::Mask);
}

// True when no lane's range is NaN or so low that range * 0.05 < -37: then
// max(reduction, range) is never NaN (maxps answers the range for a NaN
// reduction) and, rounding being monotonic, its x = 0.05 * dB is never below
// -37, so the power function needs neither of its replacements.
bool RangeKeepsPowInRange(const float* in_pRangeDb, uint32_t in_uCount)
{
    for (uint32_t k = 0; k < in_uCount; ++k) {
        if (!(in_pRangeDb[k] * 0.05f >= -37.0f))
            return false;
    }
    return true;
}

struct GainComputerX4 {
    __m128 fRmsCoef;
    __m128 fAttackCoef;
    __m128 fReleaseCoef;
    __m128 fThresholdDb;
    __m128 fRatioFactor;
    __m128 fRangeDb;

    static __m128 FastLog10(__m128 in_fX)
    {
        const __m128i uBits = _mm_castps_si128(in_fX);
        const __m128i iExponent =
            _mm_sub_epi32(_mm_srli_epi32(_mm_slli_epi32(uBits, 1), 24), _mm_set1_epi32(127));
        const __m128 fMantissa = _mm_castsi128_ps(
            _mm_or_si128(_mm_and_si128(uBits, _mm_set1_epi32(0x007FFFFF)), _mm_set1_epi32(0x3F800000)));
        const __m128 fOne = _mm_set1_ps(1.0f);
        const __m128 t = _mm_div_ps(_mm_sub_ps(fMantissa, fOne), _mm_add_ps(fMantissa, fOne));
        const __m128 fSeries = _mm_mul_ps(_mm_mul_ps(_mm_set1_ps(2.0f), t),
                                          _mm_add_ps(fOne, _mm_mul_ps(_mm_mul_ps(t, t), _mm_set1_ps(0.33333334f))));
        return _mm_mul_ps(_mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(iExponent), _mm_set1_ps(0.6931472f)), fSeries),
                          _mm_set1_ps(0.4342945f));
    }

    // kInRange: no lane is NaN or below -740 dB, so the replacements for
    // those (0 below -37 of x, NaN kept) would change nothing and are left out.
    template <bool kInRange>
    static __m128 FastPow10FromDb(__m128 in_fDb)
    {
        const __m128 x = _mm_mul_ps(in_fDb, _mm_set1_ps(0.05f));
        __m128 fBits = _mm_add_ps(_mm_mul_ps(x, _mm_set1_ps(27866352.0f)), _mm_set1_ps(1065353216.0f));
        fBits = _mm_min_ps(_mm_set1_ps(2139094912.0f), fBits);
        // Lanes below -37 or NaN convert garbage here; both are replaced below.
        const __m128i uBits = _mm_cvttps_epi32(fBits);
        const __m128 fExponent = _mm_castsi128_ps(_mm_and_si128(uBits, _mm_set1_epi32(int32_t(0xFF800000u))));
        const __m128 fMantissa = _mm_castsi128_ps(
            _mm_or_si128(_mm_and_si128(uBits, _mm_set1_epi32(0x007FFFFF)), _mm_set1_epi32(0x3F800000)));
        __m128 r = _mm_mul_ps(
            fExponent,
            _mm_add_ps(_mm_set1_ps(0.65304345f),
                       _mm_mul_ps(fMantissa, _mm_add_ps(_mm_set1_ps(0.020805772f),
                                                        _mm_mul_ps(fMantissa, _mm_set1_ps(0.32518977f))))));
        if (kInRange)
            return r;
        r = _mm_andnot_ps(_mm_cmplt_ps(x, _mm_set1_ps(-37.0f)), r);
        const __m128 bNaN = _mm_cmpunord_ps(x, x);
        return _mm_or_ps(_mm_and_ps(bNaN, x), _mm_andnot_ps(bNaN, r));
    }

    // The three parts of one step; only the smoothers carry state from one
    // frame to the next.
    void Detect(__m128 p, __m128& io_fPower) const
    {
        io_fPower = _mm_add_ps(p, _mm_mul_ps(fRmsCoef, _mm_sub_ps(io_fPower, p)));
    }
    __m128 OverDb(__m128 in_fPower) const
    {
        return _mm_max_ps(_mm_setzero_ps(),
                          _mm_sub_ps(_mm_mul_ps(_mm_set1_ps(10.0f), FastLog10(in_fPower)), fThresholdDb));
    }
    template <SmoothPick P>
    void Smooth(__m128 in_fOverDb, __m128& io_fGainDb) const
    {
        const __m128 fDelta = _mm_sub_ps(io_fGainDb, in_fOverDb);
        const __m128 fAttacked = _mm_add_ps(in_fOverDb, _mm_mul_ps(fAttackCoef, fDelta));
        const __m128 fReleased = _mm_add_ps(in_fOverDb, _mm_mul_ps(fReleaseCoef, fDelta));
        if (P == SmoothPick::Larger) {
            io_fGainDb = _mm_max_ps(fAttacked, fReleased);
        } else if (P == SmoothPick::Smaller) {
            io_fGainDb = _mm_min_ps(fAttacked, fReleased);
        } else {
            // Attack while the level is at or above the gain, else release (NaN).
            const __m128 bAttack = _mm_cmple_ps(_mm_setzero_ps(), _mm_sub_ps(in_fOverDb, io_fGainDb));
            io_fGainDb = _mm_or_ps(_mm_and_ps(bAttack, fAttacked), _mm_andnot_ps(bAttack, fReleased));
        }
    }
    // The reduction is at least the range: with the range in range (see
    // RangeKeepsPowInRange) so is the power function's input.
    template <bool kInRange>
    __m128 Gain(__m128 in_fGainDb) const
    {
        return FastPow10FromDb<kInRange>(_mm_max_ps(_mm_mul_ps(in_fGainDb, fRatioFactor), fRangeDb));
    }

    template <SmoothPick P, bool kInRange>
    __m128 Step(__m128 p, __m128& io_fPower, __m128& io_fGainDb) const
    {
        Detect(p, io_fPower);
        Smooth<P>(OverDb(io_fPower), io_fGainDb);
        return Gain<kInRange>(io_fGainDb);
    }
};

// With fewer than three live lanes the smoothers leave lanes idle, so the log
// and power, which carry no state, run on several frames packed into one
// vector: one lane per frame for one side chain, two frames of two for two.
// Packed lane j * N + k holds frame j of side chain k; the coefficients are
// laid out to match (lane k % N).
template <uint32_t N>
constexpr uint32_t PackedVectors()
{
    return N == 1 ? 1u : N == 2 ? 2u : 4u;
}

template <uint32_t N>
void Pack(const __m128* in_pFrames, __m128* out_pPacked)
{
    if (N == 1) {
        out_pPacked[0] = _mm_movelh_ps(_mm_unpacklo_ps(in_pFrames[0], in_pFrames[1]),
                                       _mm_unpacklo_ps(in_pFrames[2], in_pFrames[3]));
    } else if (N == 2) {
        out_pPacked[0] = _mm_movelh_ps(in_pFrames[0], in_pFrames[1]);
        out_pPacked[1] = _mm_movelh_ps(in_pFrames[2], in_pFrames[3]);
    } else {
        for (uint32_t j = 0; j < 4; ++j)
            out_pPacked[j] = in_pFrames[j];
    }
}

// The idle lanes of each frame get other frames' values; they are dropped.
template <uint32_t N>
void Unpack(const __m128* in_pPacked, __m128* out_pFrames)
{
    if (N == 1) {
        const __m128 v = in_pPacked[0];
        out_pFrames[0] = v;
        out_pFrames[1] = _mm_shuffle_ps(v, v, _MM_SHUFFLE(1, 1, 1, 1));
        out_pFrames[2] = _mm_shuffle_ps(v, v, _MM_SHUFFLE(2, 2, 2, 2));
        out_pFrames[3] = _mm_shuffle_ps(v, v, _MM_SHUFFLE(3, 3, 3, 3));
    } else if (N == 2) {
        out_pFrames[0] = in_pPacked[0];
        out_pFrames[1] = _mm_movehl_ps(in_pPacked[0], in_pPacked[0]);
        out_pFrames[2] = in_pPacked[1];
        out_pFrames[3] = _mm_movehl_ps(in_pPacked[1], in_pPacked[1]);
    } else {
        for (uint32_t j = 0; j < 4; ++j)
            out_pFrames[j] = in_pPacked[j];
    }
}

// Runs N side chains (lanes 0 to N - 1) over in_uFrames frames (at least
// one: with no valid frames the first sample still passes through the
// detector and gain; intended). io_source.Load(i, p) gives the detector
// powers of frames i to i + 3, one vector per frame; io_source.Apply(i,
// packed) takes their gains in the packed layout. LoadOne and ApplyOne do the
// same for one frame of the remainder.
//
// Four frames per step in three stages: detector and level, gain smoother
// two steps behind, gain and output one step behind that. The detector of
// the next four frames is issued before the smoother, so the two smoothers'
// dependence chains overlap instead of waiting on the log between them, and
// the log has a whole step to finish; the power function waits for neither
// and is issued before the smoother, which leaves the smoother's chain, the
// longest, less crowded.
template <uint32_t N, SmoothPick P, bool kInRange, class Source>
void RunSideChains(const GainComputerX4& in_computer, __m128& io_fPower, __m128& io_fGainDb,
                   uint32_t in_uFrames, Source& io_source)
{
    constexpr uint32_t M = PackedVectors<N>();
    const uint32_t uFrames = std::max<uint32_t>(in_uFrames, 1u);
    const uint32_t uSteps = uFrames / 4;
    __m128 vPower = io_fPower;
    __m128 vGainDb = io_fGainDb;
    __m128 fOverDb[M] = {}, fOlderOverDb[M] = {}, fSmoothDb[M] = {};
    for (uint32_t uStep = 0; uStep < uSteps + 3; ++uStep) {
        __m128 fNextOverDb[M] = {}, fNextSmoothDb[M] = {};
        if (uStep < uSteps) {
            __m128 v[4];
            io_source.Load(uStep * 4, v);
            #pragma GCC unroll 4
            for (uint32_t j = 0; j < 4; ++j) {
                in_computer.Detect(v[j], vPower);
                v[j] = vPower;
            }
            Pack<N>(v, fNextOverDb);
            #pragma GCC unroll 4
            for (uint32_t m = 0; m < M; ++m)
                fNextOverDb[m] = in_computer.OverDb(fNextOverDb[m]);
        }
        if (uStep > 2) {
            __m128 packed[M];
            #pragma GCC unroll 4
            for (uint32_t m = 0; m < M; ++m)
                packed[m] = in_computer.Gain<kInRange>(fSmoothDb[m]);
            io_source.Apply((uStep - 3) * 4, packed);
        }
        if (uStep > 1 && uStep <= uSteps + 1) {
            __m128 v[4];
            Unpack<N>(fOlderOverDb, v);
            #pragma GCC unroll 4
            for (uint32_t j = 0; j < 4; ++j) {
                in_computer.Smooth<P>(v[j], vGainDb);
                v[j] = vGainDb;
            }
            Pack<N>(v, fNextSmoothDb);
        }
        #pragma GCC unroll 4
        for (uint32_t m = 0; m < M; ++m) {
            fOlderOverDb[m] = fOverDb[m];
            fOverDb[m] = fNextOverDb[m];
            fSmoothDb[m] = fNextSmoothDb[m];
        }
    }
    for (uint32_t i = uSteps * 4; i < uFrames; ++i)
        io_source.ApplyOne(i, in_computer.Step<P, kInRange>(io_source.LoadOne(i), vPower, vGainDb));
    io_fPower = vPower;
    io_fGainDb = vGainDb;
}

// The gains around the core, in lanes; kGains false leaves them out. The
// pre gain scales what the core reads, the post gain what it writes, as
// separate passes would: 0 + post * (x * pre * gain).
template <bool kGains>
struct GainsX4 {
    __m128 fPre;
    __m128 fPost;

    static GainsX4 From(const OvCompressor::GainsAround* in_pGains)
    {
        return in_pGains ? GainsX4{_mm_set1_ps(in_pGains->fPre), _mm_set1_ps(in_pGains->fPost)}
                         : GainsX4{_mm_set1_ps(1.0f), _mm_set1_ps(1.0f)};
    }
    __m128 In(__m128 x) const { return kGains ? _mm_mul_ps(x, fPre) : x; }
    __m128 Out(__m128 x, __m128 in_fGain) const
    {
        const __m128 y = _mm_mul_ps(In(x), in_fGain);
        return kGains ? _mm_add_ps(_mm_setzero_ps(), _mm_mul_ps(fPost, y)) : y;
    }
    float In(float x) const { return kGains ? x * _mm_cvtss_f32(fPre) : x; }
    float Out(float x, float in_fGain) const
    {
        const float y = In(x) * in_fGain;
        return kGains ? 0.0f + _mm_cvtss_f32(fPost) * y : y;
    }
};

// Per-channel side chains, one per lane; lanes from N on run on silence.
template <uint32_t N, bool kGains>
struct LaneSource {
    float* pOut[N];
    const float* pDetect[N];
    GainsX4<kGains> gains;

    void Load(uint32_t i, __m128* out_pPower) const
    {
        // Rows are lanes on load, frames after the transpose.
        #pragma GCC unroll 4
        for (uint32_t k = 0; k < 4; ++k)
            out_pPower[k] = k < N ? gains.In(_mm_loadu_ps(pDetect[k] + i)) : _mm_setzero_ps();
        _MM_TRANSPOSE4_PS(out_pPower[0], out_pPower[1], out_pPower[2], out_pPower[3]);
        #pragma GCC unroll 4
        for (uint32_t j = 0; j < 4; ++j)
            out_pPower[j] = _mm_add_ps(_mm_mul_ps(out_pPower[j], out_pPower[j]), _mm_set1_ps(kPowerFloor));
    }
    void Apply(uint32_t i, const __m128* in_pPacked)
    {
        __m128 g[4];
        Unpack<N>(in_pPacked, g);
        _MM_TRANSPOSE4_PS(g[0], g[1], g[2], g[3]);
        #pragma GCC unroll 4
        for (uint32_t k = 0; k < N; ++k)
            _mm_storeu_ps(pOut[k] + i, gains.Out(_mm_loadu_ps(pOut[k] + i), g[k]));
    }
    __m128 LoadOne(uint32_t i) const
    {
        float fX[4] = {};
        #pragma GCC unroll 4
        for (uint32_t k = 0; k < N; ++k)
            fX[k] = gains.In(pDetect[k][i]);
        const __m128 x = _mm_loadu_ps(fX);
        return _mm_add_ps(_mm_mul_ps(x, x), _mm_set1_ps(kPowerFloor));
    }
    void ApplyOne(uint32_t i, __m128 in_fGain)
    {
        float fGain[4];
        _mm_storeu_ps(fGain, in_fGain);
        #pragma GCC unroll 4
        for (uint32_t k = 0; k < N; ++k)
            pOut[k][i] = gains.Out(pOut[k][i], fGain[k]);
    }
};

// One side chain for all channels: mean power, in the channel order of the
// scalar form, one frame per lane; the gain goes to every channel.
template <bool kGains>
struct LinkedSource {
    float* pBase;
    uint32_t uStride;
    uint32_t uChannels;
    float fInvChannels;
    GainsX4<kGains> gains;

    __m128 Power(__m128 in_fSum) const
    {
        return _mm_add_ps(_mm_mul_ps(in_fSum, _mm_set1_ps(fInvChannels)), _mm_set1_ps(kPowerFloor));
    }
    void Load(uint32_t i, __m128* out_pPower) const
    {
        __m128 x = gains.In(_mm_loadu_ps(pBase + i));
        __m128 fSum = _mm_mul_ps(x, x);
        for (uint32_t c = 1; c < uChannels; ++c) {
            x = gains.In(_mm_loadu_ps(pBase + size_t(c) * uStride + i));
            fSum = _mm_add_ps(fSum, _mm_mul_ps(x, x));
        }
        const __m128 fPacked = Power(fSum);
        Unpack<1>(&fPacked, out_pPower);
    }
    void Apply(uint32_t i, const __m128* in_pPacked)
    {
        for (uint32_t c = 0; c < uChannels; ++c) {
            float* p = pBase + size_t(c) * uStride + i;
            _mm_storeu_ps(p, gains.Out(_mm_loadu_ps(p), in_pPacked[0]));
        }
    }
    __m128 LoadOne(uint32_t i) const
    {
        float x = gains.In(pBase[i]);
        float s = x * x;
        for (uint32_t c = 1; c < uChannels; ++c) {
            x = gains.In(pBase[size_t(c) * uStride + i]);
            s += x * x;
        }
        return Power(_mm_set_ss(s));
    }
    void ApplyOne(uint32_t i, __m128 in_fGain)
    {
        const float g = _mm_cvtss_f32(in_fGain);
        for (uint32_t c = 0; c < uChannels; ++c) {
            float& x = pBase[size_t(c) * uStride + i];
            x = gains.Out(x, g);
        }
    }
};

// RunSideChains with the smoother's pick for the coefficients' lanes, and
// the short power function where the ranges allow it (the mask pick, for
// coefficients out of the ordinary, always takes the full one).
template <uint32_t N, class Source>
void RunSideChainsPicked(const GainComputerX4& in_computer, const float* in_pAttackCoefs,
                         const float* in_pReleaseCoefs, const float* in_pRangeDb, uint32_t in_uCoefs,
                         __m128& io_fPower, __m128& io_fGainDb, uint32_t in_uFrames, Source& io_source)
{
    const bool bInRange = RangeKeepsPowInRange(in_pRangeDb, in_uCoefs);
    switch (ChooseSmoothPick(in_pAttackCoefs, in_pReleaseCoefs, in_uCoefs)) {
    case SmoothPick::Larger:
        if (bInRange)
            RunSideChains<N, SmoothPick::Larger, true>(in_computer, io_fPower, io_fGainDb, in_uFrames, io_source);
        else
            RunSideChains<N, SmoothPick::Larger, false>(in_computer, io_fPower, io_fGainDb, in_uFrames, io_source);
        break;
    case SmoothPick::Smaller:
        if (bInRange)
            RunSideChains<N, SmoothPick::Smaller, true>(in_computer, io_fPower, io_fGainDb, in_uFrames, io_source);
        else
            RunSideChains<N, SmoothPick::Smaller, false>(in_computer, io_fPower, io_fGainDb, in_uFrames, io_source);
        break;
    default:
        RunSideChains<N, SmoothPick::Mask, false>(in_computer, io_fPower, io_fGainDb, in_uFrames, io_source);
        break;
    }
}

template <uint32_t N, bool kGains>
void RunLaneGroup(const OvCompressor::Lane* in_pLanes, const OvCompressor::GainsAround* in_pGains)
{
    float fCoef[6][4];
    float fPower[4] = {}, fGainDb[4] = {};
    LaneSource<N, kGains> source = {};
    source.gains = GainsX4<kGains>::From(in_pGains);
    for (uint32_t k = 0; k < 4; ++k) {
        // Lane k % N: the packed layout's coefficients.
        const OvCompressor::Lane& lane = in_pLanes[k % N];
        fCoef[0][k] = lane.fRmsCoef;
        fCoef[1][k] = lane.fAttackCoef;
        fCoef[2][k] = lane.fReleaseCoef;
        fCoef[3][k] = lane.fThresholdDb;
        fCoef[4][k] = lane.fRatioFactor;
        fCoef[5][k] = lane.fRangeDb;
        if (k < N) {
            fPower[k] = lane.pState->fPower;
            fGainDb[k] = lane.pState->fGainDb;
            source.pOut[k] = lane.pOut;
            source.pDetect[k] = lane.pDetect;
        }
    }
    const GainComputerX4 computer = {_mm_loadu_ps(fCoef[0]), _mm_loadu_ps(fCoef[1]), _mm_loadu_ps(fCoef[2]),
                                     _mm_loadu_ps(fCoef[3]), _mm_loadu_ps(fCoef[4]), _mm_loadu_ps(fCoef[5])};
    __m128 vPower = _mm_loadu_ps(fPower);
    __m128 vGainDb = _mm_loadu_ps(fGainDb);
    RunSideChainsPicked<N>(computer, fCoef[1], fCoef[2], fCoef[5], 4, vPower, vGainDb, in_pLanes[0].uFrames,
                           source);
    _mm_storeu_ps(fPower, vPower);
    _mm_storeu_ps(fGainDb, vGainDb);
    for (uint32_t k = 0; k < N; ++k) {
        in_pLanes[k].pState->fPower = fPower[k];
        in_pLanes[k].pState->fGainDb = fGainDb[k];
    }
}


#if OV_COMPRESSOR_AVX
#define OV_COMPRESSOR_AVX_INLINE __attribute__((target("avx"), always_inline)) inline

// GainComputerX4 for eight side chains in 256-bit vectors: the same
// operations in the same order, AVX without FMA, so each lane has the bits of
// the four-lane form. AVX has no 256-bit integer arithmetic, so the log takes
// its exponent from the exponent field read as an integer (e * 2^23, exact as
// a float) scaled by 2^-23, less 127: exactly the integer form's value; the
// masks are float bit operations.
struct GainComputerX8 {
    __m256 fRmsCoef;
    __m256 fAttackCoef;
    __m256 fReleaseCoef;
    __m256 fThresholdDb;
    __m256 fRatioFactor;
    __m256 fRangeDb;

    static OV_COMPRESSOR_AVX_INLINE __m256 Bits(int32_t in_iBits)
    {
        return _mm256_castsi256_ps(_mm256_set1_epi32(in_iBits));
    }
    static OV_COMPRESSOR_AVX_INLINE __m256 Mantissa(__m256 in_fBits)
    {
        return _mm256_or_ps(_mm256_and_ps(in_fBits, Bits(0x007FFFFF)), Bits(0x3F800000));
    }
    static OV_COMPRESSOR_AVX_INLINE __m256 FastLog10(__m256 in_fX)
    {
        const __m256 fField = _mm256_and_ps(in_fX, Bits(0x7F800000));
        const __m256 fExponent =
            _mm256_sub_ps(_mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_castps_si256(fField)), _mm256_set1_ps(0x1p-23f)),
                          _mm256_set1_ps(127.0f));
        const __m256 fMantissa = Mantissa(in_fX);
        const __m256 fOne = _mm256_set1_ps(1.0f);
        const __m256 t = _mm256_div_ps(_mm256_sub_ps(fMantissa, fOne), _mm256_add_ps(fMantissa, fOne));
        const __m256 fSeries =
            _mm256_mul_ps(_mm256_mul_ps(_mm256_set1_ps(2.0f), t),
                          _mm256_add_ps(fOne, _mm256_mul_ps(_mm256_mul_ps(t, t), _mm256_set1_ps(0.33333334f))));
        return _mm256_mul_ps(_mm256_add_ps(_mm256_mul_ps(fExponent, _mm256_set1_ps(0.6931472f)), fSeries),
                             _mm256_set1_ps(0.4342945f));
    }
    template <bool kInRange>
    static OV_COMPRESSOR_AVX_INLINE __m256 FastPow10FromDb(__m256 in_fDb)
    {
        const __m256 x = _mm256_mul_ps(in_fDb, _mm256_set1_ps(0.05f));
        __m256 fBits = _mm256_add_ps(_mm256_mul_ps(x, _mm256_set1_ps(27866352.0f)), _mm256_set1_ps(1065353216.0f));
        fBits = _mm256_min_ps(_mm256_set1_ps(2139094912.0f), fBits);
        const __m256 uBits = _mm256_castsi256_ps(_mm256_cvttps_epi32(fBits));
        const __m256 fExponent = _mm256_and_ps(uBits, Bits(int32_t(0xFF800000u)));
        const __m256 fMantissa = Mantissa(uBits);
        __m256 r = _mm256_mul_ps(
            fExponent, _mm256_add_ps(_mm256_set1_ps(0.65304345f),
                                     _mm256_mul_ps(fMantissa,
                                                   _mm256_add_ps(_mm256_set1_ps(0.020805772f),
                                                                 _mm256_mul_ps(fMantissa, _mm256_set1_ps(0.32518977f))))));
        if (kInRange)
            return r;
        r = _mm256_andnot_ps(_mm256_cmp_ps(x, _mm256_set1_ps(-37.0f), _CMP_LT_OS), r);
        const __m256 bNaN = _mm256_cmp_ps(x, x, _CMP_UNORD_Q);
        return _mm256_or_ps(_mm256_and_ps(bNaN, x), _mm256_andnot_ps(bNaN, r));
    }

    OV_COMPRESSOR_AVX_INLINE void Detect(__m256 p, __m256& io_fPower) const
    {
        io_fPower = _mm256_add_ps(p, _mm256_mul_ps(fRmsCoef, _mm256_sub_ps(io_fPower, p)));
    }
    OV_COMPRESSOR_AVX_INLINE __m256 OverDb(__m256 in_fPower) const
    {
        return _mm256_max_ps(_mm256_setzero_ps(),
                             _mm256_sub_ps(_mm256_mul_ps(_mm256_set1_ps(10.0f), FastLog10(in_fPower)), fThresholdDb));
    }
    template <SmoothPick P>
    OV_COMPRESSOR_AVX_INLINE void Smooth(__m256 in_fOverDb, __m256& io_fGainDb) const
    {
        const __m256 fDelta = _mm256_sub_ps(io_fGainDb, in_fOverDb);
        const __m256 fAttacked = _mm256_add_ps(in_fOverDb, _mm256_mul_ps(fAttackCoef, fDelta));
        const __m256 fReleased = _mm256_add_ps(in_fOverDb, _mm256_mul_ps(fReleaseCoef, fDelta));
        if (P == SmoothPick::Larger) {
            io_fGainDb = _mm256_max_ps(fAttacked, fReleased);
        } else if (P == SmoothPick::Smaller) {
            io_fGainDb = _mm256_min_ps(fAttacked, fReleased);
        } else {
            const __m256 bAttack =
                _mm256_cmp_ps(_mm256_setzero_ps(), _mm256_sub_ps(in_fOverDb, io_fGainDb), _CMP_LE_OS);
            io_fGainDb = _mm256_or_ps(_mm256_and_ps(bAttack, fAttacked), _mm256_andnot_ps(bAttack, fReleased));
        }
    }
    template <bool kInRange>
    OV_COMPRESSOR_AVX_INLINE __m256 Gain(__m256 in_fGainDb) const
    {
        return FastPow10FromDb<kInRange>(_mm256_max_ps(_mm256_mul_ps(in_fGainDb, fRatioFactor), fRangeDb));
    }
    template <SmoothPick P, bool kInRange>
    OV_COMPRESSOR_AVX_INLINE __m256 Step(__m256 p, __m256& io_fPower, __m256& io_fGainDb) const
    {
        Detect(p, io_fPower);
        Smooth<P>(OverDb(io_fPower), io_fGainDb);
        return Gain<kInRange>(io_fGainDb);
    }
};

// Rows k and k + 4 of a 4 x 4 block in one register (k in the low half),
// transposed within each half.
OV_COMPRESSOR_AVX_INLINE void Transpose4InHalves(__m256* io_pRows)
{
    const __m256 t0 = _mm256_unpacklo_ps(io_pRows[0], io_pRows[1]);
    const __m256 t1 = _mm256_unpacklo_ps(io_pRows[2], io_pRows[3]);
    const __m256 t2 = _mm256_unpackhi_ps(io_pRows[0], io_pRows[1]);
    const __m256 t3 = _mm256_unpackhi_ps(io_pRows[2], io_pRows[3]);
    io_pRows[0] = _mm256_shuffle_ps(t0, t1, _MM_SHUFFLE(1, 0, 1, 0));
    io_pRows[1] = _mm256_shuffle_ps(t0, t1, _MM_SHUFFLE(3, 2, 3, 2));
    io_pRows[2] = _mm256_shuffle_ps(t2, t3, _MM_SHUFFLE(1, 0, 1, 0));
    io_pRows[3] = _mm256_shuffle_ps(t2, t3, _MM_SHUFFLE(3, 2, 3, 2));
}

// Eight per-channel side chains, lanes 0 to uLive - 1 live; the idle lanes
// repeat live lanes' pointers (and coefficients), so they read real samples,
// and their results are dropped. The gains around the core as in GainsX4.
template <bool kGains>
struct LaneSourceX8 {
    float* pOut[8];
    const float* pDetect[8];
    uint32_t uLive;
    float fPre;
    float fPost;

    OV_COMPRESSOR_AVX_INLINE __m256 In(__m256 x) const
    {
        return kGains ? _mm256_mul_ps(x, _mm256_set1_ps(fPre)) : x;
    }
    OV_COMPRESSOR_AVX_INLINE __m256 Out(__m256 x, __m256 in_fGain) const
    {
        const __m256 y = _mm256_mul_ps(In(x), in_fGain);
        return kGains ? _mm256_add_ps(_mm256_setzero_ps(), _mm256_mul_ps(_mm256_set1_ps(fPost), y)) : y;
    }
    OV_COMPRESSOR_AVX_INLINE float In(float x) const { return kGains ? x * fPre : x; }
    OV_COMPRESSOR_AVX_INLINE float Out(float x, float in_fGain) const
    {
        const float y = In(x) * in_fGain;
        return kGains ? 0.0f + fPost * y : y;
    }
    static OV_COMPRESSOR_AVX_INLINE __m256 LoadPair(const float* in_pA, const float* in_pB)
    {
        return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(in_pA)), _mm_loadu_ps(in_pB), 1);
    }

    // Frames i to i + 3, one vector of eight lanes per frame.
    OV_COMPRESSOR_AVX_INLINE void Load(uint32_t i, __m256* out_pPower) const
    {
        #pragma GCC unroll 4
        for (uint32_t k = 0; k < 4; ++k)
            out_pPower[k] = In(LoadPair(pDetect[k] + i, pDetect[k + 4] + i));
        Transpose4InHalves(out_pPower);
        #pragma GCC unroll 4
        for (uint32_t j = 0; j < 4; ++j)
            out_pPower[j] = _mm256_add_ps(_mm256_mul_ps(out_pPower[j], out_pPower[j]), _mm256_set1_ps(kPowerFloor));
    }
    OV_COMPRESSOR_AVX_INLINE void Apply(uint32_t i, const __m256* in_pGains)
    {
        __m256 g[4] = {in_pGains[0], in_pGains[1], in_pGains[2], in_pGains[3]};
        Transpose4InHalves(g);
        #pragma GCC unroll 4
        for (uint32_t k = 0; k < 4; ++k) {
            const __m256 y = Out(LoadPair(pOut[k] + i, pOut[k + 4] + i), g[k]);
            // Lanes 0 to 3 are always live: a group has at least five.
            _mm_storeu_ps(pOut[k] + i, _mm256_castps256_ps128(y));
            if (k + 4 < uLive)
                _mm_storeu_ps(pOut[k + 4] + i, _mm256_extractf128_ps(y, 1));
        }
    }
    OV_COMPRESSOR_AVX_INLINE __m256 LoadOne(uint32_t i) const
    {
        float fX[8];
        #pragma GCC unroll 8
        for (uint32_t k = 0; k < 8; ++k)
            fX[k] = In(pDetect[k][i]);
        const __m256 x = _mm256_loadu_ps(fX);
        return _mm256_add_ps(_mm256_mul_ps(x, x), _mm256_set1_ps(kPowerFloor));
    }
    OV_COMPRESSOR_AVX_INLINE void ApplyOne(uint32_t i, __m256 in_fGain)
    {
        float fGain[8];
        _mm256_storeu_ps(fGain, in_fGain);
        for (uint32_t k = 0; k < uLive; ++k)
            pOut[k][i] = Out(pOut[k][i], fGain[k]);
    }
};

// RunSideChains for eight lanes: the same three-stage pipeline, four frames
// per step, each frame one vector.
template <SmoothPick P, bool kInRange, bool kGains>
__attribute__((target("avx"))) void RunSideChainsX8(const GainComputerX8& in_computer, __m256& io_fPower,
                                                     __m256& io_fGainDb, uint32_t in_uFrames,
                                                     LaneSourceX8<kGains>& io_source)
{
    const uint32_t uFrames = std::max<uint32_t>(in_uFrames, 1u);
    const uint32_t uSteps = uFrames / 4;
    __m256 vPower = io_fPower;
    __m256 vGainDb = io_fGainDb;
    const __m256 fZero = _mm256_setzero_ps();
    __m256 fOverDb[4] = {fZero, fZero, fZero, fZero}, fOlderOverDb[4] = {fZero, fZero, fZero, fZero};
    __m256 fSmoothDb[4] = {fZero, fZero, fZero, fZero};
    for (uint32_t uStep = 0; uStep < uSteps + 3; ++uStep) {
        __m256 fNextOverDb[4] = {fZero, fZero, fZero, fZero}, fNextSmoothDb[4] = {fZero, fZero, fZero, fZero};
        if (uStep < uSteps) {
            __m256 v[4];
            io_source.Load(uStep * 4, v);
            #pragma GCC unroll 4
            for (uint32_t j = 0; j < 4; ++j) {
                in_computer.Detect(v[j], vPower);
                fNextOverDb[j] = in_computer.OverDb(vPower);
            }
        }
        if (uStep > 2) {
            __m256 g[4];
            #pragma GCC unroll 4
            for (uint32_t j = 0; j < 4; ++j)
                g[j] = in_computer.Gain<kInRange>(fSmoothDb[j]);
            io_source.Apply((uStep - 3) * 4, g);
        }
        if (uStep > 1 && uStep <= uSteps + 1) {
            #pragma GCC unroll 4
            for (uint32_t j = 0; j < 4; ++j) {
                in_computer.Smooth<P>(fOlderOverDb[j], vGainDb);
                fNextSmoothDb[j] = vGainDb;
            }
        }
        #pragma GCC unroll 4
        for (uint32_t j = 0; j < 4; ++j) {
            fOlderOverDb[j] = fOverDb[j];
            fOverDb[j] = fNextOverDb[j];
            fSmoothDb[j] = fNextSmoothDb[j];
        }
    }
    for (uint32_t i = uSteps * 4; i < uFrames; ++i)
        io_source.ApplyOne(i, in_computer.Step<P, kInRange>(io_source.LoadOne(i), vPower, vGainDb));
    io_fPower = vPower;
    io_fGainDb = vGainDb;
}

// Five to eight lanes of the same length; lane k % n fills lane k.
template <bool kGains>
__attribute__((target("avx"))) void RunLaneGroupX8(const OvCompressor::Lane* in_pLanes, uint32_t in_uNumLanes,
                                                    const OvCompressor::GainsAround* in_pGains)
{
    OV_ASSERT(in_uNumLanes >= 5 && in_uNumLanes <= 8);
    float fCoef[6][8];
    float fPower[8], fGainDb[8];
    LaneSourceX8<kGains> source;
    source.uLive = in_uNumLanes;
    source.fPre = in_pGains ? in_pGains->fPre : 1.0f;
    source.fPost = in_pGains ? in_pGains->fPost : 1.0f;
    for (uint32_t k = 0; k < 8; ++k) {
        const OvCompressor::Lane& lane = in_pLanes[k % in_uNumLanes];
        fCoef[0][k] = lane.fRmsCoef;
        fCoef[1][k] = lane.fAttackCoef;
        fCoef[2][k] = lane.fReleaseCoef;
        fCoef[3][k] = lane.fThresholdDb;
        fCoef[4][k] = lane.fRatioFactor;
        fCoef[5][k] = lane.fRangeDb;
        fPower[k] = lane.pState->fPower;
        fGainDb[k] = lane.pState->fGainDb;
        source.pOut[k] = lane.pOut;
        source.pDetect[k] = lane.pDetect;
    }
    const GainComputerX8 computer = {_mm256_loadu_ps(fCoef[0]), _mm256_loadu_ps(fCoef[1]),
                                     _mm256_loadu_ps(fCoef[2]), _mm256_loadu_ps(fCoef[3]),
                                     _mm256_loadu_ps(fCoef[4]), _mm256_loadu_ps(fCoef[5])};
    __m256 vPower = _mm256_loadu_ps(fPower);
    __m256 vGainDb = _mm256_loadu_ps(fGainDb);
    const uint32_t uFrames = in_pLanes[0].uFrames;
    const bool bInRange = RangeKeepsPowInRange(fCoef[5], 8);
    switch (ChooseSmoothPick(fCoef[1], fCoef[2], 8)) {
    case SmoothPick::Larger:
        if (bInRange)
            RunSideChainsX8<SmoothPick::Larger, true>(computer, vPower, vGainDb, uFrames, source);
        else
            RunSideChainsX8<SmoothPick::Larger, false>(computer, vPower, vGainDb, uFrames, source);
        break;
    case SmoothPick::Smaller:
        if (bInRange)
            RunSideChainsX8<SmoothPick::Smaller, true>(computer, vPower, vGainDb, uFrames, source);
        else
            RunSideChainsX8<SmoothPick::Smaller, false>(computer, vPower, vGainDb, uFrames, source);
        break;
    default:
        RunSideChainsX8<SmoothPick::Mask, false>(computer, vPower, vGainDb, uFrames, source);
        break;
    }
    _mm256_storeu_ps(fPower, vPower);
    _mm256_storeu_ps(fGainDb, vGainDb);
    for (uint32_t k = 0; k < in_uNumLanes; ++k) {
        in_pLanes[k].pState->fPower = fPower[k];
        in_pLanes[k].pState->fGainDb = fGainDb[k];
    }
}
#endif  // OV_COMPRESSOR_AVX

}  // namespace

OvResult OvCompressor::Init(IOvMemAlloc* in_pAllocator, bool in_bProcessLFE,
                            const OvStreamFormat& in_format, float in_fAttack, float in_fRelease,
                            bool in_bChannelLink)
{
    OV_ASSERT(in_pAllocator != NULL);
    Shutdown(in_pAllocator);

    m_bProcessLFE = in_bProcessLFE;
    m_uNumChannels = in_format.channelConfig.uNumChannels;
    m_fSampleRate = float(in_format.uSampleRate);

    m_fAttack = in_fAttack;
    m_fAttackCoef = SmoothingCoef(in_fAttack, m_fSampleRate);
    m_fRelease = in_fRelease;
    m_fReleaseCoef = SmoothingCoef(in_fRelease, m_fSampleRate);

    m_uNumProcessedChannels = m_uNumChannels;
    if (in_format.channelConfig.HasLFE() && !in_bProcessLFE && m_uNumProcessedChannels > 0)
        --m_uNumProcessedChannels;

    m_fnProcess = (in_bChannelLink && m_uNumChannels != 1) ? &OvCompressor::ProcessLinked
                                                           : &OvCompressor::ProcessPerChannel;
    m_uNumSideChain = in_bChannelLink ? 1u : m_uNumProcessedChannels;

    if (m_uNumSideChain > 0) {
        if (!in_pAllocator)
            return OV_OutOfMemory;
        m_pSideChain = static_cast<SideChainState*>(
            in_pAllocator->Malloc(m_uNumSideChain * sizeof(SideChainState)));
        if (!m_pSideChain) {
            m_uNumSideChain = 0;
            return OV_OutOfMemory;
        }
        Reset();
    }

    m_fRmsCoef = expf(-1.0f / (kRmsTimeSeconds * m_fSampleRate));
    return OV_Success;
}

void OvCompressor::Shutdown(IOvMemAlloc* in_pAllocator)
{
    if (m_pSideChain && in_pAllocator)
        in_pAllocator->Free(m_pSideChain);
    m_pSideChain = nullptr;
}

void OvCompressor::Reset()
{
    if (m_pSideChain)
        std::memset(m_pSideChain, 0, m_uNumSideChain * sizeof(SideChainState));
}

const OvCompressor::SideChainState* OvCompressor::GetSideChainState(uint32_t in_uIndex) const
{
    return (m_pSideChain && in_uIndex < m_uNumSideChain) ? &m_pSideChain[in_uIndex] : nullptr;
}

void OvCompressor::UpdateTimes(float in_fAttack, float in_fRelease)
{
    if (in_fAttack != m_fAttack) {
        m_fAttack = in_fAttack;
        m_fAttackCoef = SmoothingCoef(in_fAttack, m_fSampleRate);
    }
    if (in_fRelease != m_fRelease) {
        m_fRelease = in_fRelease;
        m_fReleaseCoef = SmoothingCoef(in_fRelease, m_fSampleRate);
    }
}

void OvCompressor::Process(OvPipelineBuffer* io_pBuffer, float in_fThresholdDb, float in_fRatio,
                           float in_fAttack, float in_fRelease, float in_fRangeDb)
{
    if (!m_fnProcess || !io_pBuffer)
        return;
    UpdateTimes(in_fAttack, in_fRelease);
    const float fRatioFactor = 1.0f / in_fRatio - 1.0f;
    (this->*m_fnProcess)(io_pBuffer, nullptr, in_fThresholdDb, fRatioFactor, in_fRangeDb,
                         m_uNumProcessedChannels, nullptr);
}

uint32_t OvCompressor::ProcessWithGains(OvPipelineBuffer* io_pBuffer, float in_fPreGain, float in_fPostGain,
                                        float in_fThresholdDb, float in_fRatio, float in_fAttack,
                                        float in_fRelease, float in_fRangeDb)
{
    // With no valid frames the per-channel routine would still run its first
    // sample, with no gain around it; the caller takes the separate passes then.
    if (!m_fnProcess || !io_pBuffer || io_pBuffer->uValidFrames == 0)
        return 0;
    UpdateTimes(in_fAttack, in_fRelease);
    const float fRatioFactor = 1.0f / in_fRatio - 1.0f;
    const GainsAround gains = {in_fPreGain, in_fPostGain};
    return (this->*m_fnProcess)(io_pBuffer, nullptr, in_fThresholdDb, fRatioFactor, in_fRangeDb,
                                m_uNumProcessedChannels, &gains);
}

void OvCompressor::ProcessWithKey(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey,
                                  float in_fThresholdDb, float in_fRatio, float in_fAttack,
                                  float in_fRelease, float in_fRangeDb)
{
    if (!m_fnProcess || !io_pBuffer || !in_pKey)
        return;
    UpdateTimes(in_fAttack, in_fRelease);
    const float fRatioFactor = 1.0f / in_fRatio - 1.0f;
    ProcessPerChannel(io_pBuffer, in_pKey, in_fThresholdDb, fRatioFactor, in_fRangeDb,
                      m_uNumProcessedChannels, nullptr);
}

uint32_t OvCompressor::FillLanes(Lane* io_pLanes, uint32_t in_uRoom, uint32_t in_uFirstChannel,
                                 OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey,
                                 float in_fThresholdDb, float in_fRatioFactor, float in_fRangeDb,
                                 uint32_t in_uNumProcessedChannels)
{
    OV_ASSERT(in_uNumProcessedChannels <= m_uNumSideChain);
    // Channels without a state, or missing from either buffer, are left alone.
    uint32_t uChannels = std::min(in_uNumProcessedChannels, m_uNumSideChain);
    uChannels = std::min<uint32_t>(uChannels, io_pBuffer->NumChannels());
    uint32_t uLimitFrames = io_pBuffer->MaxFrames();
    if (in_pKey) {
        uChannels = std::min<uint32_t>(uChannels, in_pKey->NumChannels());
        uLimitFrames = std::min<uint32_t>(uLimitFrames, in_pKey->MaxFrames());
        if (!in_pKey->GetData())
            return 0;
    }
    if (uChannels == 0 || uLimitFrames == 0 || !io_pBuffer->GetData())
        return 0;
    const uint32_t uFrames = std::min<uint32_t>(io_pBuffer->uValidFrames, uLimitFrames);

    uint32_t n = 0;
    for (uint32_t c = in_uFirstChannel; c < uChannels && n < in_uRoom; ++c, ++n) {
        float* pOut = io_pBuffer->GetChannel(c);
        io_pLanes[n] = {pOut,          in_pKey ? in_pKey->GetChannel(c) : pOut,
                        &m_pSideChain[c], uFrames,
                        m_fRmsCoef,    m_fAttackCoef,
                        m_fReleaseCoef, in_fThresholdDb,
                        in_fRatioFactor, in_fRangeDb};
    }
    return n;
}

uint32_t OvCompressor::ProcessPerChannel(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey,
                                         float in_fThresholdDb, float in_fRatioFactor, float in_fRangeDb,
                                         uint32_t in_uNumProcessedChannels, const GainsAround* in_pGains)
{
    Lane lanes[8];
    uint32_t uDone = 0;
    for (uint32_t c = 0;; c += 8) {
        const uint32_t n = FillLanes(lanes, 8, c, io_pBuffer, in_pKey, in_fThresholdDb, in_fRatioFactor,
                                     in_fRangeDb, in_uNumProcessedChannels);
        RunLanesWithGains(lanes, n, in_pGains);
        uDone += n;
        if (n < 8)
            break;
    }
    return uDone;
}

uint32_t OvCompressor::CollectLanes(Lane* io_pLanes, uint32_t in_uRoom, OvPipelineBuffer* io_pBuffer,
                                    OvPipelineBuffer* in_pKey, float in_fThresholdDb, float in_fRatio,
                                    float in_fAttack, float in_fRelease, float in_fRangeDb)
{
    if (!m_fnProcess || !io_pBuffer)
        return 0;
    UpdateTimes(in_fAttack, in_fRelease);
    const float fRatioFactor = 1.0f / in_fRatio - 1.0f;
    return FillLanes(io_pLanes, in_uRoom, 0, io_pBuffer, in_pKey, in_fThresholdDb, fRatioFactor,
                     in_fRangeDb, m_uNumProcessedChannels);
}

void OvCompressor::RunLanes(const Lane* in_pLanes, uint32_t in_uNumLanes)
{
    RunLanesWithGains(in_pLanes, in_uNumLanes, nullptr);
}

void OvCompressor::RunLanesWithGains(const Lane* in_pLanes, uint32_t in_uNumLanes, const GainsAround* in_pGains)
{
    static const bool s_bAvx = HasAvxLanes();
    RunLanesOn(s_bAvx, in_pLanes, in_uNumLanes, in_pGains);
}

bool OvCompressor::HasAvxLanes()
{
#if OV_COMPRESSOR_AVX
    return OvCpuInfo::Get().HasFeature(OV_CPU_AVX);
#else
    return false;
#endif
}

void OvCompressor::RunLanesOn(bool in_bAvx, const Lane* in_pLanes, uint32_t in_uNumLanes,
                              const GainsAround* in_pGains)
{
    in_bAvx = in_bAvx && HasAvxLanes();
    const uint32_t uMaxGroup = in_bAvx ? 8u : 4u;
    uint32_t i = 0;
    while (i < in_uNumLanes) {
        // A group is the next lanes, up to four (eight with AVX), of the same length.
        uint32_t n = 1;
        while (n < uMaxGroup && i + n < in_uNumLanes && in_pLanes[i + n].uFrames == in_pLanes[i].uFrames)
            ++n;
#if OV_COMPRESSOR_AVX
        // A group of four or fewer costs about as much in SSE2, and less for one or two.
        if (n > 4) {
            if (in_pGains)
                RunLaneGroupX8<true>(in_pLanes + i, n, in_pGains);
            else
                RunLaneGroupX8<false>(in_pLanes + i, n, nullptr);
            i += n;
            continue;
        }
#endif
        if (in_pGains) {
            switch (n) {
            case 1: RunLaneGroup<1, true>(in_pLanes + i, in_pGains); break;
            case 2: RunLaneGroup<2, true>(in_pLanes + i, in_pGains); break;
            case 3: RunLaneGroup<3, true>(in_pLanes + i, in_pGains); break;
            default: RunLaneGroup<4, true>(in_pLanes + i, in_pGains); break;
            }
        } else {
            switch (n) {
            case 1: RunLaneGroup<1, false>(in_pLanes + i, nullptr); break;
            case 2: RunLaneGroup<2, false>(in_pLanes + i, nullptr); break;
            case 3: RunLaneGroup<3, false>(in_pLanes + i, nullptr); break;
            default: RunLaneGroup<4, false>(in_pLanes + i, nullptr); break;
            }
        }
        i += n;
    }
}

uint32_t OvCompressor::ProcessLinked(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* /*in_pKey*/,
                                     float in_fThresholdDb, float in_fRatioFactor, float in_fRangeDb,
                                     uint32_t in_uNumProcessedChannels, const GainsAround* in_pGains)
{
    OV_ASSERT(m_uNumSideChain == 1);
    const uint32_t uChannels =
        std::min<uint32_t>(in_uNumProcessedChannels, io_pBuffer->NumChannels());
    float* pBase = io_pBuffer->GetData();
    if (m_uNumSideChain < 1 || uChannels == 0 || !pBase)
        return 0;
    const uint32_t uStride = io_pBuffer->MaxFrames();
    const uint32_t uFrames = std::min<uint32_t>(io_pBuffer->uValidFrames, uStride);

    const float fInvChannels = 1.0f / float(uChannels);
    const GainComputerX4 computer = {_mm_set1_ps(m_fRmsCoef),     _mm_set1_ps(m_fAttackCoef),
                                     _mm_set1_ps(m_fReleaseCoef), _mm_set1_ps(in_fThresholdDb),
                                     _mm_set1_ps(in_fRatioFactor), _mm_set1_ps(in_fRangeDb)};
    __m128 vPower = _mm_set1_ps(m_pSideChain[0].fPower);
    __m128 vGainDb = _mm_set1_ps(m_pSideChain[0].fGainDb);
    // No valid frames: nothing runs here, unlike the per-channel form.
    if (uFrames > 0) {
        if (in_pGains) {
            LinkedSource<true> source = {pBase, uStride, uChannels, fInvChannels, GainsX4<true>::From(in_pGains)};
            RunSideChainsPicked<1>(computer, &m_fAttackCoef, &m_fReleaseCoef, &in_fRangeDb, 1, vPower, vGainDb,
                                   uFrames, source);
        } else {
            LinkedSource<false> source = {pBase, uStride, uChannels, fInvChannels, GainsX4<false>::From(nullptr)};
            RunSideChainsPicked<1>(computer, &m_fAttackCoef, &m_fReleaseCoef, &in_fRangeDb, 1, vPower, vGainDb,
                                   uFrames, source);
        }
    }
    m_pSideChain[0].fGainDb = _mm_cvtss_f32(vGainDb);
    m_pSideChain[0].fPower = _mm_cvtss_f32(vPower);
    return uChannels;
}
