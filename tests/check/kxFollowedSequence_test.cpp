// SPDX-License-Identifier: BSD-3-Clause
// Made reports of files that are only names, but where the system is asked about them.
#include "check/kxFollowedSequence.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <map>
#include <string>

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

FileReport nameless(Code code) {
    FileReport file = report(code);
    file.hasIdentity = false;
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
    std::string digits(const std::vector<FollowCheck>& checks) {
        std::string text;
        for (const FollowCheck& check : checks) {
            text += check.file.path.at(directory.size() + 2);
            arrivals[check.file.path] = check.arrival;
        }
        return text;
    }
    // The report of what was given out last for that frame.
    void take(int number, const FileReport& file, Level level = Level::structure) {
        sequence.take({{path(number), level}, arrivals[path(number)]}, file, now);
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
    FollowedSequence sequence{settings, room, previews()};
    std::map<QByteArray, std::int64_t> arrivals;
    std::string shown;  // frames whose previews a page has, in order of path

private:
    FollowPreviews previews() {
        const auto digit = [](const FrameName& frame) { return frame.text.toStdString(); };
        const auto drop = [this, digit](const FrameName& frame) {
            const std::size_t at = shown.find(digit(frame));
            if (at != std::string::npos) shown.erase(at, 1);
        };
        const auto take = [this, digit](const FrameName& frame, const FileReport& file) {
            if (file.picture) shown += digit(frame);
        };
        return {take, drop};
    }
};

}  // namespace

TEST_F(FollowedSequenceTest, FilesAreLookedIntoOnceWhenTheyArrive) {
    EXPECT_TRUE(sequence.update(found({})));
    EXPECT_EQ(arrived(), "");
    EXPECT_EQ(sequence.frames(), 4);
    EXPECT_TRUE(sequence.update(found({2, 3, 9})));
    EXPECT_EQ(arrived(), "23");
    EXPECT_FALSE(sequence.update(found({2, 3, 9})));
    EXPECT_FALSE(sequence.update(found({2, 3, 9, 11}))) << "frames that nobody waits for";
    EXPECT_FALSE(sequence.update(found({2, 3}))) << "nor when they go";
    EXPECT_EQ(arrived(), "");
    take(3, report());
    EXPECT_TRUE(sequence.update(found({1, 2, 3, 9})));
    EXPECT_EQ(arrived(), "1");
    EXPECT_EQ(sequence.done(), 1);
    EXPECT_TRUE(sequence.hasReport(path(3)));
}

TEST_F(FollowedSequenceTest, AFileThatVanishesIsForgotten) {
    (void)sequence.update(found({1, 2}));
    EXPECT_EQ(arrived(), "12");
    take(1, report());
    EXPECT_TRUE(sequence.update(found({})));
    EXPECT_EQ(sequence.done(), 0);
    take(2, report());  // that was on its way
    EXPECT_FALSE(sequence.hasReport(path(2)));
    EXPECT_FALSE(sequence.takeReport(path(1)));
    (void)sequence.update(found({1, 2}));
    EXPECT_EQ(arrived(), "12");
}

TEST_F(FollowedSequenceTest, OnlyFramesWithoutFaultAreKeptInACache) {
    for (const char* const cache : {"", "/cache/"}) {
        Settings pixels = settings;
        pixels.level = Level::pixels;
        pixels.cacheDirectory = cache;
        FollowedSequence cached(pixels, room, {});
        (void)cached.update(found({1, 2}));
        for (const FollowCheck& check : cached.takeArrived())
            cached.take(check, check.file.path == path(1) ? report() : report(Code::header), now);
        const std::vector<FollowCheck> whole = cached.takeWhole();
        ASSERT_EQ(whole.size(), 2U);
        EXPECT_EQ(whole[0].file.keepsInCache, *cache != '\0');
        EXPECT_FALSE(whole[1].file.keepsInCache);
    }
}

TEST_F(FollowedSequenceTest, AReportOfAFileThatVanishedIsNotThatOfTheNextOfItsName) {
    settings.level = Level::pixels;
    (void)sequence.update(found({1}));
    EXPECT_EQ(arrived(), "1");
    take(1, report());
    EXPECT_EQ(whole(), "1");
    const std::int64_t former = arrivals[path(1)];
    (void)sequence.update(found({}));
    (void)sequence.update(found({1}));
    EXPECT_EQ(arrived(), "1");
    sequence.take({{path(1), Level::pixels}, former}, report(), now);
    EXPECT_EQ(sequence.done(), 0);
    take(1, report(Code::truncated));
    EXPECT_EQ(whole(), "1");
    take(1, report(Code::truncated), Level::pixels);
    EXPECT_EQ(judged(), "1 truncated;");
}

TEST_F(FollowedSequenceTest, APageKeepsThePicturesOfFilesThatAreThere) {
    settings.level = Level::pixels;
    (void)sequence.update(found({1, 2, 3}));
    EXPECT_EQ(arrived(), "123");
    for (const int number : {1, 2, 3}) take(number, reportWithTileMissing(), Level::pixels);
    EXPECT_EQ(shown, "123");
    (void)sequence.update(found({2, 3}));
    EXPECT_EQ(shown, "23");
    take(2, report(Code::header));
    EXPECT_EQ(shown, "3");
    sequence.dropReport(path(3));
    EXPECT_EQ(shown, "");
    EXPECT_FALSE(sequence.takeReport(path(3)));
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
    EXPECT_EQ(sequence.growsAt(), now + 50 * second);
    sequence.grow(now);
    EXPECT_EQ(arrived(), "");
    sequence.grow(now + 50 * second);
    EXPECT_EQ(arrived(), "1");
    EXPECT_GT(sequence.growsAt(), now + 1000 * second);
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
    EXPECT_EQ(judged(), "1;3;1;");
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
    EXPECT_EQ(judged(), "1 nan nan nan;2 nan nan nan;");
    EXPECT_EQ(room.strange, 2);
    EXPECT_EQ(sequence.done(), 2);
    EXPECT_FALSE(sequence.hasReport(path(2)));
    EXPECT_FALSE(sequence.takeReport(path(2)));
    (void)sequence.update(found({}));
    EXPECT_EQ(room.strange, 5);
}

// Other sequences may have taken it up.
TEST_F(FollowedSequenceTest, HeadersThatFindNoRoomAreReadAgainAtTheEnd) {
    room.reports = ReportRoom(0);
    (void)sequence.update(found({1, 2}));
    EXPECT_EQ(arrived(), "12");
    FileReport file = report();
    file.headers = std::make_shared<const Headers>(1);
    take(1, file);
    take(2, report());
    EXPECT_EQ(sequence.done(), 2);
    EXPECT_FALSE(sequence.hasReport(path(1)));
    EXPECT_TRUE(sequence.hasReport(path(2)));
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

TEST_F(AskedSequenceTest, WhereAllAreAskedGoodFramesArriveAgainToo) {
    (void)sequence.update(found({1, 2}));
    EXPECT_EQ(arrived(), "12");
    put(1, {});
    put(2, Code::chunk);
    EXPECT_FALSE(sequence.askAllFiles());
    for (const int number : {1, 2}) ASSERT_TRUE(writeFileBytes(path(number).toStdString(), "longer"));
    EXPECT_TRUE(sequence.askAllFiles());
    EXPECT_EQ(arrived(), "12");
    EXPECT_EQ(sequence.done(), 0);
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

TEST_F(AskedSequenceTest, AFileThatCouldNotBeOpenedIsLookedIntoOnceMoreWhenItIsThere) {
    (void)sequence.update(found({1}));
    EXPECT_EQ(arrived(), "1");
    take(1, nameless(Code::unreadable));
    EXPECT_FALSE(sequence.askFiles(always)) << "a link that leads nowhere";
    ASSERT_TRUE(writeFileBytes(path(1).toStdString(), "x"));
    EXPECT_TRUE(sequence.askFiles(always));
    EXPECT_EQ(arrived(), "1");
    take(1, nameless(Code::unreadable));
    EXPECT_FALSE(sequence.askFiles(always));
    std::filesystem::remove(path(1).toStdString());
    EXPECT_FALSE(sequence.askFiles(always));
    ASSERT_TRUE(writeFileBytes(path(1).toStdString(), "longer"));
    EXPECT_TRUE(sequence.askFiles(always));
}

TEST_F(AskedSequenceTest, WhatAReaderWasLostOnIsLookedIntoWhenItChanges) {
    (void)sequence.update(found({1}));
    EXPECT_EQ(arrived(), "1");
    ASSERT_TRUE(writeFileBytes(path(1).toStdString(), "x"));
    take(1, nameless(Code::limit));
    EXPECT_FALSE(sequence.askFiles(always));
    EXPECT_TRUE(sequence.isReportTrue(path(1)));
    ASSERT_TRUE(writeFileBytes(path(1).toStdString(), "longer"));
    EXPECT_TRUE(sequence.askFiles(always));
}

// Whoever asks at the end looks at it again.
TEST_F(AskedSequenceTest, AReportIsTrueAsLongAsItsFileIsThere) {
    (void)sequence.update(found({1, 2, 3, 4}));
    EXPECT_EQ(arrived(), "1234");
    put(1, {});
    put(2, {});
    put(3, Code::unreadable);
    for (const int number : {1, 2, 3}) EXPECT_TRUE(sequence.hasReport(path(number)));
    EXPECT_TRUE(sequence.isReportTrue(path(1)));
    ASSERT_TRUE(writeFileBytes(path(2).toStdString(), "longer"));
    for (const int number : {2, 3, 4}) EXPECT_FALSE(sequence.isReportTrue(path(number))) << number;
    std::filesystem::remove(path(1).toStdString());
    EXPECT_FALSE(sequence.isReportTrue(path(1)));
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
