// The report printed after a run: duration and frames in and out, peak and
// RMS in dBFS, and the library's speed as a real-time factor.
#pragma once

#include <cstdio>
#include <string>

#include "HostLoop.h"

namespace lxfx {

void PrintSummary(std::FILE* out, const std::string& inName, const std::string& outName,
                  const StreamFormat& format, const HostLoopResult& result);

}  // namespace lxfx
