// Gated loudness of a stream of 100 ms block energies. Each block enters the
// next four 400 ms gating blocks (step 100 ms); a gating block counts once it
// is finished and above the absolute gate of -70 (energy 1e-7). The loudness
// sums the counted gating blocks not below a tenth of their running mean (the
// relative gate of -10) and gives -0.691 + 10 log10 of their mean, or -96
// when none is left. The first three gating blocks hold one, two and three
// 100 ms blocks and count like the others; intended.
// Memory: one double per counted gating block, taken in doubling steps from
// a first room of 600 (a minute of audio).
#pragma once

#include <cstdint>

class LoudnessGating {
public:
    LoudnessGating() = default;
    ~LoudnessGating();
    LoudnessGating(const LoudnessGating&) = delete;
    LoudnessGating& operator=(const LoudnessGating&) = delete;

    // Takes the first room unless held; the measurement is kept. False when
    // out of memory.
    bool Init();
    // Back to no blocks at all; keeps the memory.
    void Reset();
    // Adds the mean energy (sum over channels of mean squares) of one 100 ms block.
    void AddBlockEnergy(double energy);
    // Loudness in LUFS of the blocks so far, -96 for none.
    double Loudness() const;

    uint64_t FinishedGatingBlocks() const { return gatingIndex; }

private:
    static constexpr int kOpenBlocks = 4;

    bool Grow();

    // Gating blocks not yet finished; entry gatingIndex % 4 is the next to finish.
    double openBlocks[kOpenBlocks] = {0.0, 0.0, 0.0, 0.0};
    uint64_t gatingIndex = 0;
    // Energies of the finished gating blocks above the absolute gate, unsorted.
    double* gatedBlocks = nullptr;
    uint32_t gatedCount = 0;
    uint32_t gatedCapacity = 0;
    double gatedMean = 0.0;
};
