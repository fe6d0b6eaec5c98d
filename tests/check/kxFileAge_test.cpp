// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFileAge.h"

#include <gtest/gtest.h>

#include <climits>
#include <limits>

using namespace kxCheck;

namespace {

constexpr std::int64_t earliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t latest = std::numeric_limits<std::int64_t>::max();

bool isYoungAt(std::int64_t modified, std::int64_t now, int minAge) {
    FileIdentity file;
    file.modified = modified;
    return isYoung(file, now, minAge);
}

}  // namespace

TEST(FileAge, IsYoungBelowTheMinimum) {
    const std::int64_t now = 1700000000 * nanosecondsPerSecond;
    for (const int minAge : {1, 60, INT_MAX}) {
        const std::int64_t oldEnough = now - minAge * nanosecondsPerSecond;
        EXPECT_TRUE(isYoungAt(oldEnough + 1, now, minAge)) << minAge;
        EXPECT_FALSE(isYoungAt(oldEnough, now, minAge)) << minAge;
        EXPECT_TRUE(isYoungAt(now, now, minAge)) << minAge;
    }
}

TEST(FileAge, IsThatOfAFileChangedJustNowWithATimeToCome) {
    for (const std::int64_t modified : {std::int64_t{0}, std::int64_t{1}, latest}) {
        EXPECT_TRUE(isYoungAt(modified, 0, 60)) << modified;
        EXPECT_FALSE(isYoungAt(modified, 0, 0)) << modified << ": none is young";
    }
    EXPECT_FALSE(isYoungAt(earliest, 0, INT_MAX));
}

TEST(FileAge, GoesByTheSystemsTimeWhileNobodySetsIt) {
    const std::int64_t before = systemTime();
    const std::int64_t first = timeForAges();
    const std::int64_t second = timeForAges();
    EXPECT_LE(first, second);
    EXPECT_LE(second, systemTime());
    const std::int64_t minute = 60 * nanosecondsPerSecond;
    EXPECT_GT(first, before - minute);
}
