// SPDX-License-Identifier: BSD-3-Clause
// Which files can still be changed, in a thread that ends with its limit.
#include "check/private/kxWriteLimit.h"

#include "shared/kxReplacementFile.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kxCheck;
namespace fs = std::filesystem;

namespace {

// As an entry of a cache is written.
bool replaces(const std::string& path) {
    kxReplacementFile file;
    return file.create(path, "new") == 0 && kxWriteAll(file.file(), "new", 3) == 0 && file.replaceTarget() == 0;
}

bool isOpened(int descriptor) {
    return descriptor >= 0 && close(descriptor) == 0;
}

// A letter for each thing that can be done in this directory, which has a file "old" and a directory "sub".
std::string possible(const std::string& directory) {
    std::string letters;
    const auto path = [&directory](const char* name) { return directory + "/" + name; };
    const auto add = [&letters](char letter, bool isPossible) { letters += isPossible ? letter : '-'; };
    add('r', readFileBytes(path("old")) == "old");
    add('w', isOpened(open(path("old").c_str(), O_WRONLY)));
    add('m', mkdir(path("made").c_str(), 0777) == 0);
    add('n', replaces(path("sub/new")));
    add('o', replaces(path("old")));
    add('u', unlink(path("old").c_str()) == 0);
    add('s', symlink("x", path("link").c_str()) == 0);
    add('p', mkfifo(path("pipe").c_str(), 0666) == 0);
    add('d', rmdir(path("made").c_str()) == 0);
    return letters;
}

class WriteLimitTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::optional<bool> isLimited;
        std::thread([&isLimited] { isLimited = limitWriting(QByteArray()); }).join();
        if (!*isLimited) GTEST_SKIP() << "the kernel has no such rules";
        for (const char* const name : {"cache", "frames"}) {
            fs::create_directories(dir.file(name) + "/sub");
            ASSERT_TRUE(writeFileBytes(dir.file(name) + "/old", "old"));
        }
    }

    // What is possible in `directory` where only `writable` may be changed.
    std::string possibleIn(const char* directory, const std::string& writable) const {
        std::string letters;
        std::thread([&] {
            const bool isLimited = limitWriting(QByteArray::fromStdString(writable));
            letters = isLimited ? possible(dir.file(directory)) : "no limit";
        }).join();
        return letters;
    }

    const TempDir dir;
};

}  // namespace

TEST_F(WriteLimitTest, LetsNothingBeChangedWithoutDirectory) {
    EXPECT_EQ(possibleIn("frames", ""), "r--------");
}

TEST_F(WriteLimitTest, LetsFilesBeReplacedBelowTheDirectory) {
    EXPECT_EQ(possibleIn("cache", dir.file("cache")), "rwmnou---");
    EXPECT_EQ(readFileBytes(dir.file("cache") + "/sub/new"), "new");
}

TEST_F(WriteLimitTest, LetsNothingBeChangedBesideTheDirectory) {
    EXPECT_EQ(possibleIn("frames", dir.file("cache")), "r--------");
}

TEST_F(WriteLimitTest, LetsNothingBeChangedWhereTheDirectoryIsNot) {
    EXPECT_EQ(possibleIn("frames", dir.file("none")), "r--------");
    EXPECT_EQ(possibleIn("frames", dir.file("frames") + "/old"), "r--------");
}

TEST_F(WriteLimitTest, LeavesWhatIsOpenAsItIs) {
    const int file = open(dir.file("open").c_str(), O_WRONLY | O_CREAT, 0666);
    std::thread([file] {
        ASSERT_TRUE(limitWriting(QByteArray()));
        EXPECT_EQ(write(file, "x", 1), 1);
    }).join();
    EXPECT_EQ(readFileBytes(dir.file("open")), "x");
    close(file);
}

// Programs may hold what a limit is for: a run of one would be another process with the same wishes.
TEST_F(WriteLimitTest, LetsNoProgramBeRun) {
    std::thread([] {
        ASSERT_TRUE(limitWriting(QByteArray()));
        char program[] = "/bin/false";
        char* const arguments[] = {program, nullptr};
        char* const environment[] = {nullptr};
        EXPECT_EQ(execve(program, arguments, environment), -1);
    }).join();
}
