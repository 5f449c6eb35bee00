#include "sdk/plugins/OvGraphicEQ/OvGraphicEQFXParams.h"

#include <algorithm>
#include <cmath>

#include "ov/OvAssert.h"
#include "ov/OvParamValues.h"

namespace {

// Gains, bands and output, are clamped to +-24 dB, as the parametric EQ's
// are: 1e6 dB or an infinity would make the design's amplitude infinite or
// zero, and up to 30 bands can pile up at one frequency (at 45 % of the rate,
// where the design holds them), whose boosts add; at 24 dB each the sum stays
// within the float range.
constexpr float kMaxGainDb = 24.0f;
// The start frequency is clamped to 1 Hz or above: at 0 or below the band
// frequencies vanish or turn negative. Every band is then held to 45 % of the
// rate by the design, which also moves one whose float poles would not be
// stable (far below the audible range) upwards.
constexpr float kMinFrequencyHz = 1.0f;
// The bandwidth is clamped to [0.05, 8] octaves: the band Q it gives,
// sqrt(2^b) / (2^b - 1), then stays within the shelf Qs' domain (28.8 down
// to 0.063); at 0 octaves the Q is infinite, below 0 negative.
constexpr float kMinBandwidthOctaves = 0.05f;
constexpr float kMaxBandwidthOctaves = 8.0f;
// Shelf Qs are clamped to [0.05, 40]: at 0 the design divides by zero, below
// it the poles leave the unit circle.
constexpr float kMinQ = 0.05f;
constexpr float kMaxQ = 40.0f;
// The band count is clamped to [3, 30]: the filter grid has room for 30, and
// the shelves need a peak between them.
constexpr uint32_t kMinBands = 3;

// One float field, ID in_uID, held to its domain; in dB for the output gain,
// which comes back linear. A NaN gives in_fPrevious.
float FieldInDomain(uint16_t in_uID, float in_fValue, float in_fPrevious)
{
    switch (in_uID) {
    case OV_GRAPHICEQ_ID_STARTFREQUENCY:
        return OV::ClampToDomain(in_fValue, kMinFrequencyHz, INFINITY, in_fPrevious);
    case OV_GRAPHICEQ_ID_BANDWIDTH:
        return OV::ClampToDomain(in_fValue, kMinBandwidthOctaves, kMaxBandwidthOctaves, in_fPrevious);
    case OV_GRAPHICEQ_ID_OUTPUTGAIN:
        return OV::DbToLinearInDomain(in_fValue, -kMaxGainDb, kMaxGainDb, in_fPrevious);
    case OV_GRAPHICEQ_ID_LOWSHELFQ:
    case OV_GRAPHICEQ_ID_HIGHSHELFQ:
        return OV::ClampToDomain(in_fValue, kMinQ, kMaxQ, in_fPrevious);
    default:
        return OvGraphicEQFXParams::BandGainInDomain(in_fValue, in_fPrevious);
    }
}

uint32_t NumBandsInDomain(uint32_t in_uNumBands)
{
    return std::clamp(in_uNumBands, kMinBands, OV_GRAPHICEQ_MAX_BANDS);
}

}  // namespace

float OvGraphicEQFXParams::BandGainInDomain(float in_fGainDb, float in_fPreviousDb)
{
    return OV::ClampToDomain(in_fGainDb, -kMaxGainDb, kMaxGainDb, in_fPreviousDb);
}

OvResult OvGraphicEQFXParams::SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize)
{
    const bool bValid = in_uID <= OV_GRAPHICEQ_ID_SHELVES;
    if (!bValid) {
        OV_ASSERT_TEXT(false, "Invalid Graphic EQ parameter.");
        return OV_BadParameter;
    }
    const uint32_t needed = in_uID == OV_GRAPHICEQ_ID_SHELVES ? 1 : 4;
    if (in_pValue == nullptr || in_uSize < needed)
        return OV_BadParameter;  // nothing to read: refused
    const uint8_t* p = static_cast<const uint8_t*>(in_pValue);
    // Each value is held to its domain first (FieldInDomain, NumBandsInDomain).
    auto inDomain = [&](float in_fPrevious) { return FieldInDomain(in_uID, OV::ReadLE<float>(p), in_fPrevious); };
    OvGraphicEQFXParamsBlock& v = m_Params;
    switch (in_uID) {
    case OV_GRAPHICEQ_ID_STARTFREQUENCY: v.fStartFrequency = inDomain(v.fStartFrequency); break;
    case OV_GRAPHICEQ_ID_BANDWIDTH: v.fBandwidth = inDomain(v.fBandwidth); break;
    case OV_GRAPHICEQ_ID_OUTPUTGAIN: v.fOutputGain = inDomain(v.fOutputGain); break;
    case OV_GRAPHICEQ_ID_LOWSHELFQ: v.fLowShelfQ = inDomain(v.fLowShelfQ); break;
    case OV_GRAPHICEQ_ID_HIGHSHELFQ: v.fHighShelfQ = inDomain(v.fHighShelfQ); break;
    case OV_GRAPHICEQ_ID_NUMBANDS: v.uNumBands = NumBandsInDomain(OV::ReadLE<uint32_t>(p)); break;
    case OV_GRAPHICEQ_ID_SHELVES: v.bShelves = p[0]; break;
    default: {
        float& gain = v.fBandGain[in_uID - OV_GRAPHICEQ_ID_BANDGAIN0];
        gain = inDomain(gain);
        break;
    }
    }
    m_ParamChangeHandler.MarkChanged(in_uID);
    return OV_Success;
}

OvResult OvGraphicEQFXParams::SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize)
{
    if (in_pParamsBlock == nullptr || in_uBlockSize < OV_GRAPHICEQ_BLOCK_HEADER_BYTES)
        return OV_BadParameter;
    const uint8_t* p = static_cast<const uint8_t*>(in_pParamsBlock);
    const uint32_t uNumBands = OV::ReadLE<uint32_t>(p + OV_GRAPHICEQ_OFFSET_NUMBANDS);
    const uint32_t uGainsRead = std::min(uNumBands, OV_GRAPHICEQ_MAX_BANDS);
    const uint32_t uBlockBytes = OvGraphicEQBlockBytes(uNumBands);
    if (in_uBlockSize < uBlockBytes)
        return OV_BadParameter;
    // The same domains as SetParam.
    OvGraphicEQFXParamsBlock& v = m_Params;
    auto field = [&](uint16_t in_uID, uint32_t in_uOffset, float in_fPrevious) {
        return FieldInDomain(in_uID, OV::ReadLE<float>(p + in_uOffset), in_fPrevious);
    };
    v.fStartFrequency = field(OV_GRAPHICEQ_ID_STARTFREQUENCY, OV_GRAPHICEQ_OFFSET_STARTFREQUENCY, v.fStartFrequency);
    v.fBandwidth = field(OV_GRAPHICEQ_ID_BANDWIDTH, OV_GRAPHICEQ_OFFSET_BANDWIDTH, v.fBandwidth);
    v.fOutputGain = field(OV_GRAPHICEQ_ID_OUTPUTGAIN, OV_GRAPHICEQ_OFFSET_OUTPUTGAIN, v.fOutputGain);
    v.fLowShelfQ = field(OV_GRAPHICEQ_ID_LOWSHELFQ, OV_GRAPHICEQ_OFFSET_LOWSHELFQ, v.fLowShelfQ);
    v.fHighShelfQ = field(OV_GRAPHICEQ_ID_HIGHSHELFQ, OV_GRAPHICEQ_OFFSET_HIGHSHELFQ, v.fHighShelfQ);
    v.bShelves = p[OV_GRAPHICEQ_OFFSET_SHELVES];
    v.uNumBands = NumBandsInDomain(uNumBands);
    for (uint32_t i = 0; i < uGainsRead; ++i)
        v.fBandGain[i] = BandGainInDomain(OV::ReadLE<float>(p + OV_GRAPHICEQ_OFFSET_BANDGAIN0 + 4 * i), v.fBandGain[i]);
    m_ParamChangeHandler.MarkAllChanged();
    OV_CHECK_BLOCK_END(in_uBlockSize, uBlockBytes);
    return OV_Success;
}

uint32_t OvGraphicEQFXParams::PackBlock(const BlockValues& in_values, uint8_t* out_pBlock)
{
    OV::WriteLE(out_pBlock + OV_GRAPHICEQ_OFFSET_STARTFREQUENCY, in_values.fStartFrequency);
    OV::WriteLE(out_pBlock + OV_GRAPHICEQ_OFFSET_BANDWIDTH, in_values.fBandwidth);
    OV::WriteLE(out_pBlock + OV_GRAPHICEQ_OFFSET_OUTPUTGAIN, in_values.fOutputGainDb);
    OV::WriteLE(out_pBlock + OV_GRAPHICEQ_OFFSET_LOWSHELFQ, in_values.fLowShelfQ);
    OV::WriteLE(out_pBlock + OV_GRAPHICEQ_OFFSET_HIGHSHELFQ, in_values.fHighShelfQ);
    out_pBlock[OV_GRAPHICEQ_OFFSET_SHELVES] = in_values.bShelves;
    OV::WriteLE(out_pBlock + OV_GRAPHICEQ_OFFSET_NUMBANDS, in_values.uNumBands);
    const uint32_t uGains = std::min(in_values.uNumBands, OV_GRAPHICEQ_MAX_BANDS);
    for (uint32_t i = 0; i < uGains; ++i)
        OV::WriteLE(out_pBlock + OV_GRAPHICEQ_OFFSET_BANDGAIN0 + 4 * i, in_values.fBandGain[i]);
    return OvGraphicEQBlockBytes(in_values.uNumBands);
}
