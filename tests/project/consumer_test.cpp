// SPDX-License-Identifier: BSD-3-Clause
// Another project takes this one in with add_subdirectory, or finds it where it was installed. Builds a library
// once more: only the tests of build/release run this.
#include "examples/SampleFrames.h"
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

    // Configures the project of tests/project/consumer.
    void configure(const std::string& folder, const std::vector<std::string>& definitions) const {
        const std::string source = projectDir().string() + "/tests/project/consumer";
        std::vector<std::string> arguments = {KX_CMAKE, "-G", "Ninja", "-S", source, "-B", folder};
        arguments.insert(arguments.end(), definitions.begin(), definitions.end());
        run(arguments);
    }

    void configureWithSources(const std::vector<std::string>& definitions) const {
        std::vector<std::string> all = {"-DKX_DIR=" + projectDir().string(), "-DKX_QT=" KX_QT_MAJOR};
        all.insert(all.end(), definitions.begin(), definitions.end());
        configure(build, all);
    }

    void install(const std::string& folder) const { run({KX_CMAKE, "--install", folder, "--prefix", prefix}); }

    std::vector<std::string> filesBelow(const std::string& folder) const {
        std::vector<std::string> files;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
            if (entry.is_regular_file()) files.push_back(fs::relative(entry.path(), folder).string());
        }
        std::sort(files.begin(), files.end());
        return files;
    }

    // Files of the prefix but for headers.
    std::vector<std::string> installedFiles() const {
        std::vector<std::string> files = filesBelow(prefix);
        const auto isHeader = [](const std::string& file) {
            return file.rfind("include/kxVerifyExrModes/", 0) == 0;
        };
        files.erase(std::remove_if(files.begin(), files.end(), isHeader), files.end());
        return files;
    }

    // A source that includes all installed headers.
    std::string sourceWithAllHeaders() const {
        std::string text;
        for (const std::string& header : filesBelow(headers)) text += "#include \"" + header + "\"\n";
        EXPECT_TRUE(writeFileBytes(dir.file("all.cpp"), text));
        return dir.file("all.cpp");
    }

    TempDir dir;
    std::string build = dir.file("build");
    std::string prefix = dir.file("prefix");
    std::string headers = prefix + "/include/kxVerifyExrModes";
};

// Headers of the libraries that other folders may include.
std::vector<std::string> publicHeaders() {
    const std::string ofProgram =
        textsBetween("add_executable(kxCheckFrames", ")", document("CMakeLists.txt")).at(0);
    std::vector<std::string> names;
    for (const std::string folder : {"check", "image", "shared"}) {
        for (const fs::path& path : fs::directory_iterator(projectDir() / folder)) {
            const std::string source = folder + "/" + path.stem().string() + ".cpp";
            if (path.extension() == ".h" && !contains(ofProgram, source))
                names.push_back(folder + "/" + path.filename().string());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

TEST_F(ConsumerTest, InstallsOnlyItsOwnProgramUnlessItAsksForTheOthers) {
    ASSERT_NO_FATAL_FAILURE(configureWithSources({}));
    run({KX_CMAKE, "--build", build, "--target", "splitName"});
    install(build);
    EXPECT_EQ(filesBelow(prefix), std::vector<std::string>{"bin/splitName"});
    EXPECT_EQ(runProcess({prefix + "/bin/splitName", "/r/beauty.0042.exr"}).out, ".exr\n");

    // What would be installed, which is not built here.
    EXPECT_FALSE(contains(readFileBytes(build + "/kx/cmake_install.cmake"), "kxCheckFrames"));
    ASSERT_NO_FATAL_FAILURE(configureWithSources({"-DKX_INSTALL=ON"}));
    EXPECT_TRUE(contains(readFileBytes(build + "/kx/cmake_install.cmake"), "kxCheckFrames"));
}

TEST_F(ConsumerTest, FindsTheLibrariesThatWereInstalled) {
    install(KX_BUILD_DIR);
    const std::string documents = "share/doc/kxVerifyExrModes/";
    const std::string package = KX_LIBRARIES "/cmake/kxVerifyExrModes/";
    std::vector<std::string> expected = {"bin/kxCheckFrames",
                                         "bin/kxVerifyExrModes",
                                         KX_LIBRARIES "/libkxCheck.a",
                                         KX_LIBRARIES "/libkxImage.a",
                                         KX_LIBRARIES "/libkxShared.a",
                                         package + "FindkxCodecs.cmake",
                                         package + "FindkxSeccomp.cmake",
                                         package + "kxVerifyExrModesConfig.cmake",
                                         package + "kxVerifyExrModesConfigVersion.cmake",
                                         package + "kxVerifyExrModesTargets-release.cmake",
                                         package + "kxVerifyExrModesTargets.cmake",
                                         "share/bash-completion/completions/kxCheckFrames",
                                         "share/bash-completion/completions/kxVerifyExrModes",
                                         documents + "CHANGELOG.md",
                                         documents + "LICENSE",
                                         documents + "cache-file-format.md",
                                         documents + "farm.md",
                                         documents + "examples/slurm/checkAll",
                                         documents + "examples/slurm/checkChunk",
                                         documents + "examples/slurm/submitCheck",
                                         documents + "findings.md",
                                         documents + "kxCheckFrames.md",
                                         documents + "kxCheckFrames.schema.json",
                                         documents + "kxVerifyExrModes.md",
                                         documents + "examples/CMakeLists.txt",
                                         documents + "examples/SampleFrames.cpp",
                                         documents + "examples/SampleFrames.h",
                                         documents + "examples/headersAsJson.cpp",
                                         documents + "examples/writeDamagedSequence.cpp",
                                         documents + "examples/writeSampleSequence.cpp",
                                         "share/man/man1/kxCheckFrames.1",
                                         "share/man/man1/kxVerifyExrModes.1",
                                         "share/zsh/site-functions/_kxCheckFrames",
                                         "share/zsh/site-functions/_kxVerifyExrModes"};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(installedFiles(), expected);
    EXPECT_EQ(filesBelow(headers), publicHeaders());

    const std::string other = dir.file("other");
    ASSERT_NO_FATAL_FAILURE(
        configure(other, {"-DCMAKE_PREFIX_PATH=" + prefix, "-DKX_MORE_SOURCES=" + sourceWithAllHeaders(),
                          "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror"}));
    ASSERT_NO_FATAL_FAILURE(run({KX_CMAKE, "--build", other}));
    EXPECT_EQ(runProcess({other + "/splitName", "/r/beauty.0042.exr"}).out, ".exr\n");
    writeSampleFile(dir.file("good.exr"), {SamplePart()});
    ASSERT_TRUE(writeFileBytes(dir.file("bad.exr"), "no frame"));
    EXPECT_EQ(runProcess({other + "/isSound", dir.file("good.exr")}).exitCode, 0);
    EXPECT_EQ(runProcess({other + "/isSound", dir.file("bad.exr")}).exitCode, 1);
}
