// Rotate 3D through the front end, as a host gets it: only stereo streams
// have it, so mono and 6-channel audio is untouched by its switch; no
// allocation in steady-state Push at 44.1 and 48 kHz, with the switch and the
// velocity changing between pushes; and 16-bit stereo with a host buffer
// under 1024 bytes (blocks of fewer than 256 frames) keeps its length.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "lxaudioeffects/AudioEffects.h"
#include "support/AllocationCounter.h"

namespace {

using A = audiofx::AudioEffects;

std::vector<float> Music(size_t frames, uint32_t channels, uint32_t seed)
{
    std::mt19937 rng(seed);
    std::normal_distribution<float> noise(0.0f, 0.1f);
    std::vector<float> x(frames * channels);
    for (size_t i = 0; i < frames; ++i)
        for (uint32_t c = 0; c < channels; ++c)
            x[i * channels + c] = noise(rng) + 0.3f * float(std::sin(0.01 * double(i) * (c + 1)));
    return x;
}

// Pushes in chunks, ends the stream and pulls all.
template <typename T>
std::vector<T> Play(A* fx, const std::vector<T>& in, uint32_t channels, size_t chunkFrames)
{
    std::vector<T> out, scratch(16384 * channels);
    bool end = false;
    auto pull = [&] {
        uint32_t bytes = uint32_t(scratch.size() * sizeof(T));
        fx->Pull(scratch.data(), &bytes, &end);
        out.insert(out.end(), scratch.begin(), scratch.begin() + bytes / sizeof(T));
    };
    for (size_t at = 0; at < in.size(); at += chunkFrames * channels) {
        fx->Push(in.data() + at, uint32_t(std::min(chunkFrames * channels, in.size() - at) * sizeof(T)), -1);
        pull();
    }
    fx->Push(nullptr, 0, -1);
    for (int guard = 0; !end && guard < 100000; ++guard)
        pull();
    EXPECT_TRUE(end);
    return out;
}

std::vector<float> PlayFloat(uint32_t channels, uint32_t rate, bool rotate, const std::vector<float>& in)
{
    A* fx = A::Create();
    if (rotate) {
        fx->SetRotate3DON(true);
        fx->SetRotate3DParams(2.0f);
    }
    EXPECT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, channels, rate, 0));
    const std::vector<float> out = Play(fx, in, channels, 1111);
    fx->Destroy();
    return out;
}

// The chain makes rotate 3D for two channels only; elsewhere its switch and
// velocity change nothing, to the bit. On stereo it is heard.
TEST(Rotate3DFrontEnd, MonoAnd6ChannelStreamsAreUntouched)
{
    for (uint32_t channels : {1u, 6u}) {
        for (uint32_t rate : {44100u, 48000u}) {
            SCOPED_TRACE(testing::Message() << channels << " channels, " << rate << " Hz");
            const std::vector<float> in = Music(30000, channels, channels);
            EXPECT_EQ(PlayFloat(channels, rate, true, in), PlayFloat(channels, rate, false, in));
        }
    }
    const std::vector<float> in = Music(30000, 2, 2);
    const std::vector<float> on = PlayFloat(2, 44100, true, in), off = PlayFloat(2, 44100, false, in);
    ASSERT_EQ(on.size(), off.size());
    EXPECT_NE(on, off);
}

// Rotate 3D on, at its own rate and through the resamplers: once the stream
// has settled, Push and Pull take no memory, with the switch and the velocity
// changed between pushes now and then (each switch-off a flush).
TEST(Rotate3DFrontEnd, SteadyStatePushAllocatesNothingWithRotate3DOn)
{
    struct Case {
        AUDIO_SAMPLEFORMAT format;
        uint32_t rate, bufferBytes;
        bool toggles;
    };
    for (const Case& k : {Case{AUDIO_SAMPLEFORMAT_S16, 44100, 0, false}, Case{AUDIO_SAMPLEFORMAT_S16, 48000, 0, false},
                          Case{AUDIO_SAMPLEFORMAT_FLOAT, 44100, 4096, true},
                          Case{AUDIO_SAMPLEFORMAT_FLOAT, 48000, 0, true}, Case{AUDIO_SAMPLEFORMAT_S16, 48000, 512, true}}) {
        SCOPED_TRACE(testing::Message() << "format " << k.format << ", " << k.rate << " Hz, buffer " << k.bufferBytes
                                        << (k.toggles ? ", switch and velocity changing" : ""));
        A* fx = A::Create();
        fx->SetRotate3DON(true);
        ASSERT_TRUE(fx->Init(k.format, 2, k.rate, k.bufferBytes));
        const uint32_t sampleBytes = k.format == AUDIO_SAMPLEFORMAT_S16 ? 2 : 4;
        std::vector<uint8_t> chunk(1500 * 2 * sampleBytes), out(16384 * 2 * sampleBytes);
        std::mt19937 rng(4);
        size_t phase = 0;
        bool end = false;
        for (int i = 0; i < 300; ++i) {
            for (size_t f = 0; f < 1500; ++f, ++phase) {
                const double x = 0.4 * std::sin(2.0 * M_PI * 440.0 * double(phase) / k.rate);
                const double y = 0.3 * std::sin(2.0 * M_PI * 660.0 * double(phase) / k.rate);
                for (int c = 0; c < 2; ++c) {
                    const double v = c == 0 ? x : y;
                    if (sampleBytes == 2) {
                        const int16_t s = int16_t(v * 32767.0);
                        std::memcpy(&chunk[(2 * f + c) * 2], &s, 2);
                    } else {
                        const float s = float(v);
                        std::memcpy(&chunk[(2 * f + c) * 4], &s, 4);
                    }
                }
            }
            if (k.toggles && i >= 20) {
                if (rng() % 8 == 0)
                    fx->SetRotate3DON(rng() % 2 == 0);
                if (rng() % 5 == 0)
                    fx->SetRotate3DParams(1.0f + float(rng() % 100));
            }
            testsupport::AllocationCounter counter;
            fx->Push(chunk.data(), uint32_t(chunk.size()), -1);
            uint32_t bytes = uint32_t(out.size());
            fx->Pull(out.data(), &bytes, &end);
            if (i >= 40) {
                ASSERT_EQ(counter.Count(), 0u) << "allocated at push " << i;
                ASSERT_EQ(counter.Frees(), 0u) << "freed at push " << i;
            }
        }
        fx->Destroy();
    }
}

// 16-bit stereo with a host buffer under 1024 bytes: blocks of 128, 64 or
// even 1 frame, below the engine's 256. The stream keeps its length (the
// front end adds one frame when the length is a whole number of blocks),
// also through the resamplers within their rounding.
TEST(Rotate3DFrontEnd, SmallHostBuffersKeepTheStreamLength)
{
    for (uint32_t bufferBytes : {4u, 256u, 512u, 1000u}) {
        for (uint32_t rate : {44100u, 48000u}) {
            SCOPED_TRACE(testing::Message() << bufferBytes << " bytes, " << rate << " Hz");
            const uint32_t blockFrames = [&] {
                uint32_t f = 1;
                while (f * 2 <= bufferBytes / 4)
                    f *= 2;
                return f;
            }();
            const size_t frames = 20011;
            std::vector<int16_t> in(frames * 2);
            for (size_t i = 0; i < frames; ++i) {
                in[2 * i] = int16_t(8000.0 * std::sin(0.02 * double(i)));
                in[2 * i + 1] = int16_t(6000.0 * std::sin(0.031 * double(i)));
            }
            A* fx = A::Create();
            fx->SetRotate3DON(true);
            ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, rate, bufferBytes));
            const std::vector<int16_t> out = Play(fx, in, 2, 333);
            fx->Destroy();
            const double expected = double(frames + (frames % blockFrames == 0 ? 1 : 0));
            EXPECT_NEAR(double(out.size() / 2), expected, rate == 44100 ? 0.0 : 2.0);
        }
    }
}

}  // namespace
