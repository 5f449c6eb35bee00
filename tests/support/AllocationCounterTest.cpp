// The allocation counter must see what the library could allocate with, or
// the real-time tests that rely on it prove nothing.
#include "support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

namespace {

TEST(AllocationCounter, SeesEveryWayOfAllocatingAndFreeing)
{
    testsupport::AllocationCounter counter;
    EXPECT_EQ(counter.Count(), 0u);
    std::unique_ptr<int> a(new int(3));
    std::unique_ptr<float[]> b(new (std::nothrow) float[64]);
    float* aligned = static_cast<float*>(::operator new[](256, std::align_val_t(64), std::nothrow));
    ::operator delete[](aligned, std::align_val_t(64));
    std::vector<double> v(100);
    a.reset();
    delete static_cast<int*>(nullptr);
    EXPECT_EQ(counter.Count(), 4u);
    EXPECT_EQ(counter.Frees(), 2u);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && !defined(_WIN32)
    // volatile keeps the compiler from eliding the pairs
    void* volatile m = std::malloc(32);
    void* volatile c = std::calloc(4, 8);
    std::free(m);
    std::free(c);
    std::free(nullptr);
    EXPECT_EQ(counter.Count(), 6u);
    EXPECT_EQ(counter.Frees(), 4u);
#endif
}

}  // namespace
