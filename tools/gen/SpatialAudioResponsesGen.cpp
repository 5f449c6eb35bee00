// Writes src/effects/SpatialAudioResponses.cpp, the head-related response
// tables of spatial audio's virtual loudspeaker ring, from the MIT KEMAR
// measurement as libmysofa's SOFA file holds it:
//
//   lxfx_gen_spatial_audio_responses MIT_KEMAR_normal_pinna.sofa SpatialAudioResponses.cpp
//
// The file comes with Debian's libmysofa1 package (`dpkg -L libmysofa1`), and
// libmysofa (libmysofa-dev) reads it. The data are
//   W. G. Gardner and K. D. Martin, "HRTF Measurements of a KEMAR Dummy-Head
//   Microphone", MIT Media Lab Perceptual Computing Technical Report 280, 1994,
// copyright 1994 MIT Media Laboratory, free for any use provided the authors
// are cited. libsoxr makes the 48 kHz rows.
//
// The layout, azimuths in degrees, negative to the listener's left:
//   centre 0; front pair -30/+30; side pair -90/+90; rear pair -135/+135;
//   the extra pair -60/+60 (a wide front pair, as in 9.1 layouts; fed with
//   the ambient signal it widens the front image beyond the front pair).
// The slots and their wiring in the engine (near = the ear on the speaker's
// side):
//   0, 1   centre speaker to the left ear, to the right ear (primary signal).
//   2, 3   front left speaker to the left ear (near), to the right ear (far)
//          (left input).
//   4, 5   one table: a phantom-centre share of the left input, the mean of
//          the two ears' centre responses at -10 dB, added to both ears.
//   6, 7   first terms, same input per column: the left speaker of the pair
//          to its near ear on the ambient signal (to the left output), the
//          right speaker to its near ear on the inverted ambient signal (to
//          the right output).
//   8, 9   second terms, crossed: the right speaker to the left ear (far) on
//          the inverted ambient signal (to the left output), the left speaker
//          to the right ear (far) on the ambient signal (to the right output).
//          So each ear hears both speakers of the pair, each fed with its own
//          signal.
//   10-13  the rear pair, wired as 6-9.
//   14-17  the extra pair, wired as 6-9.
//
// What the generator does, all in double until the last step:
// 1. Reads the raw measurement (mysofa_load: no resampling, no normalisation)
//    and checks it: 2 receivers, 44100 Hz, at least 256 taps.
// 2. Diffuse-field equalisation, as for rotate 3D's tables: the raw responses
//    carry the measuring loudspeaker (some 35 dB down at DC) and microphone.
//    The power average over all directions and both ears, smoothed over a
//    third of an octave and held at its 50 Hz and 16 kHz values beyond those
//    edges, is inverted into one minimum-phase filter (real cepstrum, 4096
//    points) that every response goes through.
// 3. High-pass: a second-order Butterworth at 150 Hz (bilinear transform),
//    so that the virtual speakers add almost nothing at the lowest bins and
//    the direct signal carries the bass.
// 4. Drops the leading taps that every response has before its sound arrives,
//    the same count for all (the bulk delay of the measuring distance), so
//    that the earliest main peak of the ring falls at tap 12; the delays
//    between the ears and between directions stay as measured.
// 5. Keeps 448 taps and fades the last 64 out with a half raised cosine.
// 6. Scales every response by one factor, chosen so that the mean energy over
//    the 72 directions of the horizontal plane and both ears is 0.5, as
//    rotate 3D's tables.
// 7. The 48 kHz set: slots 0 to 13 are the 44.1 kHz rows unchanged (the
//    engine reads them at either rate); slots 14 to 17 are the same taps
//    resampled with libsoxr (soxr_oneshot, very high quality, double
//    precision, one thread), scaled by 44100/48000 so that the frequency
//    response keeps its level, 511 taps kept.
// 8. Takes the 1024-point forward DFT, X[k] = sum h[n] e^(-2 pi i k n / 1024)
//    (the sign of FFmpeg's forward transforms), bins 0 to 512, rounds to
//    float, and writes each float as the shortest decimal that reads back to
//    the same float (std::to_chars). The imaginary parts of bins 0 and 512
//    are exactly 0.
//
// Build-time tool only: the library links neither libmysofa nor this use of
// libsoxr's one-shot call. A test regenerates the tables when libmysofa and
// the data file are present and compares the bytes with the committed file.
#include <mysofa.h>
#include <soxr.h>

#include <algorithm>
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
constexpr int kSlots = 18;
constexpr int kSharedSlots = 14;
constexpr int kBins = 513;
constexpr size_t kTablePoints = 1024;
constexpr size_t kDesignPoints = 4096;
constexpr int kTaps = 448;
constexpr int kFadeTaps = 64;
constexpr int kMaxTaps = 511;
constexpr int kFirstPeakTap = 12;
constexpr int kDirections = 72;
constexpr double kRate = 44100.0;
constexpr double kRate48 = 48000.0;
constexpr double kEqualiseFromHz = 50.0;
constexpr double kEqualiseToHz = 16000.0;
constexpr double kHighPassHz = 150.0;
constexpr double kMeanEnergy = 0.5;
constexpr double kCentreShare = 0.31622776601683794;  // -10 dB

constexpr double kSideDegrees = 90.0;
constexpr double kRearDegrees = 135.0;
constexpr double kExtraDegrees = 60.0;
constexpr double kFrontDegrees = 30.0;

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
    std::fprintf(stderr, "lxfx_gen_spatial_audio_responses: %s\n", message.c_str());
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

double Energy(const std::vector<double>& taps)
{
    double sum = 0.0;
    for (double x : taps)
        sum += x * x;
    return sum;
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

// The equalised and high-passed response, all kDesignPoints taps.
std::vector<double> Equalised(const MYSOFA_HRTF& h, unsigned measurement, unsigned receiver,
                              const std::vector<Complex>& equaliser, const Fft& fft)
{
    std::vector<Complex> x = Measured(h, measurement, receiver);
    fft.Run(x, false);
    for (size_t k = 0; k < kDesignPoints; ++k)
        x[k] *= equaliser[k];
    fft.Run(x, true);
    // Second-order Butterworth high-pass, bilinear transform.
    const double w0 = 2.0 * kPi * kHighPassHz / kRate;
    const double alpha = std::sin(w0) / (2.0 * std::sqrt(0.5));
    const double c = std::cos(w0), a0 = 1.0 + alpha;
    const double b0 = (1.0 + c) / 2.0 / a0, b1 = -(1.0 + c) / a0, b2 = b0;
    const double a1 = -2.0 * c / a0, a2 = (1.0 - alpha) / a0;
    std::vector<double> taps(kDesignPoints);
    double i1 = 0.0, i2 = 0.0, o1 = 0.0, o2 = 0.0;
    for (size_t n = 0; n < kDesignPoints; ++n) {
        const double in = x[n].real() / double(kDesignPoints);
        const double out = b0 * in + b1 * i1 + b2 * i2 - a1 * o1 - a2 * o2;
        i2 = i1, i1 = in, o2 = o1, o1 = out;
        taps[n] = out;
    }
    return taps;
}

int PeakTap(const std::vector<double>& taps)
{
    int peak = 0;
    for (size_t n = 1; n < taps.size(); ++n)
        if (std::fabs(taps[n]) > std::fabs(taps[size_t(peak)]))
            peak = int(n);
    return peak;
}

// Taps from advance on, kTaps of them, faded out over the last kFadeTaps.
std::vector<double> Windowed(const std::vector<double>& full, int advance)
{
    std::vector<double> taps(kTaps);
    for (int n = 0; n < kTaps; ++n) {
        const int into = n - (kTaps - kFadeTaps) + 1;  // 1 .. kFadeTaps over the fade
        const double w = into > 0 ? 0.5 * (1.0 + std::cos(kPi * double(into) / double(kFadeTaps + 1))) : 1.0;
        taps[size_t(n)] = full[size_t(n + advance)] * w;
    }
    return taps;
}

// The taps at 48 kHz: libsoxr, very high quality, in double, one thread.
bool Resampled(const std::vector<double>& taps, std::vector<double>& out)
{
    std::vector<double> in(taps);
    in.resize(size_t(std::ceil(kMaxTaps * kRate / kRate48)), 0.0);
    out.assign(kMaxTaps, 0.0);
    size_t done = 0;
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);
    const soxr_error_t error = soxr_oneshot(kRate, kRate48, 1, in.data(), in.size(), nullptr, out.data(),
                                            out.size(), &done, &io, &quality, &runtime);
    if (error)
        return Fail(std::string("libsoxr: ") + error);
    for (double& x : out)
        x *= kRate / kRate48;
    return true;
}

// Bins 0 to 512 of the 1024-point forward DFT, interleaved re, im, in float.
std::vector<float> TableRow(const std::vector<double>& taps, double scale, const Fft& fft)
{
    std::vector<Complex> x(kTablePoints);
    for (size_t n = 0; n < taps.size() && n < kTablePoints; ++n)
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

void WriteRows(std::FILE* out, const char* name, const char* rows, const std::vector<std::vector<float>>& set,
               int firstSlot, const char* const* roles)
{
    std::fprintf(out, "alignas(64) const float %s[%s][2 * kSpatialAudioResponseBins] = {\n", name, rows);
    for (size_t i = 0; i < set.size(); ++i) {
        std::fprintf(out, "    // slot %d: %s\n    {\n", firstSlot + int(i), roles[i]);
        const std::vector<float>& row = set[i];
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

// A slot's source: the speaker's azimuth (negative to the left) and the ear.
struct Source {
    double degrees;
    bool leftEar;
    const char* role;
};

bool Generate(const char* sofaPath, const char* outPath)
{
    int error = 0;
    Sofa sofa;
    sofa.hrtf = mysofa_load(sofaPath, &error);
    if (!sofa.hrtf || error != MYSOFA_OK)
        return Fail(std::string("cannot read ") + sofaPath + " (libmysofa error " + std::to_string(error) + ")");
    MYSOFA_HRTF& h = *sofa.hrtf;
    if (h.R != 2 || h.C != 3 || h.N < 256 || h.DataSamplingRate.elements < 1 ||
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

    // The whole ring, 5 degrees apart, to the right of the listener as d
    // grows; SOFA's azimuth runs anticlockwise, to the left.
    std::vector<std::vector<double>> ringLeft, ringRight;
    int firstPeak = int(kDesignPoints);
    for (int d = 0; d < kDirections; ++d) {
        const int m = FindMeasurement(h, std::fmod(360.0 - 5.0 * d, 360.0));
        if (m < 0)
            return Fail("no measurement at elevation 0, azimuth " + std::to_string(5 * d));
        ringLeft.push_back(Equalised(h, unsigned(m), left, equaliser, design));
        ringRight.push_back(Equalised(h, unsigned(m), right, equaliser, design));
        firstPeak = std::min(firstPeak, std::min(PeakTap(ringLeft.back()), PeakTap(ringRight.back())));
    }
    const int advance = std::max(0, firstPeak - kFirstPeakTap);

    double energy = 0.0;
    for (int d = 0; d < kDirections; ++d)
        energy += Energy(Windowed(ringLeft[size_t(d)], advance)) + Energy(Windowed(ringRight[size_t(d)], advance));
    const double scale = std::sqrt(kMeanEnergy / (energy / (2.0 * kDirections)));

    auto taps = [&](double degrees, bool leftEar) {
        const int d = int(std::lround(std::fmod(degrees + 360.0, 360.0) / 5.0)) % kDirections;
        return Windowed(leftEar ? ringLeft[size_t(d)] : ringRight[size_t(d)], advance);
    };
    const Source sources[kSlots] = {
        {0.0, true, "centre to the left ear"},
        {0.0, false, "centre to the right ear"},
        {-kFrontDegrees, true, "front left speaker to the left ear"},
        {-kFrontDegrees, false, "front left speaker to the right ear"},
        {0.0, true, "phantom centre share, both ears"},
        {0.0, true, "phantom centre share, both ears (the same table as slot 4)"},
        {-kSideDegrees, true, "side left speaker to the left ear"},
        {kSideDegrees, false, "side right speaker to the right ear"},
        {kSideDegrees, true, "side right speaker to the left ear"},
        {-kSideDegrees, false, "side left speaker to the right ear"},
        {-kRearDegrees, true, "rear left speaker to the left ear"},
        {kRearDegrees, false, "rear right speaker to the right ear"},
        {kRearDegrees, true, "rear right speaker to the left ear"},
        {-kRearDegrees, false, "rear left speaker to the right ear"},
        {-kExtraDegrees, true, "extra left speaker to the left ear"},
        {kExtraDegrees, false, "extra right speaker to the right ear"},
        {kExtraDegrees, true, "extra right speaker to the left ear"},
        {-kExtraDegrees, false, "extra left speaker to the right ear"},
    };
    std::vector<std::vector<double>> slotTaps;
    for (int s = 0; s < kSlots; ++s) {
        if (s == 4 || s == 5) {
            const std::vector<double> l = taps(0.0, true), r = taps(0.0, false);
            std::vector<double> share(kTaps);
            for (int n = 0; n < kTaps; ++n)
                share[size_t(n)] = 0.5 * (l[size_t(n)] + r[size_t(n)]) * kCentreShare;
            slotTaps.push_back(share);
        } else {
            slotTaps.push_back(taps(sources[s].degrees, sources[s].leftEar));
        }
    }

    std::vector<std::vector<float>> shared, extra44, extra48;
    const char* roles[kSlots];
    for (int s = 0; s < kSlots; ++s) {
        roles[s] = sources[s].role;
        std::vector<float> row = TableRow(slotTaps[size_t(s)], scale, table);
        if (std::fabs(row[0]) >= 0.05f)
            return Fail("slot " + std::to_string(s) + " is not high-passed");
        if (s < kSharedSlots) {
            shared.push_back(row);
            continue;
        }
        extra44.push_back(row);
        std::vector<double> at48;
        if (!Resampled(slotTaps[size_t(s)], at48))
            return false;
        extra48.push_back(TableRow(at48, scale, table));
    }

    std::FILE* out = std::fopen(outPath, "wb");
    if (!out)
        return Fail(std::string("cannot write ") + outPath);
    std::fprintf(out,
                 "// GENERATED FILE, do not edit. Made by tools/gen/SpatialAudioResponsesGen.cpp\n"
                 "// (target lxfx_gen_spatial_audio_responses) from MIT_KEMAR_normal_pinna.sofa,\n"
                 "// the MIT KEMAR measurement as Debian's libmysofa1 package ships it, read\n"
                 "// with libmysofa; the 48 kHz rows resampled with libsoxr. Data: W. G. Gardner\n"
                 "// and K. D. Martin, \"HRTF Measurements of a KEMAR Dummy-Head Microphone\",\n"
                 "// MIT Media Lab Perceptual Computing Technical Report 280, 1994; copyright\n"
                 "// 1994 MIT Media Laboratory, free for any use provided the authors are cited.\n"
                 "//\n"
                 "// Horizontal plane: centre 0, front -30/+30, side -90/+90, rear -135/+135,\n"
                 "// extra -60/+60 degrees (negative to the left). Each row: the diffuse-field\n"
                 "// equalised response, high-passed at 150 Hz, advanced by %d taps, its first\n"
                 "// %d taps with the last %d faded out, scaled by %.17g,\n"
                 "// as bins 0 to 512 of the 1024-point forward DFT (e^-i), interleaved re, im.\n"
                 "// The generator's header comment tells each step and the wiring; a test\n"
                 "// regenerates this file when libmysofa is present and compares the bytes.\n"
                 "#include \"effects/SpatialAudioResponses.h\"\n\n",
                 advance, kTaps, kFadeTaps, scale);
    WriteRows(out, "kSpatialAudioSharedResponses", "kSpatialAudioSharedSlots", shared, 0, roles);
    std::fprintf(out, "\n");
    WriteRows(out, "kSpatialAudioExtraResponses44k", "kSpatialAudioExtraSlots", extra44, kSharedSlots,
              roles + kSharedSlots);
    std::fprintf(out, "\n");
    WriteRows(out, "kSpatialAudioExtraResponses48k", "kSpatialAudioExtraSlots", extra48, kSharedSlots,
              roles + kSharedSlots);
    const bool ok = std::ferror(out) == 0;
    return (std::fclose(out) == 0 && ok) || Fail(std::string("cannot write ") + outPath);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: lxfx_gen_spatial_audio_responses MIT_KEMAR_normal_pinna.sofa OUT.cpp\n");
        return 2;
    }
    return Generate(argv[1], argv[2]) ? 0 : 1;
}
