#include "ov/OvMemAllocDefault.h"

#include <cstdlib>

#include "ov/OvCommonDefs.h"

#if defined(_WIN32)
#include <malloc.h>
#endif

void* OvMemAllocDefault::Malloc(size_t in_uSize)
{
#if defined(_WIN32)
    return _aligned_malloc(in_uSize ? in_uSize : 1, OV_SIMD_ALIGNMENT);
#else
    void* pMemory = nullptr;
    if (posix_memalign(&pMemory, OV_SIMD_ALIGNMENT, in_uSize ? in_uSize : 1) != 0)
        return nullptr;
    return pMemory;
#endif
}

void OvMemAllocDefault::Free(void* in_pMemory)
{
#if defined(_WIN32)
    _aligned_free(in_pMemory);
#else
    std::free(in_pMemory);
#endif
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
