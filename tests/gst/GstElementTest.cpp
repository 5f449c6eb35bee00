// The GStreamer element in real pipelines: a preset run against lxfx process
// on the same file, every sample format and 1, 2 and 6 channels untouched at
// default settings, a flush and a caps change in mid-stream, and a bad
// preset reported on the bus.
#include <gst/check/gstharness.h>
#include <gst/gst.h>
#include <gtest/gtest.h>
#include <sndfile.hh>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

class GstEnvironment : public testing::Environment {
public:
    void SetUp() override
    {
        setenv("GST_PLUGIN_PATH", LXFX_GST_PLUGIN_DIR, 1);
        // A registry of its own, so that a stale one elsewhere cannot hide
        // the element just built.
        setenv("GST_REGISTRY", LXFX_GST_PLUGIN_DIR "/test-registry.bin", 1);
        gst_init(nullptr, nullptr);
    }
};
const testing::Environment* const kGst = testing::AddGlobalTestEnvironment(new GstEnvironment);

struct Scratch {
    fs::path root;
    Scratch()
    {
        std::string pattern = (fs::temp_directory_path() / "lxfx-gst-XXXXXX").string();
        root = mkdtemp(pattern.data());
    }
    ~Scratch() { fs::remove_all(root); }
    std::string Path(const std::string& name) const { return (root / name).string(); }
};

void WriteText(const std::string& path, const std::string& text)
{
    std::ofstream(path) << text;
}

std::vector<char> ReadBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<char>(std::istreambuf_iterator<char>(in), {});
}

// Runs a gst-launch style pipeline to its end; returns the first error
// message, empty when it ran through.
std::string RunPipeline(const std::string& description)
{
    GError* error = nullptr;
    GstElement* pipeline = gst_parse_launch(description.c_str(), &error);
    if (!pipeline) {
        std::string text = error ? error->message : "no pipeline";
        g_clear_error(&error);
        return text;
    }
    std::string result;
    if (gst_element_set_state(pipeline, GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE)
        result = "state change failed";
    GstBus* bus = gst_element_get_bus(pipeline);
    GstMessage* message = gst_bus_timed_pop_filtered(bus, 60 * GST_SECOND,
                                                     GstMessageType(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    if (message && GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
        GError* failure = nullptr;
        gst_message_parse_error(message, &failure, nullptr);
        result = failure->message;
        g_clear_error(&failure);
    } else if (!message && result.empty()) {
        result = "timed out";
    }
    if (message)
        gst_message_unref(message);
    gst_object_unref(bus);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
    return result;
}

std::vector<float> ReadFloats(const std::string& path, int* channels)
{
    SndfileHandle file(path);
    *channels = file.channels();
    std::vector<float> samples(size_t(file.frames()) * size_t(file.channels()));
    file.readf(samples.data(), file.frames());
    return samples;
}

TEST(GstElement, PresetRunMatchesLxfxProcessIncludingTheTail)
{
    Scratch dir;
    {
        SndfileHandle in(dir.Path("in.wav"), SFM_WRITE, SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 44100);
        std::vector<float> samples;
        for (int i = 0; i < 44100 * 2; ++i)
            for (int c = 0; c < 2; ++c)
                samples.push_back(float(0.2 * std::sin(2 * M_PI * (220.0 + 110 * c) * i / 44100) *
                                        std::exp(-1.5 * (i % 22050) / 22050.0)));
        in.writef(samples.data(), 44100 * 2);
    }
    WriteText(dir.Path("p.json"), R"({"delay": {"on": true, "Delay": 120, "Feedback": 0.4, "DryLevel": 0, "WetLevel": -6},
        "bassTreble": {"on": true, "Bass": 4, "Treble": 2},
        "reverb": {"on": true}, "graphEQ": {"on": true, "gains": [2, 1, 0, -1, -2, 0, 1, 2, 3, 1]}})");
    const std::string lxfx = std::string(LXFX_BINARY) + " process " + dir.Path("in.wav") + " " +
                             dir.Path("lxfx.wav") + " --preset " + dir.Path("p.json") + " --buffer-bytes 0 --quiet";
    ASSERT_EQ(std::system((lxfx + " > /dev/null").c_str()), 0);
    ASSERT_EQ(RunPipeline("filesrc location=" + dir.Path("in.wav") + " ! wavparse ! lxaudioeffects preset=" +
                          dir.Path("p.json") + " ! wavenc ! filesink location=" + dir.Path("gst.wav")),
              "");
    int channels = 0;
    const std::vector<float> fromTool = ReadFloats(dir.Path("lxfx.wav"), &channels);
    const std::vector<float> fromGst = ReadFloats(dir.Path("gst.wav"), &channels);
    EXPECT_GT(fromTool.size(), size_t(2 * 44100 * 2)) << "the tail of the delay and the reverb";
    EXPECT_EQ(fromGst.size(), fromTool.size());
    EXPECT_TRUE(fromGst == fromTool);
}

TEST(GstElement, EveryFormatAndChannelCountPassesUntouchedAtDefaults)
{
    Scratch dir;
    // A mono limiter works in its dB law and 8-bit audio carries an offset
    // of 1.0 into the chain: those two run with the limiter off. The chain
    // computes in float, so the source is float audio converted without
    // dither: its 32-bit and double samples are floats too.
    WriteText(dir.Path("nolimiter.json"), R"({"limiter": {"on": false}})");
    for (const char* format : {"U8", "S16LE", "S32LE", "F32LE", "F64LE"}) {
        for (int channels : {1, 2, 6}) {
            SCOPED_TRACE(std::string(format) + ", " + std::to_string(channels) + " channels");
            const bool limiterOff = channels == 1 || std::string(format) == "U8";
            const std::string source = "audiotestsrc wave=sine volume=0.1 num-buffers=23 samplesperbuffer=999 ! "
                                       "audio/x-raw,format=F32LE,channels=" + std::to_string(channels) +
                                       " ! audioconvert dithering=none noise-shaping=none ! "
                                       "audio/x-raw,rate=44100,layout=interleaved,format=" +
                                       std::string(format);
            const std::string element =
                std::string(" ! lxaudioeffects") + (limiterOff ? " preset=" + dir.Path("nolimiter.json") : "");
            ASSERT_EQ(RunPipeline(source + " ! filesink location=" + dir.Path("dry.raw")), "");
            ASSERT_EQ(RunPipeline(source + element + " ! filesink location=" + dir.Path("wet.raw")), "");
            const std::vector<char> dry = ReadBytes(dir.Path("dry.raw")), wet = ReadBytes(dir.Path("wet.raw"));
            ASSERT_EQ(wet.size(), dry.size());
            EXPECT_TRUE(wet == dry);
        }
    }
}

GstBuffer* Silence(gsize bytes)
{
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, bytes, nullptr);
    gst_buffer_memset(buffer, 0, 0, bytes);
    return buffer;
}

// Frames out since the last call.
guint64 PullAll(GstHarness* harness, guint bytesPerFrame)
{
    guint64 frames = 0;
    while (GstBuffer* buffer = gst_harness_try_pull(harness)) {
        frames += gst_buffer_get_size(buffer) / bytesPerFrame;
        gst_buffer_unref(buffer);
    }
    return frames;
}

TEST(GstElement, FlushAndCapsChangeKeepSettingsAndAddNoFrames)
{
    Scratch dir;
    WriteText(dir.Path("p.json"), R"({"tremolo": {"on": true, "Freq": 5, "Range": 0.5}})");
    GstHarness* harness = gst_harness_new("lxaudioeffects");
    g_object_set(harness->element, "preset", dir.Path("p.json").c_str(), nullptr);
    gst_harness_set_src_caps_str(harness, "audio/x-raw,format=S16LE,layout=interleaved,channels=2,rate=44100");
    guint64 pushed = 0, pulled = 0;
    for (int i = 0; i < 10; ++i, pushed += 1000)
        ASSERT_EQ(gst_harness_push(harness, Silence(4000)), GST_FLOW_OK);
    pulled += PullAll(harness, 4);
    EXPECT_LE(pulled, pushed);
    // The latency it reports covers the frames it held back.
    EXPECT_GE(gst_harness_query_latency(harness), gst_util_uint64_scale(pushed - pulled, GST_SECOND, 44100));

    // A seek: whatever the chain held is dropped, and what comes out after it
    // is at most what went in after it.
    gst_harness_push_event(harness, gst_event_new_flush_start());
    gst_harness_push_event(harness, gst_event_new_flush_stop(TRUE));
    GstSegment segment;
    gst_segment_init(&segment, GST_FORMAT_TIME);
    gst_harness_push_event(harness, gst_event_new_segment(&segment));
    pushed = pulled = 0;
    for (int i = 0; i < 7; ++i, pushed += 1000)
        ASSERT_EQ(gst_harness_push(harness, Silence(4000)), GST_FLOW_OK);
    pulled += PullAll(harness, 4);
    EXPECT_LE(pulled, pushed);

    // New caps: float mono at 48 kHz; the preset's tremolo stays on.
    gst_harness_set_src_caps_str(harness, "audio/x-raw,format=F32LE,layout=interleaved,channels=1,rate=48000");
    pushed = pulled = 0;
    for (int i = 0; i < 9; ++i, pushed += 777)
        ASSERT_EQ(gst_harness_push(harness, Silence(777 * 4)), GST_FLOW_OK);
    gst_harness_push_event(harness, gst_event_new_eos());
    pulled += PullAll(harness, 4);
    EXPECT_EQ(pulled, pushed) << "the limiter and the tremolo add no frames";
    gchar* dump = nullptr;
    g_object_get(harness->element, "dump", &dump, nullptr);
    EXPECT_NE(std::string(dump).find("Tremolo: on true, Freq 5.000000, Range 0.500000"), std::string::npos) << dump;
    g_free(dump);
    gst_harness_teardown(harness);
}

TEST(GstElement, BadPresetsAreErrorsOnTheBus)
{
    Scratch dir;
    EXPECT_NE(RunPipeline("audiotestsrc num-buffers=3 ! lxaudioeffects preset=" + dir.Path("missing.json") +
                          " ! fakesink")
                  .find("missing.json"),
              std::string::npos);
    WriteText(dir.Path("bad.json"), R"({"tremolo": {"Freq": "fast"}})");
    const std::string message =
        RunPipeline("audiotestsrc num-buffers=3 ! lxaudioeffects preset=" + dir.Path("bad.json") + " ! fakesink");
    EXPECT_NE(message.find("tremolo.Freq"), std::string::npos) << message;
}

}  // namespace
