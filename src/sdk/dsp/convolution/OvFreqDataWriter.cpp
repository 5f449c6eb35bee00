#include "sdk/dsp/convolution/OvFreqDataWriter.h"

#include <cmath>
#include <cstring>

#include "ov/OvAssert.h"
#include "ov/OvChannelConfig.h"
#include "sdk/dsp/convolution/OvFreqData.h"
#include "sdk/dsp/convolution/ov_fftr.h"

namespace {

// The smallest power of two at or above in_uNum.
uint32_t NextPowerOfTwo(uint32_t in_uNum)
{
    OV_ASSERT(in_uNum > 0);
    uint32_t uPower = 1;
    while (uPower < in_uNum)
        uPower <<= 1;
    return uPower;
}

// Frees what it holds when it goes.
struct Scratch {
    IOvMemAlloc* pAllocator;
    void* pMemory;
    ~Scratch() { pAllocator->Free(pMemory); }
};

}  // namespace

uint8_t* OV::WriteFreqData(IOvMemAlloc* in_pAllocator, const float* in_pSamples, uint32_t in_uSamples,
                           uint32_t in_uBlockLength, uint32_t in_uSampleRate, uint32_t* out_pBytes)
{
    if (out_pBytes)
        *out_pBytes = 0;
    if (!in_pAllocator || !in_pSamples || !out_pBytes || in_uSamples == 0 ||
        in_uSamples > OV_FREQDATA_MAX_IMPULSE_SAMPLES || in_uBlockLength < 4 || in_uBlockLength > 16384 ||
        (in_uBlockLength & (in_uBlockLength - 1)) != 0)
        return nullptr;
    OV_ASSERT((in_uBlockLength % 4) == 0);
    const uint32_t uBlock = in_uBlockLength;
    const uint32_t uFFT = NextPowerOfTwo(2 * uBlock - 1);
    const uint32_t uBins = uFFT / 2;
    const uint32_t uPartitions = uint32_t(std::ceil(float(in_uSamples) / float(uBlock))) + 1;

    // Work: the real FFT's state, the window and one full spectrum.
    size_t uStateBytes = 0;
    ov_fftr_alloc(int(uFFT), 0, nullptr, &uStateBytes);
    const size_t uFrameBytes = (size_t(uBins + 1) * sizeof(ov_fft_cpx) + 15) & ~size_t(15);
    const size_t uWorkBytes = uStateBytes + size_t(uFFT) * sizeof(float) + uFrameBytes;
    Scratch work{in_pAllocator, in_pAllocator->Malloc(uWorkBytes)};
    if (!work.pMemory)
        return nullptr;
    uint8_t* pWork = static_cast<uint8_t*>(work.pMemory);
    ov_fftr_cfg fft = ov_fftr_alloc(int(uFFT), 0, pWork, &uStateBytes);
    float* pWindow = reinterpret_cast<float*>(pWork + uStateBytes);
    ov_fft_cpx* pFrame = reinterpret_cast<ov_fft_cpx*>(pWork + uStateBytes + size_t(uFFT) * sizeof(float));
    if (!fft)
        return nullptr;

    const uint64_t uSpectra = FreqDataSpectraOffset(uPartitions);
    const uint64_t uTotal = uSpectra + uint64_t(uPartitions) * uBins * sizeof(ov_fft_cpx);
    if (uTotal > 0xFFFFFFFFu)
        return nullptr;
    uint8_t* pBlock = static_cast<uint8_t*>(in_pAllocator->Malloc(size_t(uTotal)));
    if (!pBlock)
        return nullptr;
    std::memset(pBlock, 0, size_t(uSpectra));

    OvFreqDataHeader header = {};
    header.uBlockLength = uBlock;
    header.uFFTLength = uFFT;
    header.uSampleRate = in_uSampleRate;
    OvChannelConfig mono;
    mono.SetStandardOrAnonymous(1, OV_SPEAKER_FRONT_CENTER);
    header.uChannelConfig = mono.Serialize();
    header.uNumIRPartition = uPartitions;
    header.uNumCompressedPartition = uPartitions;
    header.uTotalCompressedBins = uPartitions * uBins;
    header.uMaxCompressedNumBins = uint16_t(uBins);
    OV_ASSERT(header.uMaxCompressedNumBins <= uint16_t(header.uFFTLength / 2));
    std::memcpy(pBlock, &header, sizeof header);
    for (uint32_t p = 0; p < uPartitions; ++p) {
        const uint16_t uEntry = uint16_t(uBins);
        std::memcpy(pBlock + OV_FREQDATA_HEADER_BYTES + 2 * size_t(p), &uEntry, sizeof uEntry);
    }

    const uint32_t uCompressedFrameSize = uBins * sizeof(ov_fft_cpx);
    OV_ASSERT((uCompressedFrameSize & 0xF) == 0);
    std::memset(pWindow, 0, size_t(uFFT) * sizeof(float));
    uint32_t uRead = 0;
    for (uint32_t p = 0; p < uPartitions; ++p) {
        std::memcpy(pWindow, pWindow + (uFFT - uBlock), size_t(uBlock) * sizeof(float));
        const uint32_t uLeft = in_uSamples - uRead;
        const uint32_t uTake = uLeft < uBlock ? uLeft : uBlock;
        float* pUpper = pWindow + (uFFT - uBlock);
        std::memcpy(pUpper, in_pSamples + uRead, size_t(uTake) * sizeof(float));
        std::memset(pUpper + uTake, 0, size_t(uBlock - uTake) * sizeof(float));
        uRead += uTake;
        ov_fftr(fft, pWindow, pFrame);
        std::memcpy(pBlock + uSpectra + uint64_t(p) * uCompressedFrameSize, pFrame, uCompressedFrameSize);
    }
    *out_pBytes = uint32_t(uTotal);
    return pBlock;
}
