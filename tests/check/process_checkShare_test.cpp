// SPDX-License-Identifier: BSD-3-Clause
// A file of a share that never answers costs that frame its verdict, and delays no other.
#include "tests/support/CheckTest.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace {

class CheckShareTest : public CheckTest {
protected:
    void SetUp() override {
        if (std::string(KX_HANGING_FOLDER).empty()) GTEST_SKIP() << "built without libfuse";
        if (!fs::exists("/dev/fuse")) GTEST_SKIP() << "no /dev/fuse";
        fs::create_directory(dir.file("share"));
        fs::create_directory(dir.file("frames"));
        if (onShare("none", "open", "exit 0", {}).exitCode != 0) GTEST_SKIP() << "this user mounts nothing here";
        frames("frames/a.", 1, 5);
    }

    // Runs a script where "share" shows "frames", of which `file` hangs in `call`. $share is the share's process.
    ProcessResult onShare(const std::string& file, const std::string& call, const std::string& script,
                          const std::vector<std::string>& arguments) const {
        const std::string mounted = "\"" KX_HANGING_FOLDER "\" \"$PWD/frames\" \"$PWD/share\" " + file + " " +
                                    call + " >opened 2>/dev/null & share=$!\n" +
                                    "until grep -qs \" $PWD/share fuse\" /proc/self/mounts; do kill -0 $share || "
                                    "exit 1; sleep 0.02; done\n" +
                                    "trap 'kill -KILL $share' EXIT\n" + script;
        ProcessOptions options;
        options.workingDirectory = dir.path();
        std::vector<std::string> all = {"/usr/bin/unshare", "--mount", "/bin/bash", "-c", mounted, checkPath()};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return runProcess(all, options);
    }
};

}  // namespace

TEST_F(CheckShareTest, AFileThatNeverAnswersCostsItsFrameTheTimeLimit) {
    for (const char* const call : {"open", "read"})
        for (const char* const jobs : {"1", "3"})
            EXPECT_EQ(described(onShare("a.0003.exr", call, "\"$0\" \"$@\"",
                                        {"-j", jobs, "--time-limit", "3", "--delete", "share/a.####.exr"})),
                      "share/a.####.exr  1-5  64x36  4 channels half  zip\n"
                      "0003  unknown     limit: the time limit of 3 seconds was reached\n"
                      "total 5: 4 good, 1 unknown (3), N s\nexit 3")
                << call << jobs;
    EXPECT_TRUE(entryExists(dir.file("frames/a.0003.exr")));
}

// In both passes all others are done while the run waits for the one, and still it can be interrupted.
TEST_F(CheckShareTest, AFileThatNeverAnswersDelaysNoOtherOfItsPass) {
    const struct {
        const char* call;
        const char* othersAreDone;
    } cases[] = {
        {"open", "[ $(sort -u opened | wc -l) = 5 ]"},
        {"reopen", "[ $(ls cache/*/*.kxc 2>/dev/null | wc -l) = 4 ]"},
    };
    for (const auto& c : cases) {
        const std::string script = std::string("set -m; \"$0\" \"$@\" & run=$!; until ") + c.othersAreDone +
                                   "; do sleep 0.02; done\n" + "kill -INT $run; wait $run";
        const ProcessResult result =
            onShare("a.0003.exr", c.call, script,
                    {"-j", "2", "--time-limit", "1000", "--cache", "cache", "share/a.####.exr"});
        EXPECT_EQ(result.exitCode, 130) << c.call << result.err;
    }
}
