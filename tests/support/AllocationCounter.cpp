#include "support/AllocationCounter.h"

#include <cstdlib>
#include <new>

#if defined(_WIN32)
#include <malloc.h>
#endif

// glibc's allocator can be wrapped; under the sanitizers and on Windows only
// operator new is counted.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && !defined(_WIN32)
#define LXFX_COUNT_C_ALLOCATOR 1
#else
#define LXFX_COUNT_C_ALLOCATOR 0
#endif

namespace {

thread_local int g_depth = 0;
thread_local size_t g_count = 0;
thread_local size_t g_frees = 0;

inline void Note()
{
    if (g_depth > 0)
        ++g_count;
}

inline void NoteFree(void* p)
{
    if (g_depth > 0 && p)
        ++g_frees;
}

// operator new counts here only where malloc does not count for it.
void* Allocate(size_t size)
{
    if (!LXFX_COUNT_C_ALLOCATOR)
        Note();
    return std::malloc(size ? size : 1);
}

void* AllocateAligned(size_t size, std::align_val_t alignment)
{
    if (!LXFX_COUNT_C_ALLOCATOR)
        Note();
    const size_t a = size_t(alignment) < sizeof(void*) ? sizeof(void*) : size_t(alignment);
#if defined(_WIN32)
    return _aligned_malloc(size ? size : 1, a);
#else
    void* p = nullptr;
    return posix_memalign(&p, a, size ? size : 1) == 0 ? p : nullptr;
#endif
}

// operator delete counts here only where free does not count for it.
void Release(void* p)
{
    if (!LXFX_COUNT_C_ALLOCATOR)
        NoteFree(p);
    std::free(p);
}

void ReleaseAligned(void* p)
{
#if defined(_WIN32)
    if (!LXFX_COUNT_C_ALLOCATOR)
        NoteFree(p);
    _aligned_free(p);
#else
    Release(p);
#endif
}

void* OrThrow(void* p)
{
    if (!p)
        throw std::bad_alloc();
    return p;
}

}  // namespace

namespace testsupport {

AllocationCounter::AllocationCounter()
{
    ++g_depth;
    g_count = 0;
    g_frees = 0;
}

AllocationCounter::~AllocationCounter()
{
    --g_depth;
}

size_t AllocationCounter::Count() const
{
    return g_count;
}

size_t AllocationCounter::Frees() const
{
    return g_frees;
}

}  // namespace testsupport

// ---- operator new and delete ----

void* operator new(size_t size) { return OrThrow(Allocate(size)); }
void* operator new[](size_t size) { return OrThrow(Allocate(size)); }
void* operator new(size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new(size_t size, std::align_val_t a) { return OrThrow(AllocateAligned(size, a)); }
void* operator new[](size_t size, std::align_val_t a) { return OrThrow(AllocateAligned(size, a)); }
void* operator new(size_t size, std::align_val_t a, const std::nothrow_t&) noexcept { return AllocateAligned(size, a); }
void* operator new[](size_t size, std::align_val_t a, const std::nothrow_t&) noexcept
{
    return AllocateAligned(size, a);
}
void operator delete(void* p) noexcept { Release(p); }
void operator delete[](void* p) noexcept { Release(p); }
void operator delete(void* p, size_t) noexcept { Release(p); }
void operator delete[](void* p, size_t) noexcept { Release(p); }
void operator delete(void* p, std::align_val_t) noexcept { ReleaseAligned(p); }
void operator delete[](void* p, std::align_val_t) noexcept { ReleaseAligned(p); }
void operator delete(void* p, size_t, std::align_val_t) noexcept { ReleaseAligned(p); }
void operator delete[](void* p, size_t, std::align_val_t) noexcept { ReleaseAligned(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { Release(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { Release(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { ReleaseAligned(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { ReleaseAligned(p); }

// ---- the C allocator, outside sanitizer builds (the sanitizers own it) ----

#if LXFX_COUNT_C_ALLOCATOR
namespace {
void* Counted(void* p)
{
    Note();
    return p;
}
}  // namespace

extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);
void __libc_free(void*);

void* malloc(size_t size) { return Counted(__libc_malloc(size)); }
void* calloc(size_t n, size_t size) { return Counted(__libc_calloc(n, size)); }
void* realloc(void* p, size_t size)
{
    NoteFree(p);
    return Counted(__libc_realloc(p, size));
}
void* aligned_alloc(size_t alignment, size_t size) { return Counted(__libc_memalign(alignment, size)); }
void* memalign(size_t alignment, size_t size) { return Counted(__libc_memalign(alignment, size)); }
void free(void* p)
{
    NoteFree(p);
    __libc_free(p);
}
int posix_memalign(void** out, size_t alignment, size_t size)
{
    void* p = Counted(__libc_memalign(alignment, size));
    if (!p)
        return 12;  // ENOMEM
    *out = p;
    return 0;
}
}
#endif
