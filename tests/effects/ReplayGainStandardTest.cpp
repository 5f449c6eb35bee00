// The analyser against the standard: the EBU Tech 3341 loudness test signals
// that are defined in closed form, and libebur128 (the reference
// implementation of EBU R 128) on the same signals. Integrated loudness is
// read back as -18 - gain.
#include <gtest/gtest.h>

#include <ebur128.h>

#include <cmath>
#include <random>
#include <vector>

#include "lxaudioeffects/ReplayGainProcessor.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

struct Segment {
    double seconds;
    std::vector<double> dbfs;  // per channel; a 1 kHz sine of this peak level
};

std::vector<float> Render(const std::vector<Segment>& segments, unsigned rate)
{
    std::vector<float> out;
    size_t n = 0;
    for (const Segment& segment : segments) {
        const size_t frames = size_t(std::lround(segment.seconds * rate));
        for (size_t i = 0; i < frames; ++i, ++n)
            for (double dbfs : segment.dbfs)
                out.push_back(float(std::pow(10.0, dbfs / 20.0) * std::sin(2.0 * kPi * 1000.0 * double(n) / rate)));
    }
    return out;
}

double OurLoudness(std::vector<float> samples, unsigned channels, unsigned rate)
{
    ReplayGainProcessor analyser;
    EXPECT_TRUE(analyser.Init(AUDIO_SAMPLEFORMAT_FLOAT, channels, rate));
    analyser.PushSamples(samples.data(), unsigned(samples.size() / channels), true);
    ReplayGainInfo info = {0.0f, 0.0f};
    analyser.GetReplayGain(ReplayGainTrack, info);
    return -18.0 - info.gain;
}

// Every channel weighted 1 unless surround is set (a 5.0 layout, the
// surrounds weighted +1.5 dB as the standard has it).
double Ebur128Loudness(const std::vector<float>& samples, unsigned channels, unsigned rate, bool surround = false)
{
    ebur128_state* state = ebur128_init(channels, rate, EBUR128_MODE_I);
    // Its own order for five channels is L, R, C, Ls, Rs.
    for (unsigned c = 0; c < channels; ++c)
        ebur128_set_channel(state, c, surround ? int(EBUR128_LEFT + c) : int(EBUR128_LEFT));
    ebur128_add_frames_float(state, samples.data(), samples.size() / channels);
    double loudness = 0.0;
    ebur128_loudness_global(state, &loudness);
    ebur128_destroy(&state);
    return loudness;
}

TEST(ReplayGainStandard, Tech3341SignalsReadTheirIntegratedLoudness)
{
    struct Case {
        const char* name;
        std::vector<Segment> segments;
        double lufs;
    } cases[] = {
        {"1: stereo sine at -23 dBFS", {{20, {-23, -23}}}, -23.0},
        {"2: stereo sine at -33 dBFS", {{20, {-33, -33}}}, -33.0},
        {"3: -36, -23, -36 dBFS", {{10, {-36, -36}}, {60, {-23, -23}}, {10, {-36, -36}}}, -23.0},
        {"4: -72, -36, -23, -36, -72 dBFS",
         {{10, {-72, -72}}, {10, {-36, -36}}, {60, {-23, -23}}, {10, {-36, -36}}, {10, {-72, -72}}},
         -23.0},
        {"5: -26, -20, -26 dBFS", {{20, {-26, -26}}, {20.1, {-20, -20}}, {20, {-26, -26}}}, -23.0},
    };
    for (const Case& c : cases)
        for (unsigned rate : {48000u, 44100u})
            EXPECT_NEAR(OurLoudness(Render(c.segments, rate), 2, rate), c.lufs, 0.1) << c.name << " at " << rate;

    // Case 6, five channels (L, R, C, Ls, Rs at -28, -28, -24, -30, -30
    // dBFS): the standard weights the surrounds by 1.41, this analyser counts
    // every channel once, so it reads 10 log10 of the power ratio (0.37 dB)
    // under -23. The reference with the standard's weights reads -23; with
    // every weight 1 it reads what the analyser reads.
    const std::vector<float> five = Render({{20, {-28, -28, -24, -30, -30}}}, 48000);
    auto power = [](double dbfs) { return std::pow(10.0, dbfs / 10.0); };
    const double unweighted = 2 * power(-28) + power(-24) + 2 * power(-30);
    const double shortfall = 10.0 * std::log10((unweighted + 0.41 * 2 * power(-30)) / unweighted);
    EXPECT_NEAR(Ebur128Loudness(five, 5, 48000, true), -23.0, 0.1);
    EXPECT_NEAR(shortfall, 0.37, 0.005);
    EXPECT_NEAR(OurLoudness(five, 5, 48000), Ebur128Loudness(five, 5, 48000), 0.1);
}

// Music-like signals: noise shaped by a slow random envelope and a falling
// spectrum, with quiet passages that the gates must sort out.
std::vector<float> MusicLike(unsigned channels, unsigned rate, double seconds, unsigned seed)
{
    std::mt19937 rng(seed);
    std::normal_distribution<double> gauss;
    const size_t frames = size_t(seconds * rate);
    std::vector<float> out(frames * channels);
    std::vector<double> low(channels, 0.0);
    double envelope = 0.3, target = 0.3;
    for (size_t n = 0; n < frames; ++n) {
        if (n % (rate / 4) == 0)
            target = std::uniform_real_distribution<double>(0.0, 1.0)(rng) < 0.15 ? 0.003 : 0.05 + 0.4 * std::abs(gauss(rng));
        envelope += (target - envelope) * 20.0 / rate;
        for (unsigned c = 0; c < channels; ++c) {
            low[c] += (gauss(rng) - low[c]) * 0.05;  // a one-pole low pass: more bass than treble
            out[n * channels + c] = float(envelope * (0.8 * low[c] + 0.2 * gauss(rng)));
        }
    }
    return out;
}

TEST(ReplayGainStandard, AgreesWithLibebur128)
{
    const struct {
        unsigned rate, channels;
    } layouts[] = {{44100, 1}, {44100, 2}, {48000, 6}, {96000, 2}};
    for (const auto& layout : layouts) {
        const unsigned rate = layout.rate, channels = layout.channels;
        // The first three 400 ms gating blocks hold one, two and three
        // 100 ms blocks and count like full ones, by design: a steady signal
        // reads about 1.1 dB under the reference's figure divided by its
        // length in seconds, so the signals run 20 s and more.
        const std::vector<float> music = MusicLike(channels, rate, 60.0, rate + channels);
        EXPECT_NEAR(OurLoudness(music, channels, rate), Ebur128Loudness(music, channels, rate), 0.1)
            << "music, " << rate << " Hz, " << channels << " channels";
        for (double hz : {100.0, 1000.0, 10000.0}) {
            std::vector<float> sine(size_t(20 * rate) * channels);
            for (size_t i = 0; i < sine.size(); ++i)
                sine[i] = float(0.3 * std::sin(2.0 * kPi * hz * double(i / channels) / rate));
            EXPECT_NEAR(OurLoudness(sine, channels, rate), Ebur128Loudness(sine, channels, rate), 0.1)
                << hz << " Hz sine, " << rate << " Hz, " << channels << " channels";
        }
    }
}

}  // namespace
