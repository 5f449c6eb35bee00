#include "sdk/plugins/OvMultibandCompressor/OvMultibandCompressorFXParams.h"

#include <cstring>

#include "ov/OvAssert.h"
#include "ov/OvParamValues.h"

namespace {

// Stores one band field; in_uField is the offset within the band's IDs.
void SetBandField(OvMultibandCompressorBand& io_band, uint32_t in_uField, float in_fValue)
{
    switch (in_uField) {
    case OV_MBCFXPARAM_BAND_INPUTGAIN: io_band.fBandInputGain = OV::DbToLinear(in_fValue); break;
    case OV_MBCFXPARAM_BAND_THRESHOLD: io_band.fThreshold = in_fValue; break;
    case OV_MBCFXPARAM_BAND_RATIO: io_band.fRatio = in_fValue; break;
    case OV_MBCFXPARAM_BAND_ATTACK: io_band.fAttack = in_fValue; break;
    case OV_MBCFXPARAM_BAND_RELEASE: io_band.fRelease = in_fValue; break;
    case OV_MBCFXPARAM_BAND_RANGE: io_band.fRange = in_fValue; break;
    case OV_MBCFXPARAM_BAND_OUTPUTGAIN: io_band.fBandOutputGain = OV::DbToLinear(in_fValue); break;
    default: break;
    }
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
        m_Params.fCrossover[in_uID - OV_MBCFXPARAM_CROSSOVER0_ID] = fValue;
    } else {
        switch (in_uID) {
        case OV_MBCFXPARAM_OUTPUTGAIN_ID: m_Params.fOutputGain = OV::DbToLinear(fValue); break;
        case OV_MBCFXPARAM_PROCESSLFE_ID: m_Params.bProcessLFE = *p != 0; break;
        case OV_MBCFXPARAM_CHANNELLINK_ID: m_Params.bChannelLink = *p != 0; break;
        case OV_MBCFXPARAM_FOURTHORDER_ID: m_Params.bFourthOrderCrossover = *p != 0; break;
        case OV_MBCFXPARAM_NUMBANDS_ID: std::memcpy(&m_Params.uNumBands, p, 4); break;
        case OV_MBCFXPARAM_INPUTGAIN_ID: m_Params.fInputGain = OV::DbToLinear(fValue); break;
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
        m_Params.fCrossover[e] = OV::ReadLE<float>(p + OV_MBCFXPARAM_OFFSET_CROSSOVER0 + 4 * e);
    m_Params.fOutputGain = OV::DbToLinear(OV::ReadLE<float>(p + OV_MBCFXPARAM_OFFSET_OUTPUTGAIN));
    m_Params.bProcessLFE = p[OV_MBCFXPARAM_OFFSET_PROCESSLFE] != 0;
    m_Params.bChannelLink = p[OV_MBCFXPARAM_OFFSET_CHANNELLINK] != 0;
    m_Params.bFourthOrderCrossover = p[OV_MBCFXPARAM_OFFSET_FOURTHORDER] != 0;
    m_Params.uNumBands = OV::ReadLE<uint32_t>(p + OV_MBCFXPARAM_OFFSET_NUMBANDS);
    m_Params.fInputGain = OV::DbToLinear(OV::ReadLE<float>(p + OV_MBCFXPARAM_OFFSET_INPUTGAIN));
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
