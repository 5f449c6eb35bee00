// The plug-ins' allocator: 16-byte alignment for every size, and objects built
// and ended in its memory.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "ov/OvMemAllocDefault.h"
#include "ov/OvPluginNew.h"

namespace {

struct Counted {
    explicit Counted(int* live_) : live(live_) { ++*live; }
    ~Counted() { --*live; }
    int* live;
    float samples[5];
};

TEST(OvMemAllocDefault, EveryAllocationIsSixteenByteAlignedAndObjectsEndThroughDelete)
{
    IOvMemAlloc* allocator = OV::DefaultAllocator();
    ASSERT_EQ(allocator, OV::DefaultAllocator());  // one instance
    std::vector<void*> blocks;
    for (size_t size : {0u, 1u, 3u, 4u, 15u, 16u, 17u, 100u, 4099u, 65536u}) {
        void* a = allocator->Malloc(size);
        void* b = allocator->MallocWithHint(size, 7);
        ASSERT_NE(a, nullptr);
        ASSERT_NE(b, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(a) % OV_SIMD_ALIGNMENT, 0u) << size;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(b) % OV_SIMD_ALIGNMENT, 0u) << size;
        blocks.push_back(a);
        blocks.push_back(b);
    }
    for (void* p : blocks)
        allocator->Free(p);

    int live = 0;
    Counted* object = OV::New<Counted>(allocator, &live);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(live, 1);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(object) % OV_SIMD_ALIGNMENT, 0u);
    OV::Delete(allocator, object);
    EXPECT_EQ(live, 0);
    EXPECT_EQ(OV::New<Counted>(nullptr, &live), nullptr);
}

}  // namespace
