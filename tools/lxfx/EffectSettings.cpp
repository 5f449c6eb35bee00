#include "EffectSettings.h"

#include <vector>

#include "WholeFile.h"

namespace lxfx {

namespace {

using audiofx::AudioEffects;

// An impulse is a WAV file of a few seconds at most; 256 MiB is minutes of
// many-channel float audio.
constexpr uint64_t kMaxImpulseBytes = uint64_t(256) << 20;

std::vector<char> ReadImpulseFile(const std::string& path, const char* what)
{
    return ReadWholeFile(path, std::string(what) + " impulse", kMaxImpulseBytes);
}

struct SettingGroup {
    const char* name;
    void (*apply)(const EffectSettings& s, AudioEffects& fx);
};

// The player's order; each group sends its switch, then its parameters.
const SettingGroup kGroups[] = {
    {"loudness",
     [](const EffectSettings& s, AudioEffects& fx) {
         fx.SetLoudnessON(s.loudnessOn);
         fx.SetLoudnessParams(s.loudness.gain, s.loudness.peak);
     }},
    {"reverb",
     [](const EffectSettings& s, AudioEffects& fx) {
         fx.SetReverbON(s.reverbOn);
         fx.SetReverbERParams(s.erEnable, s.erPattern, s.erRoomSize, s.erSurroundDelayMs);
         fx.SetReverbRVBParams(&s.reverbParams);
         fx.SetReverbTCON(s.reverbTCOn);
         for (uint32_t i = 0; i < 3; ++i)
             fx.SetReverbTCFilter(i + 1, &s.reverbTCFilters[i]);  // the setter counts from 1
         fx.SetReverbInputLevel(s.reverbInputCenter, s.reverbInputLFE);
         fx.SetReverbRVBLevel(s.reverbRVBFront, s.reverbRVBRear, s.reverbRVBCenter,
                              s.reverbRVBLFE);
         fx.SetReverbOutputLevel(s.reverbOutputDry, s.reverbOutputER, s.reverbOutputReverb);
     }},
    {"stereoEnhancer",
     [](const EffectSettings& s, AudioEffects& fx) {
         fx.SetStereoEnhancerON(s.stereoEnhancerOn);
         fx.SetStereoEnhancerParams(s.stereoEnhancerPresence, s.stereoEnhancerStereoizer,
                                    s.stereoEnhancerSpectrumShaper, s.stereoEnhancerAmbience);
     }},
    {"rotate3D",
     [](const EffectSettings& s, AudioEffects& fx) {
         fx.SetRotate3DON(s.rotate3DOn);
         fx.SetRotate3DParams(s.rotate3DVelocity);
     }},
    {"spatialAudio",
     [](const EffectSettings& s, AudioEffects& fx) {
         fx.SetSpatialAudioON(s.spatialAudioOn);
         fx.SetSpatialAudioParams(&s.spatialAudio);
     }},
    {"graphEQ",
     [](const EffectSettings& s, AudioEffects& fx) {
         fx.SetGraphEQON(s.graphEQOn);
         fx.SetGraphEQGains(s.graphEQGainsDb);
     }},
    {"bassTreble",
     [](const EffectSettings& s, AudioEffects& fx) {
         fx.SetBassTrebleON(s.bassTrebleOn);
         fx.SetBassTrebleGains(s.bassDb, s.trebleDb);
         fx.SetBassTrebleParams(s.bassFreqHz, s.bassQ, s.trebleFreqHz, s.trebleQ);
     }},
    {"compressor",
     [](const EffectSettings& s, AudioEffects& fx) {
         fx.SetCompressorON(s.compressorOn);
         fx.SetCompressorParams(&s.compressor);
     }},
    {"postCompressor",
     [](const EffectSettings& s, AudioEffects& fx) {
         fx.SetPostCompressorON(s.postCompressorOn);
         fx.SetPostCompressorParams(&s.postCompressor);
     }},
    {"parametricEQ",
     [](const EffectSettings& s, AudioEffects& fx) {
         fx.SetParametricEQON(s.parametricEQOn);
         fx.SetParametricEQGain(s.parametricEQGainDb);
         for (uint32_t i = 0; i < 9; ++i)
             fx.SetParametricEQFilter(i, &s.parametricEQFilters[i]);
     }},
    {"delay",
     [](const EffectSettings& s, AudioEffects& fx) {
         fx.SetDelayON(s.delayOn);
         fx.SetDelayParams(&s.delay);
     }},
    {"fir",
     [](const EffectSettings& s, AudioEffects& fx) {
         fx.SetFIRON(s.firOn);
         if (!s.firImpulseFile.empty()) {
             const std::vector<char> bytes = ReadImpulseFile(s.firImpulseFile, "FIR");
             fx.SetFIRImpulse(bytes.data(), bytes.size());
         }
     }},
    {"headphone",
     [](const EffectSettings& s, AudioEffects& fx) {
         fx.SetHeadphoneON(s.headphoneOn);
         if (!s.headphoneImpulseFile.empty()) {
             const std::vector<char> bytes = ReadImpulseFile(s.headphoneImpulseFile, "headphone");
             fx.SetHeadphoneImpulse(bytes.data(), bytes.size());
         }
     }},
    {"vibrato",
     [](const EffectSettings& s, AudioEffects& fx) {
         fx.SetVibratoON(s.vibratoOn);
         fx.SetVibratoParams(s.vibratoFreqHz, s.vibratoRange);
     }},
    {"tremolo",
     [](const EffectSettings& s, AudioEffects& fx) {
         fx.SetTremoloON(s.tremoloOn);
         fx.SetTremoloParams(s.tremoloFreqHz, s.tremoloRange);
     }},
    {"limiter",
     [](const EffectSettings& s, AudioEffects& fx) {
         fx.SetLimiterON(s.limiterOn);
         fx.SetLimiterParams(&s.limiter);
     }},
    {"bypassMode", [](const EffectSettings& s, AudioEffects& fx) { fx.SetBypassMode(s.bypassMode); }},
};

}  // namespace

const std::vector<std::string>& SettingGroupNames()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> list;
        for (const SettingGroup& group : kGroups)
            list.push_back(group.name);
        return list;
    }();
    return names;
}

void ApplySettings(const EffectSettings& settings, const std::set<std::string>& groups,
                   AudioEffects& effects)
{
    for (const SettingGroup& group : kGroups)
        if (groups.count(group.name))
            group.apply(settings, effects);
}

}  // namespace lxfx
