// SPDX-License-Identifier: BSD-3-Clause
// What is removed, what is kept and said, and what is left on disk.
#include "tests/support/CheckTest.h"

#include <filesystem>

namespace {

using Names = std::vector<std::string>;

const std::string head = "a.####.exr  1-6  64x36  4 channels half  zip\n";
const std::string rows = "rows 16 to 35 of 36 are missing";
const std::string cutOff = "truncated: " + rows;

// Six frames, 2 and 5 of them cut.
class CheckRemovalTest : public CheckTest {
protected:
    void SetUp() override {
        frames("a.", 1, 6);
        cut("a.0002.exr", 560);
        cut("a.0005.exr", 560);
    }

    [[nodiscard]] Names left() const { return dir.entries(); }
    const Names good{"a.0001.exr", "a.0003.exr", "a.0004.exr", "a.0006.exr"};
    const Names all{"a.0001.exr", "a.0002.exr", "a.0003.exr", "a.0004.exr", "a.0005.exr", "a.0006.exr"};
};

std::string bad(const std::string& frame, const std::string& text, const std::string& action) {
    return frame + "  bad         " + text + "  => " + action + "\n";
}

}  // namespace

TEST_F(CheckRemovalTest, RemovesNothingUnlessAsked) {
    EXPECT_EQ(check({"a.0001.exr"}).exitCode, 1);
    EXPECT_EQ(left(), all);
}

TEST_F(CheckRemovalTest, DeletesBadFrames) {
    EXPECT_EQ(outcome({"--delete", "a.0001.exr"}), head + bad("0002", cutOff, "delete") +
                                                       bad("0005", cutOff, "delete") +
                                                       "total 6: 4 good, 2 bad (2,5), N s\nexit 1");
    EXPECT_EQ(left(), good);
}

TEST_F(CheckRemovalTest, MovesBadFramesAndOverwritesNothing) {
    std::filesystem::create_directory(dir.file("bad"));
    ASSERT_TRUE(writeFileBytes(dir.file("bad/a.0005.exr"), "taken"));
    EXPECT_EQ(outcome({"--move-to", "bad", "a.0001.exr"}),
              head + bad("0002", cutOff, "move") + bad("0005", cutOff, "move") +
                  "total 6: 4 good, 2 bad (2,5), N s\n0005  kept: the name is taken in bad\nexit 1");
    EXPECT_EQ(left(), (Names{"a.0001.exr", "a.0003.exr", "a.0004.exr", "a.0005.exr", "a.0006.exr", "bad"}));
    EXPECT_EQ(readFileBytes(dir.file("bad/a.0002.exr")).size(), 560U);
    EXPECT_EQ(readFileBytes(dir.file("bad/a.0005.exr")), "taken");
}

TEST_F(CheckRemovalTest, KeepsMoreThanHalfUnlessToldOtherwise) {
    const std::string findings = "expected: compression is zip, not piz";
    const Names arguments = {"--delete", "-l", "headers", "--expect", "compression=piz", "a.0001.exr"};
    const std::string held = outcome(arguments);
    EXPECT_NE(held.find("\nnothing removed: 6 of 6 checked frames would go, more than half (--remove-most removes "
                        "them)\nexit 1"),
              std::string::npos)
        << held;
    EXPECT_EQ(left(), all);
    Names most = arguments;
    most.insert(most.begin(), "--remove-most");
    EXPECT_EQ(check(most).exitCode, 1);
    EXPECT_EQ(left(), Names());
}

TEST_F(CheckRemovalTest, KeepsYoungFilesAndLinks) {
    makeYoung("a.0002.exr");
    std::filesystem::rename(dir.file("a.0005.exr"), dir.file("target"));
    std::filesystem::create_symlink("target", dir.file("a.0005.exr"));
    EXPECT_EQ(outcome({"--delete", "a.0001.exr"}), head + bad("0002", "unfinished: " + rows, "delete") +
                                                       bad("0005", cutOff, "delete") +
                                                       "total 6: 4 good, 2 bad (2,5), N s\n"
                                                       "0002  kept: it was changed less than 60 seconds ago\n"
                                                       "0005  kept: it is a symbolic link\nexit 1");
    EXPECT_EQ(left().size(), 7U);
    EXPECT_EQ(check({"--delete", "--min-age", "0", "a.0001.exr"}).exitCode, 1);
    EXPECT_FALSE(entryExists(dir.file("a.0002.exr")));
    EXPECT_TRUE(entryExists(dir.file("a.0005.exr")));
}

TEST_F(CheckRemovalTest, SaysWithAListOnStandardErrorWhatWasKept) {
    makeYoung("a.0002.exr");
    EXPECT_EQ(outcome({"--delete", "--list", "bad", "a.0001.exr"}),
              "2,5\n2> 0002  kept: it was changed less than 60 seconds ago\nexit 1");
    EXPECT_FALSE(entryExists(dir.file("a.0005.exr")));
}

TEST_F(CheckRemovalTest, TellsScriptsWhatIsPlannedAndWhatWasKept) {
    makeYoung("a.0002.exr");
    const std::string json = check({"--delete", "--json", "-", "a.0001.exr"}).out;
    EXPECT_NE(json.find("\"action\":\"delete\""), std::string::npos);
    const std::size_t kept = json.find("\"action\":\"kept\"");
    ASSERT_NE(kept, std::string::npos) << json;
    EXPECT_GT(json.find("\"type\":\"summary\""), kept) << "the summary comes last";
}

TEST_F(CheckRemovalTest, NeverTouchesUnknownAndMissingFramesOrOtherFiles) {
    std::filesystem::remove(dir.file("a.0003.exr"));
    std::filesystem::remove(dir.file("a.0004.exr"));
    std::filesystem::create_directory(dir.file("a.0004.exr"));
    bytes("b.0001.exr", "");
    bytes("a.0007.tif", "");
    EXPECT_EQ(check({"--delete", "--remove-most", "a.0001.exr"}).exitCode, 1);
    EXPECT_EQ(left(), (Names{"a.0001.exr", "a.0004.exr", "a.0006.exr", "a.0007.tif", "b.0001.exr"}));
}
