// Reads a whole file named by the user: a preset or an impulse. Every problem
// (missing, a folder, unreadable, larger than the caller allows) throws
// ToolError with one line naming the file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lxfx {

// what names the file in messages, e.g. "preset" or "FIR impulse". maxBytes
// keeps a device such as /dev/zero from filling memory.
std::vector<char> ReadWholeFile(const std::string& path, const std::string& what,
                                uint64_t maxBytes);

}  // namespace lxfx
