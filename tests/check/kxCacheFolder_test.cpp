// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxCacheFolder.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

using namespace kxCheck;

namespace {

SequenceName sequenceOf(const QByteArray& directory, const QByteArray& prefix, const QByteArray& marker,
                        const QByteArray& suffix) {
    SequenceName name;
    name.directory = directory;
    name.prefix = prefix;
    name.suffix = suffix;
    name.path = directory + prefix + marker + suffix;
    return name;
}

QByteArray fileName(const QByteArray& text, std::optional<int> tile = std::nullopt) {
    FrameName name;
    name.text = text;
    name.tile = tile;
    return cacheFileName(name);
}

class CacheFolderTest : public ::testing::Test {
protected:
    QByteArray path(const std::string& name) const { return QByteArray::fromStdString(dir.file(name)); }

    TempDir dir;
};

}  // namespace

TEST_F(CacheFolderTest, DiffersWithEverythingThatNamesASequence) {
    const SequenceName names[] = {
        sequenceOf("/r/", "beauty.", "####", ".exr"),         sequenceOf("/q/", "beauty.", "####", ".exr"),
        sequenceOf("/r/", "beauty", "####", ".exr"),          sequenceOf("/r/", "beauty.", "####", "_v2.exr"),
        sequenceOf("/r/", "Beauty.", "####", ".exr"),         sequenceOf("/r/", "beauty.", "_tile##_.####", ".exr"),
        sequenceOf("/r/", "beauty.", "_tile##_####", ".exr"), sequenceOf("/r/", "beauty.####.", "", "exr"),
    };
    std::set<QByteArray> folders;
    for (const SequenceName& name : names) {
        const QByteArray folder = cacheFolder("/c", name);
        EXPECT_EQ(folder.left(3), "/c/");
        EXPECT_EQ(folder.size(), 43);
        EXPECT_EQ(cacheFolder("/c/", name), folder);
        folders.insert(folder);
    }
    EXPECT_EQ(folders.size(), std::size(names));
}

TEST_F(CacheFolderTest, IsTheSameByWhateverWayTheDirectoryIsReached) {
    std::filesystem::create_directories(dir.file("shot/one"));
    std::filesystem::create_symlink("shot", dir.file("link"));
    const auto folderOf = [](const QByteArray& directory) {
        return cacheFolder("c", sequenceOf(directory, "a.", "####", ".exr"));
    };
    const QByteArray folder = folderOf(path("shot/one/"));
    EXPECT_EQ(folderOf(path("link/one/")), folder);
    EXPECT_EQ(folderOf(path("shot/../shot//one/")), folder);
    EXPECT_NE(folderOf(path("shot/")), folder);
    const std::string before = std::filesystem::current_path();
    ASSERT_EQ(chdir(dir.file("shot/one").c_str()), 0);
    EXPECT_EQ(folderOf(""), folder);
    EXPECT_EQ(folderOf("./"), folder);
    ASSERT_EQ(chdir(before.c_str()), 0);
}

TEST_F(CacheFolderTest, NamesEachFrame) {
    EXPECT_EQ(fileName("0042"), "0042.kxc");
    EXPECT_EQ(fileName("42"), "42.kxc");
    EXPECT_EQ(fileName("-7"), "-7.kxc");
    EXPECT_EQ(fileName(""), "single.kxc");
    EXPECT_EQ(fileName("0042", 3), "0042.tile03.kxc");
    EXPECT_EQ(fileName("0042", 29), "0042.tile29.kxc");
}

TEST_F(CacheFolderTest, IsMadeWhereItsParentIs) {
    EXPECT_EQ(prepareCache(path("cache")), "");
    EXPECT_TRUE(std::filesystem::is_directory(dir.file("cache")));
    EXPECT_EQ(prepareCache(path("cache")), "");
    EXPECT_EQ(prepareCache(path("cache/")), "");
    std::filesystem::create_symlink("cache", dir.file("link"));
    EXPECT_EQ(prepareCache(path("link")), "");
}

TEST_F(CacheFolderTest, IsRefusedWhereItCanNotBe) {
    EXPECT_EQ(prepareCache(path("no/cache")), "No such file or directory");
    EXPECT_FALSE(std::filesystem::exists(dir.file("no")));
    ASSERT_TRUE(writeFileBytes(dir.file("file"), ""));
    EXPECT_EQ(prepareCache(path("file")), "Not a directory");
    EXPECT_EQ(prepareCache(path("file/cache")), "Not a directory");
    std::filesystem::create_symlink("nowhere", dir.file("link"));
    EXPECT_EQ(prepareCache(path("link")), "No such file or directory");
    EXPECT_EQ(prepareCache(QByteArray(401, 'c')), "File name too long");
}

// In a process of its own, which gives up the rights of root.
TEST_F(CacheFolderTest, IsRefusedWhereOneMayNotEnter) {
    using std::filesystem::perms;
    constexpr uid_t nobody = 65534;
    std::filesystem::permissions(dir.path(), perms::owner_all | perms::others_read | perms::others_exec);
    std::filesystem::create_directory(dir.file("locked"));
    std::filesystem::permissions(dir.file("locked"), perms::none);
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && setuid(nobody) != 0) _exit(2);
        const bool isRefused = prepareCache(path("locked")) == "Permission denied" &&
                               prepareCache(path("locked/cache")) == "Permission denied";
        _exit(isRefused ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    std::filesystem::permissions(dir.file("locked"), perms::owner_all);
}
