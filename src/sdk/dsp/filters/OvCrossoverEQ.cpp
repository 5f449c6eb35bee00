#include "sdk/dsp/filters/OvCrossoverEQ.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ov/OvAssert.h"
#include "ov/OvPipelineBuffer.h"
#include "sdk/dsp/filters/DesignBiquad.h"

namespace {

constexpr uint32_t kNumEdges = MAX_CROSSOVER_BANDS - 1;
constexpr uint32_t kNoFilter = 0xFF;
constexpr float kPi = 3.1415927f;
constexpr float kQuarterPi = 0.7853982f;
constexpr float kSqrt2 = 1.4142135f;
constexpr int kButterworthLowPass = 3;
constexpr int kButterworthHighPass = 4;
constexpr float kMinFrequencyRatio = 1e-4f;

// Filter indices of each edge within a channel; see the table in the header.
struct EdgeLayout {
    uint8_t low[2];
    uint8_t high[2];
    uint8_t allpass[3];
};

constexpr EdgeLayout kSecondOrderLayout[kNumEdges] = {
    {{0, kNoFilter}, {4, kNoFilter}, {kNoFilter, kNoFilter, kNoFilter}},
    {{5, kNoFilter}, {8, kNoFilter}, {1, kNoFilter, kNoFilter}},
    {{9, kNoFilter}, {11, kNoFilter}, {2, 6, kNoFilter}},
    {{12, kNoFilter}, {13, kNoFilter}, {3, 7, 10}},
};

constexpr EdgeLayout kFourthOrderLayout[kNumEdges] = {
    {{0, 1}, {5, 6}, {kNoFilter, kNoFilter, kNoFilter}},
    {{7, 8}, {11, 12}, {2, kNoFilter, kNoFilter}},
    {{13, 14}, {16, 17}, {3, 9, kNoFilter}},
    {{18, 19}, {20, 21}, {4, 10, 15}},
};

struct Coefs {
    float b0, b1, b2, a1, a2;
};

}  // namespace

uint32_t OvCrossoverEQ::FiltersPerChannel(bool in_bFourthOrder)
{
    const uint32_t n = MAX_CROSSOVER_BANDS;
    return in_bFourthOrder ? 2 * n + 14 - 2 : n * (n + 1) / 2 - 1;
}

OvResult OvCrossoverEQ::Init(IOvMemAlloc* in_pAllocator, uint16_t in_uNumChannels, uint32_t in_uMaxBands,
                             bool in_bFourthOrder)
{
    OV_ASSERT(in_uMaxBands == MAX_CROSSOVER_BANDS);
    m_bFourthOrder = in_bFourthOrder;
    m_fnProcess = in_bFourthOrder ? &OvCrossoverEQ::ProcessFourthOrder : &OvCrossoverEQ::ProcessSecondOrder;
    return OvMultiBandEQ::Init(in_pAllocator, in_uNumChannels, uint16_t(FiltersPerChannel(in_bFourthOrder)));
}

void OvCrossoverEQ::SetEdge(uint32_t in_uEdge, float in_fSampleRate, float in_fFrequencyHz)
{
    OV_ASSERT(in_uEdge < MAX_CROSSOVER_BANDS-1);
    if (in_uEdge >= kNumEdges || !m_pFilters)
        return;
    // The edge is held to [1e-4, 0.45] of the rate (NaN to the bottom): below
    // about 5e-5 the float filters of both orders lose their poles outside
    // the unit circle.
    float f = std::min(in_fFrequencyHz, in_fSampleRate * 0.5f * 0.9f);
    if (!(f > in_fSampleRate * kMinFrequencyRatio))
        f = in_fSampleRate * kMinFrequencyRatio;
    const float x = kPi * f / in_fSampleRate;

    const EdgeLayout& layout = m_bFourthOrder ? kFourthOrderLayout[in_uEdge] : kSecondOrderLayout[in_uEdge];
    Coefs allpass;
    if (m_bFourthOrder) {
        const float k = 1.0f / tanf(x);
        const float e = 1.0f / (1.0f + kSqrt2 * k + k * k);
        const float a1 = -2.0f * (k * k - 1.0f) * e;
        const float a2 = (1.0f + k * k - kSqrt2 * k) * e;
        allpass = {a2, a1, 1.0f, a1, a2};
    } else {
        const float p = -1.0f / tanf(x + kQuarterPi);
        allpass = {p, 1.0f, 0.0f, p, 0.0f};
    }
    // Second order: a double real pole; the high-pass is inverted so that
    // the two sum to an allpass.
    const float s2 = sinf(x) * sinf(x);
    const float c2 = cosf(x) * cosf(x);
    const float sq = sinf(x + kQuarterPi);
    const float cq = cosf(x + kQuarterPi);
    const float d = 1.0f / (sq * sq);
    const float a1 = -cosf(2.0f * x) * d;
    const float a2 = cq * cq * d;
    const Coefs low = {0.5f * s2 * d, s2 * d, 0.5f * s2 * d, a1, a2};
    const Coefs high = {-0.5f * c2 * d, c2 * d, -0.5f * c2 * d, a1, a2};

    for (uint32_t c = 0; c < m_uNumChannels; ++c) {
        OvBiquad* filters = m_pFilters + c * m_uNumBands;
        if (m_bFourthOrder) {
            for (int i = 0; i < 2; ++i) {
                DesignBiquad(filters[layout.low[i]], kButterworthLowPass, in_fSampleRate, f, 0.0f, 0.0f);
                DesignBiquad(filters[layout.high[i]], kButterworthHighPass, in_fSampleRate, f, 0.0f, 0.0f);
            }
        } else {
            filters[layout.low[0]].SetCoefs(low.b0, low.b1, low.b2, low.a1, low.a2);
            filters[layout.high[0]].SetCoefs(high.b0, high.b1, high.b2, high.a1, high.a2);
        }
        for (uint8_t index : layout.allpass)
            if (index != kNoFilter)
                filters[index].SetCoefs(allpass.b0, allpass.b1, allpass.b2, allpass.a1, allpass.a2);
    }
}

void OvCrossoverEQ::Process(OvPipelineBuffer* io_pBands, uint32_t in_uNumBands)
{
    Process(m_pFilters, io_pBands, in_uNumBands);
}

void OvCrossoverEQ::Process(OvBiquad* in_pFilters, OvPipelineBuffer* io_pBands, uint32_t in_uNumBands)
{
    if (m_fnProcess && in_pFilters && io_pBands)
        (this->*m_fnProcess)(in_pFilters, io_pBands, std::min(in_uNumBands, MAX_CROSSOVER_BANDS));
}

void OvCrossoverEQ::ProcessSplits(const Split* in_pSplits, uint32_t in_uNumSplits)
{
    uint32_t uRounds = 0;
    for (uint32_t k = 0; k < in_uNumSplits; ++k)
        if (in_pSplits[k].pCrossover)
            uRounds = std::max(uRounds, in_pSplits[k].pCrossover->NumRounds(in_pSplits[k].uNumBands));
    OvBiquadBatch batch;
    for (uint32_t r = 0; r < uRounds; ++r) {
        for (uint32_t k = 0; k < in_uNumSplits; ++k) {
            OvCrossoverEQ* pCrossover = in_pSplits[k].pCrossover;
            if (pCrossover && pCrossover->m_fnProcess)
                pCrossover->AddRound(pCrossover->m_pFilters, in_pSplits[k].pBands, in_pSplits[k].uNumBands, r,
                                     batch);
        }
        batch.Run();
    }
}

void OvCrossoverEQ::ProcessSecondOrder(OvBiquad* in_pFilters, OvPipelineBuffer* io_pBands, uint32_t in_uNumBands)
{
    ProcessRounds(in_pFilters, io_pBands, in_uNumBands);
}

void OvCrossoverEQ::ProcessFourthOrder(OvBiquad* in_pFilters, OvPipelineBuffer* io_pBands, uint32_t in_uNumBands)
{
    ProcessRounds(in_pFilters, io_pBands, in_uNumBands);
}

void OvCrossoverEQ::ProcessRounds(OvBiquad* in_pFilters, OvPipelineBuffer* io_pBands, uint32_t in_uNumBands)
{
    OvBiquadBatch batch;
    for (uint32_t r = 0; r < NumRounds(in_uNumBands); ++r) {
        AddRound(in_pFilters, io_pBands, in_uNumBands, r, batch);
        batch.Run();
    }
}

// Band b keeps the low side of edge b, then runs the allpasses of the higher
// edges that are in use; the high side goes on to band b + 1. Allpasses of
// edges beyond the band count are stepped over. In the filter order of the
// layout, band b runs one contiguous range: the high side of edge b - 1 (its
// T sections), then the low side of edge b and the higher allpasses. Band
// b + 1 starts as a copy of band b once band b has its high side, that is at
// round b * T; so every band runs one filter per round and the bands of a
// round never share samples or memory.
uint32_t OvCrossoverEQ::NumRounds(uint32_t in_uNumBands) const
{
    const uint32_t uBands = std::min(in_uNumBands, MAX_CROSSOVER_BANDS);
    if (uBands < 2)
        return 0;
    // The last band ends last: it starts at (B - 2) T and runs T sections.
    const uint32_t uSections = m_bFourthOrder ? 2 : 1;
    return (uBands - 1) * uSections;
}

void OvCrossoverEQ::AddRound(OvBiquad* in_pFilters, OvPipelineBuffer* io_pBands, uint32_t in_uNumBands,
                             uint32_t in_uRound, OvBiquadBatch& io_batch)
{
    const uint32_t uBands = std::min(in_uNumBands, MAX_CROSSOVER_BANDS);
    if (uBands < 2 || !in_pFilters || !io_pBands)
        return;
    uint32_t uChannels = std::min<uint32_t>(io_pBands[0].NumChannels(), m_uNumChannels);
    uint32_t uFrames = io_pBands[0].uValidFrames;
    for (uint32_t b = 0; b < uBands; ++b) {
        uChannels = std::min<uint32_t>(uChannels, io_pBands[b].NumChannels());
        uFrames = std::min<uint32_t>(uFrames, io_pBands[b].MaxFrames());
        if (!io_pBands[b].GetData())
            return;
    }
    const uint32_t uSections = m_bFourthOrder ? 2 : 1;
    // Each band's first filter, its filter count and its first round.
    uint32_t uFirst[MAX_CROSSOVER_BANDS], uCount[MAX_CROSSOVER_BANDS], uStart[MAX_CROSSOVER_BANDS];
    uint32_t i = 0;
    for (uint32_t b = 0; b < uBands; ++b) {
        uFirst[b] = i;
        uStart[b] = b == 0 ? 0 : (b - 1) * uSections;
        uCount[b] = b == 0 ? 0 : uSections;
        if (b + 1 < uBands) {
            // The low side and B - b - 2 allpasses; fourth order adds a section.
            uCount[b] += uBands - b - 2 + uSections;
            i = uFirst[b] + uCount[b] + (MAX_CROSSOVER_BANDS - uBands);
        }
    }
    // All copies before any run is queued: a full batch runs at once.
    for (uint32_t b = 1; b < uBands; ++b) {
        if (uStart[b] != in_uRound)
            continue;
        for (uint32_t c = 0; c < uChannels; ++c)
            std::memcpy(io_pBands[b].GetChannel(c), io_pBands[b - 1].GetChannel(c), uFrames * sizeof(float));
        io_pBands[b].uValidFrames = uint16_t(uFrames);
    }
    for (uint32_t b = 0; b < uBands; ++b) {
        if (in_uRound < uStart[b] || in_uRound - uStart[b] >= uCount[b])
            continue;
        const uint32_t uFilter = uFirst[b] + (in_uRound - uStart[b]);
        for (uint32_t c = 0; c < uChannels; ++c)
            in_pFilters[c * m_uNumBands + uFilter].QueueSamples(io_batch, io_pBands[b].GetChannel(c), uFrames);
    }
}
