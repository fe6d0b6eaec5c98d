// SPDX-License-Identifier: BSD-3-Clause
// The scripts of examples/slurm on a real cluster of the test's own: what several tasks and a last job say of a
// sequence is what one run says, also when a task was killed, and bad frames are rendered again.
#include "check/kxCacheFolder.h"
#include "tests/support/CheckTest.h"
#include "tests/support/Documents.h"
#include "tests/support/Patterns.h"

#include <filesystem>
#include <limits>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

using Strings = std::vector<std::string>;

int countIn(const std::string& text, const std::string& pattern) {
    return static_cast<int>(allMatches(text, pattern).size());
}

class SlurmTest : public CheckTest {
protected:
    static std::string frameName(int number) {
        const std::string digits = std::to_string(number);
        return "beauty." + std::string(4 - digits.size(), '0') + digits + ".exr";
    }

    // The sound frame is kept as what a renderer would write.
    std::string spoiled(int number) {
        fs::copy_file(dir.file(frameName(number)), dir.file("sound/" + frameName(number)));
        return frameName(number);
    }

    void lose(int number) { fs::remove(dir.file(spoiled(number))); }
    void cutOff(int number) { cut(spoiled(number), fs::file_size(dir.file(frameName(number))) - 20); }
    void patch(int number, const SamplePatch& by) {
        SamplePart part = soundPart(number);
        part.patches = {by};
        frame(frameName(number), part);
    }

    // 400 frames, of which each of eight tasks gets 50; damage on and around the borders of their runs as well.
    void writeFrames() {
        fs::create_directory(dir.file("sound"));
        frames("beauty.", 1, 400);
        for (const int number : {17, 51, 190, 191, 192}) lose(number);
        for (const int number : {50, 160, 300, 400}) cutOff(number);
        bytes(spoiled(120), "Error: no licence\n");
        bytes(spoiled(350), "");
        fs::remove(dir.file(frameName(230)));
        fs::create_symlink("nowhere", dir.file(frameName(230)));
        patch(200, {"", {{0, 0}, {63, 35}}, 0});
        patch(351, {"G", {{20, 10}, {22, 10}}, std::numeric_limits<float>::quiet_NaN()});
        frame(frameName(101), soundPart(100));
        frame(frameName(275), soundPart(274));
    }

    void command(const std::string& name, const std::string& program) const {
        ASSERT_TRUE(writeFileBytes(dir.file(name), "#!/bin/bash\n" + program));
        ASSERT_EQ(chmod(dir.file(name).c_str(), 0755), 0);
    }

    // The name of the folder that the cache has for the sequence.
    std::string folderInCache() const {
        kxCheck::SequenceName sequence;
        sequence.path = "beauty.####.exr";
        sequence.prefix = "beauty.";
        sequence.suffix = ".exr";
        const fs::path old = fs::current_path();
        fs::current_path(dir.path());
        const std::string folder = kxCheck::cacheFolder("cache", sequence).toStdString();
        fs::current_path(old);
        return fs::path(folder).filename();
    }

    // The program as the jobs find it. In the fourth and the sixth task it never comes back from opening the
    // cache's folder for its 26th entry; the last job leaves in a file what it knows of each frame.
    void writeProgram() const {
        fs::create_directory(dir.file("bin"));
        fs::create_symlink(checkPath(), dir.file("program"));
        fs::create_symlink(KX_WATCHED_CALLS, dir.file("preload.so"));
        command("bin/kxCheckFrames", "faults='open " + folderInCache() + " hang 25 1'" + R"sh(
case $SLURM_ARRAY_TASK_ID in 3 | 5)
    echo $$ >"../process$SLURM_ARRAY_TASK_ID"
    exec env LD_PRELOAD="${PWD%/*}/preload.so" KX_FAULTS="$faults" KX_FAULT_LOG="../hung$SLURM_ARRAY_TASK_ID" ../program "$@"
esac
if [ "$SLURM_JOB_NAME" = check-all ] && [ ! -e ../last.json ]; then set -- --json ../last.json "$@"; fi
exec ../program "$@"
)sh");
    }

    // Submits the check in a folder whose name is none of Slurm's signs, kills the fourth task as the loss of its
    // node does, preempts the sixth, and waits until all jobs are done, those that render too.
    void writeCommands() const {
        writeProgram();
        command("render",
                "cd ..\necho \"$*\" >>asked\nsbatch --array=\"${2//x/:}\" --output=/dev/null renderFrame\n");
        command("renderFrame", "name=$(printf beauty.%04d.exr \"$SLURM_ARRAY_TASK_ID\")\ncp sound/$name $name\n");
        command("run", R"sh(set -euo pipefail
mkdir 50%j
cd 50%j
read -r array last <<<"$("$1" 8 ../cache ../page.html --frames 1-400 ../beauty.####.exr -- ../render 'shot 10')"
cd ..
until grep -qs open hung3 && grep -qs open hung5; do [ $SECONDS -lt 500 ]; sleep 0.05; done
ls cache/* >kept
kill -KILL -- "-$(cat process3)"
scancel "${array}_5"
until jobs=$(squeue --noheader) && [ -z "$jobs" ]; do sleep 0.1; done
scontrol show job "$last" >ended
mv "50%j/check-all-$last.out" verdict
mv "50%j/check-all-$last.err" said
mv "50%j/check-chunk-${array}_3.out" killed
mv "50%j/check-chunk-${array}_5.out" preempted
cat 50%j/check-chunk-*.out >chunks
)sh");
    }

    ProcessResult runOnCluster() const {
        ProcessOptions options;
        options.workingDirectory = dir.path();
        options.environment = {"PATH=" + dir.file("bin") + ":/usr/bin:/bin",
                               "SBATCH_JOB_NAME=other",
                               "SBATCH_OUTPUT=/dev/null",
                               "SBATCH_ERROR=/dev/null",
                               "SBATCH_REQUEUE=1",
                               "KX_SBATCH_OPTIONS=--comment=checks --cpus-per-task=1"};
        options.secondsToLive = 800;
        const std::string cluster = (projectDir() / "tests/support/slurmCluster").string();
        const std::string submit = (projectDir() / "examples/slurm/submitCheck").string();
        return runProcess({KX_END_WITH_ALL, "timeout", "780", cluster, state_.path(), "./run", submit}, options);
    }

    std::string left(const char* file) const { return readFileBytes(dir.file(file)); }

private:
    TempDir state_;
};

}  // namespace

TEST_F(SlurmTest, TasksAndALastJobSayWhatOneRunSaysAndBadFramesAreRenderedAgain) {
    writeFrames();
    const ProcessResult oneRun = check({"--frames", "1-400", "beauty.####.exr"});
    ASSERT_EQ(oneRun.exitCode, 1);
    writeCommands();
    const ProcessResult result = runOnCluster();
    if (result.exitCode == 77) GTEST_SKIP() << result.err;
    ASSERT_EQ(result.exitCode, 0) << result.out << result.err;

    EXPECT_EQ(withoutSeconds(left("verdict")), "../" + withoutSeconds(oneRun.out));
    for (const char* property : {"ExitCode=1:0", "Requeue=0", "Comment=checks"})
        EXPECT_TRUE(contains(left("ended"), property)) << left("ended");
    EXPECT_TRUE(contains(left("page.html"), "16 of 400 frames are not good")) << left("page.html").substr(0, 3000);

    EXPECT_EQ(countIn(left("chunks"), "\ntotal 50: "), 6) << left("chunks");
    EXPECT_FALSE(contains(left("killed"), "total")) << left("killed");
    EXPECT_TRUE(contains(left("preempted"), "total")) << left("preempted");
    EXPECT_FALSE(contains(left("preempted"), "total 50")) << left("preempted");
    // Tasks keep what they read beside their run too, and the last job had to decode the rest.
    const int keptOfKilled = countIn(left("kept"), "\n01(5[1-9]|[6-9].)\\.kxc|\n0200\\.kxc");
    const int keptOfPreempted = countIn(left("kept"), "\n02(5[1-9]|[6-9].)\\.kxc|\n0300\\.kxc");
    for (const int kept : {keptOfKilled, keptOfPreempted}) {
        EXPECT_GE(kept, 20);
        EXPECT_LE(kept, 30);
    }
    const int cached = countIn(left("last.json"), "\"cached\":true");
    EXPECT_GE(cached, 290 + keptOfKilled + keptOfPreempted);
    EXPECT_LE(cached, 300 + keptOfKilled + keptOfPreempted);

    EXPECT_EQ(left("asked"), "shot 10 17,50-51,120,160,190-192,300-400x50\n");
    EXPECT_TRUE(contains(left("said"), "Rendering 17,50-51,")) << left("said");
    const ProcessResult after = check({"--frames", "1-400", "--cache", "cache", "beauty.####.exr"});
    EXPECT_EQ(after.exitCode, 3) << after.out;
    EXPECT_TRUE(contains(after.out, ", 1 unknown (230), ")) << after.out;
}
