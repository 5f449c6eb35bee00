// Memory for plug-in objects, parameter blocks and delay lines. Every
// allocation is OV_SIMD_ALIGNMENT (16) bytes aligned; null means out of
// memory. Plug-ins construct their objects in place in this memory (see
// OvPluginNew.h) and give it back in Shutdown.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ov/OvCommonDefs.h"

class IOvMemAlloc {
public:
    virtual ~IOvMemAlloc() = default;
    virtual void* Malloc(size_t in_uSize) = 0;
    virtual void Free(void* in_pMemory) = 0;
    // Same result as Malloc; the hint is not used by this library's allocator.
    virtual void* MallocWithHint(size_t in_uSize, uint32_t in_uHint) = 0;
};
