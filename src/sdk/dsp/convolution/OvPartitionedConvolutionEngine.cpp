#include "sdk/dsp/convolution/OvPartitionedConvolutionEngine.h"

#include <cstring>

#include "ov/IOvEffectContext.h"
#include "ov/IOvGlobalContext.h"
#include "ov/OvAssert.h"
#include "ov/OvCpuInfo.h"

#if defined(__SSE2__) || defined(_M_X64)
#include <pmmintrin.h>
#define OV_CONV_SSE 1
#else
#define OV_CONV_SSE 0
#endif

namespace {

const char kRateMismatch[] =
    "Soundbanks have been generated with convolution reverb parameters that do not match sound engine runtime "
    "conditions. No wet path will be heard.";

// io_pAcc[k] += in_pX[k] * in_pH[k] for in_uBins bins (even), as complex numbers.
void MultiplyAddScalar(ov_fft_cpx* io_pAcc, const ov_fft_cpx* in_pX, const ov_fft_cpx* in_pH, uint32_t in_uBins)
{
    for (uint32_t k = 0; k < in_uBins; ++k) {
        const ov_fft_cpx x = in_pX[k], h = in_pH[k];
        io_pAcc[k].r += x.r * h.r - x.i * h.i;
        io_pAcc[k].i += x.r * h.i + x.i * h.r;
    }
}

#if OV_CONV_SSE
// Two bins per vector, eight per step, then the rest two at a time. The
// SSE2 form flips the sign of the cross terms with a multiply.
void MultiplyAddSSE2(ov_fft_cpx* io_pAcc, const ov_fft_cpx* in_pX, const ov_fft_cpx* in_pH, uint32_t in_uBins)
{
    const __m128 sign = _mm_set_ps(1.0f, -1.0f, 1.0f, -1.0f);
    float* pAcc = &io_pAcc[0].r;
    const float* pX = &in_pX[0].r;
    const float* pH = &in_pH[0].r;
    auto step = [&](uint32_t i) {
        const __m128 x = _mm_loadu_ps(pX + i);
        const __m128 h = _mm_loadu_ps(pH + i);
        const __m128 xRe = _mm_shuffle_ps(x, x, _MM_SHUFFLE(2, 2, 0, 0));
        const __m128 xIm = _mm_shuffle_ps(x, x, _MM_SHUFFLE(3, 3, 1, 1));
        const __m128 hSwap = _mm_shuffle_ps(h, h, _MM_SHUFFLE(2, 3, 0, 1));
        const __m128 product = _mm_add_ps(_mm_mul_ps(xRe, h), _mm_mul_ps(_mm_mul_ps(xIm, hSwap), sign));
        _mm_storeu_ps(pAcc + i, _mm_add_ps(_mm_loadu_ps(pAcc + i), product));
    };
    const uint32_t uFloats = in_uBins * 2;
    const uint32_t uWhole = uFloats & ~15u;
    uint32_t i = 0;
    for (; i < uWhole; i += 16) {
        step(i);
        step(i + 4);
        step(i + 8);
        step(i + 12);
    }
    for (; i < uFloats; i += 4)
        step(i);
}

// The same with the subtract-and-add instruction of SSE3.
__attribute__((target("sse3"))) inline void StepSSE3(float* io_pAcc, const float* in_pX, const float* in_pH)
{
    const __m128 x = _mm_loadu_ps(in_pX);
    const __m128 h = _mm_loadu_ps(in_pH);
    const __m128 hSwap = _mm_shuffle_ps(h, h, _MM_SHUFFLE(2, 3, 0, 1));
    const __m128 product = _mm_addsub_ps(_mm_mul_ps(_mm_moveldup_ps(x), h), _mm_mul_ps(_mm_movehdup_ps(x), hSwap));
    _mm_storeu_ps(io_pAcc, _mm_add_ps(_mm_loadu_ps(io_pAcc), product));
}

__attribute__((target("sse3"))) void MultiplyAddSSE3(ov_fft_cpx* io_pAcc, const ov_fft_cpx* in_pX,
                                                     const ov_fft_cpx* in_pH, uint32_t in_uBins)
{
    float* pAcc = &io_pAcc[0].r;
    const float* pX = &in_pX[0].r;
    const float* pH = &in_pH[0].r;
    const uint32_t uFloats = in_uBins * 2;
    const uint32_t uWhole = uFloats & ~15u;
    uint32_t i = 0;
    for (; i < uWhole; i += 16) {
        StepSSE3(pAcc + i, pX + i, pH + i);
        StepSSE3(pAcc + i + 4, pX + i + 4, pH + i + 4);
        StepSSE3(pAcc + i + 8, pX + i + 8, pH + i + 8);
        StepSSE3(pAcc + i + 12, pX + i + 12, pH + i + 12);
    }
    for (; i < uFloats; i += 4)
        StepSSE3(pAcc + i, pX + i, pH + i);
}
#endif

void MultiplyAdd(bool in_bSSE3, ov_fft_cpx* io_pAcc, const ov_fft_cpx* in_pX, const ov_fft_cpx* in_pH,
                 uint32_t in_uBins)
{
    OV_ASSERT(in_uBins % 2 == 0);
#if OV_CONV_SSE
    if ((in_uBins % 2) == 0) {
        if (in_bSSE3)
            MultiplyAddSSE3(io_pAcc, in_pX, in_pH, in_uBins);
        else
            MultiplyAddSSE2(io_pAcc, in_pX, in_pH, in_uBins);
        return;
    }
#else
    (void)in_bSSE3;
#endif
    MultiplyAddScalar(io_pAcc, in_pX, in_pH, in_uBins);
}

ov_fftr_cfg BuildRealFft(IOvMemAlloc* in_pAllocator, int in_iLength, int in_iInverse, size_t* out_pBytes)
{
    size_t uBytes = 0;
    ov_fftr_alloc(in_iLength, in_iInverse, nullptr, &uBytes);
    *out_pBytes = uBytes;
    if (uBytes == 0)
        return nullptr;
    void* pMemory = in_pAllocator->Malloc(uBytes);
    if (!pMemory)
        return nullptr;
    ov_fftr_cfg st = ov_fftr_alloc(in_iLength, in_iInverse, pMemory, &uBytes);
    if (!st)
        in_pAllocator->Free(pMemory);
    return st;
}

}  // namespace

OvResult OvPartitionedConvolutionEngine::Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext,
                                              uint32_t in_uSampleRate, const OvCpuInfo* in_pCpuInfo)
{
    OV_ASSERT(in_pAllocator != NULL);
    Term(in_pAllocator);
    if (!in_pAllocator || !in_pContext)
        return OV_Failure;
    const uint8_t* pData = nullptr;
    uint32_t uSize = 0;
    in_pContext->FetchMedia(0, &pData, &uSize);
    if (!pData)
        return OV_NoMedia;
    // The block is taken as the host's bytes: every size in it is checked
    // against the others and against the block's end before any is used.
    OvFreqDataHeader header;
    if (!OV::ValidateFreqData(pData, uSize, &header))
        return OV_Failure;
    if (header.uSampleRate != in_uSampleRate) {
        if (IOvGlobalContext* pGlobal = in_pContext->GetGlobalContext())
            pGlobal->PostMonitorMessage(kRateMismatch);
        return OV_Failure;
    }
    OV_ASSERT(header.uNumCompressedPartition != 0 && header.uMaxCompressedNumBins != 0);
    m_FreqDataHeader = header;

    m_pBinTable = reinterpret_cast<const uint16_t*>(pData + OV::OV_FREQDATA_HEADER_BYTES);
    const uint32_t uChannels = OV::FreqDataChannels(header.uChannelConfig);
    m_ppFreqResp = static_cast<const ov_fft_cpx**>(in_pAllocator->Malloc(sizeof(ov_fft_cpx*) * uChannels));
    if (!m_ppFreqResp) {
        Term(in_pAllocator);
        return OV_OutOfMemory;
    }
    m_uImpulseChannels = uChannels;
    const uint8_t* pSpectra = pData + OV::FreqDataSpectraOffset(header.uNumCompressedPartition);
    for (uint32_t c = 0; c < uChannels; ++c)
        m_ppFreqResp[c] = reinterpret_cast<const ov_fft_cpx*>(pSpectra + size_t(c) * header.uTotalCompressedBins * 8);
    OV_ASSERT((uintptr_t(m_ppFreqResp[0]) & 0xF) == 0);

    m_pFFTState = BuildRealFft(in_pAllocator, int(header.uFFTLength), 0, &m_uFFTStateBytes);
    m_pIFFTState = BuildRealFft(in_pAllocator, int(header.uFFTLength), 1, &m_uIFFTStateBytes);
    if (!m_pFFTState || !m_pIFFTState) {
        Term(in_pAllocator);
        return OV_OutOfMemory;
    }
    OV_ASSERT((m_pFFTState != NULL) && (m_pIFFTState != NULL));
    m_bSSE3 = in_pCpuInfo && in_pCpuInfo->HasFeature(OV_CPU_SSE3);
    m_uAccumulatorChannels = 0;
    return OV_Success;
}

OvResult OvPartitionedConvolutionEngine::InitAccumulators(IOvMemAlloc* in_pAllocator, uint32_t in_uChannels)
{
    if (!in_pAllocator)
        return OV_Failure;
    if (m_ppAccumulators) {
        for (uint32_t c = 0; c < m_uAccumulatorChannels; ++c)
            in_pAllocator->Free(m_ppAccumulators[c]);
        in_pAllocator->Free(m_ppAccumulators);
        m_ppAccumulators = nullptr;
    }
    m_uAccumulatorChannels = 0;
    if (!m_pFFTState || in_uChannels == 0)
        return OV_Failure;
    m_ppAccumulators = static_cast<ov_fft_cpx**>(in_pAllocator->Malloc(sizeof(ov_fft_cpx*) * in_uChannels));
    if (!m_ppAccumulators)
        return OV_OutOfMemory;
    std::memset(m_ppAccumulators, 0, sizeof(ov_fft_cpx*) * in_uChannels);
    m_uAccumulatorChannels = in_uChannels;
    OV_ASSERT(GetCompressedFreqBlockSize() % 16 == 0);
    const size_t uRingBytes = size_t(GetCompressedFreqBlockSize()) * m_FreqDataHeader.uNumCompressedPartition;
    for (uint32_t c = 0; c < in_uChannels; ++c) {
        m_ppAccumulators[c] = static_cast<ov_fft_cpx*>(in_pAllocator->Malloc(uRingBytes));
        if (!m_ppAccumulators[c])
            return OV_OutOfMemory;
        std::memset(m_ppAccumulators[c], 0, uRingBytes);
    }
    m_uCurrentSlot = 0;
    return OV_Success;
}

void OvPartitionedConvolutionEngine::Term(IOvMemAlloc* in_pAllocator)
{
    if (!in_pAllocator)
        return;
    if (m_ppAccumulators) {
        for (uint32_t c = 0; c < m_uAccumulatorChannels; ++c)
            in_pAllocator->Free(m_ppAccumulators[c]);
        in_pAllocator->Free(m_ppAccumulators);
    }
    in_pAllocator->Free(m_pFFTState);
    in_pAllocator->Free(m_pIFFTState);
    in_pAllocator->Free(m_ppFreqResp);
    m_ppAccumulators = nullptr;
    m_uAccumulatorChannels = 0;
    m_pFFTState = m_pIFFTState = nullptr;
    m_ppFreqResp = nullptr;
    m_uImpulseChannels = 0;
    m_pBinTable = nullptr;
    m_uCurrentSlot = 0;
}

void OvPartitionedConvolutionEngine::Reset()
{
    m_uCurrentSlot = 0;
    if (!m_ppAccumulators)
        return;
    const size_t uRingBytes = size_t(GetCompressedFreqBlockSize()) * m_FreqDataHeader.uNumCompressedPartition;
    for (uint32_t c = 0; c < m_uAccumulatorChannels; ++c)
        if (m_ppAccumulators[c])
            std::memset(m_ppAccumulators[c], 0, uRingBytes);
}

void OvPartitionedConvolutionEngine::Convolve(float* io_pBuffer, uint32_t in_uNumFrames, float* in_pTimeScratch,
                                              ov_fft_cpx* in_pFreqScratch, uint32_t in_uChannel,
                                              uint32_t in_uImpulseChannel)
{
    const OvFreqDataHeader& h = m_FreqDataHeader;
    OV_ASSERT(h.uBlockLength == in_uNumFrames);
    if (!IsReady() || h.uBlockLength != in_uNumFrames || in_uChannel >= m_uAccumulatorChannels ||
        in_uImpulseChannel >= m_uImpulseChannels || !m_ppAccumulators[in_uChannel] || !io_pBuffer ||
        !in_pTimeScratch || !in_pFreqScratch)
        return;
    const uint32_t uBlock = h.uBlockLength;
    const uint32_t uFFT = h.uFFTLength;
    const uint32_t uPartitions = h.uNumCompressedPartition;
    const uint32_t uSlotBins = h.uMaxCompressedNumBins;

    std::memcpy(in_pTimeScratch, io_pBuffer, size_t(uBlock) * sizeof(float));
    std::memset(in_pTimeScratch + uBlock, 0, size_t(uFFT - uBlock) * sizeof(float));
    ov_fftr(m_pFFTState, in_pTimeScratch, in_pFreqScratch);

    ov_fft_cpx* pRing = m_ppAccumulators[in_uChannel];
    const ov_fft_cpx* pH = m_ppFreqResp[in_uImpulseChannel];
    uint32_t uSlot = m_uCurrentSlot;
    for (uint32_t p = 0; p < uPartitions; ++p) {
        const uint32_t uBins = m_pBinTable[p];
        MultiplyAdd(m_bSSE3, pRing + size_t(uSlot) * uSlotBins, in_pFreqScratch, pH, uBins);
        pH += uBins;
        if (++uSlot == uPartitions)
            uSlot = 0;
    }

    // The current slot now holds this block's whole spectrum; the bins above
    // it, the Nyquist bin among them, are zero.
    ov_fft_cpx* pDone = pRing + size_t(m_uCurrentSlot) * uSlotBins;
    std::memcpy(in_pFreqScratch, pDone, GetCompressedFreqBlockSize());
    std::memset(in_pFreqScratch + uSlotBins, 0, size_t(uFFT / 2 + 1 - uSlotBins) * sizeof(ov_fft_cpx));
    ov_fftri(m_pIFFTState, in_pFreqScratch, in_pTimeScratch);

    const float fScale = 1.0f / float(uFFT);
    const float* pSecondHalf = in_pTimeScratch + uBlock;
    if (fScale != 1.0f) {
        for (uint32_t i = 0; i < uBlock; ++i)
            io_pBuffer[i] = pSecondHalf[i] * fScale;
    } else {
        std::memcpy(io_pBuffer, pSecondHalf, size_t(uBlock) * sizeof(float));
    }
    std::memset(pDone, 0, GetCompressedFreqBlockSize());
}

void OvPartitionedConvolutionEngine::Advance()
{
    if (++m_uCurrentSlot >= m_FreqDataHeader.uNumCompressedPartition)
        m_uCurrentSlot = 0;
}

void OvPartitionedConvolutionEngine::Relocate(const uint8_t* in_pNewBase, const uint8_t* in_pOldBase)
{
    const uintptr_t uDelta = uintptr_t(in_pNewBase) - uintptr_t(in_pOldBase);
    if (m_pBinTable)
        m_pBinTable = reinterpret_cast<const uint16_t*>(uintptr_t(m_pBinTable) + uDelta);
    for (uint32_t c = 0; m_ppFreqResp && c < m_uImpulseChannels; ++c)
        m_ppFreqResp[c] = reinterpret_cast<const ov_fft_cpx*>(uintptr_t(m_ppFreqResp[c]) + uDelta);
}
