// SPDX-License-Identifier: BSD-3-Clause
// Discovery on a record that holds the sequence already, and pre-filled slots.
#include "tests/support/SequenceDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

namespace {

using kxP::_imgRGBABuffer8;

// A directory whose sequence "b.#.exr" was found once.
class RefreshTest : public ::testing::Test {
protected:
    void findFirst(const std::vector<std::string>& names) {
        files_.write(names);
        files_.find("b.#.exr");
    }
    std::string refresh(const DiscoverySettings& settings = {}) { return files_.find("b.#.exr", settings); }

    void remove(const std::string& name) { std::filesystem::remove(files_.dir.file(name)); }

    // Gives a slot a cached image of one pixel of value 100 and marks it as checked.
    void cacheImage(int slot, unsigned char flags) {
        auto* image = new _imgRGBABuffer8(1U);
        image->setWidth(1);
        image->setHeight(1);
        image->write(0, 0, _Rgba8{100, 100, 100, 100});
        image->flags = flags;
        files_.slot(slot).thumbnail = image;
        files_.slot(slot).thumbnailLoaded = 1;
        files_.slot(slot).checkPending = 0;
    }

    SequenceDir files_;
};

DiscoverySettings wantedImages(bool gamma22, bool superWhite) {
    DiscoverySettings settings;
    settings.gamma22 = gamma22;
    settings.superWhite = superWhite;
    return settings;
}

TEST_F(RefreshTest, SlotsStayAndNewFilesAreAdded) {
    findFirst({"b.1.exr", "b.2.exr"});
    files_.slot(1).infoText = "node17";
    files_.write({"b.3.exr"});
    EXPECT_EQ(refresh(), "1-3/1: 1=1 2=2 3=3");
    EXPECT_EQ(bytesOf(files_.slot(1).infoText.toQString()), "node17");
}

TEST_F(RefreshTest, SlotOfAFileThatWentIsKeptWithoutFile) {
    findFirst({"b.1.exr", "b.2.exr", "b.3.exr"});
    remove("b.2.exr");
    EXPECT_EQ(refresh(), "1-3/1: 1=1 2?2 3=3");
    EXPECT_EQ(files_.record().fileCount, 3);
}

TEST_F(RefreshTest, FileOfAGapSlotBecomesASecondSlot) {
    findFirst({"b.1.exr", "b.3.exr"});
    files_.write({"b.2.exr"});
    EXPECT_EQ(refresh(), "1-3/1: 1=1 2 2=2 3=3");  // the gap's slot has no frame text to match
}

TEST_F(RefreshTest, FrameMatchesBySpelling) {
    findFirst({"b.1.exr"});
    files_.write({"b.01.exr"});
    EXPECT_EQ(refresh(), "1-1/1: 1=1 1=01");
    EXPECT_EQ(refresh(), "1-1/1: 1=1 1=01");
}

TEST_F(RefreshTest, FrameTextWithLeadingPointMatches) {
    files_.write({"b.1.exr", "b_2.exr"});
    files_.find("b*.exr");
    files_.slot(0).infoText = "node17";
    // A "_" in front of the number is not looked for, so its file is added once more.
    EXPECT_EQ(files_.find("b*.exr"), "1-2/1: 1=.1 2=_2 2?_2");
    EXPECT_EQ(bytesOf(files_.slot(0).infoText.toQString()), "node17");
}

TEST_F(RefreshTest, FrameTextMatchesIgnoringCase) {
    files_.write({"b_tile01_.1.exr"});
    files_.find("b_tile00_.#.exr");
    files_.slot(0).frameText = "_TILE01_.1";
    EXPECT_EQ(files_.find("b_tile00_.#.exr"), "10000001-1/1: 10000001=_TILE01_.1");
}

TEST_F(RefreshTest, CutFrameTextIsNotFoundAgain) {
    findFirst({"b.0000000000000001.exr"});
    EXPECT_EQ(refresh(), "1-1/1: 1=000000000000000 1?000000000000000");
}

TEST_F(RefreshTest, EveryMatchingSlotIsRefreshed) {
    findFirst({"b.1.exr", "B.1.EXR"});
    ASSERT_EQ(files_.record().imageCount, 2);
    EXPECT_EQ(refresh(), "1-1/1: 1=1 1=1");
    remove("B.1.EXR");
    EXPECT_EQ(refresh(), "1-1/1: 1=1 1=1");  // both by the one file that is left
}

TEST_F(RefreshTest, SlotAddedInTheSameScanIsRefreshedByLaterFiles) {
    findFirst({"b.1.exr"});
    files_.write({"b.2.exr", "B.2.exr"});
    EXPECT_EQ(refresh(), "1-2/1: 1=1 2=2");  // the second file finds the slot of the first
}

TEST_F(RefreshTest, RestrictionHoldsForRefreshing) {
    findFirst({"b.1.exr", "b.2.exr", "b.3.exr"});
    EXPECT_EQ(refresh(restrictedTo(2, 2)), "1-3/1: 1?1 2=2 3?3");
}

TEST_F(RefreshTest, OtherSequenceStartsAnew) {
    findFirst({"b.1.exr", "c.7.exr"});
    EXPECT_EQ(files_.find("c.#.exr"), "7-7/1: 7=7");
    EXPECT_EQ(files_.record().imageCount, 1);
}

TEST_F(RefreshTest, SameSequenceInAnotherCaseIsRefreshed) {
    findFirst({"b.1.exr"});
    files_.slot(0).infoText = "node17";
    EXPECT_EQ(files_.find("B.0099.EXR"), "1-1/1: 1=1");
    EXPECT_EQ(bytesOf(files_.slot(0).infoText.toQString()), "node17");
}

// --- Cached images ---------------------------------------------------------------------------------------------

TEST_F(RefreshTest, UnchangedFileKeepsItsImage) {
    findFirst({"b.1.exr"});
    cacheImage(0, 0);
    const _imgRGBABuffer8* image = files_.slot(0).thumbnail;
    refresh();
    EXPECT_EQ(files_.slot(0).checkPending, 0);
    EXPECT_EQ(files_.slot(0).thumbnailLoaded, 1);
    EXPECT_EQ(files_.slot(0).thumbnail, image);
    EXPECT_EQ(image->read(0U).r, 100);
}

TEST_F(RefreshTest, SlotWithoutImageIsPending) {
    findFirst({"b.1.exr"});
    files_.slot(0).checkPending = 0;
    refresh();
    EXPECT_EQ(files_.slot(0).checkPending, 1);
}

TEST_F(RefreshTest, ChangedFileIsPendingAndKeepsItsOldImage) {
    findFirst({"b.1.exr"});
    cacheImage(0, KX_IMG_GAMMA22);
    ASSERT_TRUE(writeFileBytes(files_.dir.file("b.1.exr"), "12345"));
    const long long changedAt = entriesInOrder(files_.dir.path())[0].time;
    refresh();
    EXPECT_EQ(files_.slot(0).checkPending, 1);
    EXPECT_EQ(+files_.slot(0).fileSize, 5);
    EXPECT_EQ(files_.slot(0).fileTime.nanoseconds(), changedAt);
    ASSERT_TRUE(files_.slot(0).thumbnail);
    EXPECT_EQ(files_.slot(0).thumbnail->flags, KX_IMG_GAMMA22);  // not brought to the wanted gamma
}

TEST_F(RefreshTest, TimeOrSizeAloneIsAChange) {
    findFirst({"b.1.exr", "b.2.exr", "b.3.exr"});
    for (const int slot : {0, 1, 2}) cacheImage(slot, 0);
    files_.slot(0).fileTime = _kxTime(files_.slot(0).fileTime.nanoseconds() + 1);
    files_.slot(1).fileSize = 1;
    refresh();
    EXPECT_EQ(files_.slot(0).checkPending, 1);
    EXPECT_EQ(files_.slot(1).checkPending, 1);
    EXPECT_EQ(files_.slot(2).checkPending, 0);
    EXPECT_EQ(+files_.slot(1).fileSize, 0);
}

TEST_F(RefreshTest, FileBeyondTheSizeCapIsAlwaysAChange) {
    files_.write({"b.1.exr", "b.2.exr"});
    std::filesystem::resize_file(files_.dir.file("b.1.exr"), 4200000001);
    std::filesystem::resize_file(files_.dir.file("b.2.exr"), 4200000000);
    files_.find("b.#.exr");
    for (const int slot : {0, 1}) cacheImage(slot, 0);
    refresh();
    EXPECT_EQ(files_.slot(0).checkPending, 1);
    EXPECT_EQ(+files_.slot(0).fileSize, 4200000000);
    EXPECT_EQ(files_.slot(1).checkPending, 0);
}

TEST_F(RefreshTest, SuperWhiteMismatchIsPending) {
    const struct {
        unsigned char flags;
        bool superWhite;
        int pending;
    } table[] = {{0, false, 0}, {0, true, 1}, {KX_IMG_SUPERWHITE, false, 1}, {KX_IMG_SUPERWHITE, true, 0}};
    findFirst({"b.1.exr"});
    for (const auto& row : table) {
        files_.slot(0).releaseThumbnail();
        cacheImage(0, row.flags);
        refresh(wantedImages(true, row.superWhite));
        EXPECT_EQ(files_.slot(0).checkPending, row.pending);
        EXPECT_EQ(files_.slot(0).thumbnail->flags, row.pending ? row.flags : row.flags | KX_IMG_GAMMA22);
    }
}

TEST_F(RefreshTest, KeptImageIsBroughtToTheWantedGamma) {
    findFirst({"b.1.exr"});
    cacheImage(0, 0);
    const auto pixel = [this] { return static_cast<int>(files_.slot(0).thumbnail->read(0U).g); };
    refresh(wantedImages(true, false));
    EXPECT_EQ(pixel(), 167);  // 255 * (100 / 255) ^ (1 / 2.2)
    EXPECT_EQ(files_.slot(0).thumbnail->flags, KX_IMG_GAMMA22);
    refresh(wantedImages(true, false));
    EXPECT_EQ(pixel(), 167);  // applied once
    refresh(wantedImages(false, false));
    EXPECT_EQ(pixel(), 100);
    EXPECT_EQ(files_.slot(0).thumbnail->flags, 0);
    refresh(wantedImages(false, false));
    EXPECT_EQ(pixel(), 100);
    EXPECT_EQ(files_.slot(0).checkPending, 0);
}

TEST_F(RefreshTest, ImagesMoveWithTheirSlots) {
    findFirst({"b.5.exr", "b.7.exr"});
    cacheImage(0, 0);
    cacheImage(2, KX_IMG_SUPERWHITE);
    const _imgRGBABuffer8* five = files_.slot(0).thumbnail;
    const _imgRGBABuffer8* seven = files_.slot(2).thumbnail;
    files_.write({"b.1.exr"});
    EXPECT_EQ(refresh(), "1-7/1: 1=1 2 3 4 5=5 6 7=7");
    EXPECT_EQ(files_.slot(4).thumbnail, five);
    EXPECT_EQ(files_.slot(6).thumbnail, seven);
    EXPECT_EQ(files_.slot(0).thumbnail, nullptr);
}

// --- Pre-filled slots ------------------------------------------------------------------------------------------

TEST_F(RefreshTest, PreFillMakesASlotPerFrameOfTheRange) {
    files_.write({"b.0002.exr", "b.0009.exr"});
    EXPECT_EQ(files_.find("b.#.exr", preFilled(1, 4)), "1-4/1: 1 2=0002 3 4");
    EXPECT_TRUE(files_.record().sameSequence);
    EXPECT_EQ(files_.slot(1).checkPending, 1);
    EXPECT_EQ(files_.record().fileCount, 4);
}

TEST_F(RefreshTest, PreFillTakesStepAndOffset) {
    EXPECT_EQ(files_.find("b.#.exr", preFilled(1, 9, 3, 10)), "11-17/3: 11 14 17");
    files_.split("other.#.exr");
    EXPECT_EQ(files_.find("b.#.exr", preFilled(1, 3, 0)), "1-3/1: 1 2 3");
    files_.split("other.#.exr");
    EXPECT_EQ(files_.find("b.#.exr", preFilled(5, 4)), "0-0/1:");
}

TEST_F(RefreshTest, PreFillTakesTheFrameTextWithItsSeparator) {
    files_.write({"b.2.exr"});
    EXPECT_EQ(files_.find("b*.exr", preFilled(2, 2)), "2-2/1: 2=.2");
}

TEST_F(RefreshTest, PreFilledSlotTakesTheTextOfTheLastOfSeveralFiles) {
    files_.write({"b.2.exr", "b.02.exr"});
    const std::vector<PlainEntry> entries = entriesInOrder(files_.dir.path());
    const std::string last = entries[1].name == "b.2.exr" ? "2" : "02";
    EXPECT_EQ(files_.find("b.#.exr", preFilled(2, 2)), "2-2/1: 2=" + last);
}

TEST_F(RefreshTest, PreFillKeepsTheTextOfAnUnchangedSlot) {
    findFirst({"b.2.exr"});
    cacheImage(0, 0);
    files_.slot(0).frameText = "kept";
    EXPECT_EQ(files_.find("b.#.exr", preFilled(5, 4)), "2-2/1: 2?kept");  // the file is out of the range 5 .. 4
    DiscoverySettings settings = preFilled(2, 2);
    EXPECT_EQ(files_.find("b.#.exr", settings), "2-2/1: 2=2 2=kept");
}

TEST_F(RefreshTest, PreFillAppendsToTheSlotsOfTheSameSequence) {
    findFirst({"b.1.exr"});
    EXPECT_EQ(refresh(preFilled(1, 2)), "1-2/1: 1=1 1=1 2");
}

TEST_F(RefreshTest, FrameListForbidsPreFill) {
    files_.write({"b.2.exr"});
    DiscoverySettings settings = preFilled(1, 4);
    settings.frameList = "2-3";
    EXPECT_EQ(files_.find("b.#.exr", settings), "2-2/1: 2=2");
    EXPECT_FALSE(files_.record().sameSequence);
}

TEST_F(RefreshTest, PreFillOfASingleFileDoesNothing) {
    files_.write({"comp.exr"});
    EXPECT_EQ(files_.find("comp.exr", preFilled(1, 4)), "1-1/1: 1=1");
}

TEST_F(RefreshTest, PreFillEndsAtTheLastSlot) {
    for (const int step : {1, 0, -5, 2}) {
        files_.split("other.#.exr");
        files_.find("b.#.exr", preFilled(0, 2147483647, step));
        EXPECT_EQ(files_.record().imageCount, 25000);
        EXPECT_EQ(files_.slot(24999).frameNumber, 24999 * std::max(step, 1));
        EXPECT_EQ(files_.record().seqStep, std::max(step, 1));
    }
    files_.write({"b.3000000.exr"});
    files_.find("b.#.exr", preFilled(0, 2147483647, 1));  // appended to a full record, and no room for the file
    EXPECT_EQ(files_.record().imageCount, 25000);
}

TEST_F(RefreshTest, PreFilledSlotsForgetWhatTheyHeld) {
    findFirst({"b.1.exr"});
    cacheImage(0, 0);
    files_.split("other.#.exr");
    EXPECT_EQ(files_.find("b.#.exr", preFilled(4, 5)), "4-5/1: 4 5");
    EXPECT_EQ(files_.slot(0).thumbnail, nullptr);
    EXPECT_EQ(files_.slot(0).thumbnailLoaded, 0);
    EXPECT_EQ(files_.slot(0).checkPending, 1);
}

// --- Real size -------------------------------------------------------------------------------------------------

TEST_F(RefreshTest, Refreshes24999Frames) {
    for (int frame = 1; frame <= 24999; ++frame) files_.write({"b." + std::to_string(frame) + ".exr"});
    const std::string first = files_.find("b.#.exr");
    for (int i = 0; i < 24999; ++i) files_.slot(i).errorLevel = 3;
    EXPECT_EQ(refresh(), first);
    for (int i = 0; i < 24999; ++i) ASSERT_EQ(files_.slot(i).errorLevel, 3);
}

}  // namespace
