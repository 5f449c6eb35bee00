// Change marks: the byte sizes the parameter blocks rely on, one mark per ID,
// and IDs out of range reported without touching anything.
#include <gtest/gtest.h>

#include "ov/OvFXParameterChangeHandler.h"
#include "support/RecordingAssertHook.h"

namespace {

static_assert(sizeof(OvFXParameterChangeHandler<4>) == 1, "stereo enhancer");
static_assert(sizeof(OvFXParameterChangeHandler<5>) == 1, "delay");
static_assert(sizeof(OvFXParameterChangeHandler<9>) == 2, "compressor");
static_assert(sizeof(OvFXParameterChangeHandler<37>) == 5, "graphic EQ");
static_assert(sizeof(OvFXParameterChangeHandler<45>) == 6, "multiband compressor");

TEST(OvFXParameterChangeHandler, OneMarkPerIdAndOutOfRangeIdsReported)
{
    testsupport::RecordingAssertHook asserts;
    OvFXParameterChangeHandler<45> handler;
    for (uint32_t id = 0; id <= 45; id += 3)
        handler.MarkChanged(id);
    handler.MarkChanged(46);  // out of range: reported, nothing marked
    EXPECT_EQ(asserts.Count(), 1u);
    EXPECT_TRUE(asserts.Saw("in_ID <= T_MAXNUMPARAMS"));
    for (uint32_t id = 0; id <= 46; ++id)
        EXPECT_EQ(handler.IsChanged(id), id % 3 == 0 && id <= 45) << id;
    handler.ClearAllChanges();
    EXPECT_FALSE(handler.IsChanged(0) || handler.IsChanged(45));
    handler.MarkAllChanged();  // up to the last ID, in the last byte
    EXPECT_TRUE(handler.IsChanged(0) && handler.IsChanged(44) && handler.IsChanged(45));
}

}  // namespace
