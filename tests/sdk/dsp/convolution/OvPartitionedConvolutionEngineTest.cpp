// The partitioned convolution engine against a direct convolution computed
// here, on low-passed signals so that the dropped Nyquist bin costs little;
// the impulse files' edge cases (unit impulse, one block of delay, partition
// counts); and refusal of frequency data blocks that do not hold together.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "ov/IOvEffectContext.h"
#include "ov/IOvGlobalContext.h"
#include "ov/OvCpuInfo.h"
#include "ov/OvMemAllocDefault.h"
#include "sdk/dsp/convolution/OvFreqDataWriter.h"
#include "sdk/dsp/convolution/OvPartitionedConvolutionEngine.h"
#include "support/RecordingAssertHook.h"

namespace {

// A context that serves one media block and records monitor messages.
class MediaContext final : public IOvEffectContext, public IOvGlobalContext {
public:
    const uint8_t* media = nullptr;
    uint32_t mediaBytes = 0;
    std::string message;

    IOvGlobalContext* GetGlobalContext() const override { return const_cast<MediaContext*>(this); }
    OvResult FetchMedia(uint32_t, const uint8_t** out_pData, uint32_t* out_uSize) override
    {
        *out_pData = media;
        *out_uSize = mediaBytes;
        return OV_Success;
    }
    OvResult PostMeterData(const void*, uint32_t) override { return OvResult(0); }
    bool WantsMeterData() const override { return false; }
    OvResult PostMonitorMessage(const char* in_pszMessage) override
    {
        message = in_pszMessage;
        return OvResult(0);
    }
    const OvCpuInfo* GetCpuInfo() const override { return &OvCpuInfo::Get(); }
    bool IsSendModeEffect() const override { return false; }
    uint16_t GetMaxFrames() const override { return 1024; }
    uint32_t GetSampleRate() const override { return 48000; }
    IOvMemAlloc* GetAllocator() override { return OV::DefaultAllocator(); }
};

// Noise through a few one-pole low-passes: little energy near Nyquist. What
// the dropped Nyquist bin leaves is a (-1)^n error of the alternating sum of
// a block over twice its length: about 1e-3 of the peak for blocks of 256.
std::vector<float> LowPassedNoise(size_t frames, uint32_t seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    std::vector<float> x(frames);
    float a = 0, b = 0, c = 0;
    for (auto& v : x) {
        a += 0.3f * (unit(rng) - a);
        b += 0.3f * (a - b);
        c += 0.3f * (b - c);
        v = 3.0f * c;
    }
    return x;
}

std::vector<double> DirectConvolution(const std::vector<float>& x, const std::vector<float>& h)
{
    std::vector<double> y(x.size(), 0.0);
    for (size_t n = 0; n < x.size(); ++n)
        for (size_t k = 0; k < h.size() && k <= n; ++k)
            y[n] += double(h[k]) * x[n - k];
    return y;
}

struct Engine {
    MediaContext context;
    OvPartitionedConvolutionEngine engine;
    uint8_t* block = nullptr;
    IOvMemAlloc* allocator = OV::DefaultAllocator();

    OvResult Load(const std::vector<float>& h, uint32_t blockLength, uint32_t channels)
    {
        block = OV::WriteFreqData(allocator, h.data(), uint32_t(h.size()), blockLength, 48000, &context.mediaBytes);
        context.media = block;
        const OvResult result = engine.Init(allocator, &context, 48000, &OvCpuInfo::Get());
        return result == OV_Success ? engine.InitAccumulators(allocator, channels) : result;
    }
    // Runs the channels through block by block (whole blocks, zero padded).
    std::vector<std::vector<float>> Run(const std::vector<std::vector<float>>& in)
    {
        const uint32_t uBlock = engine.Header().uBlockLength;
        std::vector<float> time(engine.Header().uFFTLength);
        std::vector<ov_fft_cpx> freq(engine.Header().uFFTLength / 2 + 1);
        std::vector<std::vector<float>> out = in;
        for (auto& channel : out)
            channel.resize((channel.size() + uBlock - 1) / uBlock * uBlock, 0.0f);
        for (size_t offset = 0; offset < out[0].size(); offset += uBlock) {
            for (uint32_t c = 0; c < out.size(); ++c)
                engine.Convolve(out[c].data() + offset, uBlock, time.data(), freq.data(), c, 0);
            engine.Advance();
        }
        return out;
    }
    ~Engine()
    {
        engine.Term(allocator);
        allocator->Free(block);
    }
};

double RelativeError(const std::vector<float>& got, const std::vector<double>& want)
{
    double error = 0.0, peak = 0.0;
    for (size_t i = 0; i < want.size(); ++i) {
        error = std::max(error, std::abs(got[i] - want[i]));
        peak = std::max(peak, std::abs(want[i]));
    }
    return error / peak;
}

}  // namespace

TEST(OvPartitionedConvolutionEngine, MatchesDirectConvolution)
{
    testsupport::RecordingAssertHook asserts;
    const std::vector<float> x0 = LowPassedNoise(6000, 1), x1 = LowPassedNoise(6000, 2);
    std::mt19937 rng(7);
    std::normal_distribution<float> gauss;
    std::vector<float> decaying(3000);
    for (size_t i = 0; i < decaying.size(); ++i)
        decaying[i] = gauss(rng) * std::exp(-float(i) / 600.0f);
    struct Case {
        const char* name;
        std::vector<float> h;
    };
    std::vector<Case> cases = {{"unit impulse", {1.0f}}, {"one block late", std::vector<float>(257, 0.0f)},
                               {"long decaying impulse", decaying}};
    cases[1].h[256] = 1.0f;
    for (const Case& c : cases) {
        Engine e;
        ASSERT_EQ(e.Load(c.h, 256, 2), OV_Success) << c.name;
        // Two channels share the impulse but not their rings.
        const auto out = e.Run({x0, x1});
        EXPECT_LT(RelativeError(out[0], DirectConvolution(x0, c.h)), 3e-3) << c.name;
        EXPECT_LT(RelativeError(out[1], DirectConvolution(x1, c.h)), 3e-3) << c.name;
        // A Reset silences everything pending.
        e.engine.Reset();
        const auto silence = e.Run({std::vector<float>(640, 0.0f), std::vector<float>(640, 0.0f)});
        for (float v : silence[0])
            ASSERT_EQ(v, 0.0f) << c.name;
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
}

TEST(OvPartitionedConvolutionEngine, PartitionsAreCeilOfLengthOverBlockPlusOne)
{
    for (auto [samples, partitions] : {std::pair{1u, 2u}, {1024u, 2u}, {1025u, 3u}, {48000u, 48u}}) {
        Engine e;
        ASSERT_EQ(e.Load(std::vector<float>(samples, 0.001f), 1024, 1), OV_Success);
        EXPECT_EQ(e.engine.Header().uNumCompressedPartition, partitions) << samples;
        EXPECT_EQ(e.engine.Header().uFFTLength, 2048u);
    }
}

TEST(OvPartitionedConvolutionEngine, RefusesBlocksThatDoNotHoldTogether)
{
    struct Mutation {
        const char* name;
        size_t offset;  // of a u32 or u16 field
        uint32_t value;
        int width;
    };
    const Mutation mutations[] = {
        {"block length 0", 0, 0, 4},           {"block length not a multiple of 4", 0, 66, 4},
        {"FFT not twice the block", 4, 64, 4}, {"no channel", 12, 0, 4},
        {"no partition", 28, 0, 4},            {"partitions beyond the block", 28, 100000, 4},
        {"bins beyond half the FFT", 36, 130, 2}, {"odd bin count", 48, 63, 2},
        {"total bins disagree", 32, 1, 4},     {"more channels than data", 12, 2, 4},
    };
    for (const Mutation& m : mutations) {
        Engine e;
        ASSERT_EQ(e.Load(std::vector<float>(200, 0.5f), 64, 1), OV_Success);
        e.engine.Term(e.allocator);
        std::memcpy(e.block + m.offset, &m.value, m.width);
        EXPECT_EQ(e.engine.Init(e.allocator, &e.context, 48000, nullptr), OV_Failure) << m.name;
        e.engine.InitAccumulators(e.allocator, 1);
        std::vector<float> io(64, 0.25f), time(128), freq(130);
        e.engine.Convolve(io.data(), 64, time.data(), reinterpret_cast<ov_fft_cpx*>(freq.data()), 0, 0);
        EXPECT_EQ(io[10], 0.25f) << m.name;  // untouched
    }
    Engine e;
    ASSERT_EQ(e.Load({1.0f}, 64, 1), OV_Success);
    EXPECT_EQ(e.engine.Init(e.allocator, &e.context, 44100, nullptr), OV_Failure);
    EXPECT_NE(e.context.message.find("do not match sound engine runtime conditions"), std::string::npos);
    e.context.media = nullptr;
    EXPECT_EQ(e.engine.Init(e.allocator, &e.context, 48000, nullptr), OV_NoMedia);
}
