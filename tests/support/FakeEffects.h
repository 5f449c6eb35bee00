// Stand-ins for every effect of the chain. Each records what reaches it in
// one shared journal, so tests can check order, bypass rules and the values
// that travel from the front end through the chain.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "effects/FIRProcessor.h"
#include "effects/Rotate3DProcessor.h"
#include "effects/SpatialAudioProcessor.h"
#include "effects/TremoloProcessor.h"
#include "effects/VibratoProcessor.h"
#include "frontend/ProcessorFactories.h"
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

namespace testsupport {

// Journal of calls, "name.Operation(args)". Process entries are kept only
// when recordProcess is set, to keep long runs small.
struct FakeJournal {
    std::vector<std::string> calls;
    bool recordProcess = false;
    // Extra frames a "tail" effect gives once draining starts.
    const char* tailEffect = nullptr;
    unsigned tailBlocks = 0;
    // Whether SetImpulse succeeds.
    bool impulseLoads = true;
    int live = 0;  // fakes alive
};

FakeJournal& Journal();

std::string Fmt(const char* format, ...);

// Factories that build only fakes.
const ProcessorFactories& FakeFactories();

}  // namespace testsupport
