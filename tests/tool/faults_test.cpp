// SPDX-License-Identifier: BSD-3-Clause
// Files and directories that fail the tool or change under it.
#include "tests/support/FaultTest.h"

#include <cerrno>
#include <filesystem>

namespace {

using Names = std::vector<std::string>;

std::string number(int errnoValue) {
    return std::to_string(errnoValue);
}

// A frame with so many long names of channels that its header takes three reads of 64 KiB.
SamplePart longHeader() {
    Names channels;
    for (int i = 0; i < 1000; ++i) channels.push_back(std::string(150, 'n') + std::to_string(i) + ".R");
    SamplePart part = samplePartOf(channels);
    part.displayWindow = part.dataWindow = {{0, 0}, {0, 0}};
    return part;
}

// --- Files and directories that vanish -----------------------------------------------------------------------

TEST_F(FaultTest, FileVanishingBeforeItsCheckCannotBeLoaded) {
    expectSecondFrame({"open", second, "remove"}, {unreadable}, passing);
}

TEST_F(FaultTest, FileVanishingBeforeItsSizeIsAskedCannotBeLoaded) {
    expectSecondFrame({"stat", second, "remove"}, {unreadable}, passing);
}

TEST_F(FaultTest, FileVanishingBeforeItsDeletionIsReported) {
    const Names reported{deleted, "     Error: No such file or directory"};
    expectSecondFrame({"lstat", second, "remove"}, reported, passing);
    expectSecondFrame({"unlink", second, "remove"}, reported, passing);
}

TEST_F(FaultTest, DirectoryTakingTheFramesPlaceBeforeItsDeletionStays) {
    for (const char* call : {"lstat", "unlink"}) {
        expectSecondFrame({call, second, "makeDirectory"}, {deleted, "     Error: Is a directory"},
                          passingAndSecond);
        EXPECT_TRUE(std::filesystem::is_directory(dir.file(second)));
        EXPECT_TRUE(std::filesystem::remove(dir.file(second)));
    }
}

TEST_F(FaultTest, PipeTakingTheFramesPlaceBeforeItsDeletionStays) {
    expectSecondFrame({"lstat", second, "makePipe"}, {deleted, "     Error: Operation not permitted"},
                      passingAndSecond);
    EXPECT_TRUE(std::filesystem::is_fifo(dir.file(second)));
}

TEST_F(FaultTest, DirectoryTakingTheFramesPlaceBeforeItsCheckCannotBeLoaded) {
    expectSecondFrame({"open", second, "makeDirectory"}, {unreadable}, passingAndSecond);
    EXPECT_TRUE(std::filesystem::is_directory(dir.file(second)));
}

class MovedDirectoryTest : public FaultTest {
protected:
    MovedDirectoryTest() : moved(dir.path().substr(0, dir.path().size() - 1) + ".moved") {}
    // Puts the directory back, so that it is removed.
    void TearDown() override { std::filesystem::rename(moved, dir.path()); }

    const std::string moved;
};

TEST_F(MovedDirectoryTest, DirectoryVanishingInTheRunLeavesTheRestUnreadAndUndeleted) {
    EXPECT_EQ(runUnder({{"open", "shot.0003.exr", "moveDirectory"}}),
              foundSequence("1-4, 1",
                            {"0001: " + layers, "0002: " + deleted, "0003: " + unreadable, "0004: " + unreadable}));
    EXPECT_FALSE(entryExists(dir.path()));
    EXPECT_TRUE(entryExists(moved + "/shot.0003.exr"));
}

TEST_F(MovedDirectoryTest, DirectoryVanishingBeforeItIsListedHasNoFrames) {
    const std::string name = std::filesystem::path(moved).stem();
    const ProcessResult result = runUnder({{"opendir", name, "moveDirectory", 1, 1}}, deletingArguments());
    EXPECT_EQ(result.out, toolBanner);
    EXPECT_EQ(result.err, "\nNo file found '" + dir.path() + "shot.#.exr'\n\n");
    EXPECT_EQ(result.exitCode, 0);
}

TEST_F(MovedDirectoryTest, DirectoryVanishingBeforeTheDeletionIsReported) {
    EXPECT_EQ(runUnder({{"lstat", "shot.0003.exr", "moveDirectory"}}),
              foundSequence("1-4, 1", {"0001: " + layers, "0002: " + deleted, "0003: " + deleted,
                                       "     Error: No such file or directory", "0004: " + unreadable}));
    EXPECT_TRUE(entryExists(moved + "/shot.0003.exr"));
}

// --- Calls that fail -----------------------------------------------------------------------------------------

TEST_F(FaultTest, FileThatCannotBeOpenedIsNeitherCheckedNorDeleted) {
    for (const int code : {EACCES, EMFILE, ENFILE, EIO, ESTALE, ETIMEDOUT, ENOMEM, EINTR}) {
        expectSecondFrame({"open", second, number(code)}, {unreadable}, passingAndSecond);
    }
}

TEST_F(FaultTest, ReadErrorAtTheStartOfAHeaderIsNeitherCheckedNorDeleted) {
    for (const int code : {EIO, ESTALE, ETIMEDOUT}) {
        expectSecondFrame({"read", second, number(code)}, {unreadable}, passingAndSecond);
    }
}

TEST_F(FaultTest, ReadErrorInTheMiddleOfAHeaderIsNeitherCheckedNorDeleted) {
    frame("long.0001.exr", longHeader());
    const Names arguments{dir.file("long.0001.exr"), "-requireMultipart", "-del"};
    for (const int reads : {1, 2}) {
        const ProcessResult result = runUnder({{"read", "long.0001.exr", number(EIO), reads}}, arguments);
        EXPECT_EQ(result.out, toolBanner + foundSequence("1-1, 1", {"0001: " + unreadable}));
        EXPECT_TRUE(entryExists(dir.file("long.0001.exr")));
    }
    // Once the disk answers again it is found failing.
    tool(arguments);
    EXPECT_FALSE(entryExists(dir.file("long.0001.exr")));
}

TEST_F(FaultTest, FailedDeletionIsReportedAndTheRunGoesOn) {
    const struct {
        int code;
        const char* text;
    } table[] = {{EROFS, "Read-only file system"},   {EACCES, "Permission denied"},
                 {EPERM, "Operation not permitted"}, {EBUSY, "Device or resource busy"},
                 {EIO, "Input/output error"},        {ENOSPC, "No space left on device"},
                 {ESTALE, "Stale file handle"}};
    for (const auto& row : table) {
        for (const char* call : {"lstat", "unlink"}) {
            expectSecondFrame({call, second, number(row.code)}, {deleted, std::string("     Error: ") + row.text},
                              passingAndSecond);
        }
    }
}

TEST_F(FaultTest, UnknownSizeHindersNoCheck) {
    EXPECT_EQ(runUnder({{"stat", "*", number(EIO)}}), undisturbed);
    EXPECT_EQ(dir.entries(), passing);
}

TEST_F(FaultTest, DirectoryThatCannotBeOpenedIsNamed) {
    for (const int code : {EACCES, EMFILE, ENFILE, ENOMEM, EIO}) {
        const ProcessResult result = runUnder({{"opendir", "*", number(code)}}, deletingArguments());
        EXPECT_EQ(result.out, toolBanner);
        EXPECT_EQ(result.err, "\nCannot find/access directory '" + dir.path() + "'\n\n");
        EXPECT_EQ(result.exitCode, 0);
    }
    EXPECT_EQ(dir.entries(), all);
}

TEST_F(FaultTest, ReadErrorInTheListingEndsIt) {
    const ProcessResult result = runUnder({{"readdir", "*", number(EIO)}}, deletingArguments());
    EXPECT_EQ(result.out, toolBanner);
    EXPECT_EQ(result.err, "\nNo file found '" + dir.path() + "shot.#.exr'\n\n");
    EXPECT_EQ(dir.entries(), all);
    // ".", ".." and the four frames come in any order, so that two to four of the frames are seen.
    const std::string out = runUnder({{"readdir", "*", number(EIO), 4}});
    EXPECT_EQ(out.rfind("Found Sequence ", 0), 0U);
    for (const std::string& name : passing) EXPECT_TRUE(entryExists(dir.file(name)));
}

TEST_F(FaultTest, InterruptedCallsAreRepeated) {
    const std::string interrupted = number(EINTR);
    for (const char* call : {"opendir", "readdir", "stat", "lstat", "unlink", "read"}) {
        SetUp();
        EXPECT_EQ(runUnder({{call, "*", interrupted, 0, 3}}), undisturbed) << call;
        EXPECT_EQ(dir.entries(), passing) << call;
    }
}

}  // namespace
