#include "sdk/plugins/StereoEnhancer/StereoEnhancerPresets.h"

#include "ov/OvParamValues.h"
#include "sdk/plugins/StereoEnhancer/StereoEnhancerEffectParams.h"

namespace {

constexpr uint32_t N = STEREOENHANCER_NUM_PRESETS;

// What differs from preset to preset.
struct PresetValues {
    float fMidPresenceGainDb;  // band 2 of the mid EQ, the peak that presence moves
    uint8_t bMidPresenceOn;
    float fSideCompressorInputDb;
    float fSideCompressorBand4ThresholdDb;
    // Ambience reverb
    float fDecayTime, fHFDamping, fDiffusion;
    float fFilter1GainDb, fFilter1Hz, fFilter2GainDb, fFilter2Q, fFilter3GainDb, fFilter3Hz;
    float fRVBFrontDb, fRVBLFEDb, fDryDb, fERDb, fReverbDb;
    uint8_t bEREnable;
    uint32_t uPattern;
    float fPreDelayMs, fRoomSize, fSurroundDelayMs, fDensity, fRoomShape;
    uint32_t uQuality;
    uint8_t bTCEnable;
    uint32_t uFilter1Insert, uFilter2Insert;
    float fInputCenterDb, fInputLFEDb;
};

constexpr PresetValues kPresets[N] = {
    {0.0f, 0, 1.5f, -27.0f, 1.0f, 7.45f, 100.0f, 0.0f, 100.0f, 0.0f, 1.0f, -10.0f, 10000.0f, 0.0f, 0.0f, -96.3f,
     -96.0f, -96.0f, 0, 0, 0.0f, 0.0f, 0.0f, 80.0f, 100.0f, 16, 0, 3, 3, 0.0f, -96.3f},
    {0.0f, 0, 1.0f, -27.0f, 1.0f, 10.0f, 100.0f, 0.0f, 100.0f, 0.0f, 1.0f, -10.0f, 10000.0f, 0.0f, 0.0f, -96.3f,
     -96.0f, -18.0f, 0, 0, 0.0f, 0.0f, 0.0f, 100.0f, 100.0f, 16, 0, 3, 3, 0.0f, -96.3f},
    {2.0f, 1, 1.0f, -27.0f, 3.8f, 7.4f, 100.0f, -7.5f, 100.0f, -5.5f, 2.8f, -2.0f, 10000.0f, 0.0f, 0.0f, -21.0f,
     -96.0f, -15.0f, 0, 9, 21.0f, 37.0f, 15.0f, 90.0f, 100.0f, 16, 1, 3, 3, 0.0f, -96.3f},
    {1.0f, 1, 1.0f, -27.0f, 1.8f, 6.05f, 100.0f, 0.0f, 100.0f, 0.0f, 1.0f, -1.0f, 10000.0f, 0.0f, 0.0f, -96.3f,
     -96.0f, -12.0f, 0, 0, 0.0f, 0.0f, 0.0f, 80.0f, 100.0f, 16, 1, 3, 3, 0.0f, -96.3f},
    {1.5f, 1, 0.0f, -27.0f, 1.0f, 4.5f, 47.0f, 0.0f, 100.0f, -8.0f, 1.0f, -5.0f, 10000.0f, -2.0f, 0.0f, -96.3f,
     -96.0f, -12.5f, 1, 29, 1.0f, 0.0f, 5.0f, 75.0f, 79.0f, 14, 1, 3, 3, 0.0f, -38.3f},
    {2.5f, 1, 3.0f, -27.0f, 1.3f, 4.35f, 60.0f, 0.0f, 100.0f, -3.0f, 1.5f, 3.5f, 10000.0f, 0.0f, -1.0f, -53.3f,
     -96.0f, -28.0f, 1, 28, 100.0f, 52.0f, 62.0f, 51.0f, 50.0f, 16, 1, 3, 3, -1.0f, -96.3f},
    {2.0f, 1, 4.0f, -52.2f, 2.3f, 7.35f, 100.0f, 6.0f, 100.0f, 1.5f, 1.0f, -6.0f, 10000.0f, 0.0f, 0.0f, -96.3f,
     -96.0f, -19.5f, 0, 3, 0.0f, 62.0f, 10.0f, 82.0f, 85.0f, 16, 1, 3, 3, 0.0f, -96.3f},
    {2.0f, 1, 3.0f, -27.0f, 6.1f, 6.4f, 50.0f, -5.0f, 220.0f, 0.0f, 1.0f, 6.0f, 6960.0f, 0.0f, -96.3f, -61.3f,
     -20.0f, -24.0f, 0, 6, 105.0f, 100.0f, 11.0f, 100.0f, 16.0f, 8, 1, 2, 0, 0.0f, -96.3f},
};

// Common to all presets. Where the tables give no value (the output gain and
// LFE switch of the mid and side EQs, the input level of the mid
// compressor), 0 dB and 1 are used.
constexpr float kEQOutputGainDb = 0.0f;
constexpr uint8_t kEQProcessLFE = 1;
constexpr float kMidCompressorInputDb = 0.0f;

constexpr float kCrossoverHz[4] = {100.0f, 350.0f, 1500.0f, 7500.0f};
constexpr float kAttackS[5] = {0.5f, 0.4f, 0.3f, 0.2f, 0.1f};
constexpr float kReleaseS[5] = {1.0f, 0.8f, 0.6f, 0.4f, 0.2f};
constexpr float kMidBand3ReleaseS = 0.3f;
constexpr float kMidThresholdDb = -22.0f;
constexpr float kSideThresholdDb = -27.0f;
// The reverb's structure constants as the presets carry them; the last but
// one (the sum of the unit input delays, 100 ms) is not the reverb's own
// default, and stays so.
constexpr float kReverbStructure[11] = {8.0f, 50.0f, 2.0f, 0.1f, 0.8f, 66.0f, 15.0f, 5.0f, 40.0f, 100.0f, 50.0f};

OvParametricEQFXParams::BlockValues KeyEQ()
{
    return {{{7, -5.0f, 400.0f, 0.4f, 1}, {6, 24.0f, 864.0f, 1.0f, 0}, {8, 1.5f, 5000.0f, 0.4f, 1}},
            0.0f,
            1};
}

OvParametricEQFXParams::BlockValues SideEQ()
{
    return {{{4, 0.0f, 100.0f, 1.0f, 0}, {6, 0.0f, 1000.0f, 1.0f, 0}, {5, 0.0f, 12000.0f, 1.0f, 0}},
            kEQOutputGainDb,
            kEQProcessLFE};
}

OvParametricEQFXParams::BlockValues MidEQ(uint32_t in_uPreset)
{
    OvParametricEQFXParams::BlockValues values = SideEQ();
    values.bands[1] = {6, kPresets[in_uPreset].fMidPresenceGainDb, 4000.0f, 1.0f, kPresets[in_uPreset].bMidPresenceOn};
    if (in_uPreset == 2)
        values.bands[2] = {0, 0.0f, 18246.0f, 1.0f, 0};
    return values;
}

OvMultibandCompressorFXParams::BlockValues Compressor(bool in_bMid, uint32_t in_uPreset)
{
    OvMultibandCompressorFXParams::BlockValues values = {};
    for (uint32_t b = 0; b < OV_MULTIBANDCOMPRESSOR_NUM_BANDS; ++b) {
        float* pBand = values.fBand[b];
        pBand[OV_MBCFXPARAM_BAND_INPUTGAIN] = 0.0f;
        pBand[OV_MBCFXPARAM_BAND_THRESHOLD] = in_bMid ? kMidThresholdDb : kSideThresholdDb;
        pBand[OV_MBCFXPARAM_BAND_RATIO] = 1.2f;
        pBand[OV_MBCFXPARAM_BAND_ATTACK] = kAttackS[b];
        pBand[OV_MBCFXPARAM_BAND_RELEASE] = kReleaseS[b];
        pBand[OV_MBCFXPARAM_BAND_RANGE] = -6.0f;
        pBand[OV_MBCFXPARAM_BAND_OUTPUTGAIN] = 2.0f;
    }
    if (in_bMid)
        values.fBand[2][OV_MBCFXPARAM_BAND_RELEASE] = kMidBand3ReleaseS;
    else
        values.fBand[3][OV_MBCFXPARAM_BAND_THRESHOLD] = kPresets[in_uPreset].fSideCompressorBand4ThresholdDb;
    for (uint32_t e = 0; e < OV_MULTIBANDCOMPRESSOR_NUM_EDGES; ++e)
        values.fCrossover[e] = kCrossoverHz[e];
    values.fOutputGainDb = 0.0f;
    values.bProcessLFE = 1;
    values.bChannelLink = 1;
    values.bFourthOrderCrossover = 0;
    values.uNumBands = 5;
    values.fInputGainDb = in_bMid ? kMidCompressorInputDb : kPresets[in_uPreset].fSideCompressorInputDb;
    return values;
}

// The 186-byte block of the room reverb.
uint32_t PackAmbience(const PresetValues& in_p, uint8_t* out_pBlock)
{
    const float fLive[20] = {in_p.fDecayTime,     in_p.fHFDamping, in_p.fDiffusion, 180.0f,
                             in_p.fFilter1GainDb, in_p.fFilter1Hz, 1.0f,            in_p.fFilter2GainDb,
                             1000.0f,             in_p.fFilter2Q,  in_p.fFilter3GainDb, in_p.fFilter3Hz,
                             1.0f,                in_p.fRVBFrontDb, 0.0f,           0.0f,
                             in_p.fRVBLFEDb,      in_p.fDryDb,     in_p.fERDb,      in_p.fReverbDb};
    for (uint32_t i = 0; i < 20; ++i)
        OV::WriteLE(out_pBlock + 4 * i, fLive[i]);
    out_pBlock[80] = in_p.bEREnable;
    OV::WriteLE(out_pBlock + 81, in_p.uPattern);
    const float fRebuild[5] = {in_p.fPreDelayMs, in_p.fRoomSize, in_p.fSurroundDelayMs, in_p.fDensity,
                               in_p.fRoomShape};
    for (uint32_t i = 0; i < 5; ++i)
        OV::WriteLE(out_pBlock + 85 + 4 * i, fRebuild[i]);
    OV::WriteLE(out_pBlock + 105, in_p.uQuality);
    out_pBlock[109] = in_p.bTCEnable;
    // InsertType and CurveType of the three filters; the curves are low
    // shelf, peak and high shelf in every preset.
    const uint32_t uFilters[6] = {in_p.uFilter1Insert, 0, in_p.uFilter2Insert, 1, 3, 2};
    for (uint32_t i = 0; i < 6; ++i)
        OV::WriteLE(out_pBlock + 110 + 4 * i, uFilters[i]);
    OV::WriteLE(out_pBlock + 134, in_p.fInputCenterDb);
    OV::WriteLE(out_pBlock + 138, in_p.fInputLFEDb);
    for (uint32_t i = 0; i < 11; ++i)
        OV::WriteLE(out_pBlock + 142 + 4 * i, kReverbStructure[i]);
    return OvRoomVerbFXParams::OV_ROOMVERBFX_BLOCK_BYTES;
}

struct PresetTable {
    uint8_t bytes[N][STEREOENHANCER_PRESET_BYTES];

    PresetTable()
    {
        for (uint32_t p = 0; p < N; ++p) {
            uint8_t* pOut = bytes[p];
            auto section = [&pOut](auto in_pack) {
                const uint32_t uSize = in_pack(pOut + 4);
                OV::WriteLE(pOut, uSize);
                pOut += 4 + uSize;
            };
            section([](uint8_t* o) { return OvParametricEQFXParams::PackBlock(KeyEQ(), o); });
            section([p](uint8_t* o) { return OvParametricEQFXParams::PackBlock(MidEQ(p), o); });
            section([](uint8_t* o) { return OvParametricEQFXParams::PackBlock(KeyEQ(), o); });
            section([](uint8_t* o) { return OvParametricEQFXParams::PackBlock(SideEQ(), o); });
            section([p](uint8_t* o) { return OvMultibandCompressorFXParams::PackBlock(Compressor(true, p), o); });
            section([p](uint8_t* o) { return OvMultibandCompressorFXParams::PackBlock(Compressor(false, p), o); });
            section([p](uint8_t* o) { return PackAmbience(kPresets[p], o); });
        }
    }
};

}  // namespace

const uint8_t* StereoEnhancerPreset(uint32_t in_uIndex)
{
    static const PresetTable s_table;
    return s_table.bytes[in_uIndex < N ? in_uIndex : N - 1];
}
