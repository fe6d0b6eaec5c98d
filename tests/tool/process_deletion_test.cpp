// SPDX-License-Identifier: BSD-3-Clause
// What a run deletes and what it leaves alone.
#include "tests/support/ToolTest.h"

#include <chrono>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Names = std::vector<std::string>;

class DeletionTest : public ToolTest {
protected:
    // A multi-layer frame at 1, a single-layer one at 2, a damaged file at 3, one of two parts at 5.
    void SetUp() override {
        frame("shot.0001.exr", samplePartOf({"A", "B", "G", "R", "Z"}));
        frame("shot.0002.exr");
        bytes("shot.0003.exr", "damaged");
        frame("shot.0005.exr", {SamplePart(), SamplePart()});
    }

    const Names all{"shot.0001.exr", "shot.0002.exr", "shot.0003.exr", "shot.0005.exr"};
    const std::string five = "  imagesize: 64x36 scanline  Zip-16line    5 channels ";
    const std::string parts = "  imagesize: 64x36 scanline  Zip-16line    8 channels   2 parts";
};

TEST_F(DeletionTest, DeletesExactlyTheFailingReadableFrames) {
    const struct {
        Names modes;
        Names survivors;
    } table[] = {
        {{"-requireMultiLayer"}, {"shot.0001.exr", "shot.0003.exr", "shot.0005.exr"}},
        {{"-requireMultipart"}, {"shot.0003.exr", "shot.0005.exr"}},
        {{"-noMultipart"}, {"shot.0001.exr", "shot.0002.exr", "shot.0003.exr"}},
        {{"-requireMultiLayer", "-noMultipart"}, {"shot.0001.exr", "shot.0003.exr"}},
        {{"-requireMultipart", "-noMultipart"}, {"shot.0003.exr"}},
        {{"-showChannel"}, all},
        {{}, all},
    };
    for (const auto& row : table) {
        SetUp();
        Names options = row.modes;
        verify("shot.0001.exr", options);
        EXPECT_EQ(dir.entries(), all) << "without -del";
        options.push_back("-del");
        verify("shot.0001.exr", options);
        EXPECT_EQ(dir.entries(), row.survivors) << ::testing::PrintToString(options);
    }
}

TEST_F(DeletionTest, SaysOnEachLineWhatHappens) {
    EXPECT_EQ(verify("shot.0001.exr", {"-requireMultiLayer"}),
              foundSequence("1-5, 1", {"0001: " + five, "0002: " + plainFrame + "   => DELETE (delete disabled)",
                                       "0003: " + unreadable, "    : " + unreadable, "0005: " + parts}));
    EXPECT_EQ(verify("shot.0001.exr", {"-requireMultiLayer", "-del"}),
              foundSequence("1-5, 1", {"0001: " + five, "0002: " + plainFrame + "   => DELETE",
                                       "0003: " + unreadable, "    : " + unreadable, "0005: " + parts}));
    // Without the deleted frame the step is another one.
    EXPECT_EQ(verify("shot.0001.exr", {"-requireMultiLayer", "-del"}),
              foundSequence("1-5, 2", {"0001: " + five, "0003: " + unreadable, "0005: " + parts}));
}

TEST_F(DeletionTest, SingleFileIsDeletedToo) {
    frame("comp.exr");
    EXPECT_EQ(verify("comp.exr", {"-requireMultipart", "-del"}),
              foundSequence("1-1, 1", {"   1: " + plainFrame + "   => DELETE"}));
    EXPECT_EQ(dir.entries(), all);
}

TEST_F(DeletionTest, LinkIsDeletedAndNotItsTarget) {
    frame("target");
    ASSERT_EQ(symlink("target", dir.file("link.0001.exr").c_str()), 0);
    EXPECT_EQ(verify("link.0001.exr", {"-requireMultipart", "-del"}),
              foundSequence("1-1, 1", {"0001: " + plainFrame + "   => DELETE"}));
    EXPECT_FALSE(entryExists(dir.file("link.0001.exr")));
    EXPECT_TRUE(entryExists(dir.file("target")));
}

TEST_F(DeletionTest, FramesOutsideTheRestrictionStay) {
    verify("shot.0001.exr", {"-requireMultipart", "-del", "-seq", "1", "1", "1", "0"});
    EXPECT_EQ(dir.entries(), (Names{"shot.0002.exr", "shot.0003.exr", "shot.0005.exr"}));
}

TEST_F(DeletionTest, WithoutDelNothingChanges) {
    const std::string before = readFileBytes(dir.file("shot.0002.exr"));
    struct stat first {};
    ASSERT_EQ(stat(dir.file("shot.0002.exr").c_str(), &first), 0);
    verify("shot.0001.exr", {"-requireMultiLayer", "-requireMultipart", "-noMultipart", "-showChannel"});
    struct stat second {};
    ASSERT_EQ(stat(dir.file("shot.0002.exr").c_str(), &second), 0);
    EXPECT_EQ(readFileBytes(dir.file("shot.0002.exr")), before);
    EXPECT_EQ(first.st_mtim.tv_nsec, second.st_mtim.tv_nsec);
    EXPECT_EQ(first.st_ino, second.st_ino);
}

// Runs a copy of the tool as a user who may read the directory and change nothing in it.
class UnprivilegedTest : public DeletionTest {
protected:
    void SetUp() override {
        DeletionTest::SetUp();
        namespace fs = std::filesystem;
        fs::copy_file(toolPath(), programs.file("tool"));
        for (const TempDir* each : {&dir, &programs}) fs::permissions(each->path(), fs::perms(0755));
    }
    // Makes the directory's modes effective when the test belongs to it too.
    void TearDown() override { std::filesystem::permissions(dir.path(), std::filesystem::perms(0755)); }

    ProcessResult toolAsNobody(const Names& arguments) const {
        constexpr unsigned nobody = 65534;
        Names command{programs.file("tool")};
        command.insert(command.end(), arguments.begin(), arguments.end());
        ProcessOptions options;
        if (geteuid() == 0) options.userId = nobody;
        return runProcess(command, options);
    }

    TempDir programs;
};

TEST_F(UnprivilegedTest, FailedDeletionIsReportedAndTheRunGoesOn) {
    std::filesystem::permissions(dir.path(), std::filesystem::perms(0555));
    const ProcessResult result = toolAsNobody({dir.file("shot.0001.exr"), "-requireMultipart", "-del"});
    EXPECT_EQ(result.out,
              toolBanner +
                  foundSequence("1-5, 1", {"0001: " + five + "   => DELETE", "     Error: Permission denied",
                                           "0002: " + plainFrame + "   => DELETE", "     Error: Permission denied",
                                           "0003: " + unreadable, "    : " + unreadable, "0005: " + parts}));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(dir.entries(), all);
}

TEST_F(UnprivilegedTest, UnreadableFrameIsNeitherCheckedNorDeleted) {
    std::filesystem::permissions(dir.file("shot.0002.exr"), std::filesystem::perms(0));
    const ProcessResult result =
        toolAsNobody({dir.file("shot.0001.exr"), "-requireMultiLayer", "-del", "-seq", "1", "2", "1", "0"});
    EXPECT_EQ(result.out, toolBanner + foundSequence("1-2, 1", {"0001: " + five, "0002: " + unreadable}));
    EXPECT_EQ(dir.entries(), all);
}

TEST_F(UnprivilegedTest, UnlistableDirectoryIsNotAccessible) {
    std::filesystem::permissions(dir.path(), std::filesystem::perms(0311));
    const ProcessResult result = toolAsNobody({dir.file("shot.0001.exr")});
    EXPECT_EQ(result.out, toolBanner);
    EXPECT_EQ(result.err, "\nCannot find/access directory '" + dir.path() + "'\n\n");
    EXPECT_EQ(result.exitCode, 0);
}

// What the pipe gives until `text` was seen, its writers are gone or a minute has passed.
std::string readUntil(int fd, const std::string& text) {
    std::string seen;
    char buffer[4096];
    pollfd waiting{fd, POLLIN, 0};
    while (seen.find(text) == std::string::npos && poll(&waiting, 1, 60000) > 0) {
        const ssize_t got = read(fd, buffer, sizeof(buffer));
        if (got <= 0) break;
        seen.append(buffer, static_cast<std::size_t>(got));
    }
    return seen;
}

// A lease on the second frame lets the tool wait in its open until the test gives the lease back.
TEST_F(DeletionTest, LinesAreVisibleFrameByFrame) {
    std::signal(SIGIO, SIG_IGN);
    const int leased = open(dir.file("shot.0002.exr").c_str(), O_RDWR);
    if (fcntl(leased, F_SETLEASE, F_WRLCK) != 0) {
        close(leased);
        GTEST_SKIP() << "this file system grants no leases";
    }
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ProcessOptions options;
    options.stdoutFd = ends[1];
    std::thread run([&] { tool({dir.file("shot.0001.exr")}, options); });
    const std::string before = readUntil(ends[0], "0001: " + five + "\n");
    fcntl(leased, F_SETLEASE, F_UNLCK);
    close(leased);
    run.join();
    close(ends[1]);
    const std::string after = readUntil(ends[0], "nothing the tool prints");
    close(ends[0]);
    EXPECT_EQ(before, toolBanner + "Found Sequence 1-5, 1\n0001: " + five + "\n");
    EXPECT_EQ(after, "0002: " + plainFrame + "\n0003: " + unreadable + "\n    : " + unreadable +
                         "\n0005: " + parts + "\n\n");
}

TEST_F(DeletionTest, ClosedOutputEndsTheRunQuietly) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    ProcessOptions options;
    options.stdoutFd = ends[1];
    const ProcessResult result = tool({dir.file("shot.0001.exr"), "-requireMultipart", "-del"}, options);
    close(ends[1]);
    EXPECT_EQ(result.signal, SIGPIPE);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(dir.entries(), all);
}

bool isFull(int pipeEnd) {
    pollfd waiting{pipeEnd, POLLOUT, 0};
    return poll(&waiting, 1, 0) == 0;
}

// The pipe holds some of the lines of 2000 frames, then the run waits for its reader, which leaves.
TEST_F(DeletionTest, ReaderThatLeavesInTheMiddleEndsTheRunBeforeTheNextDeletion) {
    for (int i = 1; i <= 2000; ++i) frame("long." + std::to_string(i) + ".exr");
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    ProcessOptions options;
    options.stdoutFd = ends[1];
    ProcessResult result;
    std::thread run([&] { result = tool({dir.file("long.1.exr"), "-requireMultipart", "-del"}, options); });
    // A full pipe may have room for some more lines, and a busy disk keeps a deletion waiting.
    Names beforeItLeft;
    while (!isFull(ends[1]) || beforeItLeft != dir.entries()) {
        beforeItLeft = dir.entries();
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    }
    EXPECT_FALSE(entryExists(dir.file("long.1.exr")));
    close(ends[0]);
    run.join();
    close(ends[1]);
    EXPECT_EQ(result.signal, SIGPIPE);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(dir.entries(), beforeItLeft);
    EXPECT_TRUE(entryExists(dir.file("long.2000.exr")));
}

}  // namespace
