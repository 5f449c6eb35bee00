// Ten-band graphic EQ, stereo at 44.1 kHz, through its wrapper as the chain
// runs it.
#include "EQBench.h"

#include "wrappers/GraphicEQProcessorImpl.h"

namespace {

void BM_GraphicEQTenBandsStereo(benchmark::State& state)
{
    GraphicEQProcessor* eq = GraphicEQProcessor::Create();
    eq->Init(eqbench::kFrames, eqbench::kChannels, eqbench::kRate);
    const float gains[10] = {4, 3, 2, 1, 0, -1, -2, 1, 3, 5};
    eq->SetBandGains(gains);
    eqbench::RunBlocks(state, eq);
    eq->Destroy();
}
BENCHMARK(BM_GraphicEQTenBandsStereo);

}  // namespace
