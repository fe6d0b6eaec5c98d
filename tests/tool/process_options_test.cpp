// SPDX-License-Identifier: BSD-3-Clause
// The command line: options, messages, exit codes and streams.
#include "tests/support/ToolTest.h"

namespace {

using Arguments = std::vector<std::string>;

const std::string multipartFrame = "  imagesize: 64x36 scanline  Zip-16line    8 channels   2 parts";
const std::string wouldDelete = "   => DELETE (delete disabled)";
const std::string deleted = "   => DELETE";

class OptionsTest : public ToolTest {
protected:
    // One frame, its line expected to be `line`.
    void expectLine(const std::string& line, const Arguments& options) {
        EXPECT_EQ(verify("shot.0001.exr", options), foundSequence("1-1, 1", {"0001: " + line}))
            << ::testing::PrintToString(options);
    }
};

TEST_F(OptionsTest, NoArgumentsPrintUsage) {
    const ProcessResult result = tool({});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, toolBanner + toolUsage);
    EXPECT_EQ(result.err, "");
}

TEST_F(OptionsTest, RootWithoutFilePrintsUsage) {
    for (const Arguments& arguments : {Arguments{"-kxRoot"}, {"-KXROOT"}, {"-kxRoot", "/some/dir"}}) {
        const ProcessResult result = tool(arguments);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.out, toolBanner + toolUsage);
        EXPECT_EQ(result.err, "");
    }
}

TEST_F(OptionsTest, RootIsSkippedAndNotUsed) {
    for (const char* spelling : {"-kxRoot", "-KXROOT", "-kxroot"}) {
        frame("shot.0001.exr");
        const ProcessResult result =
            tool({spelling, "/some/dir", dir.file("shot.0001.exr"), "-del", "-requireMultipart"});
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.out, toolBanner + foundSequence("1-1, 1", {"0001: " + plainFrame + deleted}));
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(dir.entries(), Arguments{});
    }
}

TEST_F(OptionsTest, RootIsKnownAsFirstArgumentOnly) {
    frame("shot.0001.exr");
    expectLine(plainFrame + deleted, {"-kxRoot", "-DEL", "-requireMultipart"});
}

TEST_F(OptionsTest, RequireMultiLayerIsCaseSensitive) {
    frame("shot.0001.exr");
    expectLine(plainFrame + wouldDelete, {"-requireMultiLayer"});
    for (const char* spelling : {"-requiremultilayer", "-REQUIREMULTILAYER", "-RequireMultiLayer"}) {
        expectLine(plainFrame, {spelling});
    }
}

TEST_F(OptionsTest, RequireMultipartIgnoresCase) {
    frame("shot.0001.exr");
    for (const char* spelling : {"-requireMultipart", "-requiremultipart", "-REQUIREMULTIPART"}) {
        expectLine(plainFrame + wouldDelete, {spelling});
    }
}

TEST_F(OptionsTest, NoMultipartIgnoresCase) {
    frame("shot.0001.exr", {SamplePart(), SamplePart()});
    for (const char* spelling : {"-noMultipart", "-nomultipart", "-NOMULTIPART"}) {
        expectLine(multipartFrame + wouldDelete, {spelling});
    }
}

TEST_F(OptionsTest, ShowChannelIgnoresCase) {
    frame("shot.0001.exr");
    for (const char* spelling : {"-showChannel", "-showchannel", "-SHOWCHANNEL"}) {
        expectLine(plainFrame + "  [|half: A, B, G, R]", {spelling});
    }
}

TEST_F(OptionsTest, DelIgnoresCase) {
    for (const char* spelling : {"-del", "-Del", "-DEL"}) {
        frame("shot.0001.exr");
        expectLine(plainFrame + deleted, {spelling, "-REQUIREMULTIPART"});
        EXPECT_EQ(dir.entries(), Arguments{});
    }
}

TEST_F(OptionsTest, MisspelledMultiLayerDoesNotHinderOtherOptions) {
    frame("shot.0001.exr");
    expectLine(plainFrame, {"-DEL", "-REQUIREMULTILAYER"});
    EXPECT_EQ(dir.entries(), Arguments{"shot.0001.exr"});
}

TEST_F(OptionsTest, UnknownArgumentsAreSkipped) {
    frame("shot.0001.exr");
    expectLine(plainFrame, {"-verbose", "", "--", "requireMultipart", "-requireMultipart2", "-requireMultipar"});
    expectLine(plainFrame + wouldDelete, {"-x", "-requireMultipart", "y"});
}

TEST_F(OptionsTest, ThreadIdTakesOneValue) {
    frame("shot.0001.exr");
    expectLine(plainFrame, {"-threadID", "-requireMultipart"});
    expectLine(plainFrame + wouldDelete, {"-THREADID", "4", "-requireMultipart"});
    expectLine(plainFrame + wouldDelete, {"-requireMultipart", "-threadID"});
}

TEST_F(OptionsTest, FileNameIsNotReadAsOption) {
    const ProcessResult result = tool({"-del"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "\nUnable to split input filename into sequence name.\n\n");
}

class SeqOptionTest : public ToolTest {
protected:
    // Frames 1 .. 6 exist; `seen` are the ones that a run with these options shows.
    void expectFrames(const std::string& range, const std::vector<int>& seen, const Arguments& options) {
        std::vector<std::string> lines;
        for (int number : seen) lines.push_back("000" + std::to_string(number) + ": " + plainFrame);
        EXPECT_EQ(verify("shot.0001.exr", options), foundSequence(range, lines))
            << ::testing::PrintToString(options);
    }

    void SetUp() override {
        for (int number = 1; number <= 6; ++number) frame("shot.000" + std::to_string(number) + ".exr");
    }
};

TEST_F(SeqOptionTest, RestrictsToRange) {
    expectFrames("2-4, 1", {2, 3, 4}, {"-seq", "2", "4", "1", "0"});
    expectFrames("2-4, 1", {2, 3, 4}, {"-SEQ", "2", "4", "1", "0"});
}

TEST_F(SeqOptionTest, CountsStepsFromTheStart) {
    expectFrames("2-6, 2", {2, 4, 6}, {"-seq", "2", "6", "2", "0"});
}

TEST_F(SeqOptionTest, AddsOffsetToStartAndEnd) {
    expectFrames("3-5, 1", {3, 4, 5}, {"-seq", "1", "3", "1", "2"});
}

TEST_F(SeqOptionTest, MinusOneIsOpenAfterTheOffset) {
    expectFrames("1-6, 1", {1, 2, 3, 4, 5, 6}, {"-seq", "-1", "-1", "1", "0"});
    expectFrames("1-3, 1", {1, 2, 3}, {"-seq", "0", "4", "1", "-1"});
    // -1 + 3 closes both ends at frame 2.
    expectFrames("2-2, 1", {2}, {"-seq", "-1", "-1", "1", "3"});
}

TEST_F(SeqOptionTest, OpenStartCountsStepsFromMinusOne) {
    expectFrames("1-5, 2", {1, 3, 5}, {"-seq", "-1", "-1", "2", "0"});
}

TEST_F(SeqOptionTest, FewerThanFourValuesAreIgnored) {
    expectFrames("1-6, 1", {1, 2, 3, 4, 5, 6}, {"-seq", "3", "4"});
    expectFrames("1-6, 1", {1, 2, 3, 4, 5, 6}, {"-seq"});
}

TEST_F(SeqOptionTest, TakesAnOptionAsItsLastValue) {
    expectFrames("2-5, 1", {2, 3, 4, 5}, {"-requireMultiLayer2", "-seq", "2", "5", "1", "-del"});
}

TEST_F(SeqOptionTest, LastSeqWins) {
    expectFrames("5-6, 1", {5, 6}, {"-seq", "1", "2", "1", "0", "-seq", "5", "6", "1", "0"});
}

TEST_F(SeqOptionTest, TextReadsAsZero) {
    EXPECT_EQ(errorsOf("shot.0001.exr", {"-seq", "a", "b", "c", "d"}), "\nNo file found 'DIR/shot.#.exr'\n\n");
    frame("shot.0000.exr");
    expectFrames("0-0, 1", {0}, {"-seq", "a", "b", "c", "d"});
}

TEST_F(SeqOptionTest, NumbersBeyond32BitsReadAsZero) {
    EXPECT_EQ(errorsOf("shot.0001.exr", {"-seq", "1", "99999999999", "1", "0"}),
              "\nNo file found 'DIR/shot.#.exr'\n\n");
}

TEST_F(SeqOptionTest, EdgesOf32BitsWrap) {
    // The end wraps to the smallest number.
    EXPECT_EQ(errorsOf("shot.0001.exr", {"-seq", "1", "2147483647", "1", "1"}),
              "\nNo file found 'DIR/shot.#.exr'\n\n");
}

class MessagesTest : public ToolTest {};

TEST_F(MessagesTest, UnsplittableNameEndsWithOne) {
    for (const char* name : {"", "beauty.0042.exr", "/", "noslash", "/no/extension"}) {
        const ProcessResult result = tool({name});
        EXPECT_EQ(result.exitCode, 1) << name;
        EXPECT_EQ(result.out, toolBanner) << name;
        EXPECT_EQ(result.err, "\nUnable to split input filename into sequence name.\n\n") << name;
    }
}

TEST_F(MessagesTest, MissingDirectoryIsNamed) {
    EXPECT_EQ(errorsOf("no/shot.0001.exr"), "\nCannot find/access directory 'DIR/no/'\n\n");
    EXPECT_EQ(errorsOf("no%s%n%1/shot.0001.exr"), "\nCannot find/access directory 'DIR/no%s%n%1/'\n\n");
    EXPECT_EQ(errorsOf("d\xc3\xa9j\xe0/shot.0001.exr"), "\nCannot find/access directory 'DIR/d\xc3\xa9j\xe0/'\n\n");
}

TEST_F(MessagesTest, FileInPlaceOfDirectoryIsNoDirectory) {
    bytes("file", "x");
    EXPECT_EQ(errorsOf("file/shot.0001.exr"), "\nCannot find/access directory 'DIR/file/'\n\n");
}

TEST_F(MessagesTest, EmptySequenceIsNamed) {
    EXPECT_EQ(errorsOf("shot.0001.exr"), "\nNo file found 'DIR/shot.#.exr'\n\n");
    EXPECT_EQ(errorsOf("shot_tile03_.0001.exr"), "\nNo file found 'DIR/shot#.exr'\n\n");
    EXPECT_EQ(errorsOf("comp.exr"), "\nNo file found 'DIR/comp.exr#'\n\n");
    EXPECT_EQ(errorsOf("*"), "\nNo file found 'DIR/#'\n\n");
    EXPECT_EQ(errorsOf("sh%2%3%d.0001.%1exr"), "\nNo file found 'DIR/sh%2%3%d.#.%1exr'\n\n");
}

TEST_F(MessagesTest, NamesWithPercentArePrintedAsTheyAre) {
    EXPECT_EQ(errorsOf("sh%2%3%n%s.0001.exr"), "\nNo file found 'DIR/sh%2%3%n%s.#.exr'\n\n");
}

TEST_F(MessagesTest, LocaleChangesNothing) {
    frame("shot.0001.exr");
    for (const char* locale : {"LC_ALL=C", "LC_ALL=POSIX", "LC_ALL=de_DE.ISO-8859-1", "LC_ALL=xx"}) {
        ProcessOptions options;
        options.environment = {locale};
        const ProcessResult result = tool({dir.file("shot.0001.exr")}, options);
        EXPECT_EQ(result.out, toolBanner + foundSequence("1-1, 1", {"0001: " + plainFrame})) << locale;
        EXPECT_EQ(result.err, "") << locale;
    }
}

TEST_F(MessagesTest, RelativeNamesNeedASlash) {
    frame("shot.0001.exr");
    ProcessOptions options;
    options.workingDirectory = dir.path();
    EXPECT_EQ(tool({"./shot.0001.exr"}, options).out,
              toolBanner + foundSequence("1-1, 1", {"0001: " + plainFrame}));
    EXPECT_EQ(tool({"shot.0001.exr"}, options).exitCode, 1);
}

}  // namespace
