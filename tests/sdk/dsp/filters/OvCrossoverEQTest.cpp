// The crossover measured from its impulse responses: bands against the
// closed-form Linkwitz-Riley magnitudes, their sum against the product of the
// edges' allpasses (flat magnitude), edges and the 45 % clamp, fewer bands;
// and the split, run in rounds through the batch kernel, against the plain
// band-by-band loop, bit for bit.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <iterator>
#include <random>
#include <vector>

#include "ov/OvMemAllocDefault.h"
#include "sdk/dsp/filters/OvCrossoverEQ.h"
#include "support/FrequencyResponse.h"
#include "support/OvPluginHarness.h"
#include "support/RecordingAssertHook.h"

namespace {

using testsupport::DftAt;
using testsupport::PlanarBlock;
using Complex = std::complex<double>;

constexpr double kRate = 44100.0;
constexpr uint32_t kBlock = 1024;
const float kEdgesHz[4] = {100.0f, 350.0f, 1500.0f, 7500.0f};

// Impulse responses of each band of channel 0; channel c gets the impulse
// scaled by c + 1 and must answer in proportion.
struct Split {
    std::vector<std::vector<float>> bands;
    bool channelsAgree = true;
};

Split SplitImpulse(bool fourthOrder, uint32_t numBands, const float* edgesHz, uint32_t channels = 1,
                   size_t length = 16384)
{
    OvCrossoverEQ crossover;
    EXPECT_EQ(crossover.Init(OV::DefaultAllocator(), uint16_t(channels), MAX_CROSSOVER_BANDS, fourthOrder),
              OV_Success);
    for (uint32_t e = 0; e + 1 < numBands; ++e)
        crossover.SetEdge(e, float(kRate), edgesHz[e]);
    std::vector<PlanarBlock> storage;
    storage.reserve(MAX_CROSSOVER_BANDS);
    OvPipelineBuffer bands[MAX_CROSSOVER_BANDS];
    for (uint32_t b = 0; b < MAX_CROSSOVER_BANDS; ++b)
        storage.emplace_back(channels, kBlock);
    testsupport::Planes impulse(channels, std::vector<float>(length, 0.0f));
    for (uint32_t c = 0; c < channels; ++c)
        impulse[c][0] = float(c + 1);
    Split split;
    split.bands.resize(numBands);
    for (size_t start = 0; start < length; start += kBlock) {
        storage[0].Load(impulse, start, kBlock);
        for (uint32_t b = 0; b < MAX_CROSSOVER_BANDS; ++b)
            bands[b] = storage[b].buffer;
        crossover.Process(bands, numBands);
        for (uint32_t b = 0; b < numBands; ++b) {
            const float* band = storage[b].Channel(0);
            split.bands[b].insert(split.bands[b].end(), band, band + kBlock);
            for (uint32_t c = 1; c < channels; ++c)
                for (uint32_t i = 0; i < kBlock; ++i)
                    if (std::fabs(storage[b].Channel(c)[i] - float(c + 1) * band[i]) > 1e-6f * float(c + 1))
                        split.channelsAgree = false;
        }
    }
    crossover.Shutdown(OV::DefaultAllocator());
    return split;
}

// Closed-form Linkwitz-Riley responses after the bilinear transform, with
// the frequency warped so that the edge falls where it was asked for.
double Warped(double hz, double edgeHz)
{
    edgeHz = std::min(edgeHz, kRate * 0.45);
    return std::tan(M_PI * hz / kRate) / std::tan(M_PI * edgeHz / kRate);
}

// Magnitude of the low (high = false) or high side of a Linkwitz-Riley split.
double SideMagnitude(double hz, double edgeHz, bool fourthOrder, bool high)
{
    const double w = std::pow(Warped(hz, edgeHz), fourthOrder ? 4 : 2);
    return (high ? w : 1.0) / (1.0 + w);
}

Complex Allpass(double hz, double edgeHz, bool fourthOrder)
{
    const Complex s(0.0, Warped(hz, edgeHz));
    return fourthOrder ? (1.0 - std::sqrt(2.0) * s + s * s) / (1.0 + std::sqrt(2.0) * s + s * s)
                       : (1.0 - s) / (1.0 + s);
}

TEST(OvCrossoverEQ, BandsFollowTheLinkwitzRileyShapesAndSumToAnAllpass)
{
    testsupport::RecordingAssertHook asserts;
    for (bool fourthOrder : {false, true}) {
        for (uint32_t numBands : {5u, 3u, 2u}) {
            SCOPED_TRACE(testing::Message() << "order " << (fourthOrder ? 4 : 2) << " bands " << numBands);
            const Split split = SplitImpulse(fourthOrder, numBands, kEdgesHz, 2);
            EXPECT_TRUE(split.channelsAgree);
            std::vector<float> sum(split.bands[0].size(), 0.0f);
            for (const auto& band : split.bands)
                for (size_t i = 0; i < sum.size(); ++i)
                    sum[i] += band[i];
            std::vector<double> probesHz(kEdgesHz, kEdgesHz + 4);
            for (double hz = 10.0; hz < 20000.0; hz *= 1.05)
                probesHz.push_back(hz);
            for (double hz : probesHz) {
                Complex expectedSum = 1.0;
                for (uint32_t e = 0; e + 1 < numBands; ++e)
                    expectedSum *= Allpass(hz, kEdgesHz[e], fourthOrder);
                const Complex measuredSum = DftAt(sum, hz, kRate);
                EXPECT_NEAR(std::abs(measuredSum), 1.0, 3e-3) << hz << " Hz";
                EXPECT_NEAR(std::abs(measuredSum - expectedSum), 0.0, 3e-3) << hz << " Hz";
                for (uint32_t b = 0; b < numBands; ++b) {
                    double expected = 1.0;
                    for (uint32_t e = 0; e < b; ++e)
                        expected *= SideMagnitude(hz, kEdgesHz[e], fourthOrder, true);
                    if (b + 1 < numBands)
                        expected *= SideMagnitude(hz, kEdgesHz[b], fourthOrder, false);
                    EXPECT_NEAR(std::abs(DftAt(split.bands[b], hz, kRate)), expected, 3e-3)
                        << "band " << b << " at " << hz << " Hz";
                }
            }
        }
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvCrossoverEQ, EdgeIsSixDecibelsDownOnBothSidesAndClampedAtFortyFivePercent)
{
    // 21000 Hz lies above 45 % of 44.1 kHz and is designed at 19845 Hz.
    const float edgesHz[] = {40.0f, 1000.0f, 12000.0f, 21000.0f};
    for (bool fourthOrder : {false, true}) {
        for (float edgeHz : edgesHz) {
            const Split split = SplitImpulse(fourthOrder, 2, &edgeHz, 1, 32768);
            const double at = std::min(double(edgeHz), kRate * 0.45);
            for (uint32_t b = 0; b < 2; ++b)
                // Float coefficients cost a few hundredths of a dB at 40 Hz.
                EXPECT_NEAR(testsupport::MagnitudeDb(split.bands[b], at, kRate), -6.0206, 0.05)
                    << "order " << (fourthOrder ? 4 : 2) << " edge " << edgeHz << " band " << b;
        }
    }
}

// The band-by-band form of the split, filter by filter on one channel:
// copy band b to b + 1, the low side and the higher allpasses on band b, the
// allpasses of absent edges stepped over, the high side on band b + 1.
void ReferenceSplit(OvCrossoverEQ& crossover, std::vector<float*> bands, uint32_t numBands, uint32_t channel,
                    uint32_t frames)
{
    const uint32_t sections = crossover.IsFourthOrder() ? 2 : 1;
    uint32_t i = 0;
    for (uint32_t b = 0; b + 1 < numBands; ++b) {
        std::copy(bands[b], bands[b] + frames, bands[b + 1]);
        for (uint32_t k = 0; k < numBands - b - 2 + sections; ++k)
            crossover.Filter(channel, i++)->ProcessSamples(bands[b], frames);
        i += MAX_CROSSOVER_BANDS - numBands;
        for (uint32_t k = 0; k < sections; ++k)
            crossover.Filter(channel, i++)->ProcessSamples(bands[b + 1], frames);
    }
}

TEST(OvCrossoverEQ, RoundsGiveTheBitsOfTheBandByBandSplitAloneAndSideBySide)
{
    const uint32_t lengths[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 255, 256, 257};
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> sample(-1.0f, 1.0f);
    for (bool fourthOrder : {false, true}) {
        for (uint32_t channels : {1u, 2u}) {
            // Two crossovers split side by side with their own band counts;
            // each has a twin that runs the reference.
            OvCrossoverEQ crossover[2], twin[2];
            for (uint32_t x = 0; x < 2; ++x) {
                for (OvCrossoverEQ* c : {&crossover[x], &twin[x]}) {
                    ASSERT_EQ(c->Init(OV::DefaultAllocator(), uint16_t(channels), MAX_CROSSOVER_BANDS, fourthOrder),
                              OV_Success);
                    for (uint32_t e = 0; e < 4; ++e)
                        c->SetEdge(e, float(kRate), kEdgesHz[e] * (x + 1.0f));
                }
            }
            // An odd stride leaves channel 1 off the 16-byte grid.
            const uint32_t stride = 259;
            std::vector<PlanarBlock> blocks, reference;
            for (uint32_t b = 0; b < 2 * MAX_CROSSOVER_BANDS; ++b) {
                blocks.emplace_back(channels, stride);
                reference.emplace_back(channels, stride);
            }
            for (uint32_t step = 0; step < 3 * std::size(lengths); ++step) {
                const uint32_t frames = lengths[step % std::size(lengths)];
                const uint32_t numBands[2] = {5 - step % 4, 1 + step % 5};
                SCOPED_TRACE(testing::Message() << "order " << (fourthOrder ? 4 : 2) << ", " << channels
                                                << " channels, step " << step);
                OvPipelineBuffer bands[2][MAX_CROSSOVER_BANDS];
                for (uint32_t x = 0; x < 2; ++x) {
                    for (uint32_t c = 0; c < channels; ++c) {
                        float* in = blocks[x * MAX_CROSSOVER_BANDS].Channel(c);
                        for (uint32_t i = 0; i < frames; ++i)
                            in[i] = sample(rng);
                        std::vector<float*> ref;
                        for (uint32_t b = 0; b < MAX_CROSSOVER_BANDS; ++b)
                            ref.push_back(reference[x * MAX_CROSSOVER_BANDS + b].Channel(c));
                        std::copy(in, in + frames, ref[0]);
                        ReferenceSplit(twin[x], ref, numBands[x], c, frames);
                    }
                    for (uint32_t b = 0; b < MAX_CROSSOVER_BANDS; ++b) {
                        bands[x][b] = blocks[x * MAX_CROSSOVER_BANDS + b].buffer;
                        bands[x][b].uValidFrames = uint16_t(frames);
                    }
                }
                // Alone in odd steps, side by side in even ones.
                if (step % 2) {
                    crossover[0].Process(bands[0], numBands[0]);
                    crossover[1].Process(bands[1], numBands[1]);
                } else {
                    const OvCrossoverEQ::Split splits[2] = {{&crossover[0], bands[0], numBands[0]},
                                                            {&crossover[1], bands[1], numBands[1]}};
                    OvCrossoverEQ::ProcessSplits(splits, 2);
                }
                for (uint32_t x = 0; x < 2; ++x)
                    for (uint32_t b = 0; b < numBands[x]; ++b)
                        for (uint32_t c = 0; c < channels; ++c)
                            ASSERT_EQ(std::memcmp(blocks[x * MAX_CROSSOVER_BANDS + b].Channel(c),
                                                  reference[x * MAX_CROSSOVER_BANDS + b].Channel(c),
                                                  frames * sizeof(float)),
                                      0)
                                << "crossover " << x << " band " << b << " channel " << c;
            }
            for (uint32_t x = 0; x < 2; ++x) {
                crossover[x].Shutdown(OV::DefaultAllocator());
                twin[x].Shutdown(OV::DefaultAllocator());
            }
        }
    }
}

}  // namespace
