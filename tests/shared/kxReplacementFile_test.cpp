// SPDX-License-Identifier: BSD-3-Clause
// Its failures are tested with the compressed files that are written by it.
#include "shared/kxReplacementFile.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace {

int written(kxReplacementFile& file, const std::string& text) {
    return kxWriteAll(file.file(), text.data(), text.size());
}

}  // namespace

TEST(ReplacementFile, LeavesTheOldFileUntilItIsWhole) {
    const TempDir dir;
    ASSERT_TRUE(writeFileBytes(dir.file("page"), "old"));
    kxReplacementFile file;
    ASSERT_EQ(file.create(dir.file("page"), ".test"), 0);
    ASSERT_EQ(written(file, "new"), 0);
    EXPECT_EQ(readFileBytes(dir.file("page")), "old");
    EXPECT_EQ(dir.entries().size(), 2U);
    EXPECT_EQ(dir.entries().front().rfind(".test-", 0), 0U);
    EXPECT_EQ(file.replaceTarget(), 0);
    EXPECT_EQ(readFileBytes(dir.file("page")), "new");
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"page"});
}

TEST(ReplacementFile, IsGoneWhenItTookNoPlace) {
    const TempDir dir;
    {
        kxReplacementFile file;
        ASSERT_EQ(file.create(dir.file("page"), ".test"), 0);
        ASSERT_EQ(written(file, "new"), 0);
    }
    EXPECT_EQ(dir.entries(), std::vector<std::string>{});
}

TEST(ReplacementFile, SaysWhyItCantBeMade) {
    const TempDir dir;
    EXPECT_EQ(kxReplacementFile().create(dir.file("none/page"), ".test"), ENOENT);
    EXPECT_EQ(kxReplacementFile().create(dir.path(), ".test"), EISDIR);
}
