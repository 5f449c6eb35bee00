#include "common/AudioFifo.h"

#include <cstring>
#include <new>

namespace {

constexpr int32_t kErrInvalid = -22;
constexpr int32_t kErrFault = -14;
constexpr int32_t kErrNoMemory = -12;
constexpr int64_t kMaxBytes = 0x7fffffff;
constexpr int32_t kMaxFrames = 0x3fffffff;

}  // namespace

AudioFifo::AudioFifo(int32_t sampleSize_, int32_t channels_, int32_t planar_, int32_t capacity_)
{
    if (capacity_ < 1 || channels_ <= 0 || sampleSize_ <= 0)
        return;
    const int32_t ringCount = planar_ ? channels_ : 1;
    const int64_t frameBytes = planar_ ? int64_t(sampleSize_) : int64_t(sampleSize_) * channels_;
    if (frameBytes * capacity_ > kMaxBytes)
        return;
    rings = new (std::nothrow) Ring[ringCount];
    if (!rings)
        return;
    planes = ringCount;
    for (int32_t p = 0; p < planes; ++p) {
        rings[p].data = new (std::nothrow) uint8_t[size_t(frameBytes * capacity_)];
        if (!rings[p].data) {
            ReleaseRings();
            return;
        }
    }
    sampleSize = sampleSize_;
    channels = channels_;
    planar = planar_;
    bytesPerFrame = int32_t(frameBytes);
    capacity = capacity_;
}

AudioFifo::~AudioFifo()
{
    ReleaseRings();
}

void AudioFifo::ReleaseRings()
{
    if (rings) {
        for (int32_t p = 0; p < planes; ++p)
            delete[] rings[p].data;
        delete[] rings;
    }
    rings = nullptr;
    planes = 0;
    capacity = 0;
    frames = 0;
}

// Moves all rings to buffers of the new capacity, the stored frames first.
bool AudioFifo::Grow(int32_t newCapacity)
{
    const int64_t newBytes = int64_t(newCapacity) * bytesPerFrame;
    if (newBytes > kMaxBytes)
        return false;
    const int64_t ringBytes = int64_t(capacity) * bytesPerFrame;
    const int64_t storedBytes = int64_t(frames) * bytesPerFrame;
    uint8_t* fresh[64];
    uint8_t** buffers = planes <= 64 ? fresh : new (std::nothrow) uint8_t*[size_t(planes)];
    if (!buffers)
        return false;
    bool ok = true;
    for (int32_t p = 0; p < planes && ok; ++p) {
        buffers[p] = new (std::nothrow) uint8_t[size_t(newBytes)];
        ok = buffers[p] != nullptr;
        if (!ok)
            for (int32_t q = 0; q < p; ++q)
                delete[] buffers[q];
    }
    if (ok) {
        for (int32_t p = 0; p < planes; ++p) {
            Ring& ring = rings[p];
            const int64_t first = storedBytes < ringBytes - ring.readPos ? storedBytes
                                                                         : ringBytes - ring.readPos;
            if (first > 0)
                std::memcpy(buffers[p], ring.data + ring.readPos, size_t(first));
            if (storedBytes > first)
                std::memcpy(buffers[p] + first, ring.data, size_t(storedBytes - first));
            delete[] ring.data;
            ring.data = buffers[p];
            ring.readPos = 0;
            ring.writePos = storedBytes;
        }
        capacity = newCapacity;
    }
    if (buffers != fresh)
        delete[] buffers;
    return ok;
}

int32_t AudioFifo::Write(const void* const* in, int32_t n)
{
    if (n < 0 || kMaxFrames - frames < n)
        return kErrInvalid;
    if (n == 0)
        return 0;
    if (!in)
        return kErrInvalid;
    if (capacity - frames < n) {
        if (!rings)
            return kErrInvalid;
        const int64_t wanted = (int64_t(frames) + n) * 2;
        if (wanted * bytesPerFrame > kMaxBytes)
            return kErrInvalid;
        if (!Grow(int32_t(wanted)))
            return kErrNoMemory;
    }
    const int64_t bytes = int64_t(n) * bytesPerFrame;
    for (int32_t p = 0; p < planes; ++p) {
        if (!in[p])
            return kErrFault;
    }
    for (int32_t p = 0; p < planes; ++p)
        PutBytes(rings[p], static_cast<const uint8_t*>(in[p]), bytes);
    frames += n;
    return n;
}

void AudioFifo::PutBytes(Ring& ring, const uint8_t* src, int64_t bytes)
{
    const int64_t ringBytes = int64_t(capacity) * bytesPerFrame;
    const int64_t first = bytes < ringBytes - ring.writePos ? bytes : ringBytes - ring.writePos;
    std::memcpy(ring.data + ring.writePos, src, size_t(first));
    if (bytes > first)
        std::memcpy(ring.data, src + first, size_t(bytes - first));
    ring.writePos = (ring.writePos + bytes) % ringBytes;
}

int32_t AudioFifo::Peek(void* const* out, int32_t n) const
{
    if (n < 0)
        return kErrInvalid;
    if (n > frames)
        n = frames;
    if (n == 0)
        return 0;
    if (!out)
        return kErrInvalid;
    for (int32_t p = 0; p < planes; ++p) {
        if (!out[p])
            return kErrFault;
    }
    const int64_t ringBytes = int64_t(capacity) * bytesPerFrame;
    const int64_t bytes = int64_t(n) * bytesPerFrame;
    for (int32_t p = 0; p < planes; ++p) {
        const Ring& ring = rings[p];
        uint8_t* dst = static_cast<uint8_t*>(out[p]);
        const int64_t first = bytes < ringBytes - ring.readPos ? bytes : ringBytes - ring.readPos;
        std::memcpy(dst, ring.data + ring.readPos, size_t(first));
        if (bytes > first)
            std::memcpy(dst + first, ring.data, size_t(bytes - first));
    }
    return n;
}

int32_t AudioFifo::Read(void* const* out, int32_t n)
{
    const int32_t got = Peek(out, n);
    if (got > 0)
        Drain(got);
    return got;
}

int32_t AudioFifo::Transfer(AudioFifo& to, int32_t n)
{
    if (n < 0 || &to == this || to.planes != planes || to.bytesPerFrame != bytesPerFrame)
        return kErrInvalid;
    if (n > frames)
        n = frames;
    if (n == 0)
        return 0;
    if (kMaxFrames - to.frames < n)
        return kErrInvalid;
    if (to.capacity - to.frames < n) {
        const int64_t wanted = (int64_t(to.frames) + n) * 2;
        if (wanted * bytesPerFrame > kMaxBytes)
            return kErrInvalid;
        if (!to.Grow(int32_t(wanted)))
            return kErrNoMemory;
    }
    // The stored frames lie in at most two pieces of each ring, at the same
    // offsets in every ring.
    const int64_t ringBytes = int64_t(capacity) * bytesPerFrame;
    const int64_t bytes = int64_t(n) * bytesPerFrame;
    for (int32_t p = 0; p < planes; ++p) {
        const Ring& ring = rings[p];
        const int64_t first = bytes < ringBytes - ring.readPos ? bytes : ringBytes - ring.readPos;
        to.PutBytes(to.rings[p], ring.data + ring.readPos, first);
        if (bytes > first)
            to.PutBytes(to.rings[p], ring.data, bytes - first);
    }
    to.frames += n;
    Drain(n);
    return n;
}

int32_t AudioFifo::Drain(int32_t n)
{
    if (n < 0)
        return kErrInvalid;
    if (n > frames)
        n = frames;
    if (n == 0)
        return 0;
    const int64_t ringBytes = int64_t(capacity) * bytesPerFrame;
    const int64_t bytes = int64_t(n) * bytesPerFrame;
    for (int32_t p = 0; p < planes; ++p)
        rings[p].readPos = (rings[p].readPos + bytes) % ringBytes;
    frames -= n;
    return 0;
}

void AudioFifo::Reset()
{
    for (int32_t p = 0; p < planes; ++p) {
        rings[p].readPos = 0;
        rings[p].writePos = 0;
    }
    frames = 0;
}
