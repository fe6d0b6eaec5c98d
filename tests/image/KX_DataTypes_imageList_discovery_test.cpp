// SPDX-License-Identifier: BSD-3-Clause
// Which files of a directory become slots, and with what.
#include "shared/kxFileSystem.h"
#include "shared/kxLog.h"
#include "tests/support/SequenceDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <new>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Names = std::vector<std::string>;

std::string found(const Names& names, const std::string& typed, const DiscoverySettings& settings = {}) {
    return SequenceDir(names).find(typed, settings);
}

const Names oneToTwelve = {"b.1.exr", "b.2.exr", "b.3.exr", "b.4.exr",  "b.5.exr",  "b.6.exr",
                           "b.7.exr", "b.8.exr", "b.9.exr", "b.10.exr", "b.11.exr", "b.12.exr"};

// Only the frames of the outcome, since gaps and step are not what these tests look at.
std::string framesOf(const std::string& description) {
    std::string frames;
    std::size_t begin = description.find(' ');
    while (begin != std::string::npos) {
        const std::size_t end = description.find(' ', begin + 1);
        const std::string slot = description.substr(begin + 1, end - begin - 1);
        if (slot.find('=') != std::string::npos) frames += " " + slot.substr(0, slot.find('='));
        begin = end;
    }
    return frames;
}

// --- Names -----------------------------------------------------------------------------------------------------

TEST(DiscoveryTest, FindsTheFilesOfTheSequenceAmongOthers) {
    EXPECT_EQ(found({"b.0003.exr", "b.0001.exr", "b.0002.exr", "b.0001.tif", "c.0001.exr", "bb.0001.exr", "b.exr",
                     "b.x.exr", "b.1x.exr", "b..exr", "b.0x1.exr", "b.1.0.exr", "b.0001.exr.tmp", "readme"},
                    "b.0001.exr"),
              "1-3/1: 1=0001 2=0002 3=0003");
}

TEST(DiscoveryTest, MatchesUpperCaseNames) {
    EXPECT_EQ(found({"BEAUTY.0001.EXR"}, "beauty.####.exr"), "1-1/1: 1=0001");
    EXPECT_EQ(found({"beauty.0001.exr"}, "BEAUTY.####.Exr"), "1-1/1: 1=0001");
    EXPECT_EQ(found({"SCH\xD6N.1.exr"}, "sch\xF6n.#.exr"), "1-1/1: 1=1");
}

TEST(DiscoveryTest, PrefixWithoutSeparatorKeepsItInTheFrameText) {
    SequenceDir files({"beauty.0001.exr", "beauty_0002.exr", "beauty0003.exr"});
    EXPECT_EQ(files.find("beauty*.exr"), "1-3/1: 1=.0001 2=_0002 3=0003");
    EXPECT_EQ(files.record().getDirFileName(0), files.dir.qpath() + latin1("beauty.0001.exr"));
    EXPECT_EQ(files.record().getDirFileName(1), files.dir.qpath() + latin1("beauty_0002.exr"));
}

TEST(DiscoveryTest, FrameNumberIsWhatReadsAsANumber) {
    EXPECT_EQ(found({"b.-5.exr", "b.+7.exr", "b. 8 .exr", "b.9 .exr"}, "b.#.exr", listed("-9-0,-5,0-9")),
              "7-9/1: 7=+7 8= 8  9=9 ");  // "-5" in a list is 0 .. 5
    EXPECT_EQ(found({"b.-5.exr", "b.-4.exr"}, "b.#.exr"), "-5--4/1: -5=-5 -4=-4");
    EXPECT_EQ(found({"b.1,000.exr", "b.1e3.exr", "b.0x10.exr", "b.- 1.exr", "b. .exr", "b.\xB2.exr"}, "b.#.exr"),
              "0-0/1:");
}

TEST(DiscoveryTest, FrameNumbersFill64Bits) {
    EXPECT_EQ(found({"b.9223372036854775807.exr"}, "b.#.exr"),
              "9223372036854775807-9223372036854775807/1: 9223372036854775807=922337203685477");
    EXPECT_EQ(
        found({"b.9223372036854775808.exr", "b.99999999999999999999.exr", "b.-9223372036854775809.exr"}, "b.#.exr"),
        "0-0/1:");
}

TEST(DiscoveryTest, FrameTextIsCutTo15Characters) {
    EXPECT_EQ(found({"b.0000000000000001.exr"}, "b.#.exr"), "1-1/1: 1=000000000000000");
    EXPECT_EQ(found({"b.000000000000001.exr"}, "b#.exr"), "1-1/1: 1=.00000000000000");
}

TEST(DiscoveryTest, TileTextTooLongIsCutWithoutASecondSeparator) {
    EXPECT_EQ(found({"b_tile03_.0000042.exr"}, "b_tile00_.#.exr"), "30000042-42/1: 30000042=_tile03_.000004");
}

TEST(DiscoveryTest, OneFrameInTwoSpellingsIsTwoSlots) {
    EXPECT_EQ(found({"beauty.1.exr", "beauty.01.exr"}, "beauty.#.exr"), "1-1/1: 1=1 1=01");
}

TEST(DiscoveryTest, SuffixMayHoldTheSkippedSeparator) {
    EXPECT_EQ(found({"b.exr", "b..exr", "b.1.exr"}, "b*.exr"), "1-1/1: 1=.1");
}

TEST(DiscoveryTest, EmptyPrefixTakesNumbersOnly) {
    EXPECT_EQ(found({"1.exr", ".2.exr", "_3.exr", "a4.exr"}, "*.exr"), "1-3/1: 1=1 2=.2 3=_3");
}

TEST(DiscoveryTest, MinDigitsIsTheShortestNumberReadNotMoreThanTen) {
    const auto minDigits = [](const Names& names, const DiscoverySettings& settings = {}) {
        SequenceDir files(names);
        files.find("b.#.exr", settings);
        return files.record().minDigits;
    };
    EXPECT_EQ(minDigits({"b.0001.exr", "b.00001.exr"}), 4);
    EXPECT_EQ(minDigits({"b.000000000001.exr"}), 10);
    EXPECT_EQ(minDigits({"c.1.exr"}), 10);
    EXPECT_EQ(minDigits({"b.0001.exr", "b.1x.exr"}), 4);
    EXPECT_EQ(minDigits({"b.0001.exr", "b.777.exr"}, restrictedTo(1, 2)), 3);  // the frame need not pass
}

TEST(DiscoveryTest, DirectoriesAndDanglingLinksAreNoFrames) {
    SequenceDir files({"b.1.exr"});
    std::filesystem::create_directory(files.dir.file("b.2.exr"));
    std::filesystem::create_symlink("b.1.exr", files.dir.file("b.3.exr"));
    std::filesystem::create_symlink("missing", files.dir.file("b.4.exr"));
    ASSERT_EQ(mkfifo(files.dir.file("b.5.exr").c_str(), 0600), 0);
    EXPECT_EQ(framesOf(files.find("b.#.exr")), " 1 3");
}

TEST(DiscoveryTest, MissingDirectoryHoldsNothing) {
    SequenceDir files;
    EXPECT_EQ(files.find("missing/b.#.exr"), "0-0/1:");
    EXPECT_EQ(files.record().fileCount, 0);
    EXPECT_TRUE(files.record().isValid);
}

TEST(DiscoveryTest, EmptyOutcomeSetsAllFields) {
    SequenceDir files({"b.7.exr", "b.9.exr"});
    files.find("b.#.exr");
    EXPECT_EQ(files.record().viewStart, 7);
    files.find("c.#.exr");
    const _kxViewSequence& record = files.record();
    EXPECT_EQ(record.seqStart, 0);
    EXPECT_EQ(record.seqEnd, 0);
    EXPECT_EQ(record.seqStep, 1);
    EXPECT_EQ(record.viewStart, 0);
    EXPECT_EQ(record.viewEnd, 0);
    EXPECT_EQ(record.viewStep, 1);
    EXPECT_EQ(record.fileCount, 0);
    EXPECT_EQ(record.imageCount, 0);
    EXPECT_TRUE(record.isValid);
}

TEST(DiscoveryTest, OutcomeFieldsFollowTheSlots) {
    SequenceDir files({"b.10.exr", "b.20.exr", "b.30.exr"});
    files.find("b.#.exr", restrictedTo(5, 40, 5, 5));
    const _kxViewSequence& record = files.record();
    EXPECT_EQ(record.restrictStart, 5);
    EXPECT_EQ(record.restrictStep, 5);
    EXPECT_EQ(record.fileCount, 3);
    EXPECT_EQ(record.imageCount, 3);
    EXPECT_EQ(record.viewStart, 10);
    EXPECT_EQ(record.viewEnd, 30);
    EXPECT_EQ(record.viewStep, 10);
    EXPECT_TRUE(record.isValid);
}

// --- Slots -----------------------------------------------------------------------------------------------------

TEST(DiscoveryTest, SlotHoldsTimeAndSizeOfItsFile) {
    SequenceDir files;
    ASSERT_TRUE(writeFileBytes(files.dir.file("b.1.exr"), "12345"));
    const timespec times[2] = {{1000000000, 123456789}, {1000000000, 123456789}};
    ASSERT_EQ(utimensat(AT_FDCWD, files.dir.file("b.1.exr").c_str(), times, 0), 0);
    files.find("b.#.exr");
    const kxCHK::_SingleImageView& slot = files.slot(0);
    EXPECT_EQ(+slot.fileSize, 5);
    EXPECT_EQ(slot.fileTime.nanoseconds(), 1000000000123456789);
    EXPECT_EQ(slot.checkPending, 1);
    EXPECT_EQ(slot.thumbnailLoaded, 0);
    EXPECT_TRUE(slot.fileFound);
    EXPECT_EQ(slot.thumbnail, nullptr);
}

TEST(DiscoveryTest, SizeIsCappedAt4200000000) {
    SequenceDir files({"b.1.exr", "b.2.exr", "b.3.exr"});
    std::filesystem::resize_file(files.dir.file("b.1.exr"), 4199999999);
    std::filesystem::resize_file(files.dir.file("b.2.exr"), 4200000000);
    std::filesystem::resize_file(files.dir.file("b.3.exr"), 5000000000);
    files.find("b.#.exr");
    EXPECT_EQ(+files.slot(0).fileSize, 4199999999);
    EXPECT_EQ(+files.slot(1).fileSize, 4200000000);
    EXPECT_EQ(+files.slot(2).fileSize, 4200000000);
}

TEST(DiscoveryTest, NewSequenceReusesClearedSlots) {
    SequenceDir files({"b.1.exr", "b.2.exr", "c.5.exr"});
    files.find("b.#.exr");
    files.slot(0).thumbnail = new kxP::_imgRGBABuffer8(1U);
    files.slot(0).thumbnailLoaded = 1;
    files.slot(0).infoText = "node17";
    files.slot(0).errorFlags = 3;
    EXPECT_EQ(files.find("c.#.exr"), "5-5/1: 5=5");
    EXPECT_EQ(files.slot(0).thumbnail, nullptr);
    EXPECT_EQ(files.slot(0).thumbnailLoaded, 0);
    EXPECT_TRUE(files.slot(0).infoText.isEmpty());
    EXPECT_EQ(files.slot(0).errorFlags, 0);
}

TEST(DiscoveryTest, SecondDiscoveryWithoutSplitStartsAnew) {
    SequenceDir files({"b.1.exr", "b.2.exr"});
    files.find("b.#.exr");
    files.slot(0).infoText = "node17";
    EXPECT_EQ(files.find(), "1-2/1: 1=1 2=2");
    EXPECT_TRUE(files.slot(0).infoText.isEmpty());
}

// --- Restriction -----------------------------------------------------------------------------------------------

TEST(DiscoveryTest, Restriction) {
    const struct {
        int start, end, step, offset;
        const char* frames;
    } table[] = {
        {-1, -1, 1, 0, " 1 2 3 4 5 6 7 8 9 10 11 12"},  // everything
        {1, 10, 2, 0, " 1 3 5 7 9"},
        {2, 10, 3, 0, " 2 5 8"},
        {3, 5, 1, 0, " 3 4 5"},
        {3, 5, 0, 0, " 3 4 5"},
        {3, 5, -7, 0, " 3 4 5"},
        {3, 5, 1, 2, " 5 6 7"},
        {3, -1, 1, 0, " 3 4 5 6 7 8 9 10 11 12"},
        {-1, 4, 1, 0, " 1 2 3 4"},
        {-1, -1, 2, 0, " 1 3 5 7 9 11"},  // an open start counts from -1
        {-1, -1, 5, 0, " 4 9"},
        {0, 4, 1, -1, " 1 2 3"},  // 0 - 1 is open, 4 - 1 is not
        {-1, -1, 1, 3, " 2"},     // the offset closes both
        {-3, 6, 3, 0, " 3 6"},
        {5, 4, 1, 0, ""},
        {0, 0, 0, 0, ""},
    };
    SequenceDir files(oneToTwelve);
    for (const auto& row : table) {
        SCOPED_TRACE(::testing::Message() << row.start << " " << row.end << " " << row.step << " " << row.offset);
        EXPECT_EQ(framesOf(files.find("b.#.exr", restrictedTo(row.start, row.end, row.step, row.offset))),
                  row.frames);
        files.split("other.#.exr");  // so that the next row starts anew
    }
}

TEST(DiscoveryTest, RangeWrapsAt32Bits) {
    const Names names = {"b.-5.exr", "b.0.exr", "b.5.exr"};
    constexpr int highest = 2147483647;
    EXPECT_EQ(framesOf(found(names, "b.#.exr", restrictedTo(highest, -1, 1, 2))), " -5 0");  // -2147483647 .. 1
    EXPECT_EQ(framesOf(found(names, "b.#.exr", restrictedTo(3, highest, 1, 1))), "");        // 4 .. -2147483648
    EXPECT_EQ(framesOf(found(names, "b.#.exr", restrictedTo(-highest - 1, 6, highest, 1))), " 0");
}

TEST(DiscoveryTest, StepOverThe64BitsOfAFrameWraps) {
    EXPECT_EQ(framesOf(found({"b.-9223372036854775808.exr", "b.9223372036854775807.exr"}, "b.#.exr",
                             restrictedTo(-1, -1, 2, 0))),
              " 9223372036854775807");
    EXPECT_EQ(framesOf(found({"b.9223372036854775806.exr"}, "b.#.exr", restrictedTo(-8, -1, 2, 0))),
              " 9223372036854775806");
}

TEST(DiscoveryTest, FrameList) {
    const struct {
        const char* list;
        const char* frames;
    } table[] = {
        {"1-3, 5, 7-8", " 1 2 3 5 7 8"},
        {"5", " 5"},
        {"3-3", " 3"},
        {"7-5", ""},
        {",, 2 ,,4", " 2 4"},
        {"-5", " 1 2 3 4 5"},  // nothing before the "-" is 0
        {"4-", ""},            // nothing behind it too
        {"x-2", " 1 2"},
        {"x", ""},
        {"1-2-3", ""},  // "2-3" is no number
        {"1--5", ""},
        {" ", ""},  // in use, with no frame
        {",", ""},
        {"8-12,1-9", " 1 2 3 4 5 6 7 8 9 10 11 12"},
        {"1-4,2-3,4-5", " 1 2 3 4 5"},
        {"1-2000000000", " 1 2 3 4 5 6 7 8 9 10 11 12"},
        {"-9223372036854775807", " 1 2 3 4 5 6 7 8 9 10 11 12"},
        {"2-9223372036854775808", ""},  // beyond 64 bits is no number
    };
    SequenceDir files(oneToTwelve);
    for (const auto& row : table) {
        SCOPED_TRACE(row.list);
        EXPECT_EQ(framesOf(files.find("b.#.exr", listed(row.list))), row.frames);
        files.split("other.#.exr");
    }
}

TEST(DiscoveryTest, FrameListAndRangeBothHold) {
    DiscoverySettings settings = restrictedTo(2, 9, 2);
    settings.frameList = "3-8";
    EXPECT_EQ(framesOf(found(oneToTwelve, "b.#.exr", settings)), " 4 6 8");
}

// --- Tiles -----------------------------------------------------------------------------------------------------

TEST(DiscoveryTest, TilesAreKeyedByTileAndFrame) {
    SequenceDir files({"b_tile00_.0001.exr", "b_tile01_.0001.exr", "b_tile00_.0002.exr", "b_tile01_.0002.exr"});
    EXPECT_EQ(files.find("b_tile00_.0001.exr"),
              "1-2/1: 1=_tile00_.0001 2=_tile00_.0002 10000001=_tile01_.0001 10000002=_tile01_.0002");
    EXPECT_EQ(files.record().maxTileIndex, 1);
    EXPECT_EQ(files.record().getDirFileName(3), files.dir.qpath() + latin1("b_tile01_.0002.exr"));
}

TEST(DiscoveryTest, TilesWithUnderscoreSeparator) {
    EXPECT_EQ(found({"b_tile00_0001.exr", "b_tile01_.0001.exr", "b_tile02__0001.exr"}, "b_tile00_0001.exr"),
              "1-1/10000000: 1=_tile00_0001 10000001=_tile01_.0001 20000001=_tile02__0001");
    EXPECT_EQ(found({"b__tile00__0001.exr", "b__tile01_.0001.exr"}, "b__tile*.exr"),
              "1-1/1: 1=_tile00__0001");  // a prefix that ends with "_" asks for "_" behind the marker
    EXPECT_EQ(found({"b_tile00_0001.exr", "b_tile00_.0002.exr"}, "b_tile00_.0001.exr"), "2-2/1: 2=_tile00_.0002");
}

TEST(DiscoveryTest, TilesEndAt29) {
    SequenceDir files({"b_tile29_.1.exr", "b_tile30_.1.exr", "b_tile99_.1.exr", "b_tile0_.1.exr", "b_tilexx_.1.exr",
                       "b.1.exr", "b_tile05_.x.exr", "b_tile05_..exr"});
    EXPECT_EQ(files.find("b_tile00_.#.exr"), "290000001-1/1: 290000001=_tile29_.1");
    EXPECT_EQ(files.record().maxTileIndex, 29);
}

TEST(DiscoveryTest, TileMarkerOnDiskMayBeUpperCase) {
    EXPECT_EQ(found({"B_TILE03_.1.EXR"}, "b_tile00_.#.exr"), "30000001-1/1: 30000001=_tile03_.1");
}

TEST(DiscoveryTest, RestrictionLooksAtTheFrameWithoutItsTile) {
    SequenceDir files({"b_tile01_.1.exr", "b_tile01_.2.exr", "b_tile02_.3.exr"});
    EXPECT_EQ(framesOf(files.find("b_tile00_.#.exr", restrictedTo(2, 2))), " 10000002");
    EXPECT_EQ(files.record().maxTileIndex, 1);  // of passing frames only
    files.split("other.#.exr");
    EXPECT_EQ(framesOf(files.find("b_tile00_.#.exr", listed("3"))), " 20000003");
}

TEST(DiscoveryTest, TileKeyWraps) {
    EXPECT_EQ(found({"b_tile01_.9223372036854775807.exr"}, "b_tile00_.#.exr"),
              "-9223372036844775809--4775809/1: -9223372036844775809=_tile01_.922337");
}

TEST(DiscoveryTest, MaxTileIndexStaysUntilTheNextSplit) {
    SequenceDir files({"b_tile05_.1.exr"});
    files.find("b_tile00_.#.exr");
    std::filesystem::remove(files.dir.file("b_tile05_.1.exr"));
    files.find();
    EXPECT_EQ(files.record().maxTileIndex, 5);
    files.find("b_tile00_.#.exr");
    EXPECT_EQ(files.record().maxTileIndex, 0);
}

// --- Single files ----------------------------------------------------------------------------------------------

TEST(DiscoveryTest, SingleFile) {
    SequenceDir files;
    ASSERT_TRUE(writeFileBytes(files.dir.file("comp.exr"), "123"));
    EXPECT_EQ(files.find("comp.exr", restrictedTo(5, 6)), "1-1/1: 1=1");
    EXPECT_EQ(files.record().fileCount, 1);
    EXPECT_EQ(+files.slot(0).fileSize, 3);
    EXPECT_EQ(files.slot(0).checkPending, 1);
    EXPECT_EQ(files.record().getDirFileName(0), files.dir.qpath() + latin1("comp.exr"));
}

TEST(DiscoveryTest, MissingSingleFileIsAnEmptyOutcome) {
    SequenceDir files;
    EXPECT_EQ(files.find("comp.exr"), "0-0/1:");
    EXPECT_TRUE(files.record().isValid);
    std::filesystem::create_directory(files.dir.file("comp.exr"));
    EXPECT_EQ(files.find("comp.exr"), "0-0/1:");
    EXPECT_EQ(files.find("*"), "0-0/1:");  // the directory itself
}

TEST(DiscoveryTest, SingleFileThatWentKeepsItsSlot) {
    SequenceDir files({"comp.exr"});
    files.find("comp.exr");
    std::filesystem::remove(files.dir.file("comp.exr"));
    EXPECT_EQ(files.find("comp.exr"), "1-1/1: 1?1");
    EXPECT_EQ(files.record().fileCount, 1);
}

TEST(DiscoveryTest, SingleFileIsNotFoundInAnotherCase) {
    EXPECT_EQ(found({"COMP.exr"}, "comp.exr"), "0-0/1:");
}

// --- Log -------------------------------------------------------------------------------------------------------

int flushes = 0;
class CountingLogfile : public _kxLogfile {
    void flush() override { ++flushes; }
};

class RecordingLog : public __KXlog {
public:
    RecordingLog() {
        static_assert(sizeof(CountingLogfile) == sizeof(_kxLogfile), "takes the place of the member");
        new (&logFile) CountingLogfile;
        flushes = 0;
    }
    void log(int level, int category, const QString& text) override {
        EXPECT_EQ(level, 10);
        EXPECT_EQ(category, 8);
        EXPECT_EQ(flushes, 0);
        lines.push_back(bytesOf(text));
    }
    std::vector<std::string> lines;
};

TEST(DiscoveryTest, LogHoldsOneLinePerEntry) {
    SequenceDir files({"Beauty.0001.exr", "other.txt"});
    RecordingLog log;
    EXPECT_EQ(files.find("Beauty.####.EXR", {}, &log), "1-1/1: 1=0001");
    ASSERT_EQ(log.lines.size(), 3U);
    EXPECT_EQ(log.lines[0], "Sequence Filename 'beauty.' '.exr'.\nSequence Folder " +
                                bytesOf(kxDirListing().OSSearchFunctionName()));
    std::sort(log.lines.begin() + 1, log.lines.end());
    EXPECT_EQ(log.lines[1], "DirList:  '                               other.txt': WRONG filename");
    EXPECT_EQ(log.lines[2], "DirList:  '                         Beauty.0001.exr': right filename");
    EXPECT_EQ(flushes, 1);
}

TEST(DiscoveryTest, LoggedNamesAreUtf8AndNeverCut) {
    const std::string longName = "sch\xF6n." + std::string(50, '0') + "%1%2.exr";
    SequenceDir files({longName});
    RecordingLog log;
    files.find("sch\xF6n.#.exr", {}, &log);
    ASSERT_EQ(log.lines.size(), 2U);
    EXPECT_EQ(log.lines[0].substr(0, 37), "Sequence Filename 'sch\xC3\xB6n.' '.exr'.\nS");
    EXPECT_EQ(log.lines[1], "DirList:  'sch\xC3\xB6n." + std::string(50, '0') + "%1%2.exr': right filename");
}

TEST(DiscoveryTest, SingleFileLogsAndFlushesNothing) {
    SequenceDir files({"comp.exr"});
    RecordingLog log;
    files.find("comp.exr", {}, &log);
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(flushes, 0);
}

TEST(DiscoveryTest, EmptyOutcomeIsFlushedToo) {
    SequenceDir files;
    RecordingLog log;
    files.find("b.#.exr", {}, &log);
    EXPECT_EQ(log.lines.size(), 1U);
    EXPECT_EQ(flushes, 1);
}

TEST(DiscoveryTest, LogDoesNotChangeTheOutcome) {
    const Names names = {"b.1.exr", "B.2.EXR", "b_3.exr", "c.4.exr", "b.x.exr", "b.exr"};
    for (const char* typed : {"b.#.exr", "b#.exr", "#.exr", "b_tile#.exr"}) {
        SequenceDir files(names);
        RecordingLog log;
        const std::string withLog = files.find(typed, {}, &log);
        files.split("other.#.exr");
        EXPECT_EQ(withLog, files.find(typed));
    }
}

// --- Real size -------------------------------------------------------------------------------------------------

TEST(DiscoveryTest, FramesBeyond24999AreDroppedSilently) {
    SequenceDir files;
    for (int frame = 1; frame <= 25010; ++frame) files.write({"b." + std::to_string(frame) + ".exr"});
    const auto filesOnDisk = [&files] {
        int count = 0;
        for (int i = 0; i < files.record().imageCount; ++i) count += files.slot(i).fileFound ? 1 : 0;
        return count;
    };
    files.find("b.#.exr");
    EXPECT_EQ(files.record().imageCount, 24999);
    EXPECT_EQ(filesOnDisk(), 24999);
    files.find("b.#.exr");  // a refresh adds none either
    EXPECT_EQ(files.record().imageCount, 24999);
    EXPECT_EQ(filesOnDisk(), 24999);
}

TEST(DiscoveryTest, FindsAllAmong100000Entries) {
    SequenceDir files;
    for (int frame = 1; frame <= 24999; ++frame) files.write({"b." + std::to_string(frame) + ".exr"});
    for (int other = 0; other < 75001; ++other) files.write({"note" + std::to_string(other)});
    files.find("b.#.exr");
    const _kxViewSequence& record = files.record();
    ASSERT_EQ(record.imageCount, 24999);
    for (int i = 0; i < record.imageCount; ++i) {
        ASSERT_EQ(record.images[i].frameNumber, i + 1);
        ASSERT_TRUE(record.images[i].fileFound);
    }
    EXPECT_EQ(record.seqEnd, 24999);
}

}  // namespace
