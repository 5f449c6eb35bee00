#include "effects/LoudnessGating.h"

#include <cmath>
#include <cstring>
#include <new>

namespace {

constexpr uint32_t kFirstRoom = 600;
constexpr double kAbsoluteGateEnergy = 1e-7;  // -70
constexpr double kRelativeGateFactor = 0.1;   // -10 relative to the mean
constexpr double kSilenceLufs = -96.0;

}  // namespace

LoudnessGating::~LoudnessGating()
{
    delete[] gatedBlocks;
}

bool LoudnessGating::Init()
{
    if (gatedCapacity >= kFirstRoom)
        return true;
    double* room = new (std::nothrow) double[kFirstRoom];
    if (!room)
        return false;
    delete[] gatedBlocks;
    gatedBlocks = room;
    gatedCapacity = kFirstRoom;
    return true;
}

void LoudnessGating::Reset()
{
    for (double& block : openBlocks)
        block = 0.0;
    gatingIndex = 0;
    gatedCount = 0;
    gatedMean = 0.0;
}

void LoudnessGating::AddBlockEnergy(double energy)
{
    const double quarter = energy / 4.0;
    ++gatingIndex;
    // The oldest open gating block has all its 100 ms blocks and is finished;
    // its slot becomes the newest one, which this block starts.
    double& slot = openBlocks[(gatingIndex - 1) % kOpenBlocks];
    const double finished = slot;
    slot = 0.0;
    if (finished > kAbsoluteGateEnergy && (gatedCount < gatedCapacity || Grow())) {
        const double count = double(gatedCount);
        gatedMean = (count * gatedMean + finished) / (count + 1.0);
        gatedBlocks[gatedCount++] = finished;
    }
    for (double& block : openBlocks)
        block += quarter;
}

// Past the first minute the room doubles. Should that fail, the block is left
// out of the measurement.
bool LoudnessGating::Grow()
{
    const uint64_t grown = gatedCapacity ? uint64_t(gatedCapacity) * 2 : kFirstRoom;
    if (grown > 0x40000000u)
        return false;
    double* room = new (std::nothrow) double[size_t(grown)];
    if (!room)
        return false;
    if (gatedCount)
        std::memcpy(room, gatedBlocks, sizeof(double) * gatedCount);
    delete[] gatedBlocks;
    gatedBlocks = room;
    gatedCapacity = uint32_t(grown);
    return true;
}

double LoudnessGating::Loudness() const
{
    double threshold = gatedMean * kRelativeGateFactor;
    if (threshold < kAbsoluteGateEnergy)
        threshold = kAbsoluteGateEnergy;
    double sum = 0.0;
    uint32_t counted = 0;
    for (uint32_t i = 0; i < gatedCount; ++i) {
        if (gatedBlocks[i] >= threshold) {
            sum += gatedBlocks[i];
            ++counted;
        }
    }
    if (counted == 0)
        return kSilenceLufs;
    return -0.691 + 10.0 * std::log10(sum / double(counted));
}
