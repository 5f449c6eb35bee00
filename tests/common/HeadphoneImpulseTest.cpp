#include "common/HeadphoneImpulse.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "common/WavReader.h"
#include "WavImage.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr double kPi = 3.14159265358979323846;

// frames of a 1 kHz sine of amplitude 0.5 on every channel: energy is
// frames * channels / 8, and stays so per second through a resampling.
std::vector<float> Sine(uint32_t frames, uint32_t channels, uint32_t rateHz)
{
    std::vector<float> out;
    for (uint32_t i = 0; i < frames; ++i)
        for (uint32_t c = 0; c < channels; ++c)
            out.push_back(static_cast<float>(0.5 * std::sin(2 * kPi * 1000.0 * i / rateHz)));
    return out;
}

Bytes FloatImage(const std::vector<float>& samples, uint32_t channels, uint32_t rateHz)
{
    return Riff(WavImage().Fmt(3, channels, rateHz, 32).Data(FloatBytes(samples)));
}

Bytes Pcm16Image(const std::vector<float>& samples, uint32_t channels, uint32_t rateHz)
{
    WavImage data;
    for (float x : samples)
        data.U16(static_cast<uint32_t>(static_cast<int32_t>(x * 32767.0f)));
    return Riff(WavImage().Fmt(1, channels, rateHz, 16).Data(data.bytes));
}

Bytes WithTrailer(Bytes image, float bypassed, float active, size_t keep = 16)
{
    WavImage t;
    t.Tag("LXHG").U32(0).F32(bypassed).F32(active);
    image.insert(image.end(), t.bytes.begin(), t.bytes.begin() + static_cast<std::ptrdiff_t>(keep));
    return image;
}

TEST(HeadphoneImpulse, TrailerGainsSizeAndResampling)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Bytes sine48k = FloatImage(Sine(4800, 1, 48000), 1, 48000);
    const Bytes stereo44k = Pcm16Image(Sine(4410, 2, 44100), 2, 44100);
    const Bytes silent44k = Pcm16Image(std::vector<float>(441, 0.0f), 1, 44100);
    const Bytes eightBit44k = Riff(WavImage().Fmt(1, 1, 44100, 8).Data(Bytes(441, 0xc0)));
    const Bytes lowRate = FloatImage(Sine(100, 1, 100), 1, 100);
    struct Case {
        const char* name;
        Bytes image;
        size_t riffEnd;  // size of the image without its trailer
        uint32_t streamRateHz;
        float bypassed, active;  // expected from the trailer
        bool resampled;
    } cases[] = {
        {"same rate, trailer", WithTrailer(sine48k, -3.0f, 2.0f), sine48k.size(), 48000, -3.0f, 2.0f, false},
        {"15 bytes behind: no trailer", WithTrailer(sine48k, -3.0f, 2.0f, 15), sine48k.size(), 48000, 0, 0, false},
        {"NaN gain: no trailer", WithTrailer(sine48k, nan, 2.0f), sine48k.size(), 48000, 0, 0, false},
        {"8-bit is not resampled", WithTrailer(eightBit44k, -1.0f, 1.0f), eightBit44k.size(), 48000, -1, 1, false},
        {"silent impulse", WithTrailer(silent44k, -1.0f, 1.0f), silent44k.size(), 48000, -1, 1, false},
        {"ratio beyond the resampler", lowRate, lowRate.size(), 48000, 0, 0, false},
        {"float 48k to 44.1k", WithTrailer(sine48k, -3.0f, 2.0f), sine48k.size(), 44100, -3.0f, 2.0f, true},
        {"stereo 16-bit 44.1k to 48k", stereo44k, stereo44k.size(), 48000, 0, 0, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        void* impulse = nullptr;
        uint64_t bytes = c.image.size();
        float bypassed = 1.0f, active = 1.0f;
        PrepareHeadphoneImpulse(c.image.data(), &impulse, &bytes, &bypassed, &active, c.streamRateHz);
        EXPECT_EQ(bypassed, c.bypassed);
        ASSERT_FALSE(std::isnan(active));
        if (!c.resampled) {
            EXPECT_EQ(impulse, nullptr);
            EXPECT_EQ(bytes, c.riffEnd);
            EXPECT_EQ(active, c.active);
            continue;
        }
        ASSERT_NE(impulse, nullptr);
        WavReader in, out;
        ASSERT_TRUE(in.Load(c.image.data(), c.image.size(), true));
        ASSERT_TRUE(out.Load(impulse, bytes, true));
        EXPECT_EQ(out.RiffSize() + 8u, bytes);
        EXPECT_EQ(out.SampleRate(), c.streamRateHz);
        EXPECT_EQ(out.SampleCode(), in.SampleCode());
        EXPECT_EQ(out.Channels(), in.Channels());
        // Length follows the rate ratio to within soxr's rounding.
        const double expectedFrames = double(in.FrameCount()) * c.streamRateHz / in.SampleRate();
        EXPECT_NEAR(out.FrameCount(), expectedFrames, 2.0);
        // A 1 kHz sine keeps its power: energy scales with the frame count.
        double energy = 0;
        for (uint32_t i = 0; i < out.FrameCount() * out.Channels(); ++i)
            energy += double(out.Samples()[i]) * out.Samples()[i];
        const double expectedEnergy = 0.125 * expectedFrames * out.Channels();
        EXPECT_NEAR(energy, expectedEnergy, 0.01 * expectedEnergy);
        // The correction brings the impulse to unit energy per channel.
        const double correctionDb = -10.0 * std::log10(expectedEnergy / out.Channels());
        EXPECT_NEAR(active, c.active + correctionDb, 0.05);
        std::free(impulse);
    }
}

}  // namespace
