// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFollowPace.h"

#include <gtest/gtest.h>

#include <vector>

using kxCheck::FollowPace;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

const FollowPace::Time begin{};

// How long each of these askings is followed by none, when asking itself takes `cost`.
std::vector<long> pausesAfter(const std::vector<bool>& news, milliseconds cost = milliseconds(0)) {
    FollowPace pace(seconds(3600), begin);
    std::vector<long> pauses;
    for (const bool hadNews : news) {
        const auto asked = pace.nextAsking();
        pace.asked(asked, asked + cost, hadNews);
        pauses.push_back(std::chrono::duration_cast<milliseconds>(pace.nextAsking() - asked - cost).count());
    }
    return pauses;
}

}  // namespace

TEST(FollowPace, AsksAtOnceAtFirst) {
    EXPECT_EQ(FollowPace(seconds(1), begin).nextAsking(), begin);
}

TEST(FollowPace, PausesGrowToTwoSecondsAndShrinkOnNews) {
    EXPECT_EQ(pausesAfter({true, false, false, false, false, true, true, false}),
              (std::vector<long>{250, 500, 1000, 2000, 2000, 250, 250, 500}));
}

TEST(FollowPace, AskingTakesATenthOfTheTimeAtMostButPausesStayBounded) {
    EXPECT_EQ(pausesAfter({true, false, false}, milliseconds(60)), (std::vector<long>{600, 600, 1000}));
    EXPECT_EQ(pausesAfter({true, false}, milliseconds(700)), (std::vector<long>{2000, 2000}));
}

TEST(FollowPace, PatienceBeginsAnewWithEachSign) {
    FollowPace pace(seconds(10), begin);
    EXPECT_FALSE(pace.isPatienceOver(begin + seconds(9)));
    EXPECT_TRUE(pace.isPatienceOver(begin + seconds(10)));
    pace.sign(begin + seconds(10));
    EXPECT_FALSE(pace.isPatienceOver(begin + seconds(19)));
    pace.asked(begin + seconds(19), begin + seconds(19), false);
    EXPECT_TRUE(pace.isPatienceOver(begin + seconds(20)));
}

TEST(FollowPace, TheEndOfPatienceIsNotSleptOver) {
    FollowPace pace(seconds(10), begin);
    for (int i = 0; i < 5; ++i) pace.asked(begin + seconds(1), begin + seconds(1), false);
    EXPECT_EQ(pace.nextAsking(), begin + seconds(3));
    pace.asked(begin + seconds(9), begin + seconds(9), false);
    EXPECT_EQ(pace.nextAsking(), begin + seconds(10));
    pace.asked(begin + seconds(10), begin + seconds(10), false);
    EXPECT_EQ(pace.nextAsking(), begin + seconds(12)) << "with files in work that are waited for";
}

TEST(FollowPace, ComesSoonWhenAllSeemsToBeDone) {
    FollowPace pace(seconds(100), begin);
    for (int i = 0; i < 5; ++i) pace.asked(begin, begin, false);
    pace.hasten(begin + milliseconds(100));
    EXPECT_EQ(pace.nextAsking(), begin + milliseconds(350));
    pace.hasten(begin + milliseconds(200));
    EXPECT_EQ(pace.nextAsking(), begin + milliseconds(350));
}
