// SPDX-License-Identifier: BSD-3-Clause
// scripts/verify as a process. Only the tests of build/release, the folder that the script builds in, run this: it
// must find all built and start nothing.
#include "tests/support/ToolTest.h"

namespace {

class VerifyScriptTest : public ToolTest {
protected:
    static ProcessResult script(const std::vector<std::string>& arguments, const ProcessOptions& options = {}) {
        std::vector<std::string> all{KX_PROJECT_DIR "/scripts/verify"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return runProcess(all, options);
    }
};

}  // namespace

TEST_F(VerifyScriptTest, PrintsWhatTheToolPrintsAndEndsWithItsExitCode) {
    frame("beauty.0001.exr");
    const std::vector<std::string> commandLines[] = {
        {dir.file("beauty.0001.exr"), "-showChannel"}, {dir.file("absent.0001.exr")}, {"no slash"}, {""}};
    for (const std::vector<std::string>& arguments : commandLines) {
        const ProcessResult expected = tool(arguments);
        const ProcessResult result = script(arguments);
        EXPECT_EQ(result.out, expected.out);
        EXPECT_EQ(result.exitCode, expected.exitCode) << result.err;
        EXPECT_NE(result.err.find(expected.err), std::string::npos) << result.err;
    }
    EXPECT_EQ(script({"no slash"}).exitCode, 1);
}

TEST_F(VerifyScriptTest, PassesArgumentsByteForByteAndKeepsTheWorkingDirectory) {
    const std::string name = "\xff b e 'a\"u$(t)y.0001.exr";
    frame(name);
    ProcessOptions options;
    options.workingDirectory = dir.path();
    const ProcessResult result = script({"./" + name}, options);
    EXPECT_EQ(result.out, toolBanner + foundSequence("1-1, 1", {"0001: " + plainFrame})) << result.err;
}

TEST_F(VerifyScriptTest, ShowsEachKindOfLineWithoutArgumentsAndLeavesNothingBehind) {
    ProcessOptions options;
    options.environment = {"TMPDIR=" + dir.path()};
    const ProcessResult result = script({}, options);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    for (const char* text : {"Found Sequence 1-8, 1\n", "=> DELETE (delete disabled)", "  deep", "  cropped",
                             "  2 parts", "tiled    ", "    : " /* the missing frame */}) {
        EXPECT_NE(result.out.find(text), std::string::npos) << text << "\n" << result.out;
    }
    EXPECT_EQ(dir.entries(), std::vector<std::string>());
}

TEST_F(VerifyScriptTest, StartsNothingWhenAllIsBuilt) {
    EXPECT_EQ(script({"no slash"}).err,
              "ninja: no work to do.\n\nUnable to split input filename into sequence name.\n\n");
}
