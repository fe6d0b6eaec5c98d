// SPDX-License-Identifier: BSD-3-Clause
// Made reports of files that are only names, but where the system is asked about them.
#include "check/kxFollowedSequence.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>

using namespace kxCheck;

namespace {

constexpr std::int64_t second = 1000000000;
constexpr std::int64_t now = 2000000000 * second;
constexpr auto always = FollowedSequence::Clock::time_point::max();

FileReport report(std::optional<Code> code = {}, int age = 3600) {
    FileReport file;
    file.hasIdentity = true;
    file.identity = {1, 2, 1000, now - age * second};
    if (code) file.findings = {makeFinding(*code, "text")};
    return file;
}

FileReport reportWithTileMissing() {
    FileReport file = report();
    auto picture = std::make_shared<PictureReport>();
    picture->picture.emplace();
    picture->picture->isTileMissing = true;
    file.picture = picture;
    return file;
}

class FollowedSequenceTest : public ::testing::Test {
protected:
    FollowedSequenceTest() {
        settings.frames = FrameNumbers{1, 2, 3, 4};
        settings.level = Level::structure;
    }

    // Which of the frames have a file.
    FoundSequence found(const std::vector<int>& numbers) const {
        FoundSequence there{directory, {"a.", ".exr"}, {}};
        for (const int number : numbers) {
            const QByteArray text = QByteArray::number(number);
            there.files.push_back({number, text, std::nullopt, "a." + text + ".exr"});
        }
        return there;
    }
    [[nodiscard]] QByteArray path(int number) const {
        return directory + "a." + QByteArray::number(number) + ".exr";
    }
    // The frames that are to be looked into, as digits.
    std::string arrived() { return digits(sequence.takeArrived()); }
    std::string whole() { return digits(sequence.takeWhole()); }
    std::string digits(const std::vector<FileCheck>& checks) const {
        std::string text;
        for (const FileCheck& check : checks) text += check.path.at(directory.size() + 2);
        return text;
    }
    void take(int number, const FileReport& file, Level level = Level::structure) {
        sequence.take({path(number), level}, file, now);
    }
    // Those that were judged, each with the codes found.
    std::string judged() {
        std::string text;
        for (const FrameReport& frame : sequence.takeJudged()) {
            text += frame.name.text.toStdString();
            for (const Finding& finding : frame.findings) text += std::string(" ") + rowOf(finding.code).name;
            text += ";";
        }
        return text;
    }

    Settings settings;
    FollowRoom room;
    QByteArray directory = "/r/";
    FollowedSequence sequence{settings, room, {}};
};

}  // namespace

TEST_F(FollowedSequenceTest, FilesAreLookedIntoOnceWhenTheyArrive) {
    EXPECT_TRUE(sequence.update(found({})));
    EXPECT_EQ(arrived(), "");
    EXPECT_EQ(sequence.frames(), 4);
    EXPECT_FALSE(sequence.hadFiles());
    EXPECT_TRUE(sequence.update(found({2, 3, 9})));
    EXPECT_EQ(arrived(), "23");
    EXPECT_FALSE(sequence.update(found({2, 3, 9})));
    EXPECT_EQ(arrived(), "");
    take(3, report());
    EXPECT_TRUE(sequence.update(found({1, 2, 3, 9})));
    EXPECT_EQ(arrived(), "1");
    EXPECT_EQ(sequence.done(), 1);
    EXPECT_TRUE(sequence.isDone(path(3)));
    EXPECT_TRUE(sequence.hadFiles());
}

TEST_F(FollowedSequenceTest, AFileThatVanishesIsForgotten) {
    (void)sequence.update(found({1, 2}));
    EXPECT_EQ(arrived(), "12");
    take(1, report());
    EXPECT_TRUE(sequence.update(found({})));
    EXPECT_EQ(sequence.done(), 0);
    take(2, report());  // that was on its way
    EXPECT_FALSE(sequence.isDone(path(2)));
    EXPECT_FALSE(sequence.takeReport(path(1)));
    (void)sequence.update(found({1, 2}));
    EXPECT_EQ(arrived(), "12");
}

TEST_F(FollowedSequenceTest, AFileThatIsGoneWhenItIsOpenedArrivesAgainWhereTheDirectoryStillHasIt) {
    (void)sequence.update(found({1}));
    EXPECT_EQ(arrived(), "1");
    take(1, report(Code::missing));
    EXPECT_EQ(arrived(), "");
    EXPECT_FALSE(sequence.update(found({1}))) << "no news, or a run would never end";
    EXPECT_EQ(arrived(), "1");
}

TEST_F(FollowedSequenceTest, AnUnfinishedFileIsNotJudgedUntilItIsOldEnough) {
    (void)sequence.update(found({1}));
    EXPECT_EQ(arrived(), "1");
    take(1, report(Code::unfinished, 10));
    EXPECT_EQ(judged(), "");
    sequence.grow(now);
    EXPECT_EQ(arrived(), "");
    sequence.grow(now + 50 * second);
    EXPECT_EQ(arrived(), "1");
    take(1, report(Code::unfinished, 60));
    EXPECT_EQ(judged(), "1 unfinished;");
    EXPECT_EQ(sequence.done(), 1);
}

TEST_F(FollowedSequenceTest, WhatIsWholeIsDecoded) {
    settings.level = Level::pixels;
    (void)sequence.update(found({1, 2}));
    EXPECT_EQ(arrived(), "12");
    take(1, report());
    take(2, report(Code::empty, 0));
    EXPECT_EQ(whole(), "1");
    EXPECT_EQ(whole(), "");
    EXPECT_EQ(judged(), "");
    take(1, report(Code::chunk), Level::pixels);
    EXPECT_EQ(judged(), "1 chunk;");
}

TEST_F(FollowedSequenceTest, AReaderThatIsLostAtThePixelsTakesNothingFromTheStructure) {
    settings.level = Level::pixels;
    (void)sequence.update(found({1}));
    EXPECT_EQ(arrived(), "1");
    take(1, report(Code::chunk));
    EXPECT_EQ(whole(), "1");
    FileReport lost;
    lost.findings = {makeFinding(Code::limit, "text")};
    take(1, lost, Level::pixels);
    EXPECT_EQ(judged(), "1 limit chunk;");
}

TEST_F(FollowedSequenceTest, NeighboursAreComparedWhenAllAroundAreDone) {
    settings.level = Level::pixels;
    (void)sequence.update(found({1, 2, 3, 4}));
    EXPECT_EQ(arrived(), "1234");
    take(2, reportWithTileMissing(), Level::pixels);
    EXPECT_EQ(judged(), "2;");
    take(1, report(), Level::pixels);
    take(3, report(), Level::pixels);
    EXPECT_EQ(judged(), "1;2;3;2;1;");
    take(4, report(), Level::pixels);
    EXPECT_EQ(judged(), "4;3;2 tile-missing;");
}

TEST_F(FollowedSequenceTest, FramesOutsideTheRunAreLeftAlone) {
    settings.chunk = {2, 2};
    (void)sequence.update(found({1, 2, 3}));
    EXPECT_EQ(arrived(), "3");
    EXPECT_EQ(sequence.frames(), 2);
}

TEST_F(FollowedSequenceTest, AReportIsGivenAwayWhenItsFrameIsDone) {
    (void)sequence.update(found({1, 2}));
    EXPECT_EQ(arrived(), "12");
    take(1, report(Code::chunk));
    take(2, report(Code::truncated, 0));
    const auto given = sequence.takeReport(path(1));
    ASSERT_TRUE(given);
    EXPECT_EQ(given->findings.size(), 1U);
    EXPECT_FALSE(sequence.takeReport(path(2)));
    EXPECT_FALSE(sequence.takeReport("/r/a.7.exr"));
}

// They are read again at the end, one after the other.
TEST_F(FollowedSequenceTest, StrangeSamplesFindRoomAsFarAsThereIsSome) {
    settings.level = Level::pixels;
    room.strange = 5;
    (void)sequence.update(found({1, 2}));
    EXPECT_EQ(arrived(), "12");
    FileReport file = report();
    auto picture = std::make_shared<PictureReport>();
    picture->strange.assign(3, {0, "R", 1, 0});
    file.picture = picture;
    take(1, file, Level::pixels);
    take(2, file, Level::pixels);
    EXPECT_EQ(judged(), "1 nan nan nan;2 nan nan nan;1 nan nan nan;");
    EXPECT_EQ(room.strange, 2);
    EXPECT_TRUE(sequence.isDone(path(2)));
    EXPECT_FALSE(sequence.takeReport(path(2)));
    (void)sequence.update(found({}));
    EXPECT_EQ(room.strange, 5);
}

class AskedSequenceTest : public FollowedSequenceTest {
protected:
    AskedSequenceTest() { directory = QByteArray::fromStdString(dir.path()); }

    // Puts a file there, and its report with this code.
    void put(int number, std::optional<Code> code, const std::string& content = "x") {
        ASSERT_TRUE(writeFileBytes(path(number).toStdString(), content));
        FileReport file = report(code);
        file.identity = *identityAt(path(number));
        take(number, file);
    }

    TempDir dir;
};

TEST_F(AskedSequenceTest, FramesThatAreNotGoodArriveAgainWhenTheirFileChanges) {
    (void)sequence.update(found({1, 2, 3}));
    EXPECT_EQ(arrived(), "123");
    put(1, {});
    put(2, Code::chunk);
    put(3, Code::truncated);
    EXPECT_FALSE(sequence.askFiles(always));
    for (const int number : {1, 2, 3}) ASSERT_TRUE(writeFileBytes(path(number).toStdString(), "longer"));
    EXPECT_TRUE(sequence.askFiles(always));
    EXPECT_EQ(arrived(), "23");
    EXPECT_EQ(sequence.done(), 1);
}

TEST_F(AskedSequenceTest, AFileOfWhichTheSystemTellsTwoThingsIsLookedIntoOnceMoreOnly) {
    (void)sequence.update(found({1}));
    EXPECT_EQ(arrived(), "1");
    put(1, Code::chunk);
    FileReport other = report(Code::chunk);
    take(1, other);
    EXPECT_TRUE(sequence.askFiles(always));
    EXPECT_EQ(arrived(), "1");
    take(1, other);
    EXPECT_FALSE(sequence.askFiles(always));
}

TEST_F(AskedSequenceTest, WhereNothingIsKnownOfTheFileChangesCountFromNowOn) {
    (void)sequence.update(found({1}));
    EXPECT_EQ(arrived(), "1");
    put(1, Code::chunk);
    FileReport unknown;
    unknown.findings = {makeFinding(Code::unreadable, "text")};
    take(1, unknown);
    EXPECT_FALSE(sequence.askFiles(always));
    ASSERT_TRUE(writeFileBytes(path(1).toStdString(), "longer"));
    EXPECT_TRUE(sequence.askFiles(always));
}

TEST_F(AskedSequenceTest, WhereAskingTakesLongEachFileHasItsTurn) {
    (void)sequence.update(found({1, 2, 3}));
    EXPECT_EQ(arrived(), "123");
    for (const int number : {1, 2, 3}) put(number, Code::chunk);
    for (const int number : {1, 2, 3}) ASSERT_TRUE(writeFileBytes(path(number).toStdString(), "longer"));
    std::string turns;
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(sequence.askFiles(FollowedSequence::Clock::time_point::min()));
        turns += arrived();
    }
    EXPECT_EQ(turns, "123");
}
