#include "wrappers/ReverbProcessorImpl.h"

#include <new>

ReverbProcessor* ReverbProcessor::Create()
{
    return new (std::nothrow) ReverbProcessorImpl;
}

void ReverbProcessorImpl::SetEarlyReflections(bool enable, uint32_t pattern, float roomSize, float surroundDelay)
{
    if (!m_pParam)
        return;
    const OvRoomVerbRebuildParams& r = m_pParam->rebuild;
    const uint8_t uEnable = enable ? 1 : 0;
    SendParamIfChanged(OV_ROOMVERBFXPARAM_ERENABLE_ID, uEnable, uint8_t(r.bEREnable ? 1 : 0));
    SendParamIfChanged(OV_ROOMVERBFXPARAM_PATTERN_ID, pattern, r.uPattern);
    SendParamIfChanged(OV_ROOMVERBFXPARAM_ROOMSIZE_ID, roomSize, r.fRoomSize);
    SendParamIfChanged(OV_ROOMVERBFXPARAM_SURROUNDDELAY_ID, surroundDelay, r.fSurroundDelay);
}

void ReverbProcessorImpl::SetReverbBody(const ReverbParams& params)
{
    if (!m_pParam)
        return;
    const OvRoomVerbRebuildParams& r = m_pParam->rebuild;
    const OvRoomVerbLiveParams& l = m_pParam->live;
    SendParamIfChanged(OV_ROOMVERBFXPARAM_PREDELAY_ID, params.PreDelay, r.fPreDelay);
    SendParamIfChanged(OV_ROOMVERBFXPARAM_DECAYTIME_ID, params.DecayTime, l.fDecayTime);
    SendParamIfChanged(OV_ROOMVERBFXPARAM_HFDAMPING_ID, params.HFDamping, l.fHFDamping);
    SendParamIfChanged(OV_ROOMVERBFXPARAM_DENSITY_ID, params.Density, r.fDensity);
    SendParamIfChanged(OV_ROOMVERBFXPARAM_ROOMSHAPE_ID, params.RoomShape, r.fRoomShape);
    SendParamIfChanged(OV_ROOMVERBFXPARAM_QUALITY_ID, params.Quality, r.uQuality);
    SendParamIfChanged(OV_ROOMVERBFXPARAM_DIFFUSION_ID, params.Diffusion, l.fDiffusion);
    SendParamIfChanged(OV_ROOMVERBFXPARAM_STEREOWIDTH_ID, params.StereoWidth, l.fStereoWidth);
}

void ReverbProcessorImpl::SetToneCorrectionEnable(bool enable)
{
    if (!m_pParam)
        return;
    SendParamIfChanged(OV_ROOMVERBFXPARAM_TCENABLE_ID, uint8_t(enable ? 1 : 0),
                       uint8_t(m_pParam->rebuild.bTCEnable ? 1 : 0));
}

void ReverbProcessorImpl::SetToneCorrectionFilter(uint32_t index, const ReverbFilterParams& params)
{
    if (!m_pParam || index < 1 || index > 3)
        return;
    const uint16_t uFirstID = uint16_t(OV_ROOMVERBFXPARAM_FILTER1_INSERTTYPE_ID + 5 * (index - 1));
    const OvRoomVerbRebuildFilter& r = m_pParam->rebuild.filters[index - 1];
    const OvRoomVerbLiveFilter& l = m_pParam->live.filters[index - 1];
    SendParamIfChanged(uFirstID, params.InsertType, r.uInsertType);
    SendParamIfChanged(uint16_t(uFirstID + 1), params.CurveType, r.uCurveType);
    SendParamIfChanged(uint16_t(uFirstID + 2), params.Gain, l.fGain);
    SendParamIfChanged(uint16_t(uFirstID + 3), params.Freq, l.fFrequency);
    SendParamIfChanged(uint16_t(uFirstID + 4), params.Q, l.fQ);
}

void ReverbProcessorImpl::SendLevelIfChanged(uint16_t in_uID, float in_fDb, float& io_fCachedDb)
{
    if (in_fDb == io_fCachedDb)
        return;
    io_fCachedDb = in_fDb;
    SendParam(in_uID, in_fDb);
}

void ReverbProcessorImpl::SetInputLevels(float center, float lfe)
{
    SendLevelIfChanged(OV_ROOMVERBFXPARAM_INPUTLEVEL_CENTER_ID, center, m_fInputCenterDb);
    SendLevelIfChanged(OV_ROOMVERBFXPARAM_INPUTLEVEL_LFE_ID, lfe, m_fInputLFEDb);
}

void ReverbProcessorImpl::SetReverbLevels(float front, float rear, float center, float lfe)
{
    SendLevelIfChanged(OV_ROOMVERBFXPARAM_RVBLEVEL_FRONT_ID, front, m_fRVBFrontDb);
    SendLevelIfChanged(uint16_t(OV_ROOMVERBFXPARAM_RVBLEVEL_FRONT_ID + 1), rear, m_fRVBRearDb);
    SendLevelIfChanged(uint16_t(OV_ROOMVERBFXPARAM_RVBLEVEL_FRONT_ID + 2), center, m_fRVBCenterDb);
    SendLevelIfChanged(uint16_t(OV_ROOMVERBFXPARAM_RVBLEVEL_FRONT_ID + 3), lfe, m_fRVBLFEDb);
}

void ReverbProcessorImpl::SetOutputLevels(float dry, float er, float reverb)
{
    SendLevelIfChanged(OV_ROOMVERBFXPARAM_OUTPUTLEVEL_DRY_ID, dry, m_fDryDb);
    SendLevelIfChanged(OV_ROOMVERBFXPARAM_OUTPUTLEVEL_ER_ID, er, m_fERDb);
    SendLevelIfChanged(OV_ROOMVERBFXPARAM_OUTPUTLEVEL_REVERB_ID, reverb, m_fReverbDb);
}
