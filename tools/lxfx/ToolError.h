// The error that ends a command with exit status 2: the user gave something
// the tool cannot use. The message is one line and names the problem.
#pragma once

#include <stdexcept>
#include <string>

namespace lxfx {

class ToolError : public std::runtime_error {
public:
    explicit ToolError(const std::string& message) : std::runtime_error(message) {}
};

constexpr int kExitBadInput = 2;

}  // namespace lxfx
