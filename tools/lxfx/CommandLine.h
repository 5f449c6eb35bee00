// The command line: subcommands and their options, parsed with CLI11, and
// the dispatch to the commands.
#pragma once

namespace lxfx {

// Returns the exit status: 0 on success, 2 for bad arguments or bad input.
int RunCommandLine(int argc, char** argv);

}  // namespace lxfx
