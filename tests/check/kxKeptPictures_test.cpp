// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxKeptPictures.h"

#include <gtest/gtest.h>

using namespace kxCheck;

namespace {

std::vector<FrameReport> framesOf(const std::vector<int>& numbers) {
    std::vector<FrameReport> frames(numbers.size());
    for (std::size_t i = 0; i < numbers.size(); ++i) frames[i].name.number = numbers[i];
    return frames;
}

// A run over frames of these numbers.
struct Sequence {
    explicit Sequence(const std::vector<int>& numbers) : Sequence(numbers, 0, numbers.size()) {}
    Sequence(const std::vector<int>& numbers, std::size_t first, std::size_t last)
        : frames(framesOf(numbers)), kept(frames, Neighbours(frames, 1), first, last), watched(frames.size()) {}

    void put(std::size_t place, std::uint64_t hash, bool isTileMissing = false) {
        auto report = std::make_shared<PictureReport>();
        report->hash = {hash, 1};
        report->picture.emplace();
        report->picture->isTileMissing = isTileMissing;
        watched[place] = report;
        kept.put(place, report);
    }
    bool isKept(std::size_t place) const { return !watched[place].expired(); }

    std::vector<FrameReport> frames;
    KeptPictures kept;
    std::vector<std::weak_ptr<const PictureReport>> watched;
};

}  // namespace

TEST(KeptPictures, AreGivenUpWhenNoFrameNeedsThem) {
    Sequence run({1, 2, 3, 4, 5});
    for (std::size_t place = 0; place < 5; ++place) run.put(place, place);
    run.kept.giveUp(0);
    run.kept.giveUp(1);
    EXPECT_TRUE(run.isKept(0)) << "the third is compared with it";
    run.kept.giveUp(2);
    EXPECT_FALSE(run.isKept(0));
    EXPECT_TRUE(run.isKept(1));
    run.kept.giveUp(3);
    EXPECT_FALSE(run.isKept(1));
    EXPECT_TRUE(run.isKept(2));
    run.kept.giveUp(4);
    for (std::size_t place = 2; place < 5; ++place) EXPECT_FALSE(run.isKept(place)) << place;
}

TEST(KeptPictures, StayForAllFilesOfTheNextNumber) {
    Sequence run({1, 2, 2, 2});
    for (std::size_t place = 0; place < 4; ++place) run.put(place, 7);
    for (std::size_t place = 0; place < 3; ++place) {
        run.kept.giveUp(place);
        EXPECT_TRUE(run.isKept(0)) << place;
        EXPECT_TRUE(run.kept.isRepeated(place + 1)) << place;
    }
    run.kept.giveUp(3);
    EXPECT_FALSE(run.isKept(0));
}

TEST(KeptPictures, OfFramesNextToTheRunServeItsEnds) {
    Sequence run({1, 2, 3}, 1, 2);
    run.put(0, 7);
    run.put(1, 7, true);
    EXPECT_TRUE(run.kept.isRepeated(1));
    EXPECT_TRUE(run.kept.needsAfter(1));
    run.put(2, 8, true);
    EXPECT_EQ(run.kept.judge(1).findings.size(), 1U);
    run.kept.giveUp(1);
    for (std::size_t place = 0; place < 3; ++place) EXPECT_FALSE(run.isKept(place)) << place;
}

TEST(KeptPictures, RepeatOnlyWhatWasDecoded) {
    Sequence run({1, 2, 4});
    EXPECT_FALSE(run.kept.isRepeated(1));
    run.put(1, 7);
    EXPECT_FALSE(run.kept.isRepeated(1)) << "nothing before it";
    run.put(0, 8);
    EXPECT_FALSE(run.kept.isRepeated(1));
    run.put(0, 7);
    EXPECT_TRUE(run.kept.isRepeated(1));
    run.kept.put(1, nullptr);
    EXPECT_FALSE(run.kept.isRepeated(1));
    run.put(2, 7);
    EXPECT_FALSE(run.kept.isRepeated(2)) << "two steps behind";
}

TEST(KeptPictures, NeedTheFrameBehindWhereItCanChangeTheVerdict) {
    Sequence run({1, 2, 3});
    EXPECT_FALSE(run.kept.needsAfter(0)) << "not decoded";
    run.put(0, 1);
    EXPECT_FALSE(run.kept.needsAfter(0)) << "has no frame before it to jump from";
    run.put(0, 1, true);
    EXPECT_TRUE(run.kept.needsAfter(0)) << "its missing tile may be the scene's";
    run.put(1, 2);
    EXPECT_TRUE(run.kept.needsAfter(1));
    run.kept.put(0, nullptr);
    EXPECT_FALSE(run.kept.needsAfter(1));
}

TEST(KeptPictures, JudgeNothingOfFramesThatWereNotDecoded) {
    Sequence run({1, 2, 3});
    run.put(0, 1, true);
    run.put(2, 1, true);
    EXPECT_TRUE(run.kept.judge(1).findings.empty());
    EXPECT_EQ(run.kept.judge(1).jump, 0);
}
