// Writes the room reverb's early-reflection table (31 patterns, a left and a
// right tap set each) as C++ source. Only a summary of the measured patterns
// is known (ERPatternSummary.h): counts, first and last tap, the gain range
// and a few taps in full. The rest is drawn with a fixed seed so that the
// output never changes: taps come in clusters on consecutive 1/48 ms steps
// with falling gains (as in the published "Large Room" taps), cluster heads
// are spread over the pattern's span with magnitudes that fall with time,
// and about a third of them are negative.
//
//   lxfx_gen_early_reflections <output.cpp>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "ERPatternSummary.h"

namespace {

using namespace ergen;

constexpr uint64_t kSeed = 0x5EED0E4Aull;

// splitmix64: the same numbers on every platform and library.
struct Random {
    uint64_t state;
    uint64_t Next()
    {
        uint64_t z = (state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    // Uniform in [lo, hi).
    double Uniform(double lo, double hi) { return lo + (hi - lo) * double(Next() >> 11) / 9007199254740992.0; }
    uint32_t Below(uint32_t n) { return uint32_t(Next() % n); }
};

int Steps(double ms)
{
    return int(std::lround(ms * kStepsPerMs));
}

const KnownTaps* Known(uint32_t row, bool right)
{
    for (const KnownTaps& k : kKnownTaps)
        if (k.row == row && k.right == right)
            return &k;
    return nullptr;
}

// A cluster head's gain at step k of a pattern spanning [first, last].
float HeadGain(Random& rng, int k, int first, int last)
{
    const double position = last > first ? double(k - first) / double(last - first) : 0.0;
    const double envelope = 1.0 - 0.75 * position;
    double gain = kMaxGain * envelope * rng.Uniform(0.25, 1.0);
    if (rng.Below(100) < 35)
        gain = -std::min(gain, double(-kMinGain));
    return float(std::round(gain * 10000.0) / 10000.0);
}

float Round4(double gain)
{
    return float(std::round(gain * 10000.0) / 10000.0);
}

// One side: n taps on steps [start, end], both ends taken, the known taps first.
std::map<int, float> MakeSide(Random& rng, uint32_t n, int start, int end, const KnownTaps* known, int rowFirst,
                              int rowLast)
{
    std::map<int, float> taps;
    int freeFrom = start + 1;
    if (known) {
        for (uint32_t i = 0; i < known->count; ++i)
            taps[Steps(known->taps[i].timeMs)] = known->taps[i].gain;
        freeFrom = taps.rbegin()->first + 1;
    } else {
        taps[start] = Round4(std::fabs(HeadGain(rng, start, rowFirst, rowLast)));
    }
    if (taps.size() < n && !taps.count(end))
        taps[end] = HeadGain(rng, end, rowFirst, rowLast);
    while (taps.size() < n) {
        const int head = freeFrom + int(rng.Below(uint32_t(std::max(1, end - freeFrom))));
        if (taps.count(head))
            continue;
        float gain = HeadGain(rng, head, rowFirst, rowLast);
        taps[head] = gain;
        const uint32_t roll = rng.Below(100);
        const int clusterLength = roll < 40 ? 1 : (roll < 65 ? 2 : 3);
        for (int j = 1; j < clusterLength && taps.size() < n; ++j) {
            const int k = head + j;
            if (k >= end || taps.count(k))
                break;
            gain = Round4(gain * rng.Uniform(0.28, 0.45));
            taps[k] = gain;
        }
    }
    return taps;
}

void WriteSide(FILE* out, const char* name, const std::map<int, float>& taps)
{
    std::fprintf(out, "const ERTap %s[] = {\n", name);
    int column = 0;
    for (const auto& [k, gain] : taps) {
        std::fprintf(out, "%s{Ms(%d), %.4ff},", column == 0 ? "    " : " ", k, double(gain));
        if (++column == 4) {
            std::fprintf(out, "\n");
            column = 0;
        }
    }
    std::fprintf(out, "%s};\n\n", column ? "\n" : "");
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <output.cpp>\n", argv[0]);
        return 2;
    }
    FILE* out = std::fopen(argv[1], "w");
    if (!out) {
        std::perror(argv[1]);
        return 1;
    }
    Random rng{kSeed};
    std::fprintf(out,
                 "// GENERATED FILE, do not edit. Written by tools/gen/early_reflections\n"
                 "// (target lxfx_gen_early_reflections; rewrite it with the target\n"
                 "// lxfx_regen_early_reflections), seed 0x%llX.\n"
                 "// Source: the summary of the 31 measured early-reflection patterns in\n"
                 "// tools/gen/early_reflections/ERPatternSummary.h (tap counts, first and last\n"
                 "// tap, gain range -0.4192 to 0.6761, and the taps published in full: the\n"
                 "// first six per side of \"Large Room\", the left set of \"Cathedral\").\n"
                 "// Every other tap is drawn by the generator: clusters on consecutive\n"
                 "// 1/48 ms steps with falling gains, heads spread over the pattern's span.\n"
                 "#include \"sdk/plugins/OvRoomVerb/ERPatterns.h\"\n\n"
                 "namespace OvRoomVerb {\n\nnamespace {\n\n"
                 "// Tap times are whole 1/48 ms steps: one sample at 48 kHz.\n"
                 "constexpr float Ms(int in_iSteps)\n{\n    return float(in_iSteps / 48.0);\n}\n\n",
                 static_cast<unsigned long long>(kSeed));
    for (uint32_t row = 0; row < 31; ++row) {
        const RowSummary& r = kRows[row];
        const int first = Steps(r.firstMs), last = Steps(r.lastMs);
        const KnownTaps* knownLeft = Known(row, false);
        const KnownTaps* knownRight = Known(row, true);
        // Which side holds the pattern's last tap: not one whose taps are all known.
        bool lastOnLeft = rng.Below(2) == 0;
        if (knownLeft && knownLeft->count == r.numLeft)
            lastOnLeft = false;
        if (knownRight && knownRight->count == r.numRight)
            lastOnLeft = true;
        const int earlierEnd = last - 1 - int(rng.Below(96));
        const int endLeft = lastOnLeft ? last : earlierEnd;
        const int endRight = lastOnLeft ? earlierEnd : last;
        const auto left = MakeSide(rng, r.numLeft, first, endLeft, knownLeft, first, last);
        const auto right = MakeSide(rng, r.numRight, first, endRight, knownRight, first, last);
        std::fprintf(out, "// %u: %s\n", row, r.name);
        WriteSide(out, ("kRow" + std::to_string(row) + "Left").c_str(), left);
        WriteSide(out, ("kRow" + std::to_string(row) + "Right").c_str(), right);
    }
    std::fprintf(out, "}  // namespace\n\nconst ERPattern g_ERPatternsList[OV_ER_NUM_PATTERNS] = {\n");
    for (uint32_t row = 0; row < 31; ++row)
        std::fprintf(out, "    {L\"%s\", %u, kRow%uLeft, %u, kRow%uRight},\n", kRows[row].name, kRows[row].numLeft, row,
                     kRows[row].numRight, row);
    std::fprintf(out, "};\n\n}  // namespace OvRoomVerb\n");
    return std::fclose(out) == 0 ? 0 : 1;
}
