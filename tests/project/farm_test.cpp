// SPDX-License-Identifier: BSD-3-Clause
// The jobs of examples/slurm, each as Slurm starts it but without Slurm, and what docs/farm.md says of hooks.
#include "tests/support/CheckTest.h"
#include "tests/support/Documents.h"

#include <filesystem>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

using Strings = std::vector<std::string>;

class FarmTest : public CheckTest {
protected:
    void SetUp() override {
        fs::create_directory(dir.file("bin"));
        fs::create_symlink(checkPath(), dir.file("bin/kxCheckFrames"));
        command("render", "printf '<%s>' \"$@\" >>asked");
    }

    void command(const std::string& name, const std::string& program) const {
        ASSERT_TRUE(writeFileBytes(dir.file(name), "#!/bin/bash\n" + program + "\n"));
        ASSERT_EQ(chmod(dir.file(name).c_str(), 0755), 0);
    }

    // Of a task of an array of so many.
    ProcessResult run(const std::string& script, const Strings& arguments, int task = 0, int tasks = 1) const {
        ProcessOptions options;
        options.workingDirectory = dir.path();
        options.environment = {"PATH=" + dir.file("bin") + ":/usr/bin:/bin", "SLURM_CPUS_ON_NODE=1",
                               "SLURM_ARRAY_TASK_ID=" + std::to_string(task),
                               "SLURM_ARRAY_TASK_COUNT=" + std::to_string(tasks)};
        Strings all{(projectDir() / "examples/slurm" / script).string()};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return runProcess(all, options);
    }

    // The outcome of a last job that renders with the command "render shot"; then what the command was given.
    std::string lastJob(const Strings& arguments) const {
        Strings all{"cache", "page.html", "2", "./render", "shot"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        const std::string outcome = described(run("checkAll", all));
        return outcome + "; asked " + readFileBytes(dir.file("asked"));
    }

    int cachedFrames(const Strings& arguments) const {
        Strings all{"--cache", "cache", "--json", "-"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return static_cast<int>(textsBetween("\"cached\":", ",", check(all).out).size());
    }
};

}  // namespace

TEST_F(FarmTest, MistakesAreSaidBeforeAnythingIsSubmitted) {
    const struct {
        Strings arguments;
        const char* said;
    } cases[] = {
        {{}, "wanted: <tasks>"},
        {{"2", "cache", "page.html"}, "wanted: <tasks>"},
        {{"0", "cache", "page.html", "a.0001.exr"}, "'0' is no number of tasks"},
        {{"x", "cache", "page.html", "a.0001.exr"}, "'x' is no number of tasks"},
        {{"2", "cache", "page.html", "--", "render"}, "no frame is named"},
        {{"2", "cache", "page.html", "--delete", "a.0001.exr"}, "--delete can't be shared by several jobs"},
        {{"2", "cache", "page.html", "--move-to=bad", "a.0001.exr"}, "--move-to=bad can't be shared"},
        {{"2", "cache", "page.html", "--list", "bad", "a.0001.exr"}, "--list is given by the jobs themselves"},
    };
    for (const auto& c : cases) {
        const ProcessResult result = run("submitCheck", c.arguments);
        EXPECT_EQ(result.exitCode, 2) << c.said;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err.rfind(std::string("submitCheck: ") + c.said, 0), 0U) << result.err;
    }
}

TEST_F(FarmTest, TasksCheckTheirRunsAndMayHaveNone) {
    frames("a.", 1, 3);
    const Strings arguments = {"cache", "--frames", "1-3", "-v", "a.####.exr"};
    int framesOfTasks = 0;
    for (int task = 0; task < 8; ++task) {
        const ProcessResult result = run("checkChunk", arguments, task, 8);
        EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
        EXPECT_EQ(result.err, "");
        framesOfTasks += static_cast<int>(textsBetween("  good", "\n", result.out).size());
    }
    EXPECT_EQ(framesOfTasks, 3);
    EXPECT_EQ(cachedFrames({"--frames", "1-3", "a.####.exr"}), 3);
}

TEST_F(FarmTest, TheLastJobRendersWhatIsBadOrMissing) {
    frames("a.", 1, 3);
    EXPECT_EQ(lastJob({"a.####.exr"}),
              "a.####.exr  1-3  64x36  4 channels half  zip\ntotal 3: 3 good, N s\nexit 0; asked ");
    fs::remove(dir.file("a.0002.exr"));
    EXPECT_EQ(lastJob({"a.####.exr", "--frames", "1-3"}),
              "a.####.exr  1-3  64x36  4 channels half  zip\n0002  missing\ntotal 3: 2 good, 1 missing (2), N s\n"
              "2> Rendering 2\nexit 1; asked <shot><2>");
    EXPECT_TRUE(entryExists(dir.file("page.html")));
}

TEST_F(FarmTest, TheLastJobSaysWhenTheRenderCommandFailed) {
    frames("a.", 1, 3);
    fs::remove(dir.file("a.0002.exr"));
    command("render", "echo busy; exit 7");
    EXPECT_EQ(lastJob({"a.####.exr", "--frames", "1-3"}),
              "a.####.exr  1-3  64x36  4 channels half  zip\n0002  missing\ntotal 3: 2 good, 1 missing (2), N s\n"
              "2> Rendering 2\n2> busy\n2> The render command ended with 7.\nexit 1; asked ");
}

TEST_F(FarmTest, TheLastJobRendersNothingOfSeveralSequencesOrUnknownFramesOrAfterAMistake) {
    frames("a.", 1, 3);
    fs::create_symlink("nowhere", dir.file("a.0004.exr"));
    EXPECT_EQ(lastJob({"a.####.exr"}),
              "a.####.exr  1-4  64x36  4 channels half  zip\n0004  unknown     unreadable: the link leads nowhere\n"
              "total 4: 3 good, 1 unknown (4), N s\nexit 3; asked ");
    EXPECT_EQ(lastJob({"--frames", "3-1", "a.####.exr"}).rfind("2> kxCheckFrames: --frames", 0), 0U);
    bytes("b.0001.exr", "");
    const std::string several = lastJob({"--level", "headers", "a.####.exr", "b.####.exr"});
    EXPECT_TRUE(contains(several, "2> These are several sequences, nothing is rendered.\nexit 1; asked "))
        << several;
    EXPECT_FALSE(entryExists(dir.file("asked")));
}

TEST_F(FarmTest, WithoutARenderCommandTheLastJobGivesTheVerdictAlone) {
    frames("a.", 1, 3);
    fs::remove(dir.file("a.0002.exr"));
    EXPECT_EQ(described(run("checkAll", {"cache", "page.html", "0", "--frames", "1-3", "a.####.exr"})),
              "a.####.exr  1-3  64x36  4 channels half  zip\n0002  missing\ntotal 3: 2 good, 1 missing (2), N s\n"
              "exit 1");
}

TEST_F(FarmTest, WhatHooksDecodedIsFoundByTheLastTask) {
    frames("a.", 1, 20);
    cut("a.0007.exr", 100);
    for (const char* list : {"1-10", "11-19x2,12", "14,16,18", "20"}) {
        const bool isBad = std::string(list) == "1-10";
        const ProcessResult hook = check({"--min-age", "0", "--cache", "cache", "--frames", list, "a.####.exr"});
        EXPECT_EQ(hook.exitCode, isBad ? 1 : 0) << hook.out;
    }
    EXPECT_EQ(cachedFrames({"--frames", "1-20", "a.####.exr"}), 19);
}
