// Processor features as the x86 identification instruction reports them, read
// once per process on first use (thread-safe) and then only read. On other
// processors, or when the instruction says nothing, no feature is set and
// the sizes take their defaults: a 64-byte cache line, 1024 KB of
// second-level cache.
#pragma once

#include <cstdint>

enum OvCpuFeature : uint32_t {
    OV_CPU_SSE = 1,
    OV_CPU_SSE2 = 2,
    OV_CPU_SSE3 = 4,
    OV_CPU_SSSE3 = 8,
    // 256-bit AVX, set only when the operating system also saves the YMM
    // registers across context switches.
    OV_CPU_AVX = 16,
};

class OvCpuInfo {
public:
    // The process-wide instance.
    static const OvCpuInfo& Get();

    virtual ~OvCpuInfo() = default;
    virtual bool HasFeature(uint32_t in_uFeature) const { return (m_uFeatures & in_uFeature) == in_uFeature; }
    virtual uint32_t GetCacheLineSize() const { return m_uCacheLineBytes; }
    virtual uint32_t GetL2CacheSizeKB() const { return m_uL2CacheKB; }

private:
    OvCpuInfo();

    uint32_t m_uFeatures = 0;
    uint32_t m_uCacheLineBytes = 64;
    uint32_t m_uL2CacheKB = 1024;
};
