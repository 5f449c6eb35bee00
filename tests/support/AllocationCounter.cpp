#include "support/AllocationCounter.h"

#include <cstdlib>
#include <new>

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define LXFX_COUNT_C_ALLOCATOR 1
#else
#define LXFX_COUNT_C_ALLOCATOR 0
#endif

namespace {

thread_local int g_depth = 0;
thread_local size_t g_count = 0;

inline void Note()
{
    if (g_depth > 0)
        ++g_count;
}

// operator new counts here only where malloc does not count for it.
void* Allocate(size_t size)
{
    if (!LXFX_COUNT_C_ALLOCATOR)
        Note();
    void* p = std::malloc(size ? size : 1);
    return p;
}

void* AllocateAligned(size_t size, size_t alignment)
{
    if (!LXFX_COUNT_C_ALLOCATOR)
        Note();
    if (alignment < sizeof(void*))
        alignment = sizeof(void*);
    void* p = nullptr;
    if (posix_memalign(&p, alignment, size ? size : 1) != 0)
        return nullptr;
    return p;
}

}  // namespace

namespace testsupport {

AllocationCounter::AllocationCounter()
{
    ++g_depth;
    g_count = 0;
}

AllocationCounter::~AllocationCounter()
{
    --g_depth;
}

size_t AllocationCounter::Count() const
{
    return g_count;
}

}  // namespace testsupport

// ---- operator new and delete ----

void* operator new(size_t size)
{
    if (void* p = Allocate(size))
        return p;
    throw std::bad_alloc();
}
void* operator new[](size_t size)
{
    if (void* p = Allocate(size))
        return p;
    throw std::bad_alloc();
}
void* operator new(size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new(size_t size, std::align_val_t a)
{
    if (void* p = AllocateAligned(size, size_t(a)))
        return p;
    throw std::bad_alloc();
}
void* operator new[](size_t size, std::align_val_t a)
{
    if (void* p = AllocateAligned(size, size_t(a)))
        return p;
    throw std::bad_alloc();
}
void* operator new(size_t size, std::align_val_t a, const std::nothrow_t&) noexcept
{
    return AllocateAligned(size, size_t(a));
}
void* operator new[](size_t size, std::align_val_t a, const std::nothrow_t&) noexcept
{
    return AllocateAligned(size, size_t(a));
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }

// ---- the C allocator, outside sanitizer builds (the sanitizers own it) ----

#if LXFX_COUNT_C_ALLOCATOR
extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);

void* malloc(size_t size)
{
    Note();
    return __libc_malloc(size);
}
void* calloc(size_t n, size_t size)
{
    Note();
    return __libc_calloc(n, size);
}
void* realloc(void* p, size_t size)
{
    Note();
    return __libc_realloc(p, size);
}
void* aligned_alloc(size_t alignment, size_t size)
{
    Note();
    return __libc_memalign(alignment, size);
}
void* memalign(size_t alignment, size_t size)
{
    Note();
    return __libc_memalign(alignment, size);
}
int posix_memalign(void** out, size_t alignment, size_t size)
{
    Note();
    void* p = __libc_memalign(alignment, size);
    if (!p)
        return 12;
    *out = p;
    return 0;
}
}
#endif
