// Nine-band parametric EQ with every band on, stereo at 44.1 kHz, through its
// wrapper as the chain runs it.
#include "EQBench.h"

#include "wrappers/ParametricEQProcessorImpl.h"

namespace {

void BM_ParametricEQNineBandsStereo(benchmark::State& state)
{
    ParametricEQProcessor* eq = ParametricEQProcessor::Create();
    eq->Init(eqbench::kFrames, eqbench::kChannels, eqbench::kRate);
    const uint32_t types[9] = {7, 6, 6, 6, 6, 6, 6, 6, 8};
    for (uint32_t band = 0; band < 9; ++band) {
        const ParametricEQFilterParams params = {types[band], band % 2 ? 3.0f : -3.0f,
                                                 60.0f * std::pow(2.0f, float(band)), 1.0f, true};
        eq->SetFilter(band, params);
    }
    eq->SetOutputGain(-2.0f);
    eqbench::RunBlocks(state, eq);
    eq->Destroy();
}
BENCHMARK(BM_ParametricEQNineBandsStereo);

}  // namespace
