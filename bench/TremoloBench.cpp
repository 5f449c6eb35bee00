// Tremolo cost per stereo frame at 44.1 kHz, blocks of 2048 frames.
#include "ModulationBench.h"

#include "effects/TremoloProcessorImpl.h"

namespace {

void BM_TremoloStereo(benchmark::State& state)
{
    modulationbench::RunStereo(state, TremoloProcessorImpl::Create(), 4.0);
}
BENCHMARK(BM_TremoloStereo);

}  // namespace
