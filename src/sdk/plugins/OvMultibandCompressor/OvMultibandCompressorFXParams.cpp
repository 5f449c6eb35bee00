#include "sdk/plugins/OvMultibandCompressor/OvMultibandCompressorFXParams.h"

#include <cmath>
#include <cstring>

#include "ov/OvAssert.h"
#include "ov/OvParamValues.h"
#include "sdk/plugins/OvCompressor/OvCompressorFXParams.h"

namespace {

// Every gain (band input and output, input, output) is clamped to +-40 dB,
// and each band's threshold, ratio, attack, release and range to the
// single-band compressor's domains, for the same reasons (see
// OvCompressorFXParams::FieldInDomain). A NaN keeps the previous value.
float GainInDomain(float in_fDb, float in_fPreviousLinear)
{
    return OV::DbToLinearInDomain(in_fDb, -OV_COMPRESSOR_MAX_GAIN_DB, OV_COMPRESSOR_MAX_GAIN_DB,
                                  in_fPreviousLinear);
}

// Stores one band field held to its domain; in_uField is the offset within
// the band's IDs.
void SetBandField(OvMultibandCompressorBand& io_band, uint32_t in_uField, float in_fValue)
{
    const float inf = INFINITY;
    switch (in_uField) {
    case OV_MBCFXPARAM_BAND_INPUTGAIN: io_band.fBandInputGain = GainInDomain(in_fValue, io_band.fBandInputGain); break;
    case OV_MBCFXPARAM_BAND_THRESHOLD:
        io_band.fThreshold = OV::ClampToDomain(in_fValue, OV_COMPRESSOR_MIN_THRESHOLD_DB,
                                               OV_COMPRESSOR_MAX_THRESHOLD_DB, io_band.fThreshold);
        break;
    case OV_MBCFXPARAM_BAND_RATIO:
        io_band.fRatio = OV::ClampToDomain(in_fValue, OV_COMPRESSOR_MIN_RATIO, inf, io_band.fRatio);
        break;
    case OV_MBCFXPARAM_BAND_ATTACK:
        io_band.fAttack = OV::ClampToDomain(in_fValue, 0.0f, OV_COMPRESSOR_MAX_TIME_S, io_band.fAttack);
        break;
    case OV_MBCFXPARAM_BAND_RELEASE:
        io_band.fRelease = OV::ClampToDomain(in_fValue, 0.0f, OV_COMPRESSOR_MAX_TIME_S, io_band.fRelease);
        break;
    case OV_MBCFXPARAM_BAND_RANGE:
        io_band.fRange = OV::ClampToDomain(in_fValue, -inf, OV_COMPRESSOR_MAX_RANGE_DB, io_band.fRange);
        break;
    case OV_MBCFXPARAM_BAND_OUTPUTGAIN:
        io_band.fBandOutputGain = GainInDomain(in_fValue, io_band.fBandOutputGain);
        break;
    default: break;
    }
}

// Crossover edges are clamped to 1 Hz or above: at 0 the fourth-order design
// divides by tan(0). The crossover then holds each edge to 1e-4 .. 45 % of
// the rate, where its float filters are stable.
float CrossoverInDomain(float in_fHz, float in_fPrevious)
{
    return OV::ClampToDomain(in_fHz, 1.0f, INFINITY, in_fPrevious);
}

// The band count is clamped to [1, 5]: the crossover splits into at most five
// bands, and with none nothing would be heard.
uint32_t NumBandsInDomain(uint32_t in_uNumBands)
{
    return in_uNumBands < 1 ? 1 : (in_uNumBands > OV_MULTIBANDCOMPRESSOR_NUM_BANDS ? OV_MULTIBANDCOMPRESSOR_NUM_BANDS
                                                                                   : in_uNumBands);
}

}  // namespace

OvResult OvMultibandCompressorFXParams::SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize)
{
    if (!in_pValue) {
        OV_ASSERT(in_pValue != NULL);
        return OV_BadParameter;
    }
    if (in_uID > OV_MBCFXPARAM_MAX_ID) {
        OV_ASSERT_TEXT(false, "Invalid Multi Band Compressor parameter ID");
        return OV_BadParameter;
    }
    const bool bByte = in_uID >= OV_MBCFXPARAM_PROCESSLFE_ID && in_uID <= OV_MBCFXPARAM_FOURTHORDER_ID;
    if (in_uSize < (bByte ? 1u : 4u))
        return OV_BadParameter;

    const uint8_t* p = static_cast<const uint8_t*>(in_pValue);
    float fValue = 0.0f;
    if (!bByte)
        std::memcpy(&fValue, p, sizeof fValue);
    const uint32_t uBandIDs = OV_MULTIBANDCOMPRESSOR_NUM_BANDS * OV_MBCFXPARAM_BAND_STRIDE;
    if (in_uID < uBandIDs) {
        SetBandField(m_Params.band[in_uID / OV_MBCFXPARAM_BAND_STRIDE], in_uID % OV_MBCFXPARAM_BAND_STRIDE,
                     fValue);
    } else if (in_uID < OV_MBCFXPARAM_OUTPUTGAIN_ID) {
        float& edge = m_Params.fCrossover[in_uID - OV_MBCFXPARAM_CROSSOVER0_ID];
        edge = CrossoverInDomain(fValue, edge);
    } else {
        switch (in_uID) {
        case OV_MBCFXPARAM_OUTPUTGAIN_ID: m_Params.fOutputGain = GainInDomain(fValue, m_Params.fOutputGain); break;
        case OV_MBCFXPARAM_PROCESSLFE_ID: m_Params.bProcessLFE = *p != 0; break;
        case OV_MBCFXPARAM_CHANNELLINK_ID: m_Params.bChannelLink = *p != 0; break;
        case OV_MBCFXPARAM_FOURTHORDER_ID: m_Params.bFourthOrderCrossover = *p != 0; break;
        case OV_MBCFXPARAM_NUMBANDS_ID: m_Params.uNumBands = NumBandsInDomain(OV::ReadLE<uint32_t>(p)); break;
        case OV_MBCFXPARAM_INPUTGAIN_ID: m_Params.fInputGain = GainInDomain(fValue, m_Params.fInputGain); break;
        default: break;
        }
    }
    m_ParamChangeHandler.MarkChanged(in_uID);
    return OV_Success;
}

OvResult OvMultibandCompressorFXParams::SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize)
{
    // A short block is refused rather than read past its end.
    if (!in_pParamsBlock || in_uBlockSize < OV_MBCFXPARAM_BLOCK_BYTES)
        return OV_BadParameter;
    const uint8_t* p = static_cast<const uint8_t*>(in_pParamsBlock);
    for (uint32_t b = 0; b < OV_MULTIBANDCOMPRESSOR_NUM_BANDS; ++b)
        for (uint32_t k = 0; k < OV_MBCFXPARAM_BAND_STRIDE; ++k)
            SetBandField(m_Params.band[b], k, OV::ReadLE<float>(p + OV_MBCFXPARAM_OFFSET_BAND_STRIDE * b + 4 * k));
    for (uint32_t e = 0; e < OV_MULTIBANDCOMPRESSOR_NUM_EDGES; ++e)
        m_Params.fCrossover[e] =
            CrossoverInDomain(OV::ReadLE<float>(p + OV_MBCFXPARAM_OFFSET_CROSSOVER0 + 4 * e), m_Params.fCrossover[e]);
    m_Params.fOutputGain = GainInDomain(OV::ReadLE<float>(p + OV_MBCFXPARAM_OFFSET_OUTPUTGAIN), m_Params.fOutputGain);
    m_Params.bProcessLFE = p[OV_MBCFXPARAM_OFFSET_PROCESSLFE] != 0;
    m_Params.bChannelLink = p[OV_MBCFXPARAM_OFFSET_CHANNELLINK] != 0;
    m_Params.bFourthOrderCrossover = p[OV_MBCFXPARAM_OFFSET_FOURTHORDER] != 0;
    m_Params.uNumBands = NumBandsInDomain(OV::ReadLE<uint32_t>(p + OV_MBCFXPARAM_OFFSET_NUMBANDS));
    m_Params.fInputGain = GainInDomain(OV::ReadLE<float>(p + OV_MBCFXPARAM_OFFSET_INPUTGAIN), m_Params.fInputGain);
    OV_CHECK_BLOCK_END(in_uBlockSize, OV_MBCFXPARAM_BLOCK_BYTES);
    m_ParamChangeHandler.MarkAllChanged();
    return OV_Success;
}

uint32_t OvMultibandCompressorFXParams::PackBlock(const BlockValues& in_values, uint8_t* out_pBlock)
{
    for (uint32_t b = 0; b < OV_MULTIBANDCOMPRESSOR_NUM_BANDS; ++b)
        for (uint32_t k = 0; k < OV_MBCFXPARAM_BAND_STRIDE; ++k)
            OV::WriteLE(out_pBlock + OV_MBCFXPARAM_OFFSET_BAND_STRIDE * b + 4 * k, in_values.fBand[b][k]);
    for (uint32_t e = 0; e < OV_MULTIBANDCOMPRESSOR_NUM_EDGES; ++e)
        OV::WriteLE(out_pBlock + OV_MBCFXPARAM_OFFSET_CROSSOVER0 + 4 * e, in_values.fCrossover[e]);
    OV::WriteLE(out_pBlock + OV_MBCFXPARAM_OFFSET_OUTPUTGAIN, in_values.fOutputGainDb);
    out_pBlock[OV_MBCFXPARAM_OFFSET_PROCESSLFE] = in_values.bProcessLFE;
    out_pBlock[OV_MBCFXPARAM_OFFSET_CHANNELLINK] = in_values.bChannelLink;
    out_pBlock[OV_MBCFXPARAM_OFFSET_FOURTHORDER] = in_values.bFourthOrderCrossover;
    OV::WriteLE(out_pBlock + OV_MBCFXPARAM_OFFSET_NUMBANDS, in_values.uNumBands);
    OV::WriteLE(out_pBlock + OV_MBCFXPARAM_OFFSET_INPUTGAIN, in_values.fInputGainDb);
    return OV_MBCFXPARAM_BLOCK_BYTES;
}
