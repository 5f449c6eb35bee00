// A log sink for tests: keeps every line as level, tag and formatted text.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "lxaudioeffects/AudioTypes.h"

namespace testsupport {

struct LogLine {
    int32_t level;
    std::string tag;
    std::string text;
};

class RecordingLogger : public IAudioEffectsLogger {
public:
    virtual ~RecordingLogger() = default;

    int Log(const char* tag, int32_t level, const char* format, ...) override
    {
        char text[2048];
        va_list args;
        va_start(args, format);
        std::vsnprintf(text, sizeof text, format, args);
        va_end(args);
        std::lock_guard<std::mutex> lock(mutex);
        lines.push_back({level, tag ? tag : "", text});
        return 0;
    }

    std::vector<LogLine> Take()
    {
        std::lock_guard<std::mutex> lock(mutex);
        std::vector<LogLine> taken;
        taken.swap(lines);
        return taken;
    }

    std::vector<std::string> Texts()
    {
        std::vector<std::string> texts;
        for (const LogLine& line : Take())
            texts.push_back(line.text);
        return texts;
    }

private:
    std::mutex mutex;
    std::vector<LogLine> lines;
};

}  // namespace testsupport
