// Rotate3DEngine against the plain form (Rotate3DPlainForm.h),
// its exact cases, its angle arithmetic, its warm-up and reset, and where
// the sound goes: an impulse comes out delayed by the table's own delay, and
// the ear nearer the source is the louder one.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "Rotate3DPlainForm.h"
#include "effects/Rotate3DEngine.h"
#include "effects/Rotate3DResponses.h"

namespace {

using rotate3dtest::PlainRotate3D;

struct Engine {
    Rotate3DEngine* engine = Rotate3DEngine::Create();
    std::vector<float> block = std::vector<float>(512);
    Engine() { EXPECT_TRUE(engine->Init(44100, 2, 256)); }
    ~Engine() { engine->Destroy(); }
    float* Left() { return block.data(); }
    float* Right() { return block.data() + 256; }
    uint32_t Run(uint32_t n)
    {
        float* planes[2] = {Left(), Right()};
        engine->Process(planes, &n);
        return n;
    }
};

TEST(Rotate3DEngine, InitTakesOnly44100Hz2Channels256Frames)
{
    Rotate3DEngine* engine = Rotate3DEngine::Create();
    ASSERT_NE(engine, nullptr);
    EXPECT_FALSE(engine->Init(48000, 2, 256));
    EXPECT_FALSE(engine->Init(44100, 1, 256));
    EXPECT_FALSE(engine->Init(44100, 6, 256));
    EXPECT_FALSE(engine->Init(44100, 2, 512));
    EXPECT_FALSE(engine->Init(0, 0, 0));
    EXPECT_TRUE(engine->Init(44100, 2, 256));
    EXPECT_FLOAT_EQ(engine->Velocity(), 40.0f);
    EXPECT_EQ(engine->Angle(), 0.0f);
    engine->Destroy();
}

// Two forward and two inverse real transforms with the products summed per
// ear in frequency give what two forward and four inverse complex ones with
// per-ear sums in time give, within float rounding, at every angle of two
// revolutions, with blocks of every length; the angles agree to the bit.
TEST(Rotate3DEngine, MatchesThePlainFormWithinFloatRounding)
{
    for (float velocity : {1.0f, 3.7f, 40.0f}) {
        SCOPED_TRACE(velocity);
        Engine fast;
        PlainRotate3D plain;
        fast.engine->SetVelocity(velocity);
        plain.SetVelocity(velocity);
        std::mt19937 rng(3);
        std::normal_distribution<float> noise(0.0f, 0.3f);
        std::vector<float> l(256), r(256);
        double worst = 0.0, peak = 0.0;
        for (int b = 0; b < 400; ++b) {
            const uint32_t n = b % 7 == 3 ? uint32_t(1 + rng() % 256) : 256;
            for (uint32_t i = 0; i < n; ++i) {
                l[i] = noise(rng) + 0.5f * float(std::sin(0.03 * (b * 256 + i)));
                r[i] = noise(rng) - 0.2f * l[i];
            }
            std::copy(l.begin(), l.begin() + n, fast.Left());
            std::copy(r.begin(), r.begin() + n, fast.Right());
            ASSERT_EQ(fast.engine->Angle(), plain.Angle()) << "block " << b;
            const uint32_t got = fast.Run(n);
            ASSERT_EQ(got, plain.Process(l.data(), r.data(), n)) << "block " << b;
            for (uint32_t i = 0; i < got; ++i) {
                worst = std::max({worst, double(std::fabs(fast.Left()[i] - l[i])),
                                  double(std::fabs(fast.Right()[i] - r[i]))});
                peak = std::max({peak, double(std::fabs(l[i])), double(std::fabs(r[i]))});
            }
        }
        EXPECT_GT(peak, 0.5);
        EXPECT_LT(worst, 2e-6 * peak) << "worst " << worst << " against a peak of " << peak;
    }
}

// L = -R: the sum is exactly 0, and the right output is exactly the negative
// of the left at every angle.
TEST(Rotate3DEngine, OppositeChannelsGiveExactlyOppositeOutputsAtAnyAngle)
{
    Engine e;
    e.engine->SetVelocity(1.0f);  // 2.09 degrees a block: two revolutions in 400 blocks
    std::mt19937 rng(5);
    std::normal_distribution<float> noise(0.0f, 0.4f);
    double energy = 0.0;
    for (int b = 0; b < 400; ++b) {
        const uint32_t n = b % 5 == 2 ? uint32_t(1 + rng() % 256) : 256;
        for (uint32_t i = 0; i < n; ++i) {
            e.Left()[i] = noise(rng);
            e.Right()[i] = -e.Left()[i];
        }
        const uint32_t got = e.Run(n);
        for (uint32_t i = 0; i < got; ++i) {
            ASSERT_EQ(e.Right()[i], -e.Left()[i]) << "block " << b << ", frame " << i;
            energy += double(e.Left()[i]) * e.Left()[i];
        }
    }
    EXPECT_GT(energy, 100.0);
}

// L = R: the difference is exactly 0 and the output is the sum's path alone.
TEST(Rotate3DEngine, EqualChannelsHaveNoDifferenceSignal)
{
    Engine e;
    PlainRotate3D sumOnly;
    sumOnly.withDifference = false;
    e.engine->SetVelocity(1.0f);
    sumOnly.SetVelocity(1.0f);
    std::mt19937 rng(6);
    std::normal_distribution<float> noise(0.0f, 0.4f);
    std::vector<float> l(256), r(256);
    double worst = 0.0, peak = 0.0;
    for (int b = 0; b < 300; ++b) {
        for (uint32_t i = 0; i < 256; ++i)
            e.Left()[i] = e.Right()[i] = l[i] = r[i] = noise(rng);
        const uint32_t got = e.Run(256);
        ASSERT_EQ(got, sumOnly.Process(l.data(), r.data(), 256));
        for (uint32_t i = 0; i < got; ++i) {
            worst = std::max({worst, double(std::fabs(e.Left()[i] - l[i])), double(std::fabs(e.Right()[i] - r[i]))});
            peak = std::max(peak, double(std::fabs(l[i])));
        }
    }
    EXPECT_GT(peak, 0.5);
    EXPECT_LT(worst, 2e-6 * peak);
}

// angleStep = (256 / 44100 * 360) / velocity, in double, narrowed; the angle
// adds it in float and takes the remainder by 360 in double. At velocity 1
// that is 2.09 degrees a block, and the wrap at 360 moves the row pair on by
// no more than a step does anywhere else.
TEST(Rotate3DEngine, AngleStepsByTheDesignedAmountAndWrapsWithoutAJump)
{
    for (float velocity : {1.0f, 2.5f, 40.0f, 1000.0f}) {
        Engine e;
        e.engine->SetVelocity(velocity);
        const float step = float((256.0 / 44100.0 * 360.0) / double(velocity));
        EXPECT_EQ(e.engine->AngleStep(), step);
        float expected = 0.0f;
        float previous = 0.0f;
        for (int b = 0; b < 500; ++b) {
            e.Run(256);
            expected = float(std::fmod(double(expected + step), 360.0));
            ASSERT_EQ(e.engine->Angle(), expected) << velocity << " at block " << b;
            ASSERT_GE(e.engine->Angle(), 0.0f);
            ASSERT_LT(e.engine->Angle(), 360.0f);
            // Position on the circle of rows, 0 to 72: continuous across the wrap.
            const float moved = std::fmod(e.engine->Angle() - previous + 360.0f, 360.0f);
            ASSERT_NEAR(moved, step, 1e-3f) << velocity << " at block " << b;
            previous = e.engine->Angle();
        }
    }
    Engine e;
    e.engine->SetVelocity(1.0f);
    EXPECT_NEAR(e.engine->AngleStep(), 2.0898f, 1e-4f);
}

// At exactly 180 degrees the mirrored branch reads rows 36 and 35 with the
// sets exchanged; just below, rows 35 and 36 unmirrored. The engine agrees
// with the plain form on both sides.
TEST(Rotate3DEngine, At180DegreesTheMirroredBranchUsesRows36And35)
{
    for (float start : {180.0f, 179.5f, 359.9f, 0.0f}) {
        SCOPED_TRACE(start);
        Engine e;
        PlainRotate3D plain;
        e.engine->SetVelocity(1e9f);  // the angle stays put
        plain.SetVelocity(1e9f);
        std::mt19937 rng(8);
        std::normal_distribution<float> noise(0.0f, 0.3f);
        std::vector<float> l(256), r(256);
        for (int b = 0; b < 3; ++b) {
            e.engine->SetAngle(start);
            plain.SetAngle(start);
            for (uint32_t i = 0; i < 256; ++i) {
                e.Left()[i] = l[i] = noise(rng);
                e.Right()[i] = r[i] = noise(rng);
            }
            const uint32_t got = e.Run(256);
            ASSERT_EQ(got, plain.Process(l.data(), r.data(), 256));
            for (uint32_t i = 0; i < got; ++i) {
                ASSERT_NEAR(e.Left()[i], l[i], 2e-6f);
                ASSERT_NEAR(e.Right()[i], r[i], 2e-6f);
            }
        }
        if (start == 180.0f) {
            EXPECT_TRUE(plain.lastMirrored);
            EXPECT_EQ(plain.lastRows[0], 36);
            EXPECT_EQ(plain.lastRows[1], 35);
        }
        if (start == 179.5f) {
            EXPECT_FALSE(plain.lastMirrored);
            EXPECT_EQ(plain.lastRows[0], 35);
            EXPECT_EQ(plain.lastRows[1], 36);
        }
    }
}

// The first block after Init or Reset is computed and dropped; Reset
// silences the overlap and keeps the angle; ResetAngle returns it to 0.
TEST(Rotate3DEngine, WarmUpBlockResetAndResetAngle)
{
    Engine e;
    e.engine->SetVelocity(5.0f);
    std::fill(e.block.begin(), e.block.end(), 0.25f);
    EXPECT_EQ(e.Run(256), 0u);
    EXPECT_EQ(e.Run(100), 100u);
    EXPECT_EQ(e.Run(256), 256u);
    const float angle = e.engine->Angle();
    EXPECT_GT(angle, 0.0f);
    e.engine->Reset();
    EXPECT_EQ(e.engine->Angle(), angle);
    // Silence after a reset: the warm-up block, then exact silence.
    std::fill(e.block.begin(), e.block.end(), 0.0f);
    EXPECT_EQ(e.Run(256), 0u);
    EXPECT_EQ(e.Run(256), 256u);
    for (float x : e.block)
        ASSERT_EQ(x, 0.0f);
    e.engine->ResetAngle();
    EXPECT_EQ(e.engine->Angle(), 0.0f);
    // A first block shorter than 256 frames gives nothing either.
    Engine shortFirst;
    EXPECT_EQ(shortFirst.Run(17), 0u);
}

// The impulse response of the sum path at a fixed angle is the table's row,
// delayed by its own bulk delay (main peak inside the first 256 taps, not
// wrapped to the end), and the near ear is louder: the right at 90 degrees
// (source over the right), the left at 270.
TEST(Rotate3DEngine, AnImpulseComesOutDelayedAndLouderInTheNearEar)
{
    for (float angle : {90.0f, 270.0f}) {
        SCOPED_TRACE(angle);
        Engine e;
        e.engine->SetVelocity(1e9f);
        e.engine->SetAngle(angle);
        std::fill(e.block.begin(), e.block.end(), 0.0f);
        e.Run(256);  // warm-up
        std::vector<float> left, right;
        for (int b = 0; b < 3; ++b) {
            std::fill(e.block.begin(), e.block.end(), 0.0f);
            if (b == 0)
                e.Left()[0] = e.Right()[0] = 0.5f;  // sum 0.707, difference 0
            ASSERT_EQ(e.Run(256), 256u);
            left.insert(left.end(), e.Left(), e.Left() + 256);
            right.insert(right.end(), e.Right(), e.Right() + 256);
        }
        auto peakTap = [](const std::vector<float>& x) {
            return size_t(std::max_element(x.begin(), x.end(), [](float a, float b) { return std::fabs(a) < std::fabs(b); }) -
                          x.begin());
        };
        auto energy = [](const std::vector<float>& x) {
            double sum = 0.0;
            for (float v : x)
                sum += double(v) * v;
            return sum;
        };
        const size_t nearPeak = peakTap(angle == 90.0f ? right : left);
        const size_t farPeak = peakTap(angle == 90.0f ? left : right);
        EXPECT_GE(nearPeak, 10u);
        EXPECT_LT(nearPeak, 256u);
        EXPECT_GE(farPeak, 10u);
        EXPECT_LT(farPeak, 256u);
        // The far ear hears it later.
        EXPECT_GT(farPeak, nearPeak);
        const double nearEnergy = energy(angle == 90.0f ? right : left);
        const double farEnergy = energy(angle == 90.0f ? left : right);
        EXPECT_GT(nearEnergy, 4.0 * farEnergy);
        // Nothing before the response starts: no wrapped tail at the front.
        for (size_t i = 0; i < 10; ++i) {
            EXPECT_LT(std::fabs(left[i]), 1e-3f);
            EXPECT_LT(std::fabs(right[i]), 1e-3f);
        }
    }
}

}  // namespace
