#include "frontend/ProcessorFactories.h"

#include "effects/FIRProcessorImpl.h"
#include "effects/Rotate3DProcessorImpl.h"
#include "effects/SpatialAudioProcessorImpl.h"
#include "effects/TremoloProcessorImpl.h"
#include "effects/VibratoProcessorImpl.h"
#include "wrappers/BassTrebleProcessor.h"
#include "wrappers/CompressorProcessor.h"
#include "wrappers/DelayProcessor.h"
#include "wrappers/HeadphoneProcessor.h"
#include "wrappers/GraphicEQProcessor.h"
#include "wrappers/LimiterProcessor.h"
#include "wrappers/LoudnessProcessor.h"
#include "wrappers/ParametricEQProcessor.h"
#include "wrappers/ReverbProcessor.h"
#include "wrappers/StereoEnhancerProcessor.h"

// An effect joins the chain by naming its Create here.
const ProcessorFactories& DefaultProcessorFactories()
{
    static const ProcessorFactories factories =
        ProcessorFactories()
            .With<Slot::Loudness, &LoudnessProcessor::Create>()
            .With<Slot::Compressor, &CompressorProcessor::Create>()
            .With<Slot::GraphicEQ, &GraphicEQProcessor::Create>()
            .With<Slot::BassTreble, &BassTrebleProcessor::Create>()
            .With<Slot::ParametricEQ, &ParametricEQProcessor::Create>()
            .With<Slot::PostCompressor, &CompressorProcessor::Create>()
            .With<Slot::Vibrato, &VibratoProcessorImpl::Create>()
            .With<Slot::Tremolo, &TremoloProcessorImpl::Create>()
            .With<Slot::StereoEnhancer, &StereoEnhancerProcessor::Create>()
            .With<Slot::Rotate3D, &Rotate3DProcessorImpl::Create>()
            .With<Slot::SpatialAudio, &SpatialAudioProcessorImpl::Create>()
            .With<Slot::Delay, &DelayProcessor::Create>()
            .With<Slot::Reverb, &ReverbProcessor::Create>()
            .With<Slot::FIR, &FIRProcessorImpl::Create>()
            .With<Slot::Headphone, &HeadphoneProcessor::Create>()
            .With<Slot::Limiter, &LimiterProcessor::Create>();
    return factories;
}
