// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxFrameRestriction.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <climits>

using namespace kxFrames;

namespace {

std::string allowedOf(const FrameRestriction& restriction, int first = -3, int last = 25) {
    std::string frames;
    for (int frame = first; frame <= last; ++frame) {
        if (restriction.allows(frame)) frames += " " + std::to_string(frame);
    }
    return frames;
}

std::string listed(const std::string& text) {
    return allowedOf({-1, -1, 1, FrameList(latin1(text))});
}

FrameRestriction range(int start, int end, int step) {
    return {start, end, step, FrameList(QString())};
}

TEST(FrameRestriction, TakesEveryStepthFrameFromTheStart) {
    EXPECT_EQ(allowedOf(range(1, 10, 2)), " 1 3 5 7 9");
    EXPECT_EQ(allowedOf(range(3, 5, 1)), " 3 4 5");
    EXPECT_EQ(allowedOf(range(3, 5, -7)), " 3 4 5");
    EXPECT_EQ(allowedOf(range(20, -1, 3)), " 20 23");
    EXPECT_EQ(allowedOf(range(-1, 2, 1)), " -3 -2 -1 0 1 2");
    EXPECT_EQ(allowedOf(range(-1, 8, 4)), " -1 3 7") << "counted from the -1 of an open start";
    EXPECT_EQ(allowedOf(range(5, 4, 1)), "");
    EXPECT_TRUE(range(-1, -1, 1).allows(LLONG_MIN));
    EXPECT_TRUE(range(-1, -1, 1).allows(LLONG_MAX));
}

TEST(FrameRestriction, ListNamesFramesAndRanges) {
    EXPECT_EQ(listed("1-3, 15, 20-22"), " 1 2 3 15 20 21 22");
    EXPECT_EQ(listed("20-22,1-3,2-4"), " 1 2 3 4 20 21 22");
    EXPECT_EQ(listed("-5"), " 0 1 2 3 4 5") << "no number before the dash is 0";
    EXPECT_EQ(listed("x"), " 0");
    EXPECT_EQ(listed("7-3"), "");
    EXPECT_EQ(listed(","), "") << "a list without frames is a list";
    EXPECT_EQ(listed("1,, ,2"), " 1 2");
    EXPECT_TRUE(FrameList(QStringLiteral("1-9223372036854775807")).allows(LLONG_MAX));
    EXPECT_FALSE(FrameList(QString()).isInUse());
    EXPECT_TRUE(FrameList(QString()).allows(-7));
}

TEST(FrameRestriction, ListAndRangeBothHold) {
    EXPECT_EQ(allowedOf({2, 21, 1, FrameList(QStringLiteral("1-3, 20-22"))}), " 2 3 20 21");
}

TEST(Wrapping, SumsAndDifferencesStayInTheirType) {
    EXPECT_EQ(wrappingSum(INT_MAX, 1), INT_MIN);
    EXPECT_EQ(wrappingSum(LLONG_MAX, 1LL), LLONG_MIN);
    EXPECT_EQ(wrappingDifference(LLONG_MIN, 1LL), LLONG_MAX);
    EXPECT_EQ(wrappingDifference(5, 7), -2);
}

}  // namespace
