#include "lxaudioeffects/ReplayGainProcessor.h"

// Placeholder until the analyser lands: an object that never initialises.
ReplayGainProcessor::ReplayGainProcessor()
    : analyzer(nullptr), fifo(nullptr), format(AUDIO_SAMPLEFORMAT_FLOAT), channels(2),
      floatPointers(nullptr), pcmBuffer(nullptr)
{
}

ReplayGainProcessor::~ReplayGainProcessor()
{
    Cleanup();
}

ReplayGainProcessor::ReplayGainProcessor(const ReplayGainProcessor& other)
    : ReplayGainProcessor()
{
    *this = other;
}

ReplayGainProcessor& ReplayGainProcessor::operator=(const ReplayGainProcessor& other)
{
    if (this != &other) {
        Cleanup();
        format = other.format;
        channels = other.channels;
    }
    return *this;
}

bool ReplayGainProcessor::Init(AUDIO_SAMPLEFORMAT, unsigned, unsigned)
{
    return false;
}

void ReplayGainProcessor::Push(void*, unsigned, bool) {}
void ReplayGainProcessor::PushSamples(void*, unsigned, bool) {}
void ReplayGainProcessor::GetReplayGain(ReplayGainType, ReplayGainInfo&) {}
void ReplayGainProcessor::ResetReplayGain(ReplayGainType) {}
void ReplayGainProcessor::Reset() {}
void ReplayGainProcessor::Cleanup() {}
int ReplayGainProcessor::ReadSamples(float**, int)
{
    return 0;
}
