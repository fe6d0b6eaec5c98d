// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxOpenDirectory.h"

#include "tests/support/FailingCalls.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray bytes(const std::string& text) {
    return QByteArray::fromStdString(text);
}

// Sorted; directories end with "/".
std::vector<std::string> namesIn(const std::string& path) {
    kxOpenDirectory directory(bytes(path));
    std::vector<std::string> names;
    for (const kxDirectoryEntry& entry : directory.entries())
        names.push_back(entry.name.toStdString() + (entry.isDirectory ? "/" : ""));
    EXPECT_EQ(directory.error(), 0);
    std::sort(names.begin(), names.end());
    return names;
}

TEST(OpenDirectoryTest, EveryKindOfEntryIsListed) {
    const TempDir dir;
    ASSERT_TRUE(writeFileBytes(dir.file("file"), "x"));
    ASSERT_TRUE(writeFileBytes(dir.file(".hidden"), ""));
    ASSERT_EQ(mkdir(dir.file("directory").c_str(), 0700), 0);
    ASSERT_EQ(mkfifo(dir.file("pipe").c_str(), 0600), 0);
    ASSERT_EQ(symlink("nowhere", dir.file("link").c_str()), 0);
    EXPECT_EQ(namesIn(dir.path()), (std::vector<std::string>{".hidden", "directory/", "file", "link", "pipe"}));
}

TEST(OpenDirectoryTest, NamesAreTheBytesOnDisk) {
    const TempDir dir;
    const std::string name = "a\xff\xc3\xb6\n\x01 b";
    ASSERT_TRUE(writeFileBytes(dir.file(name), ""));
    EXPECT_EQ(namesIn(dir.path()), std::vector<std::string>{name});
}

TEST(OpenDirectoryTest, EmptyDirectoryHasNone) {
    const TempDir dir;
    EXPECT_TRUE(namesIn(dir.path()).empty());
}

TEST(OpenDirectoryTest, WhatCannotBeOpenedHasAReasonAndNoEntries) {
    const TempDir dir;
    ASSERT_TRUE(writeFileBytes(dir.file("file"), "x"));
    kxOpenDirectory missing(bytes(dir.file("missing")));
    EXPECT_EQ(missing.error(), ENOENT);
    EXPECT_TRUE(missing.entries().empty());
    EXPECT_EQ(missing.error(), ENOENT);
    EXPECT_EQ(kxOpenDirectory(bytes(dir.file("file"))).error(), ENOTDIR);
}

// A list that breaks off must not look like a short one: frames would seem to be missing.
TEST(OpenDirectoryTest, FailureWhileReadingIsToldFromTheEnd) {
    const TempDir dir;
    for (const char* const name : {"a", "b", "c"}) ASSERT_TRUE(writeFileBytes(dir.file(name), ""));
    kxOpenDirectory directory(bytes(dir.path()));
    theSystem.readdir.failWith(EIO, 1, 3);
    EXPECT_LT(directory.entries().size(), 3U);
    EXPECT_EQ(directory.error(), EIO);
}

TEST(OpenDirectoryTest, InterruptedReadsGoOn) {
    const TempDir dir;
    for (const char* const name : {"a", "b", "c"}) ASSERT_TRUE(writeFileBytes(dir.file(name), ""));
    theSystem.readdir.failWith(EINTR, 1, 2);
    EXPECT_EQ(namesIn(dir.path()), (std::vector<std::string>{"a", "b", "c"}));
}

TEST(OpenDirectoryTest, EveryPathToADirectoryHasItsIdentity) {
    const TempDir dir;
    ASSERT_EQ(mkdir(dir.file("a").c_str(), 0700), 0);
    ASSERT_EQ(symlink("a", dir.file("link").c_str()), 0);
    const auto identity = [&dir](const char* name) { return kxOpenDirectory(bytes(dir.file(name))).identity(); };
    EXPECT_EQ(identity("a"), identity("link"));
    EXPECT_EQ(identity("a"), identity("a/../a/"));
    EXPECT_FALSE(identity("a") == identity(""));
    EXPECT_TRUE(identity("a") < identity("") || identity("") < identity("a"));
}

TEST(OpenDirectoryTest, IdentitiesAreOrderedByDeviceAndThenByNumber) {
    const kxDirectoryIdentity ordered[] = {{1, 5}, {1, 6}, {2, 4}, {2, 5}};
    for (const auto& a : ordered) {
        for (const auto& b : ordered) {
            EXPECT_EQ(a == b, &a == &b);
            EXPECT_EQ(a < b, &a < &b);
        }
    }
}

TEST(OpenDirectoryTest, EmptyPathIsTheCurrentDirectory) {
    EXPECT_EQ(kxOpenDirectory("").identity(), kxOpenDirectory(".").identity());
}

}  // namespace
