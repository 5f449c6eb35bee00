// Five-band crossover on the channel-by-band biquad grid: four edges split a
// signal into up to five bands whose sum has a flat magnitude.
//
// Second order: Linkwitz-Riley of order 2 (double real pole) with the
// high-pass inverted, so that low + high is a first-order allpass. Fourth
// order: Linkwitz-Riley of order 4 (two Butterworth sections each way), whose
// sum is a second-order allpass. Every band below an edge also runs through
// that edge's allpass, so all bands leave in phase. Edges are designed at no
// more than 45 % of the sample rate.
//
// Per channel the filters sit in the order Process uses them (14 for second
// order, 22 for fourth):
//
//   edge   second order: low, high; allpasses   fourth order: low; high; allpasses
//   0      0; 4; -                                0, 1; 5, 6; -
//   1      5; 8; 1                                7, 8; 11, 12; 2
//   2      9; 11; 2, 6                            13, 14; 16, 17; 3, 9
//   3      12; 13; 3, 7, 10                       18, 19; 20, 21; 4, 10, 15
#pragma once

#include <cstdint>

#include "sdk/dsp/filters/OvBiquadBatch.h"
#include "sdk/dsp/filters/OvMultiBandEQ.h"

constexpr uint32_t MAX_CROSSOVER_BANDS = 5;

class OvCrossoverEQ : public OvMultiBandEQ {
public:
    OvCrossoverEQ() = default;

    // in_uMaxBands must be MAX_CROSSOVER_BANDS; the layout is that of five
    // bands whatever it is. All edges start as pass-through filters.
    OvResult Init(IOvMemAlloc* in_pAllocator, uint16_t in_uNumChannels, uint32_t in_uMaxBands,
                  bool in_bFourthOrder);
    // Designs the low-pass, high-pass and allpass filters of one edge (0 to 3)
    // on every channel; memories are kept.
    void SetEdge(uint32_t in_uEdge, float in_fSampleRate, float in_fFrequencyHz);
    // io_pBands[0] holds the input; on return band b (below in_uNumBands,
    // at most 5) holds the part between edges b - 1 and b. Band buffers need
    // the input's channel count and room for its valid frames.
    void Process(OvPipelineBuffer* io_pBands, uint32_t in_uNumBands);
    void Process(OvBiquad* in_pFilters, OvPipelineBuffer* io_pBands, uint32_t in_uNumBands);
    // Process on several crossovers, each on its own bands with its own band
    // count: they split independent signals, so their filters share the batch
    // kernel's loops. Each gives the bits its own Process gives.
    struct Split {
        OvCrossoverEQ* pCrossover;
        OvPipelineBuffer* pBands;
        uint32_t uNumBands;
    };
    static void ProcessSplits(const Split* in_pSplits, uint32_t in_uNumSplits);

    bool IsFourthOrder() const { return m_bFourthOrder; }
    // Filters per channel for an order.
    static uint32_t FiltersPerChannel(bool in_bFourthOrder);

private:
    // The base class's Init lays out no crossover: callers use the one above.
    using OvMultiBandEQ::Init;
    typedef void (OvCrossoverEQ::*ProcessFn)(OvBiquad* in_pFilters, OvPipelineBuffer* io_pBands,
                                             uint32_t in_uNumBands);

    void ProcessSecondOrder(OvBiquad* in_pFilters, OvPipelineBuffer* io_pBands, uint32_t in_uNumBands);
    void ProcessFourthOrder(OvBiquad* in_pFilters, OvPipelineBuffer* io_pBands, uint32_t in_uNumBands);
    // Both orders run in rounds (AddRound reads the order): in each, every
    // band that has a filter left runs its next one, and those runs are
    // independent of one another.
    void ProcessRounds(OvBiquad* in_pFilters, OvPipelineBuffer* io_pBands, uint32_t in_uNumBands);
    uint32_t NumRounds(uint32_t in_uNumBands) const;
    // Starts the bands that begin in round in_uRound (copies of the band
    // below) and queues the round's filter runs on io_batch.
    void AddRound(OvBiquad* in_pFilters, OvPipelineBuffer* io_pBands, uint32_t in_uNumBands, uint32_t in_uRound,
                  OvBiquadBatch& io_batch);

    ProcessFn m_fnProcess = nullptr;
    bool m_bFourthOrder = false;
};
