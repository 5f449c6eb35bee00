#include "ov/OvMemAllocDefault.h"

#include <cstdlib>

#include "ov/OvCommonDefs.h"

void* OvMemAllocDefault::Malloc(size_t in_uSize)
{
    void* pMemory = nullptr;
    if (posix_memalign(&pMemory, OV_SIMD_ALIGNMENT, in_uSize ? in_uSize : 1) != 0)
        return nullptr;
    return pMemory;
}

void OvMemAllocDefault::Free(void* in_pMemory)
{
    std::free(in_pMemory);
}

void* OvMemAllocDefault::MallocWithHint(size_t in_uSize, uint32_t)
{
    return Malloc(in_uSize);
}

namespace OV {

IOvMemAlloc* DefaultAllocator()
{
    static OvMemAllocDefault s_allocator;
    return &s_allocator;
}

}  // namespace OV
