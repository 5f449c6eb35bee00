// The chain's room reverb: OvRoomVerbFX behind the plug-in wrapper, started
// from the parameter object's defaults. Each setter forwards only the values
// that differ: the ER, body and tone values from what the parameter object
// holds, the nine levels (dB) from a cache of what was last sent, because the
// object keeps them linear. The cache starts at 0 dB, so a first request of
// exactly 0 dB for a level whose default is lower (input LFE, RVB LFE, ER,
// reverb) is not forwarded and the default stays; intended.
#pragma once

#include "sdk/plugins/OvRoomVerb/OvRoomVerbFX.h"
#include "sdk/plugins/OvRoomVerb/OvRoomVerbFXParams.h"
#include "wrappers/OvProcessorWrapper.h"
#include "wrappers/ReverbProcessor.h"

class ReverbProcessorImpl final : public OvProcessorWrapper<ReverbProcessor, OvRoomVerbFX, OvRoomVerbFXParams> {
public:
    ReverbProcessorImpl() : OvProcessorWrapper(nullptr, 0) {}

    void SetEarlyReflections(bool enable, uint32_t pattern, float roomSize, float surroundDelay) override;
    void SetReverbBody(const ReverbParams& params) override;
    void SetToneCorrectionEnable(bool enable) override;
    void SetToneCorrectionFilter(uint32_t index, const ReverbFilterParams& params) override;
    void SetInputLevels(float center, float lfe) override;
    void SetReverbLevels(float front, float rear, float center, float lfe) override;
    void SetOutputLevels(float dry, float er, float reverb) override;

    const OvRoomVerbFX* Plugin() const { return m_pPlugin; }
    const OvRoomVerbFXParams* Params() const { return m_pParam; }

private:
    // Sends in_fDb under in_uID when it differs from the cached value, and caches it.
    void SendLevelIfChanged(uint16_t in_uID, float in_fDb, float& io_fCachedDb);

    float m_fInputCenterDb = 0.0f;
    float m_fInputLFEDb = 0.0f;
    float m_fRVBFrontDb = 0.0f;
    float m_fRVBRearDb = 0.0f;
    float m_fRVBCenterDb = 0.0f;
    float m_fRVBLFEDb = 0.0f;
    float m_fDryDb = 0.0f;
    float m_fERDb = 0.0f;
    float m_fReverbDb = 0.0f;
};
