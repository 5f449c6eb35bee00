// ReplayGain measurements against expectations from outside the analyser:
// the K-weighting's response taken from the analog prototypes of its two
// filters through the bilinear transform, the energy bookkeeping of 400 ms
// gating blocks with a 100 ms step, and the sample formats' scales.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <random>
#include <vector>

#include "lxaudioeffects/ReplayGainProcessor.h"
#include "support/AllocationCounter.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

// |H| at freqHz of a digital biquad designed from an analog prototype by the
// bilinear transform with its corner prewarped to cornerHz.
std::complex<double> PrototypeAt(double freqHz, double cornerHz, double rateHz)
{
    const double omega = std::tan(kPi * freqHz / rateHz) / std::tan(kPi * cornerHz / rateHz);
    return {0.0, omega};
}

// Power gain of the K weighting at freqHz: a 38 Hz second-order high pass
// (Q 0.5) and a +4 dB high shelf at 1502.9 Hz (Q 0.71).
double KWeightingPower(double freqHz, double rateHz)
{
    const std::complex<double> sh = PrototypeAt(freqHz, 38.0, rateHz);
    const std::complex<double> highPass = sh * sh / (sh * sh + sh / 0.5 + 1.0);
    const double A = std::pow(10.0, 4.0 / 40.0);
    const double q = 0.71;
    const std::complex<double> ss = PrototypeAt(freqHz, 1502.9, rateHz);
    const std::complex<double> shelf =
        A * (A * ss * ss + std::sqrt(A) / q * ss + 1.0) / (ss * ss + std::sqrt(A) / q * ss + A);
    return std::norm(highPass * shelf);
}

// Loudness of a steady signal of 100 ms block energy e over `blocks` whole
// blocks: the last block never finishes a gating block, and the first three
// gating blocks hold a quarter, a half and three quarters of one.
double SteadyLoudness(double energy, int blocks)
{
    return -0.691 + 10.0 * std::log10(energy * (0.25 + 0.5 + 0.75 + (blocks - 4)) / (blocks - 1));
}

// Interleaved sine at amplitude, same phase in every channel.
std::vector<float> Sine(double freqHz, double amplitude, unsigned channels, unsigned rate, size_t frames,
                        size_t startFrame = 0)
{
    std::vector<float> out(frames * channels);
    for (size_t n = 0; n < frames; ++n)
        for (unsigned c = 0; c < channels; ++c)
            out[n * channels + c] =
                float(amplitude * std::sin(2.0 * kPi * freqHz * double(n + startFrame) / rate));
    return out;
}

// Pushes float samples in chunks of chunkFrames, the last one with last set.
void PushAll(ReplayGainProcessor& rg, std::vector<float>& samples, unsigned channels, size_t chunkFrames)
{
    const size_t frames = samples.size() / channels;
    for (size_t at = 0; at < frames; at += chunkFrames) {
        const size_t n = std::min(chunkFrames, frames - at);
        rg.PushSamples(samples.data() + at * channels, unsigned(n), at + n == frames);
    }
}

ReplayGainInfo Get(ReplayGainProcessor& rg, ReplayGainType type)
{
    ReplayGainInfo info = {-1.0f, -1.0f};
    rg.GetReplayGain(type, info);
    return info;
}

TEST(ReplayGainProcessor, OneKilohertzSineGivesTheKWeightedGain)
{
    struct Case {
        unsigned rate;
        unsigned channels;
        double amplitude;
    };
    // 10 s of 1 kHz: whole periods in every 100 ms block, so each block's mean
    // square is exactly amplitude^2 / 2 per channel before weighting.
    // Channels go through the filters in pairs, the odd one alone: 1, 3 and 6
    // channels take both paths. Silence, and a sine at -80 dBFS (stereo energy
    // 1e-8, under the absolute gate) give 78.
    for (const Case& k : {Case{44100, 2, 0.5}, Case{48000, 1, 0.25}, Case{96000, 6, 0.1}, Case{32000, 3, 0.9},
                          Case{44100, 2, 0.0}, Case{44100, 2, 1e-4}}) {
        ReplayGainProcessor rg;
        ASSERT_TRUE(rg.Init(AUDIO_SAMPLEFORMAT_FLOAT, k.channels, k.rate));
        std::vector<float> signal = Sine(1000.0, k.amplitude, k.channels, k.rate, size_t(k.rate) * 10);
        PushAll(rg, signal, k.channels, 3000);
        const double energy = k.channels * k.amplitude * k.amplitude / 2.0 * KWeightingPower(1000.0, k.rate);
        const double expectedGain = k.amplitude < 1e-3 ? 78.0 : -18.0 - SteadyLoudness(energy, 100);
        const ReplayGainInfo track = Get(rg, ReplayGainTrack);
        EXPECT_NEAR(track.gain, expectedGain, 0.002) << k.rate << " Hz, " << k.channels << " ch";
        EXPECT_NEAR(track.peak, k.amplitude, 1e-4 * k.amplitude + 1e-12) << k.rate;
        const ReplayGainInfo album = Get(rg, ReplayGainAlbum);
        EXPECT_EQ(album.gain, track.gain);
        EXPECT_EQ(album.peak, track.peak);
    }
}

TEST(ReplayGainProcessor, ShortStreamsCloseTheirLastBlockThroughLast)
{
    const unsigned rate = 44100;
    const double amplitude = 0.5;
    const double energy = 2 * amplitude * amplitude / 2.0 * KWeightingPower(1000.0, rate);
    // 40 ms: one block, which never finishes a gating block: nothing measured
    // but the peak. 150 ms: a whole block and a short one closed by last, so
    // the first gating block (a quarter of a block) finishes.
    struct Case {
        size_t frames;
        double expectedGain;
    };
    const double quarterBlockGain = -18.0 - (-0.691 + 10.0 * std::log10(energy / 4.0));
    for (const Case& k : {Case{rate / 25, 78.0}, Case{rate * 3 / 20, quarterBlockGain}}) {
        ReplayGainProcessor rg;
        ASSERT_TRUE(rg.Init(AUDIO_SAMPLEFORMAT_FLOAT, 2, rate));
        std::vector<float> signal = Sine(1000.0, amplitude, 2, rate, k.frames);
        rg.PushSamples(signal.data(), unsigned(k.frames), false);
        const ReplayGainInfo before = Get(rg, ReplayGainTrack);
        EXPECT_FLOAT_EQ(before.gain, 78.0f);
        if (k.frames < 2048) {
            EXPECT_FLOAT_EQ(before.peak, 0.0f) << "nothing is measured before 2048 frames or last";
        }
        rg.Push(nullptr, 0, true);
        const ReplayGainInfo after = Get(rg, ReplayGainTrack);
        EXPECT_NEAR(after.gain, k.expectedGain, 0.02) << k.frames;
        EXPECT_NEAR(after.peak, amplitude, 1e-3) << k.frames;
    }
}

// The track resets between tracks while the album runs on as one stream;
// resetting the album leaves the track; Reset and Init clear both.
TEST(ReplayGainProcessor, TrackResetsBetweenTracksWhileTheAlbumRuns)
{
    const unsigned rate = 44100;
    const size_t trackFrames = rate * 5;
    std::vector<float> loud = Sine(1000.0, 0.5, 2, rate, trackFrames);
    // The second track continues the first's phase at a tenth of the level.
    std::vector<float> quiet = Sine(1000.0, 0.05, 2, rate, trackFrames, trackFrames);
    std::vector<float> both = loud;
    both.insert(both.end(), quiet.begin(), quiet.end());
    ReplayGainProcessor rg, alone, joined;
    // Before Init nothing is measured and GetReplayGain leaves info alone.
    rg.PushSamples(loud.data(), 8192, true);
    ReplayGainInfo untouched = {1.5f, 2.5f};
    rg.GetReplayGain(ReplayGainTrack, untouched);
    EXPECT_EQ(untouched.gain, 1.5f);
    EXPECT_EQ(untouched.peak, 2.5f);
    ASSERT_TRUE(rg.Init(AUDIO_SAMPLEFORMAT_FLOAT, 2, rate));
    ASSERT_TRUE(alone.Init(AUDIO_SAMPLEFORMAT_FLOAT, 2, rate));
    ASSERT_TRUE(joined.Init(AUDIO_SAMPLEFORMAT_FLOAT, 2, rate));
    PushAll(rg, loud, 2, 4096);
    const ReplayGainInfo firstTrack = Get(rg, ReplayGainTrack);
    rg.ResetReplayGain(ReplayGainTrack);
    EXPECT_FLOAT_EQ(Get(rg, ReplayGainTrack).gain, 78.0f);
    EXPECT_FLOAT_EQ(Get(rg, ReplayGainTrack).peak, 0.0f);
    PushAll(rg, quiet, 2, 4096);
    PushAll(alone, quiet, 2, 4096);
    PushAll(joined, both, 2, 4096);
    const ReplayGainInfo secondTrack = Get(rg, ReplayGainTrack), album = Get(rg, ReplayGainAlbum);
    EXPECT_NEAR(secondTrack.gain, Get(alone, ReplayGainTrack).gain, 0.01);
    EXPECT_NEAR(secondTrack.gain - firstTrack.gain, 20.0, 0.01);
    EXPECT_NEAR(secondTrack.peak, 0.05, 1e-4);
    EXPECT_NEAR(album.gain, Get(joined, ReplayGainTrack).gain, 1e-4);
    EXPECT_NEAR(album.peak, 0.5, 1e-4);
    // The quiet track sits under the relative gate: the album reads close to the loud track.
    EXPECT_NEAR(album.gain, firstTrack.gain, 0.3);

    rg.ResetReplayGain(ReplayGainAlbum);
    EXPECT_FLOAT_EQ(Get(rg, ReplayGainAlbum).gain, 78.0f);
    EXPECT_FLOAT_EQ(Get(rg, ReplayGainAlbum).peak, 0.0f);
    EXPECT_EQ(Get(rg, ReplayGainTrack).gain, secondTrack.gain);
    rg.Reset();
    EXPECT_FLOAT_EQ(Get(rg, ReplayGainTrack).gain, 78.0f);
    EXPECT_FLOAT_EQ(Get(rg, ReplayGainTrack).peak, 0.0f);
    PushAll(rg, loud, 2, 4096);
    ASSERT_TRUE(rg.Init(AUDIO_SAMPLEFORMAT_FLOAT, 2, rate));
    EXPECT_FLOAT_EQ(Get(rg, ReplayGainAlbum).gain, 78.0f);

    // Copies share the measurement; the original outlives them.
    {
        ReplayGainProcessor copy(rg), assigned;
        assigned = copy;
        PushAll(assigned, loud, 2, 4096);
        EXPECT_EQ(Get(rg, ReplayGainTrack).gain, firstTrack.gain);
    }
    EXPECT_NEAR(Get(rg, ReplayGainTrack).peak, 0.5f, 1e-4);
}

// Appends k / 128 in a format's own encoding: exact in every format.
void Encode(AUDIO_SAMPLEFORMAT format, int k, std::vector<uint8_t>& out)
{
    const uint8_t u8 = uint8_t(128 + k);
    const int16_t s16 = int16_t(k * 256);
    const int32_t s32 = k * (1 << 24);
    const float f32 = float(k / 128.0);
    const double f64 = k / 128.0;
    const void* const values[] = {&u8, &s16, &s32, &f32, &f64};
    const size_t sizes[] = {1, 2, 4, 4, 8};
    const uint8_t* bytes = static_cast<const uint8_t*>(values[format]);
    out.insert(out.end(), bytes, bytes + sizes[format]);
}

TEST(ReplayGainProcessor, AllInputFormatsAgreeAndPartialFramesAreDropped)
{
    const unsigned channels = 2;
    const size_t frames = 44100 * 2 + 777;
    std::mt19937 random(7);
    std::uniform_int_distribution<int> noise(-20, 20);
    std::vector<int> steps(frames * channels);
    for (size_t i = 0; i < steps.size(); ++i)
        steps[i] = int(std::lround(90.0 * std::sin(double(i / channels) * 0.07))) + noise(random);
    int maxStep = 0;
    for (int k : steps)
        maxStep = std::max(maxStep, std::abs(k));

    ReplayGainInfo reference = {0.0f, 0.0f};
    for (AUDIO_SAMPLEFORMAT format : {AUDIO_SAMPLEFORMAT_U8, AUDIO_SAMPLEFORMAT_S16, AUDIO_SAMPLEFORMAT_S32,
                                      AUDIO_SAMPLEFORMAT_FLOAT, AUDIO_SAMPLEFORMAT_DOUBLE}) {
        std::vector<uint8_t> bytes;
        for (int k : steps)
            Encode(format, k, bytes);
        const size_t frameBytes = bytes.size() / frames;
        ReplayGainProcessor rg;
        ASSERT_TRUE(rg.Init(format, channels, 44100));
        // Each push hands over whole frames and a piece of the next, which is
        // dropped and sent again with the next push.
        for (size_t at = 0, size = 1; at < frames; size = size * 3 % 4099 + 1) {
            const size_t n = std::min(size, frames - at);
            const size_t spare = n < frames - at ? frameBytes - 1 : 0;
            rg.Push(bytes.data() + at * frameBytes, unsigned(n * frameBytes + spare), false);
            at += n;
        }
        rg.Push(nullptr, 0, true);
        const ReplayGainInfo info = Get(rg, ReplayGainTrack);
        EXPECT_FLOAT_EQ(info.peak, float(maxStep / 128.0)) << format;
        if (format == AUDIO_SAMPLEFORMAT_U8)
            reference = info;
        EXPECT_NEAR(info.gain, reference.gain, 1e-5) << format;
        EXPECT_LT(info.gain, 30.0f);
    }
    // A byte count short of one frame adds nothing, not even to the peak.
    ReplayGainProcessor rg;
    ASSERT_TRUE(rg.Init(AUDIO_SAMPLEFORMAT_S16, channels, 44100));
    int16_t loudFrame[2] = {32767, 32767};
    rg.Push(loudFrame, 3, true);
    EXPECT_FLOAT_EQ(Get(rg, ReplayGainTrack).peak, 0.0f);
}

// Pushes far smaller than the FIFO, and one far larger: 50 s in all.
TEST(ReplayGainProcessor, SteadyPushingAllocatesNothing)
{
    for (AUDIO_SAMPLEFORMAT format : {AUDIO_SAMPLEFORMAT_S16, AUDIO_SAMPLEFORMAT_FLOAT}) {
        ReplayGainProcessor rg;
        ASSERT_TRUE(rg.Init(format, 2, 44100));
        std::vector<uint8_t> chunk(4096 * 2 * 4, 0x11), large(60000 * 2 * 4, 0x22);
        testsupport::AllocationCounter counter;
        for (int i = 0; i < 400; ++i)
            rg.Push(chunk.data(), unsigned(i % 2 ? chunk.size() : 1000), false);
        rg.Push(large.data(), unsigned(large.size()), false);
        rg.Push(nullptr, 0, true);
        Get(rg, ReplayGainAlbum);
        EXPECT_EQ(counter.Count(), 0u) << format;
    }
}

}  // namespace
