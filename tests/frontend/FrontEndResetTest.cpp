// Reset clears all audio state: after it, the same settings and the same new
// audio give, bit for bit, what a new front end gives. Every effect is on with
// seeded musical settings, some of them changed while the first stream plays.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <random>
#include <vector>

#include "lxaudioeffects/AudioEffects.h"
#include "support/RandomEffectSettings.h"

namespace {

using A = audiofx::AudioEffects;
using testsupport::Rng;
const auto& kEffects = testsupport::kRandomEffects;

// Pushes the bytes in the given chunk sizes (frames, cycled), ends the stream
// and returns everything pulled.
std::vector<uint8_t> Play(A* fx, const std::vector<uint8_t>& in, uint32_t frameBytes,
                          const std::vector<uint32_t>& chunks)
{
    std::vector<uint8_t> out, scratch(65536 * size_t(frameBytes));
    bool end = false;
    auto pull = [&] {
        uint32_t bytes = uint32_t(scratch.size());
        fx->Pull(scratch.data(), &bytes, &end);
        out.insert(out.end(), scratch.begin(), scratch.begin() + bytes);
    };
    size_t k = 0;
    for (size_t at = 0; at < in.size(); ++k) {
        const size_t n = std::min(in.size() - at, size_t(chunks[k % chunks.size()]) * frameBytes);
        fx->Push(in.data() + at, uint32_t(n), -1);
        at += n;
        pull();
    }
    fx->Push(nullptr, 0, -1);
    for (int guard = 0; !end && guard < 100000; ++guard)
        pull();
    return out;
}

std::vector<uint8_t> Noise(AUDIO_SAMPLEFORMAT format, size_t samples, Rng& rng)
{
    std::normal_distribution<float> noise(0.0f, 0.2f);
    std::vector<uint8_t> out(samples * (format == AUDIO_SAMPLEFORMAT_S16 ? 2 : 4));
    for (size_t i = 0; i < samples; ++i) {
        const float x = std::max(-1.0f, std::min(1.0f, noise(rng) + 0.3f * float(std::sin(0.01 * double(i)))));
        if (format == AUDIO_SAMPLEFORMAT_S16) {
            const int16_t v = int16_t(x * 32767.0f);
            std::memcpy(out.data() + 2 * i, &v, 2);
        } else {
            std::memcpy(out.data() + 4 * i, &x, 4);
        }
    }
    return out;
}

TEST(FrontEndReset, AfterResetTheSameSettingsAndAudioGiveWhatANewFrontEndGives)
{
    struct Case {
        AUDIO_SAMPLEFORMAT format;
        uint32_t channels, rate, bufferBytes;
    };
    const Case cases[] = {{AUDIO_SAMPLEFORMAT_FLOAT, 2, 44100, 0},    {AUDIO_SAMPLEFORMAT_S16, 1, 48000, 1024},
                          {AUDIO_SAMPLEFORMAT_FLOAT, 6, 96000, 4096}, {AUDIO_SAMPLEFORMAT_S16, 2, 22050, 512},
                          {AUDIO_SAMPLEFORMAT_FLOAT, 1, 44100, 256},  {AUDIO_SAMPLEFORMAT_FLOAT, 2, 48000, 8192}};
    uint32_t seed = 0;
    for (const Case& c : cases) {
        for (int repeat = 0; repeat < 3; ++repeat, ++seed) {
            SCOPED_TRACE(testing::Message() << "format " << c.format << ", " << c.channels << " channels, "
                                            << c.rate << " Hz, seed " << seed);
            Rng rng(seed);
            const uint32_t frameBytes = c.channels * (c.format == AUDIO_SAMPLEFORMAT_S16 ? 2 : 4);
            // Each settings change is an effect and a seed, replayed on the new front end.
            std::vector<std::pair<int, uint32_t>> changes;
            auto change = [&](A* fx, int effect, uint32_t changeSeed) {
                Rng settings(changeSeed);
                kEffects[effect].randomise(fx, settings);
            };

            A* used = A::Create();
            for (int e = 0; e < int(std::size(kEffects)); ++e) {
                (used->*kEffects[e].on)(true);
                changes.emplace_back(e, uint32_t(rng()));
                change(used, e, changes.back().second);
            }
            ASSERT_TRUE(used->Init(c.format, c.channels, c.rate, c.bufferBytes));
            // A first stream, with settings changed between pushes, then Reset.
            const std::vector<uint8_t> first = Noise(c.format, size_t(c.rate / 3) * c.channels, rng);
            for (size_t at = 0; at < first.size();) {
                const size_t n = std::min(first.size() - at, size_t(1 + rng() % 3000) * frameBytes);
                used->Push(first.data() + at, uint32_t(n), -1);
                at += n;
                std::vector<uint8_t> sink(65536 * size_t(frameBytes));
                uint32_t bytes = uint32_t(sink.size());
                bool end = false;
                used->Pull(sink.data(), &bytes, &end);
                if (rng() % 3 == 0) {
                    changes.emplace_back(int(rng() % std::size(kEffects)), uint32_t(rng()));
                    change(used, changes.back().first, changes.back().second);
                }
            }
            used->Reset();

            // The new front end gets the same calls: the first settings before
            // Init, the changes after it (a refused setting leaves the one before).
            A* fresh = A::Create();
            for (int e = 0; e < int(std::size(kEffects)); ++e)
                (fresh->*kEffects[e].on)(true);
            for (size_t k = 0; k < changes.size(); ++k) {
                if (k == std::size(kEffects)) {
                    ASSERT_TRUE(fresh->Init(c.format, c.channels, c.rate, c.bufferBytes));
                }
                change(fresh, changes[k].first, changes[k].second);
            }
            if (changes.size() == std::size(kEffects)) {
                ASSERT_TRUE(fresh->Init(c.format, c.channels, c.rate, c.bufferBytes));
            }

            const std::vector<uint8_t> second = Noise(c.format, size_t(c.rate / 2) * c.channels, rng);
            const std::vector<uint32_t> chunks = {1 + uint32_t(rng() % 5000), 1 + uint32_t(rng() % 300)};
            const std::vector<uint8_t> afterReset = Play(used, second, frameBytes, chunks);
            const std::vector<uint8_t> fromNew = Play(fresh, second, frameBytes, chunks);
            ASSERT_EQ(afterReset.size(), fromNew.size());
            size_t firstDifference = 0;
            while (firstDifference < fromNew.size() && afterReset[firstDifference] == fromNew[firstDifference])
                ++firstDifference;
            EXPECT_EQ(firstDifference, fromNew.size()) << "first difference at frame " << firstDifference / frameBytes;
            used->Destroy();
            fresh->Destroy();
        }
    }
}

}  // namespace
