// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxProgressText.h"

#include <gtest/gtest.h>

using namespace kxCheck;

TEST(ProgressText, ShowsBarCountsRateAndTimeLeft) {
    EXPECT_EQ(progressText(25, 100, 3, 80), "[#####---------------]  25/100  25%  8.3 frames/s  9 s left");
    EXPECT_EQ(progressText(24000, 24999, 12, 80),
              "[###################-]  24000/24999  96%  2000 frames/s  0 s left");
    EXPECT_EQ(progressText(1, 1000, 2, 80), "[--------------------]  1/1000  0%  0.5 frames/s  33 min 18 s left");
    EXPECT_EQ(progressText(100, 100, 5, 80), "[####################]  100/100  100%  20 frames/s  0 s left");
}

TEST(ProgressText, HasNoRateBeforeAnythingIsDone) {
    EXPECT_EQ(progressText(0, 100, 5, 80), "[--------------------]  0/100  0%");
    EXPECT_EQ(progressText(1, 100, 0, 80), "[--------------------]  1/100  1%");
    EXPECT_EQ(progressText(0, 0, 1, 80), "[####################]  0/0  100%");
}

TEST(ProgressText, FitsTheWidth) {
    EXPECT_EQ(progressText(25, 100, 3, 59), "[#####---------------]  25/100  25%  8.3 frames/s  9 s left");
    EXPECT_EQ(progressText(25, 100, 3, 58), "25/100  25%  8.3 frames/s  9 s left");
    EXPECT_EQ(progressText(25, 100, 3, 12), "25/100  25% ");
    EXPECT_EQ(progressText(25, 100, 3, 0), "");
    EXPECT_EQ(progressText(25, 100, 3, -1), "");
}
