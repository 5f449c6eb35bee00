#include "frontend/ProcessorFactories.h"

#include "effects/TremoloProcessorImpl.h"
#include "effects/VibratoProcessorImpl.h"
#include "wrappers/BassTrebleProcessor.h"
#include "wrappers/CompressorProcessor.h"
#include "wrappers/DelayProcessor.h"
#include "wrappers/GraphicEQProcessor.h"
#include "wrappers/LimiterProcessor.h"
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
        /* delay */ &DelayProcessor::Create,
        /* fir */ nullptr,
        /* headphone */ nullptr,
        /* vibrato */ &VibratoProcessorImpl::Create,
        /* tremolo */ &TremoloProcessorImpl::Create,
        /* limiter */ &LimiterProcessor::Create,
    };
    return factories;
}
