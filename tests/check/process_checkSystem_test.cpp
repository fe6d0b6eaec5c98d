// SPDX-License-Identifier: BSD-3-Clause
// A run where the system goes wrong: too little of everything, directories that go, signals.
// Whatever is not there to be had, no frame gets a verdict that is not its own, and no good one is removed.
#include "shared/kxMemoryLimit.h"
#include "tests/support/CheckTest.h"
#include "tests/support/Patterns.h"
#include "tests/support/RemovalTest.h"
#include "tests/support/RunningCheck.h"

#include <csignal>
#include <filesystem>

#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const std::string head = "a.####.exr  1-5  64x36  4 channels half  zip\n";
const std::string badLine = "0003  bad         truncated: rows 16 to 35 of 36 are missing  => delete\n";
const std::string normal = head + badLine + "total 5: 4 good, 1 bad (3), N s\nexit 1";

class CheckSystemTest : public CheckTest {
protected:
    // Five frames, of which the third is cut.
    void SetUp() override {
        frames("a.", 1, 5);
        cut("a.0003.exr", 560);
        fs::permissions(dir.path(), fs::perms::all);
    }

    // Of a script in the directory, in which "$@" is the program with these arguments, "a.####.exr" at their end.
    ProcessResult script(const std::string& text, std::vector<std::string> arguments = {"--delete"},
                         unsigned userId = 0) const {
        // The other user may not be let into the folder that the program was built in.
        if (userId != 0) fs::copy_file(checkPath(), dir.file("program"));
        const std::string program = userId != 0 ? dir.file("program") : checkPath();
        arguments.insert(arguments.begin(), {"/bin/bash", "-c", text, "bash", program});
        arguments.push_back("a.####.exr");
        ProcessOptions options;
        options.workingDirectory = dir.path();
        options.userId = userId;
        return runProcess(arguments, options);
    }

    void expectGoodFrames() const {
        for (const char* const number : {"1", "2", "4", "5"})
            EXPECT_TRUE(entryExists(dir.file(std::string("a.000") + number + ".exr"))) << number;
    }
};

}  // namespace

TEST_F(CheckSystemTest, WithoutProcessesNothingIsKnown) {
    if (kxIsSanitizerBuild()) GTEST_SKIP() << "a sanitizer starts a process to look for leaks";
    if (getuid() != 0) GTEST_SKIP() << "needs root to be another user";
    const unsigned nobodyElse = 64999;
    const std::string found =
        described(script("ulimit -u 1; exec \"$@\"", {"-l", "headers", "--delete"}, nobodyElse));
    const std::string line =
        "  unknown     unreadable: no process could be started to read it: Resource temporarily "
        "unavailable\n";
    std::string expected = "a.####.exr  1-5\n";
    for (const char* const number : {"0001", "0002", "0003", "0004", "0005"}) expected += number + line;
    EXPECT_EQ(found, expected + "total 5: 5 unknown (1-5), N s\nexit 3");
    EXPECT_TRUE(entryExists(dir.file("a.0003.exr")));
}

TEST_F(CheckSystemTest, WithFewDescriptorsFramesAreUnknownOrWhatTheyAre) {
    if (kxIsSanitizerBuild()) GTEST_SKIP() << "the sanitizer looks at memory through descriptors of its own";
    bool wasNormal = false;
    for (const int count : {3, 7, 20}) {
        SetUp();
        const std::string limit = "ulimit -n " + std::to_string(count) + "; exec \"$@\"";
        const std::string found = described(script(limit, {"-j", "2", "--delete"}));
        const bool isBad = found.find(" bad ") != std::string::npos;
        EXPECT_TRUE(!isBad || found == normal) << count << found;
        EXPECT_EQ(entryExists(dir.file("a.0003.exr")), !isBad) << count;
        expectGoodFrames();
        wasNormal = found == normal;
    }
    EXPECT_TRUE(wasNormal);
}

TEST_F(CheckSystemTest, WithLittleMemoryNoGoodFrameGoes) {
    if (kxIsSanitizerBuild()) GTEST_SKIP() << "a sanitizer has terabytes of address space";
    bool wasNormal = false;
    for (int mib = 20; mib <= 200; mib += 6) {
        SetUp();
        const std::string limit = "ulimit -v " + std::to_string(mib * 1024) + "; exec \"$@\" 2>&1";
        const std::string found = described(script(limit));
        EXPECT_EQ(entryExists(dir.file("a.0003.exr")), found.find(badLine) == std::string::npos) << mib << found;
        expectGoodFrames();
        wasNormal = found == normal;
    }
    EXPECT_TRUE(wasNormal);
}

TEST_F(CheckSystemTest, AFullDiskTakesOutputsAndNoVerdicts) {
    const std::string mounted =
        "exec unshare --mount /bin/bash -c 'mkdir -p full && mount -t tmpfs -o size=4k tmpfs "
        "full || exit 77\nhead -c 4096 /dev/zero >full/file\nexec \"$@\"' bash \"$@\"";
    if (script(mounted, {"--help"}).exitCode != 0) GTEST_SKIP() << "no mounts for this user or on this system";
    EXPECT_EQ(described(script(mounted, {"--cache", "full", "--min-age", "0"})),
              withReplaced(head + badLine, "  => delete", "") +
                  "total 5: 4 good, 1 bad (3), N s\n"
                  "2> kxCheckFrames: a.0001.exr is not kept in full: No space left on device\nexit 1");
    for (const char* const option : {"--json", "--report"}) {
        const ProcessResult result = script(mounted, {"--delete", option, "full/out"});
        EXPECT_EQ(result.err, "kxCheckFrames: full/out: No space left on device\n") << option;
        EXPECT_EQ(result.exitCode, 1) << option << result.out;
    }
}

// Between the listing and the first look.
TEST_F(CheckSystemTest, FramesOfADirectoryThatGoesAreMissing) {
    const TempDir log;
    const std::string directory = dir.path().substr(0, dir.path().size() - 1);
    const std::string name = fs::path(directory).filename();
    ProcessOptions options;
    options.preload = KX_WATCHED_CALLS;
    options.environment = {"KX_FAULTS=readdir " + name + " moveDirectory 5 1", "KX_FAULT_DIRECTORY=" + directory,
                           "KX_FAULT_LOG=" + log.file("faults")};
    options.workingDirectory = "/";
    const std::string found = outcome({"--delete", dir.file("a.####.exr")}, options);
    fs::rename(directory + ".moved", directory);
    EXPECT_NE(readFileBytes(log.file("faults"))[0], '\0');
    EXPECT_EQ(found.find(" good"), std::string::npos) << found;
    EXPECT_EQ(found.find(" bad "), std::string::npos) << found;
    expectGoodFrames();
    EXPECT_TRUE(entryExists(dir.file("a.0003.exr")));
}

// The run with its workers, and the run alone.
TEST_F(CheckSystemTest, TimeInWhichItIsSuspendedCountsForNoLimit) {
    fs::create_symlink(KX_WATCHED_CALLS, dir.file("preload.so"));
    for (const std::string whom : {"-$run", "$run"}) {
        const std::string text =
            "set -m; (export LD_PRELOAD=$PWD/preload.so KX_DELAY=60000; exec \"$@\" >out) & run=$!; sleep 0.5; "
            "[ -n \"$(jobs -r)\" ] || exit 99; kill -STOP -- " +
            whom + "; sleep 5; kill -CONT -- " + whom +
            "; while kill -0 $run 2>/dev/null; do wait $run; code=$?; done; exit $code";
        const ProcessResult result = script(text, {"-l", "structure", "-j", "2", "--time-limit", "4"});
        EXPECT_EQ(result.exitCode, 1) << result.err;
        EXPECT_EQ(withoutSeconds(readFileBytes(dir.file("out"))),
                  withReplaced(head + badLine, "  => delete", "") + "total 5: 4 good, 1 bad (3), N s\n")
            << whom;
    }
}

// Nor does it reach a limit of time.
TEST_F(CheckSystemTest, AClockThatIsSetMakesNoFileOld) {
    frames("b.", 1, 300);
    cut("b.0300.exr", 560);
    const std::string clock = dir.file("clock");
    const std::vector<std::string> command = {"/usr/bin/env",
                                              "LD_PRELOAD=" KX_CLOCK_JUMPS,
                                              "KX_CLOCK=" + clock,
                                              checkPath(),
                                              "-v",
                                              "--level",
                                              "structure",
                                              "--min-age",
                                              "3000",
                                              "--delete",
                                              dir.file("b.0001.exr")};
    const auto expectKept = [&](const RunningCheck& run) {
        EXPECT_NE(run.output().find("\n0300  bad         unfinished: "), std::string::npos) << run.output();
        EXPECT_NE(run.output().find("\n0300  kept: "), std::string::npos) << run.output();
        EXPECT_NE(run.output().find(" 299 good, 1 bad (300), "), std::string::npos) << run.output();
        EXPECT_TRUE(entryExists(dir.file("b.0300.exr")));
    };
    for (const char* const seconds : {"86400", "-86400"}) {
        setAge(dir.file("b.0300.exr"), 1500);
        fs::remove(clock);
        RunningCheck run(command, dir.path(), true);
        ASSERT_TRUE(run.readLines(5)) << run.output();
        EXPECT_EQ(run.outputSoFar().find("\n0300"), std::string::npos) << "it was not held back";
        ASSERT_TRUE(writeFileBytes(clock, seconds));
        EXPECT_EQ(run.finish(), 1);
        expectKept(run);
    }
    ASSERT_TRUE(writeFileBytes(clock, "86400"));
    RunningCheck late(command, dir.path());
    EXPECT_EQ(late.finish(), 1);
    EXPECT_FALSE(entryExists(dir.file("b.0300.exr"))) << "the clock was never set";
}

// When its lines are out: it stands still before it removes anything.
TEST_F(CheckSystemTest, AHangUpEndsItAndRemovesNothing) {
    fs::create_symlink(KX_WATCHED_CALLS, dir.file("preload.so"));
    const std::string text =
        "set -m; (export LD_PRELOAD=$PWD/preload.so KX_FAULTS='lstat a.0003.exr hang 0 0'; exec \"$@\" >out) & "
        "run=$!; "
        "until [ -s out ]; do sleep 0.01; done; kill -HUP $run; wait $run";
    EXPECT_EQ(script(text, {"-v", "-l", "structure", "-j", "1", "--delete"}).exitCode, 128 + SIGHUP);
    EXPECT_TRUE(entryExists(dir.file("a.0003.exr")));
    expectGoodFrames();
}
