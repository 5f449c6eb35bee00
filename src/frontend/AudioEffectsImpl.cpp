#include "frontend/AudioEffectsImpl.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "common/AudioFifo.h"
#include "common/SampleFormat.h"
#include "frontend/LXAudioEffectsProcessorImpl.h"

namespace audiofx {

namespace {

const char* BoolText(bool value)
{
    return value ? "true" : "false";
}

// Copies an impulse image; exhausted memory leaves it empty.
std::vector<uint8_t> CopyImpulse(const void* data, uint64_t size)
{
    std::vector<uint8_t> copy;
    try {
        if (data && size > 0) {
            const uint8_t* bytes = static_cast<const uint8_t*>(data);
            copy.assign(bytes, bytes + size);
        }
    } catch (...) {
        copy.clear();
    }
    return copy;
}

}  // namespace

AudioEffects* AudioEffects::Create()
{
    return new (std::nothrow) AudioEffectsImpl();
}

AudioEffectsImpl::AudioEffectsImpl() : AudioEffectsImpl(DefaultProcessorFactories()) {}

AudioEffectsImpl::AudioEffectsImpl(const ProcessorFactories& factories_) : factories(factories_) {}

AudioEffectsImpl::~AudioEffectsImpl()
{
    std::lock_guard<std::mutex> lock(mutex);
    Log(0, "AudioEffectsImpl::~AudioEffectsImpl invoked.");
    ReleaseSteps();
}

void AudioEffectsImpl::Destroy()
{
    delete this;
}

void AudioEffectsImpl::SetLogger(IAudioEffectsLogger* logger_)
{
    logger.store(logger_, std::memory_order_release);
}

void AudioEffectsImpl::ResetSteps()
{
    if (processor)
        processor->Reset();
    endOfStream = false;
    timestamp = -1;
    // The frame an empty drain takes from here is silence (the midpoint for
    // unsigned 8-bit), not a block of the previous stream.
    if (outBuffer)
        std::memset(outBuffer, bytesPerSample == 1 ? 0x80 : 0, size_t(bytesPerSample) * channels * bufferFrames);
    if (inFifo)
        inFifo->Reset();
    if (outFifo)
        outFifo->Reset();
}

void AudioEffectsImpl::ReleaseSteps()
{
    if (processor)
        processor->Destroy();
    processor = nullptr;
    delete inFifo;
    inFifo = nullptr;
    delete outFifo;
    outFifo = nullptr;
    std::free(outBuffer);
    outBuffer = nullptr;
}

bool AudioEffectsImpl::Fail()
{
    ReleaseSteps();
    return false;
}

bool AudioEffectsImpl::Init(AUDIO_SAMPLEFORMAT format, uint32_t channels_, uint32_t sampleRate_,
                            uint32_t bufferBytes)
{
    std::lock_guard<std::mutex> lock(mutex);
    // Same stream shape: keep the chain and its block size, clear the audio.
    if (processor && int32_t(format) == sampleFormat && channels_ == channels &&
        sampleRate_ == sampleRate) {
        ResetSteps();
        Log(2, "Reset audio effect instance done.");
        return true;
    }

    endOfStream = false;
    ReleaseSteps();

    LXAudioEffectsProcessorImpl* chain = new (std::nothrow) LXAudioEffectsProcessorImpl(factories);
    if (!chain) {
        Log(0, "Create audio effect instance failed.");
        return Fail();
    }

    const AUDIO_SAMPLEFORMAT m = NormalizeSampleFormat(format);
    bytesPerSample = BytesPerSample(m);
    if (bufferBytes == 0) {
        bufferFrames = 2048;
    } else {
        // No channels would divide by zero; no frame fits then.
        const uint32_t f = channels_ ? FloorPowerOfTwo(bufferBytes / bytesPerSample / channels_) : 0;
        bufferFrames = f >= 2048 ? 2048 : f;
    }
    Log(2, "Create new AudioEffects instance: %d, %u, %u, %u", int(m), sampleRate_, channels_,
             bufferFrames);

    if (!chain->Init(m, bufferFrames, channels_, sampleRate_)) {
        chain->Destroy();
        Log(0, "Initialize audio effect instance failed.");
        return Fail();
    }
    processor = chain;
    sampleFormat = int32_t(format);
    channels = channels_;
    sampleRate = sampleRate_;

    inFifo = new (std::nothrow) AudioFifo(int32_t(bytesPerSample), int32_t(channels), 0,
                                          int32_t(bufferFrames));
    if (!inFifo) {
        Log(0, "Create in audio fifo failed.");
        return Fail();
    }
    outFifo = new (std::nothrow) AudioFifo(int32_t(bytesPerSample), int32_t(channels), 0,
                                           int32_t(bufferFrames));
    if (!outFifo) {
        Log(0, "Create out audio fifo failed.");
        return Fail();
    }
    outBuffer = static_cast<uint8_t*>(std::malloc(size_t(bytesPerSample) * channels * bufferFrames));
    if (!outBuffer) {
        Log(0, "Create out audio buffer failed.");
        return Fail();
    }

    ApplyStoredSettings();
    ResetSteps();
    Log(3, "Initialize audio effect instance done.");
    return true;
}

void AudioEffectsImpl::Push(const void* data, uint32_t bytes, int32_t timestamp_)
{
    std::lock_guard<std::mutex> lock(mutex);
    if (!processor || !inFifo || endOfStream)
        return;
    if (!data || bytes == 0) {
        Log(2, "No more data to push.");
        endOfStream = true;
    }
    if (timestamp < 0 || timestamp_ >= 0)
        timestamp = timestamp_;

    const uint32_t frameBytes = bytesPerSample * channels;
    const uint32_t n = data ? bytes / frameBytes : 0;
    if (n != 0) {
        const void* planes[1] = {data};
        inFifo->Write(planes, int32_t(n));
    }
    // One frame of the last processed block enters an empty drain, so that the
    // chain sees a frame count of 1 rather than 0; the stream ends one frame
    // longer. Intended.
    if (endOfStream && inFifo->Size() == 0) {
        void* planes[1] = {outBuffer};
        inFifo->Write(planes, 1);
    }

    for (;;) {
        if (uint32_t(inFifo->Size()) < bufferFrames && !endOfStream)
            break;
        bool done = endOfStream;
        const uint32_t given = processor->PassesThrough() ? PassBlockThrough() : ProcessBlock(&done);
        if (given != 0 && timestamp > 0) {
            // A position of exactly 0 stays 0; intended.
            const double next = double(timestamp) + double(given) / sampleRate * 1000.0;
            timestamp = next < 2147483647.0 ? int32_t(next) : 2147483647;
        }
        if (done)
            break;
    }
}

// Takes one block from inFifo into outBuffer, zero beyond the frames read,
// runs the chain on it and writes what comes back to outFifo. Returns the
// frames given to the chain.
uint32_t AudioEffectsImpl::ProcessBlock(bool* done)
{
    const size_t frameBytes = size_t(bytesPerSample) * channels;
    uint32_t validSampleCount = 0;
    if (inFifo->Size() > 0) {
        void* planes[1] = {outBuffer};
        const int32_t got = inFifo->Read(planes, int32_t(bufferFrames));
        if (got > 0)
            validSampleCount = uint32_t(got);
    }
    std::memset(outBuffer + frameBytes * validSampleCount, 0, frameBytes * (bufferFrames - validSampleCount));
    if (!*done && validSampleCount == 0)
        return 0;
    const uint32_t given = validSampleCount;
    processor->Process(outBuffer, &validSampleCount, done, timestamp < 0 ? 0 : timestamp);
    if (validSampleCount > 0) {
        const void* planes[1] = {outBuffer};
        outFifo->Write(planes, int32_t(validSampleCount));
    }
    return given;
}

// The same block when the chain would give it back unchanged: it goes from
// inFifo to outFifo ring to ring. Of outBuffer only its first frame is ever
// read again (by the frame an empty drain takes) before a block overwrites
// it, so only that frame is kept as the full path leaves it.
uint32_t AudioEffectsImpl::PassBlockThrough()
{
    const size_t frameBytes = size_t(bytesPerSample) * channels;
    void* planes[1] = {outBuffer};
    if (inFifo->Peek(planes, 1) != 1)
        std::memset(outBuffer, 0, frameBytes);
    const int32_t moved = inFifo->Transfer(*outFifo, int32_t(bufferFrames));
    if (moved >= 0)
        return uint32_t(moved);
    // outFifo could not take the block: it is lost, as a failed write loses it.
    const int32_t lost = inFifo->Size() < int32_t(bufferFrames) ? inFifo->Size() : int32_t(bufferFrames);
    inFifo->Drain(lost);
    return uint32_t(lost);
}

void AudioEffectsImpl::Pull(void* data, uint32_t* bytes, bool* end)
{
    if (!bytes || !end)
        return;
    std::lock_guard<std::mutex> lock(mutex);
    if (!outFifo) {
        *bytes = 0;
        *end = true;
        return;
    }
    if (!data || *bytes == 0) {
        *bytes = 0;
        return;
    }
    uint32_t written = 0;
    if (outFifo->Size() > 0) {
        void* planes[1] = {data};
        const int32_t got = outFifo->Read(planes, int32_t(*bytes / bytesPerSample / channels));
        if (got > 0)
            written = uint32_t(got) * bytesPerSample * channels;
    }
    *bytes = written;
    *end = endOfStream && outFifo->Size() == 0;
}

void AudioEffectsImpl::Reset()
{
    std::lock_guard<std::mutex> lock(mutex);
    if (processor)
        ResetSteps();
}

void AudioEffectsImpl::ResetEffects()
{
    std::lock_guard<std::mutex> lock(mutex);
    if (!processor)
        return;
    processor->ResetEffects();
    processor->SetBypassMode(false);
    // Everything back to the start values but the loudness gain and the
    // limiter's parameters, which only the constructor sets; the impulses go.
    const LoudnessSettings loudness = stored.values.loudness;
    const LimiterEffectParams limiter = stored.values.limiter.params;
    stored.values = kDefaultSettings;
    stored.values.loudness = loudness;
    stored.values.limiter.params = limiter;
    stored.firImpulse = {};
    stored.headphoneImpulse = {};
}

void AudioEffectsImpl::ForwardSwitch(const char* format, bool on,
                                     void (LXAudioEffectsProcessor::*op)(bool))
{
    if (!processor)
        return;
    Log(3, format, BoolText(on));
    (processor->*op)(on);
}

namespace {

using Chain = LXAudioEffectsProcessor;
// A line of the state dump.
template <typename... Args>
void Dump(IAudioEffectsLogger& sink, const char* format, Args... args)
{
    sink.Log("AudioEffects", 2, format, args...);
}

// One row per effect: its switch, how its stored parameters reach a chain,
// and its lines in the state dump. Indexed by Slot; walked in build order,
// which is also the order of the stored records.
struct SettingsRow {
    const char* switchLog;
    void (Chain::*setOn)(bool);
    bool& (*on)(EffectSettings&);
    // Sent after the switch when it is on (always, when paramsWhenOff).
    void (*sendParams)(const StoredSettings&, Chain&, IAudioEffectsLogger*);
    bool paramsWhenOff;
    void (*dump)(const StoredSettings&, IAudioEffectsLogger&);
};

void LogStereoEnhancerParams(const StereoEnhancerSettings& e, IAudioEffectsLogger* sink)
{
    if (sink)
        sink->Log("AudioEffects", 3,
                  "SetStereoEnhancerParams: presence %f, stereoizer %f, spectrumShaper %s, ambience %d",
                  double(e.presence), double(e.stereoizer), BoolText(e.spectrumShaper), int(e.ambience));
}

void SendReverb(const StoredSettings& st, Chain& chain, IAudioEffectsLogger*)
{
    const ReverbSettings& r = st.values.reverb;
    chain.SetReverbERParams(r.erEnable, r.erPattern, r.erRoomSize, r.erSurroundDelay);
    chain.SetReverbRVBParams(&r.body);
    chain.SetReverbTCON(r.tcOn);
    for (uint32_t i = 0; i < 3; ++i)
        chain.SetReverbTCFilter(i + 1, &r.tcFilters[i]);
    chain.SetReverbInputLevel(r.inputCenter, r.inputLFE);
    chain.SetReverbRVBLevel(r.rvbFront, r.rvbRear, r.rvbCenter, r.rvbLFE);
    chain.SetReverbOutputLevel(r.outputDry, r.outputER, r.outputReverb);
}

void DumpReverb(const StoredSettings& st, IAudioEffectsLogger& sink)
{
    const ReverbSettings& r = st.values.reverb;
    Dump(sink, "Reverb: on %s", BoolText(r.on));
    Dump(sink, "Reverb ER: enable %s, Pattern %d, RoomSize %f, SurroundDelay %f", BoolText(r.erEnable),
         int(r.erPattern), double(r.erRoomSize), double(r.erSurroundDelay));
    const ReverbParams& b = r.body;
    Dump(sink,
         "Reverb RVB: PreDelay %f, DecayTime %f, HFDamping %f, Density %f, RoomShape %f, "
         "Quality %u, Diffusion %f, StereoWidth %f",
         double(b.PreDelay), double(b.DecayTime), double(b.HFDamping), double(b.Density), double(b.RoomShape),
         b.Quality, double(b.Diffusion), double(b.StereoWidth));
    Dump(sink, "Reverb TC: enable %s", BoolText(r.tcOn));
    for (int i = 0; i < 3; ++i) {
        const ReverbFilterParams& f = r.tcFilters[i];
        Dump(sink, "Reverb TC Filter %d: InsertType %u, CurveType %u, Gain %f, Freq %f, Q %f", i + 1, f.InsertType,
             f.CurveType, double(f.Gain), double(f.Freq), double(f.Q));
    }
    Dump(sink, "Reverb Input Level: Center %f, LFE %f", double(r.inputCenter), double(r.inputLFE));
    Dump(sink, "Reverb RVB Level: Front %f, Rear %f, Center %f, LFE %f", double(r.rvbFront), double(r.rvbRear),
         double(r.rvbCenter), double(r.rvbLFE));
    Dump(sink, "Reverb Output Level: Dry %f, ER %f, Reverb %f", double(r.outputDry), double(r.outputER),
         double(r.outputReverb));
}

void DumpCompressor(const char* format, const CompressorSettings& c, IAudioEffectsLogger& sink)
{
    const CompressorEffectParams& p = c.params;
    Dump(sink, format, BoolText(c.on), double(p.Threshold), double(p.Ratio), double(p.Attack), double(p.Release),
         double(p.Range), double(p.PreGain), double(p.PostGain));
}

void DumpParametricEQ(const StoredSettings& st, IAudioEffectsLogger& sink)
{
    const ParametricEQSettings& e = st.values.parametricEQ;
    Dump(sink, "Parametric EQ: on %s, Gain %f", BoolText(e.on), double(e.gain));
    for (uint32_t i = 0; i < 9; ++i) {
        const ParametricEQFilterParams& f = e.filters[i];
        Dump(sink, "Parametric EQ Filter %u: on %s, FilterType %u, Gain %f, Freq %f, Q %f", i + 1, BoolText(f.on),
             f.FilterType, double(f.Gain), double(f.Freq), double(f.Q));
    }
}

// An empty image still reaches the chain from its setter, where its load
// fails and removes the effect.
void SendFIRImpulse(const StoredSettings& st, Chain& chain)
{
    static const uint8_t kEmpty = 0;
    chain.SetFIRImpulse(st.firImpulse.empty() ? &kEmpty : st.firImpulse.data(), st.firImpulse.size());
}

void SendHeadphoneImpulse(const StoredSettings& st, Chain& chain)
{
    static const uint8_t kEmpty = 0;
    chain.SetHeadphoneImpulse(st.headphoneImpulse.empty() ? &kEmpty : st.headphoneImpulse.data(),
                              st.headphoneImpulse.size());
}

#define LXFX_ON(field) [](EffectSettings& s) -> bool& { return s.field.on; }
#define LXFX_SEND [](const StoredSettings& st, Chain& chain, IAudioEffectsLogger* sink)
#define LXFX_DUMP [](const StoredSettings& st, IAudioEffectsLogger& sink)

const SettingsRow kRows[kSlotCount] = {
    /* Loudness */
    {"SetLoudnessON: on %s", &Chain::SetLoudnessON, LXFX_ON(loudness),
     LXFX_SEND { (void)sink; chain.SetLoudnessParams(st.values.loudness.gain, st.values.loudness.peak); }, false,
     LXFX_DUMP {
         const LoudnessSettings& l = st.values.loudness;
         Dump(sink, "Loudness: on %s, gain %f, peak %f", BoolText(l.on), double(l.gain), double(l.peak));
     }},
    /* Compressor */
    {"SetCompressorON: on %s", &Chain::SetCompressorON, LXFX_ON(compressor),
     LXFX_SEND { (void)sink; chain.SetCompressorParams(&st.values.compressor.params); }, false,
     LXFX_DUMP {
         DumpCompressor("Compressor: on %s, Threshold %f, Ratio %f, Attack %f, Release %f, Range %f, "
                        "PreGain %f, PostGain %f",
                        st.values.compressor, sink);
     }},
    /* GraphicEQ */
    {"SetGraphEQON: on %s", &Chain::SetGraphEQON, LXFX_ON(graphEQ),
     LXFX_SEND { (void)sink; chain.SetGraphEQGains(st.values.graphEQ.gains); }, false,
     LXFX_DUMP {
         const GraphEQSettings& e = st.values.graphEQ;
         const float* g = e.gains;
         Dump(sink, "Graph EQ: on %s, %f, %f, %f, %f, %f, %f, %f, %f, %f, %f,", BoolText(e.on), double(g[0]),
              double(g[1]), double(g[2]), double(g[3]), double(g[4]), double(g[5]), double(g[6]), double(g[7]),
              double(g[8]), double(g[9]));
     }},
    /* BassTreble */
    {"SetBassTrebleON: on %s", &Chain::SetBassTrebleON, LXFX_ON(bassTreble),
     LXFX_SEND {
         (void)sink;
         const BassTrebleSettings& b = st.values.bassTreble;
         chain.SetBassTrebleGains(b.bass, b.treble);
         chain.SetBassTrebleParams(b.bassFreq, b.bassQ, b.trebleFreq, b.trebleQ);
     },
     false,
     LXFX_DUMP {
         const BassTrebleSettings& b = st.values.bassTreble;
         Dump(sink,
              "Bass Treble: on %s, Bass %f, Treble %f, Bass Freq %f, Bass Q %f, Treble Freq %f, "
              "Treble Q %f",
              BoolText(b.on), double(b.bass), double(b.treble), double(b.bassFreq), double(b.bassQ),
              double(b.trebleFreq), double(b.trebleQ));
     }},
    /* ParametricEQ */
    {"SetParametricEQON: on %s", &Chain::SetParametricEQON, LXFX_ON(parametricEQ),
     LXFX_SEND {
         (void)sink;
         const ParametricEQSettings& e = st.values.parametricEQ;
         chain.SetParametricEQGain(e.gain);
         for (uint32_t i = 0; i < 9; ++i)
             chain.SetParametricEQFilter(i, &e.filters[i]);
     },
     false, &DumpParametricEQ},
    /* PostCompressor */
    {"SetPostCompressorON: on %s", &Chain::SetPostCompressorON, LXFX_ON(postCompressor),
     LXFX_SEND { (void)sink; chain.SetPostCompressorParams(&st.values.postCompressor.params); }, false,
     LXFX_DUMP {
         DumpCompressor("Post Compressor: on %s, Threshold %f, Ratio %f, Attack %f, Release %f, Range %f, "
                        "PreGain %f, PostGain %f",
                        st.values.postCompressor, sink);
     }},
    /* Vibrato */
    {"SetVibratoON: on %s", &Chain::SetVibratoON, LXFX_ON(vibrato),
     LXFX_SEND { (void)sink; chain.SetVibratoParams(st.values.vibrato.freq, st.values.vibrato.range); }, false,
     LXFX_DUMP {
         const ModulationSettings& m = st.values.vibrato;
         Dump(sink, "Vibrato: on %s, Freq %f, Range %f", BoolText(m.on), m.freq, m.range);
     }},
    /* Tremolo */
    {"SetTremoloON: on %s", &Chain::SetTremoloON, LXFX_ON(tremolo),
     LXFX_SEND { (void)sink; chain.SetTremoloParams(st.values.tremolo.freq, st.values.tremolo.range); }, false,
     LXFX_DUMP {
         const ModulationSettings& m = st.values.tremolo;
         Dump(sink, "Tremolo: on %s, Freq %f, Range %f", BoolText(m.on), m.freq, m.range);
     }},
    /* StereoEnhancer */
    {"SetStereoEnhancerON: on %s", &Chain::SetStereoEnhancerON, LXFX_ON(stereoEnhancer),
     LXFX_SEND {
         const StereoEnhancerSettings& e = st.values.stereoEnhancer;
         LogStereoEnhancerParams(e, sink);
         chain.SetStereoEnhancerParams(e.presence, e.stereoizer, e.spectrumShaper, e.ambience);
     },
     false,
     LXFX_DUMP {
         const StereoEnhancerSettings& e = st.values.stereoEnhancer;
         Dump(sink, "Stereo Enhancer: on %s, Presence %f, Stereoizer %f, SpectrumShaper %s, Ambience %d",
              BoolText(e.on), double(e.presence), double(e.stereoizer), BoolText(e.spectrumShaper), int(e.ambience));
     }},
    /* Rotate3D */
    {"SetRotate3DON: on %s", &Chain::SetRotate3DON, LXFX_ON(rotate3D),
     LXFX_SEND { (void)sink; chain.SetRotate3DParams(st.values.rotate3D.velocity); }, false,
     LXFX_DUMP {
         Dump(sink, "Rotate 3D: on %s, Velocity %f", BoolText(st.values.rotate3D.on),
              double(st.values.rotate3D.velocity));
     }},
    /* SpatialAudio */
    {"SetSpatialAudioON: on %s", &Chain::SetSpatialAudioON, LXFX_ON(spatialAudio),
     LXFX_SEND { (void)sink; chain.SetSpatialAudioParams(&st.values.spatialAudio.params); }, false,
     LXFX_DUMP {
         const SpatialAudioSettings& e = st.values.spatialAudio;
         const SpatialAudioParams& p = e.params;
         Dump(sink,
              "SpatialAudio: on %s, FL %f, FR %f, Center %f, SL %f, SR %f, RL %f, RR %f, LFE %f, "
              "Enhance %s",
              BoolText(e.on), double(p.FL), double(p.FR), double(p.Center), double(p.SL), double(p.SR),
              double(p.RL), double(p.RR), double(p.LFE), BoolText(p.Enhance));
     }},
    /* Delay */
    {"SetDelayON: on %s", &Chain::SetDelayON, LXFX_ON(delay),
     LXFX_SEND { (void)sink; chain.SetDelayParams(&st.values.delay.params); }, false,
     LXFX_DUMP {
         const DelaySettings& d = st.values.delay;
         Dump(sink, "Delay: on %s, Delay %f, Feedback %f, DryLevel %f, WetLevel %f", BoolText(d.on),
              double(d.params.Delay), double(d.params.Feedback), double(d.params.DryLevel),
              double(d.params.WetLevel));
     }},
    /* Reverb */
    {"SetReverbON: on %s", &Chain::SetReverbON, LXFX_ON(reverb), &SendReverb, false, &DumpReverb},
    /* FIR: a stored impulse goes with the switch when there is one. */
    {"SetFIRON: on %s", &Chain::SetFIRON, LXFX_ON(fir),
     LXFX_SEND {
         (void)sink;
         if (!st.firImpulse.empty())
             SendFIRImpulse(st, chain);
     },
     false,
     LXFX_DUMP {
         Dump(sink, "FIR: on %s, IR size %u", BoolText(st.values.fir.on), uint32_t(st.firImpulse.size()));
     }},
    /* Headphone */
    {"SetHeadphoneON: on %s", &Chain::SetHeadphoneON, LXFX_ON(headphone),
     LXFX_SEND {
         (void)sink;
         if (!st.headphoneImpulse.empty())
             SendHeadphoneImpulse(st, chain);
     },
     false,
     LXFX_DUMP {
         Dump(sink, "Headphone: on %s, IR size %u", BoolText(st.values.headphone.on),
              uint32_t(st.headphoneImpulse.size()));
     }},
    /* Limiter: its parameters go whether it is on or off. */
    {"SetLimiterON: on %s", &Chain::SetLimiterON, LXFX_ON(limiter),
     LXFX_SEND { (void)sink; chain.SetLimiterParams(&st.values.limiter.params); }, true,
     LXFX_DUMP {
         const LimiterEffectParams& l = st.values.limiter.params;
         Dump(sink,
              "Limiter: on %s, Threshold %f, Attack %f, Release %f, OutputGain %f, Ratio %f, "
              "InfiniteRatio %s",
              BoolText(st.values.limiter.on), double(l.Threshold), double(l.Attack), double(l.Release),
              double(l.OutputGain), double(l.Ratio), BoolText(l.InfiniteRatio));
     }},
};

#undef LXFX_ON
#undef LXFX_SEND
#undef LXFX_DUMP

const SettingsRow& Row(Slot slot)
{
    return kRows[Index(slot)];
}

}  // namespace

// An effect that is off when the chain is built gets none of its stored
// parameters; switching it on later sends only the switch. Intended.
void AudioEffectsImpl::ApplyStoredSettings()
{
    IAudioEffectsLogger* sink = logger.load(std::memory_order_acquire);
    for (Slot slot : kBuildOrder) {
        const SettingsRow& row = Row(slot);
        const bool on = row.on(stored.values);
        ForwardSwitch(row.switchLog, on, row.setOn);
        if (on || row.paramsWhenOff)
            row.sendParams(stored, *processor, sink);
    }
    ForwardSwitch("SetBypassMode: bypass %s", stored.values.bypassMode, &Chain::SetBypassMode);
}

// ---- setters: store and forward under the lock ----

void AudioEffectsImpl::SetSwitch(Slot slot, bool on)
{
    std::lock_guard<std::mutex> lock(mutex);
    const SettingsRow& row = Row(slot);
    row.on(stored.values) = on;
    ForwardSwitch(row.switchLog, on, row.setOn);
}

void AudioEffectsImpl::SetLoudnessON(bool on) { SetSwitch(Slot::Loudness, on); }
void AudioEffectsImpl::SetReverbON(bool on) { SetSwitch(Slot::Reverb, on); }
void AudioEffectsImpl::SetStereoEnhancerON(bool on) { SetSwitch(Slot::StereoEnhancer, on); }
void AudioEffectsImpl::SetRotate3DON(bool on) { SetSwitch(Slot::Rotate3D, on); }
void AudioEffectsImpl::SetSpatialAudioON(bool on) { SetSwitch(Slot::SpatialAudio, on); }
void AudioEffectsImpl::SetGraphEQON(bool on) { SetSwitch(Slot::GraphicEQ, on); }
void AudioEffectsImpl::SetBassTrebleON(bool on) { SetSwitch(Slot::BassTreble, on); }
void AudioEffectsImpl::SetCompressorON(bool on) { SetSwitch(Slot::Compressor, on); }
void AudioEffectsImpl::SetPostCompressorON(bool on) { SetSwitch(Slot::PostCompressor, on); }
void AudioEffectsImpl::SetParametricEQON(bool on) { SetSwitch(Slot::ParametricEQ, on); }
void AudioEffectsImpl::SetDelayON(bool on) { SetSwitch(Slot::Delay, on); }
void AudioEffectsImpl::SetFIRON(bool on) { SetSwitch(Slot::FIR, on); }
void AudioEffectsImpl::SetHeadphoneON(bool on) { SetSwitch(Slot::Headphone, on); }
void AudioEffectsImpl::SetVibratoON(bool on) { SetSwitch(Slot::Vibrato, on); }
void AudioEffectsImpl::SetTremoloON(bool on) { SetSwitch(Slot::Tremolo, on); }
void AudioEffectsImpl::SetLimiterON(bool on) { SetSwitch(Slot::Limiter, on); }

void AudioEffectsImpl::SetBypassMode(bool bypass)
{
    std::lock_guard<std::mutex> lock(mutex);
    stored.values.bypassMode = bypass;
    ForwardSwitch("SetBypassMode: bypass %s", bypass, &Chain::SetBypassMode);
}

void AudioEffectsImpl::SetLoudnessParams(float gain, float peak)
{
    std::lock_guard<std::mutex> lock(mutex);
    stored.values.loudness.gain = gain;
    stored.values.loudness.peak = peak;
    if (processor)
        processor->SetLoudnessParams(gain, peak);
}

void AudioEffectsImpl::SetReverbERParams(bool enable, uint32_t Pattern, float RoomSize, float SurroundDelay)
{
    std::lock_guard<std::mutex> lock(mutex);
    ReverbSettings& r = stored.values.reverb;
    r.erEnable = enable;
    r.erPattern = Pattern;
    r.erRoomSize = RoomSize;
    r.erSurroundDelay = SurroundDelay;
    if (processor)
        processor->SetReverbERParams(enable, Pattern, RoomSize, SurroundDelay);
}

void AudioEffectsImpl::SetReverbRVBParams(const ReverbParams* params)
{
    if (!params)
        return;
    std::lock_guard<std::mutex> lock(mutex);
    stored.values.reverb.body = *params;
    if (processor)
        processor->SetReverbRVBParams(&stored.values.reverb.body);
}

void AudioEffectsImpl::SetReverbTCON(bool on)
{
    std::lock_guard<std::mutex> lock(mutex);
    stored.values.reverb.tcOn = on;
    if (processor)
        processor->SetReverbTCON(on);
}

void AudioEffectsImpl::SetReverbTCFilter(uint32_t index, const ReverbFilterParams* params)
{
    if (index == 0 || index > 3 || !params)
        return;
    std::lock_guard<std::mutex> lock(mutex);
    ReverbFilterParams& filter = stored.values.reverb.tcFilters[index - 1];
    filter = *params;
    if (processor)
        processor->SetReverbTCFilter(index, &filter);
}

void AudioEffectsImpl::SetReverbInputLevel(float Center, float LFE)
{
    std::lock_guard<std::mutex> lock(mutex);
    stored.values.reverb.inputCenter = Center;
    stored.values.reverb.inputLFE = LFE;
    if (processor)
        processor->SetReverbInputLevel(Center, LFE);
}

void AudioEffectsImpl::SetReverbRVBLevel(float Front, float Rear, float Center, float LFE)
{
    std::lock_guard<std::mutex> lock(mutex);
    ReverbSettings& r = stored.values.reverb;
    r.rvbFront = Front;
    r.rvbRear = Rear;
    r.rvbCenter = Center;
    r.rvbLFE = LFE;
    if (processor)
        processor->SetReverbRVBLevel(Front, Rear, Center, LFE);
}

void AudioEffectsImpl::SetReverbOutputLevel(float Dry, float ER, float Reverb)
{
    std::lock_guard<std::mutex> lock(mutex);
    ReverbSettings& r = stored.values.reverb;
    r.outputDry = Dry;
    r.outputER = ER;
    r.outputReverb = Reverb;
    if (processor)
        processor->SetReverbOutputLevel(Dry, ER, Reverb);
}

void AudioEffectsImpl::SetStereoEnhancerParams(float presence, float stereoizer, bool spectrumShaper,
                                               uint32_t ambience)
{
    std::lock_guard<std::mutex> lock(mutex);
    stored.values.stereoEnhancer = {stored.values.stereoEnhancer.on, presence, stereoizer, spectrumShaper, ambience};
    if (processor)
        Row(Slot::StereoEnhancer).sendParams(stored, *processor, logger.load(std::memory_order_acquire));
}

void AudioEffectsImpl::SetGraphEQGains(const float* gains)
{
    if (!gains)
        return;
    std::lock_guard<std::mutex> lock(mutex);
    std::memcpy(stored.values.graphEQ.gains, gains, sizeof stored.values.graphEQ.gains);
    if (processor)
        processor->SetGraphEQGains(stored.values.graphEQ.gains);
}

void AudioEffectsImpl::SetBassTrebleGains(float Bass, float Treble)
{
    std::lock_guard<std::mutex> lock(mutex);
    stored.values.bassTreble.bass = Bass;
    stored.values.bassTreble.treble = Treble;
    if (processor)
        processor->SetBassTrebleGains(Bass, Treble);
}

void AudioEffectsImpl::SetBassTrebleParams(float bassFreq, float bassQ, float trebleFreq, float trebleQ)
{
    std::lock_guard<std::mutex> lock(mutex);
    BassTrebleSettings& b = stored.values.bassTreble;
    b.bassFreq = bassFreq;
    b.bassQ = bassQ;
    b.trebleFreq = trebleFreq;
    b.trebleQ = trebleQ;
    if (processor)
        processor->SetBassTrebleParams(bassFreq, bassQ, trebleFreq, trebleQ);
}

void AudioEffectsImpl::SetCompressorParams(const CompressorEffectParams* params)
{
    if (!params)
        return;
    std::lock_guard<std::mutex> lock(mutex);
    stored.values.compressor.params = *params;
    if (processor)
        processor->SetCompressorParams(&stored.values.compressor.params);
}

void AudioEffectsImpl::SetPostCompressorParams(const CompressorEffectParams* params)
{
    if (!params)
        return;
    std::lock_guard<std::mutex> lock(mutex);
    stored.values.postCompressor.params = *params;
    if (processor)
        processor->SetPostCompressorParams(&stored.values.postCompressor.params);
}

void AudioEffectsImpl::SetParametricEQGain(float Gain)
{
    std::lock_guard<std::mutex> lock(mutex);
    stored.values.parametricEQ.gain = Gain;
    if (processor)
        processor->SetParametricEQGain(Gain);
}

void AudioEffectsImpl::SetParametricEQFilter(uint32_t index, const ParametricEQFilterParams* params)
{
    // An index past the ninth band would write outside the table: ignored.
    if (index >= 9 || !params)
        return;
    std::lock_guard<std::mutex> lock(mutex);
    ParametricEQFilterParams& filter = stored.values.parametricEQ.filters[index];
    filter = *params;
    if (processor)
        processor->SetParametricEQFilter(index, &filter);
}

void AudioEffectsImpl::SetDelayParams(const DelayEffectParams* params)
{
    if (!params)
        return;
    std::lock_guard<std::mutex> lock(mutex);
    stored.values.delay.params = *params;
    if (processor)
        processor->SetDelayParams(&stored.values.delay.params);
}

void AudioEffectsImpl::SetVibratoParams(double Freq, double Range)
{
    std::lock_guard<std::mutex> lock(mutex);
    stored.values.vibrato.freq = Freq;
    stored.values.vibrato.range = Range;
    if (processor)
        processor->SetVibratoParams(Freq, Range);
}

void AudioEffectsImpl::SetTremoloParams(double Freq, double Range)
{
    std::lock_guard<std::mutex> lock(mutex);
    stored.values.tremolo.freq = Freq;
    stored.values.tremolo.range = Range;
    if (processor)
        processor->SetTremoloParams(Freq, Range);
}

// The image is copied before the lock is taken, and the old copy is freed
// after it is released, so a large image holds up the audio only for the
// load itself.
void AudioEffectsImpl::SetFIRImpulse(const void* data, uint64_t size)
{
    std::vector<uint8_t> image = CopyImpulse(data, size);
    std::lock_guard<std::mutex> lock(mutex);
    stored.firImpulse.swap(image);
    if (data && processor)
        SendFIRImpulse(stored, *processor);
}

void AudioEffectsImpl::SetHeadphoneImpulse(const void* data, uint64_t size)
{
    std::vector<uint8_t> image = CopyImpulse(data, size);
    std::lock_guard<std::mutex> lock(mutex);
    stored.headphoneImpulse.swap(image);
    if (data && processor)
        SendHeadphoneImpulse(stored, *processor);
}

void AudioEffectsImpl::SetLimiterParams(const LimiterEffectParams* params)
{
    if (!params)
        return;
    std::lock_guard<std::mutex> lock(mutex);
    stored.values.limiter.params = *params;
    if (processor)
        processor->SetLimiterParams(&stored.values.limiter.params);
}

void AudioEffectsImpl::SetRotate3DParams(float Velocity)
{
    std::lock_guard<std::mutex> lock(mutex);
    stored.values.rotate3D.velocity = Velocity;
    if (processor)
        processor->SetRotate3DParams(Velocity);
}

void AudioEffectsImpl::SetSpatialAudioParams(const SpatialAudioParams* params)
{
    if (!params)
        return;
    std::lock_guard<std::mutex> lock(mutex);
    stored.values.spatialAudio.params = *params;
    if (processor)
        processor->SetSpatialAudioParams(&stored.values.spatialAudio.params);
}

// ---- state dump ----

void AudioEffectsImpl::DumpState()
{
    std::lock_guard<std::mutex> lock(mutex);
    IAudioEffectsLogger* sink = logger.load(std::memory_order_acquire);
    if (!sink)
        return;
    Dump(*sink, "Processor instance: %s", processor ? "Yes" : "No");
    Dump(*sink, "Sample Format: %d, Buffer Frames: %u, Channels: %u, Samplerate: %u, Byte per Sample: %u",
         int(sampleFormat), bufferFrames, channels, sampleRate, bytesPerSample);
    Dump(*sink, "BypassMode: %s", BoolText(stored.values.bypassMode));
    for (Slot slot : kBuildOrder)
        Row(slot).dump(stored, *sink);
}

}  // namespace audiofx
