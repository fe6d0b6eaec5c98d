// SPDX-License-Identifier: BSD-3-Clause
// How a run begins, goes on and ends: several sequences, exit codes, order of lines, interrupts, lost outputs.
#include "tests/support/CheckTest.h"
#include "tests/support/Patterns.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace {

// Every call to the file system takes this long.
ProcessOptions withDelay(int microseconds) {
    ProcessOptions options;
    options.preload = KX_WATCHED_CALLS;
    options.environment = {"KX_DELAY=" + std::to_string(microseconds)};
    return options;
}

ProcessOptions writingTo(int descriptor) {
    ProcessOptions options;
    options.stdoutFd = descriptor;
    return options;
}

// Running processes that have `text` in their command line.
int processesNaming(const std::string& text) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc"))
        if (readFileBytes(entry.path().string() + "/cmdline").find(text) != std::string::npos) ++count;
    return count;
}

// Workers of a run that was ended from outside notice it, and go, a moment later.
bool goAway(const std::string& text) {
    for (int tries = 0; tries < 3000 && processesNaming(text) > 0; ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return processesNaming(text) == 0;
}

class CheckRunProcessTest : public CheckTest {};

}  // namespace

TEST_F(CheckRunProcessTest, ADirectoryMeansAllItsSequences) {
    frames("b.", 1, 2);
    frames("a_", 7, 9);
    frame("comp.exr");
    bytes(".hidden.0001.exr", "");
    bytes("notes.txt", "");
    EXPECT_EQ(outcome({"."}),
              "./a_####.exr  7-9  64x36  4 channels half  zip\ntotal 3: 3 good, N s\n"
              "./b.####.exr  1-2  64x36  4 channels half  zip\ntotal 2: 2 good, N s\n"
              "./comp.exr  64x36  4 channels half  zip\ntotal 1: 1 good, N s\nexit 0");
}

TEST_F(CheckRunProcessTest, NamesOfOneSequenceCountOnce) {
    frames("a.", 1, 3);
    EXPECT_EQ(outcome({"a.0001.exr", "a.0002.exr", "a.%04d.exr", "a.####.exr"}),
              "a.####.exr  1-3  64x36  4 channels half  zip\ntotal 3: 3 good, N s\nexit 0");
}

TEST_F(CheckRunProcessTest, TheExitCodeIsThatOfTheWorstSequence) {
    frames("good.", 1, 2);
    frames("gap.", 1, 4);
    std::filesystem::remove(dir.file("gap.0002.exr"));
    frame("link.0001.exr");
    std::filesystem::create_symlink("nowhere", dir.file("link.0002.exr"));
    const struct {
        std::vector<std::string> arguments;
        int exitCode;
    } cases[] = {
        {{"good.0001.exr"}, 0},
        {{"link.0001.exr"}, 3},
        {{"gap.0001.exr"}, 1},
        {{"good.0001.exr", "link.0001.exr"}, 3},
        {{"link.0001.exr", "gap.0001.exr"}, 1},
        {{"gap.0001.exr", "link.0001.exr"}, 1},
        {{"good.0001.exr", "gap.0001.exr"}, 1},
        {{"none.0001.exr", "good.0001.exr"}, 3},
        {{"none.0001.exr", "gap.0001.exr"}, 1},
        {{"--unknown"}, 2},
    };
    for (const auto& c : cases) EXPECT_EQ(check(c.arguments).exitCode, c.exitCode) << c.arguments[0];
}

TEST_F(CheckRunProcessTest, WhatIsNotThereIsSaidOnStandardError) {
    frames("a.", 1, 1);
    EXPECT_EQ(outcome({"none/a.0001.exr", "a.0001.exr"}),
              "a.####.exr  1  64x36  4 channels half  zip\ntotal 1: 1 good, N s\n"
              "2> kxCheckFrames: none/: No such file or directory\nexit 3");
    EXPECT_EQ(outcome({"none.0001.exr"}),
              "none.####.exr\ntotal 0: N s\n2> kxCheckFrames: none.####.exr: there is no such frame\nexit 3");
    EXPECT_EQ(outcome({}),
              "2> kxCheckFrames: no frame or directory is named; write kxCheckFrames [options] <frame or "
              "directory>...\nexit 2");
}

TEST_F(CheckRunProcessTest, AListOfFramesLeavesFilesWithoutNumberAlone) {
    frames("b.", 1, 3);
    frame("slate.exr");
    EXPECT_EQ(outcome({"--frames", "1-3", "."}),
              "./b.####.exr  1-3  64x36  4 channels half  zip\ntotal 3: 3 good, N s\nexit 0");
    EXPECT_EQ(outcome({"--frames", "1-3", "slate.exr"}),
              "slate.exr\ntotal 0: N s\n"
              "2> kxCheckFrames: slate.exr: it has no frame number and is none of the frames of --frames\nexit 3");
}

TEST_F(CheckRunProcessTest, GapsOfTooManyFramesAreNoMissingFrames) {
    frames("a.", 1, 2);
    frame("a.900000.exr");
    EXPECT_EQ(
        outcome({"a.0001.exr"}),
        "a.####.exr  1-900000  64x36  4 channels half  zip\ntotal 3: 3 good, N s\n"
        "2> kxCheckFrames: a.####.exr: first to last frame are more than 24999, so gaps are no missing frames; "
        "--frames says which must be there\nexit 3");
}

TEST_F(CheckRunProcessTest, FilesBeyondTheLimitOfASequenceAreNotChecked) {
    for (int i = 1; i <= 25003; ++i) ASSERT_TRUE(writeFileBytes(dir.file("a." + std::to_string(i) + ".exr"), ""));
    EXPECT_EQ(outcome({"-l", "headers", "--list", "bad", "a.1.exr"}),
              "1-24999\n2> kxCheckFrames: a.####.exr: 4 frames are beyond the 24999 of a sequence and are not "
              "checked; --frames says which are wanted\nexit 1");
}

TEST_F(CheckRunProcessTest, TilesOfListedFramesCountForTheLimitOfASequence) {
    frame("a_tile01_.0001.exr");
    frame("a_tile02_.0002.exr");
    EXPECT_EQ(
        outcome({"--frames", "1-20000", "--list", "good", "a_tile##_.####.exr"}),
        "1-2\n2> kxCheckFrames: a_tile##_.####.exr: 15001 frames are beyond the 24999 of a sequence and are not "
        "checked; --frames says which are wanted\nexit 1");
}

TEST_F(CheckRunProcessTest, LinesAreTheSameWithAnyNumberOfJobs) {
    mixedSequence();
    frames("beauty.", 1011, 1050);
    cut("beauty.1023.exr", 300);
    cut("beauty.1049.exr", 0);
    const std::string expected = outcome({"-v", "-j", "1", "beauty.1001.exr"});
    for (int jobs = 1; jobs <= 16; ++jobs) {
        for (const char* level : {"structure", "pixels"}) {
            const std::vector<std::string> arguments = {
                "-v", "-l", level, "-j", std::to_string(jobs), "beauty.1001.exr"};
            EXPECT_EQ(outcome(arguments, withDelay(jobs * 37)), expected) << jobs << level;
        }
    }
}

// The signal comes when some frames were shown. The run has seconds to go, and comes to no end by itself: the
// pixels of one of its last frames are never there.
TEST_F(CheckRunProcessTest, InterruptsEndItWithTheSummaryOfWhatWasChecked) {
    frames("a.", 1, 100);
    cut("a.0002.exr", 560);
    std::filesystem::create_symlink(KX_WATCHED_CALLS, dir.file("preload.so"));
    const std::string script =
        "set -m; export LD_PRELOAD=$PWD/preload.so KX_DELAY=5000 KX_FAULTS='read a.0090.exr hang 1 0'; "
        "\"$@\" > out.txt & unset LD_PRELOAD; "
        "until [ \"$(wc -l < out.txt)\" -gt 5 ]; do sleep 0.02; done; kill -s $SIGNAL %1; wait %1";
    const struct {
        const char* signal;
        int exitCode;
    } cases[] = {{"INT", 130}, {"TERM", 143}};
    for (const auto& c : cases) {
        ProcessOptions options;
        options.workingDirectory = dir.path();
        options.environment = {std::string("SIGNAL=") + c.signal};
        const ProcessResult result = runProcess({"/bin/bash", "-c", script, "bash", checkPath(), "-v", "-j", "1",
                                                 "--json", "out.json", "--delete", dir.file("a.0001.exr")},
                                                options);
        EXPECT_EQ(result.exitCode, c.exitCode) << result.err;
        const std::string out = readFileBytes(dir.file("out.txt"));
        const Match found = firstMatch(out, "\ntotal ([0-9]+): ");
        ASSERT_FALSE(found.empty()) << out;
        const int total = std::stoi(found[1]);
        EXPECT_GE(total, 5);
        EXPECT_LT(total, 100);
        EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), total + 3) << out;
        EXPECT_NE(out.find("\n0002  kept: the run was interrupted\n"), std::string::npos) << out;
        EXPECT_TRUE(entryExists(dir.file("a.0002.exr")));
        const std::string json = readFileBytes(dir.file("out.json"));
        EXPECT_NE(json.find("\"exitCode\":" + std::to_string(c.exitCode)), std::string::npos) << json;
        EXPECT_TRUE(goAway(dir.path())) << "a worker is left";
        std::filesystem::remove(dir.file("out.txt"));
    }
}

TEST_F(CheckRunProcessTest, AFullOutputIsSaidAndRemovesNothing) {
    const int full = open("/dev/full", O_WRONLY);
    if (full < 0) GTEST_SKIP() << "no /dev/full";
    frames("good.", 1, 3);
    const std::string said = "2> kxCheckFrames: standard output: No space left on device\n";
    EXPECT_EQ(outcome({"good.0001.exr"}, writingTo(full)), said + "exit 3");
    EXPECT_EQ(outcome({"--help"}, writingTo(full)), said + "exit 3");
    frames("cut.", 1, 3);
    cut("cut.0002.exr", 560);
    EXPECT_EQ(outcome({"--delete", "cut.0001.exr"}, writingTo(full)), said + "exit 1");
    close(full);
    EXPECT_EQ(outcome({"--delete", "--json", "/dev/full", "cut.0001.exr"}),
              "cut.####.exr  1-3  64x36  4 channels half  zip\n"
              "0002  bad         truncated: rows 16 to 35 of 36 are missing  => delete\n"
              "total 3: 2 good, 1 bad (2), N s\n"
              "0002  kept: the outcome could not be written\n"
              "2> kxCheckFrames: /dev/full: No space left on device\nexit 1");
    EXPECT_TRUE(entryExists(dir.file("cut.0002.exr")));
}

TEST_F(CheckRunProcessTest, AnOutputClosedByItsReaderEndsItQuietly) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    frames("cut.", 1, 3);
    cut("cut.0002.exr", 560);
    EXPECT_EQ(outcome({"--delete", dir.file("cut.0001.exr")}, writingTo(ends[1])), "signal 13");
    close(ends[1]);
    EXPECT_TRUE(entryExists(dir.file("cut.0002.exr")));
    EXPECT_TRUE(goAway(dir.path())) << "a worker is left";
}

TEST_F(CheckRunProcessTest, WhatCantBeOpenedEndsItBeforeAnythingIsChecked) {
    frames("cut.", 1, 3);
    cut("cut.0002.exr", 560);
    EXPECT_EQ(outcome({"--delete", "--json", "none/out.json", "cut.0001.exr"}),
              "2> kxCheckFrames: none/out.json: No such file or directory\nexit 3");
    std::filesystem::copy_file(dir.file("cut.0001.exr"), dir.file("copy"));
    EXPECT_EQ(outcome({"--delete", "--json", "copy", "cut.0001.exr"}),
              "2> kxCheckFrames: copy: this is an EXR file, and is not overwritten\nexit 3");
    EXPECT_EQ(readFileBytes(dir.file("copy")), readFileBytes(dir.file("cut.0001.exr")));
    bytes("odd.0001.raw", "spoiled");
    EXPECT_EQ(outcome({"--delete", "--json", "./odd.0001.raw", "odd.####.raw"}),
              "2> kxCheckFrames: ./odd.0001.raw: this is the frame odd.0001.raw, and is not overwritten\nexit 3");
    EXPECT_EQ(readFileBytes(dir.file("odd.0001.raw")), "spoiled");
    EXPECT_EQ(outcome({"--move-to", "none", "cut.0001.exr"}),
              "2> kxCheckFrames: none: No such file or directory\nexit 3");
    EXPECT_TRUE(entryExists(dir.file("cut.0002.exr")));
}

TEST_F(CheckRunProcessTest, StartsWithoutStandardStreams) {
    frames("a.", 1, 3);
    const std::string script = "exec '" + checkPath() + "' --json out.json a.0001.exr 0<&- >&- 2>&-";
    ProcessOptions options;
    options.workingDirectory = dir.path();
    const ProcessResult result = runProcess({"/bin/bash", "-c", script}, options);
    EXPECT_EQ(result.exitCode, 3) << "the lines could not be written";
    const std::string json = readFileBytes(dir.file("out.json"));
    EXPECT_EQ(std::count(json.begin(), json.end(), '\n'), 5);
    EXPECT_EQ(json.find("total"), std::string::npos);
}
