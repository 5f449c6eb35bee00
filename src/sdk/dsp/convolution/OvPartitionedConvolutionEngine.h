// Uniformly partitioned convolution in the frequency domain. The impulse
// comes ready-made, as a frequency data block (OvFreqData.h) that the effect
// context hands out as media. Per block of uBlockLength input samples and
// channel: one forward real FFT of the block zero-padded to uFFTLength, one
// complex multiply-add per partition into a ring of spectra (slot
// current + p gets partition p), one inverse real FFT of the finished slot,
// whose second half is the output. The ring means one inverse transform per
// block and no overlap-add in the time domain; the way the partitions overlap
// by one block makes the result exact linear convolution with no added
// latency. The block's top (Nyquist) bin is never stored, so it is always
// zero in the output spectrum; intended.
//
// Life: Init (binds to the block, builds both FFT states), InitAccumulators
// (one ring per processed channel), Reset, then per block Convolve for every
// channel and one Advance, and finally Term. The frequency data is not the
// engine's: it must stay valid and unmoved while the engine runs, unless
// Relocate follows a move. Convolve and Advance allocate nothing; the caller
// owns the two scratch buffers and may share them across channels.
#pragma once

#include <cstdint>

#include "ov/IOvMemAlloc.h"
#include "ov/OvCommonDefs.h"
#include "sdk/dsp/convolution/OvFreqData.h"
#include "sdk/dsp/convolution/ov_fftr.h"

class IOvEffectContext;
class OvCpuInfo;

class OvPartitionedConvolutionEngine {
public:
    // OV_NoMedia when the context has none; OV_Failure for a block that does
    // not validate or was made for another rate (the latter also posts a
    // message to the global context); OV_OutOfMemory. After a failure the
    // engine convolves nothing, and Term is still safe.
    OvResult Init(IOvMemAlloc* in_pAllocator, IOvEffectContext* in_pContext, uint32_t in_uSampleRate,
                  const OvCpuInfo* in_pCpuInfo);
    // Frees any old rings and takes one of uNumCompressedPartition slots for
    // each channel, zeroed. On failure what was taken stays for Term.
    OvResult InitAccumulators(IOvMemAlloc* in_pAllocator, uint32_t in_uChannels);
    // Frees the rings, the FFT states and the channel table.
    void Term(IOvMemAlloc* in_pAllocator);
    // Silences every ring and starts again at slot 0.
    void Reset();

    // One block of channel in_uChannel, in place, with impulse channel
    // in_uImpulseChannel: in_uNumFrames must be uBlockLength. in_pTimeScratch
    // holds uFFTLength floats, in_pFreqScratch uFFTLength / 2 + 1 bins.
    // A call the engine cannot serve (not ready, a channel out of range, a
    // wrong frame count) leaves the block alone.
    void Convolve(float* io_pBuffer, uint32_t in_uNumFrames, float* in_pTimeScratch, ov_fft_cpx* in_pFreqScratch,
                  uint32_t in_uChannel, uint32_t in_uImpulseChannel);
    // Moves on by one block; once per block, after all channels.
    void Advance();
    // The frequency data moved from in_pOldBase to in_pNewBase.
    void Relocate(const uint8_t* in_pNewBase, const uint8_t* in_pOldBase);

    bool IsReady() const { return m_pFFTState && m_pIFFTState && m_ppAccumulators; }
    const OvFreqDataHeader& Header() const { return m_FreqDataHeader; }
    uint32_t ImpulseChannels() const { return m_uImpulseChannels; }
    uint32_t AccumulatorChannels() const { return m_uAccumulatorChannels; }
    // Bytes of one ring slot: uMaxCompressedNumBins spectra.
    uint32_t GetCompressedFreqBlockSize() const { return uint32_t(m_FreqDataHeader.uMaxCompressedNumBins) * 8; }
    // Bytes of a full spectrum, the size of the frequency scratch.
    uint32_t FullSpectrumBytes() const { return (m_FreqDataHeader.uFFTLength / 2 + 1) * 8; }

private:
    bool m_bSSE3 = false;
    ov_fftr_cfg m_pFFTState = nullptr;
    ov_fftr_cfg m_pIFFTState = nullptr;
    size_t m_uFFTStateBytes = 0;
    size_t m_uIFFTStateBytes = 0;
    const ov_fft_cpx** m_ppFreqResp = nullptr;  // per impulse channel, into the frequency data
    ov_fft_cpx** m_ppAccumulators = nullptr;    // per processed channel, its ring
    uint32_t m_uCurrentSlot = 0;
    OvFreqDataHeader m_FreqDataHeader = {};
    uint32_t m_uAccumulatorChannels = 0;
    const uint16_t* m_pBinTable = nullptr;  // into the frequency data
    uint32_t m_uImpulseChannels = 0;
};
