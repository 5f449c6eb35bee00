// Counts heap allocations and frees made on the calling thread while an
// instance is alive: operator new and delete in all their forms, and (outside
// sanitizer builds) the C allocator too, which libraries such as soxr and
// FFmpeg use. Freeing a null pointer does not count.
#pragma once

#include <cstddef>

namespace testsupport {

class AllocationCounter {
public:
    AllocationCounter();
    ~AllocationCounter();
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

    size_t Count() const;  // allocations
    size_t Frees() const;
};

}  // namespace testsupport
