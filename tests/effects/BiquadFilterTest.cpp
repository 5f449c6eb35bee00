// BiquadFilter against the closed-form responses of its shapes, measured from
// the impulse response it gives (a direct DFT at DC, the centre and Nyquist,
// and the -3 dB points), the two-frame loop against the plain recursion, and
// the designs it refuses.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <random>
#include <vector>

#include "effects/BiquadFilterImpl.h"

namespace {

constexpr double kRate = 48000.0;
constexpr double kPi = 3.14159265358979323846;

// |H(f)| from 16384 frames of the filter's impulse response, in double.
struct Measured {
    std::vector<double> h;
    double At(double hz) const
    {
        std::complex<double> sum;
        for (size_t n = 0; n < h.size(); ++n)
            sum += h[n] * std::polar(1.0, -2.0 * kPi * hz / kRate * double(n));
        return std::abs(sum);
    }
};

Measured Measure(const BiquadParams& p)
{
    BiquadFilter* f = BiquadFilter::Create();
    EXPECT_TRUE(f->Init(4, int32_t(kRate), 1));
    EXPECT_TRUE(f->SetParams(p));
    Measured m{std::vector<double>(16384)};
    m.h[0] = 1.0;
    void* planes[1] = {m.h.data()};
    f->Process(planes, int32_t(m.h.size()));
    f->Destroy();
    return m;
}

BiquadParams Shape(uint32_t type, double hz, uint32_t widthType, double width, double gainDb = 0.0)
{
    BiquadParams p;
    p.type = type;
    p.frequency = hz;
    p.widthType = widthType;
    p.width = width;
    p.gain = gainDb;
    return p;
}

double Db(double x)
{
    return 20.0 * std::log10(x);
}

TEST(BiquadFilter, ShapesMatchTheirClosedFormResponses)
{
    const double f0 = 1000.0, g = 9.0, nyquist = kRate / 2;
    struct Case {
        BiquadParams p;
        double dcDb, centreDb, nyquistDb;  // NAN: not checked
    };
    const double q = 1.0 / std::sqrt(2.0), butterworthDb = Db(q);
    const Case cases[] = {
        {Shape(BIQUAD_TYPE_EQUALIZER, f0, BIQUAD_WIDTH_QFACTOR, 2.0, g), 0.0, g, 0.0},
        {Shape(BIQUAD_TYPE_BASS, f0, BIQUAD_WIDTH_SLOPE, 1.0, g), g, NAN, 0.0},
        {Shape(BIQUAD_TYPE_LOWSHELF, f0, BIQUAD_WIDTH_SLOPE, 1.0, g), g, g / 2, 0.0},
        {Shape(BIQUAD_TYPE_TREBLE, f0, BIQUAD_WIDTH_SLOPE, 1.0, g), 0.0, NAN, g},
        {Shape(BIQUAD_TYPE_HIGHSHELF, f0, BIQUAD_WIDTH_SLOPE, 1.0, g), 0.0, g / 2, g},
        {Shape(BIQUAD_TYPE_BANDPASS, f0, BIQUAD_WIDTH_OCTAVE, 1.0), -300.0, 0.0, -300.0},
        {Shape(BIQUAD_TYPE_BANDREJECT, f0, BIQUAD_WIDTH_QFACTOR, 2.0), 0.0, -300.0, 0.0},
        {Shape(BIQUAD_TYPE_LOWPASS, f0, BIQUAD_WIDTH_QFACTOR, q), 0.0, butterworthDb, -300.0},
        {Shape(BIQUAD_TYPE_HIGHPASS, f0, BIQUAD_WIDTH_QFACTOR, q), -300.0, butterworthDb, 0.0},
        {Shape(BIQUAD_TYPE_ALLPASS, f0, BIQUAD_WIDTH_QFACTOR, 0.7), 0.0, 0.0, 0.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.p.type);
        const Measured m = Measure(c.p);
        auto expect = [](double measured, double db) {
            if (std::isnan(db))
                return;
            if (db <= -300.0)
                EXPECT_LT(measured, 1e-6);
            else
                EXPECT_NEAR(Db(measured), db, 0.01);
        };
        expect(m.At(0.0), c.dcDb);
        expect(m.At(f0), c.centreDb);
        expect(m.At(nyquist), c.nyquistDb);
    }
    // Bandpass, constant skirt: peak gain Q. One-pole lowpass: unit DC gain.
    BiquadParams skirt = Shape(BIQUAD_TYPE_BANDPASS, f0, BIQUAD_WIDTH_QFACTOR, 3.0);
    skirt.constantSkirtGain = true;
    EXPECT_NEAR(Measure(skirt).At(f0), 3.0, 1e-3);
    BiquadParams onePole = Shape(BIQUAD_TYPE_LOWPASS, f0, BIQUAD_WIDTH_NONE, 0.0);
    onePole.poles = 1;
    EXPECT_NEAR(Measure(onePole).At(0.0), 1.0, 1e-9);
    // The shape biquad takes its coefficients, divided by a0.
    BiquadParams raw;
    raw.frequency = f0;
    raw.a0 = 2.0, raw.b0 = 1.0;
    EXPECT_NEAR(Measure(raw).At(5000.0), 0.5, 1e-12);

    // -3 dB points: the Butterworth pair at f0, the octave-wide band pass
    // one octave apart.
    auto crossing = [](const Measured& m, double lo, double hi, double level) {
        for (int i = 0; i < 60; ++i) {
            const double mid = std::sqrt(lo * hi);
            ((m.At(mid) > level) == (m.At(lo) > level) ? lo : hi) = mid;
        }
        return lo;
    };
    const Measured band = Measure(Shape(BIQUAD_TYPE_BANDPASS, f0, BIQUAD_WIDTH_OCTAVE, 1.0));
    const double half = std::sqrt(0.5);
    const double lower = crossing(band, 100.0, f0, half), upper = crossing(band, f0, 10000.0, half);
    EXPECT_NEAR(std::log2(upper / lower), 1.0, 0.01);
    EXPECT_NEAR(crossing(Measure(Shape(BIQUAD_TYPE_LOWPASS, f0, BIQUAD_WIDTH_QFACTOR, q)), 100.0, 10000.0, half), f0,
                0.5);
}

TEST(BiquadFilter, TwoFrameLoopEqualsThePlainRecursion)
{
    BiquadParams p = Shape(BIQUAD_TYPE_EQUALIZER, 3000.0, BIQUAD_WIDTH_QFACTOR, 0.9, 6.0);
    p.mix = 0.7;
    BiquadFilter* f = BiquadFilter::Create();
    ASSERT_TRUE(f->Init(3, int32_t(kRate), 1));
    ASSERT_TRUE(f->SetParams(p));
    const BiquadParams& c = f->PendingParams();
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int frames : {1, 2, 3, 7, 64, 101}) {
        std::vector<float> x(size_t(frames) * 3);
        for (float& v : x)
            v = u(rng);
        // Plain form: y = b0 x + b1 i1 + b2 i2 - a1 o1 - a2 o2, shifting.
        std::vector<float> plain(x);
        double i1 = 0, i2 = 0, o1 = 0, o2 = 0;
        for (float& v : plain) {
            const double in = v, y = c.b0 * in + c.b1 * i1 + c.b2 * i2 - c.a1 * o1 - c.a2 * o2;
            i2 = i1, i1 = in, o2 = o1, o1 = y;
            v = float(y * c.mix + in * (1.0 - c.mix));
        }
        // The filter in three calls of frames frames.
        f->Reset();
        std::vector<float> run(x);
        for (int part = 0; part < 3; ++part) {
            void* planes[1] = {run.data() + part * frames};
            f->Process(planes, frames);
        }
        EXPECT_EQ(run, plain) << frames;
    }
    f->Destroy();
}

TEST(BiquadFilter, RefusedDesignsKeepTheRunningFilter)
{
    BiquadFilter* f = BiquadFilter::Create();
    EXPECT_FALSE(f->SetParams(Shape(BIQUAD_TYPE_LOWPASS, 1000.0, BIQUAD_WIDTH_QFACTOR, 0.7))) << "before Init";
    ASSERT_TRUE(f->Init(1, int32_t(kRate), 1));
    ASSERT_TRUE(f->SetParams(Shape(BIQUAD_TYPE_LOWPASS, 1000.0, BIQUAD_WIDTH_QFACTOR, 0.7)));
    const double b0 = f->PendingParams().b0;
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    const BiquadParams refused[] = {
        Shape(BIQUAD_TYPE_LOWPASS, kRate / 2 + 1.0, BIQUAD_WIDTH_QFACTOR, 0.7),
        Shape(BIQUAD_TYPE_LOWPASS, 0.0, BIQUAD_WIDTH_HERTZ, 100.0),
        Shape(BIQUAD_TYPE_LOWPASS, nan, BIQUAD_WIDTH_QFACTOR, 0.7),
        Shape(BIQUAD_TYPE_LOWPASS, 1000.0, BIQUAD_WIDTH_QFACTOR, 0.0),
        Shape(BIQUAD_TYPE_EQUALIZER, 1000.0, BIQUAD_WIDTH_QFACTOR, 1.0, inf),
        Shape(BIQUAD_TYPE_LOWPASS, 1000.0, 6, 0.7),
        Shape(11, 1000.0, BIQUAD_WIDTH_QFACTOR, 0.7),
        Shape(BIQUAD_TYPE_BIQUAD, 1000.0, BIQUAD_WIDTH_NONE, 0.0),  // a0 of 0
    };
    for (const BiquadParams& p : refused) {
        EXPECT_FALSE(f->SetParams(p));
        EXPECT_EQ(f->PendingParams().b0, b0);
    }
    EXPECT_TRUE(f->SetParams(Shape(BIQUAD_TYPE_LOWPASS, kRate / 2, BIQUAD_WIDTH_QFACTOR, 0.7))) << "Nyquist itself";
    // 16-bit output is clipped to its range.
    BiquadParams loud = Shape(BIQUAD_TYPE_BIQUAD, 1000.0, BIQUAD_WIDTH_NONE, 0.0);
    loud.a0 = 1.0, loud.b0 = 4.0;
    ASSERT_TRUE(f->SetParams(loud));
    int16_t s[3] = {30000, -30000, 100};
    void* planes[1] = {s};
    f->Process(planes, 3);
    EXPECT_EQ(s[0], 32767);
    EXPECT_EQ(s[1], -32768);
    EXPECT_EQ(s[2], 400);
    f->Destroy();
}

}  // namespace
