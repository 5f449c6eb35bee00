// A front end whose chain has no effect passes blocks of the formats that
// come through float exactly straight from one FIFO to the other. A chain of
// stand-ins that leave the audio alone always takes the full path (convert,
// run, convert back), so its bytes are what the short cut must give.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "frontend/AudioEffectsImpl.h"
#include "support/AllocationCounter.h"
#include "support/FakeEffects.h"

namespace {

using testsupport::FakeFactories;
using testsupport::Journal;

// Only the effects an impulse makes: the chain starts empty, gains an FIR
// effect when an impulse loads and loses it when a load fails.
const ProcessorFactories& ImpulseEffectsOnly()
{
    static const ProcessorFactories factories = [] {
        ProcessorFactories f = FakeFactories();
        for (size_t i = 0; i < kSlotCount; ++i)
            if (!kSlotInfo[i].madeByImpulse)
                f.create[i] = nullptr;
        return f;
    }();
    return factories;
}

// Every format, channel count and block size (down to one frame), chunks of
// any size (partial frames included), pulls of any size, and mid-stream an
// FIR effect that comes and goes, bypass mode, switches and resets: the same
// bytes, the same pull sizes and the same end flag as the full path.
TEST(FrontEndPassThrough, GivesTheFullPathsBytesWhateverTheChunksAndSettings)
{
    const uint32_t sampleBytes[] = {1, 2, 4, 4, 8, 4};
    const uint8_t impulse[64] = {};
    for (AUDIO_SAMPLEFORMAT format : {AUDIO_SAMPLEFORMAT_U8, AUDIO_SAMPLEFORMAT_S16, AUDIO_SAMPLEFORMAT_FLOAT,
                                      AUDIO_SAMPLEFORMAT_PLANAR_FLOAT}) {
        for (uint32_t channels : {1u, 2u, 3u}) {
            for (uint32_t blockFrames : {1u, 16u, 2048u}) {
                SCOPED_TRACE(testing::Message() << "format " << format << ", " << channels << " channels, block "
                                                << blockFrames);
                Journal() = testsupport::FakeJournal();
                audiofx::AudioEffectsImpl shortCut(ImpulseEffectsOnly()), full(FakeFactories());
                const uint32_t frameBytes = sampleBytes[format] * channels;
                ASSERT_TRUE(shortCut.Init(format, channels, 44100, blockFrames * frameBytes));
                ASSERT_TRUE(full.Init(format, channels, 44100, blockFrames * frameBytes));

                std::mt19937 rng(format * 100 + channels * 10 + blockFrames);
                std::vector<uint8_t> chunk, a(9000 * frameBytes), b(a.size());
                bool endA = false, endB = false;
                auto pull = [&] {
                    uint32_t bytesA = uint32_t(rng() % a.size()) + 1, bytesB = bytesA;
                    shortCut.Pull(a.data(), &bytesA, &endA);
                    full.Pull(b.data(), &bytesB, &endB);
                    EXPECT_EQ(bytesA, bytesB);
                    EXPECT_EQ(endA, endB);
                    EXPECT_TRUE(bytesA == bytesB && std::memcmp(a.data(), b.data(), bytesA) == 0);
                    return bytesA;
                };
                for (int step = 0; step < 60; ++step) {
                    chunk.resize(rng() % (3 * blockFrames * frameBytes + 7) + 1);
                    for (uint8_t& byte : chunk)
                        byte = uint8_t(rng());
                    shortCut.Push(chunk.data(), uint32_t(chunk.size()), -1);
                    full.Push(chunk.data(), uint32_t(chunk.size()), -1);
                    pull();
                    switch (rng() % 8) {
                    case 0:  // an FIR effect appears, or a failed load removes it
                        Journal().impulseLoads = rng() % 2 == 0;
                        shortCut.SetFIRImpulse(impulse, sizeof impulse);
                        full.SetFIRImpulse(impulse, sizeof impulse);
                        break;
                    case 1: {
                        const bool on = rng() % 2 == 0;
                        shortCut.SetBypassMode(on);
                        full.SetBypassMode(on);
                        shortCut.SetFIRON(!on);
                        full.SetFIRON(!on);
                        break;
                    }
                    case 2:
                        shortCut.SetLimiterON(step % 2 == 0);
                        full.SetLimiterON(step % 2 == 0);
                        break;
                    case 3:
                        if (step % 5 == 0) {
                            shortCut.Reset();
                            full.Reset();
                        }
                        break;
                    default:
                        break;
                    }
                }
                shortCut.Push(nullptr, 0, -1);
                full.Push(nullptr, 0, -1);
                while (pull() != 0 || !endA) {
                }
            }
        }
    }

    // Passing through allocates nothing once the FIFOs have settled.
    audiofx::AudioEffectsImpl fx(ImpulseEffectsOnly());
    ASSERT_TRUE(fx.Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0));
    std::vector<int16_t> chunk(2 * 1000, 7), out(2 * 4096);
    bool end = false;
    for (int round = 0; round < 20; ++round) {
        testsupport::AllocationCounter counter;
        fx.Push(chunk.data(), uint32_t(chunk.size() * 2), -1);
        uint32_t bytes = uint32_t(out.size() * 2);
        fx.Pull(out.data(), &bytes, &end);
        if (round >= 10) {
            EXPECT_EQ(counter.Count(), 0u);
        }
    }
}

}  // namespace
