// SPDX-License-Identifier: BSD-3-Clause
// The completions of kxVerifyExrModes, asked in real shells.
#include "tests/support/Completion.h"
#include "tests/support/Documents.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using Strings = std::vector<std::string>;

// Of the guide, which other tests compare with the program: "-seq", "-del"...
Words optionsBehindTheFile() {
    Words options;
    for (const std::string& text : textsBetween("\n| `-", " `", document("docs/kxVerifyExrModes.md")))
        options.insert("-" + text);
    EXPECT_EQ(options.erase("-kxRoot"), 1U);
    return options;
}

class ToolCompletionTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* const name : {"b.1.exr", "c.EXR", "notes.txt"})
            ASSERT_TRUE(writeFileBytes(dir.file(name), ""));
        std::filesystem::create_directory(dir.file("below"));
        ASSERT_TRUE(writeFileBytes(dir.file("below/d.1.exr"), ""));
    }

    Words inBash(const Strings& words) const { return completedInBash("kxVerifyExrModes", words, dir.path()); }

    TempDir dir;
};

}  // namespace

// A name needs a "/".
TEST_F(ToolCompletionTest, OffersFramesAndDirectoriesWithASlashInBash) {
    EXPECT_EQ(inBash({""}), (Words{"./b.1.exr", "./c.EXR", "./below"}));
    EXPECT_EQ(inBash({"b."}), Words{"./b.1.exr"});
    EXPECT_EQ(inBash({"below/"}), Words{"below/d.1.exr"});
    EXPECT_EQ(inBash({"-kxRoot", "b"}), Words{"./below"});
    EXPECT_EQ(inBash({"-kxRoot", ".", "./b."}), Words{"./b.1.exr"});
}

// What comes first is the file.
TEST_F(ToolCompletionTest, OffersOptionsBehindTheFileInBash) {
    EXPECT_EQ(optionsBehindTheFile().size(), 7U);
    EXPECT_EQ(inBash({"-"}), Words{"-kxRoot"});
    EXPECT_EQ(inBash({"./b.1.exr", ""}), optionsBehindTheFile());
    EXPECT_EQ(inBash({"-kxRoot", ".", "./b.1.exr", "-"}), optionsBehindTheFile());
    EXPECT_EQ(inBash({"./b.1.exr", "-del", "-requireMultip"}), Words{"-requireMultipart"});
    EXPECT_EQ(inBash({"./b.1.exr", "-threadID", "7", "-d"}), Words{"-del"});
}

TEST_F(ToolCompletionTest, OffersNothingForNumbersInBash) {
    Strings words = {"./b.1.exr", "-seq", ""};
    for (int number = 0; number < 4; ++number, words.push_back("")) {
        EXPECT_EQ(inBash(words), Words{}) << number;
        words.back() = "1";
    }
    EXPECT_EQ(inBash(words), optionsBehindTheFile());
    EXPECT_EQ(inBash({"./b.1.exr", "-threadID", ""}), Words{});
}

TEST_F(ToolCompletionTest, HasTheOptionsInZsh) {
    const std::string text = document("completions/_kxVerifyExrModes");
    for (const std::string& option : optionsBehindTheFile()) EXPECT_TRUE(contains(text, option + "[")) << option;
}

TEST_F(ToolCompletionTest, CompletesLinesThatAreTypedInZsh) {
    if (!isZshThere()) GTEST_SKIP() << "zsh is not there";
    const struct {
        const char* typed;
        const char* completed;
    } cases[] = {
        {"b.", "./b.1.exr "},
        {"below/", "below/d.1.exr "},
        {"-k", "-kxRoot "},
        {"-d", "-d"},
        {"-kxRoot be", "-kxRoot below/"},
        {"-kxRoot . ./c", "-kxRoot . ./c.EXR "},
        {"./b.1.exr -d", "./b.1.exr -del "},
        {"./b.1.exr -seq 1 2 3 4 -requireMultip", "./b.1.exr -seq 1 2 3 4 -requireMultipart "},
        {"./b.1.exr -k", "./b.1.exr -k"},
    };
    Strings typed;
    Strings expected;
    for (const auto& c : cases) {
        typed.push_back(std::string("kxVerifyExrModes ") + c.typed);
        expected.push_back(std::string("kxVerifyExrModes ") + c.completed);
    }
    EXPECT_EQ(completedInZsh(typed, dir.path()), expected);
}
