// Early reflections of the room reverb: a mono signal feeds one delay line,
// read by up to 64 left and 64 right fixed taps that sum into two outputs.
// Tap times come from a pattern (ERPatterns.h), stretched by 2^(roomSize/100)
// and taken relative to the pattern's earliest tap (the caller delays the
// input by that much). Read positions are whole groups of four samples; of
// several taps in one group only the first, with its gain, is kept, so the
// loop never works for coincident taps. The span must stay within 65 532
// samples (positions are 16 bits). Tap lists are kept as separate gain and
// position arrays: one load and one multiply-add per tap per four samples.
#pragma once

#include <cstdint>

#include "ov/OvCommonDefs.h"
#include "sdk/plugins/OvRoomVerb/ERPatterns.h"

class IOvMemAlloc;

// How Process sums the taps: one sample at a time (the reference), blocks of
// 16 samples in SSE registers, or blocks of 32 in AVX registers. All give
// the same bits.
enum class ERVectorPath : uint8_t { Scalar, Sse2, Avx };

class ERUnitDual {
public:
    static constexpr uint32_t OV_ER_MAX_SPAN = 65535;

    // OV_Failure for a count of 0 or above 64, or a span (or a room size)
    // that does not fit; OV_OutOfMemory when the line cannot be had. On
    // failure no buffer is left.
    OvResult Init(IOvMemAlloc* in_pAllocator, float in_fRoomSize, const OvRoomVerb::ERTap* in_pTapsLeft,
                  const OvRoomVerb::ERTap* in_pTapsRight, uint32_t in_uNumLeft, uint32_t in_uNumRight,
                  uint32_t in_uSampleRate);
    void Term(IOvMemAlloc* in_pAllocator);
    // Clears the line; read positions stay consistent with the write offset.
    void Reset();
    bool HasBuffer() const { return m_pfDelay != nullptr; }
    // The widest path the processor has is taken at construction; this picks
    // another, for tests (AVX only where the processor has it).
    void UseVectorPath(ERVectorPath in_ePath);
    ERVectorPath VectorPath() const { return m_ePath; }

    // Any frame count: blocks of groups of four where the positions allow,
    // the rest one by one. Input and outputs may have any alignment.
    void Process(const float* in_pfInput, float* out_pfLeft, float* out_pfRight, uint32_t in_uNumFrames);

    uint32_t m_uDelayLength = 0;  // samples, a multiple of 4, 4 to 65532
    float* m_pfDelay = nullptr;
    uint32_t m_uWriteOffset = 0;
    float m_fGainsLeft[OvRoomVerb::OV_ER_MAX_TAPS] = {};
    float m_fGainsRight[OvRoomVerb::OV_ER_MAX_TAPS] = {};
    uint16_t m_uPositionsLeft[OvRoomVerb::OV_ER_MAX_TAPS] = {};
    uint16_t m_uPositionsRight[OvRoomVerb::OV_ER_MAX_TAPS] = {};
    uint16_t m_uNextWrapLeft = 0;
    uint16_t m_uNextWrapRight = 0;
    uint16_t m_uNumLeft = 0;
    uint16_t m_uNumRight = 0;

private:
    static ERVectorPath WidestPath();
    ERVectorPath m_ePath = WidestPath();
};
