#include "ov/OvCpuInfo.h"

#if (defined(__GNUC__) || defined(__clang__)) && (defined(__x86_64__) || defined(__i386__))
#include <cpuid.h>
#define OV_HAS_CPUID 1
#else
#define OV_HAS_CPUID 0
#endif

#if OV_HAS_CPUID
namespace {

// Low word of extended control register 0; only called once OSXSAVE is known.
uint32_t ReadXcr0()
{
    uint32_t uLow = 0, uHigh = 0;
    __asm__ volatile("xgetbv" : "=a"(uLow), "=d"(uHigh) : "c"(0u));
    return uLow;
}

}  // namespace
#endif

const OvCpuInfo& OvCpuInfo::Get()
{
    static const OvCpuInfo s_info;  // built once, on first use, by the first caller
    return s_info;
}

OvCpuInfo::OvCpuInfo()
{
#if OV_HAS_CPUID
    unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx)) {
        if (edx & (1u << 25))
            m_uFeatures |= OV_CPU_SSE;
        if (edx & (1u << 26))
            m_uFeatures |= OV_CPU_SSE2;
        if (ecx & (1u << 0))
            m_uFeatures |= OV_CPU_SSE3;
        if (ecx & (1u << 9))
            m_uFeatures |= OV_CPU_SSSE3;
        // AVX (bit 28) with OSXSAVE (bit 27), and XCR0 saying the OS keeps
        // both the XMM and the YMM state.
        if ((ecx & (1u << 28)) && (ecx & (1u << 27)) && (ReadXcr0() & 6u) == 6u)
            m_uFeatures |= OV_CPU_AVX;
        // CLFLUSH line size, in units of 8 bytes.
        const uint32_t uLine = ((ebx >> 8) & 0xFF) * 8;
        if (uLine != 0)
            m_uCacheLineBytes = uLine;
    }
    if (__get_cpuid(0x80000006, &eax, &ebx, &ecx, &edx)) {
        const uint32_t uL2KB = ecx >> 16;
        if (uL2KB != 0)
            m_uL2CacheKB = uL2KB;
    }
#endif
}
