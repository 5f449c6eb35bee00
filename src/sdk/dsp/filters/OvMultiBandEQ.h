// A grid of plug-in biquads by channel and band: the filter of channel c and
// band b is at c * bands + b, each with its own memory. A buffer runs through
// the enabled bands of its channel in band order. The base of the crossover
// and of the graphic EQ. At most 31 bands. The grid may be given room for more
// bands than it starts with, so that a new band count needs no memory.
#pragma once

#include <cstdint>

#include "ov/IOvMemAlloc.h"
#include "ov/OvCommonDefs.h"
#include "sdk/dsp/filters/OvBiquad.h"

class OvPipelineBuffer;

class OvMultiBandEQ {
public:
    OvMultiBandEQ() = default;
    virtual ~OvMultiBandEQ();
    OvMultiBandEQ(const OvMultiBandEQ&) = delete;
    OvMultiBandEQ& operator=(const OvMultiBandEQ&) = delete;

    // Takes in_uNumBands * in_uNumChannels pass-through filters from the
    // allocator; OV_OutOfMemory when it fails. Shut down first to re-init.
    virtual OvResult Init(IOvMemAlloc* in_pAllocator, uint16_t in_uNumChannels, uint16_t in_uNumBands);
    // Init with room for in_uMaxBands bands per channel (at least in_uNumBands).
    OvResult InitWithRoom(IOvMemAlloc* in_pAllocator, uint16_t in_uNumChannels, uint16_t in_uNumBands,
                          uint16_t in_uMaxBands);
    // Lays the grid out anew for in_uNumBands bands in the room Init took,
    // every filter a new pass-through with zero memories, as after Init.
    // Takes no memory; OV_Failure, changing nothing, beyond the room.
    OvResult SetNumBands(uint16_t in_uNumBands);
    // DesignBiquad on band in_uBand of every channel; memories are kept.
    virtual void SetCoefs(uint32_t in_uBand, float in_fSampleRate, int in_iType, float in_fFrequencyHz,
                          float in_fGainDb, float in_fQ);
    virtual void ProcessBuffer(OvPipelineBuffer* io_pBuffer);
    // Each channel of the buffer through the enabled bands of that channel in
    // in_pFilters, laid out as this object's own array.
    virtual void ProcessBufferWithFilters(OvBiquad* in_pFilters, OvPipelineBuffer* io_pBuffer);

    // Gives the filters back to the allocator.
    void Shutdown(IOvMemAlloc* in_pAllocator);
    // Clears the memories of all filters.
    void Reset();
    void EnableBand(uint32_t in_uBand, bool in_bOn);

    uint16_t NumBands() const { return m_uNumBands; }
    uint16_t NumChannels() const { return m_uNumChannels; }
    uint32_t NumFilters() const { return m_uNumFilters; }
    // Filter of channel in_uChannel, band in_uBand; null outside the grid.
    OvBiquad* Filter(uint32_t in_uChannel, uint32_t in_uBand);

protected:
    OvBiquad* m_pFilters = nullptr;
    uint32_t m_uNumFilters = 0;
    uint32_t m_uFilterRoom = 0;  // filters the memory holds
    uint32_t m_uEnabledBandMask = 0xFFFFFFFFu;
    uint16_t m_uNumBands = 0;  // filters per channel
    uint16_t m_uNumChannels = 0;
};
