// SPDX-License-Identifier: BSD-3-Clause
// scripts/verify and scripts/check as processes. Only the tests of build/release, the folder that the scripts build
// in, run this: they must find all built and start nothing.
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

namespace {

class CheckScriptTest : public ::testing::Test {
protected:
    ProcessResult run(const std::string& program, const std::vector<std::string>& arguments) const {
        std::vector<std::string> all{program};
        all.insert(all.end(), arguments.begin(), arguments.end());
        ProcessOptions options;
        options.workingDirectory = dir.path();
        options.environment = {"TMPDIR=" + temporary.path()};
        return runProcess(all, options);
    }
    ProcessResult script(const std::vector<std::string>& arguments) const {
        return run(KX_PROJECT_DIR "/scripts/check", arguments);
    }

    TempDir dir;
    TempDir temporary;
};

}  // namespace

TEST_F(CheckScriptTest, PrintsWhatTheProgramPrintsAndEndsWithItsExitCode) {
    const std::string good = "b e'a\"u$(t)y.0001.exr";
    writeSampleFile(dir.file(good), {SamplePart()});
    ASSERT_TRUE(writeFileBytes(dir.file("bad.0001.exr"), "no frame"));
    int exitCode = 0;
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--list", "good", good},
                                                      {"--list=bad", "bad.####.exr"},
                                                      {"--unknown"},
                                                      {"absent.0001.exr"}}) {
        const ProcessResult expected = run(KX_CHECK_FRAMES, arguments);
        const ProcessResult result = script(arguments);
        EXPECT_EQ(result.out, expected.out);
        EXPECT_EQ(result.err, "ninja: no work to do.\n" + expected.err);
        EXPECT_EQ(result.exitCode, expected.exitCode);
        EXPECT_EQ(result.exitCode, exitCode++) << arguments.back();
    }
}

TEST_F(CheckScriptTest, ShowsTheFindingsWithoutArgumentsAndLeavesNothingBehind) {
    const ProcessResult result = script({});
    EXPECT_EQ(result.exitCode, 1) << result.err;
    for (const char* finding : {"missing",        "unreadable: ",
                                "unsupported: ",  "empty: ",
                                "not-exr: ",      "header: ",
                                "modes: ",        "expected: ",
                                "differs: ",      "differs-coding: ",
                                "size-jump: ",    "unfinished: ",
                                "truncated: ",    "chunk: ",
                                "tile-missing: ", "nan: ",
                                "inf: ",          "black: ",
                                "flat: ",         "repeated: ",
                                "jump: ",         "\ntotal 65: 44 good"}) {
        EXPECT_NE(result.out.find(finding), std::string::npos) << finding << "\n" << result.out;
    }
    EXPECT_EQ(dir.entries(), std::vector<std::string>());
    EXPECT_EQ(temporary.entries(), std::vector<std::string>());
}
