// SPDX-License-Identifier: BSD-3-Clause
// The detected step, and the empty slots for missing frames.
#include "tests/support/SequenceDir.h"

#include <gtest/gtest.h>

namespace {

std::string nameOf(long long frame) {
    return "b." + std::to_string(frame) + ".exr";
}

std::string tileName(int tile, long long frame) {
    return std::string("b_tile") + (tile < 10 ? "0" : "") + std::to_string(tile) + "_." + std::to_string(frame) +
           ".exr";
}

std::string foundFrames(const std::vector<long long>& frames) {
    SequenceDir files;
    for (const long long frame : frames) files.write({nameOf(frame)});
    return files.find("b.#.exr");
}

struct TileFrame {
    int tile;
    long long frame;
};

// The keys of all slots, "+" before those of empty ones.
std::string foundTiles(const std::vector<TileFrame>& frames) {
    SequenceDir files;
    for (const TileFrame& f : frames) files.write({tileName(f.tile, f.frame)});
    files.find("b_tile00_.#.exr");
    const _kxViewSequence& record = files.record();
    std::string text = std::to_string(record.seqStart) + "-" + std::to_string(record.seqEnd) + "/" +
                       std::to_string(record.seqStep) + ":";
    for (int i = 0; i < record.imageCount; ++i) {
        text += (record.images[i].fileFound ? " " : " +") + std::to_string(record.images[i].frameNumber);
    }
    return text;
}

TEST(GapTest, MissingFramesBecomeEmptySlots) {
    SequenceDir files({"beauty.0001.exr", "beauty.0002.exr", "beauty.0005.exr"});
    EXPECT_EQ(files.find("beauty.#.exr"), "1-5/1: 1=0001 2=0002 3 4 5=0005");
    for (const int slot : {2, 3}) {
        EXPECT_FALSE(files.slot(slot).fileFound);
        EXPECT_TRUE(files.slot(slot).frameText.isEmpty());
        EXPECT_EQ(files.slot(slot).checkPending, 1);
        EXPECT_EQ(+files.slot(slot).fileSize, -1);
        EXPECT_EQ(files.slot(slot).fileTime, _kxTime());
    }
    EXPECT_TRUE(files.slot(4).fileFound);
    EXPECT_EQ(files.record().fileCount, 5);
}

TEST(GapTest, ThreeFramesTenApartHaveNoGap) {
    EXPECT_EQ(foundFrames({10, 20, 30}), "10-30/10: 10=10 20=20 30=30");
}

TEST(GapTest, FewerThanThreeFramesHaveStepOne) {
    EXPECT_EQ(foundFrames({10, 20}), "10-20/1: 10=10 11 12 13 14 15 16 17 18 19 20=20");
    EXPECT_EQ(foundFrames({7}), "7-7/1: 7=7");
}

TEST(GapTest, OnlySmallerDifferencesChangeTheStep) {
    EXPECT_EQ(foundFrames({1, 3, 6}), "1-6/2: 1=1 3=3 6=6");
    EXPECT_EQ(foundFrames({1, 4, 6}), "1-6/1: 1=1 2 3 4=4 5 6=6");  // 3 and 2
    EXPECT_EQ(foundFrames({1, 2, 12}), "1-12/1: 1=1 2=2 3 4 5 6 7 8 9 10 11 12=12");
    EXPECT_EQ(foundFrames({10, 22, 30, 36, 46}), "10-46/4: 10=10 14 18 22=22 26 30=30 36=36 40 46=46");
    EXPECT_EQ(foundFrames({5, 10, 11}), "5-11/1: 5=5 6 7 8 9 10=10 11=11");
}

TEST(GapTest, GapThatIsNoMultipleOfTheStepIsFilledAsFarAsItGoes) {
    EXPECT_EQ(foundFrames({0, 4, 8, 13, 22}), "0-22/4: 0=0 4=4 8=8 13=13 17 22=22");
    EXPECT_EQ(foundFrames({0, 4, 8, 15}), "0-15/4: 0=0 4=4 8=8 15=15");  // 7 is less than two steps
}

TEST(GapTest, NegativeFramesAreFilledToo) {
    EXPECT_EQ(foundFrames({-2, 1}), "-2-1/1: -2=-2 -1 0 1=1");
}

TEST(GapTest, DuplicatesCountAsSlotsAndCanHideAGap) {
    EXPECT_EQ(SequenceDir({"b.1.exr", "b.01.exr", "b.3.exr"}).find("b.#.exr"), "1-3/1: 1=1 1=01 3=3");
    EXPECT_EQ(SequenceDir({"b.1.exr", "b.01.exr", "b.4.exr"}).find("b.#.exr"), "1-4/1: 1=1 1=01 2 3 4=4");
    EXPECT_EQ(SequenceDir({"b.1.exr", "b.4.exr", "b.04.exr", "b.6.exr"}).find("b.#.exr"),
              "1-6/1: 1=1 2 3 4=4 4=04 5 6=6");  // a difference of 0 is passed over: 3 and 2
    EXPECT_EQ(SequenceDir({"b.5.exr", "b.05.exr", "b.005.exr"}).find("b.#.exr"), "5-5/1: 5=5 5=05 5=005");
}

TEST(GapTest, FrameListForbidsFilling) {
    EXPECT_EQ(SequenceDir({"b.1.exr", "b.3.exr"}).find("b.#.exr", listed("1-3")), "1-3/1: 1=1 3=3");
}

TEST(GapTest, SequenceOf24999FramesIsFilled) {
    SequenceDir files({"b.1.exr", "b.24999.exr"});
    files.find("b.#.exr");
    ASSERT_EQ(files.record().imageCount, 24999);
    for (int i = 0; i < 24999; ++i) {
        ASSERT_EQ(files.slot(i).frameNumber, i + 1);
        ASSERT_EQ(files.slot(i).fileFound, i == 0 || i == 24998);
    }
}

TEST(GapTest, SequenceOf25000FramesIsNotFilled) {
    EXPECT_EQ(foundFrames({1, 25000}), "1-25000/1: 1=1 25000=25000");
}

TEST(GapTest, NothingIsFilledWhenDuplicatesLeaveTooFewSlots) {
    // 24999 frames and as many slots more as there are duplicates: one fits the 25000 slots, two do not.
    SequenceDir files({"b.1.exr", "b.01.exr", "b.24999.exr"});
    files.find("b.#.exr");
    EXPECT_EQ(files.record().imageCount, 25000);
    EXPECT_EQ(files.slot(24999).frameNumber, 24999);
    files.split("other.#.exr");
    files.write({"b.001.exr"});
    EXPECT_EQ(files.find("b.#.exr"), "1-24999/1: 1=1 1=01 1=001 24999=24999");
}

TEST(GapTest, FarApartFramesAreNotFilled) {
    constexpr long long highest = 9223372036854775807;
    EXPECT_EQ(foundFrames({1, highest}).substr(0, 24), "1-9223372036854775807/1:");
    EXPECT_EQ(foundFrames({-highest, highest}).substr(0, 43), "-9223372036854775807-9223372036854775807/1:");
    EXPECT_EQ(foundFrames({-highest - 1, 0, highest}).substr(0, 43), "-9223372036854775808-9223372036854775807/1:");
}

TEST(GapTest, WrappedDifferenceDoesNotChangeTheStep) {
    constexpr long long lowest = -9223372036854775807 - 1;
    SequenceDir files({nameOf(lowest), nameOf(lowest + 2), nameOf(9223372036854775807)});  // 2 and -3
    files.find("b.#.exr");
    EXPECT_EQ(files.record().seqStep, 2);
    EXPECT_EQ(files.record().imageCount, 3);
}

TEST(GapTest, HugeStepsAreFilled) {
    SequenceDir files;
    for (const long long frame : {0LL, 3000000000000000000LL, 9000000000000000000LL}) files.write({nameOf(frame)});
    files.find("b.#.exr");
    EXPECT_EQ(files.record().seqStep, 3000000000000000000LL);
    ASSERT_EQ(files.record().imageCount, 4);
    EXPECT_EQ(files.slot(2).frameNumber, 6000000000000000000LL);
    EXPECT_FALSE(files.slot(2).fileFound);
}

// --- Tiles -----------------------------------------------------------------------------------------------------

TEST(GapTest, GapsWithinATileAreFilled) {
    EXPECT_EQ(foundTiles({{0, 1}, {0, 3}, {1, 1}, {1, 2}, {1, 3}}), "1-3/1: 1 +2 3 10000001 10000002 10000003");
    EXPECT_EQ(foundTiles({{0, 1}, {0, 2}, {0, 5}, {2, 1}, {2, 5}}),
              "1-5/1: 1 2 +3 +4 5 20000001 +20000002 +20000003 +20000004 20000005");
}

TEST(GapTest, OneTrailingFrameIsAddedPerTile) {
    EXPECT_EQ(foundTiles({{0, 1}, {1, 1}, {1, 2}, {1, 3}}), "1-3/1: 1 +2 10000001 10000002 10000003");
    EXPECT_EQ(foundTiles({{0, 1}, {0, 2}, {1, 1}, {2, 1}, {2, 2}, {2, 3}}),
              "1-3/1: 1 2 +3 10000001 +10000002 20000001 20000002 20000003");
}

TEST(GapTest, LeadingFramesOfATileAreNotAdded) {
    EXPECT_EQ(foundTiles({{0, 1}, {0, 2}, {0, 3}, {1, 3}}), "1-3/1: 1 2 3 10000003");
}

TEST(GapTest, LastTileGetsNoTrailingFrame) {
    EXPECT_EQ(foundTiles({{0, 1}, {0, 2}, {0, 3}, {1, 1}}), "1-1/1: 1 2 3 10000001");  // its end is the sequence's
}

TEST(GapTest, TilesThatNeedMoreThan24999SlotsAreNotFilled) {
    // Two tiles of 12499 frames are 24998 slots, two of 12500 are one too many.
    const auto slotsUpTo = [](long long last) {
        SequenceDir files({tileName(0, 1), tileName(0, 2), tileName(0, last), tileName(1, 1), tileName(1, last)});
        files.find("b_tile00_.#.exr");
        return files.record().imageCount;
    };
    EXPECT_EQ(slotsUpTo(12499), 24998);
    EXPECT_EQ(slotsUpTo(12500), 5);
}

TEST(GapTest, FrameOfTileZeroBeyondATilesKeysIsNotFilled) {
    // The end is taken without its tile, so the sequence looks short, but the gap is not.
    EXPECT_EQ(foundTiles({{0, 1}, {0, 50000005}}), "1-5/1: 1 50000005");
}

TEST(GapTest, NegativeFramesInTiles) {
    EXPECT_EQ(foundTiles({{1, -3}, {1, 2}}), "9999997-2/1: 9999997 10000002");
    EXPECT_EQ(foundTiles({{0, -2}, {0, 1}, {1, 1}}), "-2-1/3: -2 1 10000001");
}

}  // namespace
