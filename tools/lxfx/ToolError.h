// The error that ends a command with exit status 2: the user gave something
// the tool cannot use. The message is one line and names the problem.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace lxfx {

class ToolError : public std::runtime_error {
public:
    explicit ToolError(const std::string& message) : std::runtime_error(message) {}
};

constexpr int kExitBadInput = 2;

// Text from the user quoted in a message is cut to a short prefix and "...",
// so that a huge value still gives a short line. The cut backs off to the
// start of a UTF-8 sequence.
inline std::string Clipped(const std::string& text, size_t maxChars = 60)
{
    if (text.size() <= maxChars)
        return text;
    size_t cut = maxChars;
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80)
        --cut;
    return text.substr(0, cut) + "...";
}

}  // namespace lxfx
