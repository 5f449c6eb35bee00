// Reference measurements for filter tests: the DFT of a measured impulse
// response at any frequency, summed in double precision.
#pragma once

#include <cmath>
#include <complex>
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

}  // namespace testsupport
