// SPDX-License-Identifier: BSD-3-Clause
// The record of a sequence, the splitting of paths and the name tests.
#include "image/KX_DataTypes_imageList.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <new>

namespace {

std::unique_ptr<_kxViewSequence> newRecord() {
    return std::make_unique<_kxViewSequence>();
}

struct Split {
    const char* path;
    const char* dirName;
    const char* fileName;
    const char* extension;
    bool isTiled;
    bool tileDotSeparator;
};

void expectSplits(const std::vector<Split>& table) {
    const auto record = newRecord();
    for (const Split& row : table) {
        SCOPED_TRACE(row.path);
        ASSERT_TRUE(record->imageDirFileFromString(latin1(row.path)));
        EXPECT_EQ(bytesOf(record->dirName), row.dirName);
        EXPECT_EQ(bytesOf(record->fileName), row.fileName);
        EXPECT_EQ(bytesOf(record->extension), row.extension);
        EXPECT_EQ(record->isTiled, row.isTiled);
        EXPECT_EQ(record->tileDotSeparator, row.tileDotSeparator);
        EXPECT_EQ(record->maxTileIndex, 0);
    }
}

// Whether `second`, split after `first`, names the same sequence.
bool isSame(const char* first, const char* second) {
    const auto record = newRecord();
    EXPECT_TRUE(record->imageDirFileFromString(latin1(first)));
    EXPECT_FALSE(record->sameSequence);
    EXPECT_TRUE(record->imageDirFileFromString(latin1(second)));
    return record->sameSequence;
}

// --- The record ------------------------------------------------------------------------------------------------

TEST(SequenceRecordTest, IsMadeWithoutExceptionsAndInPlaceToo) {
    const std::unique_ptr<_kxViewSequence> record(new (std::nothrow) _kxViewSequence);
    ASSERT_NE(record, nullptr);
    record->viewEnd = 7;
    record->~_kxViewSequence();
    const auto* const again = new (static_cast<void*>(record.get())) _kxViewSequence;
    EXPECT_EQ(again, record.get());
    EXPECT_EQ(again->viewEnd, 100);
}

TEST(SequenceRecordTest, ConstructorSetsTheStatedValues) {
    const auto record = newRecord();
    EXPECT_EQ(record->seqStart, 0);
    EXPECT_EQ(record->seqEnd, 0);
    EXPECT_EQ(record->seqStep, 0);
    EXPECT_EQ(record->minDigits, 0);
    EXPECT_EQ(record->maxTileIndex, 0);
    EXPECT_EQ(record->viewStart, 1);
    EXPECT_EQ(record->viewEnd, 100);
    EXPECT_EQ(record->viewStep, 1);
    EXPECT_EQ(record->restrictStart, 0);
    EXPECT_EQ(record->restrictStep, 0);
    EXPECT_EQ(record->fileCount, 0);
    EXPECT_EQ(record->imageCount, 0);
    EXPECT_FALSE(record->isValid);
    EXPECT_FALSE(record->sameSequence);
    EXPECT_TRUE(record->dirName.isNull());
    EXPECT_TRUE(record->fileName.isNull());
    EXPECT_TRUE(record->extension.isNull());
    EXPECT_EQ(record->sortID, sortNone);
    EXPECT_FALSE(record->showFlag);
    EXPECT_EQ(record->cellWidth, 125);
    EXPECT_EQ(record->cellHeight, 95);
    EXPECT_EQ(record->cellColumns, 4);
    EXPECT_TRUE(record->cellFlag);
    EXPECT_EQ(record->displayReserve, 0);
}

TEST(SequenceRecordTest, ConstructorClearsEverySlotAndShowsThemInOrder) {
    const auto record = newRecord();
    ASSERT_EQ(std::size(record->images), 25000U);
    for (unsigned i = 0; i < 25000; ++i) {
        const kxCHK::_SingleImageView& slot = record->images[i];
        ASSERT_TRUE(!slot.thumbnail && !slot.fileFound && slot.checkPending == 1 && slot.frameText.isEmpty());
        ASSERT_TRUE(slot.frameNumber == 0 && +slot.fileSize == -1 && slot.infoText.isEmpty());
        ASSERT_TRUE(record->frameLabels[i].first.isEmpty() && record->frameLabels[i].second.isEmpty());
        ASSERT_EQ(record->sortOrder[i], i);
    }
}

TEST(SequenceRecordTest, DestructorFreesEveryThumbnail) {  // seen by the leak checker
    const auto record = newRecord();
    for (const int i : {0, 1, 24999}) record->images[i].thumbnail = new kxP::_imgRGBABuffer8(1U);
    EXPECT_TRUE(record->images[24999].thumbnail);
}

// --- Splitting -------------------------------------------------------------------------------------------------

TEST(SplitTest, WorkedExamples) {
    expectSplits({
        {"/r/beauty.0042.exr", "/r/", "beauty.", ".exr", false, true},
        {"/r/beauty_0042_diffuse.exr", "/r/", "beauty_", "_diffuse.exr", false, true},
        {"/r/beauty.####.exr", "/r/", "beauty.", ".exr", false, true},
        {"/r/*", "/r/", "", "", false, true},
        {"/r/comp.exr", "/r/", "comp.exr", "", false, true},
        {"/r/beauty_tile03_.0042.exr", "/r/", "beauty", ".exr", true, true},
        {"/r/beauty_tile03_0042.exr", "/r/", "beauty", ".exr", true, false},
    });
}

TEST(SplitTest, WildcardStandsForTheFrameNumber) {
    expectSplits({
        {"/r/shot.*.exr", "/r/", "shot.", ".exr", false, true},
        {"/r/a.**.exr", "/r/", "a.", ".exr", false, true},
        {"/r/a*b*.exr", "/r/", "a*b", ".exr", false, true},  // the last one
        {"/r/shot.##.v#.exr", "/r/", "shot.##.v", ".exr", false, true},
        {"/r/shot#.*.exr", "/r/", "shot#.", ".exr", false, true},  // "*" goes before "#"
        {"/r/#", "/r/", "", "", false, true},
        {"/r/**", "/r/", "", "", false, true},
        {"/r/*.exr", "/r/", "", ".exr", false, true},
        {"/r/frame*", "/r/", "frame", "", false, true},
        {"/r*/a.0001.exr", "/", "r", "/a.0001.exr", false, true},  // a wildcard in the directory's name
        {"*/a.exr", "", "", "/a.exr", false, true},
        {"/r/2#", "/r/", "2", "", false, true},  // digits before a wildcard stay
    });
}

TEST(SplitTest, WildcardAtTheEndGivesAnEmptyExtension) {
    expectSplits({{"/r/shot.*", "/r/", "shot.", "", false, true}, {"/r/shot.#", "/r/", "shot.", "", false, true}});
}

TEST(SplitTest, SplitsAtLastDigitGroup) {
    expectSplits({
        {"/r/beauty.0042_v2.exr", "/r/", "beauty.0042_v", ".exr", false, true},
        {"/r/beauty.0042", "/r/", "beauty.", "", false, true},  // the scan begins before the last "."
        {"/r/beauty0042left.part.exr", "/r/", "beauty", "left.part.exr", false, true},
        {"/r/0042.exr", "/r/", "", ".exr", false, true},
        {"/r/.0042.exr", "/r/", ".", ".exr", false, true},
        {"/r.2/5.exr", "/r.2/", "", ".exr", false, true},
        {"/r/shot.exr.0001.", "/r/", "shot.exr.", ".", false, true},
    });
}

TEST(SplitTest, ScanStopsAtSlash) {
    expectSplits({{"/renders/a.exr", "/renders/", "a.exr", "", false, true},
                  {"/renders7/a.exr", "/renders7/", "a.exr", "", false, true},
                  {"/renders/.exr", "/renders/", ".exr", "", false, true}});
}

TEST(SplitTest, ScanStopsBelowFourCharacters) {
    expectSplits({
        {"/r/ab.exr", "/r/", "ab.exr", "", false, true},
        {"1/ab.exr", "1/", "ab.exr", "", false, true},
        {"./ab.exr", "./", "ab.exr", "", false, true},
        {"/1a.exr", "/", "1a.exr", "", false, true},   // three left: the scan does not reach the digit
        {"/x1a.exr", "/", "x", "a.exr", false, true},  // four left: it does
        {"/.", "/", ".", "", false, true},
    });
}

TEST(SplitTest, DigitAtTheEndEndsTheScanBeforeItsLengthIsLookedAt) {
    expectSplits({{"./5.exr", "./", "", ".exr", false, true}, {"/5.exr", "/", "", ".exr", false, true}});
}

TEST(SplitTest, DigitsAtTheEndGoAlsoWithoutFrameNumber) {
    expectSplits({{"/r/movie.mp4", "/r/", "movie.mp", "", false, true},
                  {"./5", "./", "", "", false, true},
                  {"./x", "./", "x", "", false, true}});
}

TEST(SplitTest, TileMarkers) {
    expectSplits({
        {"/r/b_tile.0001.exr", "/r/", "b_tile.", ".exr", false, true},
        {"/r/b_tile0001.exr", "/r/", "b", ".exr", true, true},
        {"/r/_tile0001.exr", "/r/", "", ".exr", true, true},  // at the beginning of the name
        {"/r/_tile00_.0001.exr", "/r/", "", ".exr", true, true},
        {"/r/_tile01_.0001.exr", "/r/", "_tile01_.", ".exr", false, true},
        {"/r/_tile01_0001.exr", "/r/", "_tile01_", ".exr", false, true},
        {"/r/x_tile01_0001.exr", "/r/", "x", ".exr", true, false},
        {"/r/x_tile00_0001.exr", "/r/", "x", ".exr", true, false},
        {"/r/x_tile1_0001.exr", "/r/", "x_tile1_", ".exr", false, true},
        {"/r/x_tile001_0001.exr", "/r/", "x_tile001_", ".exr", false, true},
        {"/r/x_tile1_.0001.exr", "/r/", "x_tile1_.", ".exr", false, true},
        {"/r/x_tile001_.0001.exr", "/r/", "x_tile001_.", ".exr", false, true},
        {"/r/x__tile03__0001.exr", "/r/", "x__tile03__", ".exr", false, true},
        {"/r/x_tile02_tile03_.*.exr", "/r/", "x_tile02", ".exr", true, true},
        {"/r/_tile_tile03_.*.exr", "/r/", "_tile", ".exr", true, true},
        {"/r/x_tile03_.#.exr", "/r/", "x", ".exr", true, true},
        {"/r/x_tile*", "/r/", "x", "", true, true},
    });
}

TEST(SplitTest, TileMarkerIsCaseSensitive) {
    expectSplits({{"/r/x_Tile03_.0001.exr", "/r/", "x_Tile03_.", ".exr", false, true},
                  {"/r/x_TILE*", "/r/", "x_TILE", "", false, true}});
}

TEST(SplitTest, CharactersOfATilesNumberAreCountedNotLookedAt) {
    expectSplits({{"/r/x_tileab_.0001.exr", "/r/", "x", ".exr", true, true},
                  {"/r/x_tile.._0001.exr", "/r/", "x", ".exr", true, false}});
}

TEST(SplitTest, BackslashSeparates) {
    expectSplits({{"\\r\\b.1.exr", "/r/", "b.", ".exr", false, true}});
}

TEST(SplitTest, BytesAbove127Stay) {
    expectSplits({{"/\xE4/sch\xF6n.01.exr", "/\xE4/", "sch\xF6n.", ".exr", false, true},
                  {"/r/x\xB2.exr", "/r/", "x\xB2.exr", "", false, true}});  // a superscript is no digit
}

TEST(SplitTest, RefusedPathLeavesTheRecordAlone) {
    for (const char* path :
         {"", "beauty.0042.exr", "beauty.*", "####", ".", "/", "/r/beauty", "/r/beauty0042", "\\r"}) {
        SCOPED_TRACE(path);
        const auto record = newRecord();
        ASSERT_TRUE(record->imageDirFileFromString(latin1("/r/b_tile03_0042.exr")));
        record->maxTileIndex = 7;
        record->sameSequence = true;
        EXPECT_FALSE(record->imageDirFileFromString(latin1(path)));
        EXPECT_EQ(bytesOf(record->dirName), "/r/");
        EXPECT_EQ(bytesOf(record->fileName), "b");
        EXPECT_EQ(bytesOf(record->extension), ".exr");
        EXPECT_TRUE(record->isTiled);
        EXPECT_FALSE(record->tileDotSeparator);
        EXPECT_EQ(record->maxTileIndex, 7);
        EXPECT_TRUE(record->sameSequence);
    }
}

TEST(SplitTest, SameSequenceIgnoresCase) {
    EXPECT_TRUE(isSame("/r/beauty.0042.exr", "/R/BEAUTY.0042.EXR"));
    EXPECT_TRUE(isSame("/r/sch\xF6n.1.exr", "/r/SCH\xD6N.2.exr"));
}

TEST(SplitTest, SameSequenceWhateverFrameIsNamed) {
    EXPECT_TRUE(isSame("/r/beauty.0042.exr", "/r/beauty.7.exr"));
    EXPECT_TRUE(isSame("/r/beauty.0042.exr", "/r/beauty.####.exr"));
    EXPECT_TRUE(isSame("/r/b_tile03_.0042.exr", "/r/b_tile04_.0001.exr"));
    EXPECT_TRUE(isSame("/r/comp.exr", "/r/comp.exr"));
}

TEST(SplitTest, OtherSequenceWhenAnyPartDiffers) {
    EXPECT_FALSE(isSame("/r/beauty.0042.exr", "/s/beauty.0042.exr"));
    EXPECT_FALSE(isSame("/r/beauty.0042.exr", "/r/beauti.0042.exr"));
    EXPECT_FALSE(isSame("/r/beauty.0042.exr", "/r/beauty.0042.ext"));
    EXPECT_FALSE(isSame("/r/b*.exr", "/r/b_tile03_.*.exr"));
    EXPECT_FALSE(isSame("/r/b_tile03_.*.exr", "/r/b_tile03_*.exr"));
}

// --- Paths of frames -------------------------------------------------------------------------------------------

std::string pathOf(const char* path, const char* frameText) {
    const auto record = newRecord();
    EXPECT_TRUE(record->imageDirFileFromString(latin1(path)));
    record->images[3].frameText = frameText;
    return bytesOf(record->getDirFileName(3));
}

TEST(FramePathTest, HoldsTheFrameTextAsItIs) {
    EXPECT_EQ(pathOf("/r/beauty.####.exr", "0042"), "/r/beauty.0042.exr");
    EXPECT_EQ(pathOf("/r/beauty_tile00_.*.exr", "_tile03_.0042"), "/r/beauty_tile03_.0042.exr");
    EXPECT_EQ(pathOf("/r/sch\xF6n*.exr", "\xE4"), "/r/sch\xF6n\xE4.exr");
}

TEST(FramePathTest, EmptyExtensionIgnoresTheIndex) {
    const auto record = newRecord();
    ASSERT_TRUE(record->imageDirFileFromString(latin1("/r/comp.exr")));
    record->images[0].frameText = "1";
    for (const int index : {0, 1, 24999, -1, 1000000})
        EXPECT_EQ(bytesOf(record->getDirFileName(index)), "/r/comp.exr");
}

TEST(FramePathTest, GapSlotYieldsAPathWithoutFrame) {
    EXPECT_EQ(pathOf("/r/beauty.####.exr", ""), "/r/beauty..exr");
}

TEST(FramePathTest, IndexIsASlotNotAPosition) {
    const auto record = newRecord();
    ASSERT_TRUE(record->imageDirFileFromString(latin1("/r/b.*.exr")));
    record->images[0].frameText = "1";
    record->images[1].frameText = "2";
    std::swap(record->sortOrder[0], record->sortOrder[1]);
    EXPECT_EQ(bytesOf(record->getDirFileName(0)), "/r/b.1.exr");
}

// --- Name tests ------------------------------------------------------------------------------------------------

struct NameTest {
    const char* name;
    const char* prefix;
    const char* suffix;
    bool keepSeparator;
    bool result;
    const char* nameAfter;
};

TEST(NameTest, FileNameIsRight) {
    const NameTest table[] = {
        {"beauty.0001.exr", "beauty.", ".exr", false, true, "0001"},
        {"BEAUTY.0001.EXR", "beauty.", ".exr", false, true, "0001"},
        {"beauty.0001.exr", "beauty", ".exr", false, true, "0001"},
        {"beauty_0001.exr", "beauty", ".exr", false, true, "0001"},
        {"beauty.0001.exr", "beauty", ".exr", true, true, ".0001"},
        {"beauty._1.exr", "beauty", ".exr", false, true, "_1"},  // one separator only
        {"beauty-1.exr", "beauty", ".exr", false, true, "-1"},
        {"Beauty_TILE03_.1.exr", "beauty", ".exr", true, true, "_tile03_.1"},
        {"a", "a", "", false, true, ""},
        {"", "", "", false, true, ""},
        {"SCH\xD6N1", "sch\xF6n", "", false, true, "1"},
        // Too short: the name stays as it is.
        {"Beauty.ex", "beauty.", ".exr", false, false, "Beauty.ex"},
        {"ABA", "ab", "ba", false, false, "ABA"},  // prefix and suffix may not overlap
        // Long enough: lower case also when the test fails.
        {"Comp.0001.exr", "beauty.", ".exr", false, false, "comp.0001.exr"},
        {"Beauty.0001.tif", "beauty.", ".exr", false, false, "beauty.0001.tif"},
        {"beauty.0001.exr", "Beauty.", ".exr", false, false, "beauty.0001.exr"},  // callers pass lower case
    };
    for (const NameTest& row : table) {
        SCOPED_TRACE(row.name);
        QString name = latin1(row.name);
        EXPECT_EQ(kxcjFileNameIsRight(name, latin1(row.prefix), latin1(row.suffix), row.keepSeparator), row.result);
        EXPECT_EQ(bytesOf(name), row.nameAfter);
    }
}

TEST(NameTest, SkippedSeparatorOfTheSuffixLeavesNothing) {
    QString name = latin1("beauty.exr");
    EXPECT_TRUE(kxcjFileNameIsRight(name, latin1("beauty"), latin1(".exr"), false));
    EXPECT_EQ(bytesOf(name), "");
    name = latin1("beauty..exr");
    EXPECT_TRUE(kxcjFileNameIsRight(name, latin1("beauty"), latin1(".exr"), false));
    EXPECT_EQ(bytesOf(name), "");
}

TEST(NameTest, StartsWith) {
    const NameTest table[] = {
        {"_tile03_.0042", "_tile03_.", "", false, true, "0042"},
        {"_tile03_.0042", "_tile03_", "", false, true, "0042"},
        {"_tile03__0042", "_tile03_", "", false, true, "0042"},
        {"_tile03_..0042", "_tile03_", "", false, true, ".0042"},  // one separator only
        {"_tile03_", "_tile03_", "", false, true, ""},
        {"_tile03_.", "_tile03_", "", false, true, ""},
        {"abc", "", "", false, true, "abc"},
        {"_tile03", "_tile03_", "", false, false, "_tile03"},
        {"_TILE03_1", "_tile03_", "", false, false, "_TILE03_1"},
        {"", "a", "", false, false, ""},
    };
    for (const NameTest& row : table) {
        SCOPED_TRACE(row.name);
        QString name = latin1(row.name);
        EXPECT_EQ(kxcjStartsWith(name, latin1(row.prefix)), row.result);
        EXPECT_EQ(bytesOf(name), row.nameAfter);
    }
}

// Null and empty texts are the same to both tests, other than to QString::startsWith.
TEST(NameTest, NullIsEmpty) {
    const QString texts[] = {QString(), QStringLiteral("")};
    for (const QString& empty : texts) {
        for (const QString& other : texts) {
            QString name = empty;
            EXPECT_TRUE(kxcjStartsWith(name, other));
            EXPECT_TRUE(name.isEmpty());
            EXPECT_TRUE(kxcjFileNameIsRight(name, other, other, false));
            EXPECT_TRUE(name.isEmpty());
        }
        QString name = empty;
        EXPECT_FALSE(kxcjStartsWith(name, QStringLiteral("a")));
        EXPECT_FALSE(kxcjFileNameIsRight(name, QStringLiteral("a"), QString(), false));
        QString text = QStringLiteral("1");
        EXPECT_TRUE(kxcjStartsWith(text, empty));
        EXPECT_TRUE(kxcjFileNameIsRight(text, empty, empty, false));
        EXPECT_EQ(text, QStringLiteral("1"));
    }
}

}  // namespace
