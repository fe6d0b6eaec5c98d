// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxWantedFrames.h"

#include "tests/support/SequenceDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

using kxCheck::ChunkOfFrames;
using kxCheck::FileSequence;
using kxCheck::FoundSequence;
using kxCheck::FrameNumbers;
using kxCheck::WantedFrame;
using kxCheck::wantedFrames;
using kxCheck::WantedFrames;
using kxFrames::TileMarker;

// What a directory "/r/" with these names holds of a sequence.
FoundSequence found(const FileSequence& sequence, const std::vector<std::string>& names) {
    FoundSequence result{"/r/", sequence, {}};
    for (const std::string& name : names) {
        const auto file = readFrameFile(QByteArray::fromStdString(name), sequence);
        EXPECT_TRUE(file) << name;
        if (file) result.files.push_back(file->file);
    }
    std::sort(result.files.begin(), result.files.end());
    return result;
}

// Of names like "b.1.exr" with these texts for the frames.
FoundSequence foundTexts(const std::vector<std::string>& texts) {
    std::vector<std::string> names;
    for (const std::string& text : texts) names.push_back("b." + text + ".exr");
    return found({"b.", ".exr", TileMarker::none, false}, names);
}

FoundSequence foundNumbers(const FrameNumbers& numbers) {
    std::vector<std::string> texts;
    for (const std::int64_t number : numbers) texts.push_back(std::to_string(number));
    return foundTexts(texts);
}

FoundSequence foundTiles(const std::vector<std::string>& names) {
    return found({"b", ".exr", TileMarker::separated, false}, names);
}

// "1-4/1: 1 2 -3 4": range and step, then each frame's text, "-" before a missing and "?" before one whose number
// is too long; tiles as "0/1". The run stands in brackets where it is not all.
std::string told(const WantedFrames& wanted) {
    std::string text;
    if (const auto& range = wanted.sequence.range)
        text = std::to_string(range->first) + "-" + std::to_string(range->last) + "/" +
               std::to_string(range->step) + ":";
    const bool isAll = wanted.runFirst == 0 && wanted.runLast == wanted.frames.size();
    for (std::size_t i = 0; i <= wanted.frames.size(); ++i) {
        if (!isAll && i == wanted.runFirst) text += " [";
        if (!isAll && i == wanted.runLast) text += " ]";
        if (i == wanted.frames.size()) break;
        const WantedFrame& frame = wanted.frames[i];
        text += ' ';
        if (frame.source == WantedFrame::Source::none) text += '-';
        if (frame.source == WantedFrame::Source::longNumber) text += '?';
        if (frame.name.tile) text += std::to_string(*frame.name.tile) + "/";
        text += frame.name.text.toStdString();
    }
    if (wanted.gapsUnknown) text += " gaps unknown";
    if (wanted.leftOut > 0) text += " left out: " + std::to_string(wanted.leftOut);
    return text;
}

std::string wantedOf(const FoundSequence& sequence) {
    return told(wantedFrames(sequence, std::nullopt, {}));
}

std::string askedOf(const FoundSequence& sequence, const FrameNumbers& frames) {
    return told(wantedFrames(sequence, frames, {}));
}

FrameNumbers upTo(std::int64_t last) {
    FrameNumbers numbers;
    for (std::int64_t number = 1; number <= last; ++number) numbers.push_back(number);
    return numbers;
}

TEST(WantedFramesTest, GapsBetweenFramesAreMissing) {
    EXPECT_EQ(wantedOf(foundTexts({"0001", "0002", "0005"})), "1-5/1: 0001 0002 -0003 -0004 0005");
    EXPECT_EQ(wantedOf(foundTexts({"7"})), "7-7/1: 7");
    EXPECT_EQ(wantedOf(foundTexts({"-2", "1"})), "-2-1/1: -2 --1 -0 1");
    EXPECT_EQ(wantedOf(foundTexts({})), "");
}

TEST(WantedFramesTest, StepIsFoundFromTheDifferences) {
    EXPECT_EQ(wantedOf(foundNumbers({10, 20, 30})), "10-30/10: 10 20 30");
    EXPECT_EQ(wantedOf(foundNumbers({10, 20, 40})), "10-40/10: 10 20 -30 40");
    EXPECT_EQ(wantedOf(foundNumbers({10, 12})), "10-12/1: 10 -11 12");
    EXPECT_EQ(wantedOf(foundNumbers({1, 3, 6})), "1-6/2: 1 3 6");
    EXPECT_EQ(wantedOf(foundNumbers({1, 4, 6})), "1-6/1: 1 -2 -3 4 -5 6");
    EXPECT_EQ(wantedOf(foundNumbers({0, 4, 8, 13, 22})), "0-22/4: 0 4 8 13 -17 22");
}

// Held against the slots of the first program's discovery.
TEST(WantedFramesTest, FramesAndStepAreThoseOfTheSequenceRecord) {
    std::mt19937 random(12);
    for (int round = 0; round < 60; ++round) {
        const std::int64_t span = 2 + static_cast<std::int64_t>(random() % 40);
        const std::int64_t scale = 1 + static_cast<std::int64_t>(random() % 5);
        std::set<std::int64_t> numbers;
        for (int i = 0; i < 1 + span / 2; ++i) numbers.insert(static_cast<std::int64_t>(random()) % span * scale);
        SequenceDir files;
        for (const std::int64_t number : numbers) files.write({"b." + std::to_string(number) + ".exr"});
        files.find("b.#.exr");

        const WantedFrames wanted = wantedFrames(foundNumbers({numbers.begin(), numbers.end()}), std::nullopt, {});
        const _kxViewSequence& record = files.record();
        ASSERT_EQ(wanted.frames.size(), static_cast<std::size_t>(record.imageCount));
        EXPECT_EQ(wanted.step, record.seqStep);
        for (std::size_t i = 0; i < wanted.frames.size(); ++i) {
            ASSERT_EQ(wanted.frames[i].name.number, record.images[i].frameNumber);
            ASSERT_EQ(wanted.frames[i].source == WantedFrame::Source::file, bool{record.images[i].fileFound});
        }
    }
}

TEST(WantedFramesTest, PathsAreThoseOfTheFilesAndOfTheFilesThatShouldBe) {
    const auto frames = wantedFrames(foundTexts({"001", "003"}), std::nullopt, {}).frames;
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(frames[0].name.path, "/r/b.001.exr");
    EXPECT_EQ(frames[1].name.path, "/r/b.002.exr");
    EXPECT_EQ(frames[1].name.number, 2);
    EXPECT_EQ(frames[1].name.tile, std::nullopt);
}

TEST(WantedFramesTest, MissingFramesHaveAsFewDigitsAsAnyOther) {
    EXPECT_EQ(wantedOf(foundTexts({"8", "10"})), "8-10/1: 8 -9 10");
    EXPECT_EQ(wantedOf(foundTexts({"0998", "1001"})), "998-1001/1: 0998 -0999 -1000 1001");
    EXPECT_EQ(wantedOf(foundTexts({"1", "0003"})), "1-3/1: 1 -2 0003");
    EXPECT_EQ(wantedOf(foundTexts({"-0003", "-0001", "0001"})), "-3-1/2: -0003 -0001 0001");
    EXPECT_EQ(wantedOf(foundTexts({"-003", "0001"})), "-3-1/1: -003 --002 --001 -0000 0001");
    EXPECT_EQ(askedOf(foundTexts({}), {-1, 7}), "-1-7/1: --0001 -0007");
}

TEST(WantedFramesTest, FilesOfOneNumberAreAllWanted) {
    EXPECT_EQ(wantedOf(foundTexts({"1", "01", "3"})), "1-3/1: 1 01 -2 3");
}

TEST(WantedFramesTest, ListedFramesMustBeThereAndOthersAreLeftAlone) {
    EXPECT_EQ(askedOf(foundNumbers({1, 2, 4, 7}), {2, 3, 4, 5}), "2-5/1: 2 -3 4 -5");
    EXPECT_EQ(askedOf(foundNumbers({1, 2, 3, 4, 5}), {1, 3, 5}), "1-5/2: 1 3 5");
    EXPECT_EQ(askedOf(foundNumbers({}), {1, 2}), "1-2/1: -0001 -0002");
    EXPECT_EQ(askedOf(foundTexts({"1", "01", "2"}), {1}), "1-1/1: 1 01");
}

TEST(WantedFramesTest, SingleFileIsNoFrameOfAList) {
    FoundSequence single{"/r/", {"comp.exr", "", TileMarker::none, true}, {{{}, {}, {}, "comp.exr"}}};
    const WantedFrames wanted = wantedFrames(single, std::nullopt, {});
    ASSERT_EQ(wanted.frames.size(), 1U);
    EXPECT_EQ(wanted.frames[0].name.path, "/r/comp.exr");
    EXPECT_EQ(wanted.frames[0].name.number, std::nullopt);
    EXPECT_EQ(wanted.frames[0].source, WantedFrame::Source::file);
    EXPECT_EQ(wanted.sequence.range, std::nullopt);
    EXPECT_EQ(wanted.sequence.path, "/r/comp.exr");
    EXPECT_TRUE(wantedFrames(single, FrameNumbers{1, 2}, {}).frames.empty());
    single.files.clear();
    EXPECT_TRUE(wantedFrames(single, std::nullopt, {}).frames.empty());
}

TEST(WantedFramesTest, LongNumbersComeLastAndAreOfNoList) {
    const FoundSequence sequence = foundTexts({"2", "0000000000000001", "4"});
    EXPECT_EQ(wantedOf(sequence), "2-4/1: 2 -3 4 ?0000000000000001");
    EXPECT_EQ(askedOf(sequence, {1, 2}), "1-2/1: -1 2");
    EXPECT_EQ(wantedOf(foundTexts({"0000000000000001"})), " ?0000000000000001");
}

TEST(WantedFramesTest, SequenceIsDescribed) {
    const WantedFrames wanted = wantedFrames(foundNumbers({2, 4, 8}), std::nullopt, {});
    EXPECT_EQ(wanted.sequence.path, "/r/b.####.exr");
    EXPECT_EQ(wanted.sequence.directory, "/r/");
    EXPECT_EQ(wanted.sequence.prefix, "b.");
    EXPECT_EQ(wanted.sequence.suffix, ".exr");
    EXPECT_EQ(wanted.sequence.frames, 4);
    EXPECT_EQ(wanted.step, 2);
}

TEST(WantedFramesTest, EachTileHasTheFrames) {
    const FoundSequence sequence =
        foundTiles({"b_tile01_.0001.exr", "b_tile03_.0001.exr", "b_tile01_.0003.exr", "b_tile02_.0003.exr"});
    EXPECT_EQ(wantedOf(sequence), "1-3/1: 1/0001 -2/0001 3/0001 -1/0002 -2/0002 -3/0002 1/0003 2/0003 -3/0003");
    EXPECT_EQ(askedOf(sequence, {3, 4}), "3-4/1: 1/0003 2/0003 -3/0003 -1/0004 -2/0004 -3/0004");
    EXPECT_EQ(wantedFrames(sequence, std::nullopt, {}).frames[1].name.path, "/r/b_tile02_.0001.exr");
    EXPECT_EQ(wantedFrames(sequence, std::nullopt, {}).sequence.path, "/r/b_tile##_.####.exr");
}

TEST(WantedFramesTest, TilesWithoutAnyFileAreOne) {
    EXPECT_EQ(wantedOf(foundTiles({})), "");
    EXPECT_EQ(askedOf(foundTiles({}), {1}), "1-1/1: -0/0001");
}

TEST(WantedFramesTest, ChunksFollowEachOtherAndDifferByOneFrame) {
    const FoundSequence sequence = foundNumbers(upTo(7));
    EXPECT_EQ(told(wantedFrames(sequence, std::nullopt, {1, 3})), "1-7/1: [ 1 2 ] 3 4 5 6 7");
    EXPECT_EQ(told(wantedFrames(sequence, std::nullopt, {2, 3})), "1-7/1: 1 2 [ 3 4 ] 5 6 7");
    EXPECT_EQ(told(wantedFrames(sequence, std::nullopt, {3, 3})), "1-7/1: 1 2 3 4 [ 5 6 7 ]");
}

TEST(WantedFramesTest, EveryFrameIsInOneChunk) {
    for (const int frames : {0, 1, 2, 7, 100}) {
        const FoundSequence sequence = foundNumbers(upTo(frames));
        for (const int count : {1, 2, 3, 7, 8, 1000}) {
            std::size_t expectedFirst = 0;
            std::set<std::size_t> sizes;
            for (int index = 1; index <= count; ++index) {
                const WantedFrames wanted = wantedFrames(sequence, std::nullopt, {index, count});
                ASSERT_EQ(wanted.runFirst, expectedFirst);
                expectedFirst = wanted.runLast;
                sizes.insert(wanted.runLast - wanted.runFirst);
            }
            EXPECT_EQ(expectedFirst, static_cast<std::size_t>(frames));
            EXPECT_LE(*sizes.rbegin() - *sizes.begin(), 1U);
        }
    }
}

TEST(WantedFramesTest, ChunksHoldMissingFramesAndAllFilesAndTilesOfAFrame) {
    EXPECT_EQ(told(wantedFrames(foundTexts({"1", "01", "001", "3"}), std::nullopt, {1, 3})),
              "1-3/1: [ 1 01 001 ] -2 3");
    EXPECT_EQ(told(wantedFrames(foundTexts({"1", "3"}), std::nullopt, {2, 3})), "1-3/1: 1 [ -2 ] 3");
    EXPECT_EQ(told(wantedFrames(foundTiles({"b_tile00_.1.exr", "b_tile01_.1.exr", "b_tile00_.2.exr"}), std::nullopt,
                                {1, 2})),
              "1-2/1: [ 0/1 1/1 ] 0/2 -1/2");
    EXPECT_EQ(told(wantedFrames(foundNumbers({1, 2, 3, 4}), FrameNumbers{2, 3}, {2, 2})), "2-3/1: 2 [ 3 ]");
}

TEST(WantedFramesTest, ChunksMayBeEmpty) {
    const WantedFrames wanted = wantedFrames(foundNumbers({1}), std::nullopt, {1, 2});
    EXPECT_EQ(wanted.frames.size(), 1U);
    EXPECT_EQ(wanted.runFirst, wanted.runLast);
}

TEST(WantedFramesTest, RangesOfMoreThanASequenceHoldsHaveNoGaps) {
    EXPECT_EQ(wantedFrames(foundNumbers({1, 24999}), std::nullopt, {}).frames.size(), 24999U);
    EXPECT_EQ(wantedOf(foundNumbers({1, 25000})), "1-25000/1: 1 25000 gaps unknown");
    EXPECT_EQ(wantedOf(foundNumbers({-99999999999999, 999999999999999})),
              "-99999999999999-999999999999999/1: -99999999999999 999999999999999 gaps unknown");
    EXPECT_EQ(wantedOf(foundNumbers({0, 1000000, 3000000})), "0-3000000/1000000: 0 1000000 -2000000 3000000");
    EXPECT_EQ(wantedFrames(foundTiles({"b_tile00_.1.exr", "b_tile01_.12499.exr"}), std::nullopt, {}).frames.size(),
              24998U);
    EXPECT_EQ(wantedOf(foundTiles({"b_tile00_.1.exr", "b_tile01_.12500.exr"})),
              "1-12500/1: 0/1 1/12500 gaps unknown");
}

TEST(WantedFramesTest, ListedFramesOfAWideRangeMayBeMissing) {
    EXPECT_EQ(askedOf(foundNumbers({1, 1000000}), {1, 500000}), "1-500000/1: 1 -500000");
}

TEST(WantedFramesTest, FilesBeyondASequenceAreLeftOut) {
    EXPECT_EQ(wantedFrames(foundNumbers(upTo(24999)), std::nullopt, {}).leftOut, 0);
    const WantedFrames wanted = wantedFrames(foundNumbers(upTo(25002)), std::nullopt, {});
    EXPECT_EQ(wanted.leftOut, 3);
    EXPECT_EQ(wanted.frames.size(), 24999U);
    EXPECT_EQ(wanted.frames.back().name.number, 24999);
}

TEST(WantedFramesTest, FilesOutsideAListDoNotCountForTheLimit) {
    const WantedFrames wanted = wantedFrames(foundNumbers(upTo(30000)), FrameNumbers{29999, 30001}, {});
    EXPECT_EQ(told(wanted), "29999-30001/1: 29999 -30001");
}

TEST(WantedFramesTest, ListedFramesOfAllTilesAreNoMoreThanASequenceHolds) {
    const FoundSequence sequence = foundTiles({"b_tile00_.1.exr", "b_tile02_.8334.exr", "b_tile01_.9000.exr"});
    EXPECT_EQ(wantedFrames(sequence, upTo(8333), {}).leftOut, 0);
    EXPECT_EQ(wantedFrames(sequence, upTo(8333), {}).frames.size(), 24999U);
    const WantedFrames wanted = wantedFrames(sequence, upTo(10000), {});
    EXPECT_EQ(wanted.frames.size(), 24999U);
    EXPECT_EQ(wanted.frames.back().name.number, 8333);
    EXPECT_EQ(wanted.frames.back().name.tile, 2);
    EXPECT_EQ(wanted.sequence.frames, 24999);
    EXPECT_EQ(wanted.leftOut, 3 * 1667);
    EXPECT_FALSE(wanted.gapsUnknown);
}

TEST(WantedFramesTest, SeveralFilesOfAFrameAndMissingOnesCountForTheLimit) {
    std::vector<std::string> texts;
    for (int i = 1; i <= 12498; ++i) {
        texts.push_back(std::to_string(i));
        texts.push_back("0" + std::to_string(i));
    }
    texts.push_back("13000");
    const WantedFrames wanted = wantedFrames(foundTexts(texts), std::nullopt, {});
    EXPECT_EQ(wanted.frames.size(), 24999U);
    EXPECT_EQ(wanted.leftOut, 24997 + 501 - 24999);
    EXPECT_EQ(wanted.frames.back().name.number, 12501);
}

TEST(WantedFramesTest, FramesWhoseFileIsLeftOutAreNotMissing) {
    std::vector<std::string> texts;
    for (int i = 1; i <= 12501; ++i) {
        texts.push_back(std::to_string(i));
        texts.push_back("0" + std::to_string(i));
    }
    const WantedFrames wanted = wantedFrames(foundTexts(texts), upTo(12600), {});
    EXPECT_EQ(wanted.leftOut, 3 + 99);
    EXPECT_EQ(wanted.frames.size(), 24999U);
    EXPECT_EQ(wanted.frames.back().name.text, "12500");
}

}  // namespace
