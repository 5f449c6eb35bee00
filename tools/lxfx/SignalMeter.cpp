#include "SignalMeter.h"

#include <cmath>
#include <limits>

namespace lxfx {

namespace {

template <typename Sample>
void Accumulate(const Sample* samples, size_t count, double offset, double scale, double& peak,
                double& sumSquares)
{
    for (size_t i = 0; i < count; ++i) {
        const double value = (double(samples[i]) - offset) * scale;
        peak = std::max(peak, std::fabs(value));
        sumSquares += value * value;
    }
}

double ToDb(double linear)
{
    return linear > 0.0 ? 20.0 * std::log10(linear) : -std::numeric_limits<double>::infinity();
}

}  // namespace

void SignalMeter::Add(const void* data, size_t count)
{
    const size_t samples = count * format.channels;
    switch (format.sampleFormat) {
    case AUDIO_SAMPLEFORMAT_U8:
        Accumulate(static_cast<const uint8_t*>(data), samples, 128.0, 1.0 / 128.0, peak, sumSquares);
        break;
    case AUDIO_SAMPLEFORMAT_S16:
        Accumulate(static_cast<const int16_t*>(data), samples, 0.0, 1.0 / 32768.0, peak, sumSquares);
        break;
    case AUDIO_SAMPLEFORMAT_S32:
        Accumulate(static_cast<const int32_t*>(data), samples, 0.0, 1.0 / 2147483648.0, peak,
                   sumSquares);
        break;
    case AUDIO_SAMPLEFORMAT_DOUBLE:
        Accumulate(static_cast<const double*>(data), samples, 0.0, 1.0, peak, sumSquares);
        break;
    default:
        Accumulate(static_cast<const float*>(data), samples, 0.0, 1.0, peak, sumSquares);
        break;
    }
    frames += count;
}

double SignalMeter::Rms() const
{
    const double samples = double(frames) * format.channels;
    return samples > 0 ? std::sqrt(sumSquares / samples) : 0.0;
}

double SignalMeter::PeakDbfs() const
{
    return ToDb(peak);
}

double SignalMeter::RmsDbfs() const
{
    return ToDb(Rms());
}

}  // namespace lxfx
