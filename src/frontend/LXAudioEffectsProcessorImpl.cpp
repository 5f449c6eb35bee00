#include "frontend/LXAudioEffectsProcessorImpl.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "common/HeadphoneImpulse.h"
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

}  // namespace

LXAudioEffectsProcessor* LXAudioEffectsProcessor::Create()
{
    return new (std::nothrow) LXAudioEffectsProcessorImpl(DefaultProcessorFactories());
}

LXAudioEffectsProcessorImpl::LXAudioEffectsProcessorImpl(const ProcessorFactories& factories_)
    : factories(factories_)
{
    switches[Index(Slot::Limiter)] = true;
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
    for (Slot slot : kBuildOrder)
        Drop(slot);
    ++firLoadEpoch;
    DestroyAndClear(outputConverter);
    ::operator delete[](floatBuffer, kBufferAlignment);
    floatBuffer = nullptr;
    floatBufferBytes = 0;
}

void LXAudioEffectsProcessorImpl::Drop(Slot slot)
{
    AudioProcessor*& effect = effects[Index(slot)];
    if (effect && effect == firLoading) {
        ++firLoadEpoch;
        effect = nullptr;
        return;
    }
    DestroyAndClear(effect);
}

// Makes and initialises one effect; null when the build has none, when
// memory ran out or when its Init failed.
AudioProcessor* LXAudioEffectsProcessorImpl::Make(Slot slot) const
{
    const ProcessorFactories::Factory create = factories.create[Index(slot)];
    AudioProcessor* effect = create ? create() : nullptr;
    if (effect && !effect->Init(maxFrames, channels, sampleRate)) {
        effect->Destroy();
        effect = nullptr;
    }
    return effect;
}

// A missing factory leaves the slot empty and is no failure; a null from
// Create or a false from Init is.
bool LXAudioEffectsProcessorImpl::CreateEffects()
{
    for (Slot slot : kBuildOrder) {
        if (Info(slot).madeByImpulse || (Info(slot).stereoOnly && channels != 2))
            continue;
        if (!factories.create[Index(slot)])
            continue;
        effects[Index(slot)] = Make(slot);
        if (!effects[Index(slot)])
            return false;
        if (slot == Slot::Loudness)
            Get<Slot::Loudness>()->SetParams(LoudnessInfo{0.0f, 1.0f});
    }
    return true;
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
    if (*frames > maxFrames)
        *frames = maxFrames;
    // Nothing to run, and the way through float and back gives every sample
    // back as it came: the block is already its own output.
    if (PassesThroughLocked())
        return;
    // The block enters with zeros beyond *frames; what the converter writes
    // needs no clearing first.
    if (inputConverter && data && *frames > 0 && inputConverter->FillsPlanes()) {
        for (uint32_t c = 0; c < channels; ++c)
            std::memset(floatBuffer + size_t(c) * maxFrames + *frames, 0,
                        size_t(maxFrames - *frames) * sizeof(float));
        inputConverter->Convert(data, floatBuffer, *frames);
    } else {
        std::memset(floatBuffer, 0, floatBufferBytes);
        if (inputConverter && *frames > 0)
            inputConverter->Convert(data, floatBuffer, *frames);
    }

    for (Slot slot : kProcessOrder) {
        if (AudioProcessor* effect = effects[Index(slot)]) {
            effect->Process(floatBuffer, done, frames);
            if (*frames > maxFrames)  // an effect that breaks its contract must not overrun
                *frames = maxFrames;
        }
    }

    if (outputConverter && *frames != 0)
        outputConverter->Convert(floatBuffer, data, *frames);
}

bool LXAudioEffectsProcessorImpl::PassesThroughLocked() const
{
    if (!floatBuffer)
        return false;
    for (const AudioProcessor* effect : effects)
        if (effect)
            return false;
    // 8-bit and 16-bit samples are exact in float and come back unchanged;
    // planar float is not converted at all. 32-bit rounds, float and double
    // lose NaN and infinity, double its precision.
    return sampleFormat == AUDIO_SAMPLEFORMAT_U8 || sampleFormat == AUDIO_SAMPLEFORMAT_S16 ||
           sampleFormat == AUDIO_SAMPLEFORMAT_PLANAR_FLOAT;
}

bool LXAudioEffectsProcessorImpl::PassesThrough()
{
    std::lock_guard<std::mutex> lock(mutex);
    return PassesThroughLocked();
}

void LXAudioEffectsProcessorImpl::Reset()
{
    std::lock_guard<std::mutex> lock(mutex);
    for (Slot slot : kBuildOrder) {
        AudioProcessor*& effect = effects[Index(slot)];
        if (!effect)
            continue;
        // A reset drops an impulse effect that is switched off.
        if (Info(slot).madeByImpulse && !switches[Index(slot)])
            Drop(slot);
        else
            effect->Reset();
    }
}

// The effect pointer is read inside the lock, so the FIR and headphone swaps
// cannot race with it.
void LXAudioEffectsProcessorImpl::Switch(Slot slot, bool on)
{
    std::lock_guard<std::mutex> lock(mutex);
    switches[Index(slot)] = on;
    if (AudioProcessor* effect = effects[Index(slot)])
        effect->SetBypass(BypassFor(slot, on));
}

void LXAudioEffectsProcessorImpl::SetBypassMode(bool bypass)
{
    bool stored[kSlotCount];
    {
        std::lock_guard<std::mutex> lock(mutex);
        bypassMode = bypass;
        std::copy(std::begin(switches), std::end(switches), stored);
    }
    // Each switch again with its stored value, one lock at a time; the
    // loudness gain, first in the build order, ignores bypass mode and is
    // left out.
    for (size_t i = 1; i < kSlotCount; ++i)
        Switch(kBuildOrder[i], stored[Index(kBuildOrder[i])]);
}

void LXAudioEffectsProcessorImpl::SetLoudnessON(bool on)
{
    Switch(Slot::Loudness, on);
}

void LXAudioEffectsProcessorImpl::SetLoudnessParams(float gain, float peak)
{
    if (auto* effect = Get<Slot::Loudness>())
        effect->SetParams(LoudnessInfo{gain, peak});
}

void LXAudioEffectsProcessorImpl::SetReverbON(bool on)
{
    Switch(Slot::Reverb, on);
}

void LXAudioEffectsProcessorImpl::SetReverbERParams(bool enable, uint32_t Pattern, float RoomSize,
                                                    float SurroundDelay)
{
    if (auto* effect = Get<Slot::Reverb>())
        effect->SetEarlyReflections(enable, Pattern, RoomSize, SurroundDelay);
}

void LXAudioEffectsProcessorImpl::SetReverbRVBParams(const ReverbParams* params)
{
    if (auto* effect = Get<Slot::Reverb>(); effect && params)
        effect->SetReverbBody(*params);
}

void LXAudioEffectsProcessorImpl::SetReverbTCON(bool on)
{
    if (auto* effect = Get<Slot::Reverb>())
        effect->SetToneCorrectionEnable(on);
}

void LXAudioEffectsProcessorImpl::SetReverbTCFilter(uint32_t index, const ReverbFilterParams* params)
{
    if (auto* effect = Get<Slot::Reverb>(); effect && params)
        effect->SetToneCorrectionFilter(index, *params);
}

void LXAudioEffectsProcessorImpl::SetReverbInputLevel(float Center, float LFE)
{
    if (auto* effect = Get<Slot::Reverb>())
        effect->SetInputLevels(Center, LFE);
}

void LXAudioEffectsProcessorImpl::SetReverbRVBLevel(float Front, float Rear, float Center, float LFE)
{
    if (auto* effect = Get<Slot::Reverb>())
        effect->SetReverbLevels(Front, Rear, Center, LFE);
}

void LXAudioEffectsProcessorImpl::SetReverbOutputLevel(float Dry, float ER, float Reverb)
{
    if (auto* effect = Get<Slot::Reverb>())
        effect->SetOutputLevels(Dry, ER, Reverb);
}

void LXAudioEffectsProcessorImpl::SetStereoEnhancerON(bool on)
{
    Switch(Slot::StereoEnhancer, on);
}

void LXAudioEffectsProcessorImpl::SetStereoEnhancerParams(float presence, float stereoizer,
                                                          bool spectrumShaper, uint32_t ambience)
{
    if (auto* effect = Get<Slot::StereoEnhancer>())
        effect->SetParams(presence, stereoizer, spectrumShaper, ambience);
}

void LXAudioEffectsProcessorImpl::SetRotate3DON(bool on)
{
    Switch(Slot::Rotate3D, on);
}

void LXAudioEffectsProcessorImpl::SetRotate3DParams(float Velocity)
{
    if (auto* effect = Get<Slot::Rotate3D>())
        effect->SetParams(Velocity);
}

void LXAudioEffectsProcessorImpl::SetSpatialAudioON(bool on)
{
    Switch(Slot::SpatialAudio, on);
}

void LXAudioEffectsProcessorImpl::SetSpatialAudioParams(const SpatialAudioParams* params)
{
    if (auto* effect = Get<Slot::SpatialAudio>(); effect && params)
        effect->SetParams(*params);
}

void LXAudioEffectsProcessorImpl::SetGraphEQON(bool on)
{
    Switch(Slot::GraphicEQ, on);
}

void LXAudioEffectsProcessorImpl::SetGraphEQGains(const float* gains)
{
    if (auto* effect = Get<Slot::GraphicEQ>(); effect && gains)
        effect->SetBandGains(gains);
}

void LXAudioEffectsProcessorImpl::SetBassTrebleON(bool on)
{
    Switch(Slot::BassTreble, on);
}

void LXAudioEffectsProcessorImpl::SetBassTrebleGains(float Bass, float Treble)
{
    if (auto* effect = Get<Slot::BassTreble>())
        effect->SetGains(Bass, Treble);
}

void LXAudioEffectsProcessorImpl::SetBassTrebleParams(float bassFreq, float bassQ, float trebleFreq,
                                                      float trebleQ)
{
    if (auto* effect = Get<Slot::BassTreble>())
        effect->SetFilters(bassFreq, bassQ, trebleFreq, trebleQ);
}

void LXAudioEffectsProcessorImpl::SetCompressorON(bool on)
{
    Switch(Slot::Compressor, on);
}

void LXAudioEffectsProcessorImpl::SetCompressorParams(const CompressorEffectParams* params)
{
    if (auto* effect = Get<Slot::Compressor>(); effect && params) {
        const CompressorEffectParams copy = *params;
        effect->SetParams(copy);
    }
}

void LXAudioEffectsProcessorImpl::SetPostCompressorON(bool on)
{
    Switch(Slot::PostCompressor, on);
}

void LXAudioEffectsProcessorImpl::SetPostCompressorParams(const CompressorEffectParams* params)
{
    if (auto* effect = Get<Slot::PostCompressor>(); effect && params) {
        const CompressorEffectParams copy = *params;
        effect->SetParams(copy);
    }
}

void LXAudioEffectsProcessorImpl::SetParametricEQON(bool on)
{
    Switch(Slot::ParametricEQ, on);
}

void LXAudioEffectsProcessorImpl::SetParametricEQGain(float Gain)
{
    if (auto* effect = Get<Slot::ParametricEQ>())
        effect->SetOutputGain(Gain);
}

void LXAudioEffectsProcessorImpl::SetParametricEQFilter(uint32_t index,
                                                        const ParametricEQFilterParams* params)
{
    if (auto* effect = Get<Slot::ParametricEQ>(); effect && params && index < 9)
        effect->SetFilter(index, *params);
}

void LXAudioEffectsProcessorImpl::SetDelayON(bool on)
{
    Switch(Slot::Delay, on);
}

void LXAudioEffectsProcessorImpl::SetDelayParams(const DelayEffectParams* params)
{
    if (auto* effect = Get<Slot::Delay>(); effect && params) {
        const DelayEffectParams copy = *params;
        effect->SetParams(copy);
    }
}

void LXAudioEffectsProcessorImpl::SetFIRON(bool on)
{
    Switch(Slot::FIR, on);
}

void LXAudioEffectsProcessorImpl::SetFIRImpulse(const void* data, uint64_t size)
{
    if (!data)
        return;
    std::lock_guard<std::mutex> loadLock(firLoadMutex);
    AudioProcessor* target = nullptr;
    uint32_t epoch;
    {
        std::lock_guard<std::mutex> lock(mutex);
        target = effects[Index(Slot::FIR)];
        if (!target) {
            if (!floatBuffer || !(target = Make(Slot::FIR)))
                return;
            target->SetBypass(BypassFor(Slot::FIR, switches[Index(Slot::FIR)]));
        }
        firLoading = target;
        epoch = firLoadEpoch;
    }
    // Parsing and resampling run outside the lock so blocks keep flowing; the
    // FIR effect guards its own impulse swap. Reset and Init may drop the
    // effect meanwhile; they leave its destruction to this call.
    const bool loaded = static_cast<FIRProcessor*>(target)->SetImpulse(data, size);
    std::lock_guard<std::mutex> lock(mutex);
    firLoading = nullptr;
    AudioProcessor*& slot = effects[Index(Slot::FIR)];
    if (loaded && epoch == firLoadEpoch) {
        slot = target;
        return;
    }
    // A failed reload leaves no FIR effect at all; intended.
    if (slot == target)
        slot = nullptr;
    target->Destroy();
}

void LXAudioEffectsProcessorImpl::SetHeadphoneON(bool on)
{
    Switch(Slot::Headphone, on);
}

void LXAudioEffectsProcessorImpl::PrepareHeadphoneImpulse(const void* data, void** out_pImpulse,
                                                          uint64_t* in_impulse_size,
                                                          float* in_fBypassedGain,
                                                          float* in_fActiveGain)
{
    *out_pImpulse = nullptr;
    // Called outside the chain's lock, since resampling is slow; only the
    // rate is taken under it, as Init may change it meanwhile.
    uint32_t rateHz;
    {
        std::lock_guard<std::mutex> lock(mutex);
        rateHz = sampleRate;
    }
    ::PrepareHeadphoneImpulse(data, out_pImpulse, in_impulse_size, in_fBypassedGain, in_fActiveGain, rateHz);
}

void LXAudioEffectsProcessorImpl::SetHeadphoneImpulse(const void* data, uint64_t size)
{
    if (!data)
        return;
    AudioProcessor* made = nullptr;
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (!floatBuffer || !(made = Make(Slot::Headphone)))
            return;
    }
    HeadphoneProcessor* fresh = static_cast<HeadphoneProcessor*>(made);
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
    fresh->SetBypass(BypassFor(Slot::Headphone, switches[Index(Slot::Headphone)]));
    AudioProcessor*& slot = effects[Index(Slot::Headphone)];
    AudioProcessor* old = slot;
    slot = fresh;
    if (old)
        old->Destroy();
}

void LXAudioEffectsProcessorImpl::SetVibratoON(bool on)
{
    Switch(Slot::Vibrato, on);
}

void LXAudioEffectsProcessorImpl::SetVibratoParams(double Freq, double Range)
{
    if (auto* effect = Get<Slot::Vibrato>())
        effect->SetParams(Freq, Range);
}

void LXAudioEffectsProcessorImpl::SetTremoloON(bool on)
{
    Switch(Slot::Tremolo, on);
}

void LXAudioEffectsProcessorImpl::SetTremoloParams(double Freq, double Range)
{
    if (auto* effect = Get<Slot::Tremolo>())
        effect->SetParams(Freq, Range);
}

void LXAudioEffectsProcessorImpl::SetLimiterON(bool on)
{
    Switch(Slot::Limiter, on);
}

void LXAudioEffectsProcessorImpl::SetLimiterParams(const LimiterEffectParams* params)
{
    if (auto* effect = Get<Slot::Limiter>(); effect && params) {
        const LimiterEffectParams copy = *params;
        effect->SetParams(copy);
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
