// Values a host can send, and streams as they really end: whatever arrives,
// every sample that leaves the front end is finite and, with the limiter at
// its defaults, within full scale.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "lxaudioeffects/AudioEffects.h"

namespace {

using A = audiofx::AudioEffects;

// Pushes the interleaved input in chunks of 1000 frames, ends the stream and
// pulls everything.
template <typename T>
std::vector<T> RunStream(A* fx, const std::vector<T>& in, uint32_t channels)
{
    std::vector<T> out, scratch(16384 * channels);
    bool end = false;
    auto pull = [&] {
        uint32_t bytes = uint32_t(scratch.size() * sizeof(T));
        fx->Pull(scratch.data(), &bytes, &end);
        out.insert(out.end(), scratch.begin(), scratch.begin() + bytes / sizeof(T));
    };
    for (size_t at = 0; at < in.size(); at += 1000 * channels) {
        fx->Push(in.data() + at, uint32_t(std::min<size_t>(1000 * channels, in.size() - at) * sizeof(T)), -1);
        pull();
    }
    fx->Push(nullptr, 0, -1);
    for (int guard = 0; !end && guard < 100000; ++guard)
        pull();
    return out;
}

// A broken decoder's NaN and infinities become silence on the way in and
// leave no trace in the effects' state; an empty stream ends with one frame
// of silence, before and after a reset.
TEST(HostValues, NonFiniteInputAndEmptyStreamsComeOutSilent)
{
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    for (uint32_t channels : {1u, 2u}) {
        SCOPED_TRACE(channels);
        A* fx = A::Create();
        fx->SetGraphEQON(true);
        ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, channels, 44100, 0));
        std::vector<float> in(5000 * channels, 0.25f);
        for (size_t i = 0; i < in.size(); i += 7)
            in[i] = (i % 3 == 0) ? nan : (i % 3 == 1 ? inf : -inf);
        for (const float x : RunStream(fx, in, channels))
            ASSERT_TRUE(std::isfinite(x) && std::fabs(x) <= 1.0f) << x;
        fx->Reset();
        const std::vector<float> clean(5000 * channels, 0.25f);
        const std::vector<float> after = RunStream(fx, clean, channels);
        ASSERT_FALSE(after.empty());
        EXPECT_NEAR(after.back(), 0.25f, 0.01f);  // the filters hold no NaN
        fx->Reset();
        EXPECT_EQ(RunStream(fx, std::vector<float>{}, channels), std::vector<float>(channels, 0.0f));
        fx->Destroy();

        A* fresh = A::Create();
        ASSERT_TRUE(fresh->Init(AUDIO_SAMPLEFORMAT_S16, channels, 44100, 0));
        EXPECT_EQ(RunStream(fresh, std::vector<int16_t>{}, channels), std::vector<int16_t>(channels, 0));
        fresh->Destroy();
    }
}

}  // namespace
