#include "WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ToolError.h"

namespace lxfx {

std::vector<char> ReadWholeFile(const std::string& path, const std::string& what, uint64_t maxBytes)
{
    // An impulse's name may come from a preset, at any length.
    const std::string name = "cannot read " + what + " \"" + Clipped(path, 160) + "\": ";
    const int descriptor = open(path.c_str(), O_RDONLY);
    if (descriptor < 0)
        throw ToolError(name + std::strerror(errno));
    std::vector<char> bytes;
    std::string problem;
    struct stat status;
    if (fstat(descriptor, &status) != 0) {
        problem = std::strerror(errno);
    } else if (S_ISDIR(status.st_mode)) {
        problem = "it is a folder, not a file";
    } else {
        // Pipes and devices have no size up front; they are read in pieces
        // until their end or the limit.
        char piece[65536];
        for (;;) {
            const ssize_t got = read(descriptor, piece, sizeof piece);
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0) {
                problem = std::strerror(errno);
                break;
            }
            if (got == 0)
                break;
            if (bytes.size() + uint64_t(got) > maxBytes) {
                problem = "larger than " + std::to_string(maxBytes >> 20) + " MiB";
                break;
            }
            bytes.insert(bytes.end(), piece, piece + got);
        }
    }
    close(descriptor);
    if (!problem.empty())
        throw ToolError(name + problem);
    return bytes;
}

}  // namespace lxfx
