// SPDX-License-Identifier: BSD-3-Clause
// The documents say what is true today: their examples are run, and what they repeat is compared with its source.
#include "tests/support/Documents.h"
#include "shared/kxVersion.h"
#include "tests/support/ToolTest.h"

#include <algorithm>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

std::string withoutBackslashes(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\\'), text.end());
    return text;
}

class DocumentsTest : public ToolTest {
protected:
    // Writes the sample sequence into `dir`; the file to verify.
    std::string sampleFile() const {
        const ProcessResult result = runProcess({KX_SAMPLE_WRITER, dir.path()});
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return result.out.substr(0, result.out.find('\n'));
    }
};

}  // namespace

TEST_F(DocumentsTest, ReadmeShowsTheRunOfTheSampleSequence) {
    const ProcessResult result = tool({sampleFile(), "-requireMultiLayer", "-showChannel"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(blockAfter(document("README.md"), "$ scripts/verify"), result.out);
}

TEST_F(DocumentsTest, ReadmeAndManualPageHaveEveryOption) {
    std::vector<std::string> options = textsBetween("\n  -", " :", tool({}).out);
    EXPECT_EQ(options.size(), 6U);
    options.insert(options.end(), {"threadID", "kxRoot"});
    const std::string readme = document("README.md");
    const std::string manual = withoutBackslashes(document("docs/kxVerifyExrModes.1"));
    for (const std::string& option : options) {
        EXPECT_TRUE(contains(readme, "\n| `-" + option + "`") || contains(readme, "\n| `-" + option + " "))
            << option;
        EXPECT_TRUE(contains(manual, "\n.B -" + option + "\n") || contains(manual, "\n.BI \"-" + option + " \""))
            << option;
    }
}

TEST_F(DocumentsTest, VersionIsTheSameEverywhere) {
    const std::string version = KX_PROJECT_VERSION;
    EXPECT_EQ(kxVersionString, " " + version);
    EXPECT_EQ(textsBetween("\n## ", "\n", document("CHANGELOG.md")).at(0), version);
    EXPECT_EQ(textsBetween("\"kxVerifyExrModes ", "\"", document("docs/kxVerifyExrModes.1")).at(0), version);
}

TEST_F(DocumentsTest, LinksLeadToFilesOfTheProject) {
    std::vector<fs::path> documents = {projectDir() / "README.md", projectDir() / "CONTRIBUTING.md",
                                       projectDir() / "SECURITY.md"};
    for (const fs::path& path : fs::directory_iterator(projectDir() / "docs")) {
        if (path.extension() == ".md") documents.push_back(path);
    }
    int links = 0;
    for (const fs::path& path : documents) {
        for (const std::string& target : textsBetween("](", ")#", readFileBytes(path.string()))) {
            EXPECT_TRUE(fs::exists(path.parent_path() / target)) << path << ": " << target;
            ++links;
        }
    }
    EXPECT_GT(links, 0);
}
