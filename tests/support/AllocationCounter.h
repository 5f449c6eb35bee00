// Counts heap allocations made on the calling thread while an instance is
// alive: operator new in all its forms, and (outside sanitizer builds) the C
// allocator too, which libraries such as soxr and FFmpeg use.
#pragma once

#include <cstddef>

namespace testsupport {

class AllocationCounter {
public:
    AllocationCounter();
    ~AllocationCounter();
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

    size_t Count() const;
};

}  // namespace testsupport
