// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxRemover.h"

#include "check/kxFileIdentity.h"
#include "tests/support/FailingCalls.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kxCheck;

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t second = 1000000000;

using Names = std::vector<std::string>;

class RemoverTest : public testing::Test {
protected:
    RemoverTest() {
        theSystem = System();
        fs::create_directory(dir.file("bad"));
        write("frame", "checked");
        checked = identity("frame");
        now = checked.modified + 100 * second;
    }
    ~RemoverTest() override { theSystem = System(); }

    void write(const std::string& name, const std::string& bytes) const {
        EXPECT_TRUE(writeFileBytes(dir.file(name), bytes));
    }
    FileIdentity identity(const std::string& name) const {
        struct stat status = {};
        EXPECT_EQ(stat(dir.file(name).c_str(), &status), 0);
        return identityOf(status);
    }
    // Another file, with the name and all that shows but its inode.
    void replace() const {
        write("new", "another");
        const timespec time = {static_cast<time_t>(checked.modified / second), checked.modified % second};
        const timespec times[] = {time, time};
        EXPECT_EQ(utimensat(AT_FDCWD, dir.file("new").c_str(), times, 0), 0);
        fs::rename(dir.file("new"), dir.file("frame"));
    }

    std::string removed(int minAge = 60) const {
        return Remover(dirBytes(), minAge).remove("frame", checked, now).toStdString();
    }
    std::string moved() const {
        return Remover(dirBytes(), 60, targetBytes()).remove("frame", checked, now).toStdString();
    }
    QByteArray dirBytes() const { return QByteArray::fromStdString(dir.path()); }
    QByteArray targetBytes() const { return QByteArray::fromStdString(dir.file("bad")); }
    std::string targetPath() const { return dir.file("bad"); }

    // What is in both directories: "frame=checked bad/frame=checked".
    std::string files() const {
        std::string all;
        for (const std::string name : {"frame", "bad/frame"}) {
            if (!entryExists(dir.file(name))) continue;
            all += (all.empty() ? "" : " ") + name + "=" + readFileBytes(dir.file(name));
        }
        return all;
    }

    TempDir dir;
    FileIdentity checked;
    std::int64_t now = 0;
};

constexpr const char* wasChanged = "it was changed or replaced since it was checked";

}  // namespace

TEST_F(RemoverTest, DeletesTheFileThatWasChecked) {
    EXPECT_EQ(removed(), "");
    EXPECT_EQ(files(), "");
    EXPECT_EQ(dir.entries(), (Names{"bad"}));
}

TEST_F(RemoverTest, MovesTheFileThatWasChecked) {
    EXPECT_EQ(moved(), "");
    EXPECT_EQ(files(), "bad/frame=checked");
    EXPECT_EQ(identity("bad/frame"), checked);
}

TEST_F(RemoverTest, KeepsWhatIsNotTheFileThatWasChecked) {
    const std::function<void()> changes[] = {
        [&] { replace(); },
        [&] { write("frame", "longer than it was"); },
        [&] { fs::last_write_time(dir.file("frame"), fs::file_time_type::clock::now() - std::chrono::hours(9)); },
    };
    for (const auto& change : changes) {
        change();
        const std::string before = files();
        EXPECT_EQ(removed(), wasChanged);
        EXPECT_EQ(moved(), wasChanged);
        EXPECT_EQ(files(), before);
        write("frame", "checked");
        checked = identity("frame");
    }
    ++checked.device;
    EXPECT_EQ(removed(), wasChanged);
}

TEST_F(RemoverTest, KeepsLinksAlsoToTheFileThatWasChecked) {
    fs::rename(dir.file("frame"), dir.file("real"));
    fs::create_symlink("real", dir.file("frame"));
    EXPECT_EQ(removed(), "it is a symbolic link");
    EXPECT_EQ(moved(), "it is a symbolic link");
    EXPECT_EQ(readFileBytes(dir.file("real")), "checked");
    EXPECT_TRUE(fs::is_symlink(dir.file("frame")));
}

TEST_F(RemoverTest, KeepsWhatIsNoFile) {
    fs::remove(dir.file("frame"));
    EXPECT_EQ(removed(), "No such file or directory");
    fs::create_directory(dir.file("frame"));
    EXPECT_EQ(removed(), "it is no regular file");
    EXPECT_TRUE(fs::is_directory(dir.file("frame")));
}

TEST_F(RemoverTest, KeepsYoungFiles) {
    now = checked.modified + 59 * second;
    EXPECT_EQ(removed(), "it was changed less than 60 seconds ago");
    EXPECT_EQ(moved(), "it was changed less than 60 seconds ago");
    EXPECT_EQ(removed(100), "it was changed less than 100 seconds ago");
    EXPECT_EQ(files(), "frame=checked");
    now = checked.modified + 60 * second;
    EXPECT_EQ(removed(), "");
}

TEST_F(RemoverTest, TakesFilesOfAnyAgeWhereNoneIsAsked) {
    now = checked.modified - 5 * second;
    EXPECT_EQ(removed(0), "");
}

TEST_F(RemoverTest, OverwritesNothing) {
    write("bad/frame", "there before");
    EXPECT_EQ(moved(), "the name is taken in " + targetPath());
    EXPECT_EQ(files(), "frame=checked bad/frame=there before");
    for (const int unknown : {EINVAL, ENOSYS}) {
        theSystem.renameat2.failWith(unknown);
        EXPECT_EQ(moved(), "the name is taken in " + targetPath());
        EXPECT_EQ(files(), "frame=checked bad/frame=there before");
    }
}

TEST_F(RemoverTest, OverwritesNothingThatAppearsAtTheLastMoment) {
    theSystem.renameat2.before = [&] { write("bad/frame", "just made"); };
    EXPECT_EQ(moved(), "the name is taken in " + targetPath());
    EXPECT_EQ(files(), "frame=checked bad/frame=just made");
    fs::remove(dir.file("bad/frame"));
    theSystem.renameat2.failWith(EINVAL);
    theSystem.linkat.before = [&] { write("bad/frame", "just made"); };
    EXPECT_EQ(moved(), "the name is taken in " + targetPath());
    EXPECT_EQ(files(), "frame=checked bad/frame=just made");
}

TEST_F(RemoverTest, LinksWhereRenamingCanNotKeepFromOverwriting) {
    for (const int unknown : {EINVAL, ENOSYS}) {
        theSystem.renameat2.failWith(unknown);
        EXPECT_EQ(moved(), "");
        EXPECT_EQ(files(), "bad/frame=checked");
        EXPECT_EQ(identity("bad/frame"), checked);
        fs::rename(dir.file("bad/frame"), dir.file("frame"));
    }
}

TEST_F(RemoverTest, LeavesAFileThatTakesTheNameWhileItIsLinked) {
    theSystem.renameat2.failWith(EINVAL);
    theSystem.linkat.afterwards = [&] { replace(); };
    EXPECT_EQ(moved(), "");
    EXPECT_EQ(files(), "frame=another bad/frame=checked");
}

TEST_F(RemoverTest, HasMovedAFileWhoseNameVanishesWhileItIsLinked) {
    theSystem.renameat2.failWith(EINVAL);
    theSystem.linkat.afterwards = [&] { fs::remove(dir.file("frame")); };
    EXPECT_EQ(moved(), "");
    EXPECT_EQ(files(), "bad/frame=checked");
}

TEST_F(RemoverTest, UndoesTheLinkWhereTheFileCanNotBeUnlinked) {
    theSystem.renameat2.failWith(EINVAL);
    theSystem.unlinkat.failWith(EACCES);
    EXPECT_EQ(moved(), "Permission denied");
    EXPECT_EQ(files(), "frame=checked");
}

TEST_F(RemoverTest, SaysWhyTheSystemRefuses) {
    theSystem.unlinkat.failWith(EACCES);
    EXPECT_EQ(removed(), "Permission denied");
    theSystem.renameat2.failWith(EXDEV);
    EXPECT_EQ(moved(), "Invalid cross-device link");
    theSystem.renameat2.failWith(EINVAL);
    theSystem.linkat.failWith(EPERM);
    EXPECT_EQ(moved(), "Operation not permitted");
    EXPECT_EQ(files(), "frame=checked");
}

TEST_F(RemoverTest, RepeatsInterruptedCalls) {
    theSystem.renameat2.failWith(EINTR);
    EXPECT_EQ(moved(), "");
    fs::rename(dir.file("bad/frame"), dir.file("frame"));
    theSystem.unlinkat.failWith(EINTR);
    EXPECT_EQ(removed(), "");
    EXPECT_EQ(files(), "");
}

TEST_F(RemoverTest, NeedsItsDirectories) {
    const QByteArray nowhere = QByteArray::fromStdString(dir.file("nowhere"));
    const QByteArray noDirectory = QByteArray::fromStdString(dir.file("frame"));
    EXPECT_EQ(Remover(dirBytes(), 0).fault(), "");
    EXPECT_EQ(Remover(dirBytes(), 0, targetBytes()).fault(), "");
    EXPECT_EQ(Remover(nowhere, 0).fault(), "No such file or directory");
    EXPECT_EQ(Remover(dirBytes(), 0, nowhere).fault(), nowhere + ": No such file or directory");
    EXPECT_EQ(Remover(dirBytes(), 0, noDirectory).fault(), noDirectory + ": Not a directory");
    EXPECT_EQ(Remover(dirBytes(), 0, nowhere).remove("frame", checked, now),
              nowhere + ": No such file or directory");
    EXPECT_EQ(files(), "frame=checked");
}

TEST_F(RemoverTest, NeedsOneFileSystem) {
    struct stat shm = {};
    struct stat own = {};
    if (stat("/dev/shm", &shm) != 0 || stat(dir.path().c_str(), &own) != 0 || shm.st_dev == own.st_dev)
        GTEST_SKIP() << "no second file system";
    EXPECT_EQ(Remover(dirBytes(), 0, "/dev/shm").fault(), "/dev/shm is on another file system");
    EXPECT_EQ(Remover(dirBytes(), 0, "/dev/shm").remove("frame", checked, now),
              "/dev/shm is on another file system");
    EXPECT_EQ(files(), "frame=checked");
}

TEST_F(RemoverTest, StaysInTheDirectoryThatWasOpened) {
    const TempDir other;
    fs::create_directory(dir.file("work"));
    fs::rename(dir.file("frame"), dir.file("work/frame"));
    const Remover remover(QByteArray::fromStdString(dir.file("work")), 0);
    fs::rename(dir.file("work"), dir.file("aside"));
    fs::create_directory(dir.file("work"));
    write("work/frame", "another");
    EXPECT_EQ(remover.remove("frame", checked, now), "");
    EXPECT_FALSE(entryExists(dir.file("aside/frame")));
    EXPECT_EQ(readFileBytes(dir.file("work/frame")), "another");
}

TEST(FileIdentity, HoldsTimesAtTheEndsOfTheirRange) {
    struct stat status = {};
    status.st_mtim = {1700000000, 123456789};
    EXPECT_EQ(identityOf(status).modified, 1700000000123456789);
    status.st_mtim = {INT64_MAX, 5};
    EXPECT_EQ(identityOf(status).modified, (INT64_MAX / second - 1) * second + 5);
    status.st_mtim = {INT64_MIN, 0};
    EXPECT_EQ(identityOf(status).modified, -(INT64_MAX / second - 1) * second);
}
