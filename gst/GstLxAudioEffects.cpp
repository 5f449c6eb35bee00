// GStreamer element "lxaudioeffects": the whole effect chain as an audio
// filter. Each buffer goes to the front end's Push and whatever Pull gives
// goes downstream, stamped from the count of frames sent since the segment
// began, since the chain holds frames back and releases tails. At EOS the
// tail is pulled out before EOS goes on; a flush resets the chain; new caps
// re-initialise it with the settings kept.
//
// Properties: "preset", a JSON preset file in lxfx's format, applied at once
// when set; "bypass", the front end's bypass mode; "dump", read-only, the
// front end's state dump.
#include <gst/audio/audio.h>
#include <gst/gst.h>

#include <cstdarg>
#include <algorithm>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "Preset.h"
#include "ToolError.h"
#include "lxaudioeffects/lxaudioeffects.h"

namespace {

// Collects log lines while a dump is taken; drops them otherwise.
class DumpLogger final : public IAudioEffectsLogger {
public:
    ~DumpLogger() = default;
    int Log(const char* /*tag*/, int32_t /*level*/, const char* format, ...) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (!collecting)
            return 0;
        char text[1024];
        va_list args;
        va_start(args, format);
        std::vsnprintf(text, sizeof text, format, args);
        va_end(args);
        lines += text;
        lines += '\n';
        return 0;
    }
    std::string Dump(audiofx::AudioEffects* effects)
    {
        {
            std::lock_guard<std::mutex> lock(mutex);
            collecting = true;
            lines.clear();
        }
        effects->DumpState();
        std::lock_guard<std::mutex> lock(mutex);
        collecting = false;
        return lines;
    }

private:
    std::mutex mutex;
    bool collecting = false;
    std::string lines;
};

}  // namespace

G_BEGIN_DECLS

#define GST_TYPE_LX_AUDIO_EFFECTS (gst_lx_audio_effects_get_type())
G_DECLARE_FINAL_TYPE(GstLxAudioEffects, gst_lx_audio_effects, GST, LX_AUDIO_EFFECTS, GstElement)

struct _GstLxAudioEffects {
    GstElement parent;
    GstPad* sinkpad;
    GstPad* srcpad;

    audiofx::AudioEffects* effects;
    DumpLogger* logger;
    GstAudioInfo info;
    gboolean configured;

    // Under the object lock.
    gchar* presetPath;
    gboolean bypass;
    std::string* presetError;  // a preset that failed before the element had a bus

    // Streaming thread only.
    GstSegment segment;
    GstClockTime basePts;  // stamp of the first frame since the segment began
    guint64 framesOut;
    guint64 framesIn;
    guint64 maxHeldFrames;  // read by the latency query from any thread; a torn read is harmless on 64-bit
    std::vector<guint8>* scratch;
};

G_END_DECLS

GST_DEBUG_CATEGORY_STATIC(gst_lx_audio_effects_debug);
#define GST_CAT_DEFAULT gst_lx_audio_effects_debug

enum { PROP_0, PROP_PRESET, PROP_BYPASS, PROP_DUMP };

#define LX_CAPS                                                                                  \
    "audio/x-raw, format = (string) { U8, S16LE, S32LE, F32LE, F64LE }, layout = (string) interleaved, " \
    "channels = (int) [ 1, 8 ], rate = (int) [ 1, MAX ]"

static GstStaticPadTemplate sink_template =
    GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(LX_CAPS));
static GstStaticPadTemplate src_template =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS(LX_CAPS));

G_DEFINE_TYPE(GstLxAudioEffects, gst_lx_audio_effects, GST_TYPE_ELEMENT)

namespace {

bool SampleFormatOf(GstAudioFormat format, AUDIO_SAMPLEFORMAT* out)
{
    switch (format) {
    case GST_AUDIO_FORMAT_U8: *out = AUDIO_SAMPLEFORMAT_U8; return true;
    case GST_AUDIO_FORMAT_S16LE: *out = AUDIO_SAMPLEFORMAT_S16; return true;
    case GST_AUDIO_FORMAT_S32LE: *out = AUDIO_SAMPLEFORMAT_S32; return true;
    case GST_AUDIO_FORMAT_F32LE: *out = AUDIO_SAMPLEFORMAT_FLOAT; return true;
    case GST_AUDIO_FORMAT_F64LE: *out = AUDIO_SAMPLEFORMAT_DOUBLE; return true;
    default: return false;
    }
}

// Loads and applies a preset file; the error text when it cannot.
std::string ApplyPresetFile(audiofx::AudioEffects* effects, const std::string& path)
{
    try {
        lxfx::Preset preset;
        preset.LoadFile(path);
        lxfx::ApplySettings(preset.Settings(), preset.Groups(), *effects);
        return "";
    } catch (const lxfx::ToolError& error) {
        return error.what();
    } catch (const std::exception& error) {
        return std::string("cannot apply preset \"") + path + "\": " + error.what();
    }
}

void PostPresetError(GstLxAudioEffects* self, const std::string& message)
{
    GST_ELEMENT_ERROR(self, RESOURCE, SETTINGS, ("%s", message.c_str()), ("preset rejected"));
}

// Sends one buffer of frames downstream, stamped from the frames sent so far.
GstFlowReturn SendFrames(GstLxAudioEffects* self, const guint8* data, guint32 bytes)
{
    const guint bpf = GST_AUDIO_INFO_BPF(&self->info);
    const guint rate = GST_AUDIO_INFO_RATE(&self->info);
    const guint64 frames = bytes / bpf;
    if (frames == 0)
        return GST_FLOW_OK;
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, frames * bpf, nullptr);
    gst_buffer_fill(buffer, 0, data, frames * bpf);
    if (GST_CLOCK_TIME_IS_VALID(self->basePts)) {
        GST_BUFFER_PTS(buffer) = self->basePts + gst_util_uint64_scale_int(self->framesOut, GST_SECOND, rate);
        GST_BUFFER_DURATION(buffer) =
            self->basePts + gst_util_uint64_scale_int(self->framesOut + frames, GST_SECOND, rate) -
            GST_BUFFER_PTS(buffer);
    }
    GST_BUFFER_OFFSET(buffer) = self->framesOut;
    GST_BUFFER_OFFSET_END(buffer) = self->framesOut + frames;
    self->framesOut += frames;
    return gst_pad_push(self->srcpad, buffer);
}

// Pulls everything the chain has ready and sends it; with ended set, until
// the chain says the stream is over.
GstFlowReturn Drain(GstLxAudioEffects* self, bool ended)
{
    std::vector<guint8>& scratch = *self->scratch;
    for (int guard = 0; guard < 1000000; ++guard) {
        guint32 bytes = guint32(scratch.size());
        bool end = false;
        self->effects->Pull(scratch.data(), &bytes, &end);
        const GstFlowReturn flow = SendFrames(self, scratch.data(), bytes);
        if (flow != GST_FLOW_OK)
            return flow;
        if (ended ? end : bytes == 0)
            break;
    }
    return GST_FLOW_OK;
}

gboolean Configure(GstLxAudioEffects* self, GstCaps* caps)
{
    GstAudioInfo info;
    AUDIO_SAMPLEFORMAT format;
    if (!gst_audio_info_from_caps(&info, caps) || !SampleFormatOf(GST_AUDIO_INFO_FORMAT(&info), &format))
        return FALSE;
    if (self->configured && gst_audio_info_is_equal(&info, &self->info))
        return TRUE;
    // A new format starts a new stream in the chain; its settings stay.
    if (!self->effects->Init(format, GST_AUDIO_INFO_CHANNELS(&info), GST_AUDIO_INFO_RATE(&info), 0))
        return FALSE;
    self->info = info;
    self->configured = TRUE;
    self->scratch->assign(size_t(GST_AUDIO_INFO_BPF(&info)) * 8192, 0);
    self->framesIn = self->framesOut = 0;
    self->maxHeldFrames = 0;
    self->basePts = GST_CLOCK_TIME_NONE;
    return TRUE;
}

}  // namespace

static GstFlowReturn gst_lx_audio_effects_chain(GstPad* /*pad*/, GstObject* parent, GstBuffer* buffer)
{
    GstLxAudioEffects* self = GST_LX_AUDIO_EFFECTS(parent);
    if (!self->configured) {
        gst_buffer_unref(buffer);
        return GST_FLOW_NOT_NEGOTIATED;
    }
    if (!GST_CLOCK_TIME_IS_VALID(self->basePts))
        self->basePts = GST_BUFFER_PTS_IS_VALID(buffer) ? GST_BUFFER_PTS(buffer) : self->segment.start;
    GstMapInfo map;
    if (!gst_buffer_map(buffer, &map, GST_MAP_READ)) {
        gst_buffer_unref(buffer);
        return GST_FLOW_ERROR;
    }
    GstFlowReturn flow = GST_FLOW_OK;
    const guint bpf = GST_AUDIO_INFO_BPF(&self->info);
    // Push takes at most 32-bit sizes; large buffers go in pieces.
    for (gsize at = 0; at < map.size && flow == GST_FLOW_OK;) {
        const gsize piece = std::min<gsize>(map.size - at, (gsize(1) << 20) / bpf * bpf);
        self->effects->Push(map.data + at, guint32(piece), -1);
        self->framesIn += piece / bpf;
        at += piece;
        flow = Drain(self, false);
        if (self->framesIn > self->framesOut)
            self->maxHeldFrames = std::max<guint64>(self->maxHeldFrames, self->framesIn - self->framesOut);
    }
    gst_buffer_unmap(buffer, &map);
    gst_buffer_unref(buffer);
    return flow;
}

static gboolean gst_lx_audio_effects_sink_event(GstPad* pad, GstObject* parent, GstEvent* event)
{
    GstLxAudioEffects* self = GST_LX_AUDIO_EFFECTS(parent);
    switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_CAPS: {
        GstCaps* caps;
        gst_event_parse_caps(event, &caps);
        if (!Configure(self, caps)) {
            gst_event_unref(event);
            return FALSE;
        }
        return gst_pad_push_event(self->srcpad, event);
    }
    case GST_EVENT_SEGMENT:
        gst_event_copy_segment(event, &self->segment);
        self->basePts = GST_CLOCK_TIME_NONE;
        self->framesOut = 0;
        return gst_pad_event_default(pad, parent, event);
    case GST_EVENT_FLUSH_STOP:
        if (self->configured)
            self->effects->Reset();
        self->basePts = GST_CLOCK_TIME_NONE;
        self->framesIn = self->framesOut = 0;
        return gst_pad_event_default(pad, parent, event);
    case GST_EVENT_EOS:
        if (self->configured) {
            self->effects->Push(nullptr, 0, -1);
            Drain(self, true);
            // The next stream starts from a clean chain.
            self->effects->Reset();
            self->basePts = GST_CLOCK_TIME_NONE;
            self->framesIn = self->framesOut = 0;
        }
        return gst_pad_event_default(pad, parent, event);
    default: return gst_pad_event_default(pad, parent, event);
    }
}

static gboolean gst_lx_audio_effects_src_query(GstPad* pad, GstObject* parent, GstQuery* query)
{
    GstLxAudioEffects* self = GST_LX_AUDIO_EFFECTS(parent);
    if (GST_QUERY_TYPE(query) != GST_QUERY_LATENCY || !self->configured)
        return gst_pad_query_default(pad, parent, query);
    if (!gst_pad_peer_query(self->sinkpad, query))
        return FALSE;
    gboolean live;
    GstClockTime minLatency, maxLatency;
    gst_query_parse_latency(query, &live, &minLatency, &maxLatency);
    // What the chain holds back: the most frames it has held so far, a
    // partial block of the front end plus the look-ahead of its effects.
    const GstClockTime added =
        gst_util_uint64_scale_int(self->maxHeldFrames, GST_SECOND, GST_AUDIO_INFO_RATE(&self->info));
    gst_query_set_latency(query, live, minLatency + added,
                          GST_CLOCK_TIME_IS_VALID(maxLatency) ? maxLatency + added : GST_CLOCK_TIME_NONE);
    return TRUE;
}

static GstStateChangeReturn gst_lx_audio_effects_change_state(GstElement* element, GstStateChange transition)
{
    GstLxAudioEffects* self = GST_LX_AUDIO_EFFECTS(element);
    if (transition == GST_STATE_CHANGE_NULL_TO_READY) {
        GST_OBJECT_LOCK(self);
        const std::string pending = *self->presetError;
        self->presetError->clear();
        GST_OBJECT_UNLOCK(self);
        if (!pending.empty()) {
            PostPresetError(self, pending);
            return GST_STATE_CHANGE_FAILURE;
        }
    }
    return GST_ELEMENT_CLASS(gst_lx_audio_effects_parent_class)->change_state(element, transition);
}

static void gst_lx_audio_effects_set_property(GObject* object, guint id, const GValue* value, GParamSpec* paramSpec)
{
    GstLxAudioEffects* self = GST_LX_AUDIO_EFFECTS(object);
    switch (id) {
    case PROP_PRESET: {
        const gchar* path = g_value_get_string(value);
        GST_OBJECT_LOCK(self);
        g_free(self->presetPath);
        self->presetPath = g_strdup(path);
        GST_OBJECT_UNLOCK(self);
        if (!path || !*path)
            break;
        const std::string error = ApplyPresetFile(self->effects, path);
        if (error.empty())
            break;
        // Without a bus yet the error waits for the first state change.
        GstBus* bus = gst_element_get_bus(GST_ELEMENT(self));
        if (bus) {
            gst_object_unref(bus);
            PostPresetError(self, error);
        } else {
            GST_OBJECT_LOCK(self);
            *self->presetError = error;
            GST_OBJECT_UNLOCK(self);
        }
        break;
    }
    case PROP_BYPASS:
        GST_OBJECT_LOCK(self);
        self->bypass = g_value_get_boolean(value);
        GST_OBJECT_UNLOCK(self);
        self->effects->SetBypassMode(g_value_get_boolean(value));
        break;
    default: G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, paramSpec); break;
    }
}

static void gst_lx_audio_effects_get_property(GObject* object, guint id, GValue* value, GParamSpec* paramSpec)
{
    GstLxAudioEffects* self = GST_LX_AUDIO_EFFECTS(object);
    switch (id) {
    case PROP_PRESET:
        GST_OBJECT_LOCK(self);
        g_value_set_string(value, self->presetPath);
        GST_OBJECT_UNLOCK(self);
        break;
    case PROP_BYPASS:
        GST_OBJECT_LOCK(self);
        g_value_set_boolean(value, self->bypass);
        GST_OBJECT_UNLOCK(self);
        break;
    case PROP_DUMP: g_value_set_string(value, self->logger->Dump(self->effects).c_str()); break;
    default: G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, paramSpec); break;
    }
}

static void gst_lx_audio_effects_finalize(GObject* object)
{
    GstLxAudioEffects* self = GST_LX_AUDIO_EFFECTS(object);
    if (self->effects) {
        self->effects->SetLogger(nullptr);
        self->effects->Destroy();
    }
    delete self->logger;
    delete self->scratch;
    delete self->presetError;
    g_free(self->presetPath);
    G_OBJECT_CLASS(gst_lx_audio_effects_parent_class)->finalize(object);
}

static void gst_lx_audio_effects_class_init(GstLxAudioEffectsClass* klass)
{
    GObjectClass* objectClass = G_OBJECT_CLASS(klass);
    GstElementClass* elementClass = GST_ELEMENT_CLASS(klass);
    objectClass->set_property = gst_lx_audio_effects_set_property;
    objectClass->get_property = gst_lx_audio_effects_get_property;
    objectClass->finalize = gst_lx_audio_effects_finalize;
    elementClass->change_state = gst_lx_audio_effects_change_state;

    g_object_class_install_property(
        objectClass, PROP_PRESET,
        g_param_spec_string("preset", "Preset", "JSON preset file (lxfx's format), applied when set", nullptr,
                            GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING)));
    g_object_class_install_property(
        objectClass, PROP_BYPASS,
        g_param_spec_boolean("bypass", "Bypass", "Bypass mode: only loudness and the limiter stay in the path",
                             FALSE,
                             GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING)));
    g_object_class_install_property(
        objectClass, PROP_DUMP,
        g_param_spec_string("dump", "Dump", "The effect chain's settings, one per line", nullptr,
                            GParamFlags(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS)));

    gst_element_class_add_static_pad_template(elementClass, &sink_template);
    gst_element_class_add_static_pad_template(elementClass, &src_template);
    gst_element_class_set_static_metadata(elementClass, "lxaudioeffects", "Filter/Effect/Audio",
                                          "The lxaudioeffects chain: EQs, dynamics, modulation, rooms, "
                                          "convolution and a limiter",
                                          "lxaudioeffects developers");
}

static void gst_lx_audio_effects_init(GstLxAudioEffects* self)
{
    self->sinkpad = gst_pad_new_from_static_template(&sink_template, "sink");
    gst_pad_set_chain_function(self->sinkpad, GST_DEBUG_FUNCPTR(gst_lx_audio_effects_chain));
    gst_pad_set_event_function(self->sinkpad, GST_DEBUG_FUNCPTR(gst_lx_audio_effects_sink_event));
    GST_PAD_SET_PROXY_CAPS(self->sinkpad);
    gst_element_add_pad(GST_ELEMENT(self), self->sinkpad);
    self->srcpad = gst_pad_new_from_static_template(&src_template, "src");
    gst_pad_set_query_function(self->srcpad, GST_DEBUG_FUNCPTR(gst_lx_audio_effects_src_query));
    GST_PAD_SET_PROXY_CAPS(self->srcpad);
    gst_element_add_pad(GST_ELEMENT(self), self->srcpad);

    self->effects = audiofx::AudioEffects::Create();
    self->logger = new DumpLogger();
    if (self->effects)
        self->effects->SetLogger(self->logger);
    self->scratch = new std::vector<guint8>();
    self->presetError = new std::string();
    self->presetPath = nullptr;
    self->bypass = FALSE;
    self->configured = FALSE;
    gst_audio_info_init(&self->info);
    gst_segment_init(&self->segment, GST_FORMAT_TIME);
    self->basePts = GST_CLOCK_TIME_NONE;
    self->framesIn = self->framesOut = 0;
    self->maxHeldFrames = 0;
}

static gboolean plugin_init(GstPlugin* plugin)
{
    GST_DEBUG_CATEGORY_INIT(gst_lx_audio_effects_debug, "lxaudioeffects", 0, "lxaudioeffects chain");
    return gst_element_register(plugin, "lxaudioeffects", GST_RANK_NONE, GST_TYPE_LX_AUDIO_EFFECTS);
}

#define PACKAGE "lxaudioeffects"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, lxaudioeffects, "The lxaudioeffects effect chain",
                  plugin_init, "0.1.0", "Proprietary", "lxaudioeffects", "lxaudioeffects")
