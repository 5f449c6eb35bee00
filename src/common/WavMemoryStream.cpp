#include "common/WavMemoryStream.h"

#include <cstring>

size_t WavMemoryStream::Read(void* dest, size_t n)
{
    if (!data || !dest)
        return 0;
    const uint64_t remaining = static_cast<uint64_t>(Remaining());
    const size_t count = static_cast<uint64_t>(n) < remaining ? n : static_cast<size_t>(remaining);
    std::memcpy(dest, data + position, count);
    position += static_cast<int32_t>(count);
    return count;
}

bool WavMemoryStream::ReadExact(void* dest, size_t n)
{
    if (!data || !dest || static_cast<uint64_t>(n) > static_cast<uint64_t>(Remaining()))
        return false;
    return Read(dest, n) == n;
}

bool WavMemoryStream::ReadU16(uint16_t* value)
{
    uint8_t b[2];
    if (!ReadExact(b, 2))
        return false;
    *value = static_cast<uint16_t>(b[0] | (b[1] << 8));
    return true;
}

bool WavMemoryStream::ReadU32(uint32_t* value)
{
    uint8_t b[4];
    if (!ReadExact(b, 4))
        return false;
    *value = static_cast<uint32_t>(b[0]) | (static_cast<uint32_t>(b[1]) << 8) |
             (static_cast<uint32_t>(b[2]) << 16) | (static_cast<uint32_t>(b[3]) << 24);
    return true;
}

int WavMemoryStream::Seek(int64_t offset, int whence)
{
    int64_t target;
    switch (whence) {
    case 0: target = offset; break;
    case 1: target = static_cast<int64_t>(position) + offset; break;
    case 2: target = static_cast<int64_t>(size) - offset; break;
    default: return -1;
    }
    if (target < 0 || target > size)
        return -1;
    position = static_cast<int32_t>(target);
    return 0;
}
