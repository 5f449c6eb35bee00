#include "effects/BiquadFilterImpl.h"

#include <cmath>
#include <limits>
#include <new>

namespace {

constexpr double kPi = 3.14159265358979323846;

bool Finite(const BiquadParams& p)
{
    return std::isfinite(p.a0) && std::isfinite(p.a1) && std::isfinite(p.a2) && std::isfinite(p.b0) &&
           std::isfinite(p.b1) && std::isfinite(p.b2);
}

// How a sample enters and leaves the loop. Integers are clipped to their
// range and truncated toward zero; a NaN, which an unstable hand-made
// filter can produce, is written as 0 since it has no integer value.
template <typename T>
struct Sample;

template <>
struct Sample<int16_t> {
    static double Read(int16_t x) { return double(x); }
    static int16_t Write(double y)
    {
        if (std::isnan(y))
            return 0;
        return y < -32768.0 ? int16_t(-32768) : (y > 32767.0 ? int16_t(32767) : int16_t(y));
    }
};

template <>
struct Sample<int32_t> {
    static double Read(int32_t x) { return double(x); }
    static int32_t Write(double y)
    {
        if (std::isnan(y))
            return 0;
        if (y < -2147483648.0)
            return std::numeric_limits<int32_t>::min();
        return y > 2147483647.0 ? std::numeric_limits<int32_t>::max() : int32_t(y);
    }
};

template <>
struct Sample<float> {
    static double Read(float x) { return double(x); }
    static float Write(double y) { return float(y); }
};

template <>
struct Sample<double> {
    static double Read(double x) { return x; }
    static double Write(double y) { return y; }
};

template <typename T>
void Loop(void* samples, int32_t frames, BiquadChannelState& state, const BiquadParams& p)
{
    BiquadFilterImpl::Run(static_cast<T*>(samples), frames, state, p);
}

}  // namespace

BiquadFilter* BiquadFilter::Create()
{
    return BiquadFilterImpl::Create();
}

BiquadFilterImpl* BiquadFilterImpl::Create()
{
    return new (std::nothrow) BiquadFilterImpl();
}

BiquadFilterImpl::~BiquadFilterImpl()
{
    Release();
}

void BiquadFilterImpl::Destroy()
{
    delete this;
}

void BiquadFilterImpl::Release()
{
    delete[] state;
    state = nullptr;
    loop = nullptr;
    sampleFormat = 0;
    sampleRate = channels = 0;
}

bool BiquadFilterImpl::Init(uint32_t format, int32_t sampleRate_, int32_t channels_)
{
    Release();
    SampleLoop chosen = nullptr;
    switch (format) {
    case 1: chosen = &Loop<int16_t>; break;
    case 2: chosen = &Loop<int32_t>; break;
    case 3: chosen = &Loop<float>; break;
    case 4: chosen = &Loop<double>; break;
    default: return false;
    }
    if (sampleRate_ < 1 || channels_ < 1)
        return false;
    // At most 2^31 channels of 32 bytes: the size cannot overflow.
    state = new (std::nothrow) BiquadChannelState[size_t(channels_)]();
    if (!state)
        return false;
    sampleFormat = format;
    sampleRate = sampleRate_;
    channels = channels_;
    loop = chosen;
    resetPending = paramsDirty = false;
    return true;
}

bool BiquadFilterImpl::SetParams(const BiquadParams& params)
{
    BiquadParams p = params;
    const double A = std::exp2(std::log2(10.0) * p.gain / 40.0);
    // Before Init the rate is 0 and w0 infinite: refused below.
    const double w0 = 2.0 * kPi * p.frequency / double(sampleRate);
    if (w0 > kPi || !(sampleRate > 0))
        return false;
    const double sw = std::sin(w0), c = std::cos(w0);
    double alpha = 0.0;
    switch (p.widthType) {
    case BIQUAD_WIDTH_NONE: alpha = 0.0; break;
    case BIQUAD_WIDTH_HERTZ: alpha = sw / (2.0 * p.frequency / p.width); break;
    case BIQUAD_WIDTH_KILOHERTZ: alpha = sw / (2.0 * p.frequency / (p.width * 1000.0)); break;
    case BIQUAD_WIDTH_OCTAVE: alpha = sw * std::sinh(std::log(2.0) / 2.0 * p.width * w0 / sw); break;
    case BIQUAD_WIDTH_QFACTOR: alpha = sw / (2.0 * p.width); break;
    case BIQUAD_WIDTH_SLOPE: alpha = sw / 2.0 * std::sqrt((A + 1.0 / A) * (1.0 / p.width - 1.0) + 2.0); break;
    default: return false;
    }
    const double S = p.type == BIQUAD_TYPE_BASS || p.type == BIQUAD_TYPE_TREBLE
                         ? std::sqrt(A * A + 1.0 - (A - 1.0) * (A - 1.0))
                         : 2.0 * std::sqrt(A);
    switch (p.type) {
    case BIQUAD_TYPE_BIQUAD: break;
    case BIQUAD_TYPE_EQUALIZER:
        p.a0 = 1.0 + alpha / A, p.a1 = -2.0 * c, p.a2 = 1.0 - alpha / A;
        p.b0 = 1.0 + alpha * A, p.b1 = -2.0 * c, p.b2 = 1.0 - alpha * A;
        break;
    case BIQUAD_TYPE_BASS:
    case BIQUAD_TYPE_LOWSHELF:
        p.a0 = (A + 1.0) + (A - 1.0) * c + S * alpha;
        p.a1 = -2.0 * ((A - 1.0) + (A + 1.0) * c);
        p.a2 = (A + 1.0) + (A - 1.0) * c - S * alpha;
        p.b0 = A * ((A + 1.0) - (A - 1.0) * c + S * alpha);
        p.b1 = 2.0 * A * ((A - 1.0) - (A + 1.0) * c);
        p.b2 = A * ((A + 1.0) - (A - 1.0) * c - S * alpha);
        break;
    case BIQUAD_TYPE_TREBLE:
    case BIQUAD_TYPE_HIGHSHELF:
        p.a0 = (A + 1.0) - (A - 1.0) * c + S * alpha;
        p.a1 = 2.0 * ((A - 1.0) - (A + 1.0) * c);
        p.a2 = (A + 1.0) - (A - 1.0) * c - S * alpha;
        p.b0 = A * ((A + 1.0) + (A - 1.0) * c + S * alpha);
        p.b1 = -2.0 * A * ((A - 1.0) + (A + 1.0) * c);
        p.b2 = A * ((A + 1.0) + (A - 1.0) * c - S * alpha);
        break;
    case BIQUAD_TYPE_BANDPASS:
        p.a0 = 1.0 + alpha, p.a1 = -2.0 * c, p.a2 = 1.0 - alpha;
        p.b0 = p.constantSkirtGain ? sw / 2.0 : alpha, p.b1 = 0.0, p.b2 = p.constantSkirtGain ? -sw / 2.0 : -alpha;
        break;
    case BIQUAD_TYPE_BANDREJECT:
        p.a0 = 1.0 + alpha, p.a1 = -2.0 * c, p.a2 = 1.0 - alpha;
        p.b0 = 1.0, p.b1 = -2.0 * c, p.b2 = 1.0;
        break;
    case BIQUAD_TYPE_LOWPASS:
        if (p.poles == 1) {
            p.a0 = 1.0, p.a1 = -std::exp(-w0), p.a2 = 0.0;
            p.b0 = 1.0 + p.a1, p.b1 = 0.0, p.b2 = 0.0;
        } else {
            p.a0 = 1.0 + alpha, p.a1 = -2.0 * c, p.a2 = 1.0 - alpha;
            p.b0 = (1.0 - c) / 2.0, p.b1 = 1.0 - c, p.b2 = (1.0 - c) / 2.0;
        }
        break;
    case BIQUAD_TYPE_HIGHPASS:
        if (p.poles == 1) {
            p.a0 = 1.0, p.a1 = -std::exp(-w0), p.a2 = 0.0;
            p.b0 = (1.0 - p.a1) / 2.0, p.b1 = -p.b0, p.b2 = 0.0;
        } else {
            p.a0 = 1.0 + alpha, p.a1 = -2.0 * c, p.a2 = 1.0 - alpha;
            p.b0 = (1.0 + c) / 2.0, p.b1 = -(1.0 + c), p.b2 = (1.0 + c) / 2.0;
        }
        break;
    case BIQUAD_TYPE_ALLPASS:
        p.a0 = 1.0 + alpha, p.a1 = -2.0 * c, p.a2 = 1.0 - alpha;
        p.b0 = 1.0 - alpha, p.b1 = -2.0 * c, p.b2 = 1.0 + alpha;
        break;
    default: return false;
    }
    const double a0 = p.a0;
    p.a1 /= a0, p.a2 /= a0, p.b0 /= a0, p.b1 /= a0, p.b2 /= a0;
    p.a0 = a0 / a0;
    if (p.normalize && std::fabs(p.b0 + p.b1 + p.b2) > 1e-6) {
        const double k = (p.a0 + p.a1 + p.a2) / (p.b0 + p.b1 + p.b2);
        p.b0 *= k, p.b1 *= k, p.b2 *= k;
    }
    // A frequency, width or Q of 0 or NaN, a gain of +-inf or a hand-made
    // set with a0 of 0 leave non-finite coefficients, which would stick in
    // the delays: the previous design stays instead, and so does a mix that
    // is not finite.
    if (!Finite(p) || !std::isfinite(p.mix))
        return false;
    pending = p;
    paramsDirty = true;
    return true;
}

void BiquadFilterImpl::Process(void** channelData, int32_t frames)
{
    if (!loop || !channelData || frames <= 0)
        return;
    if (paramsDirty) {
        paramsDirty = false;
        active = pending;
    }
    if (resetPending) {
        resetPending = false;
        for (int32_t c = 0; c < channels; ++c)
            state[c] = BiquadChannelState{};
    }
    for (int32_t c = 0; c < channels; ++c)
        if (channelData[c])
            loop(channelData[c], frames, state[c], active);
}

void BiquadFilterImpl::Reset()
{
    resetPending = true;
}

template <typename T>
void BiquadFilterImpl::Run(T* samples, int32_t frames, BiquadChannelState& s, const BiquadParams& p)
{
    const double b0 = p.b0, b1 = p.b1, b2 = p.b2, na1 = -p.a1, na2 = -p.a2;
    const double mix = p.mix, dry = 1.0 - p.mix;
    double i1 = s.i1, i2 = s.i2, o1 = s.o1, o2 = s.o2;
    int32_t n = 0;
    // Two frames a pass: the second reads the pairs with their roles
    // exchanged, so nothing shifts.
    for (; n + 2 <= frames; n += 2) {
        const double x0 = Sample<T>::Read(samples[n]);
        const double y0 = b0 * x0 + b1 * i1 + b2 * i2 + na1 * o1 + na2 * o2;
        i2 = x0;
        o2 = y0;
        samples[n] = Sample<T>::Write(y0 * mix + x0 * dry);
        const double x1 = Sample<T>::Read(samples[n + 1]);
        const double y1 = b0 * x1 + b1 * i2 + b2 * i1 + na1 * o2 + na2 * o1;
        i1 = x1;
        o1 = y1;
        samples[n + 1] = Sample<T>::Write(y1 * mix + x1 * dry);
    }
    if (n < frames) {
        const double x = Sample<T>::Read(samples[n]);
        const double y = b0 * x + b1 * i1 + b2 * i2 + na1 * o1 + na2 * o2;
        i2 = i1, i1 = x, o2 = o1, o1 = y;
        samples[n] = Sample<T>::Write(y * mix + x * dry);
    }
    s = BiquadChannelState{i1, i2, o1, o2};
}

template void BiquadFilterImpl::Run<int16_t>(int16_t*, int32_t, BiquadChannelState&, const BiquadParams&);
template void BiquadFilterImpl::Run<int32_t>(int32_t*, int32_t, BiquadChannelState&, const BiquadParams&);
template void BiquadFilterImpl::Run<float>(float*, int32_t, BiquadChannelState&, const BiquadParams&);
template void BiquadFilterImpl::Run<double>(double*, int32_t, BiquadChannelState&, const BiquadParams&);
