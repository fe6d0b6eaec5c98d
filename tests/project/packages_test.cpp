// SPDX-License-Identifier: BSD-3-Clause
// The Debian packages that cpack makes of this build, looked at without installing them.
#include "tests/support/Documents.h"
#include "tests/support/Patterns.h"
#include "tests/support/RunProcess.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace fs = std::filesystem;

namespace {

const std::string programsName = "kxverifyexrmodes";
const std::string developmentName = "libkxverifyexrmodes-dev";

class PackagesTest : public ::testing::Test {
protected:
    // Under a umask that would shut others out.
    void SetUp() override {
        for (const char* tool : {"/usr/bin/dpkg-deb", "/usr/bin/dpkg-shlibdeps", "/usr/bin/file"})
            if (!fs::exists(tool)) GTEST_SKIP() << tool << " is not there";
        pack("DEB");
    }

    void pack(const std::string& generator) const {
        ProcessOptions options;
        options.secondsToLive = 600;  // on a busy machine
        const ProcessResult result =
            runProcess({"/bin/sh", "-c", "umask 077; exec \"$0\" --config \"$1\" -B \"$2\" -G \"$3\"", KX_CPACK,
                        KX_CPACK_CONFIG, dir.path(), generator},
                       options);
        ASSERT_EQ(result.exitCode, 0) << result.out << result.err;
    }

    // The file of a package; its name says package, version and architecture.
    std::string fileOf(const std::string& package) const {
        for (const fs::path& path : fs::directory_iterator(dir.path()))
            if (path.filename().string().rfind(package + "_" KX_PACKAGE_VERSION "_", 0) == 0) return path.string();
        return "";
    }

    // A field of the control file, such as "Depends".
    std::string field(const std::string& package, const std::string& name) const {
        return runProcess({"/usr/bin/dpkg-deb", "-f", fileOf(package), name}).out;
    }

    // A line of the listing for each file and folder: "-rw-r--r-- root/root 183 2026-11-21 21:00 ./usr/..."
    std::vector<std::string> entries(const std::string& package) const {
        std::istringstream listing(runProcess({"/usr/bin/dpkg-deb", "-c", fileOf(package)}).out);
        std::vector<std::string> lines;
        for (std::string line; std::getline(listing, line);) lines.push_back(line);
        return lines;
    }

    // Paths of files below /usr, without those of headers.
    std::vector<std::string> files(const std::string& package) const {
        std::vector<std::string> paths;
        for (const std::string& entry : entries(package)) {
            const std::string path = entry.substr(entry.find(" ./usr/") + 7);
            if (entry[0] != 'd' && path.rfind("include/", 0) != 0) paths.push_back(path);
        }
        std::sort(paths.begin(), paths.end());
        return paths;
    }

    void expectWhatBelongsToThePrograms() const;
    void expectWhatOtherProjectsBuildAgainst() const;
    void expectFilesOfRootThatAllMayRead() const;
    void expectOnlyTheCoreOfQt() const;
    void expectArchivesAsWell() const;
    void expectNoErrorsOfLintian() const;

    TempDir dir;
};

}  // namespace

void PackagesTest::expectWhatBelongsToThePrograms() const {
    const std::string documents = "share/doc/" + programsName + "/";
    std::vector<std::string> expected = {"bin/kxCheckFrames",
                                         "bin/kxVerifyExrModes",
                                         "share/bash-completion/completions/kxCheckFrames",
                                         "share/bash-completion/completions/kxVerifyExrModes",
                                         "share/man/man1/kxCheckFrames.1.gz",
                                         "share/man/man1/kxVerifyExrModes.1.gz",
                                         "share/zsh/vendor-completions/_kxCheckFrames",
                                         "share/zsh/vendor-completions/_kxVerifyExrModes"};
    for (const char* name : {"changelog.Debian.gz", "changelog.gz", "copyright", "examples/slurm/checkAll",
                             "examples/slurm/checkChunk", "examples/slurm/submitCheck", "farm.md", "findings.md",
                             "kxCheckFrames.md", "kxCheckFrames.schema.json", "kxVerifyExrModes.md"})
        expected.push_back(documents + name);
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(files(programsName), expected);
}

void PackagesTest::expectWhatOtherProjectsBuildAgainst() const {
    const std::vector<std::string> paths = files(developmentName);
    const auto has = [&paths](const std::string& path) {
        return std::find(paths.begin(), paths.end(), path) != paths.end();
    };
    const std::string documents = "share/doc/" + developmentName + "/";
    for (const char* name :
         {"libkxCheck.a", "libkxImage.a", "libkxShared.a", "cmake/kxVerifyExrModes/FindkxCodecs.cmake",
          "cmake/kxVerifyExrModes/FindkxSeccomp.cmake", "cmake/kxVerifyExrModes/kxVerifyExrModesConfig.cmake"})
        EXPECT_TRUE(has(std::string(KX_LIBRARIES "/") + name)) << name;
    for (const char* name : {"copyright", "changelog.gz", "changelog.Debian.gz", "examples/CMakeLists.txt"})
        EXPECT_TRUE(has(documents + name)) << name;
    EXPECT_EQ(std::count_if(paths.begin(), paths.end(),
                            [](const std::string& path) { return path.rfind("bin/", 0) == 0; }),
              0);
}

void PackagesTest::expectFilesOfRootThatAllMayRead() const {
    for (const std::string& package : {programsName, developmentName}) {
        EXPECT_GT(entries(package).size(), 15U);
        for (const std::string& entry : entries(package)) {
            const std::string mode = entry.substr(1, 9);
            const bool isRun = entry[0] == 'd' || contains(entry, "/bin/");
            EXPECT_TRUE(mode == "rwxr-xr-x" || (mode == "rw-r--r--" && !isRun)) << entry;
            EXPECT_TRUE(contains(entry, " root/root ")) << entry;
        }
    }
}

// To run; who builds needs the Qt of this build.
void PackagesTest::expectOnlyTheCoreOfQt() const {
    const std::string needed = field(programsName, "Depends");
    const std::string library = "libqt" KX_QT_MAJOR "core[a-z0-9]* ";
    EXPECT_TRUE(hasMatch(needed, library)) << needed;
    EXPECT_FALSE(contains(withReplaced(needed, library, ""), "qt")) << needed;
    for (const char* name : {"libopenexr", "libturbojpeg", "libxxhash", "zlib1g"})
        EXPECT_TRUE(contains(needed, name)) << needed;
    EXPECT_EQ(contains(needed, "libseccomp2"), KX_HAS_SECCOMP != 0) << needed;

    const std::string toBuild = field(developmentName, "Depends");
    const std::string qt = KX_QT_MAJOR[0] == '5' ? "qtbase5-dev (>= 5." : "qt6-base-dev (>= 6.";
    for (const std::string& name : {qt, std::string("libopenexr-dev (<< 3."), std::string("libturbojpeg0-dev"),
                                    std::string("libxxhash-dev"), std::string("zlib1g-dev")})
        EXPECT_TRUE(contains(toBuild, name)) << toBuild;
    EXPECT_EQ(contains(toBuild, "libseccomp-dev"), KX_HAS_SECCOMP != 0) << toBuild;
}

// What is done for Debian's packages leaves them alone.
void PackagesTest::expectArchivesAsWell() const {
    ASSERT_NO_FATAL_FAILURE(pack("TGZ"));
    const auto isArchive = [](const fs::path& path) { return path.extension() == ".gz"; };
    EXPECT_GT(std::count_if(fs::directory_iterator(dir.path()), fs::directory_iterator(), isArchive), 0);
}

void PackagesTest::expectNoErrorsOfLintian() const {
    ProcessOptions options;
    options.secondsToLive = 600;  // on a busy machine
    const ProcessResult result = runProcess({"/usr/bin/lintian", "--fail-on", "error", "--tag-display-limit", "0",
                                             fileOf(programsName), fileOf(developmentName)},
                                            options);
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
}

// One test: making the packages is most of its time.
TEST_F(PackagesTest, HaveTheirFilesAndDependOnNoMoreOfQtThanItsCore) {
    expectWhatBelongsToThePrograms();
    expectWhatOtherProjectsBuildAgainst();
    expectFilesOfRootThatAllMayRead();
    expectOnlyTheCoreOfQt();
    EXPECT_EQ(field(programsName, "Suggests"), "bash-completion, slurm-client\n");
    expectArchivesAsWell();
    if (!fs::exists("/usr/bin/lintian")) GTEST_SKIP() << "all but what lintian says, which is not there";
    expectNoErrorsOfLintian();
}
