// Reference measurements for filter tests: the DFT of a measured impulse
// response at any frequency, summed in double precision.
#pragma once

#include <cmath>
#include <complex>
#include <cstdint>
#include <vector>

namespace testsupport {

inline std::complex<double> DftAt(const std::vector<float>& impulse, double frequencyHz,
                                  double sampleRate)
{
    const double w = 2.0 * M_PI * frequencyHz / sampleRate;
    std::complex<double> sum = 0.0;
    // Rotate a phasor rather than call sin/cos per tap; renormalise now and then.
    const std::complex<double> step = std::polar(1.0, -w);
    std::complex<double> phasor = 1.0;
    for (size_t n = 0; n < impulse.size(); ++n) {
        sum += double(impulse[n]) * phasor;
        phasor *= step;
        if ((n & 1023) == 1023)
            phasor = std::polar(1.0, -w * double(n + 1));
    }
    return sum;
}

inline double MagnitudeDb(const std::vector<float>& impulse, double frequencyHz, double sampleRate)
{
    return 20.0 * std::log10(std::abs(DftAt(impulse, frequencyHz, sampleRate)));
}

inline double ToDb(double linear) { return 20.0 * std::log10(linear); }

// The analog prototype of each filter shape of the parametric EQ's numbering
// (0 Butterworth low-pass ... 10 high-pass with Q), at the frequency the
// bilinear transform maps f to when f0 is prewarped. Shapes 4 and 5 have the
// fixed Q of 1/sqrt(2).
inline double PrototypeDb(uint32_t shape, double f, double f0, double gainDb, double q, double rate)
{
    const double omega = std::tan(M_PI * f / rate) / std::tan(M_PI * f0 / rate);
    const std::complex<double> s(0.0, omega);
    const double A = std::pow(10.0, gainDb / 40.0);
    const double sq = std::sqrt(A);
    const double qShelf = (shape == 4 || shape == 5) ? M_SQRT1_2 : q;
    std::complex<double> h;
    switch (shape) {
    case 0: h = 1.0 / (s * s + M_SQRT2 * s + 1.0); break;
    case 1: h = s * s / (s * s + M_SQRT2 * s + 1.0); break;
    case 2: h = (s / q) / (s * s + s / q + 1.0); break;
    case 3: h = (s * s + 1.0) / (s * s + s / q + 1.0); break;
    case 4:
    case 7:
        h = A * (s * s + sq / qShelf * s + A) / (A * s * s + sq / qShelf * s + 1.0);
        break;
    case 5:
    case 8:
        h = A * (A * s * s + sq / qShelf * s + 1.0) / (s * s + sq / qShelf * s + A);
        break;
    case 6: h = (s * s + s * (A / q) + 1.0) / (s * s + s / (A * q) + 1.0); break;
    case 9: h = 1.0 / (s * s + s / q + 1.0); break;
    case 10: h = s * s / (s * s + s / q + 1.0); break;
    }
    return 20.0 * std::log10(std::abs(h));
}

}  // namespace testsupport
