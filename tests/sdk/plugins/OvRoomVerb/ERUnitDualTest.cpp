// ERUnitDual's block paths (SSE, AVX where the processor has it) against its
// sample-at-a-time form, bit for bit: patterns with taps a block or less
// ahead of the write offset, short and long lines, pieces of 1 to 9 samples
// and longer ones, line wraps inside pieces, and buffers off the 16-byte grid.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "ov/OvMemAllocDefault.h"
#include "sdk/plugins/OvRoomVerb/ERUnitDual.h"

namespace {

TEST(ERUnitDual, BlockPathsMatchTheScalarFormBitForBit)
{
    struct Case {
        uint32_t row, rate;
        float roomSize;
    };
    const Case cases[] = {{23, 44100, 0.0f}, {9, 48000, 37.0f}, {25, 8000, -100.0f}, {0, 96000, 20.0f}};
    const ERVectorPath paths[] = {ERVectorPath::Scalar, ERVectorPath::Sse2, ERVectorPath::Avx};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "row " << c.row << " at " << c.rate);
        const OvRoomVerb::ERPattern& p = OvRoomVerb::g_ERPatternsList[c.row];
        ERUnitDual units[3];
        for (uint32_t k = 0; k < 3; ++k) {
            ASSERT_EQ(units[k].Init(OV::DefaultAllocator(), c.roomSize, p.pTapsLeft, p.pTapsRight, p.uNumTapsLeft,
                                    p.uNumTapsRight, c.rate),
                      OV_Success);
            units[k].Reset();
            units[k].UseVectorPath(paths[k]);
        }
        ASSERT_EQ(units[0].VectorPath(), ERVectorPath::Scalar);
        std::mt19937 rng(c.row);
        std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
        // Three line lengths of input, so that every tap wraps a few times.
        const uint32_t total = 3 * units[0].m_uDelayLength + 1000;
        std::vector<float> input(total + 1), out[3][2];
        for (float& x : input)
            x = noise(rng);
        for (auto& pair : out)
            for (auto& side : pair)
                side.assign(total + 1, 0.0f);
        uint32_t done = 0;
        for (uint32_t piece = 0; done < total; ++piece) {
            const uint32_t n = std::min(total - done, piece % 3 ? 1 + piece % 9 : 40 + uint32_t(rng() % 400));
            // The + 1 puts every buffer off the 16-byte grid.
            for (uint32_t k = 0; k < 3; ++k)
                units[k].Process(input.data() + 1 + done, out[k][0].data() + 1 + done, out[k][1].data() + 1 + done,
                                 n);
            done += n;
        }
        for (uint32_t k = 1; k < 3; ++k)
            for (uint32_t s = 0; s < 2; ++s)
                for (uint32_t i = 0; i <= total; ++i)
                    ASSERT_EQ(out[k][s][i], out[0][s][i]) << "path " << k << " side " << s << " at " << i;
        for (ERUnitDual& unit : units)
            unit.Term(OV::DefaultAllocator());
    }
}

}  // namespace
