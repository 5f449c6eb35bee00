#include "effects/SpatialReverb.h"

#include <algorithm>
#include <cmath>
#include <new>

#include <emmintrin.h>

namespace {

constexpr float kSpeedOfSound = 343.0f;  // m/s
constexpr uint32_t kPrimes[SpatialReverb::kLines] = {2, 3, 5, 7};
constexpr float kMatrixScale = 0.345f;
constexpr int kSigns[SpatialReverb::kLines][SpatialReverb::kLines] = {
    {1, 1, 1, 1}, {1, -1, 1, -1}, {1, 1, -1, -1}, {1, -1, -1, 1}};

}  // namespace

SpatialReverb::~SpatialReverb()
{
    Release();
}

void SpatialReverb::Release()
{
    delete[] lines;
    delete[] positions;
    delete[] filterState;
    lines = nullptr;
    positions = nullptr;
    filterState = nullptr;
    framesPerChannel = 0;
    sampleRate = channels = 0;
    std::fill(delayLengths, delayLengths + kLines, 0u);
}

bool SpatialReverb::Init(uint32_t sampleRate_, uint32_t channels_)
{
    Release();
    if (sampleRate_ == 0 || channels_ == 0 || channels_ > 64)
        return false;
    filterState = new (std::nothrow) double[size_t(channels_) * kLines]();
    if (!filterState)
        return false;
    sampleRate = sampleRate_;
    channels = channels_;
    minRoomSize = 5.0f;
    maxRoomSize = 25.0f;
    direct = 1.0f;
    damping = 0.25f;
    for (uint32_t i = 0; i < kLines; ++i) {
        inputGains[i] = outputGains[i] = 0.4f;
        for (uint32_t j = 0; j < kLines; ++j)
            feedbackMatrix[i][j] = double(kMatrixScale) * kSigns[i][j];
    }
    if (!Configure(minRoomSize, maxRoomSize, 0.5f)) {
        Release();
        return false;
    }
    return true;
}

bool SpatialReverb::Configure(float minRoomSize_, float maxRoomSize_, float wet_)
{
    if (!filterState)
        return false;
    if (std::isfinite(minRoomSize_) && minRoomSize_ > 0.0f && std::isfinite(maxRoomSize_) && maxRoomSize_ > 0.0f) {
        minRoomSize = minRoomSize_;
        maxRoomSize = maxRoomSize_;
    }
    // Frames that sound takes across the room; both positive here.
    const float dMin = float(sampleRate) * minRoomSize / kSpeedOfSound;
    const float dMax = float(sampleRate) * maxRoomSize / kSpeedOfSound;
    const float ratio = dMax / dMin;
    uint32_t lengths[kLines];
    for (uint32_t i = 0; i < kLines; ++i) {
        // i / 3 in float: integer division would give ratio^0 for the first three.
        const float ideal = dMin * std::pow(ratio, float(i) / 3.0f);
        const float p = float(kPrimes[i]);
        const float e = std::floor(0.5f + std::log(ideal) / std::log(p));
        const float length = std::pow(p, e);
        lengths[i] = length >= float(kMaxLineFrames) ? kMaxLineFrames : (length >= 1.0f ? uint32_t(length) : 1u);
    }

    uint32_t total = 0;
    uint32_t starts[kLines];
    for (uint32_t i = 0; i < kLines; ++i) {
        starts[i] = total;
        total += lengths[i];
    }
    float* newLines = new (std::nothrow) float[size_t(total) * channels]();
    uint32_t* newPositions = new (std::nothrow) uint32_t[size_t(channels) * kLines]();
    if (!newLines || !newPositions) {
        delete[] newLines;
        delete[] newPositions;
        return false;
    }
    // The oldest entries that fit move over, oldest first; new room at the
    // newest end is silent.
    if (lines) {
        for (uint32_t c = 0; c < channels; ++c) {
            for (uint32_t i = 0; i < kLines; ++i) {
                const float* from = lines + size_t(c) * framesPerChannel + lineStart[i];
                const uint32_t oldLength = delayLengths[i];
                const uint32_t at = positions[c * kLines + i];
                float* to = newLines + size_t(c) * total + starts[i];
                for (uint32_t k = 0; k < std::min(oldLength, lengths[i]); ++k)
                    to[k] = from[(at + k) % oldLength];
            }
        }
    }
    delete[] lines;
    delete[] positions;
    lines = newLines;
    positions = newPositions;
    framesPerChannel = total;
    std::copy(lengths, lengths + kLines, delayLengths);
    std::copy(starts, starts + kLines, lineStart);
    if (!std::isnan(wet_))
        wet = std::min(1.0f, std::max(0.0f, wet_));
    return true;
}

bool SpatialReverb::Process(float* const* channelData, uint32_t frames)
{
    if (!lines || !channelData)
        return true;
    if (channels == 2 && channelData[0] && channelData[1] &&
        std::equal(positions, positions + kLines, positions + kLines)) {
        ProcessPair(channelData[0], channelData[1], frames);
        return true;
    }
    for (uint32_t c = 0; c < channels; ++c)
        if (channelData[c])
            ProcessChannel(c, channelData[c], frames);
    return true;
}

void SpatialReverb::ProcessChannel(uint32_t c, float* data, uint32_t frames)
{
    const double w = wet, dry = 1.0 - double(wet);
    float* ring[kLines];
    uint32_t pos[kLines];
    double state[kLines];
    for (uint32_t i = 0; i < kLines; ++i) {
        ring[i] = lines + size_t(c) * framesPerChannel + lineStart[i];
        pos[i] = positions[c * kLines + i];
        state[i] = filterState[c * kLines + i];
    }
    const double k = feedbackMatrix[0][0];  // the sign pattern is fixed; this is its scale
    const double d = damping, keep = 1.0 - double(damping);
    auto next = [this](uint32_t i, uint32_t at) { return at + 1 == delayLengths[i] ? 0 : at + 1; };
    for (uint32_t n = 0; n < frames; ++n) {
        const float x = data[n];
        const float o0 = ring[0][pos[0]], o1 = ring[1][pos[1]], o2 = ring[2][pos[2]], o3 = ring[3][pos[3]];
        double y = double(direct) * x;
        y += double(outputGains[0] * o0);
        y += double(outputGains[1] * o1);
        y += double(outputGains[2] * o2);
        y += double(outputGains[3] * o3);
        // x * (+-k) is +-(x * k) to the bit, so each oldest entry is
        // scaled once and the rows add or subtract it. Row i reads the
        // lines before it already shifted.
        const double p1 = double(o1) * k, p2 = double(o2) * k, p3 = double(o3) * k;
        double p0 = double(o0) * k;
        state[0] = d * state[0] + keep * (((0.0 + p0) + p1) + p2 + p3);
        ring[0][pos[0]] = float(double(inputGains[0] * x) + state[0]);
        pos[0] = next(0, pos[0]);
        p0 = double(ring[0][pos[0]]) * k;
        state[1] = d * state[1] + keep * (((0.0 + p0) - p1) + p2 - p3);
        ring[1][pos[1]] = float(double(inputGains[1] * x) + state[1]);
        pos[1] = next(1, pos[1]);
        const double q1 = double(ring[1][pos[1]]) * k;
        state[2] = d * state[2] + keep * (((0.0 + p0) + q1) - p2 - p3);
        ring[2][pos[2]] = float(double(inputGains[2] * x) + state[2]);
        pos[2] = next(2, pos[2]);
        const double q2 = double(ring[2][pos[2]]) * k;
        state[3] = d * state[3] + keep * (((0.0 + p0) - q1) - q2 + p3);
        ring[3][pos[3]] = float(double(inputGains[3] * x) + state[3]);
        pos[3] = next(3, pos[3]);
        data[n] = float(w * y + dry * double(x));
    }
    for (uint32_t i = 0; i < kLines; ++i) {
        positions[c * kLines + i] = pos[i];
        filterState[c * kLines + i] = state[i];
    }
}

namespace {

// Two floats, one from each channel's array, as the two lanes of a double
// vector.
inline __m128d LoadPair(const float* a, const float* b, uint32_t at)
{
    return _mm_cvtps_pd(_mm_unpacklo_ps(_mm_load_ss(a + at), _mm_load_ss(b + at)));
}

inline void StorePair(float* a, float* b, uint32_t at, __m128d v)
{
    const __m128 f = _mm_cvtpd_ps(v);
    _mm_store_ss(a + at, f);
    _mm_store_ss(b + at, _mm_shuffle_ps(f, f, _MM_SHUFFLE(1, 1, 1, 1)));
}

}  // namespace

void SpatialReverb::ProcessPair(float* left, float* right, uint32_t frames)
{
    const __m128d w = _mm_set1_pd(wet), dry = _mm_set1_pd(1.0 - double(wet));
    const __m128d k = _mm_set1_pd(feedbackMatrix[0][0]);
    const __m128d d = _mm_set1_pd(damping), keep = _mm_set1_pd(1.0 - double(damping));
    const __m128d directGain = _mm_set1_pd(double(direct));
    const __m128d zero = _mm_setzero_pd();
    float* ringL[kLines];
    float* ringR[kLines];
    uint32_t pos[kLines];
    __m128 inGain[kLines], outGain[kLines];
    __m128d state[kLines];
    for (uint32_t i = 0; i < kLines; ++i) {
        ringL[i] = lines + lineStart[i];
        ringR[i] = lines + framesPerChannel + lineStart[i];
        pos[i] = positions[i];
        inGain[i] = _mm_set1_ps(inputGains[i]);
        outGain[i] = _mm_set1_ps(outputGains[i]);
        state[i] = _mm_set_pd(filterState[kLines + i], filterState[i]);
    }
    // Float products as float, then widened: the per-channel form's order.
    auto oldest = [&](uint32_t i) {
        return _mm_unpacklo_ps(_mm_load_ss(ringL[i] + pos[i]), _mm_load_ss(ringR[i] + pos[i]));
    };
    auto scaled = [](__m128 gain, __m128 v) { return _mm_cvtps_pd(_mm_mul_ps(gain, v)); };
    auto advance = [&](uint32_t i) { pos[i] = pos[i] + 1 == delayLengths[i] ? 0 : pos[i] + 1; };
    auto feed = [&](uint32_t i, __m128 x, __m128d sum) {
        state[i] = _mm_add_pd(_mm_mul_pd(d, state[i]), _mm_mul_pd(keep, sum));
        StorePair(ringL[i], ringR[i], pos[i], _mm_add_pd(scaled(inGain[i], x), state[i]));
        advance(i);
    };
    for (uint32_t n = 0; n < frames; ++n) {
        const __m128 x = _mm_unpacklo_ps(_mm_load_ss(left + n), _mm_load_ss(right + n));
        const __m128d xd = _mm_cvtps_pd(x);
        const __m128 o0 = oldest(0), o1 = oldest(1), o2 = oldest(2), o3 = oldest(3);
        __m128d y = _mm_mul_pd(directGain, xd);
        y = _mm_add_pd(y, scaled(outGain[0], o0));
        y = _mm_add_pd(y, scaled(outGain[1], o1));
        y = _mm_add_pd(y, scaled(outGain[2], o2));
        y = _mm_add_pd(y, scaled(outGain[3], o3));
        const __m128d p1 = _mm_mul_pd(_mm_cvtps_pd(o1), k), p2 = _mm_mul_pd(_mm_cvtps_pd(o2), k);
        const __m128d p3 = _mm_mul_pd(_mm_cvtps_pd(o3), k);
        __m128d p0 = _mm_mul_pd(_mm_cvtps_pd(o0), k);
        feed(0, x, _mm_add_pd(_mm_add_pd(_mm_add_pd(_mm_add_pd(zero, p0), p1), p2), p3));
        p0 = _mm_mul_pd(LoadPair(ringL[0], ringR[0], pos[0]), k);
        feed(1, x, _mm_sub_pd(_mm_add_pd(_mm_sub_pd(_mm_add_pd(zero, p0), p1), p2), p3));
        const __m128d q1 = _mm_mul_pd(LoadPair(ringL[1], ringR[1], pos[1]), k);
        feed(2, x, _mm_sub_pd(_mm_sub_pd(_mm_add_pd(_mm_add_pd(zero, p0), q1), p2), p3));
        const __m128d q2 = _mm_mul_pd(LoadPair(ringL[2], ringR[2], pos[2]), k);
        feed(3, x, _mm_add_pd(_mm_sub_pd(_mm_sub_pd(_mm_add_pd(zero, p0), q1), q2), p3));
        const __m128 out = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(w, y), _mm_mul_pd(dry, xd)));
        _mm_store_ss(left + n, out);
        _mm_store_ss(right + n, _mm_shuffle_ps(out, out, _MM_SHUFFLE(1, 1, 1, 1)));
    }
    for (uint32_t i = 0; i < kLines; ++i) {
        positions[i] = positions[kLines + i] = pos[i];
        _mm_storel_pd(filterState + i, state[i]);
        _mm_storeh_pd(filterState + kLines + i, state[i]);
    }
}

void SpatialReverb::Reset()
{
    if (lines)
        std::fill(lines, lines + size_t(framesPerChannel) * channels, 0.0f);
    if (positions)
        std::fill(positions, positions + size_t(channels) * kLines, 0u);
    if (filterState)
        std::fill(filterState, filterState + size_t(channels) * kLines, 0.0);
}
