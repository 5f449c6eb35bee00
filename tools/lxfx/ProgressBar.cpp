#include "ProgressBar.h"

#include <unistd.h>

#include <cstdio>
#include <string>

namespace lxfx {

ProgressBar::ProgressBar(int64_t totalFrames_, uint32_t sampleRate_, bool quiet)
    : totalFrames(totalFrames_), sampleRate(sampleRate_)
{
    shown = !quiet && totalFrames > 0 && sampleRate > 0 && isatty(STDERR_FILENO) &&
            double(totalFrames) / sampleRate > kMinimumDurationS;
}

ProgressBar::~ProgressBar()
{
    if (shown && lastPercent >= 0)
        std::fputs("\r\033[K", stderr);  // clear the line for the summary
}

void ProgressBar::Update(uint64_t frames)
{
    if (!shown)
        return;
    const int percent = int(frames * 100 / uint64_t(totalFrames));
    if (percent == lastPercent)
        return;
    lastPercent = percent;
    constexpr int kWidth = 40;
    const int filled = percent * kWidth / 100;
    std::fprintf(stderr, "\r[%s%s] %3d%%  %.1f / %.1f s", std::string(filled, '#').c_str(),
                 std::string(kWidth - filled, '.').c_str(), percent, double(frames) / sampleRate,
                 double(totalFrames) / sampleRate);
    std::fflush(stderr);
}

}  // namespace lxfx
