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

    // Pushes in random chunk sizes, ends the stream and pulls everything.
    std::vector<int16_t> Run(const std::vector<int16_t>& in, uint32_t channels, uint32_t seed)
    {
        std::mt19937 rng(seed);
        std::vector<int16_t> out;
        std::vector<int16_t> buffer(4096);
        auto pullAll = [&](bool* end) {
            for (;;) {
                uint32_t bytes = uint32_t(rng() % (buffer.size() * 2 - 4)) + 4;
                fx->Pull(buffer.data(), &bytes, end);
                out.insert(out.end(), buffer.begin(), buffer.begin() + bytes / 2);
                if (bytes == 0)
                    return;
            }
        };
        bool end = false;
        size_t pos = 0;
        while (pos < in.size()) {
            const size_t n = std::min(in.size() - pos, (size_t(rng() % 4500) + 1) * channels);
            fx->Push(in.data() + pos, uint32_t(n * 2), -1);
            pos += n;
            pullAll(&end);
            EXPECT_FALSE(end);
        }
        fx->Push(nullptr, 0, -1);
        pullAll(&end);
        EXPECT_TRUE(end);
        return out;
    }

    RecordingLogger log;
    audiofx::AudioEffectsImpl* fx = nullptr;
};

std::vector<int16_t> Ramp(size_t samples)
{
    std::vector<int16_t> v(samples);
    for (size_t i = 0; i < samples; ++i)
        v[i] = int16_t(i * 7919 % 65536 - 32768);
    return v;
}

// Whatever the chunk sizes, the stream comes back unchanged. When it fills a
// whole number of blocks, the end adds one frame: the first frame of the last
// block.
TEST_F(FrontEnd, BlockLoopKeepsTheStreamUnderRandomChunks)
{
    const uint32_t channels = 2;
    for (uint32_t frames : {1u, 100u, 2047u, 2048u, 4096u, 10000u, 20480u}) {
        ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, channels, 44100, 0));
        const std::vector<int16_t> in = Ramp(size_t(frames) * channels);
        const std::vector<int16_t> out = Run(in, channels, frames);
        std::vector<int16_t> expected = in;
        if (frames % 2048 == 0) {
            const size_t last = size_t(frames - 2048) * channels;
            expected.insert(expected.end(), in.begin() + last, in.begin() + last + channels);
        }
        ASSERT_EQ(out.size(), expected.size()) << frames;
        EXPECT_EQ(out, expected) << frames;
        fx->Reset();
    }
}

TEST_F(FrontEnd, BlockSizeFollowsBufferBytes)
{
    struct Case {
        AUDIO_SAMPLEFORMAT format;
        uint32_t channels, bufferBytes, frames;
    };
    const Case cases[] = {
        {AUDIO_SAMPLEFORMAT_S16, 2, 0, 2048},       {AUDIO_SAMPLEFORMAT_S16, 2, 4096, 1024},
        {AUDIO_SAMPLEFORMAT_S16, 2, 1000000, 2048}, {AUDIO_SAMPLEFORMAT_S16, 2, 3000, 512},
        {AUDIO_SAMPLEFORMAT_DOUBLE, 6, 48000, 512}, {AUDIO_SAMPLEFORMAT_U8, 1, 8192, 2048},
        {AUDIO_SAMPLEFORMAT_FLOAT, 2, 8, 1},
    };
    for (const Case& c : cases) {
        log.Take();
        audiofx::AudioEffectsImpl local(FakeFactories());
        local.SetLogger(&log);
        ASSERT_TRUE(local.Init(c.format, c.channels, 44100, c.bufferBytes));
        const std::string expected =
            testsupport::Fmt("Create new AudioEffects instance: %d, 44100, %u, %u", int(c.format),
                             c.channels, c.frames);
        EXPECT_EQ(log.Texts().front(), expected);
    }
    // Less than one frame: no block at all, and the chain refuses it.
    log.Take();
    ASSERT_FALSE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 3));
    const auto lines = log.Take();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1].text, "Initialize audio effect instance failed.");
    EXPECT_EQ(lines[1].level, 0);
}

TEST_F(FrontEnd, ReinitWithSameShapeOnlyResetsAndKeepsBlockSize)
{
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 4096));
    log.Take();
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0));
    const auto lines = log.Take();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "Reset audio effect instance done.");
    EXPECT_EQ(lines[0].level, 2);
    fx->DumpState();
    EXPECT_EQ(log.Texts()[1],
              "Sample Format: 1, Buffer Frames: 1024, Channels: 2, Samplerate: 44100, Byte per Sample: 2");
}

TEST_F(FrontEnd, InitLogsTheNewInstanceEverySwitchAndDone)
{
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0));
    const std::vector<std::string> expected = {
        "Create new AudioEffects instance: 1, 44100, 2, 2048",
        "SetLoudnessON: on false",
        "SetReverbON: on false",
        "SetStereoEnhancerON: on false",
        "SetRotate3DON: on false",
        "SetSpatialAudioON: on false",
        "SetGraphEQON: on false",
        "SetBassTrebleON: on false",
        "SetCompressorON: on false",
        "SetPostCompressorON: on false",
        "SetParametricEQON: on false",
        "SetDelayON: on false",
        "SetFIRON: on false",
        "SetHeadphoneON: on false",
        "SetVibratoON: on false",
        "SetTremoloON: on false",
        "SetLimiterON: on true",
        "SetBypassMode: bypass false",
        "Initialize audio effect instance done.",
    };
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
    EXPECT_EQ(log.Texts(), (std::vector<std::string>{
                               "SetStereoEnhancerParams: presence 1.500000, stereoizer 0.250000, "
                               "spectrumShaper false, ambience 3",
                               "SetDelayON: on true"}));
    fx->Destroy();
    fx = nullptr;
    const auto last = log.Take();
    ASSERT_EQ(last.size(), 1u);
    EXPECT_EQ(last[0].text, "AudioEffectsImpl::~AudioEffectsImpl invoked.");
    EXPECT_EQ(last[0].level, 0);
}

const std::vector<std::string>& DefaultDump()
{
    static const std::vector<std::string> lines = {
        "Processor instance: Yes",
        "Sample Format: 3, Buffer Frames: 2048, Channels: 2, Samplerate: 48000, Byte per Sample: 4",
        "BypassMode: false",
        "Loudness: on false, gain 0.000000, peak 1.000000",
        "Reverb: on false",
        "Reverb ER: enable false, Pattern 0, RoomSize 0.000000, SurroundDelay 0.000000",
        "Reverb RVB: PreDelay 25.000000, DecayTime 1.200000, HFDamping 2.250000, Density 80.000000, "
        "RoomShape 100.000000, Quality 8, Diffusion 100.000000, StereoWidth 180.000000",
        "Reverb TC: enable false",
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
        "Parametric EQ: on false, Gain 0.000000",
        "Parametric EQ Filter 1: on false, FilterType 8, Gain 0.000000, Freq 18000.000000, Q 0.500000",
        "Parametric EQ Filter 2: on false, FilterType 8, Gain 0.000000, Freq 18000.000000, Q 0.500000",
        "Parametric EQ Filter 3: on false, FilterType 8, Gain 0.000000, Freq 18000.000000, Q 0.500000",
        "Parametric EQ Filter 4: on false, FilterType 8, Gain 0.000000, Freq 18000.000000, Q 0.500000",
        "Parametric EQ Filter 5: on false, FilterType 8, Gain 0.000000, Freq 18000.000000, Q 0.500000",
        "Parametric EQ Filter 6: on false, FilterType 8, Gain 0.000000, Freq 18000.000000, Q 0.500000",
        "Parametric EQ Filter 7: on false, FilterType 8, Gain 0.000000, Freq 18000.000000, Q 0.500000",
        "Parametric EQ Filter 8: on false, FilterType 8, Gain 0.000000, Freq 18000.000000, Q 0.500000",
        "Parametric EQ Filter 9: on false, FilterType 8, Gain 0.000000, Freq 18000.000000, Q 0.500000",
        "Delay: on false, Delay 50.000000, Feedback 0.500000, DryLevel 0.000000, WetLevel 0.000000",
        "FIR: on false, IR size 0",
        "Headphone: on false, IR size 0",
        "Vibrato: on false, Freq 6.000000, Range 0.140000",
        "Tremolo: on false, Freq 8.000000, Range 0.250000",
        "Limiter: on true, Threshold 0.000000, Attack 0.040000, Release 0.080000, OutputGain 0.000000, "
        "Ratio 50.000000, InfiniteRatio true",
    };
    return lines;
}

TEST_F(FrontEnd, DumpStateWritesAllLinesAtDefaults)
{
    ASSERT_EQ(DefaultDump().size(), 37u);
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
    ASSERT_EQ(lines.size(), 37u);
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i].text, DefaultDump()[i]);
        EXPECT_EQ(lines[i].level, 2);
    }
    // Nothing is written, and nothing breaks, without a logger.
    fx->SetLogger(nullptr);
    fx->DumpState();
    fx->SetLimiterON(false);
    EXPECT_TRUE(log.Take().empty());
}

TEST_F(FrontEnd, UnknownFormatRunsAsFloatButShowsAsGiven)
{
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT(7), 1, 22050, 0));
    EXPECT_EQ(log.Texts().front(), "Create new AudioEffects instance: 3, 22050, 1, 2048");
    fx->DumpState();
    EXPECT_EQ(log.Texts()[1],
              "Sample Format: 7, Buffer Frames: 2048, Channels: 1, Samplerate: 22050, Byte per Sample: 4");
    // The re-use test compares the format as given.
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT(7), 1, 22050, 0));
    EXPECT_EQ(log.Texts().front(), "Reset audio effect instance done.");
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, 1, 22050, 0));
    EXPECT_EQ(log.Texts().front(), "Create new AudioEffects instance: 3, 22050, 1, 2048");
}

// Planar float has nothing to convert: the block passes the front end as it came.
TEST_F(FrontEnd, PlanarFormatPassesDataThrough)
{
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_PLANAR_FLOAT, 1, 44100, 0));
    std::vector<float> in(3000);
    for (size_t i = 0; i < in.size(); ++i)
        in[i] = float(i) * 0.25f;
    fx->Push(in.data(), uint32_t(in.size() * 4), 0);
    fx->Push(nullptr, 0, 0);
    std::vector<float> out(4000);
    uint32_t bytes = uint32_t(out.size() * 4);
    bool end = false;
    fx->Pull(out.data(), &bytes, &end);
    ASSERT_EQ(bytes, in.size() * 4);
    EXPECT_TRUE(end);
    EXPECT_TRUE(std::equal(in.begin(), in.end(), out.begin()));
}

TEST_F(FrontEnd, EndOfStreamAndIdleRules)
{
    int16_t buffer[400] = {};
    uint32_t bytes = sizeof buffer;
    bool end = false;
    // Idle: nothing happens, Pull reports the end.
    fx->Push(buffer, sizeof buffer, 0);
    fx->Pull(buffer, &bytes, &end);
    EXPECT_EQ(bytes, 0u);
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
    bytes = sizeof buffer;
    end = true;
    fx->Pull(buffer + 200, &bytes, &end);
    EXPECT_EQ(bytes, 0u);
    EXPECT_FALSE(end);

    // A null pointer with a size is taken as the end of the stream.
    fx->Push(nullptr, 64, -1);
    EXPECT_EQ(log.Texts(), std::vector<std::string>{"No more data to push."});
    bytes = 3;  // less than a frame: reads none
    fx->Pull(buffer + 200, &bytes, &end);
    EXPECT_EQ(bytes, 0u);
    EXPECT_FALSE(end);
    bytes = 120 * 4;
    fx->Pull(buffer + 200, &bytes, &end);
    ASSERT_EQ(bytes, 400u);
    EXPECT_TRUE(end);
    EXPECT_TRUE(std::equal(buffer, buffer + 200, buffer + 200));
    // A second end logs nothing and changes nothing.
    fx->Push(nullptr, 0, -1);
    fx->Push(buffer, 40, -1);
    EXPECT_TRUE(log.Take().empty());
    bytes = 40;
    fx->Pull(buffer, &bytes, &end);
    EXPECT_EQ(bytes, 0u);
    EXPECT_TRUE(end);
    // Reset leads back to Running.
    fx->Reset();
    fx->Push(buffer, 40, -1);
    fx->Push(nullptr, 0, -1);
    bytes = 400;
    fx->Pull(buffer + 200, &bytes, &end);
    EXPECT_EQ(bytes, 40u);
}

// A stream that was never fed still gives one frame when it ends: the frame
// that keeps the drain from running on zero frames.
TEST_F(FrontEnd, EmptyStreamEndsWithOneFrame)
{
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_FLOAT, 2, 44100, 0));
    fx->Push(nullptr, 0, -1);
    float out[16];
    uint32_t bytes = sizeof out;
    bool end = false;
    fx->Pull(out, &bytes, &end);
    EXPECT_EQ(bytes, 8u);
    EXPECT_TRUE(end);
}

TEST_F(FrontEnd, TailEffectsRunOnWithinTheEndingPush)
{
    Journal().tailEffect = "delay";
    Journal().tailBlocks = 3;
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 1, 44100, 2048));  // 1024-frame blocks
    std::vector<int16_t> in(1500, 100);
    fx->Push(in.data(), uint32_t(in.size() * 2), -1);
    fx->Push(nullptr, 0, -1);
    std::vector<int16_t> out(10000);
    uint32_t bytes = uint32_t(out.size() * 2);
    bool end = false;
    fx->Pull(out.data(), &bytes, &end);
    EXPECT_TRUE(end);
    // One full block of input; the 476-frame rest grows into a full block of
    // tail, and two more follow.
    EXPECT_EQ(bytes / 2, 1024u + 3u * 1024u);
}

}  // namespace
