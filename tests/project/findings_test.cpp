// SPDX-License-Identifier: BSD-3-Clause
// docs/findings.md has every code, and each of its commands makes the finding that it is about.
#include "check/kxFinding.h"
#include "examples/SampleFrames.h"
#include "shared/kxMemoryLimit.h"
#include "tests/support/Documents.h"
#include "tests/support/Patterns.h"
#include "tests/support/RunProcess.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>

namespace fs = std::filesystem;

namespace {

using Strings = std::vector<std::string>;
using kxCheck::Code;

std::vector<kxCheck::CodeRow> allCodes() {
    std::vector<kxCheck::CodeRow> rows;
    for (int i = 0; i <= static_cast<int>(Code::jump); ++i) rows.push_back(rowOf(static_cast<Code>(i)));
    return rows;
}

std::string findings() {
    return document("docs/findings.md");
}

std::string sectionOfCode(const std::string& code) {
    return sectionOf(findings(), "## `" + code + "`");
}

// Sequence and single file that the commands of the document start with.
class FindingsTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        sound = std::make_unique<TempDir>();
        SamplePart part;
        part.pixels = SamplePixels::noise;
        for (part.phase = 1; part.phase <= 8; ++part.phase)
            writeSampleFile(sound->file("beauty.000" + std::to_string(part.phase) + ".exr"), {part});
        part.displayWindow = part.dataWindow = {{0, 0}, {2047, 2047}};
        part.pixels = SamplePixels::gradient;
        part.tiled = true;
        part.tileSize = 2048;
        writeSampleFile(sound->file("large.exr"), {part});
        for (int frame = 1; frame <= 8; ++frame) writePlainFrame(frame);
    }
    static void writePlainFrame(int frame) {
        SamplePart part;
        part.pixels = SamplePixels::gradient;
        part.compression = Imf::NO_COMPRESSION;
        part.phase = frame;
        part.displayWindow = part.dataWindow = {{0, 0}, {399, 249}};
        part.patches = {{"A", part.dataWindow, 1}};
        writeSampleFile(sound->file("plain.000" + std::to_string(frame) + ".exr"), {part});
    }
    static void TearDownTestSuite() { sound.reset(); }

    static void fill(const TempDir& dir) {
        for (const std::string& name : sound->entries()) {
            fs::copy_file(sound->file(name), dir.file(name));
            fs::last_write_time(dir.file(name), fs::file_time_type::clock::now() - std::chrono::hours(1));
        }
    }

    static ProcessResult shell(const TempDir& dir, const std::string& commands) {
        ProcessOptions options;
        options.workingDirectory = dir.path();
        options.environment = {"PATH=" + fs::path(KX_CHECK_FRAMES).parent_path().string() + ":/usr/bin:/bin"};
        return runProcess({"/bin/bash", "-c", commands}, options);
    }

private:
    static std::unique_ptr<TempDir> sound;
};

std::unique_ptr<TempDir> FindingsTest::sound;

}  // namespace

TEST_F(FindingsTest, TableHasTheCodesWithSeverityAndLevel) {
    const char* const levels[] = {"headers", "structure", "pixels"};
    Strings expected;
    for (const kxCheck::CodeRow& row : allCodes()) {
        const std::string name = row.name;
        const char* const severity = kxCheck::severityName(row.severity);
        expected.push_back("[`" + name + "`](#" + name + ") | " + (severity ? std::string(severity) + " " : "") +
                           "| " + levels[static_cast<int>(row.level)] + " ");
    }
    Strings rows = textsBetween("\n| [", "\n", findings());
    for (std::string& row : rows) row = "[" + row.substr(0, row.rfind('|', row.size() - 3));
    EXPECT_EQ(rows, expected);
}

TEST_F(FindingsTest, EveryCodeHasASectionThatSaysWhatToDoAndWhatIsMissed) {
    Strings expected;
    for (const kxCheck::CodeRow& row : allCodes()) expected.push_back(std::string("`") + row.name + "`");
    EXPECT_EQ(textsBetween("\n## ", "\n", findings()), expected);
    for (const kxCheck::CodeRow& row : allCodes()) {
        const std::string section = sectionOfCode(row.name);
        EXPECT_TRUE(contains(section, "\n- **To do**: ")) << row.name;
        EXPECT_TRUE(contains(section, "\n- **May miss**: ")) << row.name;
    }
}

TEST_F(FindingsTest, FramesThatTheCommandsStartWithAreGood) {
    const TempDir dir;
    fill(dir);
    const ProcessResult result = shell(dir, "kxCheckFrames --list good .");
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out, "1-8\nlarge.exr\n1-8\n");
}

TEST_F(FindingsTest, CommandsMakeTheFindings) {
    for (const kxCheck::CodeRow& row : allCodes()) {
        if (row.code == Code::limit && kxIsSanitizerBuild()) continue;  // memory is not limited there
        const TempDir dir;
        fill(dir);
        const ProcessResult result = shell(dir, blockAfter(sectionOfCode(row.name), "```bash"));
        const std::string verdict = row.severity == kxCheck::Severity::none      ? "unknown  "
                                    : row.severity == kxCheck::Severity::warning ? "suspicious"
                                                                                 : "bad  ";
        const std::string line = row.code == Code::missing ? "missing" : verdict + " .*" + row.name + ": ";
        EXPECT_TRUE(hasMatch("\n" + result.out, "\n[^ ]+ +" + line))
            << row.name << ": " << result.out << result.err;
    }
}
