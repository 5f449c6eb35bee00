// Vibrato cost per stereo frame at 44.1 kHz, blocks of 2048 frames.
#include "ModulationBench.h"

#include "effects/VibratoProcessorImpl.h"

namespace {

void BM_VibratoStereo(benchmark::State& state)
{
    modulationbench::RunStereo(state, VibratoProcessorImpl::Create(), 5.0);
}
BENCHMARK(BM_VibratoStereo);

}  // namespace
