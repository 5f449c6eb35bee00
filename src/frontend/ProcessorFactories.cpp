#include "frontend/ProcessorFactories.h"

#include "effects/TremoloProcessorImpl.h"
#include "effects/VibratoProcessorImpl.h"

// One line per effect; an effect joins the chain by naming its Create here.
const ProcessorFactories& DefaultProcessorFactories()
{
    static const ProcessorFactories factories = {
        /* loudness */ nullptr,
        /* reverb */ nullptr,
        /* stereoEnhancer */ nullptr,
        /* rotate3D */ nullptr,
        /* spatialAudio */ nullptr,
        /* graphicEQ */ nullptr,
        /* bassTreble */ nullptr,
        /* compressor */ nullptr,
        /* parametricEQ */ nullptr,
        /* delay */ nullptr,
        /* fir */ nullptr,
        /* headphone */ nullptr,
        /* vibrato */ &VibratoProcessorImpl::Create,
        /* tremolo */ &TremoloProcessorImpl::Create,
        /* limiter */ nullptr,
    };
    return factories;
}
