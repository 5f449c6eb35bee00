#include "frontend/ProcessorFactories.h"

#include "wrappers/BassTrebleProcessor.h"
#include "wrappers/CompressorProcessor.h"
#include "wrappers/GraphicEQProcessor.h"
#include "wrappers/LoudnessProcessor.h"
#include "wrappers/ParametricEQProcessor.h"

// One line per effect; an effect joins the chain by naming its Create here.
const ProcessorFactories& DefaultProcessorFactories()
{
    static const ProcessorFactories factories = {
        /* loudness */ &LoudnessProcessor::Create,
        /* reverb */ nullptr,
        /* stereoEnhancer */ nullptr,
        /* rotate3D */ nullptr,
        /* spatialAudio */ nullptr,
        /* graphicEQ */ &GraphicEQProcessor::Create,
        /* bassTreble */ &BassTrebleProcessor::Create,
        /* compressor */ &CompressorProcessor::Create,
        /* parametricEQ */ &ParametricEQProcessor::Create,
        /* delay */ nullptr,
        /* fir */ nullptr,
        /* headphone */ nullptr,
        /* vibrato */ nullptr,
        /* tremolo */ nullptr,
        /* limiter */ nullptr,
    };
    return factories;
}
