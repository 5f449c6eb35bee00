// Every parameter of every plug-in, through SetParam and SetAllParams, takes
// whatever a host may send (NaN, infinities, 1e30, zero, negatives, random
// bits) between blocks of noise: the output stays finite. The multiband
// compressor, which the chain reaches only inside other plug-ins, is among
// them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "sdk/plugins/OvCompressor/OvCompressorFX.h"
#include "sdk/plugins/OvDelay/OvDelayFX.h"
#include "sdk/plugins/OvDelay/OvDelayFXParams.h"
#include "sdk/plugins/OvGraphicEQ/OvGraphicEQFX.h"
#include "sdk/plugins/OvMultibandCompressor/OvMultibandCompressorFX.h"
#include "sdk/plugins/OvParametricEQ/OvParametricEQFX.h"
#include "sdk/plugins/OvPeakLimiter/OvPeakLimiterFX.h"
#include "sdk/plugins/OvPeakLimiter/OvPeakLimiterFXParams.h"
#include "sdk/plugins/OvRoomVerb/OvRoomVerbFX.h"
#include "support/OvPluginHarness.h"

namespace {

constexpr uint32_t kRate = 48000;
constexpr uint32_t kBlock = 256;

float Hostile(std::mt19937& rng)
{
    const float inf = std::numeric_limits<float>::infinity();
    const float values[] = {std::numeric_limits<float>::quiet_NaN(), inf, -inf, 1e30f, -1e30f, 0.0f, -1.0f,
                            1e6f, -1e6f, 1e-30f, 0.5f, 3.0f, 100.0f, 20000.0f};
    if (rng() % 4 == 0)
        return std::uniform_real_distribution<float>(-200.0f, 200.0f)(rng);
    return values[rng() % (sizeof values / sizeof values[0])];
}

// Settings on IDs [firstID, lastID] (and now and then a whole block of
// blockBytes), each followed by a block of noise, of random length, whose
// output must be finite; on one channel and, unless monoOnly, on two.
template <class TPlugin, class TParams>
void Fuzz(const char* name, uint16_t firstID, uint16_t lastID, uint32_t blockBytes, bool monoOnly = false)
{
    for (uint32_t channels : {1u, 2u}) {
        if (monoOnly && channels > 1)
            continue;
        SCOPED_TRACE(testing::Message() << name << ", " << channels << " channels");
        testsupport::OvPluginHarness<TPlugin, TParams> h(channels, kRate, kBlock);
        ASSERT_TRUE(h.ok);
        std::mt19937 rng(7 + channels);
        std::uniform_real_distribution<float> noise(-0.5f, 0.5f);
        testsupport::Planes input(channels, std::vector<float>(kBlock));
        for (int round = 0; round < 400; ++round) {
            if (rng() % 16 == 0) {
                std::vector<uint8_t> block(blockBytes);
                for (size_t at = 0; at + 4 <= block.size(); at += 4) {
                    const float value = Hostile(rng);
                    std::memcpy(block.data() + at, &value, 4);
                }
                h.params->SetAllParams(block.data(), blockBytes);
            } else {
                const uint16_t id = uint16_t(firstID + rng() % (lastID - firstID + 1));
                // Random bits for the integer and byte fields, hostile floats for the rest.
                if (rng() % 4 == 0)
                    h.Set(id, uint32_t(rng()));
                else
                    h.Set(id, Hostile(rng));
            }
            for (auto& channel : input)
                for (float& x : channel)
                    x = noise(rng);
            const uint32_t frames = 1 + rng() % kBlock;
            h.block.Load(input, 0, frames);
            h.Run(frames);
            for (uint32_t c = 0; c < channels; ++c)
                for (uint32_t i = 0; i < h.lastFrames; ++i)
                    ASSERT_TRUE(std::isfinite(h.block.Channel(c)[i]))
                        << "round " << round << ", channel " << c << ", frame " << i;
        }
    }
}

TEST(ParamDomains, NoValueAnyParameterTakesMakesAPlugInOutputNonFinite)
{
    Fuzz<OvCompressorFX, OvCompressorFXParams>("compressor", 0, 8, OV_COMPRESSORFXPARAM_BLOCK_BYTES);
    Fuzz<OvParametricEQFX, OvParametricEQFXParams>("parametric EQ", 0, 46, OV_PARAMETRICEQ_BLOCK_BYTES);
    Fuzz<OvGraphicEQFX, OvGraphicEQFXParams>("graphic EQ", 0, 36, OvGraphicEQBlockBytes(30));
    Fuzz<OvDelayFX, OvDelayFXParams>("delay", 1, 4, OvDelayFXParams::OV_DELAYFX_BLOCK_BYTES);
    Fuzz<OvPeakLimiterFX, OvPeakLimiterFXParams>("limiter", 0, 9, OvPeakLimiterFXParams::OV_PEAKLIMITERFX_BLOCK_BYTES);
    Fuzz<OvRoomVerbFX, OvRoomVerbFXParams>("room reverb", 0, 110, OvRoomVerbFXParams::OV_ROOMVERBFX_BLOCK_BYTES);
    // Mono, as the chain uses it: on several channels a short block's
    // channel tails stay behind in the band buffers and go round again, by
    // design, which band gains above 0 dB let grow without bound.
    Fuzz<OvMultibandCompressorFX, OvMultibandCompressorFXParams>("multiband compressor", 0, 44,
                                                                 OV_MBCFXPARAM_BLOCK_BYTES, true);
}

}  // namespace
