// SPDX-License-Identifier: BSD-3-Clause
// What repeats the options of kxCheckFrames has the same ones: manual page and completions. Those are asked in
// real shells.
#include "check/kxCheckOptions.h"
#include "tests/support/Completion.h"
#include "tests/support/Documents.h"
#include "tests/support/Patterns.h"
#include "tests/support/RunProcess.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using kxCheck::OptionRow;

Words optionNames() {
    Words names;
    for (const OptionRow& row : kxCheck::optionRows()) names.insert(std::string("--") + row.name);
    return names;
}

Words codesOfErrorsAndWarnings() {
    Words codes;
    for (int i = 0; i <= static_cast<int>(kxCheck::Code::jump); ++i) {
        const kxCheck::CodeRow& row = kxCheck::rowOf(static_cast<kxCheck::Code>(i));
        if (row.severity != kxCheck::Severity::none) codes.insert(row.name);
    }
    return codes;
}

// What the error for an unknown key or value of --expect lists.
Words wordsKnownInsteadOf(const char* expectation) {
    const auto fault = std::get<QByteArray>(kxCheck::parseExpectation(expectation)).toStdString();
    const std::string opening = "known are ";
    std::string list = fault.substr(fault.find(opening) + opening.size());
    for (char& c : list) c = c == ',' ? ' ' : c;
    return wordsOf(list);
}

Words expectationKeys() {
    return wordsKnownInsteadOf("?");
}

// The page's text without its markup of letters.
std::string plainPage() {
    std::string text = document("docs/kxCheckFrames.1");
    for (const char* const markup : {"\\fB", "\\fI", "\\fR"})
        for (auto at = text.find(markup); at != std::string::npos; at = text.find(markup)) text.erase(at, 3);
    for (auto at = text.find("\\-"); at != std::string::npos; at = text.find("\\-")) text.erase(at, 1);
    return text;
}

TEST(ManualPageTest, HasTheOptionsInTheirOrder) {
    std::vector<std::string> expected;
    for (const OptionRow& row : kxCheck::optionRows()) {
        std::string form = row.letter ? std::string("-") + row.letter + ", " : "";
        form += std::string("--") + row.name;
        if (row.value) form += std::string(" ") + row.value;
        expected.push_back(form);
    }
    std::vector<std::string> found;
    for (const std::string& form : textsBetween("\n.TP\n-", "\n", plainPage())) found.push_back("-" + form);
    EXPECT_EQ(found, expected);
}

TEST(ManualPageTest, NamesWordsAndKeysOfTheOptions) {
    const std::string page = plainPage();
    for (const OptionRow& row : kxCheck::optionRows()) {
        const auto entry = page.find(std::string("--") + row.name);
        ASSERT_NE(entry, std::string::npos) << row.name;
        for (const std::string& word : wordsOf(row.words ? row.words : ""))
            EXPECT_TRUE(contains(page, word)) << row.name << " " << word;
    }
    for (const std::string& key : expectationKeys()) EXPECT_TRUE(contains(page, "\n.B " + key + "\n")) << key;
}

TEST(ManualPageTest, NamesTheCodes) {
    const std::string page = plainPage();
    const std::string verdicts = page.substr(page.find(".SH VERDICTS"));
    const Words words = wordsOf(withReplaced(verdicts, "[\"(),]", " "));
    for (int i = 0; i <= static_cast<int>(kxCheck::Code::jump); ++i) {
        const std::string name = kxCheck::rowOf(static_cast<kxCheck::Code>(i)).name;
        EXPECT_EQ(words.count(name), 1U) << name;
    }
}

// What completing the last of these words gives in bash.
class BashCompletionTest : public testing::Test {
protected:
    Words completed(const std::vector<std::string>& words) const {
        return completedInBash("kxCheckFrames", words, dir_.path());
    }

    void write(const std::string& name) const { ASSERT_TRUE(writeFileBytes(dir_.file(name), "")); }

    TempDir dir_;
};

TEST_F(BashCompletionTest, OffersAllOptions) {
    EXPECT_EQ(completed({"--"}), optionNames());
    EXPECT_EQ(completed({"a.1.exr", "--le"}), Words{"--level"});
}

TEST_F(BashCompletionTest, OffersTheWordsOfAnOptionInEveryForm) {
    for (const OptionRow& row : kxCheck::optionRows()) {
        if (!row.words) continue;
        const std::string option = std::string("--") + row.name;
        Words expected = wordsOf(row.words);
        if (option == "--sort")
            for (const std::string& word : wordsOf(row.words)) expected.insert("-" + word);
        EXPECT_EQ(completed({option, ""}), expected) << option;
        EXPECT_EQ(completed({option, "="}), expected) << option;
        const std::string first = *expected.begin();
        EXPECT_EQ(completed({option, "=", first}), Words{first}) << option;
        const std::string shortForm = row.letter ? std::string("-") + row.letter : option;
        EXPECT_EQ(completed({shortForm, ""}), expected) << option;
    }
}

TEST_F(BashCompletionTest, OffersCodesAndKeys) {
    EXPECT_EQ(completed({"--fail-on", ""}), codesOfErrorsAndWarnings());
    EXPECT_EQ(completed({"--ignore", "="}), codesOfErrorsAndWarnings());
    Words keys;
    for (const std::string& key : expectationKeys()) keys.insert(key + "=");
    EXPECT_EQ(completed({"--expect", ""}), keys);
}

TEST_F(BashCompletionTest, OffersTheValuesOfAKey) {
    for (const std::string key : {"compression", "storage", "type"}) {
        const Words values = wordsKnownInsteadOf((key + "=?").c_str());
        EXPECT_EQ(completed({"--expect", key, "="}), values) << key;
        EXPECT_EQ(completed({"--expect", "=", key, "="}), values) << key;
    }
    EXPECT_EQ(completed({"--expect", "compression", "=", "zip,p"}), (Words{"zip,piz", "zip,pxr24"}));
    EXPECT_EQ(completed({"--expect", "=", "type", "=", "ha"}), Words{"half"});
    write("b.1.exr");
    EXPECT_EQ(completed({"--expect", "parts", "="}), Words{});
    EXPECT_EQ(completed({"--expect", "type", "=", "half", ""}), Words{"b.1.exr"});
    EXPECT_EQ(completed({"--expect", "=", "type", "=", "half", ""}), Words{"b.1.exr"});
}

TEST_F(BashCompletionTest, GoesOnBehindACommaOfAList) {
    EXPECT_EQ(completed({"--list", "bad,mi"}), Words{"bad,missing"});
    EXPECT_EQ(completed({"--ignore", "nan,fl"}), Words{"nan,flat"});
}

TEST_F(BashCompletionTest, OffersFramesAndDirectories) {
    for (const char* const name : {"b.1.exr", "c.EXR", "notes.txt"}) write(name);
    std::filesystem::create_directory(dir_.file("below"));
    EXPECT_EQ(completed({""}), (Words{"b.1.exr", "c.EXR", "below"}));
    EXPECT_EQ(completed({"--strict", "b."}), Words{"b.1.exr"});
    EXPECT_EQ(completed({"--move-to", ""}), Words{"below"});
    EXPECT_EQ(completed({"--json", "n"}), Words{"notes.txt"});
}

TEST_F(BashCompletionTest, OffersNothingForNumbersAndNoOptionsBehindTheirEnd) {
    for (const char* const option :
         {"--jobs", "-j", "--frames", "-f", "--chunk", "--min-age", "--timeout", "--time-limit"})
        EXPECT_EQ(completed({option, ""}), Words{}) << option;
    EXPECT_EQ(completed({"--", "--l"}), Words{});
}

// With the completion key, on a terminal.
TEST_F(BashCompletionTest, CompletesALineThatIsTyped) {
    if (!std::filesystem::exists("/usr/bin/script")) GTEST_SKIP() << "script(1) is not there";
    write("b.0001.exr");
    const std::string typed = "source " + (projectDir() / "completions/kxCheckFrames.bash").string() +
                              "\nkxCheckFrames() { printf '<%s>' \"$@\"; echo; }\nkxCheckFrames --lev\thea\t "
                              "--list=bad,mis\t b\t\nexit\n";
    ASSERT_TRUE(writeFileBytes(dir_.file("typed"), typed));
    ProcessOptions options;
    options.workingDirectory = dir_.path();
    const ProcessResult result =
        runProcess({"/bin/sh", "-c", "script -qec 'bash --norc --noprofile -i' /dev/null < typed"}, options);
    EXPECT_TRUE(contains(result.out, "<--level><headers><--list=bad,missing><b.0001.exr>")) << result.out;
}

TEST(ZshCompletionTest, HasTheOptionsAndTheirWords) {
    const std::string text = document("completions/_kxCheckFrames");
    Words names;
    for (const std::string& name : textsBetween("--", "[]{}()=', \"\n", text))
        if (!name.empty()) names.insert("--" + name);
    EXPECT_EQ(names, optionNames());
    for (const OptionRow& row : kxCheck::optionRows())
        EXPECT_TRUE(contains(text, row.words ? row.words : "")) << row.name;
    EXPECT_EQ(wordsOf(textsBetween("codes=(", ")", text).at(0)), codesOfErrorsAndWarnings());
    EXPECT_EQ(wordsOf(textsBetween("keys=(", ")", text).at(0)), expectationKeys());
    for (const std::string key : {"compression", "storage", "type"}) {
        const std::string values = textsBetween(key + ") _values -s , value ", ";", text).at(0);
        EXPECT_EQ(wordsOf(values), wordsKnownInsteadOf((key + "=?").c_str())) << key;
    }
}

// What typed lines are behind the completion key, on a terminal.
TEST(ZshCompletionTest, CompletesLinesThatAreTyped) {
    if (!isZshThere()) GTEST_SKIP() << "zsh is not there";
    const struct {
        const char* typed;
        const char* completed;
    } cases[] = {
        {"--lev", "--level="},
        {"--level=st", "--level=structure "},
        {"--list bad,mi", "--list bad,missing,"},
        {"--fail-on=nan,fl", "--fail-on=nan,flat,"},
        {"--expect da", "--expect data-window="},
        {"--expect type=ha", "--expect type=half,"},
        {"--expect=compression=zip,pi", "--expect=compression=zip,piz,"},
        {"--frames ", "--frames "},
        {"b", "b.1.exr "},
        {"--strict c", "--strict c.EXR "},
        {"--json n", "--json notes.txt "},
    };
    const TempDir dir;
    for (const char* const name : {"b.1.exr", "c.EXR", "notes.txt"})
        ASSERT_TRUE(writeFileBytes(dir.file(name), ""));
    std::vector<std::string> typed;
    std::vector<std::string> expected;
    for (const auto& c : cases) {
        typed.push_back(std::string("kxCheckFrames ") + c.typed);
        expected.push_back(std::string("kxCheckFrames ") + c.completed);
    }
    EXPECT_EQ(completedInZsh(typed, dir.path()), expected);
}

}  // namespace
