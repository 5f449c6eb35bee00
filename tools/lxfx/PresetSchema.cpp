#include "PresetSchema.h"

namespace lxfx {

// A row for a single value, and a row for a value in each entry of a table
// (the lambda sees the entry as i).
#define LXFX_VALUE(path, member) \
    {path, 0, [](EffectSettings& s, size_t) -> FieldRef { return &s.member; }}
#define LXFX_TABLE(path, size, member) \
    {path, size, [](EffectSettings& s, size_t i) -> FieldRef { return &s.member; }}

const std::vector<PresetField>& PresetFields()
{
    static const std::vector<PresetField> fields = {
        LXFX_VALUE("loudness.on", loudnessOn),
        LXFX_VALUE("loudness.gain", loudness.gain),
        LXFX_VALUE("loudness.peak", loudness.peak),

        LXFX_VALUE("reverb.on", reverbOn),
        LXFX_VALUE("reverb.er.enable", erEnable),
        LXFX_VALUE("reverb.er.Pattern", erPattern),
        LXFX_VALUE("reverb.er.RoomSize", erRoomSize),
        LXFX_VALUE("reverb.er.SurroundDelay", erSurroundDelayMs),
        LXFX_VALUE("reverb.rvb.PreDelay", reverbParams.PreDelay),
        LXFX_VALUE("reverb.rvb.DecayTime", reverbParams.DecayTime),
        LXFX_VALUE("reverb.rvb.HFDamping", reverbParams.HFDamping),
        LXFX_VALUE("reverb.rvb.Density", reverbParams.Density),
        LXFX_VALUE("reverb.rvb.RoomShape", reverbParams.RoomShape),
        LXFX_VALUE("reverb.rvb.Quality", reverbParams.Quality),
        LXFX_VALUE("reverb.rvb.Diffusion", reverbParams.Diffusion),
        LXFX_VALUE("reverb.rvb.StereoWidth", reverbParams.StereoWidth),
        LXFX_VALUE("reverb.tc.on", reverbTCOn),
        LXFX_TABLE("reverb.tc.filters[].InsertType", 3, reverbTCFilters[i].InsertType),
        LXFX_TABLE("reverb.tc.filters[].CurveType", 3, reverbTCFilters[i].CurveType),
        LXFX_TABLE("reverb.tc.filters[].Gain", 3, reverbTCFilters[i].Gain),
        LXFX_TABLE("reverb.tc.filters[].Freq", 3, reverbTCFilters[i].Freq),
        LXFX_TABLE("reverb.tc.filters[].Q", 3, reverbTCFilters[i].Q),
        LXFX_VALUE("reverb.inputLevel.Center", reverbInputCenter),
        LXFX_VALUE("reverb.inputLevel.LFE", reverbInputLFE),
        LXFX_VALUE("reverb.rvbLevel.Front", reverbRVBFront),
        LXFX_VALUE("reverb.rvbLevel.Rear", reverbRVBRear),
        LXFX_VALUE("reverb.rvbLevel.Center", reverbRVBCenter),
        LXFX_VALUE("reverb.rvbLevel.LFE", reverbRVBLFE),
        LXFX_VALUE("reverb.outputLevel.Dry", reverbOutputDry),
        LXFX_VALUE("reverb.outputLevel.ER", reverbOutputER),
        LXFX_VALUE("reverb.outputLevel.Reverb", reverbOutputReverb),

        LXFX_VALUE("stereoEnhancer.on", stereoEnhancerOn),
        LXFX_VALUE("stereoEnhancer.presence", stereoEnhancerPresence),
        LXFX_VALUE("stereoEnhancer.stereoizer", stereoEnhancerStereoizer),
        LXFX_VALUE("stereoEnhancer.spectrumShaper", stereoEnhancerSpectrumShaper),
        LXFX_VALUE("stereoEnhancer.ambience", stereoEnhancerAmbience),

        LXFX_VALUE("rotate3D.on", rotate3DOn),
        LXFX_VALUE("rotate3D.Velocity", rotate3DVelocity),

        LXFX_VALUE("spatialAudio.on", spatialAudioOn),
        LXFX_VALUE("spatialAudio.FL", spatialAudio.FL),
        LXFX_VALUE("spatialAudio.FR", spatialAudio.FR),
        LXFX_VALUE("spatialAudio.Center", spatialAudio.Center),
        LXFX_VALUE("spatialAudio.SL", spatialAudio.SL),
        LXFX_VALUE("spatialAudio.SR", spatialAudio.SR),
        LXFX_VALUE("spatialAudio.RL", spatialAudio.RL),
        LXFX_VALUE("spatialAudio.RR", spatialAudio.RR),
        LXFX_VALUE("spatialAudio.LFE", spatialAudio.LFE),
        LXFX_VALUE("spatialAudio.Enhance", spatialAudio.Enhance),

        LXFX_VALUE("graphEQ.on", graphEQOn),
        LXFX_TABLE("graphEQ.gains[]", 10, graphEQGainsDb[i]),

        LXFX_VALUE("bassTreble.on", bassTrebleOn),
        LXFX_VALUE("bassTreble.Bass", bassDb),
        LXFX_VALUE("bassTreble.Treble", trebleDb),
        LXFX_VALUE("bassTreble.bassFreq", bassFreqHz),
        LXFX_VALUE("bassTreble.bassQ", bassQ),
        LXFX_VALUE("bassTreble.trebleFreq", trebleFreqHz),
        LXFX_VALUE("bassTreble.trebleQ", trebleQ),

        LXFX_VALUE("compressor.on", compressorOn),
        LXFX_VALUE("compressor.Threshold", compressor.Threshold),
        LXFX_VALUE("compressor.Ratio", compressor.Ratio),
        LXFX_VALUE("compressor.Attack", compressor.Attack),
        LXFX_VALUE("compressor.Release", compressor.Release),
        LXFX_VALUE("compressor.Range", compressor.Range),
        LXFX_VALUE("compressor.PreGain", compressor.PreGain),
        LXFX_VALUE("compressor.PostGain", compressor.PostGain),

        LXFX_VALUE("postCompressor.on", postCompressorOn),
        LXFX_VALUE("postCompressor.Threshold", postCompressor.Threshold),
        LXFX_VALUE("postCompressor.Ratio", postCompressor.Ratio),
        LXFX_VALUE("postCompressor.Attack", postCompressor.Attack),
        LXFX_VALUE("postCompressor.Release", postCompressor.Release),
        LXFX_VALUE("postCompressor.Range", postCompressor.Range),
        LXFX_VALUE("postCompressor.PreGain", postCompressor.PreGain),
        LXFX_VALUE("postCompressor.PostGain", postCompressor.PostGain),

        LXFX_VALUE("parametricEQ.on", parametricEQOn),
        LXFX_VALUE("parametricEQ.Gain", parametricEQGainDb),
        LXFX_TABLE("parametricEQ.filters[].on", 9, parametricEQFilters[i].on),
        LXFX_TABLE("parametricEQ.filters[].FilterType", 9, parametricEQFilters[i].FilterType),
        LXFX_TABLE("parametricEQ.filters[].Gain", 9, parametricEQFilters[i].Gain),
        LXFX_TABLE("parametricEQ.filters[].Freq", 9, parametricEQFilters[i].Freq),
        LXFX_TABLE("parametricEQ.filters[].Q", 9, parametricEQFilters[i].Q),

        LXFX_VALUE("delay.on", delayOn),
        LXFX_VALUE("delay.Delay", delay.Delay),
        LXFX_VALUE("delay.Feedback", delay.Feedback),
        LXFX_VALUE("delay.DryLevel", delay.DryLevel),
        LXFX_VALUE("delay.WetLevel", delay.WetLevel),

        LXFX_VALUE("fir.on", firOn),
        LXFX_VALUE("fir.impulse", firImpulseFile),
        LXFX_VALUE("headphone.on", headphoneOn),
        LXFX_VALUE("headphone.impulse", headphoneImpulseFile),

        LXFX_VALUE("vibrato.on", vibratoOn),
        LXFX_VALUE("vibrato.Freq", vibratoFreqHz),
        LXFX_VALUE("vibrato.Range", vibratoRange),
        LXFX_VALUE("tremolo.on", tremoloOn),
        LXFX_VALUE("tremolo.Freq", tremoloFreqHz),
        LXFX_VALUE("tremolo.Range", tremoloRange),

        LXFX_VALUE("limiter.on", limiterOn),
        LXFX_VALUE("limiter.Threshold", limiter.Threshold),
        LXFX_VALUE("limiter.Attack", limiter.Attack),
        LXFX_VALUE("limiter.Release", limiter.Release),
        LXFX_VALUE("limiter.OutputGain", limiter.OutputGain),
        LXFX_VALUE("limiter.InfiniteRatio", limiter.InfiniteRatio),
        LXFX_VALUE("limiter.Ratio", limiter.Ratio),

        LXFX_VALUE("bypassMode", bypassMode),
    };
    return fields;
}

#undef LXFX_VALUE
#undef LXFX_TABLE

}  // namespace lxfx
