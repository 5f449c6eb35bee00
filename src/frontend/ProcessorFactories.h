// The factories the chain builds its effects with. A null entry means the
// effect is not part of this build: its slot stays empty and its setters do
// nothing. Tests may hand the chain a table of their own.
#pragma once

class LoudnessProcessor;
class ReverbProcessor;
class StereoEnhancerProcessor;
class Rotate3DProcessor;
class SpatialAudioProcessor;
class GraphicEQProcessor;
class BassTrebleProcessor;
class CompressorProcessor;
class ParametricEQProcessor;
class DelayProcessor;
class FIRProcessor;
class HeadphoneProcessor;
class VibratoProcessor;
class TremoloProcessor;
class LimiterProcessor;

struct ProcessorFactories {
    LoudnessProcessor* (*loudness)();
    ReverbProcessor* (*reverb)();
    StereoEnhancerProcessor* (*stereoEnhancer)();
    Rotate3DProcessor* (*rotate3D)();
    SpatialAudioProcessor* (*spatialAudio)();
    GraphicEQProcessor* (*graphicEQ)();
    BassTrebleProcessor* (*bassTreble)();
    CompressorProcessor* (*compressor)();
    ParametricEQProcessor* (*parametricEQ)();
    DelayProcessor* (*delay)();
    FIRProcessor* (*fir)();
    HeadphoneProcessor* (*headphone)();
    VibratoProcessor* (*vibrato)();
    TremoloProcessor* (*tremolo)();
    LimiterProcessor* (*limiter)();
};

// The effects this library ships.
const ProcessorFactories& DefaultProcessorFactories();
