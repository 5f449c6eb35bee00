#include "Commands.h"

#include "ToolError.h"

namespace lxfx {

int RunReplayGain(const ReplayGainOptions&)
{
    throw ToolError("replaygain: not available in this build");
}

}  // namespace lxfx
