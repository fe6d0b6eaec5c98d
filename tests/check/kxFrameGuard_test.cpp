// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameGuard.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace fs = std::filesystem;
using namespace kxCheck;

namespace {

// a.1.raw to a.3.raw and b.1.exr, nothing of which is EXR data, and other files beside them.
class FrameGuardTest : public ::testing::Test {
protected:
    FrameGuardTest() {
        for (const char* name : {"a.1.raw", "a.2.raw", "b.1.exr", "other.txt"})
            EXPECT_TRUE(writeFileBytes(dir.file(name), "zeros"));
        fs::create_symlink(elsewhere.file("a.3.raw"), dir.file("a.3.raw"));
        EXPECT_TRUE(writeFileBytes(elsewhere.file("a.3.raw"), "zeros"));
        EXPECT_TRUE(writeFileBytes(elsewhere.file("a.1.raw"), "of another directory"));
    }

    // The frame's path as seen from `dir`.
    std::string frameAtPath(const std::string& path) const {
        const QByteArray first = QByteArray::fromStdString(dir.file("a.*.raw"));
        const QByteArray second = QByteArray::fromStdString(dir.file("b.1.exr"));
        const FoundSequences found = findSequences({first, second}, NamesMean::sequences);
        EXPECT_EQ(found.sequences.size(), 2U);
        const std::string frame = frameAt(QByteArray::fromStdString(path), found.sequences).toStdString();
        return frame.empty() ? frame : frame.substr(dir.path().size());
    }

    TempDir dir;
    TempDir elsewhere;
};

}  // namespace

TEST_F(FrameGuardTest, KnowsAFrameByItsName) {
    EXPECT_EQ(frameAtPath(dir.file("a.2.raw")), "a.2.raw");
    EXPECT_EQ(frameAtPath(dir.file("./b.1.exr")), "b.1.exr");
    EXPECT_EQ(frameAtPath(dir.file("a.3.raw")), "a.3.raw");
}

TEST_F(FrameGuardTest, KnowsAFrameByLinksFromAndToIt) {
    fs::create_symlink(dir.file("a.1.raw"), elsewhere.file("link"));
    fs::create_hard_link(dir.file("a.2.raw"), dir.file("hard.txt"));
    EXPECT_EQ(frameAtPath(elsewhere.file("link")), "a.1.raw");
    EXPECT_EQ(frameAtPath(dir.file("hard.txt")), "a.2.raw");
    EXPECT_EQ(frameAtPath(elsewhere.file("a.3.raw")), "a.3.raw");
}

TEST_F(FrameGuardTest, LeavesOtherFilesAlone) {
    fs::create_symlink("nowhere", dir.file("dangling"));
    fs::create_symlink("other.txt", dir.file("link.txt"));
    for (const std::string& path : {dir.file("other.txt"), dir.file("link.txt"), dir.file("dangling"),
                                    dir.file("a.4.raw"), elsewhere.file("a.1.raw"), dir.path(), std::string()})
        EXPECT_EQ(frameAtPath(path), "") << path;
    EXPECT_EQ(frameAt(QByteArray::fromStdString(dir.file("a.1.raw")), {}), "");
}
