// SPDX-License-Identifier: BSD-3-Clause
// Which files of a directory a run shows, in which order, with which gaps.
#include "tests/support/ToolTest.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using Names = std::vector<std::string>;

class SequenceTest : public ToolTest {
protected:
    // The sequence of `name` is expected to be shown as `range` with these frame prefixes; one that begins with "-"
    // stands for a frame without readable file.
    void expectFrames(const std::string& name, const std::string& range, const Names& prefixes) {
        Names lines;
        for (const std::string& prefix : prefixes) {
            const bool readable = prefix[0] != '-';
            lines.push_back((readable ? prefix + ": " + plainFrame : prefix.substr(1) + ": " + unreadable));
        }
        EXPECT_EQ(verify(name), foundSequence(range, lines)) << name;
    }
};

TEST_F(SequenceTest, FramesAreSortedByNumber) {
    frames({"shot.10.exr", "shot.9.exr", "shot.8.exr", "shot.11.exr"});
    expectFrames("shot.8.exr", "8-11, 1", {"   8", "   9", "  10", "  11"});
}

TEST_F(SequenceTest, FrameTextIsRightAlignedInFourColumns) {
    frames({"shot.12.exr", "shot.1234.exr", "shot.123456.exr"});
    EXPECT_EQ(verify("shot.12.exr", {"-seq", "12", "12", "1", "0"}),
              foundSequence("12-12, 1", {"  12: " + plainFrame}));
    EXPECT_EQ(verify("shot.12.exr", {"-seq", "1234", "1234", "1", "0"}),
              foundSequence("1234-1234, 1", {"1234: " + plainFrame}));
    EXPECT_EQ(verify("shot.12.exr", {"-seq", "123456", "-1", "1", "0"}),
              foundSequence("123456-123456, 1", {"123456: " + plainFrame}));
}

TEST_F(SequenceTest, OtherSequencesAreNotShown) {
    frames({"shot.0001.exr", "shot2.0002.exr", "shot.0003.png", "shot.beauty.0004.exr", "ashot.0005.exr",
            "shot.0006.exr.tmp", "shot.exr", "shot..exr", "shot.x.exr", "shot.1x.exr"});
    expectFrames("shot.0001.exr", "1-1, 1", {"0001"});
}

TEST_F(SequenceTest, AnyFrameNamesTheSequence) {
    frames({"shot.0001.exr", "shot.0002.exr"});
    for (const char* name : {"shot.0001.exr", "shot.0002.exr", "shot.9999.exr", "shot.####.exr", "shot.#.exr",
                             "shot.*.exr", "shot.**.exr"}) {
        expectFrames(name, "1-2, 1", {"0001", "0002"});
    }
}

TEST_F(SequenceTest, MissingFramesAreShownAsUnreadable) {
    frames({"beauty.0001.exr", "beauty.0002.exr", "beauty.0005.exr"});
    expectFrames("beauty.0001.exr", "1-5, 1", {"0001", "0002", "-    ", "-    ", "0005"});
}

TEST_F(SequenceTest, StepIsDetected) {
    frames({"shot.10.exr", "shot.20.exr", "shot.30.exr"});
    expectFrames("shot.10.exr", "10-30, 10", {"  10", "  20", "  30"});
}

TEST_F(SequenceTest, TwoFramesHaveStepOne) {
    frames({"shot.10.exr", "shot.13.exr"});
    expectFrames("shot.10.exr", "10-13, 1", {"  10", "-    ", "-    ", "  13"});
}

TEST_F(SequenceTest, OnlySmallerDifferencesChangeTheStep) {
    frames({"shot.1.exr", "shot.3.exr", "shot.6.exr"});
    expectFrames("shot.1.exr", "1-6, 2", {"   1", "   3", "   6"});
}

TEST_F(SequenceTest, StepIsTheCommonDivisorOfSmallerDifferences) {
    frames({"s.10.exr", "s.22.exr", "s.30.exr", "s.36.exr", "s.46.exr"});
    expectFrames("s.10.exr", "10-46, 4",
                 {"  10", "-    ", "-    ", "  22", "-    ", "  30", "  36", "-    ", "  46"});
}

TEST_F(SequenceTest, GapSlotsOpenAndDeleteNothing) {
    frames({"beauty.0001.exr", "beauty.0003.exr", "beauty..exr"});
    EXPECT_EQ(verify("beauty.####.exr", {"-del", "-requireMultipart"}),
              foundSequence("1-3, 1", {"0001: " + plainFrame + "   => DELETE", "    : " + unreadable,
                                       "0003: " + plainFrame + "   => DELETE"}));
    EXPECT_EQ(dir.entries(), Names{"beauty..exr"});
}

TEST_F(SequenceTest, DuplicatesOfAFrameAreAllShown) {
    frames({"beauty.1.exr", "beauty.01.exr", "beauty.001.exr"});
    expectFrames("beauty.1.exr", "1-1, 1", {"   1", "  01", " 001"});
}

TEST_F(SequenceTest, PrefixWithoutSeparatorKeepsItInTheFrameText) {
    frames({"beauty.0001.exr"});
    expectFrames("beauty*.exr", "1-1, 1", {".0001"});
    frames({"under_0003.exr"});
    expectFrames("under*.exr", "3-3, 1", {"_0003"});
}

TEST_F(SequenceTest, NumberInTheMiddleOfTheName) {
    frames({"beauty_0042_diffuse.exr", "beauty_0042_spec.exr"});
    expectFrames("beauty_0042_diffuse.exr", "42-42, 1", {"0042"});
}

TEST_F(SequenceTest, LastDigitGroupIsTheFrame) {
    frames({"beauty.0042_v2.exr", "beauty.0042_v3.exr", "beauty.0043_v2.exr"});
    expectFrames("beauty.0042_v2.exr", "2-3, 1", {"   2", "   3"});
}

TEST_F(SequenceTest, SingleFileWithoutNumberIsFrameOne) {
    frames({"comp.exr", "comp.0001.exr"});
    expectFrames("comp.exr", "1-1, 1", {"   1"});
}

TEST_F(SequenceTest, SignsAndBlanksAroundNumbersAreAccepted) {
    frames({"s.-2.exr", "s.-1.exr", "s.0.exr", "s.+1.exr", "s. 2.exr"});
    expectFrames("s.0.exr", "-2-2, 1", {"  -2", "  -1", "   0", "  +1", "   2"});
}

TEST_F(SequenceTest, NumbersBeyond64BitsAreNoFrames) {
    frames({"s.1.exr", "s.99999999999999999999.exr"});
    expectFrames("s.1.exr", "1-1, 1", {"   1"});
}

TEST_F(SequenceTest, LongFrameTextIsCutAndItsFileNotFound) {
    frames({"s.000000000000007.exr"});
    expectFrames("s.1.exr", "7-7, 1", {"000000000000007"});
    frames({"t.0000000000000007.exr"});
    expectFrames("t.1.exr", "7-7, 1", {"-000000000000000"});
}

TEST_F(SequenceTest, CutFrameTextLeadsToNoOtherFile) {
    const Names files{"b_tile03_.000004.exr", "b_tile03_.0000042.exr", "t.000000000000000.exr",
                      "t.0000000000000007.exr"};
    frames(files);
    const Names options{"-del", "-requireMultipart", "-seq", "7", "42", "1", "0"};
    EXPECT_EQ(verify("t.1.exr", options), foundSequence("7-7, 1", {"000000000000000: " + unreadable}));
    EXPECT_EQ(verify("b_tile03_.1.exr", options),
              foundSequence("30000042-42, 1", {"_tile03_.000004: " + unreadable}));
    EXPECT_EQ(dir.entries(), files);
}

TEST_F(SequenceTest, ExtremeNumbersFillNothing) {
    frames({"s.-9223372036854775808.exr", "s.0.exr", "s.9223372036854775807.exr"});
    expectFrames("s.0.exr", "-9223372036854775808-9223372036854775807, 1",
                 {"--92233720368547", "   0", "-922337203685477"});
}

TEST_F(SequenceTest, CaseIsIgnoredInMatchingButPathsAreRebuiltAsTyped) {
    frames({"BEAUTY.0001.EXR"});
    expectFrames("beauty.0001.exr", "1-1, 1", {"-0001"});
    expectFrames("BEAUTY.0001.EXR", "1-1, 1", {"0001"});
}

TEST_F(SequenceTest, TilesWithDotSeparatorAreShownTileByTile) {
    frames({"b_tile00_.0001.exr", "b_tile00_.0002.exr", "b_tile01_.0001.exr", "b_tile01_.0002.exr"});
    for (const char* name : {"b_tile00_.0001.exr", "b_tile01_.0002.exr", "b_tile00_.*.exr", "b_tile*.exr"}) {
        expectFrames(name, "1-2, 1", {"_tile00_.0001", "_tile00_.0002", "_tile01_.0001", "_tile01_.0002"});
    }
}

TEST_F(SequenceTest, TilesWithoutSeparatorAreTheirOwnSequence) {
    frames({"b_tile03_0042.exr", "b_tile03_.0043.exr"});
    expectFrames("b_tile03_0042.exr", "30000042-43, 1", {"_tile03_0042", "_tile03_.0043"});
    expectFrames("b_tile03_.0043.exr", "30000043-43, 1", {"_tile03_.0043"});
}

TEST_F(SequenceTest, TilesFromThirtyOnAreNotFound) {
    frames({"b_tile29_.0001.exr", "b_tile30_.0001.exr"});
    expectFrames("b_tile29_.0001.exr", "290000001-1, 1", {"_tile29_.0001"});
}

TEST_F(SequenceTest, GapsOfTilesAreFilled) {
    frames({"b_tile00_.0001.exr", "b_tile00_.0003.exr", "b_tile01_.0001.exr", "b_tile01_.0002.exr",
            "b_tile01_.0004.exr"});
    // Within both tiles, and one frame behind the first.
    expectFrames("b_tile00_.0001.exr", "1-4, 1",
                 {"_tile00_.0001", "-    ", "_tile00_.0003", "-    ", "_tile01_.0001", "_tile01_.0002", "-    ",
                  "_tile01_.0004"});
}

TEST_F(SequenceTest, NamesAreBytesInAnyEncoding) {
    for (const std::string& name :
         {std::string("d\xc3\xa9j\xc3\xa0."), std::string("d\xe9j\xe0."), std::string("bad\xff\xc3\x28."),
          std::string("a%s%n%1%2."), std::string("with blank "), std::string("q'\"$`\\x.")}) {
        const bool backslash = name.find('\\') != std::string::npos;
        frames({name + "0001.exr"});
        if (backslash) continue;  // a delimiter on the farm's other systems
        expectFrames(name + "0001.exr", "1-1, 1", {"0001"});
    }
}

TEST_F(SequenceTest, BackslashesAreDelimiters) {
    ASSERT_EQ(mkdir(dir.file("sub").c_str(), 0755), 0);
    frames({"sub/shot.0001.exr"});
    expectFrames("sub\\shot.0001.exr", "1-1, 1", {"0001"});
}

TEST_F(SequenceTest, LatinOneLettersIgnoreCaseToo) {
    frames({"\xc9T\xc9.0001.exr"});
    expectFrames("\xe9t\xe9.0001.exr", "1-1, 1", {"-0001"});
}

TEST_F(SequenceTest, DirectoriesNamedLikeFramesAreNoFrames) {
    frames({"shot.0001.exr"});
    ASSERT_EQ(mkdir(dir.file("shot.0002.exr").c_str(), 0755), 0);
    expectFrames("shot.0001.exr", "1-1, 1", {"0001"});
    ASSERT_EQ(mkdir(dir.file("comp.exr").c_str(), 0755), 0);
    EXPECT_EQ(errorsOf("comp.exr"), "\nNo file found 'DIR/comp.exr#'\n\n");
}

TEST_F(SequenceTest, LinksToFilesAreFramesOthersAreNot) {
    frames({"shot.0001.exr"});
    ASSERT_EQ(symlink("shot.0001.exr", dir.file("shot.0002.exr").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", dir.file("shot.0003.exr").c_str()), 0);
    ASSERT_EQ(symlink(".", dir.file("shot.0004.exr").c_str()), 0);
    ASSERT_EQ(symlink("shot.0005.exr", dir.file("shot.0005.exr").c_str()), 0);
    expectFrames("shot.0001.exr", "1-2, 1", {"0001", "0002"});
}

TEST_F(SequenceTest, PipesSocketsAndDevicesAreNeverOpened) {
    frames({"shot.0001.exr"});
    ASSERT_EQ(mkfifo(dir.file("shot.0002.exr").c_str(), 0644), 0);
    ASSERT_EQ(symlink("shot.0002.exr", dir.file("shot.0003.exr").c_str()), 0);
    ASSERT_EQ(symlink("/dev/zero", dir.file("shot.0004.exr").c_str()), 0);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, dir.file("shot.0005.exr").c_str(), sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    close(listener);
    expectFrames("shot.0001.exr", "1-1, 1", {"0001"});
}

// Matching ignores case, the path is rebuilt as typed: here that path is a pipe, and opening it would wait forever.
TEST_F(SequenceTest, PipeUnderTheTypedSpellingIsNotOpened) {
    frames({"shot.0001.exr"});
    ASSERT_EQ(mkfifo(dir.file("SHOT.0001.exr").c_str(), 0644), 0);
    expectFrames("SHOT.####.exr", "1-1, 1", {"-0001"});
}

TEST_F(SequenceTest, HiddenFilesAreFilesToo) {
    frames({".shot.0001.exr"});
    expectFrames(".shot.0001.exr", "1-1, 1", {"0001"});
}

TEST_F(SequenceTest, EveryFileOfADirectoryIsNotASequence) {
    frames({"1", "2"});
    EXPECT_EQ(errorsOf("*"), "\nNo file found 'DIR/#'\n\n");
}

// All frames are one small file under many names.
class LargeSequenceTest : public SequenceTest {
protected:
    void linkFrames(int count) {
        // A file can't bear more names than its file system allows; a new one is made now and then.
        std::string original;
        for (int number = 1; number <= count; ++number) {
            const std::string name = dir.file("s." + std::to_string(number) + ".exr");
            if (number % 10000 == 1) {
                writeSampleFile(name, {samplePartOf({"Y"})});
                original = name;
            } else {
                ASSERT_EQ(link(original.c_str(), name.c_str()), 0);
            }
        }
    }
};

TEST_F(LargeSequenceTest, SlotsEndAt24999) {
    linkFrames(25100);
    const ProcessResult result = tool({dir.file("s.1.exr"), "-seq", "51", "-1", "1", "0"});
    const std::size_t lines = static_cast<std::size_t>(std::count(result.out.begin(), result.out.end(), '\n'));
    // Banner, the found sequence, 24999 lines and the empty line. Which frames are left out the directory decides.
    EXPECT_EQ(lines, 4U + 1 + 24999 + 1);
    EXPECT_EQ(result.exitCode, 0);
}

TEST_F(LargeSequenceTest, LongestSequenceIsShownWhole) {
    linkFrames(24999);
    std::vector<std::string> lines;
    for (int number = 1; number <= 24999; ++number) {
        const std::string text = std::to_string(number);
        lines.push_back(std::string(text.size() < 4 ? 4 - text.size() : 0, ' ') + text +
                        ":   imagesize: 64x36 scanline  Zip-16line    1 channels ");
    }
    EXPECT_EQ(verify("s.7.exr"), foundSequence("1-24999, 1", lines));
}

TEST_F(LargeSequenceTest, GapsAreFilledUpToTheLastSlot) {
    frames({"s.1.exr", "s.24999.exr"});
    const std::string text = verify("s.1.exr");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 24999 + 1);
    frames({"s.25000.exr"});
    // One more is too many: nothing is filled. Three frames have the step of their differences.
    expectFrames("s.1.exr", "1-25000, 1", {"   1", "24999", "25000"});
}

}  // namespace
