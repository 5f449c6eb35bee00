// The host of the headphone effect's convolution reverb: an OvEffectHost
// that also serves the impulse's frequency data block as the plug-in's
// media (whatever index is asked for) and the processor's features. It owns
// the block, which comes from the default allocator.
#pragma once

#include <cstdint>

#include "wrappers/OvEffectHost.h"

class HeadphoneHost final : public OvEffectHost {
public:
    HeadphoneHost() = default;
    ~HeadphoneHost() override { FreeMedia(); }

    OvResult FetchMedia(uint32_t in_uIndex, const uint8_t** out_pData, uint32_t* out_uSize) override;
    const OvCpuInfo* GetCpuInfo() const override;

    // Takes the block (from OV::DefaultAllocator()); frees any earlier one.
    void SetMedia(uint8_t* in_pFreqData, uint32_t in_uSize);
    void FreeMedia();

private:
    uint8_t* m_pFreqData = nullptr;
    uint32_t m_uMediaSize = 0;
};
