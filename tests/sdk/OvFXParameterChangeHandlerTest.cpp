// Change marks: the byte sizes the parameter blocks rely on, one mark per ID,
// and IDs out of range reported without touching anything.
#include <gtest/gtest.h>

#include "ov/OvFXParameterChangeHandler.h"
#include "support/RecordingAssertHook.h"

namespace {

template <uint32_t N>
void CheckMarks()
{
    testsupport::RecordingAssertHook asserts;
    OvFXParameterChangeHandler<N> handler;
    for (uint32_t id = 0; id <= N; ++id)
        EXPECT_FALSE(handler.IsChanged(id));
    for (uint32_t id = 0; id <= N; id += 3) {
        handler.MarkChanged(id);
        for (uint32_t other = 0; other <= N; ++other)
            EXPECT_EQ(handler.IsChanged(other), other <= id && other % 3 == 0) << N << ": " << id << "/" << other;
    }
    EXPECT_EQ(asserts.Count(), 0u) << asserts.Describe();

    handler.ClearAllChanges();
    handler.MarkChanged(N + 1);
    EXPECT_FALSE(handler.IsChanged(N + 1));
    EXPECT_TRUE(asserts.Saw("in_ID <= T_MAXNUMPARAMS"));
    for (uint32_t id = 0; id <= N; ++id)
        EXPECT_FALSE(handler.IsChanged(id));
    handler.MarkAllChanged();
    for (uint32_t id = 0; id <= N; ++id)
        EXPECT_TRUE(handler.IsChanged(id));
}

TEST(OvFXParameterChangeHandler, SizesAndMarksOfEveryBlockInTheLibrary)
{
    static_assert(sizeof(OvFXParameterChangeHandler<9>) == 2, "compressor");
    static_assert(sizeof(OvFXParameterChangeHandler<37>) == 5, "graphic EQ");
    static_assert(sizeof(OvFXParameterChangeHandler<5>) == 1, "delay");
    static_assert(sizeof(OvFXParameterChangeHandler<4>) == 1, "stereo enhancer");
    static_assert(sizeof(OvFXParameterChangeHandler<45>) == 6, "multiband compressor");
    CheckMarks<4>();
    CheckMarks<5>();
    CheckMarks<9>();
    CheckMarks<37>();
    CheckMarks<45>();
}

}  // namespace
