// The plug-ins' allocator: 16-byte alignment for every size, and objects built
// and ended in its memory.
#include <gtest/gtest.h>

#include <cstdint>

#include "ov/OvMemAllocDefault.h"
#include "ov/OvPluginNew.h"

namespace {

TEST(OvMemAllocDefault, EveryAllocationIsSixteenByteAligned)
{
    IOvMemAlloc* allocator = OV::DefaultAllocator();
    for (size_t size : {0u, 1u, 3u, 15u, 17u, 4099u, 65536u}) {
        for (void* p : {allocator->Malloc(size), allocator->MallocWithHint(size, 7)}) {
            EXPECT_TRUE(p && reinterpret_cast<uintptr_t>(p) % OV_SIMD_ALIGNMENT == 0) << size;
            allocator->Free(p);
        }
    }
    int* object = OV::New<int>(allocator, 5);  // built in place, ended through Delete
    EXPECT_TRUE(object && *object == 5);
    OV::Delete(allocator, object);
    EXPECT_EQ(OV::New<int>(nullptr, 5), nullptr);
}

}  // namespace
