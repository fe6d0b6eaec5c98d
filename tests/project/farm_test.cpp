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

    // In place of the programs of the same name, those of Slurm too. "kxCheckFrames" can call the real one,
    // "$program".
    void programInPath(const std::string& name, const std::string& program) const {
        fs::remove(dir.file("bin/" + name));
        command("bin/" + name, "program='" + checkPath() + "'\n" + program);
    }

    // The run of kxCheckFrames with this option never comes back from opening the third frame, and its job is
    // stopped then: every process is told to end, as Slurm does. When it comes to no such run, or that ends before,
    // it says so.
    void stopTheRunWith(const std::string& option) const {
        fs::create_symlink(KX_WATCHED_CALLS, dir.file("preload.so"));
        programInPath("kxCheckFrames", "[[ $* == *" + option + R"(* ]] || exec "$program" "$@"
(until grep -qs open hung; do kill -0 $$ 2>/dev/null || exit; sleep 0.01; done; kill -TERM 0) &
exec env LD_PRELOAD="$PWD/preload.so" KX_FAULTS='open a.0003.exr hang 0 0' KX_FAULT_LOG="$PWD/hung" "$program" "$@")");
    }

    // Of a task of an array of so many; its processes are those of a group.
    ProcessResult run(const std::string& script, const Strings& arguments, int task = 0, int tasks = 1) const {
        ProcessOptions options;
        options.workingDirectory = dir.file(folder);
        options.environment = {"PATH=" + dir.file("bin") + ":/usr/bin:/bin", "SLURM_CPUS_ON_NODE=1",
                               "SLURM_ARRAY_TASK_ID=" + std::to_string(task),
                               "SLURM_ARRAY_TASK_COUNT=" + std::to_string(tasks)};
        options.environment.insert(options.environment.end(), environment.begin(), environment.end());
        Strings all{"/usr/bin/setsid", "--wait", (projectDir() / "examples/slurm" / script).string()};
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

    // What sbatch was given for each job, then the outcome; there is no Slurm. Paths of the jobs are written
    // "JOBS/", those of the directory "DIR/".
    std::string submitted(const std::string& sbatch) const {
        const std::string jobsFile = dir.file("jobs");
        programInPath("sbatch", "cd '" + dir.path() + "'\nprintf '<%s>' \"$@\" >>jobs; echo >>jobs\n" + sbatch);
        programInPath("scancel", "echo \"scancel $*\" >>" + jobsFile);
        const ProcessResult result =
            run("submitCheck", {"3", "cache", "page.html", "a.0001.exr", "--", "./render"});
        std::string jobs = readFileBytes(jobsFile) + described(result);
        replaceAll(jobs, (projectDir() / "examples/slurm/").string(), "JOBS/");
        replaceAll(jobs, fs::canonical(dir.path()).string() + "/", "DIR/");
        return jobs;
    }

    static void replaceAll(std::string& text, const std::string& old, const std::string& by) {
        for (std::size_t at; (at = text.find(old)) != std::string::npos;) text.replace(at, old.size(), by);
    }

    int cachedFrames(const Strings& arguments) const {
        Strings all{"--cache", "cache", "--json", "-"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return static_cast<int>(textsBetween("\"cached\":", ",", check(all).out).size());
    }

    Strings environment;  // of the jobs, "NAME=value"
    std::string folder;   // in the test's directory, where they are submitted and run; empty: that itself
};

const std::string arrayJob = "<--parsable><--output=DIR/%x-%A_%a.out>";
const std::string lastJobOfArray = "<--parsable><--output=DIR/%x-%j.out><--error=DIR/%x-%j.err>";

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
        {{"2", "cache", "page.html", "--cache", "other", "a.0001.exr"}, "--cache is given by the jobs"},
        {{"2", "cache", "page.html", "a.0001.exr", "--chunk=1/2"}, "--chunk=1/2 is given by the jobs"},
        {{"2", "cache", "page.html", "--report", "other.html", "a.0001.exr"}, "--report is given by the jobs"},
        {{"2", "cache", "page.html", "--jobs=4", "a.0001.exr"}, "--jobs=4 is given by the jobs"},
        {{"2", "cache", "page.html", "-j4", "a.0001.exr"}, "-j4 is given by the jobs"},
        {{"2", "cache", "page.html", "-vj4", "a.0001.exr"}, "-vj4 is given by the jobs"},
        {{"2", "cache", "page.html", "a.0001.exr", "--help"}, "--help checks nothing"},
        {{"2", "cache", "page.html", "a.0001.exr", "-h"}, "-h checks nothing"},
        {{"2", "cache", "page.html", "--version", "a.0001.exr"}, "--version checks nothing"},
        {{"2", "cache", "page.html", "--json=-", "a.0001.exr"}, "--json=- can't be shared"},
        {{"2", "cache", "page.html", "--follow", "a.0001.exr"}, "--follow is for one run beside the render"},
        {{"2", "cache", "page.html", "--timeout=9", "a.0001.exr"}, "--timeout=9 is for one run"},
        {{"2", "cache", "absent/page.html", "a.0001.exr"}, "the page 'absent/page.html' can't be written"},
        {{"2", "cache", "bin", "a.0001.exr"}, "the page 'bin' can't be written"},
        {{"2", "absent/cache", "page.html", "a.0001.exr"}, "there is no folder for the cache 'absent/cache'"},
    };
    for (const auto& c : cases) {
        const ProcessResult result = run("submitCheck", c.arguments);
        EXPECT_EQ(result.exitCode, 2) << c.said;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err.rfind(std::string("submitCheck: ") + c.said, 0), 0U) << result.err;
    }
}

TEST_F(FarmTest, TheLastJobGoesToTheClusterOfTheArray) {
    EXPECT_EQ(submitted("echo \"$(wc -l <jobs);blue\""),
              arrayJob + "<--array=0-2><JOBS/checkChunk><cache><a.0001.exr>\n" + lastJobOfArray +
                  "<--clusters=blue><--dependency=afterany:1><JOBS/checkAll><cache><page.html><1><./render>"
                  "<a.0001.exr>\n1 2 blue\nexit 0");
}

// It begins the name or number of a job.
TEST_F(FarmTest, APercentSignInTheirPathIsNothingElseForSlurm) {
    folder = "50%j";
    fs::create_directory(dir.file(folder));
    EXPECT_EQ(submitted("wc -l <jobs"),
              "<--parsable><--output=DIR/50%%j/%x-%A_%a.out><--array=0-2><JOBS/checkChunk><cache><a.0001.exr>\n"
              "<--parsable><--output=DIR/50%%j/%x-%j.out><--error=DIR/50%%j/%x-%j.err><--dependency=afterany:1>"
              "<JOBS/checkAll><cache><page.html><1><./render><a.0001.exr>\n1 2\nexit 0");
}

TEST_F(FarmTest, NothingIsSubmittedWhereSlurmCanWriteNoOutput) {
    folder = "a\\b";
    fs::create_directory(dir.file(folder));
    const std::string outcome = submitted("echo 1");
    EXPECT_EQ(outcome.rfind("2> submitCheck: Slurm takes no output in 'DIR/a\\b', ", 0), 0U) << outcome;
    EXPECT_EQ(outcome.substr(outcome.find('\n')), "\nexit 2") << outcome;
}

TEST_F(FarmTest, OptionsForSlurmAreThoseOfBothJobs) {
    environment = {"KX_SBATCH_OPTIONS=--cpus-per-task=4  --qos low"};
    EXPECT_EQ(submitted("wc -l <jobs"),
              arrayJob + "<--cpus-per-task=4><--qos><low><--array=0-2><JOBS/checkChunk><cache><a.0001.exr>\n" +
                  lastJobOfArray +
                  "<--cpus-per-task=4><--qos><low><--dependency=afterany:1><JOBS/checkAll><cache><page.html><1>"
                  "<./render><a.0001.exr>\n1 2\nexit 0");
}

TEST_F(FarmTest, TheArrayIsTakenBackWhenTheLastJobIsRefused) {
    const std::string array = arrayJob + "<--array=0-2><JOBS/checkChunk><cache><a.0001.exr>\n";
    EXPECT_EQ(submitted("echo refused >&2; exit 3"), array + "2> refused\nexit 3");
    fs::remove(dir.file("jobs"));
    EXPECT_EQ(submitted("[ $3 = --array=0-2 ] && echo '17;blue'"),
              array + lastJobOfArray +
                  "<--clusters=blue><--dependency=afterany:17><JOBS/checkAll><cache><page.html><1>"
                  "<./render><a.0001.exr>\nscancel --clusters=blue 17\nexit 1");
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

TEST_F(FarmTest, TheRenderCommandGetsNoProgressBar) {
    frames("a.", 1, 3);
    const std::string last = lastJob({"a.####.exr", "--frames", "1-4", "--progress", "always"});
    EXPECT_TRUE(contains(last, "exit 1; asked <shot><4>")) << last;
}

TEST_F(FarmTest, TheLastJobRendersNothingWhenAStrictCheckFindsSuspiciousFramesAlone) {
    frames("a.", 1, 5);
    SamplePart unlike = soundPart(2);
    unlike.compression = Imf::RLE_COMPRESSION;
    frame("a.0002.exr", unlike);
    const std::string last = lastJob({"--level", "headers", "--strict", "a.####.exr"});
    EXPECT_TRUE(contains(last, "total 5: 4 good, 1 suspicious (2), N s\nexit 1; asked ")) << last;
    EXPECT_FALSE(entryExists(dir.file("asked")));
}

TEST_F(FarmTest, TheLastJobSaysWhenTheListCouldNotBeMade) {
    frames("a.", 1, 3);
    programInPath("kxCheckFrames", "[[ $* == *--list* ]] && kill -TERM $$\nexec \"$program\" \"$@\"");
    EXPECT_EQ(lastJob({"a.####.exr", "--frames", "1-4"}),
              "a.####.exr  1-4  64x36  4 channels half  zip\n0004  missing\ntotal 4: 3 good, 1 missing (4), N s\n"
              "2> The list ended with 143, nothing is rendered.\nexit 1; asked ");
}

TEST_F(FarmTest, TheRenderCommandSeesNoVariablesForTheSbatchOfTheCheck) {
    frames("a.", 1, 3);
    environment = {"SBATCH_PARTITION=checks", "SBATCH_TIMELIMIT=5"};
    command("render", "echo \"${!SBATCH_@}\" >asked");
    const std::string last = lastJob({"a.####.exr", "--frames", "1-4"});
    EXPECT_TRUE(contains(last, "2> Rendering 4\nexit 1; asked \n")) << last;
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
    EXPECT_TRUE(contains(several, "2> These are several sequences, nothing is rendered: submit each by itself.\n"))
        << several;
    EXPECT_TRUE(contains(several, "\nexit 1; asked ")) << several;
    EXPECT_FALSE(entryExists(dir.file("asked")));
}

TEST_F(FarmTest, TheLastJobLeavesSummaryAndPageWhenItIsStopped) {
    frames("a.", 1, 4);
    bytes("a.0001.exr", "");
    stopTheRunWith("--report");
    EXPECT_EQ(lastJob({"a.####.exr"}),
              "a.####.exr  1-4  64x36  4 channels half  zip\ntotal 0: N s\nexit 143; asked ");
    const std::string page = readFileBytes(dir.file("page.html"));
    EXPECT_TRUE(contains(page, "Interrupted.")) << page.substr(0, 3000);
    EXPECT_FALSE(entryExists(dir.file("asked")));
}

TEST_F(FarmTest, TheLastJobRendersNothingWhenItIsStoppedBeforeItsListIsMade) {
    frames("a.", 1, 4);
    bytes("a.0001.exr", "");
    stopTheRunWith("--list");
    EXPECT_EQ(lastJob({"a.####.exr"}),
              "a.####.exr  1-4  64x36  4 channels half  zip\n0001  bad         empty: the file is empty\n"
              "total 4: 3 good, 1 bad (1), N s\nexit 143; asked ");
    EXPECT_FALSE(entryExists(dir.file("asked")));
}

// A bad frame hides in the exit code that an argument gave no sequence.
TEST_F(FarmTest, TheLastJobRendersNothingWhenAnArgumentGaveNoSequence) {
    frames("a.", 1, 3);
    fs::create_directory(dir.file("empty"));
    for (const Strings& arguments : {Strings{"nodir/b.####.exr", "a.####.exr"}, Strings{"a.####.exr", "empty"}}) {
        Strings all{"--level", "headers", "--frames", "1-4"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        const std::string last = lastJob(all);
        EXPECT_TRUE(contains(last, "2> Not all is known, nothing is rendered: ")) << last;
        EXPECT_TRUE(contains(last, "\nexit 1; asked ")) << last;
    }
    EXPECT_FALSE(entryExists(dir.file("asked")));
}

TEST_F(FarmTest, TheLastJobRendersAlsoWithoutACache) {
    frames("a.", 1, 3);
    bytes("cache", "no folder");
    const std::string last = lastJob({"--frames", "1-4", "a.####.exr"});
    EXPECT_TRUE(contains(last, "2> kxCheckFrames: no cache in cache: ")) << last;
    EXPECT_TRUE(contains(last, "2> Rendering 4\nexit 1; asked <shot><4>")) << last;
    fs::remove(dir.file("cache"));
    programInPath(
        "kxCheckFrames",
        "echo 'kxCheckFrames: a.0001.exr is not kept in cache: No space left' >&2; exec \"$program\" \"$@\"");
    EXPECT_TRUE(contains(lastJob({"--frames", "1-4", "a.####.exr"}), "2> Rendering 4\nexit 1; asked <shot><4>"));
}

TEST_F(FarmTest, WithoutARenderCommandTheLastJobGivesTheVerdictAlone) {
    frames("a.", 1, 3);
    fs::remove(dir.file("a.0002.exr"));
    EXPECT_EQ(described(run("checkAll", {"cache", "page.html", "0", "--frames", "1-3", "a.####.exr"})),
              "a.####.exr  1-3  64x36  4 channels half  zip\n0002  missing\ntotal 3: 2 good, 1 missing (2), N s\n"
              "exit 1");
}

// The frames are as young as a renderer leaves them, and the hooks run side by side.
TEST_F(FarmTest, WhatHooksDecodedIsFoundByTheLastTask) {
    std::string hook = textsBetween("\n    sleep", "\n", document("docs/farm.md")).at(0);
    const std::string cache = "/shots/.checks";
    ASSERT_TRUE(contains(hook, "--cache " + cache + " "));
    hook.replace(hook.find(cache), cache.size(), "cache");
    programInPath("hooks", R"(touch a.*.exr
FILE='a.####.exr'
for FRAMES in 1-10 11-19x2,12 14,16,18 20; do
    (
        sleep)" + hook + R"(
        echo "$FRAMES: $?" >>ended
    ) >/dev/null &
done
wait)");
    frames("a.", 1, 20);
    cut("a.0007.exr", 100);
    ProcessOptions options;
    options.workingDirectory = dir.path();
    options.environment = {"PATH=" + dir.file("bin") + ":/usr/bin:/bin"};
    EXPECT_EQ(described(runProcess({dir.file("bin/hooks")}, options)), "exit 0");
    const std::string ended = readFileBytes(dir.file("ended"));
    for (const char* line : {"1-10: 1\n", "11-19x2,12: 0\n", "14,16,18: 0\n", "20: 0\n"})
        EXPECT_TRUE(contains(ended, line)) << ended;
    EXPECT_EQ(cachedFrames({"--frames", "1-20", "a.####.exr"}), 19);
}
