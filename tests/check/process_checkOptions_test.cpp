// SPDX-License-Identifier: BSD-3-Clause
// Every option: the whole output, the error stream, the exit code and the files that are left.
#include "check/kxCheckOptions.h"
#include "shared/kxMemoryLimit.h"
#include "tests/support/CheckTest.h"
#include "tests/support/Documents.h"
#include "tests/support/Patterns.h"

#include <algorithm>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace {

const std::string head = "beauty.####.exr  1001-1010  64x36  4 channels half  zip\n";
const std::string missing = "1003  missing\n";
const std::string cutOff = "1004  bad         truncated: rows 32 to 35 of 36 are missing\n";
const std::string unlike = "1005  bad         differs: has channel Z that the others lack\n";
const std::string foreign = "1006  bad         not-exr: this is no EXR file\n";
const std::string dangling = "1008  unknown     unreadable: the link leads nowhere\n";
const std::string total = "total 10: 5 good, 3 bad (1004-1006), 1 missing (1003), 1 unknown (1008), N s\n";
const std::string usual = head + missing + cutOff + unlike + foreign + dangling + total + "exit 1";

using Arguments = std::vector<std::string>;

class CheckOptionsTest : public CheckTest {
protected:
    void SetUp() override { mixedSequence(); }

    // The outcome with the options, on the mixed sequence.
    std::string with(const Arguments& options) const {
        Arguments arguments = options;
        arguments.push_back("beauty.1001.exr");
        return outcome(arguments);
    }
};

}  // namespace

// As far as a look at this file can tell.
TEST_F(CheckOptionsTest, AreAllTestedHereOrAmongTheRemovals) {
    const std::string tests = document("tests/check/process_checkOptions_test.cpp") +
                              document("tests/check/process_checkRemoval_test.cpp");
    for (const kxCheck::OptionRow& row : kxCheck::optionRows())
        EXPECT_NE(tests.find("\"--" + std::string(row.name)), std::string::npos) << row.name;
}

TEST_F(CheckOptionsTest, NoneShowsAllThatIsNotGood) {
    EXPECT_EQ(with({}), usual);
}

TEST_F(CheckOptionsTest, LevelSaysHowFarFilesAreLookedAt) {
    const std::string headersOnly = head + missing + unlike + foreign + dangling +
                                    "total 10: 6 good, 2 bad (1005-1006), 1 missing (1003), 1 unknown (1008), N s\n"
                                    "exit 1";
    EXPECT_EQ(with({"--level", "headers"}), headersOnly);
    EXPECT_EQ(with({"-l", "structure"}), usual);
    EXPECT_EQ(with({"--level=pixels"}), usual);
}

TEST_F(CheckOptionsTest, CacheChangesNothingThatIsFound) {
    EXPECT_EQ(with({"--cache", "kept"}), usual);
    EXPECT_EQ(with({"--cache=kept"}), usual);
    EXPECT_EQ(with({"--cache", "kept", "--level", "headers"}), with({"--level", "headers"}));
}

TEST_F(CheckOptionsTest, FramesMustBeThereAndOthersAreLeftAlone) {
    EXPECT_EQ(with({"--frames", "1001-1003,1012"}),
              "beauty.####.exr  1001-1012  64x36  4 channels half  zip\n" + missing +
                  "1012  missing\ntotal 4: 2 good, 2 missing (1003,1012), N s\nexit 1");
    EXPECT_EQ(with({"-f", "1001-1002"}),
              "beauty.####.exr  1001-1002  64x36  4 channels half  zip\ntotal 2: 2 good, N s\nexit 0");
}

TEST_F(CheckOptionsTest, FollowWaitsForFramesUntilTheTimeout) {
    EXPECT_EQ(with({"--follow", "--frames", "1001-1003", "--timeout", "1"}),
              "beauty.####.exr  1001-1003  64x36  4 channels half  zip\n" + missing +
                  "total 3: 2 good, 1 missing (1003), N s\nexit 1");
}

TEST_F(CheckOptionsTest, ChunkIsARunOfTheFrames) {
    EXPECT_EQ(with({"--chunk", "1/3"}), head + missing + "total 3: 2 good, 1 missing (1003), N s\nexit 1");
    EXPECT_EQ(with({"--chunk", "2/3"}),
              head + cutOff + unlike + foreign + "total 3: 3 bad (1004-1006), N s\nexit 1");
    EXPECT_EQ(with({"--chunk", "3/3"}), head + dangling + "total 4: 3 good, 1 unknown (1008), N s\nexit 3");
    EXPECT_EQ(with({"--chunk", "1/11"}), "beauty.####.exr  1001-1010\ntotal 0: N s\nexit 0");
}

TEST_F(CheckOptionsTest, SingleTakesTheNameForOneFile) {
    EXPECT_EQ(with({"--single", "-v"}),
              "beauty.1001.exr  64x36  4 channels half  zip\nbeauty.1001.exr  good\ntotal 1: 1 good, N s\nexit 0");
}

TEST_F(CheckOptionsTest, JobsChangeNothing) {
    for (const char* jobs : {"1", "2", "16"}) EXPECT_EQ(with({"--jobs", jobs}), usual);
}

TEST_F(CheckOptionsTest, ModesThatFailMakeFramesBad) {
    const Arguments two = {"-f", "1001,1005", "-l", "headers"};
    const std::string headOfTwo = "beauty.####.exr  1001-1005  64x36  4 channels half  zip\n";
    const auto withTwo = [&](const std::string& option) {
        Arguments options = two;
        options.push_back(option);
        return with(options);
    };
    EXPECT_EQ(withTwo("--require-multi-layer"),
              headOfTwo +
                  "1001  bad         modes: 4 channels, several layers are required, that is 5 channels or more\n"
                  "total 2: 1 good, 1 bad (1001), N s\nexit 1");
    EXPECT_EQ(withTwo("--require-multipart"), headOfTwo +
                                                  "1001  bad         modes: a single part, several are required\n"
                                                  "1005  bad         modes: a single part, several are required\n"
                                                  "total 2: 2 bad (1001,1005), N s\nexit 1");
    EXPECT_EQ(withTwo("--no-multipart"), headOfTwo + "total 2: 2 good, N s\nexit 0");
}

TEST_F(CheckOptionsTest, ExpectNamesWhatFramesMustHave) {
    EXPECT_EQ(with({"--chunk", "1/5", "--expect", "compression=piz,rle", "--expect=size=64x36"}),
              head +
                  "1001  bad         expected: compression is zip, not piz or rle\n"
                  "1002  bad         expected: compression is zip, not piz or rle\n"
                  "total 2: 2 bad (1001-1002), N s\nexit 1");
}

TEST_F(CheckOptionsTest, FailOnMakesWarningsErrorsAndIgnoreForgetsThem) {
    SamplePart piz = soundPart(1002);
    piz.compression = Imf::PIZ_COMPRESSION;
    frame("beauty.1002.exr", piz);
    const auto withTwo = [&](const Arguments& more) {
        Arguments options = {"-l", "headers", "--chunk", "1/5"};
        options.insert(options.end(), more.begin(), more.end());
        return with(options);
    };
    const std::string finding = "differs-coding: compression piz, the others have zip\n";
    EXPECT_EQ(withTwo({}),
              head + "1002  suspicious  " + finding + "total 2: 1 good, 1 suspicious (1002), N s\nexit 0");
    EXPECT_EQ(withTwo({"--strict"}),
              head + "1002  suspicious  " + finding + "total 2: 1 good, 1 suspicious (1002), N s\nexit 1");
    EXPECT_EQ(withTwo({"--fail-on", "size-jump,differs-coding"}),
              head + "1002  bad         " + finding + "total 2: 1 good, 1 bad (1002), N s\nexit 1");
    EXPECT_EQ(withTwo({"--ignore", "differs-coding"}), head + "total 2: 2 good, N s\nexit 0");
}

TEST_F(CheckOptionsTest, VerboseShowsEveryFrame) {
    EXPECT_EQ(with({"--verbose"}), head + "1001  good\n1002  good\n" + missing + cutOff + unlike + foreign +
                                       "1007  good\n" + dangling + "1009  good\n1010  good\n" + total + "exit 1");
}

TEST_F(CheckOptionsTest, InfoStandsUnderEachLineOfAFrame) {
    const std::string image = "    64x36  Half Float, zip, A B G R\n     gamma ()\n";
    const ProcessResult result = check({"--info", "-v", "--frames", "1002-1004", "beauty.1001.exr"});
    const std::string expected =
        "beauty.####.exr  1002-1004  64x36  4 channels half  zip\n"
        "1002  good\n"
        "    1002\n" +
        image + "    N bytes\n    TIME\n" + missing + cutOff +
        "    1004\n    64x36  Half Float, zip, A B G R\n     ()\n    N bytes\n    TIME\n"
        "total 3: 1 good, 1 bad (1004), 1 missing (1003), N s\n";
    const std::string out = withReplaced(withoutSeconds(result.out), "[0-9.]+ bytes", "N bytes");
    EXPECT_EQ(withReplaced(out, "\n    [0-9]{4}[^\n]* [^\n]*:[^\n]*\n", "\n    TIME\n"), expected);
    EXPECT_EQ(with({"--info", "--list", "bad"}), "1004-1006\nexit 1");
}

TEST_F(CheckOptionsTest, SortOrdersTheLines) {
    EXPECT_EQ(with({"--sort", "-frame"}), head + dangling + foreign + unlike + cutOff + missing + total + "exit 1");
    EXPECT_EQ(with({"--sort", "size"}), head + cutOff + unlike + foreign + missing + dangling + total + "exit 1");
    EXPECT_EQ(with({"--sort=-size"}), head + foreign + unlike + cutOff + missing + dangling + total + "exit 1");
    EXPECT_EQ(with({"--sort", "machine"}), usual) << "no frame says where it was made";
    makeYoung("beauty.1006.exr");
    EXPECT_EQ(with({"--sort", "date"}), head + foreign + cutOff + unlike + missing + dangling + total + "exit 1");
}

TEST_F(CheckOptionsTest, SortByDifferencePutsTheStrangestPictureFirst) {
    for (int number = 1; number <= 9; ++number) {
        SamplePart part = soundPart(number);
        part.compression = Imf::NO_COMPRESSION;
        if (number == 3) part.gain = 0.5F;
        if (number == 7) part.gain = 0.2F;
        frame("light.000" + std::to_string(number) + ".exr", part);
    }
    const std::string first = "light.####.exr  1-9  64x36  4 channels half  none\n";
    const ProcessResult byFrame = check({"--list", "suspicious", "light.0001.exr"});
    ASSERT_EQ(byFrame.out, "3,7\n");
    const auto frames = [&](const std::string& key) {
        const std::string out = check({"--sort", key, "light.0001.exr"}).out;
        const std::size_t second = out.find('\n', first.size()) + 1;
        return out.substr(first.size(), 4) + " " + out.substr(second, 4);
    };
    EXPECT_EQ(frames("frame"), "0003 0007");
    EXPECT_EQ(frames("difference"), "0007 0003");
    EXPECT_EQ(frames("-difference"), "0003 0007");
}

TEST_F(CheckOptionsTest, ListPrintsFramesOnly) {
    EXPECT_EQ(with({"--list", "bad,missing"}), "1003-1006\nexit 1");
    EXPECT_EQ(with({"--list", "suspicious"}), "\nexit 1");
    EXPECT_EQ(with({"--list", "good", "--list", "unknown"}), "1001-1002,1007-1010\nexit 1");
}

TEST_F(CheckOptionsTest, ReportIsWrittenBesideLinesAndJson) {
    EXPECT_EQ(with({"--report", "page.html", "--json", "out.json"}), usual);
    EXPECT_EQ(readFileBytes(dir.file("page.html")).substr(0, 15), "<!DOCTYPE html>");
    EXPECT_EQ(with({"--report", "same", "--json=same"}),
              "2> kxCheckFrames: --json and --report name the same file; one of them would be lost\nexit 2");
}

TEST_F(CheckOptionsTest, JsonIsWrittenBesideOrInsteadOfLines) {
    EXPECT_EQ(with({"--json", "out.json"}), usual);
    const std::string file = readFileBytes(dir.file("out.json"));
    EXPECT_EQ(std::count(file.begin(), file.end(), '\n'), 12);
    const ProcessResult instead = check({"--json", "-", "beauty.1001.exr"});
    EXPECT_EQ(std::count(instead.out.begin(), instead.out.end(), '\n'), 12);
    EXPECT_EQ(instead.out.find("total"), std::string::npos);
    EXPECT_EQ(instead.exitCode, 1);
    EXPECT_EQ(with({"--json", "out.json", "--list", "bad"}), "1004-1006\nexit 1");
}

TEST_F(CheckOptionsTest, TimeLimitAndMemoryLimitAreForOneFrame) {
    EXPECT_EQ(with({"--time-limit", "100", "--memory-limit", "500"}), usual);
    if (kxIsSanitizerBuild()) GTEST_SKIP() << "memory is not limited in builds with a sanitizer";
    SamplePart large = soundPart();
    large.compression = Imf::ZIP_COMPRESSION;
    large.dataWindow = large.displayWindow = {{0, 0}, {499999, 15}};
    frame("large.exr", large);
    const std::string limited = outcome({"--memory-limit", "20", "large.exr"});
    EXPECT_NE(limited.find("unknown     limit: "), std::string::npos) << limited;
    EXPECT_NE(limited.find("\nexit 3"), std::string::npos) << limited;
    EXPECT_NE(outcome({"large.exr"}).find("1 good"), std::string::npos);
}

TEST_F(CheckOptionsTest, ColorAndProgressAreForTerminalsUnlessAskedFor) {
    const std::string red = "1004  \x1b[31mbad\x1b[0m         truncated";
    for (const char* when : {"auto", "never"}) EXPECT_EQ(with({"--color", when, "--progress", when}), usual);
    EXPECT_NE(with({"--color", "always"}).find(red), std::string::npos);
    const ProcessResult shown = check({"--progress", "always", "beauty.1001.exr"});
    EXPECT_EQ(withoutSeconds(shown.out) + "exit 1", usual);
    EXPECT_EQ(shown.err.substr(0, 5), "\r\x1b[K[");
    EXPECT_EQ(shown.err.substr(shown.err.size() - 4), "\r\x1b[K") << "the bar is taken away at the end";
}

TEST_F(CheckOptionsTest, ProgressIsDrawnOnATerminalThatDoesNotKnowItsWidth) {
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0) GTEST_SKIP() << "no terminals here";
    const std::string script = std::string("exec \"$@\" 2>") + ptsname(terminal);
    ProcessOptions options;
    options.workingDirectory = dir.path();
    const int held = open(ptsname(terminal), O_RDWR | O_NOCTTY);  // keeps what was drawn
    EXPECT_EQ(runProcess({"/bin/bash", "-c", script, "bash", checkPath(), "beauty.1001.exr"}, options).exitCode, 1);
    char drawn[5] = {};
    EXPECT_EQ(read(terminal, drawn, sizeof drawn), 5);
    EXPECT_EQ(std::string(drawn, sizeof drawn), "\r\x1b[K[");
    close(held);
    close(terminal);
}

TEST_F(CheckOptionsTest, HelpAndVersionGoToStandardOutput) {
    for (const char* option : {"--help", "-h", "--version"}) {
        const ProcessResult result = check({option, "--level", "headers"});
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.err, "");
        EXPECT_NE(result.out.find("kxCheckFrames"), std::string::npos);
    }
}

TEST_F(CheckOptionsTest, RemovalOptionsRemove) {
    EXPECT_EQ(with({"--delete", "--chunk", "1/2"}),
              head + missing + "1004  bad         truncated: rows 32 to 35 of 36 are missing  => delete\n" +
                  "1005  bad         differs: has channel Z that the others lack  => delete\n" +
                  "total 5: 2 good, 2 bad (1004-1005), 1 missing (1003), N s\nexit 1");
    EXPECT_FALSE(entryExists(dir.file("beauty.1004.exr")));
}
