// SPDX-License-Identifier: BSD-3-Clause
// Another project takes this one in with add_subdirectory. Two builds of the library: only the tests of
// build/release run this.
#include "tests/support/Documents.h"
#include "tests/support/RunProcess.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

class ConsumerTest : public ::testing::Test {
protected:
    static void run(const std::vector<std::string>& arguments) {
        ProcessOptions options;
        options.secondsToLive = 800;  // a build of all, on a busy machine
        const ProcessResult result = runProcess(arguments, options);
        ASSERT_EQ(result.exitCode, 0) << result.out << result.err;
    }

    void configure(const std::vector<std::string>& definitions) const {
        const std::string project = projectDir().string();
        const std::string source = project + "/tests/project/consumer";
        std::vector<std::string> arguments = {KX_CMAKE, "-G", "Ninja", "-S", source, "-B", build};
        arguments.push_back("-DKX_DIR=" + project);
        arguments.emplace_back("-DKX_QT=" KX_QT_MAJOR);
        arguments.insert(arguments.end(), definitions.begin(), definitions.end());
        run(arguments);
    }

    void buildAndInstall(const std::string& target) const {
        run({KX_CMAKE, "--build", build, "--target", target});
        run({KX_CMAKE, "--install", build, "--prefix", prefix});
    }

    std::vector<std::string> installedFiles() const {
        std::vector<std::string> files;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(prefix)) {
            if (entry.is_regular_file()) files.push_back(fs::relative(entry.path(), prefix).string());
        }
        std::sort(files.begin(), files.end());
        return files;
    }

    TempDir dir;
    std::string build = dir.file("build");
    std::string prefix = dir.file("prefix");
};

}  // namespace

// Both in one build: it is most of the test's time.
TEST_F(ConsumerTest, InstallsOnlyItsOwnProgramUnlessItAsksForTheOthersAndWhatBelongsToThem) {
    ASSERT_NO_FATAL_FAILURE(configure({}));
    ASSERT_NO_FATAL_FAILURE(buildAndInstall("splitName"));
    EXPECT_EQ(installedFiles(), std::vector<std::string>{"bin/splitName"});
    EXPECT_EQ(runProcess({prefix + "/bin/splitName", "/r/beauty.0042.exr"}).out, ".exr\n");

    ASSERT_NO_FATAL_FAILURE(configure({"-DKX_INSTALL=ON"}));
    ASSERT_NO_FATAL_FAILURE(buildAndInstall("all"));
    EXPECT_EQ(
        installedFiles(),
        (std::vector<std::string>{
            "bin/kxCheckFrames", "bin/kxVerifyExrModes", "bin/splitName",
            "share/bash-completion/completions/kxCheckFrames", "share/doc/kxVerifyExrModes/CHANGELOG.md",
            "share/doc/kxVerifyExrModes/LICENSE", "share/doc/kxVerifyExrModes/findings.md",
            "share/doc/kxVerifyExrModes/kxCheckFrames.md", "share/doc/kxVerifyExrModes/kxCheckFrames.schema.json",
            "share/doc/kxVerifyExrModes/kxVerifyExrModes.md", "share/man/man1/kxCheckFrames.1",
            "share/man/man1/kxVerifyExrModes.1", "share/zsh/site-functions/_kxCheckFrames"}));
}
