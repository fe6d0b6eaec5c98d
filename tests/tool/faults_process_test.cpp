// SPDX-License-Identifier: BSD-3-Clause
// The tool as a process in trouble: its output closed, full or slow, few descriptors, read-only and full file
// systems, stopped, killed.
#include "tests/support/FaultTest.h"

#include <csignal>
#include <cstddef>
#include <random>

#include <unistd.h>

namespace {

using Names = std::vector<std::string>;

// --- Output ----------------------------------------------------------------------------------------------

TEST_F(FaultTest, ClosedStreamsChangeNeitherChecksNorFrames) {
    const Names closings = {"<&-", ">&-", "2>&-", ">&- 2>&-", "<&- >&- 2>&-"};
    for (const std::string& closing : closings) {
        SetUp();
        Snapshot before = snapshotOf(dir.path());
        const ProcessResult result = runScript("\"$@\" " + closing);
        EXPECT_EQ(result.exitCode, 0) << closing;
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.out, closing.find(">&-") == 0 || closing.find(" >&-") != std::string::npos
                                  ? ""
                                  : toolBanner + undisturbed);
        // No file opened in the place of a closed stream is written to.
        for (const char* name : {"shot.0002.exr", "shot.0003.exr"}) before.erase(name);
        EXPECT_EQ(snapshotOf(dir.path()), before) << closing;
    }
}

TEST_F(FaultTest, FullOutputDoesNotEndTheRun) {
    const ProcessResult result = runScript("\"$@\" >/dev/full 2>/dev/full");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(dir.entries(), passing);
}

TEST_F(FaultTest, SlowReaderGetsEveryByte) {
    Names channels;
    for (int i = 0; i < 400; ++i) channels.push_back("a.long.layer.name" + std::to_string(i) + ".R");
    for (const char* name : {"shot.0005.exr", "shot.0006.exr", "shot.0007.exr"}) {
        SamplePart part = samplePartOf(channels);
        part.displayWindow = part.dataWindow = {{0, 0}, {0, 0}};
        frame(name, std::vector<SamplePart>(8, part));
    }
    const ProcessResult direct = runScript("\"$@\" -showChannel -requireMultipart");
    const std::size_t pipeCapacity = 65536;
    ASSERT_GT(direct.out.size(), 2 * pipeCapacity) << "the tool would never wait";
    SetUp();
    const ProcessResult slow = runScript(
        "set -o pipefail; \"$@\" -showChannel -requireMultipart | "
        "(for i in {1..40}; do head -c 1024; sleep 0.01; done; cat)");
    EXPECT_EQ(slow.exitCode, 0);
    EXPECT_EQ(slow.out, direct.out);
}

// --- Limits ----------------------------------------------------------------------------------------------

// Inherited descriptors do not count. The sanitizers need some too: they look at memory through pipes.
TEST_F(FaultTest, EightDescriptorsAreEnoughForAnySequence) {
    for (int i = 5; i < 100; ++i) {
        bytes("shot.00" + std::to_string(100 + i).substr(1) + ".exr", i % 2 ? "damaged" : "");
    }
    frame("shot.0100.exr");
    const ProcessResult unlimited = runScript("\"$@\"");
    frames({"shot.0002.exr", "shot.0003.exr", "shot.0100.exr"});
    const ProcessResult limited = runScript("exec 3>&- 4>&- 5>&- 6>&- 7>&-; ulimit -n 8; \"$@\"");
    EXPECT_EQ(limited.exitCode, 0);
    EXPECT_EQ(limited.err, "");
    EXPECT_EQ(limited.out, unlimited.out);
    EXPECT_NE(limited.out.find("0100: " + deleted + "\n"), std::string::npos);
    EXPECT_FALSE(entryExists(dir.file("shot.0100.exr")));
}

// --- File systems ----------------------------------------------------------------------------------------

class MountTest : public FaultTest {
protected:
    void SetUp() override {
        if (!canMount())
            GTEST_SKIP()
                << "no mounts for this user or on this system; the same errors are preloaded in faults_test";
        FaultTest::SetUp();
    }
};

TEST_F(MountTest, ReadOnlyFileSystemKeepsItsFrames) {
    const ProcessResult result =
        runScriptWithMounts("mount --bind $dir $dir && mount -o remount,bind,ro $dir && exec \"$@\"");
    const std::string refused = "     Error: Read-only file system";
    EXPECT_EQ(result.out, toolBanner + foundSequence("1-4, 1", {"0001: " + layers, "0002: " + deleted, refused,
                                                                "0003: " + deleted, refused, "0004: " + layers}));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(dir.entries(), all);
}

// Frames and output lie on the same full disk: nothing can be printed, and deleting is what makes room again.
TEST_F(MountTest, FullFileSystemLosesOnlyFailingFrames) {
    const ProcessResult result = runScriptWithMounts(
        "keep=$(mktemp -d) && cp $dir/* $keep && mount -t tmpfs -o size=64k tmpfs $dir && cp $keep/* $dir || exit "
        "1; "
        "rm -r $keep; : >$dir/out; cat /dev/zero >$dir/fill 2>/dev/null; "
        "\"$@\" >>$dir/out; echo $?; cd $dir && echo *");
    EXPECT_EQ(result.out, "0\nfill out shot.0001.exr shot.0004.exr\n");
    EXPECT_EQ(result.err, "");
}

// --- Stopped and killed ----------------------------------------------------------------------------------

TEST_F(FaultTest, StoppedAndContinuedRunChecksAll) {
    const ProcessResult result = runScript(
        "\"$@\" & tool=$!; while kill -STOP $tool 2>/dev/null; do kill -CONT $tool; sleep 0.001; done; wait $tool");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, toolBanner + undisturbed);
    EXPECT_EQ(dir.entries(), passing);
}

TEST_F(FaultTest, KilledBeforeADeletionTheFrameIsThereAndItsLineIsOut) {
    for (const char* call : {"lstat", "unlink"}) {
        SetUp();
        const ProcessResult result = runUnder({{call, "shot.0003.exr", "kill"}}, deletingArguments());
        EXPECT_EQ(result.signal, SIGKILL);
        EXPECT_EQ(result.out, toolBanner + "Found Sequence 1-4, 1\n0001: " + layers + "\n0002: " + deleted +
                                  "\n0003: " + deleted + "\n");
        EXPECT_EQ(dir.entries(), (Names{"shot.0001.exr", "shot.0003.exr", "shot.0004.exr"}));
    }
}

// Three kinds of frames over and over: one that passes, one that fails, one that cannot be read.
class KillTest : public FaultTest {
protected:
    static constexpr int frameCount = 45;

    void SetUp() override {
        frame("passing", samplePartOf({"A", "B", "G", "R", "Z"}));
        frame("failing");
        contents = {readFileBytes(dir.file("passing")), readFileBytes(dir.file("failing")), "damaged"};
        EXPECT_EQ(unlink(dir.file("passing").c_str()) + unlink(dir.file("failing").c_str()), 0);
    }

    void writeMissingFrames() {
        for (int i = 0; i < frameCount; ++i) {
            if (!entryExists(dir.file(nameOf(i)))) bytes(nameOf(i), contents[static_cast<std::size_t>(i % 3)]);
        }
    }

    static std::string numberOf(int i) { return std::to_string(1001 + i); }
    static std::string nameOf(int i) { return "shot." + numberOf(i) + ".exr"; }

    // The exit code is 0 for a run that ended before.
    ProcessResult killAfter(double seconds) const {
        Names arguments{"/usr/bin/timeout", "--foreground", "-s", "KILL", std::to_string(seconds), toolPath()};
        for (const std::string& argument : deletingArguments()) arguments.push_back(argument);
        return runProcess(arguments);
    }

    // Frames that are gone. Everything else must be as it was, and the line of what is gone must be out.
    int countGone(const std::string& out) const {
        int gone = 0;
        for (int i = 0; i < frameCount; ++i) {
            if (entryExists(dir.file(nameOf(i)))) {
                EXPECT_EQ(readFileBytes(dir.file(nameOf(i))), contents[static_cast<std::size_t>(i % 3)]) << i;
                continue;
            }
            ++gone;
            EXPECT_EQ(i % 3, 1) << nameOf(i) << " did not fail";
            EXPECT_NE(out.find("\n" + numberOf(i) + ": " + deleted + "\n"), std::string::npos) << nameOf(i);
        }
        return gone;
    }

    std::vector<std::string> contents;
};

TEST_F(KillTest, KilledAtAnyMomentNoFrameIsGoneThatDidNotFail) {
    constexpr int kills = 200;
    constexpr int wantedPartly = kills / 50;
    constexpr int failingFrames = frameCount / 3;
    std::mt19937 random(20240607);
    double aim = 0.02;  // seconds, moved to where the deletions take place
    int partly = 0;
    // On a busy machine the moment is hit less often: more are tried.
    for (int i = 0; i < kills || (partly < wantedPartly && i < 4 * kills); ++i) {
        writeMissingFrames();
        const double seconds = aim * std::uniform_real_distribution<>(0.5, 1.5)(random);
        const ProcessResult result = killAfter(seconds);
        const int gone = countGone(result.out);
        aim *= result.exitCode == 0 ? 0.9 : gone == 0 ? 1.1 : 1.0;
        if (gone > 0 && gone < failingFrames) ++partly;
        EXPECT_TRUE(result.exitCode != 0 || gone == failingFrames) << gone;
    }
    EXPECT_GE(partly, wantedPartly) << "hardly any run was killed while it deleted";
    RecordProperty("killedWhileDeleting", partly);
}

}  // namespace
