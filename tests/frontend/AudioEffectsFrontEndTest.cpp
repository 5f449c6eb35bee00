// The front end over a chain of stand-in effects that leave the audio alone:
// block cutting, end of stream, logging, stored settings.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "frontend/AudioEffectsImpl.h"
#include "support/FakeEffects.h"
#include "support/RecordingLogger.h"

using testsupport::FakeFactories;
using testsupport::Journal;
using testsupport::RecordingLogger;

namespace {

class FrontEnd : public ::testing::Test {
protected:
    void SetUp() override
    {
        Journal() = testsupport::FakeJournal();
        fx = new audiofx::AudioEffectsImpl(FakeFactories());
        fx->SetLogger(&log);
    }
    void TearDown() override
    {
        if (fx)
            fx->Destroy();
        EXPECT_EQ(Journal().live, 0);
    }

    // Pushes in random chunk sizes, ends the stream and pulls everything in random sizes.
    std::vector<int16_t> Run(const std::vector<int16_t>& in, uint32_t channels, uint32_t seed)
    {
        std::mt19937 rng(seed);
        std::vector<int16_t> out, buffer(4096);
        bool end = false;
        auto pullAll = [&] {
            for (uint32_t bytes = 1; bytes != 0;) {
                bytes = uint32_t(rng() % (buffer.size() * 2 - 4)) + 4;
                fx->Pull(buffer.data(), &bytes, &end);
                out.insert(out.end(), buffer.begin(), buffer.begin() + bytes / 2);
            }
        };
        for (size_t pos = 0, n; pos < in.size(); pos += n) {
            n = std::min(in.size() - pos, (size_t(rng() % 4500) + 1) * channels);
            fx->Push(in.data() + pos, uint32_t(n * 2), -1);
            pullAll();
            EXPECT_FALSE(end);
        }
        fx->Push(nullptr, 0, -1);
        pullAll();
        EXPECT_TRUE(end);
        return out;
    }

    RecordingLogger log;
    audiofx::AudioEffectsImpl* fx = nullptr;
};

// Whatever the chunk sizes, the stream comes back unchanged. When it fills a
// whole number of blocks, the end adds one frame: the first frame of the last block.
TEST_F(FrontEnd, BlockLoopKeepsTheStreamUnderRandomChunks)
{
    for (uint32_t frames : {1u, 100u, 2047u, 2048u, 4096u, 10000u, 20480u}) {
        ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0));
        std::vector<int16_t> in(size_t(frames) * 2);
        for (size_t i = 0; i < in.size(); ++i)
            in[i] = int16_t(i * 7919 % 65536 - 32768);
        std::vector<int16_t> expected = in;
        if (frames % 2048 == 0)
            expected.insert(expected.end(), in.end() - 2048 * 2, in.end() - 2048 * 2 + 2);
        EXPECT_EQ(Run(in, 2, frames), expected) << frames;
        fx->Reset();
    }
}

// The block is the largest power of two of frames that bufferBytes holds, at
// most 2048; 0 means 2048. The same shape again only resets and keeps the
// block; the shape compares the format as given, and an unknown format runs
// as float but shows as given. Less than one frame gives no block, which the
// chain refuses.
TEST_F(FrontEnd, BlockSizeFollowsBufferBytesAndTheSameShapeIsReused)
{
    struct Case {
        AUDIO_SAMPLEFORMAT format;
        int runsAs;
        uint32_t channels, bufferBytes, frames, sampleBytes;
    };
    const AUDIO_SAMPLEFORMAT s16 = AUDIO_SAMPLEFORMAT_S16, f64 = AUDIO_SAMPLEFORMAT_DOUBLE,
                             u8 = AUDIO_SAMPLEFORMAT_U8, s32 = AUDIO_SAMPLEFORMAT_S32, f32 = AUDIO_SAMPLEFORMAT_FLOAT;
    for (const Case& c : {Case{s16, 1, 2, 0, 2048, 2}, Case{s16, 1, 2, 4096, 1024, 2}, Case{s16, 1, 2, 3000, 512, 2},
                          Case{s16, 1, 2, 1000000, 2048, 2}, Case{f64, 4, 6, 48000, 512, 8},
                          Case{u8, 0, 1, 1000, 512, 1}, Case{s32, 2, 1, 1000, 128, 4}, Case{f32, 3, 2, 8, 1, 4},
                          Case{AUDIO_SAMPLEFORMAT(7), 3, 2, 4096, 512, 4}}) {
        log.Take();
        audiofx::AudioEffectsImpl local(FakeFactories());
        local.SetLogger(&log);
        ASSERT_TRUE(local.Init(c.format, c.channels, 44100, c.bufferBytes));
        EXPECT_EQ(log.Texts().front(), testsupport::Fmt("Create new AudioEffects instance: %d, 44100, %u, %u",
                                                        c.runsAs, c.channels, c.frames));
        ASSERT_TRUE(local.Init(c.format, c.channels, 44100, 0));
        const auto lines = log.Take();
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].text, "Reset audio effect instance done.");
        EXPECT_EQ(lines[0].level, 2);
        local.DumpState();
        EXPECT_EQ(log.Texts()[1],
                  testsupport::Fmt("Sample Format: %d, Buffer Frames: %u, Channels: %u, Samplerate: 44100, "
                                   "Byte per Sample: %u", int(c.format), c.frames, c.channels, c.sampleBytes));
        if (c.format == AUDIO_SAMPLEFORMAT(7)) {
            ASSERT_TRUE(local.Init(AUDIO_SAMPLEFORMAT_FLOAT, c.channels, 44100, 0));
            EXPECT_EQ(log.Texts().front(), "Create new AudioEffects instance: 3, 44100, 2, 2048");
        }
    }
    log.Take();
    ASSERT_FALSE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 3));
    const auto lines = log.Take();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1].text, "Initialize audio effect instance failed.");
    EXPECT_EQ(lines[1].level, 0);
}

TEST_F(FrontEnd, InitLogsTheNewInstanceEverySwitchAndDone)
{
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0));
    std::vector<std::string> expected = {"Create new AudioEffects instance: 1, 44100, 2, 2048"};
    for (const char* name : {"Loudness", "Reverb", "StereoEnhancer", "Rotate3D", "SpatialAudio", "GraphEQ",
                             "BassTreble", "Compressor", "PostCompressor", "ParametricEQ", "Delay", "FIR",
                             "Headphone", "Vibrato", "Tremolo"})
        expected.push_back(std::string("Set") + name + "ON: on false");
    expected.insert(expected.end(), {"SetLimiterON: on true", "SetBypassMode: bypass false",
                                     "Initialize audio effect instance done."});
    const auto lines = log.Take();
    ASSERT_EQ(lines.size(), expected.size());
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i].text, expected[i]);
        EXPECT_EQ(lines[i].tag, "AudioEffects");
        EXPECT_EQ(lines[i].level, i == 0 ? 2 : 3) << expected[i];
    }
    fx->SetStereoEnhancerParams(1.5f, 0.25f, false, 3);
    fx->SetDelayON(true);
    fx->SetDelayParams(nullptr);
    EXPECT_EQ(log.Texts(), (std::vector<std::string>{"SetStereoEnhancerParams: presence 1.500000, stereoizer "
                                                     "0.250000, spectrumShaper false, ambience 3",
                                                     "SetDelayON: on true"}));
    fx->Destroy();
    fx = nullptr;
    const auto last = log.Take();
    ASSERT_EQ(last.size(), 1u);
    EXPECT_EQ(last[0].text, "AudioEffectsImpl::~AudioEffectsImpl invoked.");
    EXPECT_EQ(last[0].level, 0);
}

std::vector<std::string> DefaultDump()
{
    std::vector<std::string> lines = {
        "Processor instance: Yes",
        "Sample Format: 3, Buffer Frames: 2048, Channels: 2, Samplerate: 48000, Byte per Sample: 4",
        "BypassMode: false", "Loudness: on false, gain 0.000000, peak 1.000000", "Reverb: on false",
        "Reverb ER: enable false, Pattern 0, RoomSize 0.000000, SurroundDelay 0.000000",
        "Reverb RVB: PreDelay 25.000000, DecayTime 1.200000, HFDamping 2.250000, Density 80.000000, "
        "RoomShape 100.000000, Quality 8, Diffusion 100.000000, StereoWidth 180.000000",
        "Reverb TC: enable false",  // the three tone-correction filters follow
        "Reverb TC Filter 1: InsertType 3, CurveType 0, Gain 0.000000, Freq 100.000000, Q 1.000000",
        "Reverb TC Filter 2: InsertType 3, CurveType 1, Gain 0.000000, Freq 1000.000000, Q 1.000000",
        "Reverb TC Filter 3: InsertType 3, CurveType 2, Gain 0.000000, Freq 10000.000000, Q 1.000000",
        "Reverb Input Level: Center 0.000000, LFE 0.000000",
        "Reverb RVB Level: Front 0.000000, Rear 0.000000, Center 0.000000, LFE 0.000000",
        "Reverb Output Level: Dry 0.000000, ER -96.300003, Reverb -96.300003",
        "Stereo Enhancer: on false, Presence 0.000000, Stereoizer 0.000000, SpectrumShaper true, Ambience 0",
        "Rotate 3D: on false, Velocity 40.000000",
        "SpatialAudio: on false, FL 0.000000, FR 0.000000, Center 0.000000, SL 0.000000, SR 0.000000, "
        "RL 0.000000, RR 0.000000, LFE 0.000000, Enhance false",
        "Graph EQ: on false, 0.000000, 0.000000, 0.000000, 0.000000, 0.000000, 0.000000, 0.000000, "
        "0.000000, 0.000000, 0.000000,",
        "Bass Treble: on false, Bass 0.000000, Treble 0.000000, Bass Freq 120.000000, Bass Q 0.500000, "
        "Treble Freq 6000.000000, Treble Q 0.500000",
        "Compressor: on false, Threshold -14.000000, Ratio 4.000000, Attack 0.100000, Release 0.500000, "
        "Range 0.000000, PreGain 0.000000, PostGain 0.000000",
        "Post Compressor: on false, Threshold -14.000000, Ratio 4.000000, Attack 0.100000, Release "
        "0.500000, Range 0.000000, PreGain 0.000000, PostGain 0.000000",
        "Parametric EQ: on false, Gain 0.000000"};
    for (int i = 1; i <= 9; ++i)
        lines.push_back(testsupport::Fmt("Parametric EQ Filter %d: on false, FilterType 8, Gain 0.000000, "
                                         "Freq 18000.000000, Q 0.500000", i));
    lines.insert(lines.end(),
                 {"Delay: on false, Delay 50.000000, Feedback 0.500000, DryLevel 0.000000, WetLevel 0.000000",
                  "FIR: on false, IR size 0", "Headphone: on false, IR size 0",
                  "Vibrato: on false, Freq 6.000000, Range 0.140000",
                  "Tremolo: on false, Freq 8.000000, Range 0.250000",
                  "Limiter: on true, Threshold 0.000000, Attack 0.040000, Release 0.080000, "
                  "OutputGain 0.000000, Ratio 50.000000, InfiniteRatio true"});
    return lines;
}

TEST_F(FrontEnd, DumpStateWritesAllLinesAtDefaults)
{
    fx->DumpState();
    auto idle = log.Take();
    ASSERT_EQ(idle.size(), 37u);
    EXPECT_EQ(idle[0].text, "Processor instance: No");
    EXPECT_EQ(idle[1].text, "Sample Format: -1, Buffer Frames: 2048, Channels: 4294967295, "
                            "Samplerate: 4294967295, Byte per Sample: 2");
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, 2, 48000, 0));
    log.Take();
    fx->DumpState();
    const auto lines = log.Take();
    const std::vector<std::string> expected = DefaultDump();
    ASSERT_EQ(lines.size(), 37u);
    ASSERT_EQ(expected.size(), 37u);
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i].text, expected[i]);
        EXPECT_EQ(lines[i].level, 2);
    }
    // Nothing is written, and nothing breaks, without a logger.
    fx->SetLogger(nullptr);
    fx->DumpState();
    fx->SetLimiterON(false);
    EXPECT_TRUE(log.Take().empty());
}

// Idle ignores everything; a null pointer with a size ends the stream; the
// ended stream ignores pushes until Reset; a stream that was never fed still
// gives one frame at its end, the frame that keeps the drain from running on zero.
TEST_F(FrontEnd, EndOfStreamAndIdleRules)
{
    int16_t buffer[400] = {};
    uint32_t bytes = sizeof buffer;
    bool end = false;
    auto pull = [&](int16_t* to, uint32_t size) {
        bytes = size;
        fx->Pull(to, &bytes, &end);
        return bytes;
    };
    fx->Push(buffer, sizeof buffer, 0);
    EXPECT_EQ(pull(buffer, sizeof buffer), 0u);
    EXPECT_TRUE(end);
    fx->ResetEffects();
    fx->Reset();
    fx->SetGraphEQON(true);
    EXPECT_TRUE(log.Take().empty());

    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0));
    log.Take();
    for (int i = 0; i < 200; ++i)
        buffer[i] = int16_t(i + 1);
    fx->Push(buffer, 100 * 4, 10);  // less than a block: waits
    end = true;
    EXPECT_EQ(pull(buffer + 200, 400), 0u);
    EXPECT_FALSE(end);
    fx->Push(nullptr, 64, -1);
    EXPECT_EQ(log.Texts(), std::vector<std::string>{"No more data to push."});
    EXPECT_EQ(pull(buffer + 200, 3), 0u);  // less than a frame: reads none
    EXPECT_FALSE(end);
    ASSERT_EQ(pull(buffer + 200, 120 * 4), 400u);
    EXPECT_TRUE(end);
    EXPECT_TRUE(std::equal(buffer, buffer + 200, buffer + 200));
    fx->Push(nullptr, 0, -1);
    fx->Push(buffer, 40, -1);
    EXPECT_TRUE(log.Take().empty());
    EXPECT_EQ(pull(buffer, 40), 0u);
    EXPECT_TRUE(end);
    fx->Reset();
    fx->Push(buffer, 40, -1);
    fx->Push(nullptr, 0, -1);
    EXPECT_EQ(pull(buffer + 200, 400), 40u);
    fx->Reset();
    fx->Push(nullptr, 0, -1);
    EXPECT_EQ(pull(buffer + 200, 400), 4u);
    EXPECT_TRUE(end);
}

// Planar float has nothing to convert: the block passes the front end as it came.
TEST_F(FrontEnd, PlanarFormatPassesDataThrough)
{
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_PLANAR_FLOAT, 1, 44100, 0));
    std::vector<float> in(3000), out(4000);
    for (size_t i = 0; i < in.size(); ++i)
        in[i] = float(i) * 0.25f;
    fx->Push(in.data(), uint32_t(in.size() * 4), 0);
    fx->Push(nullptr, 0, 0);
    uint32_t bytes = uint32_t(out.size() * 4);
    bool end = false;
    fx->Pull(out.data(), &bytes, &end);
    ASSERT_EQ(bytes, in.size() * 4);
    EXPECT_TRUE(std::equal(in.begin(), in.end(), out.begin()));
}

// Tail effects run on within the ending push: one full block of input; the
// 476-frame rest grows into a full block of tail, and two more follow.
TEST_F(FrontEnd, TailEffectsRunOnWithinTheEndingPush)
{
    Journal().tailEffect = "delay";
    Journal().tailBlocks = 3;
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 1, 44100, 2048));  // 1024-frame blocks
    std::vector<int16_t> in(1500, 100), out(10000);
    fx->Push(in.data(), uint32_t(in.size() * 2), -1);
    fx->Push(nullptr, 0, -1);
    uint32_t bytes = uint32_t(out.size() * 2);
    bool end = false;
    fx->Pull(out.data(), &bytes, &end);
    EXPECT_TRUE(end);
    EXPECT_EQ(bytes / 2, 1024u + 3u * 1024u);
}

}  // namespace
