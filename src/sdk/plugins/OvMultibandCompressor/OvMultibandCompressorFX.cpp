#include "sdk/plugins/OvMultibandCompressor/OvMultibandCompressorFX.h"

#include <xmmintrin.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "ov/IOvEffectContext.h"
#include "ov/IOvGlobalContext.h"
#include "ov/OvAssert.h"
#include "ov/OvGainRamp.h"
#include "ov/OvPluginNew.h"
#include "ov/OvStreamFormat.h"
#include "sdk/dsp/delays/Mix2Interp.h"

namespace {

// io += g[b] * band[b] for every band in turn, in one pass: the sums of the
// steady (no ramp) in-place two-input mix run band after band, io = 1 * io +
// g * band, whose product by one is exact, so the bits are the same.
void SumBands(float* io_pfOut, const float* const* in_ppBands, const float* in_pfGains, uint32_t in_uNumBands,
              uint32_t in_uFrames)
{
    const uint32_t uWhole = in_uFrames & ~3u;
    for (uint32_t i = 0; i < uWhole; i += 4) {
        __m128 acc = _mm_loadu_ps(io_pfOut + i);
        for (uint32_t b = 0; b < in_uNumBands; ++b)
            acc = _mm_add_ps(acc, _mm_mul_ps(_mm_set1_ps(in_pfGains[b]), _mm_loadu_ps(in_ppBands[b] + i)));
        _mm_storeu_ps(io_pfOut + i, acc);
    }
    for (uint32_t i = uWhole; i < in_uFrames; ++i) {
        float acc = io_pfOut[i];
        for (uint32_t b = 0; b < in_uNumBands; ++b)
            acc = acc + in_pfGains[b] * in_ppBands[b][i];
        io_pfOut[i] = acc;
    }
}

}  // namespace

OvResult OvMultibandCompressorFX::Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext,
                                       IOvEffectParams* in_pParams, const OvStreamFormat& in_format)
{
    OV_ASSERT(in_pAllocator != NULL);
    m_pAllocator = in_pAllocator;
    m_pContext = in_pContext;
    m_pParams = static_cast<OvMultibandCompressorFXParams*>(in_pParams);
    if (!m_pAllocator || !m_pParams || !m_pContext || !m_pContext->GetGlobalContext())
        return OV_Failure;
    m_FXInfo.uSampleRate = in_format.uSampleRate;
    m_FXInfo.uNumChannels = in_format.channelConfig.uNumChannels;
    m_FXInfo.uMaxFrames = m_pContext->GetGlobalContext()->GetMaxFrames();
    m_Values = m_pParams->m_Params;

    const uint16_t uChannels = uint16_t(m_FXInfo.uNumChannels);
    const uint16_t uMaxFrames = uint16_t(m_FXInfo.uMaxFrames);
    OvResult eResult =
        m_Crossover.Init(m_pAllocator, uChannels, MAX_CROSSOVER_BANDS, m_Values.bFourthOrderCrossover);
    if (eResult != OV_Success)
        return eResult;
    eResult = m_KeyCrossover.Init(m_pAllocator, uChannels, MAX_CROSSOVER_BANDS, m_Values.bFourthOrderCrossover);
    if (eResult != OV_Success)
        return eResult;
    UpdateCrossovers();

    for (uint32_t b = 0; b < OV_MULTIBANDCOMPRESSOR_NUM_BANDS; ++b) {
        const OvMultibandCompressorBand& band = m_Values.band[b];
        eResult = m_Compressor[b].Init(m_pAllocator, m_Values.bProcessLFE, in_format, band.fAttack,
                                       band.fRelease, m_Values.bChannelLink);
        if (eResult != OV_Success)
            return eResult;
        m_fPrevBandInputGain[b] = band.fBandInputGain;
        m_fPrevBandOutputGain[b] = band.fBandOutputGain;
        if (m_BandSignal[b].AllocateSamples(m_pAllocator, in_format.channelConfig, uMaxFrames) != OV_Success ||
            m_BandKey[b].AllocateSamples(m_pAllocator, in_format.channelConfig, uMaxFrames) != OV_Success)
            return OV_OutOfMemory;
    }
    m_fPrevInputGain = m_Values.fInputGain;
    m_fPrevOutputGain = m_Values.fOutputGain;
    // Where Reset starts the gain ramps again.
    m_InitGains = {m_fPrevInputGain, m_fPrevOutputGain, {}, {}};
    std::copy(std::begin(m_fPrevBandInputGain), std::end(m_fPrevBandInputGain), m_InitGains.fBandInput);
    std::copy(std::begin(m_fPrevBandOutputGain), std::end(m_fPrevBandOutputGain), m_InitGains.fBandOutput);
    return OV_Success;
}

OvResult OvMultibandCompressorFX::Shutdown(IOvMemAlloc* in_pAllocator)
{
    OV_ASSERT(in_pAllocator != NULL);
    for (uint32_t b = 0; b < OV_MULTIBANDCOMPRESSOR_NUM_BANDS; ++b)
        m_Compressor[b].Shutdown(in_pAllocator);
    for (uint32_t b = 0; b < OV_MULTIBANDCOMPRESSOR_NUM_BANDS; ++b) {
        m_BandSignal[b].FreeSamples(m_pAllocator);
        m_BandKey[b].FreeSamples(m_pAllocator);
    }
    m_Crossover.Shutdown(in_pAllocator);
    m_KeyCrossover.Shutdown(in_pAllocator);
    OV::Delete(in_pAllocator, this);
    return OV_Success;
}

OvResult OvMultibandCompressorFX::Reset()
{
    // As a new effect: detectors, filter memories and band buffers silent,
    // and every gain ramp starting again from where Init left it.
    for (uint32_t b = 0; b < OV_MULTIBANDCOMPRESSOR_NUM_BANDS; ++b) {
        m_Compressor[b].Reset();
        for (OvPipelineBuffer* pBuffer : {&m_BandSignal[b], &m_BandKey[b]})
            if (pBuffer->GetData())
                std::memset(pBuffer->GetData(), 0,
                            size_t(pBuffer->MaxFrames()) * pBuffer->NumChannels() * sizeof(float));
    }
    m_Crossover.Reset();
    m_KeyCrossover.Reset();
    m_fPrevInputGain = m_InitGains.fInput;
    m_fPrevOutputGain = m_InitGains.fOutput;
    std::copy(std::begin(m_InitGains.fBandInput), std::end(m_InitGains.fBandInput), m_fPrevBandInputGain);
    std::copy(std::begin(m_InitGains.fBandOutput), std::end(m_InitGains.fBandOutput), m_fPrevBandOutputGain);
    return OV_Success;
}

void OvMultibandCompressorFX::UpdateCrossovers()
{
    const float fSampleRate = float(m_FXInfo.uSampleRate);
    for (uint32_t e = 0; e < OV_MULTIBANDCOMPRESSOR_NUM_EDGES; ++e) {
        if (m_pParams->m_ParamChangeHandler.IsChanged(OV_MBCFXPARAM_CROSSOVER0_ID + e)) {
            m_Crossover.SetEdge(e, fSampleRate, m_Values.fCrossover[e]);
            m_KeyCrossover.SetEdge(e, fSampleRate, m_Values.fCrossover[e]);
        }
    }
    m_pParams->m_ParamChangeHandler.ClearAllChanges();
}

void OvMultibandCompressorFX::ProcessBlock(OvPipelineBuffer* io_pBuffer)
{
    Block block = {this, io_pBuffer, nullptr, 0, 0};
    RunBlocks(&block, 1);
}

void OvMultibandCompressorFX::ProcessBlockWithKey(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey,
                                                  OvMeterWriter* /*io_pWriter*/)
{
    if (!in_pKey)
        return;
    Block block = {this, io_pBuffer, in_pKey, 0, 0};
    RunBlocks(&block, 1);
}

void OvMultibandCompressorFX::ProcessBlocksWithKey(OvPipelineBuffer* io_pBuffer, OvPipelineBuffer* in_pKey,
                                                   OvMultibandCompressorFX* in_pOther,
                                                   OvPipelineBuffer* io_pOtherBuffer, OvPipelineBuffer* in_pOtherKey)
{
    Block blocks[2];
    uint32_t uNumBlocks = 0;
    if (in_pKey)
        blocks[uNumBlocks++] = {this, io_pBuffer, in_pKey, 0, 0};
    if (in_pOther && in_pOther != this && in_pOtherKey)
        blocks[uNumBlocks++] = {in_pOther, io_pOtherBuffer, in_pOtherKey, 0, 0};
    RunBlocks(blocks, uNumBlocks);
}

void OvMultibandCompressorFX::LoadBands(const OvPipelineBuffer& in_source, OvPipelineBuffer* io_pBands,
                                        uint32_t in_uFrames)
{
    // One run over all channels: exact for one channel or a full block; with
    // several channels and a short block the channels' tails are not where
    // the run puts them, and that is how it stays; intended.
    const size_t uSamples = std::min<size_t>(size_t(in_uFrames) * in_source.NumChannels(),
                                             size_t(in_source.MaxFrames()) * in_source.NumChannels());
    const size_t uRoom = size_t(io_pBands[0].MaxFrames()) * io_pBands[0].NumChannels();
    if (in_source.GetData() && io_pBands[0].GetData())
        std::memcpy(io_pBands[0].GetData(), in_source.GetData(), std::min(uSamples, uRoom) * sizeof(float));
    for (uint32_t b = 0; b < OV_MULTIBANDCOMPRESSOR_NUM_BANDS; ++b)
        io_pBands[b].uValidFrames = uint16_t(in_uFrames);
}

void OvMultibandCompressorFX::RunBlocks(Block* io_pBlocks, uint32_t in_uNumBlocks)
{
    constexpr uint32_t kMaxBlocks = 2;
    OvCrossoverEQ::Split splits[2 * kMaxBlocks] = {};
    uint32_t uNumSplits = 0;
    bool bRun[kMaxBlocks] = {};
    in_uNumBlocks = std::min(in_uNumBlocks, kMaxBlocks);
    for (uint32_t k = 0; k < in_uNumBlocks; ++k) {
        Block& block = io_pBlocks[k];
        bRun[k] = block.pFx->Begin(block);
        if (!bRun[k])
            continue;
        OvMultibandCompressorFX& fx = *block.pFx;
        splits[uNumSplits++] = {&fx.m_Crossover, fx.m_BandSignal, block.uNumBands};
        if (block.pKey)
            splits[uNumSplits++] = {&fx.m_KeyCrossover, fx.m_BandKey, block.uNumBands};
    }
    OvCrossoverEQ::ProcessSplits(splits, uNumSplits);

    // Per-channel side chains of all bands of all blocks are gathered and
    // run four or eight lanes at a time; a band touches only its own buffers
    // and state, so the order in which the bands run does not change the
    // output.
    constexpr uint32_t kMaxLanes = 16;
    OvCompressor::Lane lanes[kMaxLanes];
    uint32_t uNumLanes = 0;
    for (uint32_t k = 0; k < in_uNumBlocks; ++k)
        if (bRun[k])
            io_pBlocks[k].pFx->CompressBands(io_pBlocks[k], lanes, kMaxLanes, uNumLanes);
    OvCompressor::RunLanes(lanes, uNumLanes);

    for (uint32_t k = 0; k < in_uNumBlocks; ++k)
        if (bRun[k])
            io_pBlocks[k].pFx->End(io_pBlocks[k]);
}

bool OvMultibandCompressorFX::Begin(Block& io_block)
{
    OvPipelineBuffer* io_pBuffer = io_block.pBuffer;
    OvPipelineBuffer* in_pKey = io_block.pKey;
    if (!io_pBuffer || !m_pParams || !io_pBuffer->GetData())
        return false;
    const uint32_t n = std::min<uint32_t>(io_pBuffer->uValidFrames, m_FXInfo.uMaxFrames);
    m_Values = m_pParams->m_Params;

    OV::ApplyGainToBuffer(io_pBuffer, m_fPrevInputGain, m_Values.fInputGain, true);
    if (in_pKey)
        OV::ApplyGainToBuffer(in_pKey, m_fPrevInputGain, m_Values.fInputGain, true);
    m_fPrevInputGain = m_Values.fInputGain;

    OV_ASSERT(m_FXInfo.uNumChannels == io_pBuffer->NumChannels());
    LoadBands(*io_pBuffer, m_BandSignal, n);
    if (in_pKey)
        LoadBands(*in_pKey, m_BandKey, std::min<uint32_t>(n, in_pKey->uValidFrames));
    std::memset(io_pBuffer->GetData(), 0,
                size_t(io_pBuffer->MaxFrames()) * io_pBuffer->NumChannels() * sizeof(float));

    UpdateCrossovers();
    io_block.uFrames = n;
    io_block.uNumBands = std::min(m_Values.uNumBands, OV_MULTIBANDCOMPRESSOR_NUM_BANDS);
    return true;
}

void OvMultibandCompressorFX::CompressBands(const Block& in_block, OvCompressor::Lane* io_pLanes, uint32_t in_uRoom,
                                            uint32_t& io_uNumLanes)
{
    for (uint32_t b = 0; b < in_block.uNumBands; ++b) {
        const OvMultibandCompressorBand& band = m_Values.band[b];
        OV::ApplyGainToBuffer(&m_BandSignal[b], m_fPrevBandInputGain[b], band.fBandInputGain, true);
        m_fPrevBandInputGain[b] = band.fBandInputGain;
        OvCompressor& compressor = m_Compressor[b];
        if (in_block.pKey || compressor.IsPerChannel()) {
            if (in_uRoom - io_uNumLanes < compressor.GetNumSideChain()) {
                OvCompressor::RunLanes(io_pLanes, io_uNumLanes);
                io_uNumLanes = 0;
            }
            io_uNumLanes += compressor.CollectLanes(io_pLanes + io_uNumLanes, in_uRoom - io_uNumLanes,
                                                    &m_BandSignal[b], in_block.pKey ? &m_BandKey[b] : nullptr,
                                                    band.fThreshold, band.fRatio, band.fAttack, band.fRelease,
                                                    band.fRange);
        } else {
            compressor.Process(&m_BandSignal[b], band.fThreshold, band.fRatio, band.fAttack, band.fRelease,
                               band.fRange);
        }
    }
}

void OvMultibandCompressorFX::End(const Block& in_block)
{
    OvPipelineBuffer* io_pBuffer = in_block.pBuffer;
    const uint32_t n = in_block.uFrames;
    const uint32_t uNumBands = in_block.uNumBands;
    // The previous band output gains are updated inside the channel loop, so
    // only the first channel ramps and the others step; intended.
    const uint32_t uChannels = std::min(io_pBuffer->NumChannels(), m_BandSignal[0].NumChannels());
    for (uint32_t c = 0; c < uChannels; ++c) {
        bool bSteady = true;
        const float* pBands[OV_MULTIBANDCOMPRESSOR_NUM_BANDS];
        float fGains[OV_MULTIBANDCOMPRESSOR_NUM_BANDS];
        for (uint32_t b = 0; b < uNumBands; ++b) {
            bSteady = bSteady && m_fPrevBandOutputGain[b] == m_Values.band[b].fBandOutputGain;
            pBands[b] = m_BandSignal[b].GetChannel(c);
            fGains[b] = m_Values.band[b].fBandOutputGain;
        }
        if (bSteady) {
            SumBands(io_pBuffer->GetChannel(c), pBands, fGains, uNumBands, n);
            continue;
        }
        for (uint32_t b = 0; b < uNumBands; ++b) {
            OV::Mix2InterpAnyLength(io_pBuffer->GetChannel(c), m_BandSignal[b].GetChannel(c), 1.0f, 1.0f,
                                    m_fPrevBandOutputGain[b], m_Values.band[b].fBandOutputGain, n);
            m_fPrevBandOutputGain[b] = m_Values.band[b].fBandOutputGain;
        }
    }

    OV::ApplyGainToBuffer(io_pBuffer, m_fPrevOutputGain, m_Values.fOutputGain, true);
    m_fPrevOutputGain = m_Values.fOutputGain;
}
