// lxfx: the command-line host of lxaudioeffects.
#include <cstdio>
#include <exception>

#include "CommandLine.h"
#include "ToolError.h"

int main(int argc, char** argv)
{
    try {
        return lxfx::RunCommandLine(argc, argv);
    } catch (const lxfx::ToolError& error) {
        std::fprintf(stderr, "lxfx: error: %s\n", error.what());
        return lxfx::kExitBadInput;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lxfx: failed: %s\n", error.what());
        return 1;
    }
}
