#include "ToolLogger.h"

#include <cstdarg>
#include <cstdio>

namespace lxfx {

int ToolLogger::Log(const char* tag, int32_t level, const char* format, ...)
{
    char text[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (echo)
        std::fprintf(stderr, "%d %s: %s\n", int(level), tag ? tag : "", text);
    lines.push_back({level, text});
    return 0;
}

std::vector<LogLine> ToolLogger::Take()
{
    std::vector<LogLine> taken;
    taken.swap(lines);
    return taken;
}

std::string ToolLogger::LastFailure() const
{
    for (auto line = lines.rbegin(); line != lines.rend(); ++line)
        if (line->level == 0)
            return line->text;
    return "";
}

}  // namespace lxfx
