// A one-line progress bar on stderr, redrawn in place. It shows itself only
// when stderr is a terminal and the input is long enough to wait for.
#pragma once

#include <cstdint>

namespace lxfx {

class ProgressBar {
public:
    // totalFrames below 0 means unknown length; no bar is drawn then.
    ProgressBar(int64_t totalFrames, uint32_t sampleRate, bool quiet);
    ~ProgressBar();

    void Update(uint64_t frames);

private:
    static constexpr double kMinimumDurationS = 5.0;

    bool shown = false;
    int64_t totalFrames;
    uint32_t sampleRate;
    int lastPercent = -1;
};

}  // namespace lxfx
