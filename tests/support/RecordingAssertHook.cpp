#include "support/RecordingAssertHook.h"

#include <cstring>

namespace testsupport {
namespace {

RecordingAssertHook::Record g_records[RecordingAssertHook::kMaxRecords];
size_t g_count = 0;

void RecordFailure(const char* expression, const char* file, int line)
{
    if (g_count < RecordingAssertHook::kMaxRecords)
        g_records[g_count] = {expression, file, line};
    ++g_count;
}

}  // namespace

RecordingAssertHook::RecordingAssertHook() : previous(g_pOVAssertHook)
{
    g_count = 0;
    g_pOVAssertHook = &RecordFailure;
}

RecordingAssertHook::~RecordingAssertHook()
{
    g_pOVAssertHook = previous;
}

size_t RecordingAssertHook::Count() const
{
    return g_count;
}

const RecordingAssertHook::Record& RecordingAssertHook::At(size_t i) const
{
    return g_records[i < kMaxRecords ? i : kMaxRecords - 1];
}

bool RecordingAssertHook::Saw(const char* expression) const
{
    const size_t kept = g_count < kMaxRecords ? g_count : kMaxRecords;
    for (size_t i = 0; i < kept; ++i)
        if (std::strcmp(g_records[i].expression, expression) == 0)
            return true;
    return false;
}

void RecordingAssertHook::Clear()
{
    g_count = 0;
}

std::string RecordingAssertHook::Describe() const
{
    std::string text;
    const size_t kept = g_count < kMaxRecords ? g_count : kMaxRecords;
    for (size_t i = 0; i < kept; ++i) {
        text += g_records[i].expression;
        text += " (";
        text += g_records[i].file;
        text += ":";
        text += std::to_string(g_records[i].line);
        text += ")\n";
    }
    return text;
}

}  // namespace testsupport
