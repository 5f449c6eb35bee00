#include "frontend/LXAudioEffectsProcessorImpl.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "effects/FIRProcessor.h"
#include "effects/Rotate3DProcessor.h"
#include "effects/SpatialAudioProcessor.h"
#include "effects/TremoloProcessor.h"
#include "effects/VibratoProcessor.h"
#include "frontend/EffectDefaults.h"
#include "frontend/OvSampleConverter.h"
#include "wrappers/BassTrebleProcessor.h"
#include "wrappers/CompressorProcessor.h"
#include "wrappers/DelayProcessor.h"
#include "wrappers/GraphicEQProcessor.h"
#include "wrappers/HeadphoneProcessor.h"
#include "wrappers/LimiterProcessor.h"
#include "wrappers/LoudnessProcessor.h"
#include "wrappers/ParametricEQProcessor.h"
#include "wrappers/ReverbProcessor.h"
#include "wrappers/StereoEnhancerProcessor.h"

namespace {

constexpr std::align_val_t kBufferAlignment{16};

template <typename T>
void DestroyAndClear(T*& effect)
{
    if (effect)
        effect->Destroy();
    effect = nullptr;
}

// Makes and initialises one effect. A missing factory leaves the slot empty
// and is no failure; a null from Create or a false from Init is.
template <typename T>
bool MakeEffect(T*& slot, T* (*create)(), uint32_t maxFrames, uint32_t channels,
                uint32_t sampleRate)
{
    if (!create)
        return true;
    slot = create();
    return slot && slot->Init(maxFrames, channels, sampleRate);
}

}  // namespace

LXAudioEffectsProcessor* LXAudioEffectsProcessor::Create()
{
    return new (std::nothrow) LXAudioEffectsProcessorImpl(DefaultProcessorFactories());
}

LXAudioEffectsProcessorImpl::LXAudioEffectsProcessorImpl(const ProcessorFactories& factories_)
    : factories(factories_)
{
}

LXAudioEffectsProcessorImpl::~LXAudioEffectsProcessorImpl()
{
    std::lock_guard<std::mutex> lock(mutex);
    Release();
}

void LXAudioEffectsProcessorImpl::Destroy()
{
    delete this;
}

void LXAudioEffectsProcessorImpl::Release()
{
    DestroyAndClear(inputConverter);
    DestroyAndClear(loudness);
    DestroyAndClear(reverb);
    DestroyAndClear(stereoEnhancer);
    DestroyAndClear(rotate3D);
    DestroyAndClear(spatialAudio);
    DestroyAndClear(graphicEQ);
    DestroyAndClear(bassTreble);
    DestroyAndClear(compressor);
    DestroyAndClear(postCompressor);
    DestroyAndClear(parametricEQ);
    DestroyAndClear(delay);
    DestroyAndClear(fir);
    DestroyAndClear(headphone);
    DestroyAndClear(vibrato);
    DestroyAndClear(tremolo);
    DestroyAndClear(limiter);
    DestroyAndClear(outputConverter);
    ::operator delete[](floatBuffer, kBufferAlignment);
    floatBuffer = nullptr;
    floatBufferBytes = 0;
}

bool LXAudioEffectsProcessorImpl::CreateEffects()
{
    if (!MakeEffect(loudness, factories.loudness, maxFrames, channels, sampleRate))
        return false;
    if (loudness)
        loudness->SetParams(LoudnessInfo{0.0f, 1.0f});
    if (!MakeEffect(reverb, factories.reverb, maxFrames, channels, sampleRate))
        return false;
    if (channels == 2) {
        if (!MakeEffect(stereoEnhancer, factories.stereoEnhancer, maxFrames, channels, sampleRate) ||
            !MakeEffect(rotate3D, factories.rotate3D, maxFrames, channels, sampleRate) ||
            !MakeEffect(spatialAudio, factories.spatialAudio, maxFrames, channels, sampleRate))
            return false;
    }
    return MakeEffect(graphicEQ, factories.graphicEQ, maxFrames, channels, sampleRate) &&
           MakeEffect(bassTreble, factories.bassTreble, maxFrames, channels, sampleRate) &&
           MakeEffect(compressor, factories.compressor, maxFrames, channels, sampleRate) &&
           MakeEffect(postCompressor, factories.compressor, maxFrames, channels, sampleRate) &&
           MakeEffect(parametricEQ, factories.parametricEQ, maxFrames, channels, sampleRate) &&
           MakeEffect(delay, factories.delay, maxFrames, channels, sampleRate) &&
           MakeEffect(vibrato, factories.vibrato, maxFrames, channels, sampleRate) &&
           MakeEffect(tremolo, factories.tremolo, maxFrames, channels, sampleRate) &&
           MakeEffect(limiter, factories.limiter, maxFrames, channels, sampleRate);
}

bool LXAudioEffectsProcessorImpl::Init(AUDIO_SAMPLEFORMAT format, uint32_t maxFrames_,
                                       uint32_t channels_, uint32_t sampleRate_)
{
    bool ok = false;
    {
        std::lock_guard<std::mutex> lock(mutex);
        Release();
        sampleFormat = uint32_t(format);
        maxFrames = maxFrames_;
        channels = channels_;
        sampleRate = sampleRate_;
        // Empty blocks, no channels or no rate can run no effect.
        const uint64_t bytes = uint64_t(maxFrames) * 4u * channels;
        if (maxFrames && channels && sampleRate && bytes <= 0xffffffffu) {
            floatBufferBytes = uint32_t(bytes);
            floatBuffer = static_cast<float*>(
                ::operator new[](floatBufferBytes, kBufferAlignment, std::nothrow));
        }
        if (floatBuffer && CreateEffects()) {
            inputConverter = OvSampleConverter::Create();
            outputConverter = OvSampleConverter::Create();
            ok = inputConverter && outputConverter &&
                 inputConverter->Init(maxFrames, channels, sampleRate, format,
                                      AUDIO_SAMPLEFORMAT_PLANAR_FLOAT) &&
                 outputConverter->Init(maxFrames, channels, sampleRate,
                                       AUDIO_SAMPLEFORMAT_PLANAR_FLOAT, format);
        }
    }
    if (!ok) {
        std::lock_guard<std::mutex> lock(mutex);
        Release();
    }
    return ok;
}

void LXAudioEffectsProcessorImpl::Process(void* data, uint32_t* frames, bool* done,
                                          int32_t /*timestamp*/)
{
    if (!frames || !done)
        return;
    std::lock_guard<std::mutex> lock(mutex);
    if (!floatBuffer)
        return;
    std::memset(floatBuffer, 0, floatBufferBytes);
    if (*frames > maxFrames)
        *frames = maxFrames;
    if (inputConverter && *frames > 0)
        inputConverter->Convert(data, floatBuffer, *frames);

    AudioProcessor* const order[] = {
        loudness, compressor, graphicEQ, bassTreble, parametricEQ, postCompressor,
        vibrato,  tremolo,    stereoEnhancer, rotate3D, spatialAudio, delay,
        reverb,   fir,        headphone,  limiter,
    };
    for (AudioProcessor* effect : order) {
        if (effect) {
            effect->Process(floatBuffer, done, frames);
            if (*frames > maxFrames)  // an effect that breaks its contract must not overrun
                *frames = maxFrames;
        }
    }

    if (outputConverter && *frames != 0)
        outputConverter->Convert(floatBuffer, data, *frames);
}

void LXAudioEffectsProcessorImpl::Reset()
{
    std::lock_guard<std::mutex> lock(mutex);
    AudioProcessor* const first[] = {loudness,   reverb,    stereoEnhancer, rotate3D,
                                     spatialAudio, graphicEQ, bassTreble,     compressor,
                                     postCompressor, parametricEQ, delay};
    for (AudioProcessor* effect : first)
        if (effect)
            effect->Reset();
    // A reset drops an impulse effect that is switched off.
    if (fir) {
        if (firOn)
            fir->Reset();
        else
            DestroyAndClear(fir);
    }
    if (headphone) {
        if (headphoneOn)
            headphone->Reset();
        else
            DestroyAndClear(headphone);
    }
    AudioProcessor* const last[] = {vibrato, tremolo, limiter};
    for (AudioProcessor* effect : last)
        if (effect)
            effect->Reset();
}

void LXAudioEffectsProcessorImpl::Switch(bool& field, bool on, AudioProcessor* effect,
                                         bool followsBypassMode)
{
    std::lock_guard<std::mutex> lock(mutex);
    field = on;
    if (effect)
        effect->SetBypass(followsBypassMode ? BypassFor(on) : !on);
}

void LXAudioEffectsProcessorImpl::SetBypassMode(bool bypass)
{
    bypassMode = bypass;
    SetReverbON(reverbOn);
    SetStereoEnhancerON(stereoEnhancerOn);
    SetRotate3DON(rotate3DOn);
    SetSpatialAudioON(spatialAudioOn);
    SetGraphEQON(graphicEQOn);
    SetBassTrebleON(bassTrebleOn);
    SetCompressorON(compressorOn);
    SetPostCompressorON(postCompressorOn);
    SetParametricEQON(parametricEQOn);
    SetDelayON(delayOn);
    SetFIRON(firOn);
    SetHeadphoneON(headphoneOn);
    SetVibratoON(vibratoOn);
    SetTremoloON(tremoloOn);
    SetLimiterON(limiterOn);
}

// The effect pointer is read inside Switch's lock, so the FIR and headphone
// swaps cannot race with it.
void LXAudioEffectsProcessorImpl::SetLoudnessON(bool on)
{
    std::lock_guard<std::mutex> lock(mutex);
    loudnessOn = on;
    if (loudness)
        loudness->SetBypass(!on);
}

void LXAudioEffectsProcessorImpl::SetLoudnessParams(float gain, float peak)
{
    if (loudness)
        loudness->SetParams(LoudnessInfo{gain, peak});
}

void LXAudioEffectsProcessorImpl::SetReverbON(bool on)
{
    Switch(reverbOn, on, reverb, true);
}

void LXAudioEffectsProcessorImpl::SetReverbERParams(bool enable, uint32_t Pattern, float RoomSize,
                                                    float SurroundDelay)
{
    if (reverb)
        reverb->SetEarlyReflections(enable, Pattern, RoomSize, SurroundDelay);
}

void LXAudioEffectsProcessorImpl::SetReverbRVBParams(const ReverbParams* params)
{
    if (reverb && params)
        reverb->SetReverbBody(*params);
}

void LXAudioEffectsProcessorImpl::SetReverbTCON(bool on)
{
    if (reverb)
        reverb->SetToneCorrectionEnable(on);
}

void LXAudioEffectsProcessorImpl::SetReverbTCFilter(uint32_t index, const ReverbFilterParams* params)
{
    if (reverb && params)
        reverb->SetToneCorrectionFilter(index, *params);
}

void LXAudioEffectsProcessorImpl::SetReverbInputLevel(float Center, float LFE)
{
    if (reverb)
        reverb->SetInputLevels(Center, LFE);
}

void LXAudioEffectsProcessorImpl::SetReverbRVBLevel(float Front, float Rear, float Center, float LFE)
{
    if (reverb)
        reverb->SetReverbLevels(Front, Rear, Center, LFE);
}

void LXAudioEffectsProcessorImpl::SetReverbOutputLevel(float Dry, float ER, float Reverb)
{
    if (reverb)
        reverb->SetOutputLevels(Dry, ER, Reverb);
}

void LXAudioEffectsProcessorImpl::SetStereoEnhancerON(bool on)
{
    Switch(stereoEnhancerOn, on, stereoEnhancer, true);
}

void LXAudioEffectsProcessorImpl::SetStereoEnhancerParams(float presence, float stereoizer,
                                                          bool spectrumShaper, uint32_t ambience)
{
    if (stereoEnhancer)
        stereoEnhancer->SetParams(presence, stereoizer, spectrumShaper, ambience);
}

void LXAudioEffectsProcessorImpl::SetRotate3DON(bool on)
{
    Switch(rotate3DOn, on, rotate3D, true);
}

void LXAudioEffectsProcessorImpl::SetRotate3DParams(float Velocity)
{
    if (rotate3D)
        rotate3D->SetParams(Velocity);
}

void LXAudioEffectsProcessorImpl::SetSpatialAudioON(bool on)
{
    Switch(spatialAudioOn, on, spatialAudio, true);
}

void LXAudioEffectsProcessorImpl::SetSpatialAudioParams(const SpatialAudioParams* params)
{
    if (spatialAudio && params)
        spatialAudio->SetParams(*params);
}

void LXAudioEffectsProcessorImpl::SetGraphEQON(bool on)
{
    Switch(graphicEQOn, on, graphicEQ, true);
}

void LXAudioEffectsProcessorImpl::SetGraphEQGains(const float* gains)
{
    if (graphicEQ && gains)
        graphicEQ->SetBandGains(gains);
}

void LXAudioEffectsProcessorImpl::SetBassTrebleON(bool on)
{
    Switch(bassTrebleOn, on, bassTreble, true);
}

void LXAudioEffectsProcessorImpl::SetBassTrebleGains(float Bass, float Treble)
{
    if (bassTreble)
        bassTreble->SetGains(Bass, Treble);
}

void LXAudioEffectsProcessorImpl::SetBassTrebleParams(float bassFreq, float bassQ, float trebleFreq,
                                                      float trebleQ)
{
    if (bassTreble)
        bassTreble->SetFilters(bassFreq, bassQ, trebleFreq, trebleQ);
}

void LXAudioEffectsProcessorImpl::SetCompressorON(bool on)
{
    Switch(compressorOn, on, compressor, true);
}

void LXAudioEffectsProcessorImpl::SetCompressorParams(const CompressorEffectParams* params)
{
    if (compressor && params) {
        const CompressorEffectParams copy = *params;
        compressor->SetParams(copy);
    }
}

void LXAudioEffectsProcessorImpl::SetPostCompressorON(bool on)
{
    Switch(postCompressorOn, on, postCompressor, true);
}

void LXAudioEffectsProcessorImpl::SetPostCompressorParams(const CompressorEffectParams* params)
{
    if (postCompressor && params) {
        const CompressorEffectParams copy = *params;
        postCompressor->SetParams(copy);
    }
}

void LXAudioEffectsProcessorImpl::SetParametricEQON(bool on)
{
    Switch(parametricEQOn, on, parametricEQ, true);
}

void LXAudioEffectsProcessorImpl::SetParametricEQGain(float Gain)
{
    if (parametricEQ)
        parametricEQ->SetOutputGain(Gain);
}

void LXAudioEffectsProcessorImpl::SetParametricEQFilter(uint32_t index,
                                                        const ParametricEQFilterParams* params)
{
    if (parametricEQ && params && index < 9)
        parametricEQ->SetFilter(index, *params);
}

void LXAudioEffectsProcessorImpl::SetDelayON(bool on)
{
    Switch(delayOn, on, delay, true);
}

void LXAudioEffectsProcessorImpl::SetDelayParams(const DelayEffectParams* params)
{
    if (delay && params) {
        const DelayEffectParams copy = *params;
        delay->SetParams(copy);
    }
}

void LXAudioEffectsProcessorImpl::SetFIRON(bool on)
{
    Switch(firOn, on, fir, true);
}

void LXAudioEffectsProcessorImpl::SetFIRImpulse(const void* data, uint64_t size)
{
    if (!data)
        return;
    FIRProcessor* target = nullptr;
    {
        std::lock_guard<std::mutex> lock(mutex);
        target = fir;
        if (!target) {
            if (!factories.fir || !floatBuffer)
                return;
            target = factories.fir();
            if (!target)
                return;
            if (!target->Init(maxFrames, channels, sampleRate)) {
                target->Destroy();
                return;
            }
            target->SetBypass(BypassFor(firOn));
        }
    }
    // Parsing and resampling run outside the lock so blocks keep flowing; the
    // FIR effect guards its own impulse swap.
    const bool loaded = target->SetImpulse(data, size);
    std::lock_guard<std::mutex> lock(mutex);
    if (loaded) {
        fir = target;
        return;
    }
    // A failed reload leaves no FIR effect at all; intended.
    if (fir == target)
        fir = nullptr;
    target->Destroy();
}

void LXAudioEffectsProcessorImpl::SetHeadphoneON(bool on)
{
    Switch(headphoneOn, on, headphone, true);
}

void LXAudioEffectsProcessorImpl::PrepareHeadphoneImpulse(const void* /*data*/, void** out_pImpulse,
                                                          uint64_t* /*in_impulse_size*/,
                                                          float* in_fBypassedGain,
                                                          float* in_fActiveGain)
{
    // Until impulse images can be parsed here, the processor gets the image
    // as it came, which is also the answer for an image that fails to load.
    *out_pImpulse = nullptr;
    *in_fBypassedGain = 1.0f;
    *in_fActiveGain = 1.0f;
}

void LXAudioEffectsProcessorImpl::SetHeadphoneImpulse(const void* data, uint64_t size)
{
    if (!data || !factories.headphone)
        return;
    uint32_t frames = 0, chans = 0, rate = 0;
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (!floatBuffer)
            return;
        frames = maxFrames;
        chans = channels;
        rate = sampleRate;
    }
    HeadphoneProcessor* fresh = factories.headphone();
    if (!fresh)
        return;
    if (!fresh->Init(frames, chans, rate)) {
        fresh->Destroy();
        return;
    }
    void* converted = nullptr;
    uint64_t impulseSize = size;
    float bypassedGain = 1.0f, activeGain = 1.0f;
    PrepareHeadphoneImpulse(data, &converted, &impulseSize, &bypassedGain, &activeGain);
    const bool loaded = fresh->SetImpulse(converted ? converted : data, impulseSize, bypassedGain,
                                          activeGain);
    std::free(converted);
    if (!loaded) {
        // The previous impulse stays in use.
        fresh->Destroy();
        return;
    }
    std::lock_guard<std::mutex> lock(mutex);
    fresh->SetBypass(BypassFor(headphoneOn));
    HeadphoneProcessor* old = headphone;
    headphone = fresh;
    if (old)
        old->Destroy();
}

void LXAudioEffectsProcessorImpl::SetVibratoON(bool on)
{
    Switch(vibratoOn, on, vibrato, true);
}

void LXAudioEffectsProcessorImpl::SetVibratoParams(double Freq, double Range)
{
    if (vibrato)
        vibrato->SetParams(Freq, Range);
}

void LXAudioEffectsProcessorImpl::SetTremoloON(bool on)
{
    Switch(tremoloOn, on, tremolo, true);
}

void LXAudioEffectsProcessorImpl::SetTremoloParams(double Freq, double Range)
{
    if (tremolo)
        tremolo->SetParams(Freq, Range);
}

void LXAudioEffectsProcessorImpl::SetLimiterON(bool on)
{
    Switch(limiterOn, on, limiter, false);
}

void LXAudioEffectsProcessorImpl::SetLimiterParams(const LimiterEffectParams* params)
{
    if (limiter && params) {
        const LimiterEffectParams copy = *params;
        limiter->SetParams(copy);
    }
}

void LXAudioEffectsProcessorImpl::ResetEffects()
{
    using namespace fxdefaults;
    bypassMode = false;

    SetReverbON(false);
    SetReverbERParams(false, 0u, 0.0f, 0.0f);
    SetReverbRVBParams(&kReverbBody);
    SetReverbTCON(false);
    for (uint32_t i = 0; i < 3; ++i)
        SetReverbTCFilter(i + 1, &kReverbTCFilters[i]);
    SetReverbInputLevel(0.0f, 0.0f);
    SetReverbRVBLevel(0.0f, 0.0f, 0.0f, 0.0f);
    SetReverbOutputLevel(kReverbOutputDry, kReverbOutputER, kReverbOutputReverb);

    SetGraphEQON(false);
    const float flat[10] = {};
    SetGraphEQGains(flat);

    SetBassTrebleON(false);
    SetBassTrebleGains(0.0f, 0.0f);
    SetBassTrebleParams(kBassFreq, kBassQ, kTrebleFreq, kTrebleQ);

    SetCompressorON(false);
    SetCompressorParams(&kCompressorReset);
    SetPostCompressorON(false);
    SetPostCompressorParams(&kCompressorReset);

    SetParametricEQON(false);
    SetParametricEQGain(0.0f);
    for (uint32_t i = 0; i < 9; ++i)
        SetParametricEQFilter(i, &kParametricEQFiltersReset[i]);

    SetDelayON(false);
    SetDelayParams(&kDelayReset);

    SetStereoEnhancerON(false);
    SetStereoEnhancerParams(kStereoEnhancerPresence, kStereoEnhancerStereoizer,
                            kStereoEnhancerSpectrumShaper, kStereoEnhancerAmbience);
    SetRotate3DON(false);
    SetRotate3DParams(kRotate3DVelocity);
    SetSpatialAudioON(false);
    const SpatialAudioParams silentSpeakers = {};
    SetSpatialAudioParams(&silentSpeakers);

    SetFIRON(false);
    SetHeadphoneON(false);
    SetVibratoON(false);
    SetVibratoParams(kVibratoFreq, kVibratoRange);
    SetTremoloON(false);
    SetTremoloParams(kTremoloFreq, kTremoloRange);
    SetLimiterON(true);
}
