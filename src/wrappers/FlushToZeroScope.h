// Sets the flush-to-zero bit (bit 15) of the x86 MXCSR register for the
// lifetime of the object and puts that one bit back as it was; the other bits,
// denormals-are-zero among them, are left alone. Where there is no such
// register it does nothing. Plug-ins rely on this instead of guarding each
// loop against denormals.
#pragma once

#include <cstdint>

#if defined(__SSE__) || defined(_M_X64) || defined(_M_IX86)
#include <xmmintrin.h>
#define LXFX_HAS_MXCSR 1
#else
#define LXFX_HAS_MXCSR 0
#endif

class FlushToZeroScope {
public:
    static constexpr uint32_t kFlushToZeroBit = 0x8000;

#if LXFX_HAS_MXCSR
    FlushToZeroScope() : oldCsr(_mm_getcsr()) { _mm_setcsr(oldCsr | kFlushToZeroBit); }
    ~FlushToZeroScope() { _mm_setcsr((_mm_getcsr() & ~kFlushToZeroBit) | (oldCsr & kFlushToZeroBit)); }

private:
    uint32_t oldCsr;
#else
    FlushToZeroScope() = default;
#endif

public:
    FlushToZeroScope(const FlushToZeroScope&) = delete;
    FlushToZeroScope& operator=(const FlushToZeroScope&) = delete;
};
