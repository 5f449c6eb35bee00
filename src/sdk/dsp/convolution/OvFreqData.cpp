#include "sdk/dsp/convolution/OvFreqData.h"

#include <cstring>

bool OV::ValidateFreqData(const uint8_t* in_pData, uint64_t in_uSize, OvFreqDataHeader* out_pHeader)
{
    if (!in_pData || in_uSize < OV_FREQDATA_HEADER_BYTES || (reinterpret_cast<uintptr_t>(in_pData) & 0xF) != 0)
        return false;
    OvFreqDataHeader header;
    std::memcpy(&header, in_pData, sizeof header);

    const uint32_t uBlock = header.uBlockLength;
    if (uBlock == 0 || (uBlock % 4) != 0 || header.uFFTLength != 2 * uint64_t(uBlock) ||
        header.uFFTLength > OV_FREQDATA_MAX_FFT_LENGTH)
        return false;
    const uint32_t uMaxBins = header.uMaxCompressedNumBins;
    if (uMaxBins < 2 || (uMaxBins % 2) != 0 || uMaxBins > header.uFFTLength / 2)
        return false;
    const uint32_t uChannels = FreqDataChannels(header.uChannelConfig);
    const uint32_t uPartitions = header.uNumCompressedPartition;
    if (uChannels == 0 || uPartitions == 0)
        return false;

    const uint64_t uSpectra = FreqDataSpectraOffset(uPartitions);
    if (uSpectra > in_uSize)
        return false;
    uint64_t uSum = 0;
    uint32_t uLargest = 0;
    for (uint32_t p = 0; p < uPartitions; ++p) {
        uint16_t uBins;
        std::memcpy(&uBins, in_pData + OV_FREQDATA_HEADER_BYTES + 2 * uint64_t(p), sizeof uBins);
        if ((uBins % 2) != 0 || uBins > uMaxBins)
            return false;
        uSum += uBins;
        if (uBins > uLargest)
            uLargest = uBins;
    }
    if (uSum != header.uTotalCompressedBins || uLargest != uMaxBins)
        return false;
    if (uSpectra + uint64_t(uChannels) * uSum * 8 > in_uSize)
        return false;
    if (out_pHeader)
        *out_pHeader = header;
    return true;
}
