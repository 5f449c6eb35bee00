// Guards the sound of every effect against refactoring: each effect alone, and
// all of them together, run through the front end over the six formats and 1,
// 2 and 6 channels, with seeded random settings that change between pushes and
// random chunk sizes. The output bytes are hashed and compared with the table
// in ChainHashes.txt. LXFX_WRITE_CHAIN_HASHES=path writes a new table instead.
// No contract check of the plug-ins may fire on the way.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "lxaudioeffects/AudioEffects.h"
#include "support/RandomEffectSettings.h"
#include "support/RecordingAssertHook.h"

namespace {

using A = audiofx::AudioEffects;
using testsupport::Rng;
const auto& kEffects = testsupport::kRandomEffects;

uint32_t BytesPerSample(AUDIO_SAMPLEFORMAT format)
{
    switch (format) {
    case AUDIO_SAMPLEFORMAT_U8:
        return 1;
    case AUDIO_SAMPLEFORMAT_S16:
        return 2;
    case AUDIO_SAMPLEFORMAT_DOUBLE:
        return 8;
    default:
        return 4;
    }
}

// Two tones and noise near -6 dBFS, written in the given format.
std::vector<uint8_t> MakeInput(AUDIO_SAMPLEFORMAT format, uint32_t channels, uint32_t rate, uint32_t frames,
                               Rng& rng)
{
    const uint32_t bps = BytesPerSample(format);
    std::vector<uint8_t> out(size_t(frames) * channels * bps);
    std::normal_distribution<double> noise(0.0, 0.05);
    for (uint32_t i = 0; i < frames; ++i) {
        for (uint32_t c = 0; c < channels; ++c) {
            const double t = double(i) / rate;
            const double x = 0.3 * std::sin(2 * M_PI * (220.0 + 110.0 * c) * t) +
                             0.15 * std::sin(2 * M_PI * 3100.0 * t) + noise(rng);
            uint8_t* at = out.data() + (size_t(i) * channels + c) * bps;
            switch (format) {
            case AUDIO_SAMPLEFORMAT_U8: *at = uint8_t(128 + int(x * 127)); break;
            case AUDIO_SAMPLEFORMAT_S16: { const int16_t v = int16_t(x * 32767); std::memcpy(at, &v, 2); break; }
            case AUDIO_SAMPLEFORMAT_S32: { const int32_t v = int32_t(x * 2147483647.0); std::memcpy(at, &v, 4); break; }
            case AUDIO_SAMPLEFORMAT_DOUBLE: std::memcpy(at, &x, 8); break;
            default: { const float v = float(x); std::memcpy(at, &v, 4); break; }
            }
        }
    }
    return out;
}

uint64_t Fnv1a(uint64_t hash, const uint8_t* data, size_t size)
{
    for (size_t i = 0; i < size; ++i)
        hash = (hash ^ data[i]) * 1099511628211ull;
    return hash;
}

// Runs one case and returns "hash frames".
std::string RunCase(int effect, AUDIO_SAMPLEFORMAT format, uint32_t channels, uint32_t seed)
{
    Rng rng(seed);
    const uint32_t rates[] = {44100, 48000, 22050, 96000};
    const uint32_t rate = rates[rng() % 4];
    const uint32_t bufferBytes = (rng() % 3 == 0) ? 0 : 256u << (rng() % 6);
    const uint32_t frameBytes = BytesPerSample(format) * channels;
    const std::vector<uint8_t> input = MakeInput(format, channels, rate, rate / 2, rng);

    A* fx = A::Create();
    auto settle = [&](bool changeAll) {
        for (int e = 0; e < int(std::size(kEffects)); ++e)
            if (e == effect || (effect < 0 && (changeAll || rng() % 3 == 0)))
                kEffects[e].randomise(fx, rng);
    };
    for (int e = 0; e < int(std::size(kEffects)); ++e) {
        const auto on = kEffects[e].on;
        if (e == effect || effect < 0)
            (fx->*on)(true);
    }
    settle(true);
    fx->Init(format, channels, rate, bufferBytes);

    uint64_t hash = 1469598103934665603ull;
    uint64_t framesOut = 0;
    std::vector<uint8_t> scratch(65536 * size_t(frameBytes));
    bool end = false;
    auto pull = [&] {
        uint32_t bytes = uint32_t(scratch.size());
        fx->Pull(scratch.data(), &bytes, &end);
        hash = Fnv1a(hash, scratch.data(), bytes);
        framesOut += bytes / frameBytes;
    };
    for (size_t at = 0; at < input.size();) {
        const size_t chunk = std::min(input.size() - at, size_t(1 + rng() % 3000) * frameBytes);
        fx->Push(input.data() + at, uint32_t(chunk), -1);
        at += chunk;
        pull();
        if (rng() % 8 == 0)
            settle(false);
    }
    fx->Push(nullptr, 0, -1);
    while (!end)
        pull();
    fx->Destroy();
    std::ostringstream text;
    text << std::hex << hash << std::dec << ' ' << framesOut;
    return text.str();
}

std::map<std::string, std::string> RunAll()
{
    std::map<std::string, std::string> table;
    uint32_t seed = 1;
    for (int effect = -1; effect < int(std::size(kEffects)); ++effect)
        for (int format = 0; format <= 5; ++format)
            for (uint32_t channels : {1u, 2u, 6u}) {
                const std::string name = std::string(effect < 0 ? "all" : kEffects[effect].name) + "/" +
                                         std::to_string(format) + "/" + std::to_string(channels);
                table[name] = RunCase(effect, AUDIO_SAMPLEFORMAT(format), channels, seed++);
            }
    return table;
}

TEST(ChainHashes, EveryEffectSoundsAsRecorded)
{
    testsupport::RecordingAssertHook asserts;
    const std::map<std::string, std::string> table = RunAll();
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
    if (const char* path = std::getenv("LXFX_WRITE_CHAIN_HASHES")) {
        std::ofstream out(path);
        for (const auto& [name, value] : table)
            out << name << ' ' << value << '\n';
        GTEST_SKIP() << "wrote " << path;
    }
    std::ifstream in(LXFX_TEST_SOURCE_DIR "/frontend/ChainHashes.txt");
    ASSERT_TRUE(in) << "no recorded table";
    std::map<std::string, std::string> recorded;
    std::string name, hash, frames;
    while (in >> name >> hash >> frames)
        recorded[name] = hash + ' ' + frames;
    EXPECT_EQ(recorded.size(), table.size());
    for (const auto& [caseName, value] : table) {
#if defined(_WIN32)
        // The filter designs call the C library's pow, sin and tan, whose
        // last bits differ between glibc, where the table was recorded, and
        // the Windows runtime: there only the frame counts must match.
        EXPECT_EQ(recorded[caseName].substr(recorded[caseName].find(' ')), value.substr(value.find(' ')))
            << caseName;
#else
        EXPECT_EQ(recorded[caseName], value) << caseName;
#endif
    }
}

}  // namespace
