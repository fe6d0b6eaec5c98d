// SPDX-License-Identifier: BSD-3-Clause
// README and docs/kxCheckFrames.md say what is true of the program: the run that they show, options, exit codes.
#include "check/kxCheckOptions.h"
#include "check/kxFrameList.h"
#include "tests/support/Documents.h"
#include "tests/support/Patterns.h"
#include "tests/support/RunProcess.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using Strings = std::vector<std::string>;

std::string guide() {
    return document("docs/kxCheckFrames.md");
}

// What an option's row begins with: "`-l`, `--level LEVEL`".
std::string formOf(const kxCheck::OptionRow& row) {
    std::string form = row.letter ? std::string("`-") + row.letter + "`, " : "";
    form += std::string("`--") + row.name;
    return form + (row.value ? std::string(" ") + row.value : "") + "`";
}

// Without what depends on the compressor and on the clock.
std::string steady(const std::string& lines) {
    const std::string sizes = "[0-9]+ bytes, before and after it [0-9]+ and [0-9]+";
    return withReplaced(withReplaced(lines, sizes, "sizes"), ", [0-9]+ s\n", ", seconds\n");
}

}  // namespace

TEST(CheckGuideTest, ReadmeShowsTheRunOfTheSampleSequence) {
    const TempDir dir;
    ASSERT_EQ(runProcess({KX_DAMAGED_WRITER, dir.path()}).exitCode, 0);
    ProcessOptions options;
    options.workingDirectory = dir.path();
    const ProcessResult result = runProcess(
        {KX_CHECK_FRAMES, "beauty.####.exr", "--require-multi-layer", "--expect", "data-window=64x36"}, options);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(steady(blockAfter(document("README.md"), "$ scripts/check")), steady(result.out));
}

TEST(CheckGuideTest, HasTheOptionsOfTheProgram) {
    Strings expected;
    for (const kxCheck::OptionRow& row : kxCheck::optionRows()) expected.push_back(formOf(row));
    Strings rows = textsBetween("\n| `-", "|", guide());
    for (std::string& row : rows) row = "`-" + row.substr(0, row.size() - 1);
    EXPECT_EQ(rows, expected);
}

TEST(CheckGuideTest, HasTheWordsThatOptionsTake) {
    for (const kxCheck::OptionRow& row : kxCheck::optionRows()) {
        if (!row.words) continue;
        const std::string cells = textsBetween("\n| " + formOf(row) + " | ", "\n", guide()).at(0);
        for (const std::string& word : textsBetween(" ", " ", " " + std::string(row.words) + " "))
            EXPECT_TRUE(contains(cells, "`" + word + "`") || word.empty()) << row.name << ": " << word;
    }
}

TEST(CheckGuideTest, HasTheDefaultsOfTheProgram) {
    const kxCheck::Settings defaults;
    EXPECT_TRUE(contains(guide(), "of truncated; default " + std::to_string(defaults.minAge) + " |"));
    EXPECT_TRUE(contains(guide(), "`--follow` ends; default " + std::to_string(defaults.timeout) + " |"));
    EXPECT_TRUE(contains(guide(), "for one frame; default " + std::to_string(defaults.timeLimit) + " |"));
    const std::string most = std::to_string(kxCheck::mostFrames);
    EXPECT_TRUE(contains(guide(), "`1-99x2,150`, at most " + most + ";"));
    EXPECT_TRUE(contains(guide(), "\n- A sequence holds " + most + " frames, there or missing,"));
    EXPECT_TRUE(contains(document("SECURITY.md"), " at most " + most + " files"));
}

TEST(CheckGuideTest, HasTheExitCodes) {
    const TempDir dir;
    ASSERT_EQ(runProcess({KX_DAMAGED_WRITER, dir.path()}).exitCode, 0);
    const struct {
        int exitCode;
        Strings arguments;
    } table[] = {
        {0, {"beauty.####.exr", "--frames=1-2"}},
        {0, {"beauty.####.exr", "--frames=32-34"}},  // suspicious
        {1, {"beauty.####.exr", "--frames=32-34", "--strict"}},
        {1, {"beauty.####.exr", "--frames=1-3"}},   // missing
        {1, {"beauty.####.exr", "--frames=6,12"}},  // unknown and bad
        {2, {"beauty.####.exr", "--frames=x"}},
        {3, {"beauty.####.exr", "--frames=6"}},  // unknown
        {3, {"absent.####.exr"}},
        {3, {"absent/beauty.####.exr"}},
    };
    ProcessOptions options;
    options.workingDirectory = dir.path();
    for (const auto& row : table) {
        Strings arguments = {KX_CHECK_FRAMES};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        EXPECT_EQ(runProcess(arguments, options).exitCode, row.exitCode) << row.arguments.back();
    }
    const Strings codes = textsBetween("\n| ", " ", sectionOf(guide(), "## Exit codes"));
    EXPECT_EQ(codes, (Strings{"code", "0", "1", "2", "3", "130,"}));
}

// The command is run on a cache in which files and folders have been for so long.
TEST(CheckGuideTest, CleansACacheOfWhatIsNotUsedAnyMore) {
    const TempDir dir;
    std::string find = "find " + textsBetween("\n      find /shots/.checks ", "\n", guide()).at(0);
    find.insert(find.find(' '), " cache");
    const std::string make = R"(mkdir -p cache/used cache/left cache/new
touch -d '40 days ago' cache/used/0001.kxc cache/left/0001.kxc
touch -d '2 days ago' cache/used/0002.kxc cache/used/.kxCache-1-2-3.tmp cache/left/.kxCache-4-5-6.tmp
touch cache/used/.kxCache-7-8-9.tmp
)";
    const std::string later =
        "\ntouch -d '2 days ago' cache cache/left\n" + find + "\nfind cache -mindepth 1 | sort";
    ProcessOptions options;
    options.workingDirectory = dir.path();
    const ProcessResult result = runProcess({"/bin/sh", "-c", make + find + later}, options);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "cache/new\ncache/used\ncache/used/.kxCache-7-8-9.tmp\ncache/used/0002.kxc\n");
}
