// Installs a g_pOVAssertHook that records every failed contract check of the
// plug-in frame while the object lives, and puts the previous hook back after.
// Recording does not allocate (a fixed table), so it may stay installed
// around code that is checked for allocations.
//
//   testsupport::RecordingAssertHook asserts;
//   ... run plug-in code whose callers keep the contract ...
//   EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();
#pragma once

#include <cstddef>
#include <string>

#include "ov/OvAssert.h"

namespace testsupport {

class RecordingAssertHook {
public:
    struct Record {
        const char* expression;
        const char* file;
        int line;
    };
    static constexpr size_t kMaxRecords = 64;

    RecordingAssertHook();
    ~RecordingAssertHook();
    RecordingAssertHook(const RecordingAssertHook&) = delete;
    RecordingAssertHook& operator=(const RecordingAssertHook&) = delete;

    // Failed checks since construction or the last Clear (all, even beyond the table).
    size_t Count() const;
    // Record i, for i below min(Count(), kMaxRecords).
    const Record& At(size_t i) const;
    // Whether a recorded check had exactly this expression text.
    bool Saw(const char* expression) const;
    void Clear();
    // "expression (file:line)" lines, for failure messages.
    std::string Describe() const;

private:
    OvAssertHook previous;
};

}  // namespace testsupport
