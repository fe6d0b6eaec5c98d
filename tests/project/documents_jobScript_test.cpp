// SPDX-License-Identifier: BSD-3-Clause
// The job script of docs/kxVerifyExrModes.md, taken from there and run: it succeeds only when every frame of its
// range is there and good.
#include "tests/support/Documents.h"
#include "tests/support/ToolTest.h"

#include <sys/stat.h>

namespace {

constexpr int framesPerTask = 100;

class JobScriptTest : public ToolTest {
protected:
    void SetUp() override {
        script = scripts.file("verifyChunk");
        ASSERT_TRUE(writeFileBytes(script, blockAfter(document("docs/kxVerifyExrModes.md"), "```bash")));
        writeSampleFile(good, {samplePartOf({"A", "B", "G", "R", "Z"})});
        writeSampleFile(flat, {SamplePart()});
    }

    static std::string nameOf(int number) {
        const std::string digits = std::to_string(number);
        return "beauty." + std::string(4 - digits.size(), '0') + digits + ".exr";
    }

    void copy(const std::string& source, int number) const {
        std::filesystem::copy_file(source, dir.file(nameOf(number)),
                                   std::filesystem::copy_options::overwrite_existing);
    }

    void writeTask(int task) const {
        for (int i = 1; i <= framesPerTask; ++i) copy(good, task * framesPerTask + i);
    }

    void remove(int number) const { std::filesystem::remove(dir.file(nameOf(number))); }

    // Runs the script with the tool of `toolDir` first in its search path.
    ProcessResult run(const std::vector<std::string>& arguments, const std::string& toolDir) const {
        std::vector<std::string> all{"/bin/bash", script};
        all.insert(all.end(), arguments.begin(), arguments.end());
        ProcessOptions options;
        options.environment = {"PATH=" + toolDir + ":/usr/bin:/bin"};
        return runProcess(all, options);
    }

    ProcessResult run(const std::string& task) const {
        return run({dir.file(nameOf(1)), task}, std::filesystem::path(toolPath()).parent_path().string());
    }

    // Expects a failure that names these frames, below all that the tool said.
    void expectFailure(const std::string& task, const std::vector<int>& frames, const std::string& said) const {
        const ProcessResult result = run(task);
        EXPECT_EQ(result.exitCode, 1) << result.out;
        EXPECT_EQ(result.err, "");
        EXPECT_TRUE(contains(result.out, toolBanner)) << result.out;
        EXPECT_TRUE(contains(result.out, said)) << result.out;
        std::vector<std::string> expected;
        for (const int number : frames) expected.push_back(std::to_string(number));
        EXPECT_EQ(textsBetween("No good frame ", "\n", result.out), expected);
    }

    // A program in the tool's place.
    ProcessResult runInstead(const std::string& program) const {
        const std::string path = scripts.file("kxVerifyExrModes");
        EXPECT_TRUE(writeFileBytes(path, "#!/bin/bash\n" + program + "\n"));
        EXPECT_EQ(chmod(path.c_str(), 0755), 0);
        return run({dir.file(nameOf(1)), "0"}, scripts.path());
    }

    TempDir scripts;
    std::string script;
    std::string good = scripts.file("good.exr");
    std::string flat = scripts.file("flat.exr");  // too few channels
};

std::vector<int> numbersFrom(int first, int last) {
    std::vector<int> numbers;
    for (int i = first; i <= last; ++i) numbers.push_back(i);
    return numbers;
}

}  // namespace

TEST_F(JobScriptTest, PassesTheWholeRangeOfATask) {
    writeTask(0);
    writeTask(1);
    copy(flat, 201);  // another task's
    for (const char* task : {"0", "1", "01"}) {
        const ProcessResult result = run(task);
        EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
        EXPECT_EQ(result.err, "");
        EXPECT_TRUE(contains(
            result.out, task == std::string("0") ? "Found Sequence 1-100, 1\n" : "Found Sequence 101-200, 1\n"));
        EXPECT_FALSE(contains(result.out, "No good frame"));
    }
    EXPECT_EQ(dir.entries().size(), 201U);
}

TEST_F(JobScriptTest, FailsForAFrameThatWasDeletedAndNotRenderedAgain) {
    for (const int number : {1, 50, 100}) {
        writeTask(0);
        copy(flat, number);
        expectFailure("0", {number}, "   => DELETE\n");
        EXPECT_FALSE(entryExists(dir.file(nameOf(number))));
        expectFailure("0", {number}, "Found Sequence ");
        copy(good, number);
        EXPECT_EQ(run("0").exitCode, 0);
    }
}

TEST_F(JobScriptTest, FailsForMissingFrames) {
    writeTask(0);
    remove(1);
    expectFailure("0", {1}, "Found Sequence 2-100, 1\n");
    remove(100);
    remove(40);
    expectFailure("0", {1, 40, 100}, "Found Sequence 2-99, 1\n");
    expectFailure("1", numbersFrom(101, 200), "No file found");
}

TEST_F(JobScriptTest, FailsForASparseSequenceThatKeepsOneStep) {
    for (const int number : {1, 34, 67, 100}) copy(good, number);
    std::vector<int> missing = numbersFrom(2, 33);
    for (const int number : numbersFrom(35, 66)) missing.push_back(number);
    for (const int number : numbersFrom(68, 99)) missing.push_back(number);
    expectFailure("0", missing, "Found Sequence 1-100, 33\n");
}

TEST_F(JobScriptTest, FailsForAFrameThatCannotBeRead) {
    writeTask(0);
    bytes(nameOf(7), "no frame");
    expectFailure("0", {7}, "0007:      Error: Unable to load file\n");
    EXPECT_TRUE(entryExists(dir.file(nameOf(7))));
}

TEST_F(JobScriptTest, FailsForASecondFileOfAGoodFrame) {
    writeTask(0);
    frame("beauty.7.exr");
    expectFailure("0", {}, "   7:   imagesize: 64x36 scanline  Zip-16line    4 channels    => DELETE\n");
    EXPECT_EQ(run("0").exitCode, 0);
}

TEST_F(JobScriptTest, FailsAndPrintsTheReasonWhenTheToolFails) {
    writeTask(0);
    const ProcessResult split = run({"beauty.0001.exr", "0"}, std::filesystem::path(toolPath()).parent_path());
    EXPECT_EQ(split.exitCode, 1);
    EXPECT_TRUE(contains(split.out, "Unable to split input filename into sequence name.")) << split.out;

    std::filesystem::remove_all(dir.path());
    expectFailure("0", numbersFrom(1, 100), "Cannot find/access directory");

    const ProcessResult failing = runInstead("echo half a report; echo broken >&2; exit 7");
    EXPECT_EQ(failing.exitCode, 7);
    EXPECT_EQ(failing.out, "half a report\nbroken\n");
    EXPECT_EQ(runInstead("kill -KILL $$").exitCode, 128 + 9);

    const ProcessResult absent = run({dir.file(nameOf(1)), "0"}, "/nowhere");
    EXPECT_EQ(absent.exitCode, 127);
    EXPECT_TRUE(contains(absent.out, "kxVerifyExrModes: command not found")) << absent.out;
}

TEST_F(JobScriptTest, RunsNothingWithoutATaskNumber) {
    copy(flat, 1);
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{dir.file(nameOf(1))},
                                                      {dir.file(nameOf(1)), ""},
                                                      {dir.file(nameOf(1)), "one"},
                                                      {dir.file(nameOf(1)), "-1"}}) {
        const ProcessResult result = run(arguments, std::filesystem::path(toolPath()).parent_path());
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_TRUE(contains(result.out, "Not a task number")) << result.out;
    }
    EXPECT_TRUE(entryExists(dir.file(nameOf(1))));
}
