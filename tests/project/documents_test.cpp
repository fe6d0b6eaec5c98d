// SPDX-License-Identifier: BSD-3-Clause
// The documents say what is true today: their examples are run, and what they repeat is compared with its source.
#include "shared/kxVersion.h"
#include "tests/support/ToolTest.h"

#include <algorithm>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

const fs::path sourceDir = KX_PROJECT_DIR;

std::string document(const std::string& name) {
    return readFileBytes((sourceDir / name).string());
}

// The text between the first line that is `opening` and the closing "```"; empty when there is none.
std::string blockAfter(const std::string& text, const std::string& opening) {
    const std::string head = "\n" + opening + "\n";
    const size_t at = text.find(head);
    if (at == std::string::npos) return {};
    const size_t begin = at + head.size();
    return text.substr(begin, text.find("```", begin) - begin);
}

// What follows each `opening` up to the first of the characters in `closing`.
std::vector<std::string> textsBetween(const std::string& opening, const std::string& closing,
                                      const std::string& text) {
    std::vector<std::string> found;
    for (size_t at = text.find(opening); at != std::string::npos; at = text.find(opening, at + 1)) {
        const size_t begin = at + opening.size();
        found.push_back(text.substr(begin, text.find_first_of(closing, begin) - begin));
    }
    return found;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

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

    // Runs the job script of the README for one task, with the tool in its search path.
    ProcessResult jobScript(const std::string& file, const std::string& task) const {
        const TempDir scripts;
        const std::string script = scripts.file("verifyChunk");
        EXPECT_TRUE(writeFileBytes(script, blockAfter(document("README.md"), "```bash")));
        ProcessOptions options;
        options.environment = {"PATH=" + fs::path(toolPath()).parent_path().string() + ":/usr/bin:/bin"};
        return runProcess({"/bin/bash", script, file, task}, options);
    }
};

}  // namespace

TEST_F(DocumentsTest, ReadmeShowsTheRunOfTheSampleSequence) {
    const ProcessResult result = tool({sampleFile(), "-requireMultiLayer", "-showChannel"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(blockAfter(document("README.md"), "$ scripts/verify"), result.out);
}

TEST_F(DocumentsTest, ReadmeJobScriptPassesAWholeChunk) {
    const SamplePart layers = samplePartOf({"A", "B", "G", "R", "Z"});
    for (int number = 101; number <= 103; ++number) frame("beauty.0" + std::to_string(number) + ".exr", layers);
    frame("beauty.0001.exr");
    const ProcessResult result = jobScript(dir.file("beauty.0001.exr"), "1");
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    EXPECT_NE(result.out.find("Found Sequence 101-103, 1\n"), std::string::npos) << result.out;
    EXPECT_TRUE(entryExists(dir.file("beauty.0001.exr")));
}

TEST_F(DocumentsTest, ReadmeJobScriptFailsForDeletedMissingAndDamagedFrames) {
    const SamplePart layers = samplePartOf({"A", "B", "G", "R", "Z"});
    frame("deleted.0001.exr");
    frame("gap.0001.exr", layers);
    frame("gap.0003.exr", layers);
    bytes("damaged.0001.exr", "no frame");
    for (const char* name : {"deleted", "gap", "damaged", "absent"}) {
        EXPECT_EQ(jobScript(dir.file(std::string(name) + ".0001.exr"), "0").exitCode, 1) << name;
    }
    EXPECT_EQ(jobScript(dir.file("nowhere/f.0001.exr"), "0").exitCode, 1);
    EXPECT_EQ(dir.entries(), (std::vector<std::string>{"damaged.0001.exr", "gap.0001.exr", "gap.0003.exr"}));
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
    std::vector<fs::path> documents = {sourceDir / "README.md", sourceDir / "CONTRIBUTING.md",
                                       sourceDir / "SECURITY.md"};
    for (const fs::path& path : fs::directory_iterator(sourceDir / "docs")) {
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
