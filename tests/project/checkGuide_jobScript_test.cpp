// SPDX-License-Identifier: BSD-3-Clause
// The job script of docs/kxCheckFrames.md, taken from there and run: it renders what is bad or missing until all is
// good, and nothing when that is not known.
#include "examples/SampleFrames.h"
#include "tests/support/Documents.h"
#include "tests/support/RunProcess.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

using Strings = std::vector<std::string>;

class CheckJobScriptTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(writeFileBytes(scripts.file("renderUntilGood"),
                                   blockAfter(document("docs/kxCheckFrames.md"), "```bash")));
        SamplePart part;
        part.pixels = SamplePixels::noise;
        writeSampleFile(scripts.file("good.exr"), {part});
        for (int frame = 1; frame <= 9; ++frame) fs::copy_file(scripts.file("good.exr"), frameFile(frame));
        // Renders each frame of a list of single numbers, and writes down what it was asked for.
        command("render",
                "echo \"$*\" >>asked; for f in ${2//,/ }; do cp $(dirname $0)/good.exr beauty.000$f.exr; done");
    }

    std::string frameFile(int frame) const { return dir.file("beauty.000" + std::to_string(frame) + ".exr"); }

    std::string command(const std::string& name, const std::string& program) const {
        EXPECT_TRUE(writeFileBytes(scripts.file(name), "#!/bin/bash\n" + program + "\n"));
        EXPECT_EQ(chmod(scripts.file(name).c_str(), 0755), 0);
        return scripts.file(name);
    }

    ProcessResult run(const std::string& frames, const std::string& render = "render",
                      const std::string& toolDir = fs::path(KX_CHECK_FRAMES).parent_path().string()) const {
        ProcessOptions options;
        options.workingDirectory = dir.path();
        options.environment = {"PATH=" + toolDir + ":/usr/bin:/bin"};
        return runProcess({"/bin/bash", scripts.file("renderUntilGood"), frames, "beauty.####.exr",
                           scripts.file(render), "frames:"},
                          options);
    }

    // What the render command was called with, a line each.
    std::string asked() const { return readFileBytes(dir.file("asked")); }

    TempDir dir;
    TempDir scripts;
};

}  // namespace

TEST_F(CheckJobScriptTest, RendersNothingWhenAllIsGood) {
    const ProcessResult result = run("1-9");
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(asked(), "");
}

TEST_F(CheckJobScriptTest, RendersBadAndMissingFrames) {
    fs::remove(frameFile(9));
    fs::resize_file(frameFile(4), 900);
    ASSERT_TRUE(writeFileBytes(frameFile(2), ""));
    const ProcessResult result = run("1-9");
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    EXPECT_EQ(result.out, "Rendering 2,4,9\n");
    EXPECT_EQ(asked(), "frames: 2,4,9\n");
}

TEST_F(CheckJobScriptTest, GivesUpAfterThreeTimes) {
    fs::remove(frameFile(5));
    command("useless", "echo \"$*\" >>asked");
    const ProcessResult result = run("1-9", "useless");
    EXPECT_EQ(result.exitCode, 1) << result.err;
    EXPECT_EQ(result.out, "Rendering 5\nRendering 5\nRendering 5\nStill not good: 5\n");
    EXPECT_EQ(asked(), "frames: 5\nframes: 5\nframes: 5\n");
}

TEST_F(CheckJobScriptTest, EndsWithTheRenderer) {
    fs::remove(frameFile(5));
    command("failing", "exit 77");
    const ProcessResult result = run("1-9", "failing");
    EXPECT_EQ(result.exitCode, 77);
    EXPECT_EQ(result.out, "Rendering 5\nThe renderer ended with 77.\n");
}

TEST_F(CheckJobScriptTest, RendersNothingWhenFramesCouldNotBeChecked) {
    fs::remove(frameFile(5));
    fs::create_symlink("nowhere.exr", frameFile(5));
    const ProcessResult result = run("1-9");
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_TRUE(contains(result.out, "Not all frames could be checked.\n")) << result.out;
    EXPECT_EQ(asked(), "");
}

TEST_F(CheckJobScriptTest, RendersTheBadFramesBesideUnknownOnesAndThenSaysSo) {
    fs::remove(frameFile(3));
    fs::remove(frameFile(5));
    fs::create_symlink("nowhere.exr", frameFile(5));
    EXPECT_EQ(run("1-9").exitCode, 3);
    EXPECT_EQ(asked(), "frames: 3\n");
}

TEST_F(CheckJobScriptTest, RendersNothingAfterAMistake) {
    const ProcessResult result = run("9-1");
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out, "The script has to be mended.\n");
    EXPECT_TRUE(contains(result.err, "--frames")) << result.err;
    EXPECT_EQ(asked(), "");
}

TEST_F(CheckJobScriptTest, EndsWithAnInterruptedOrAbsentCheck) {
    command("kxCheckFrames", "echo 1-9; exit 143");
    const ProcessResult interrupted = run("1-9", "render", scripts.path());
    EXPECT_EQ(interrupted.exitCode, 143);
    EXPECT_EQ(interrupted.out, "The check ended with 143.\n");
    EXPECT_EQ(run("1-9", "render", "/nowhere").exitCode, 127);
    EXPECT_EQ(asked(), "");
}
