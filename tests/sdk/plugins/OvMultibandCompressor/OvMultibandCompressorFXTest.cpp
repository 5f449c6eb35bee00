// The multiband compressor: uncompressed bands sum to the crossover's allpass,
// band gains reach only their band, the keyed entry listens to the key, the
// parameter block, and no allocation per block.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <string>
#include <vector>

#include "ov/OvMemAllocDefault.h"
#include "ov/OvPluginNew.h"
#include "sdk/plugins/OvMultibandCompressor/OvMultibandCompressorFX.h"
#include "sdk/plugins/OvMultibandCompressor/OvMultibandCompressorFXParams.h"
#include "support/AllocationCounter.h"
#include "support/FrequencyResponse.h"
#include "support/PlanarTestBuffer.h"
#include "support/RecordingAssertHook.h"
#include "wrappers/OvEffectHost.h"

namespace {

using Complex = std::complex<double>;
constexpr uint32_t kRate = 44100;
constexpr uint32_t kBlock = 1024;
const double kEdgesHz[4] = {100.0, 350.0, 1500.0, 7500.0};

uint16_t BandID(uint32_t band, uint32_t field) { return uint16_t(7 * band + field); }

// A mono multiband compressor in its host; configure() runs on the
// parameter block before Init.
struct HostedMultiband {
    template <class Configure>
    explicit HostedMultiband(Configure configure, uint32_t channels = 1)
        : block(channels, kBlock), key(channels, kBlock)
    {
        fx = OV::New<OvMultibandCompressorFX>(OV::DefaultAllocator());
        params = OV::New<OvMultibandCompressorFXParams>(OV::DefaultAllocator());
        configure(*this);
        ok = host.InitPlugin(fx, params, kBlock, channels, kRate, nullptr, 0);
    }
    ~HostedMultiband()
    {
        fx->Shutdown(OV::DefaultAllocator());
        params->Shutdown(OV::DefaultAllocator());
    }
    void Set(uint16_t id, float value) { ASSERT_EQ(params->SetParam(id, &value, 4), OV_Success); }
    void SetByte(uint16_t id, uint8_t value) { ASSERT_EQ(params->SetParam(id, &value, 1), OV_Success); }
    void SetBands(uint32_t n) { ASSERT_EQ(params->SetParam(OV_MBCFXPARAM_NUMBANDS_ID, &n, 4), OV_Success); }
    void AllBands(uint32_t field, float value)
    {
        for (uint32_t b = 0; b < 5; ++b)
            Set(BandID(b, field), value);
    }

    // Runs a mono signal through in blocks, keyed when keySignal is given.
    std::vector<float> Run(const std::vector<float>& signal, const std::vector<float>* keySignal = nullptr)
    {
        std::vector<float> out(signal.size());
        for (size_t start = 0; start < signal.size(); start += kBlock) {
            const uint32_t n = uint32_t(std::min<size_t>(kBlock, signal.size() - start));
            block.Load({signal}, start, n);
            if (keySignal) {
                key.Load({*keySignal}, start, n);
                fx->ProcessBlockWithKey(&block.buffer, &key.buffer, nullptr);
            } else {
                bool draining = false;
                uint32_t frames = n;
                host.RunPlugin(fx, block.Channel(0), &draining, &frames);
            }
            std::copy(block.Channel(0), block.Channel(0) + n, out.begin() + start);
        }
        return out;
    }

    OvEffectHost host;
    OvMultibandCompressorFX* fx;
    OvMultibandCompressorFXParams* params;
    testsupport::PlanarTestBuffer block;
    testsupport::PlanarTestBuffer key;
    bool ok;
};

Complex AllpassSum(double hz, bool fourthOrder, uint32_t numBands)
{
    Complex sum = 1.0;
    for (uint32_t e = 0; e + 1 < numBands; ++e) {
        const Complex s(0.0, std::tan(M_PI * hz / kRate) / std::tan(M_PI * kEdgesHz[e] / kRate));
        sum *= fourthOrder ? (1.0 - std::sqrt(2.0) * s + s * s) / (1.0 + std::sqrt(2.0) * s + s * s)
                           : (1.0 - s) / (1.0 + s);
    }
    return sum;
}

std::vector<float> Impulse(size_t length, float height)
{
    std::vector<float> x(length, 0.0f);
    x[0] = height;
    return x;
}

TEST(OvMultibandCompressorFX, BandsUnderTheThresholdSumToTheAllpassedInput)
{
    testsupport::RecordingAssertHook asserts;
    for (bool fourthOrder : {false, true}) {
        for (uint32_t numBands : {5u, 3u}) {
            HostedMultiband m([&](HostedMultiband& h) {
                h.SetByte(OV_MBCFXPARAM_FOURTHORDER_ID, fourthOrder);
                h.SetBands(numBands);
                h.AllBands(OV_MBCFXPARAM_BAND_THRESHOLD, 0.0f);
                h.AllBands(OV_MBCFXPARAM_BAND_RATIO, 8.0f);
                h.AllBands(OV_MBCFXPARAM_BAND_RANGE, -40.0f);
            });
            ASSERT_TRUE(m.ok);
            const std::vector<float> out = m.Run(Impulse(16384, 0.5f));
            for (double hz = 10.0; hz < 20000.0; hz *= 1.07) {
                const Complex measured = testsupport::DftAt(out, hz, kRate) * 2.0;
                EXPECT_NEAR(std::abs(measured), 1.0, 3e-3) << fourthOrder << " " << numBands << " " << hz;
                EXPECT_NEAR(std::abs(measured - AllpassSum(hz, fourthOrder, numBands)), 0.0, 4e-3)
                    << "order " << (fourthOrder ? 4 : 2) << " bands " << numBands << " at " << hz << " Hz";
            }
        }
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvMultibandCompressorFX, BandGainsReachOnlyTheirBand)
{
    // Band 0 down 20 dB, band 4 up 6 dB, input +3 dB, output -3 dB.
    HostedMultiband m([](HostedMultiband& h) {
        h.Set(BandID(0, OV_MBCFXPARAM_BAND_OUTPUTGAIN), -20.0f);
        h.Set(BandID(4, OV_MBCFXPARAM_BAND_INPUTGAIN), 6.0f);
        h.Set(OV_MBCFXPARAM_INPUTGAIN_ID, 3.0f);
        h.Set(OV_MBCFXPARAM_OUTPUTGAIN_ID, -3.0f);
    });
    ASSERT_TRUE(m.ok);
    const std::vector<float> out = m.Run(Impulse(16384, 0.25f));
    auto levelDb = [&](double hz) { return testsupport::MagnitudeDb(out, hz, kRate) - 20.0 * std::log10(0.25); };
    // Range 0 (the default) leaves the compressors without effect.
    EXPECT_NEAR(levelDb(20.0), -20.0, 0.2);
    EXPECT_NEAR(levelDb(800.0), 0.0, 0.1);
    EXPECT_NEAR(levelDb(19000.0), 6.0, 0.2);
}

std::vector<float> Sine(size_t frames, double rmsDb, double hz)
{
    std::vector<float> x(frames);
    const double amplitude = std::sqrt(2.0) * std::pow(10.0, rmsDb / 20.0);
    for (size_t i = 0; i < frames; ++i)
        x[i] = float(amplitude * std::sin(2.0 * M_PI * hz * double(i) / kRate));
    return x;
}

double RmsDb(const std::vector<float>& x, size_t from)
{
    double sum = 0.0;
    for (size_t i = from; i < x.size(); ++i)
        sum += double(x[i]) * x[i];
    return 10.0 * std::log10(sum / double(x.size() - from));
}

TEST(OvMultibandCompressorFX, KeyedEntryCompressesByTheKeysLevel)
{
    auto compressing = [](uint32_t bands) {
        return [bands](HostedMultiband& h) {
            h.SetBands(bands);
            h.AllBands(OV_MBCFXPARAM_BAND_THRESHOLD, -30.0f);
            h.AllBands(OV_MBCFXPARAM_BAND_RATIO, 4.0f);
            h.AllBands(OV_MBCFXPARAM_BAND_RANGE, -60.0f);
            h.AllBands(OV_MBCFXPARAM_BAND_ATTACK, 0.01f);
            h.AllBands(OV_MBCFXPARAM_BAND_RELEASE, 0.01f);
        };
    };
    const size_t frames = kRate;
    const size_t from = frames / 2;
    const std::vector<float> quiet = Sine(frames, -40.0, 725.0);
    const std::vector<float> loud = Sine(frames, -10.0, 725.0);
    const std::vector<float> silent(frames, 0.0f);

    // One band: the static curve of the key's level, 20 dB over at ratio 4.
    HostedMultiband one(compressing(1));
    ASSERT_TRUE(one.ok);
    EXPECT_NEAR(RmsDb(one.Run(quiet, &loud), from), -40.0 - 15.0, 0.15);
    HostedMultiband oneSilentKey(compressing(1));
    EXPECT_NEAR(RmsDb(oneSilentKey.Run(loud, &silent), from), -10.0, 0.02);
    HostedMultiband oneUnkeyed(compressing(1));
    EXPECT_NEAR(RmsDb(oneUnkeyed.Run(loud), from), -10.0 - 15.0, 0.15);

    // Five bands: a 725 Hz sine lies mostly in band 2, whose key is 30 dB
    // louder; what leaks into bands 1 and 3 stays under their thresholds.
    HostedMultiband five(compressing(5));
    ASSERT_TRUE(five.ok);
    const double keyedDb = RmsDb(five.Run(quiet, &loud), from);
    EXPECT_LT(keyedDb, -40.0 - 10.0);
    HostedMultiband fiveSilentKey(compressing(5));
    EXPECT_NEAR(RmsDb(fiveSilentKey.Run(loud, &silent), from), -10.0, 0.05);
}

TEST(OvMultibandCompressorFX, EdgeChangesAndKeyedBlocksAllocateNothing)
{
    HostedMultiband m([](HostedMultiband& h) {
        h.SetByte(OV_MBCFXPARAM_FOURTHORDER_ID, 0);
        h.AllBands(OV_MBCFXPARAM_BAND_THRESHOLD, -30.0f);
        h.AllBands(OV_MBCFXPARAM_BAND_RANGE, -20.0f);
    });
    ASSERT_TRUE(m.ok);
    const std::vector<float> signal = Sine(kBlock, -6.0, 440.0);
    m.Run(signal, &signal);
    testsupport::AllocationCounter counter;
    for (int i = 0; i < 50; ++i) {
        const float hz = 200.0f + 100.0f * float(i), db = float(i % 7) - 3.0f;
        m.params->SetParam(uint16_t(OV_MBCFXPARAM_CROSSOVER0_ID + i % 4), &hz, 4);
        m.params->SetParam(BandID(uint32_t(i % 5), OV_MBCFXPARAM_BAND_OUTPUTGAIN), &db, 4);
        std::copy(signal.begin(), signal.end(), m.block.Channel(0));
        std::copy(signal.begin(), signal.end(), m.key.Channel(0));
        m.block.buffer.uValidFrames = m.key.buffer.uValidFrames = uint16_t(kBlock - 4 * (i % 3));
        m.fx->ProcessBlockWithKey(&m.block.buffer, &m.key.buffer, nullptr);
        m.fx->ProcessBlock(&m.block.buffer);
    }
    EXPECT_EQ(counter.Count(), 0u);
}

TEST(OvMultibandCompressorFXParams, PackedBlockIdsAndRefusals)
{
    testsupport::RecordingAssertHook asserts;
    uint8_t block[171] = {};
    auto putFloat = [&](size_t offset, float v) { std::memcpy(block + offset, &v, 4); };
    for (uint32_t b = 0; b < 5; ++b)
        for (uint32_t k = 0; k < 7; ++k)
            putFloat(28 * b + 4 * k, float(10 * b + k));
    for (uint32_t e = 0; e < 4; ++e)
        putFloat(140 + 4 * e, 1000.0f * float(e + 1));
    putFloat(156, -6.0f);
    block[160] = 0;
    block[161] = 1;
    block[162] = 0;
    const uint32_t three = 3;
    std::memcpy(block + 163, &three, 4);
    putFloat(167, 20.0f);

    OvMultibandCompressorFXParams params;
    ASSERT_EQ(params.Init(OV::DefaultAllocator(), block, sizeof block), OV_Success);
    const OvMultibandCompressorFXParamStruct& p = params.m_Params;
    EXPECT_NEAR(p.band[2].fBandInputGain, std::pow(10.0f, 20.0f / 20.0f), 1e-4f);
    EXPECT_EQ(p.band[2].fThreshold, 21.0f);
    EXPECT_EQ(p.band[3].fRatio, 32.0f);
    EXPECT_EQ(p.band[4].fRange, 45.0f);
    EXPECT_NEAR(p.band[1].fBandOutputGain, std::pow(10.0f, 16.0f / 20.0f), 1e-4f);
    EXPECT_EQ(p.fCrossover[3], 4000.0f);
    EXPECT_NEAR(p.fOutputGain, 0.501187f, 1e-6f);
    EXPECT_FALSE(p.bProcessLFE);
    EXPECT_TRUE(p.bChannelLink);
    EXPECT_FALSE(p.bFourthOrderCrossover);
    EXPECT_EQ(p.uNumBands, 3u);
    EXPECT_NEAR(p.fInputGain, 10.0f, 1e-5f);
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();

    params.m_ParamChangeHandler.ClearAllChanges();
    const float hz = 2500.0f;
    EXPECT_EQ(params.SetParam(37, &hz, 4), OV_Success);
    EXPECT_EQ(p.fCrossover[2], 2500.0f);
    EXPECT_TRUE(params.m_ParamChangeHandler.IsChanged(37));
    EXPECT_FALSE(params.m_ParamChangeHandler.IsChanged(36));
    const float db = -3.0f;
    EXPECT_EQ(params.SetParam(BandID(4, OV_MBCFXPARAM_BAND_THRESHOLD), &db, 4), OV_Success);
    EXPECT_EQ(p.band[4].fThreshold, -3.0f);

    EXPECT_EQ(params.SetParam(45, &hz, 4), OV_BadParameter);
    EXPECT_EQ(params.SetParam(0, nullptr, 4), OV_BadParameter);
    EXPECT_EQ(params.SetAllParams(block, 170), OV_BadParameter);
    EXPECT_EQ(asserts.Count(), 2u) << asserts.Describe();
    EXPECT_TRUE(asserts.Saw("Invalid Multi Band Compressor parameter ID"));
    EXPECT_TRUE(asserts.Saw("in_pValue != NULL"));
}

}  // namespace
