// The tool's log sink for the front end. It keeps every line, so that a
// failed Init can be reported with the library's own reason and `state` can
// print the dump; with echo on it also writes each line to stderr as
// "level tag: text".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lxaudioeffects/AudioTypes.h"

namespace lxfx {

struct LogLine {
    int32_t level;
    std::string text;
};

class ToolLogger : public IAudioEffectsLogger {
public:
    explicit ToolLogger(bool echo_) : echo(echo_) {}
    virtual ~ToolLogger() = default;

    int Log(const char* tag, int32_t level, const char* format, ...) override;

    // Hands over the lines kept since the last call.
    std::vector<LogLine> Take();
    // The last failure line (level 0) kept, or "".
    std::string LastFailure() const;

private:
    bool echo;
    std::vector<LogLine> lines;
};

}  // namespace lxfx
