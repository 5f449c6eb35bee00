#include "frontend/AudioEffectsImpl.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "common/AudioFifo.h"
#include "frontend/EffectDefaults.h"
#include "frontend/LXAudioEffectsProcessorImpl.h"
#include "common/SampleFormat.h"

#define LOG_LINE(level, ...)                                     \
    do {                                                         \
        if (logger)                                              \
            logger->Log("AudioEffects", (level), __VA_ARGS__);   \
    } while (0)

namespace audiofx {

namespace {

const char* BoolText(bool value)
{
    return value ? "true" : "false";
}

// Copies an impulse image; exhausted memory leaves it empty. A null pointer
// is kept apart from an empty image, since only the latter reaches the chain.
void StoreImpulse(std::vector<uint8_t>& target, const void* data, uint64_t size)
{
    try {
        if (data && size > 0) {
            const uint8_t* bytes = static_cast<const uint8_t*>(data);
            target.assign(bytes, bytes + size);
        } else {
            target.clear();
        }
    } catch (...) {
        target.clear();
        target.shrink_to_fit();
    }
}

}  // namespace

AudioEffects* AudioEffects::Create()
{
    return new (std::nothrow) AudioEffectsImpl();
}

AudioEffectsImpl::AudioEffectsImpl() : AudioEffectsImpl(DefaultProcessorFactories()) {}

AudioEffectsImpl::AudioEffectsImpl(const ProcessorFactories& factories_) : factories(factories_)
{
    SetDefaultSettings();
    loudnessOn = false;
    loudnessGain = 0.0f;
    loudnessPeak = 1.0f;
    limiterParams = fxdefaults::kLimiter;
}

AudioEffectsImpl::~AudioEffectsImpl()
{
    std::lock_guard<std::mutex> lock(mutex);
    LOG_LINE(0, "AudioEffectsImpl::~AudioEffectsImpl invoked.");
    ReleaseSteps();
}

void AudioEffectsImpl::Destroy()
{
    delete this;
}

void AudioEffectsImpl::SetLogger(IAudioEffectsLogger* logger_)
{
    logger = logger_;
}

// Everything but the loudness fields and limiter parameters, which only the
// constructor sets.
void AudioEffectsImpl::SetDefaultSettings()
{
    using namespace fxdefaults;
    bypassMode = false;
    reverbOn = false;
    erEnable = false;
    erPattern = 0;
    erRoomSize = 0.0f;
    erSurroundDelay = 0.0f;
    reverbParams = kReverbBody;
    reverbTCOn = false;
    for (int i = 0; i < 3; ++i)
        reverbTCFilters[i] = kReverbTCFilters[i];
    reverbInputCenter = reverbInputLFE = 0.0f;
    reverbRVBFront = reverbRVBRear = reverbRVBCenter = reverbRVBLFE = 0.0f;
    reverbOutputDry = kReverbOutputDry;
    reverbOutputER = kReverbOutputER;
    reverbOutputReverb = kReverbOutputReverb;
    stereoEnhancerOn = false;
    stereoEnhancerPresence = kStereoEnhancerPresence;
    stereoEnhancerStereoizer = kStereoEnhancerStereoizer;
    stereoEnhancerSpectrumShaper = kStereoEnhancerSpectrumShaper;
    stereoEnhancerAmbience = kStereoEnhancerAmbience;
    rotate3DOn = false;
    rotate3DVelocity = kRotate3DVelocity;
    spatialAudioOn = false;
    spatialAudioParams = SpatialAudioParams{};
    graphEQOn = false;
    for (float& gain : graphEQGains)
        gain = 0.0f;
    bassTrebleOn = false;
    bass = treble = 0.0f;
    bassFreq = kBassFreq;
    bassQ = kBassQ;
    trebleFreq = kTrebleFreq;
    trebleQ = kTrebleQ;
    compressorOn = false;
    compressorParams = kCompressor;
    postCompressorOn = false;
    postCompressorParams = kCompressor;
    parametricEQOn = false;
    parametricEQGain = 0.0f;
    for (ParametricEQFilterParams& filter : parametricEQFilters)
        filter = kParametricEQFilter;
    delayOn = false;
    delayParams = kDelay;
    firOn = false;
    firImpulse.clear();
    firImpulse.shrink_to_fit();
    headphoneOn = false;
    headphoneImpulse.clear();
    headphoneImpulse.shrink_to_fit();
    vibratoOn = false;
    vibratoFreq = kVibratoFreq;
    vibratoRange = kVibratoRange;
    tremoloOn = false;
    tremoloFreq = kTremoloFreq;
    tremoloRange = kTremoloRange;
    limiterOn = true;
}

void AudioEffectsImpl::ResetSteps()
{
    if (processor)
        processor->Reset();
    endOfStream = false;
    timestamp = -1;
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
        LOG_LINE(2, "Reset audio effect instance done.");
        return true;
    }

    endOfStream = false;
    ReleaseSteps();

    LXAudioEffectsProcessor* chain = new (std::nothrow) LXAudioEffectsProcessorImpl(factories);
    if (!chain) {
        LOG_LINE(0, "Create audio effect instance failed.");
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
    LOG_LINE(2, "Create new AudioEffects instance: %d, %u, %u, %u", int(m), sampleRate_, channels_,
             bufferFrames);

    if (!chain->Init(m, bufferFrames, channels_, sampleRate_)) {
        chain->Destroy();
        LOG_LINE(0, "Initialize audio effect instance failed.");
        return Fail();
    }
    processor = chain;
    sampleFormat = int32_t(format);
    channels = channels_;
    sampleRate = sampleRate_;

    inFifo = new (std::nothrow) AudioFifo(int32_t(bytesPerSample), int32_t(channels), 0,
                                          int32_t(bufferFrames));
    if (!inFifo) {
        LOG_LINE(0, "Create in audio fifo failed.");
        return Fail();
    }
    outFifo = new (std::nothrow) AudioFifo(int32_t(bytesPerSample), int32_t(channels), 0,
                                           int32_t(bufferFrames));
    if (!outFifo) {
        LOG_LINE(0, "Create out audio fifo failed.");
        return Fail();
    }
    outBuffer = static_cast<uint8_t*>(
        std::malloc(size_t(bytesPerSample) * channels * bufferFrames));
    if (!outBuffer) {
        LOG_LINE(0, "Create out audio buffer failed.");
        return Fail();
    }

    ApplyStoredSettings();
    ResetSteps();
    LOG_LINE(3, "Initialize audio effect instance done.");
    return true;
}

void AudioEffectsImpl::Push(const void* data, uint32_t bytes, int32_t timestamp_)
{
    std::lock_guard<std::mutex> lock(mutex);
    if (!processor || !inFifo || endOfStream)
        return;
    if (!data || bytes == 0) {
        LOG_LINE(2, "No more data to push.");
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
        std::memset(outBuffer, 0, size_t(frameBytes) * bufferFrames);
        uint32_t validSampleCount = 0;
        if (inFifo->Size() > 0) {
            void* planes[1] = {outBuffer};
            const int32_t got = inFifo->Read(planes, int32_t(bufferFrames));
            if (got > 0)
                validSampleCount = uint32_t(got);
        }
        bool done = endOfStream;
        if (done || validSampleCount > 0) {
            const uint32_t given = validSampleCount;
            processor->Process(outBuffer, &validSampleCount, &done, timestamp < 0 ? 0 : timestamp);
            if (given != 0 && timestamp > 0) {
                // A position of exactly 0 stays 0; intended.
                const double next = double(timestamp) + double(given) / sampleRate * 1000.0;
                timestamp = next < 2147483647.0 ? int32_t(next) : 2147483647;
            }
            if (validSampleCount > 0) {
                const void* planes[1] = {outBuffer};
                outFifo->Write(planes, int32_t(validSampleCount));
            }
        }
        if (done)
            break;
    }
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
    SetDefaultSettings();
}

// ---- forwarding (mutex held) ----

void AudioEffectsImpl::ForwardSwitch(const char* format, bool on,
                                     void (LXAudioEffectsProcessor::*op)(bool))
{
    if (!processor)
        return;
    LOG_LINE(3, format, BoolText(on));
    (processor->*op)(on);
}

void AudioEffectsImpl::ForwardBypassMode()
{
    ForwardSwitch("SetBypassMode: bypass %s", bypassMode, &LXAudioEffectsProcessor::SetBypassMode);
}

void AudioEffectsImpl::ForwardLoudnessParams()
{
    if (processor)
        processor->SetLoudnessParams(loudnessGain, loudnessPeak);
}

void AudioEffectsImpl::ForwardReverbParams()
{
    if (!processor)
        return;
    processor->SetReverbERParams(erEnable, erPattern, erRoomSize, erSurroundDelay);
    processor->SetReverbRVBParams(&reverbParams);
    processor->SetReverbTCON(reverbTCOn);
    for (uint32_t i = 0; i < 3; ++i)
        processor->SetReverbTCFilter(i + 1, &reverbTCFilters[i]);
    processor->SetReverbInputLevel(reverbInputCenter, reverbInputLFE);
    processor->SetReverbRVBLevel(reverbRVBFront, reverbRVBRear, reverbRVBCenter, reverbRVBLFE);
    processor->SetReverbOutputLevel(reverbOutputDry, reverbOutputER, reverbOutputReverb);
}

void AudioEffectsImpl::ForwardStereoEnhancerParams()
{
    if (!processor)
        return;
    LOG_LINE(3, "SetStereoEnhancerParams: presence %f, stereoizer %f, spectrumShaper %s, ambience %d",
             double(stereoEnhancerPresence), double(stereoEnhancerStereoizer),
             BoolText(stereoEnhancerSpectrumShaper), int(stereoEnhancerAmbience));
    processor->SetStereoEnhancerParams(stereoEnhancerPresence, stereoEnhancerStereoizer,
                                       stereoEnhancerSpectrumShaper, stereoEnhancerAmbience);
}

void AudioEffectsImpl::ForwardRotate3DParams()
{
    if (processor)
        processor->SetRotate3DParams(rotate3DVelocity);
}

void AudioEffectsImpl::ForwardSpatialAudioParams()
{
    if (processor)
        processor->SetSpatialAudioParams(&spatialAudioParams);
}

void AudioEffectsImpl::ForwardGraphEQGains()
{
    if (processor)
        processor->SetGraphEQGains(graphEQGains);
}

void AudioEffectsImpl::ForwardBassTreble()
{
    if (!processor)
        return;
    processor->SetBassTrebleGains(bass, treble);
    processor->SetBassTrebleParams(bassFreq, bassQ, trebleFreq, trebleQ);
}

void AudioEffectsImpl::ForwardCompressorParams()
{
    if (processor)
        processor->SetCompressorParams(&compressorParams);
}

void AudioEffectsImpl::ForwardPostCompressorParams()
{
    if (processor)
        processor->SetPostCompressorParams(&postCompressorParams);
}

void AudioEffectsImpl::ForwardParametricEQ()
{
    if (!processor)
        return;
    processor->SetParametricEQGain(parametricEQGain);
    for (uint32_t i = 0; i < 9; ++i)
        processor->SetParametricEQFilter(i, &parametricEQFilters[i]);
}

void AudioEffectsImpl::ForwardDelayParams()
{
    if (processor)
        processor->SetDelayParams(&delayParams);
}

// An empty image still reaches the chain, where its load fails and removes
// the effect.
void AudioEffectsImpl::ForwardFIRImpulse()
{
    static const uint8_t kEmpty = 0;
    if (processor)
        processor->SetFIRImpulse(firImpulse.empty() ? &kEmpty : firImpulse.data(),
                                 firImpulse.size());
}

void AudioEffectsImpl::ForwardHeadphoneImpulse()
{
    static const uint8_t kEmpty = 0;
    if (processor)
        processor->SetHeadphoneImpulse(
            headphoneImpulse.empty() ? &kEmpty : headphoneImpulse.data(), headphoneImpulse.size());
}

void AudioEffectsImpl::ForwardVibratoParams()
{
    if (processor)
        processor->SetVibratoParams(vibratoFreq, vibratoRange);
}

void AudioEffectsImpl::ForwardTremoloParams()
{
    if (processor)
        processor->SetTremoloParams(tremoloFreq, tremoloRange);
}

void AudioEffectsImpl::ForwardLimiterParams()
{
    if (processor)
        processor->SetLimiterParams(&limiterParams);
}

// An effect that is off when the chain is built gets none of its stored
// parameters; switching it on later sends only the switch. Intended.
void AudioEffectsImpl::ApplyStoredSettings()
{
    using P = LXAudioEffectsProcessor;
    ForwardSwitch("SetLoudnessON: on %s", loudnessOn, &P::SetLoudnessON);
    if (loudnessOn)
        ForwardLoudnessParams();
    ForwardSwitch("SetReverbON: on %s", reverbOn, &P::SetReverbON);
    if (reverbOn)
        ForwardReverbParams();
    ForwardSwitch("SetStereoEnhancerON: on %s", stereoEnhancerOn, &P::SetStereoEnhancerON);
    if (stereoEnhancerOn)
        ForwardStereoEnhancerParams();
    ForwardSwitch("SetRotate3DON: on %s", rotate3DOn, &P::SetRotate3DON);
    if (rotate3DOn)
        ForwardRotate3DParams();
    ForwardSwitch("SetSpatialAudioON: on %s", spatialAudioOn, &P::SetSpatialAudioON);
    if (spatialAudioOn)
        ForwardSpatialAudioParams();
    ForwardSwitch("SetGraphEQON: on %s", graphEQOn, &P::SetGraphEQON);
    if (graphEQOn)
        ForwardGraphEQGains();
    ForwardSwitch("SetBassTrebleON: on %s", bassTrebleOn, &P::SetBassTrebleON);
    if (bassTrebleOn)
        ForwardBassTreble();
    ForwardSwitch("SetCompressorON: on %s", compressorOn, &P::SetCompressorON);
    if (compressorOn)
        ForwardCompressorParams();
    ForwardSwitch("SetPostCompressorON: on %s", postCompressorOn, &P::SetPostCompressorON);
    if (postCompressorOn)
        ForwardPostCompressorParams();
    ForwardSwitch("SetParametricEQON: on %s", parametricEQOn, &P::SetParametricEQON);
    if (parametricEQOn)
        ForwardParametricEQ();
    ForwardSwitch("SetDelayON: on %s", delayOn, &P::SetDelayON);
    if (delayOn)
        ForwardDelayParams();
    ForwardSwitch("SetFIRON: on %s", firOn, &P::SetFIRON);
    if (firOn && !firImpulse.empty())
        ForwardFIRImpulse();
    ForwardSwitch("SetHeadphoneON: on %s", headphoneOn, &P::SetHeadphoneON);
    if (headphoneOn && !headphoneImpulse.empty())
        ForwardHeadphoneImpulse();
    ForwardSwitch("SetVibratoON: on %s", vibratoOn, &P::SetVibratoON);
    if (vibratoOn)
        ForwardVibratoParams();
    ForwardSwitch("SetTremoloON: on %s", tremoloOn, &P::SetTremoloON);
    if (tremoloOn)
        ForwardTremoloParams();
    ForwardSwitch("SetLimiterON: on %s", limiterOn, &P::SetLimiterON);
    ForwardLimiterParams();
    ForwardBypassMode();
}

// ---- setters: store, then forward under the lock ----

#define SETTER_BODY(forward)                         \
    do {                                             \
        std::lock_guard<std::mutex> lock(mutex);     \
        forward;                                     \
    } while (0)

#define SWITCH_SETTER(Name, field)                                                   \
    void AudioEffectsImpl::Name(bool on)                                             \
    {                                                                                \
        field = on;                                                                  \
        SETTER_BODY(ForwardSwitch(#Name ": on %s", on, &LXAudioEffectsProcessor::Name)); \
    }

SWITCH_SETTER(SetLoudnessON, loudnessOn)
SWITCH_SETTER(SetReverbON, reverbOn)
SWITCH_SETTER(SetStereoEnhancerON, stereoEnhancerOn)
SWITCH_SETTER(SetRotate3DON, rotate3DOn)
SWITCH_SETTER(SetSpatialAudioON, spatialAudioOn)
SWITCH_SETTER(SetGraphEQON, graphEQOn)
SWITCH_SETTER(SetBassTrebleON, bassTrebleOn)
SWITCH_SETTER(SetCompressorON, compressorOn)
SWITCH_SETTER(SetPostCompressorON, postCompressorOn)
SWITCH_SETTER(SetParametricEQON, parametricEQOn)
SWITCH_SETTER(SetDelayON, delayOn)
SWITCH_SETTER(SetFIRON, firOn)
SWITCH_SETTER(SetHeadphoneON, headphoneOn)
SWITCH_SETTER(SetVibratoON, vibratoOn)
SWITCH_SETTER(SetTremoloON, tremoloOn)
SWITCH_SETTER(SetLimiterON, limiterOn)

void AudioEffectsImpl::SetBypassMode(bool bypass)
{
    bypassMode = bypass;
    SETTER_BODY(ForwardBypassMode());
}

void AudioEffectsImpl::SetLoudnessParams(float gain, float peak)
{
    loudnessGain = gain;
    loudnessPeak = peak;
    SETTER_BODY(ForwardLoudnessParams());
}

void AudioEffectsImpl::SetReverbERParams(bool enable, uint32_t Pattern, float RoomSize,
                                         float SurroundDelay)
{
    erEnable = enable;
    erPattern = Pattern;
    erRoomSize = RoomSize;
    erSurroundDelay = SurroundDelay;
    SETTER_BODY(if (processor) processor->SetReverbERParams(enable, Pattern, RoomSize, SurroundDelay));
}

void AudioEffectsImpl::SetReverbRVBParams(const ReverbParams* params)
{
    if (!params)
        return;
    reverbParams = *params;
    SETTER_BODY(if (processor) processor->SetReverbRVBParams(&reverbParams));
}

void AudioEffectsImpl::SetReverbTCON(bool on)
{
    reverbTCOn = on;
    SETTER_BODY(if (processor) processor->SetReverbTCON(on));
}

void AudioEffectsImpl::SetReverbTCFilter(uint32_t index, const ReverbFilterParams* params)
{
    if (index == 0 || index > 3 || !params)
        return;
    reverbTCFilters[index - 1] = *params;
    SETTER_BODY(if (processor) processor->SetReverbTCFilter(index, &reverbTCFilters[index - 1]));
}

void AudioEffectsImpl::SetReverbInputLevel(float Center, float LFE)
{
    reverbInputCenter = Center;
    reverbInputLFE = LFE;
    SETTER_BODY(if (processor) processor->SetReverbInputLevel(Center, LFE));
}

void AudioEffectsImpl::SetReverbRVBLevel(float Front, float Rear, float Center, float LFE)
{
    reverbRVBFront = Front;
    reverbRVBRear = Rear;
    reverbRVBCenter = Center;
    reverbRVBLFE = LFE;
    SETTER_BODY(if (processor) processor->SetReverbRVBLevel(Front, Rear, Center, LFE));
}

void AudioEffectsImpl::SetReverbOutputLevel(float Dry, float ER, float Reverb)
{
    reverbOutputDry = Dry;
    reverbOutputER = ER;
    reverbOutputReverb = Reverb;
    SETTER_BODY(if (processor) processor->SetReverbOutputLevel(Dry, ER, Reverb));
}

void AudioEffectsImpl::SetStereoEnhancerParams(float presence, float stereoizer,
                                               bool spectrumShaper, uint32_t ambience)
{
    stereoEnhancerPresence = presence;
    stereoEnhancerStereoizer = stereoizer;
    stereoEnhancerSpectrumShaper = spectrumShaper;
    stereoEnhancerAmbience = ambience;
    SETTER_BODY(ForwardStereoEnhancerParams());
}

void AudioEffectsImpl::SetGraphEQGains(const float* gains)
{
    if (!gains)
        return;
    std::memcpy(graphEQGains, gains, sizeof graphEQGains);
    SETTER_BODY(ForwardGraphEQGains());
}

void AudioEffectsImpl::SetBassTrebleGains(float Bass, float Treble)
{
    bass = Bass;
    treble = Treble;
    SETTER_BODY(if (processor) processor->SetBassTrebleGains(Bass, Treble));
}

void AudioEffectsImpl::SetBassTrebleParams(float bassFreq_, float bassQ_, float trebleFreq_,
                                           float trebleQ_)
{
    bassFreq = bassFreq_;
    bassQ = bassQ_;
    trebleFreq = trebleFreq_;
    trebleQ = trebleQ_;
    SETTER_BODY(if (processor) processor->SetBassTrebleParams(bassFreq_, bassQ_, trebleFreq_, trebleQ_));
}

void AudioEffectsImpl::SetCompressorParams(const CompressorEffectParams* params)
{
    if (!params)
        return;
    compressorParams = *params;
    SETTER_BODY(ForwardCompressorParams());
}

void AudioEffectsImpl::SetPostCompressorParams(const CompressorEffectParams* params)
{
    if (!params)
        return;
    postCompressorParams = *params;
    SETTER_BODY(ForwardPostCompressorParams());
}

void AudioEffectsImpl::SetParametricEQGain(float Gain)
{
    parametricEQGain = Gain;
    SETTER_BODY(if (processor) processor->SetParametricEQGain(Gain));
}

void AudioEffectsImpl::SetParametricEQFilter(uint32_t index, const ParametricEQFilterParams* params)
{
    // An index past the ninth band would write outside the table: ignored.
    if (index >= 9 || !params)
        return;
    parametricEQFilters[index] = *params;
    SETTER_BODY(if (processor) processor->SetParametricEQFilter(index, &parametricEQFilters[index]));
}

void AudioEffectsImpl::SetDelayParams(const DelayEffectParams* params)
{
    if (!params)
        return;
    delayParams = *params;
    SETTER_BODY(ForwardDelayParams());
}

void AudioEffectsImpl::SetVibratoParams(double Freq, double Range)
{
    vibratoFreq = Freq;
    vibratoRange = Range;
    SETTER_BODY(ForwardVibratoParams());
}

void AudioEffectsImpl::SetTremoloParams(double Freq, double Range)
{
    tremoloFreq = Freq;
    tremoloRange = Range;
    SETTER_BODY(ForwardTremoloParams());
}

void AudioEffectsImpl::SetFIRImpulse(const void* data, uint64_t size)
{
    StoreImpulse(firImpulse, data, size);
    SETTER_BODY(if (data) ForwardFIRImpulse());
}

void AudioEffectsImpl::SetHeadphoneImpulse(const void* data, uint64_t size)
{
    StoreImpulse(headphoneImpulse, data, size);
    SETTER_BODY(if (data) ForwardHeadphoneImpulse());
}

void AudioEffectsImpl::SetLimiterParams(const LimiterEffectParams* params)
{
    if (!params)
        return;
    limiterParams = *params;
    SETTER_BODY(ForwardLimiterParams());
}

void AudioEffectsImpl::SetRotate3DParams(float Velocity)
{
    rotate3DVelocity = Velocity;
    SETTER_BODY(ForwardRotate3DParams());
}

void AudioEffectsImpl::SetSpatialAudioParams(const SpatialAudioParams* params)
{
    if (!params)
        return;
    spatialAudioParams = *params;
    SETTER_BODY(ForwardSpatialAudioParams());
}

// ---- state dump ----

void AudioEffectsImpl::DumpState()
{
    std::lock_guard<std::mutex> lock(mutex);
    if (!logger)
        return;
    LOG_LINE(2, "Processor instance: %s", processor ? "Yes" : "No");
    LOG_LINE(2, "Sample Format: %d, Buffer Frames: %u, Channels: %u, Samplerate: %u, Byte per Sample: %u",
             int(sampleFormat), bufferFrames, channels, sampleRate, bytesPerSample);
    LOG_LINE(2, "BypassMode: %s", BoolText(bypassMode));
    LOG_LINE(2, "Loudness: on %s, gain %f, peak %f", BoolText(loudnessOn), double(loudnessGain),
             double(loudnessPeak));
    LOG_LINE(2, "Reverb: on %s", BoolText(reverbOn));
    LOG_LINE(2, "Reverb ER: enable %s, Pattern %d, RoomSize %f, SurroundDelay %f", BoolText(erEnable),
             int(erPattern), double(erRoomSize), double(erSurroundDelay));
    const ReverbParams& r = reverbParams;
    LOG_LINE(2,
             "Reverb RVB: PreDelay %f, DecayTime %f, HFDamping %f, Density %f, RoomShape %f, "
             "Quality %u, Diffusion %f, StereoWidth %f",
             double(r.PreDelay), double(r.DecayTime), double(r.HFDamping), double(r.Density),
             double(r.RoomShape), r.Quality, double(r.Diffusion), double(r.StereoWidth));
    LOG_LINE(2, "Reverb TC: enable %s", BoolText(reverbTCOn));
    for (int i = 0; i < 3; ++i) {
        const ReverbFilterParams& f = reverbTCFilters[i];
        LOG_LINE(2, "Reverb TC Filter %d: InsertType %u, CurveType %u, Gain %f, Freq %f, Q %f", i + 1,
                 f.InsertType, f.CurveType, double(f.Gain), double(f.Freq), double(f.Q));
    }
    LOG_LINE(2, "Reverb Input Level: Center %f, LFE %f", double(reverbInputCenter),
             double(reverbInputLFE));
    LOG_LINE(2, "Reverb RVB Level: Front %f, Rear %f, Center %f, LFE %f", double(reverbRVBFront),
             double(reverbRVBRear), double(reverbRVBCenter), double(reverbRVBLFE));
    LOG_LINE(2, "Reverb Output Level: Dry %f, ER %f, Reverb %f", double(reverbOutputDry),
             double(reverbOutputER), double(reverbOutputReverb));
    LOG_LINE(2, "Stereo Enhancer: on %s, Presence %f, Stereoizer %f, SpectrumShaper %s, Ambience %d",
             BoolText(stereoEnhancerOn), double(stereoEnhancerPresence),
             double(stereoEnhancerStereoizer), BoolText(stereoEnhancerSpectrumShaper),
             int(stereoEnhancerAmbience));
    LOG_LINE(2, "Rotate 3D: on %s, Velocity %f", BoolText(rotate3DOn), double(rotate3DVelocity));
    const SpatialAudioParams& s = spatialAudioParams;
    LOG_LINE(2,
             "SpatialAudio: on %s, FL %f, FR %f, Center %f, SL %f, SR %f, RL %f, RR %f, LFE %f, "
             "Enhance %s",
             BoolText(spatialAudioOn), double(s.FL), double(s.FR), double(s.Center), double(s.SL),
             double(s.SR), double(s.RL), double(s.RR), double(s.LFE), BoolText(s.Enhance));
    const float* g = graphEQGains;
    LOG_LINE(2, "Graph EQ: on %s, %f, %f, %f, %f, %f, %f, %f, %f, %f, %f,", BoolText(graphEQOn),
             double(g[0]), double(g[1]), double(g[2]), double(g[3]), double(g[4]), double(g[5]),
             double(g[6]), double(g[7]), double(g[8]), double(g[9]));
    LOG_LINE(2,
             "Bass Treble: on %s, Bass %f, Treble %f, Bass Freq %f, Bass Q %f, Treble Freq %f, "
             "Treble Q %f",
             BoolText(bassTrebleOn), double(bass), double(treble), double(bassFreq), double(bassQ),
             double(trebleFreq), double(trebleQ));
    const CompressorEffectParams& c = compressorParams;
    LOG_LINE(2,
             "Compressor: on %s, Threshold %f, Ratio %f, Attack %f, Release %f, Range %f, "
             "PreGain %f, PostGain %f",
             BoolText(compressorOn), double(c.Threshold), double(c.Ratio), double(c.Attack),
             double(c.Release), double(c.Range), double(c.PreGain), double(c.PostGain));
    const CompressorEffectParams& pc = postCompressorParams;
    LOG_LINE(2,
             "Post Compressor: on %s, Threshold %f, Ratio %f, Attack %f, Release %f, Range %f, "
             "PreGain %f, PostGain %f",
             BoolText(postCompressorOn), double(pc.Threshold), double(pc.Ratio), double(pc.Attack),
             double(pc.Release), double(pc.Range), double(pc.PreGain), double(pc.PostGain));
    LOG_LINE(2, "Parametric EQ: on %s, Gain %f", BoolText(parametricEQOn), double(parametricEQGain));
    for (uint32_t i = 0; i < 9; ++i) {
        const ParametricEQFilterParams& f = parametricEQFilters[i];
        LOG_LINE(2, "Parametric EQ Filter %u: on %s, FilterType %u, Gain %f, Freq %f, Q %f", i + 1,
                 BoolText(f.on), f.FilterType, double(f.Gain), double(f.Freq), double(f.Q));
    }
    const DelayEffectParams& d = delayParams;
    LOG_LINE(2, "Delay: on %s, Delay %f, Feedback %f, DryLevel %f, WetLevel %f", BoolText(delayOn),
             double(d.Delay), double(d.Feedback), double(d.DryLevel), double(d.WetLevel));
    LOG_LINE(2, "FIR: on %s, IR size %u", BoolText(firOn), uint32_t(firImpulse.size()));
    LOG_LINE(2, "Headphone: on %s, IR size %u", BoolText(headphoneOn),
             uint32_t(headphoneImpulse.size()));
    LOG_LINE(2, "Vibrato: on %s, Freq %f, Range %f", BoolText(vibratoOn), vibratoFreq, vibratoRange);
    LOG_LINE(2, "Tremolo: on %s, Freq %f, Range %f", BoolText(tremoloOn), tremoloFreq, tremoloRange);
    const LimiterEffectParams& l = limiterParams;
    LOG_LINE(2,
             "Limiter: on %s, Threshold %f, Attack %f, Release %f, OutputGain %f, Ratio %f, "
             "InfiniteRatio %s",
             BoolText(limiterOn), double(l.Threshold), double(l.Attack), double(l.Release),
             double(l.OutputGain), double(l.Ratio), BoolText(l.InfiniteRatio));
}

}  // namespace audiofx
