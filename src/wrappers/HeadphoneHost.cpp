#include "wrappers/HeadphoneHost.h"

#include "ov/OvCpuInfo.h"
#include "ov/OvMemAllocDefault.h"

OvResult HeadphoneHost::FetchMedia(uint32_t, const uint8_t** out_pData, uint32_t* out_uSize)
{
    if (out_pData)
        *out_pData = m_pFreqData;
    if (out_uSize)
        *out_uSize = m_uMediaSize;
    return OV_Success;
}

const OvCpuInfo* HeadphoneHost::GetCpuInfo() const
{
    return &OvCpuInfo::Get();
}

void HeadphoneHost::SetMedia(uint8_t* in_pFreqData, uint32_t in_uSize)
{
    FreeMedia();
    m_pFreqData = in_pFreqData;
    m_uMediaSize = in_pFreqData ? in_uSize : 0;
}

void HeadphoneHost::FreeMedia()
{
    if (m_pFreqData)
        OV::DefaultAllocator()->Free(m_pFreqData);
    m_pFreqData = nullptr;
    m_uMediaSize = 0;
}
