#include "frontend/ProcessorFactories.h"

#include "wrappers/CompressorProcessor.h"
#include "wrappers/LoudnessProcessor.h"

// One line per effect; an effect joins the chain by naming its Create here.
const ProcessorFactories& DefaultProcessorFactories()
{
    static const ProcessorFactories factories = {
        /* loudness */ &LoudnessProcessor::Create,
        /* reverb */ nullptr,
        /* stereoEnhancer */ nullptr,
        /* rotate3D */ nullptr,
        /* spatialAudio */ nullptr,
        /* graphicEQ */ nullptr,
        /* bassTreble */ nullptr,
        /* compressor */ &CompressorProcessor::Create,
        /* parametricEQ */ nullptr,
        /* delay */ nullptr,
        /* fir */ nullptr,
        /* headphone */ nullptr,
        /* vibrato */ nullptr,
        /* tremolo */ nullptr,
        /* limiter */ nullptr,
    };
    return factories;
}
