// What the library asks of the platform, checked wherever the tests run
// (Linux, and Windows under Wine): the processor features from the
// identification instruction agree with the compiler's own probe, and the
// flush-to-zero scope sets the bit for its lifetime and restores it.
#include <gtest/gtest.h>

#include <xmmintrin.h>

#include <limits>

#include "ov/OvCpuInfo.h"
#include "wrappers/FlushToZeroScope.h"

namespace {

TEST(Platform, CpuFeaturesAgreeWithTheCompilersProbe)
{
    const OvCpuInfo& cpu = OvCpuInfo::Get();
    __builtin_cpu_init();
    EXPECT_TRUE(cpu.HasFeature(OV_CPU_SSE | OV_CPU_SSE2)) << "every x86-64 processor has them";
    EXPECT_EQ(cpu.HasFeature(OV_CPU_SSE3), bool(__builtin_cpu_supports("sse3")));
    EXPECT_EQ(cpu.HasFeature(OV_CPU_SSSE3), bool(__builtin_cpu_supports("ssse3")));
    EXPECT_EQ(cpu.HasFeature(OV_CPU_AVX), bool(__builtin_cpu_supports("avx")));
    const uint32_t line = cpu.GetCacheLineSize();
    EXPECT_TRUE(line >= 16 && (line & (line - 1)) == 0) << line;
}

TEST(Platform, FlushToZeroHoldsForTheScopeOnly)
{
    volatile float tiny = std::numeric_limits<float>::min();
    volatile float half = 0.5f;
    const unsigned before = _mm_getcsr();
    {
        FlushToZeroScope scope;
        EXPECT_NE(_mm_getcsr() & 0x8000u, 0u);
        EXPECT_EQ(tiny * half, 0.0f) << "a subnormal result flushes to zero";
    }
    // Only the flag bits, which the products raised, may differ.
    EXPECT_EQ(_mm_getcsr() & ~0x3Fu, before & ~0x3Fu);
    EXPECT_GT(tiny * half, 0.0f);
}

}  // namespace
