// Writes src/effects/Rotate3DResponses.cpp, the head-related response tables
// of rotate 3D, from the MIT KEMAR measurement as libmysofa's SOFA
// file holds it:
//
//   lxfx_gen_rotate3d_responses MIT_KEMAR_normal_pinna.sofa Rotate3DResponses.cpp
//
// The file comes with Debian's libmysofa1 package (`dpkg -L libmysofa1`), and
// libmysofa (libmysofa-dev) reads it. The data are
//   W. G. Gardner and K. D. Martin, "HRTF Measurements of a KEMAR Dummy-Head
//   Microphone", MIT Media Lab Perceptual Computing Technical Report 280, 1994,
// copyright 1994 MIT Media Laboratory, free for any use provided the authors
// are cited.
//
// What the generator does, all in double until the last step:
// 1. Reads the raw measurement (mysofa_load: no resampling, no normalisation)
//    and checks it: 2 receivers, 44100 Hz, at least 256 taps.
// 2. Diffuse-field equalisation, as usual for listening over headphones. The
//    raw responses carry the measurement loudspeaker and microphone: the
//    power average over all 710 directions and both ears lies some 35 dB
//    down at DC, 15 dB down at 100 Hz and 11 dB down at 150 to 500 Hz
//    against 2 to 3 kHz, and falls off above 15 kHz. That average, smoothed
//    over a third of an octave and held at its 50 Hz and 16 kHz values
//    beyond those edges, is inverted into one minimum-phase filter
//    (real cepstrum, 4096 points), which every response goes through. Being
//    common to all directions it keeps the differences between the ears and
//    between directions as measured.
// 3. Takes the horizontal plane (elevation 0). Row i of both sets is the
//    source at 5 i degrees to the listener's right, which in SOFA's
//    anticlockwise azimuth is (360 - 5 i) mod 360: the near ear is the right
//    receiver, the far ear the left one (told apart by the sign of their y
//    coordinate, +y being the left).
// 4. Keeps the first 256 taps of each equalised response (over 96 % of its
//    energy) and fades the last 32 of them out with a half raised cosine.
//    The engine keeps 512 samples of every 1024-point product, so a 256-tap
//    response reaches each output sample whole and the engine's truncation
//    never cuts into it. The responses carry their own bulk delay: main
//    peaks fall at taps 30 to 80. The 256 taps cannot hold the lowest
//    octaves whole: the rows lie some 5 dB down at 86 Hz and 10 dB down at DC
//    against their level above 200 Hz.
// 5. Scales every response by one factor, chosen so that the mean energy
//    over the 72 directions of the horizontal plane and both ears is 0.5: the
//    engine's sum signal is (L + R) * 0.707, so a centred mono signal keeps
//    its power, on average over one revolution, in each ear.
// 6. Takes the 1024-point forward DFT, X[k] = sum h[n] e^(-2 pi i k n / 1024)
//    (the sign of FFmpeg's forward transforms, which the engine uses), bins 0
//    to 512, and rounds to float. The imaginary parts of bins 0 and 512 are
//    exactly 0.
// 7. Writes each float as the shortest decimal that reads back to the same
//    float (std::to_chars), so the committed text is the table bit for bit.
//
// Build-time tool only: the library does not link libmysofa. A test
// regenerates the table when libmysofa and the data file are present and
// compares the bytes with the committed file. The transforms here are a
// plain radix-2 FFT in double with twiddles built from one quadrant; the
// output depends on the C library's cos, log and exp only in the last bits
// of doubles, far below the float rounding of the table.
#include <mysofa.h>

#include <charconv>
#include <cmath>
#include <complex>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace {

using Complex = std::complex<double>;

constexpr double kPi = 3.14159265358979323846264338327950288;
constexpr int kRows = 37;
constexpr int kBins = 513;
constexpr size_t kTablePoints = 1024;
constexpr size_t kDesignPoints = 4096;
constexpr int kTaps = 256;
constexpr int kFadeTaps = 32;
constexpr int kDirections = 72;
constexpr double kRate = 44100.0;
constexpr double kEqualiseFromHz = 50.0;
constexpr double kEqualiseToHz = 16000.0;
constexpr double kMeanEnergy = 0.5;

struct Sofa {
    MYSOFA_HRTF* hrtf = nullptr;
    ~Sofa()
    {
        if (hrtf)
            mysofa_free(hrtf);
    }
};

bool Fail(const std::string& message)
{
    std::fprintf(stderr, "lxfx_gen_rotate3d_responses: %s\n", message.c_str());
    return false;
}

// In-place radix-2 transform of a power-of-two length: forward e^-i, inverse
// e^+i, neither scaled. Twiddles come from one quadrant of cosines, so the
// values at multiples of pi/2 are exact.
class Fft {
public:
    explicit Fft(size_t n_) : n(n_), c(n_), s(n_)
    {
        const size_t quarter = n / 4;
        std::vector<double> q(quarter + 1);
        for (size_t m = 0; m <= quarter; ++m)
            q[m] = m == quarter ? 0.0 : std::cos(2.0 * kPi * double(m) / double(n));
        for (size_t m = 0; m < n; ++m) {
            const size_t r = m % quarter;
            const double cr = q[r], sr = q[quarter - r];
            const double cs[4][2] = {{cr, sr}, {-sr, cr}, {-cr, -sr}, {sr, -cr}};
            c[m] = cs[m / quarter][0];
            s[m] = cs[m / quarter][1];
        }
    }

    void Run(std::vector<Complex>& a, bool inverse) const
    {
        for (size_t i = 1, j = 0; i < n; ++i) {
            size_t bit = n >> 1;
            for (; j & bit; bit >>= 1)
                j ^= bit;
            j ^= bit;
            if (i < j)
                std::swap(a[i], a[j]);
        }
        for (size_t length = 2; length <= n; length <<= 1) {
            const size_t stride = n / length;
            for (size_t i = 0; i < n; i += length) {
                for (size_t j = 0; j < length / 2; ++j) {
                    const Complex w(c[j * stride], inverse ? s[j * stride] : -s[j * stride]);
                    const Complex u = a[i + j], v = a[i + j + length / 2] * w;
                    a[i + j] = u + v;
                    a[i + j + length / 2] = u - v;
                }
            }
        }
    }

private:
    size_t n;
    std::vector<double> c, s;  // cos, sin of 2 pi m / n
};

// One receiver's measured response, zero-padded to the design length.
std::vector<Complex> Measured(const MYSOFA_HRTF& h, unsigned measurement, unsigned receiver)
{
    const float* ir = h.DataIR.values + (size_t(measurement) * h.R + receiver) * h.N;
    std::vector<Complex> x(kDesignPoints);
    for (unsigned n = 0; n < h.N && n < kDesignPoints; ++n)
        x[n] = ir[n];
    return x;
}

// The minimum-phase inverse of the diffuse-field average: the power average
// over every measurement and both receivers, a third of an octave wide,
// held beyond kEqualiseFromHz and kEqualiseToHz.
std::vector<Complex> DiffuseFieldEqualiser(const MYSOFA_HRTF& h, const Fft& fft)
{
    const size_t half = kDesignPoints / 2;
    std::vector<double> power(half + 1, 0.0);
    for (unsigned m = 0; m < h.M; ++m) {
        for (unsigned r = 0; r < h.R; ++r) {
            std::vector<Complex> x = Measured(h, m, r);
            fft.Run(x, false);
            for (size_t k = 0; k <= half; ++k)
                power[k] += std::norm(x[k]);
        }
    }
    for (double& p : power)
        p /= double(h.M) * h.R;
    std::vector<double> smooth(half + 1);
    for (size_t k = 0; k <= half; ++k) {
        const size_t lo = size_t(std::floor(double(k) * std::pow(2.0, -1.0 / 6.0)));
        const size_t hi = std::min(half, size_t(std::ceil(double(k) * std::pow(2.0, 1.0 / 6.0))));
        double sum = 0.0;
        for (size_t j = lo; j <= hi; ++j)
            sum += power[j];
        smooth[k] = sum / double(hi - lo + 1);
    }
    const size_t from = size_t(kEqualiseFromHz / kRate * kDesignPoints + 0.5);
    const size_t to = size_t(kEqualiseToHz / kRate * kDesignPoints + 0.5);
    // Real cepstrum of the log magnitude, folded onto positive quefrencies.
    std::vector<Complex> cepstrum(kDesignPoints);
    for (size_t k = 0; k <= half; ++k) {
        const double logMagnitude = -0.5 * std::log(smooth[std::min(std::max(k, from), to)]);
        cepstrum[k] = logMagnitude;
        if (k > 0 && k < half)
            cepstrum[kDesignPoints - k] = logMagnitude;
    }
    fft.Run(cepstrum, true);
    for (size_t n = 0; n < kDesignPoints; ++n) {
        const double fold = n == 0 || n == half ? 1.0 : (n < half ? 2.0 : 0.0);
        cepstrum[n] = cepstrum[n].real() / double(kDesignPoints) * fold;
    }
    fft.Run(cepstrum, false);
    for (Complex& x : cepstrum)
        x = std::exp(x);
    return cepstrum;
}

// The equalised response, taps 0 to 255, faded out over the last 32.
std::vector<double> Equalised(const MYSOFA_HRTF& h, unsigned measurement, unsigned receiver,
                              const std::vector<Complex>& equaliser, const Fft& fft)
{
    std::vector<Complex> x = Measured(h, measurement, receiver);
    fft.Run(x, false);
    for (size_t k = 0; k < kDesignPoints; ++k)
        x[k] *= equaliser[k];
    fft.Run(x, true);
    std::vector<double> taps(kTaps);
    for (int n = 0; n < kTaps; ++n) {
        const int into = n - (kTaps - kFadeTaps) + 1;  // 1 .. kFadeTaps over the fade
        const double w = into > 0 ? 0.5 * (1.0 + std::cos(kPi * double(into) / double(kFadeTaps + 1))) : 1.0;
        taps[size_t(n)] = x[size_t(n)].real() / double(kDesignPoints) * w;
    }
    return taps;
}

double Energy(const std::vector<double>& taps)
{
    double sum = 0.0;
    for (double x : taps)
        sum += x * x;
    return sum;
}

// Bins 0 to 512 of the 1024-point forward DFT, interleaved re, im, in float.
std::vector<float> TableRow(const std::vector<double>& taps, double scale, const Fft& fft)
{
    std::vector<Complex> x(kTablePoints);
    for (size_t n = 0; n < taps.size(); ++n)
        x[n] = taps[n] * scale;
    fft.Run(x, false);
    std::vector<float> row(size_t(2) * kBins);
    for (int k = 0; k < kBins; ++k) {
        row[size_t(2 * k)] = float(x[size_t(k)].real());
        // A real response has real bins 0 and 512.
        row[size_t(2 * k + 1)] = k == 0 || k == kBins - 1 ? 0.0f : float(x[size_t(k)].imag());
    }
    return row;
}

// The measurement at elevation 0 and the given SOFA azimuth, or -1.
int FindMeasurement(const MYSOFA_HRTF& h, double azimuth)
{
    for (unsigned m = 0; m < h.M; ++m) {
        const float* p = h.SourcePosition.values + size_t(3) * m;
        double offset = std::fmod(double(p[0]) - azimuth, 360.0);
        if (offset < 0.0)
            offset += 360.0;
        if (std::fabs(p[1]) < 0.01f && (offset < 0.01 || offset > 359.99))
            return int(m);
    }
    return -1;
}

std::string Shortest(float x)
{
    char buffer[64];
    const std::to_chars_result r = std::to_chars(buffer, buffer + sizeof buffer, x);
    std::string text(buffer, r.ptr);
    // A literal needs a point or an exponent before its suffix.
    if (text.find_first_of(".e") == std::string::npos)
        text += ".0";
    return text + "f";
}

void WriteSet(std::FILE* out, const char* name, const std::vector<std::vector<float>>& rows)
{
    std::fprintf(out, "alignas(64) const float %s[kRotate3DResponseRows][2 * kRotate3DResponseBins] = {\n", name);
    for (int i = 0; i < kRows; ++i) {
        std::fprintf(out, "    // row %d: %d degrees\n    {\n", i, 5 * i);
        const std::vector<float>& row = rows[size_t(i)];
        for (size_t at = 0; at < row.size(); at += 8) {
            std::string line = "       ";
            for (size_t j = at; j < row.size() && j < at + 8; ++j)
                line += " " + Shortest(row[j]) + ",";
            std::fprintf(out, "%s\n", line.c_str());
        }
        std::fprintf(out, "    },\n");
    }
    std::fprintf(out, "};\n");
}

bool Generate(const char* sofaPath, const char* outPath)
{
    int error = 0;
    Sofa sofa;
    sofa.hrtf = mysofa_load(sofaPath, &error);
    if (!sofa.hrtf || error != MYSOFA_OK)
        return Fail(std::string("cannot read ") + sofaPath + " (libmysofa error " + std::to_string(error) + ")");
    MYSOFA_HRTF& h = *sofa.hrtf;
    if (h.R != 2 || h.C != 3 || h.N < unsigned(kTaps) || h.DataSamplingRate.elements < 1 ||
        h.DataSamplingRate.values[0] != float(kRate) || h.DataIR.elements != h.M * h.R * h.N ||
        h.ReceiverPosition.elements < 6 || h.SourcePosition.elements != h.M * h.C)
        return Fail("expected two receivers, 44100 Hz and at least 256 taps");
    // +y is the listener's left. The receivers are read in cartesian
    // coordinates, the sources in spherical ones (azimuth, elevation in degrees).
    mysofa_tocartesian(sofa.hrtf);
    const float y0 = h.ReceiverPosition.values[1], y1 = h.ReceiverPosition.values[4];
    if (!(y0 > 0.0f && y1 < 0.0f) && !(y0 < 0.0f && y1 > 0.0f))
        return Fail("cannot tell the left receiver from the right one");
    const unsigned left = y0 > 0.0f ? 0 : 1, right = 1 - left;
    mysofa_tospherical(sofa.hrtf);

    const Fft design(kDesignPoints), table(kTablePoints);
    const std::vector<Complex> equaliser = DiffuseFieldEqualiser(h, design);

    // One scale for all: mean energy 0.5 over the horizontal plane, both ears.
    double energy = 0.0;
    for (int d = 0; d < kDirections; ++d) {
        const int m = FindMeasurement(h, 5.0 * d);
        if (m < 0)
            return Fail("no measurement at elevation 0, azimuth " + std::to_string(5 * d));
        energy += Energy(Equalised(h, unsigned(m), left, equaliser, design)) +
                  Energy(Equalised(h, unsigned(m), right, equaliser, design));
    }
    const double scale = std::sqrt(kMeanEnergy / (energy / (2.0 * kDirections)));

    std::vector<std::vector<float>> far, near;
    for (int i = 0; i < kRows; ++i) {
        const unsigned m = unsigned(FindMeasurement(h, std::fmod(360.0 - 5.0 * i, 360.0)));
        far.push_back(TableRow(Equalised(h, m, left, equaliser, design), scale, table));
        near.push_back(TableRow(Equalised(h, m, right, equaliser, design), scale, table));
    }

    std::FILE* out = std::fopen(outPath, "wb");
    if (!out)
        return Fail(std::string("cannot write ") + outPath);
    std::fprintf(out,
                 "// GENERATED FILE, do not edit. Made by tools/gen/Rotate3DResponsesGen.cpp\n"
                 "// (target lxfx_gen_rotate3d_responses) from MIT_KEMAR_normal_pinna.sofa, the\n"
                 "// MIT KEMAR measurement as Debian's libmysofa1 package ships it, read with\n"
                 "// libmysofa. Data: W. G. Gardner and K. D. Martin, \"HRTF Measurements of a\n"
                 "// KEMAR Dummy-Head Microphone\", MIT Media Lab Perceptual Computing Technical\n"
                 "// Report 280, 1994; copyright 1994 MIT Media Laboratory, free for any use\n"
                 "// provided the authors are cited.\n"
                 "//\n"
                 "// Horizontal plane, source 0 to 180 degrees to the listener's right in\n"
                 "// 5-degree steps; far ear (left) and near ear (right). Each row: the\n"
                 "// diffuse-field equalised response, its first 256 taps with the last 32\n"
                 "// faded out, scaled by %.17g,\n"
                 "// as bins 0 to 512 of the 1024-point forward DFT (e^-i), interleaved re, im.\n"
                 "// The generator's header comment tells each step; a test regenerates this\n"
                 "// file when libmysofa is present and compares the bytes.\n"
                 "#include \"effects/Rotate3DResponses.h\"\n\n",
                 scale);
    WriteSet(out, "kRotate3DFarEar", far);
    std::fprintf(out, "\n");
    WriteSet(out, "kRotate3DNearEar", near);
    const bool ok = std::ferror(out) == 0;
    return (std::fclose(out) == 0 && ok) || Fail(std::string("cannot write ") + outPath);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: lxfx_gen_rotate3d_responses MIT_KEMAR_normal_pinna.sofa OUT.cpp\n");
        return 2;
    }
    return Generate(argv[1], argv[2]) ? 0 : 1;
}
