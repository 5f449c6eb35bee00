// The one allocator of the plug-ins: the runtime library's aligned heap,
// 16-byte aligned, with no pool, accounting or lock. Thread-safe as far as the
// runtime's heap is.
#pragma once

#include "ov/IOvMemAlloc.h"

class OvMemAllocDefault final : public IOvMemAlloc {
public:
    void* Malloc(size_t in_uSize) override;
    void Free(void* in_pMemory) override;
    void* MallocWithHint(size_t in_uSize, uint32_t in_uHint) override;
};

namespace OV {
// The process-wide instance; what IOvGlobalContext::GetAllocator answers.
IOvMemAlloc* DefaultAllocator();
}  // namespace OV
