// SPDX-License-Identifier: BSD-3-Clause
// The documents say what is true today: their examples are run, and what they repeat is compared with its source.
#include "tests/support/Documents.h"

#include "image/KX_DataTypes_imageList.h"
#include "shared/kxVersion.h"
#include "tests/support/Patterns.h"
#include "tests/support/ToolTest.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

namespace fs = std::filesystem;

namespace {

std::string without(const std::string& characters, std::string text) {
    const auto isOne = [&characters](char c) { return contains(characters, std::string(1, c)); };
    text.erase(std::remove_if(text.begin(), text.end(), isOne), text.end());
    return text;
}

// "a, b" or "`a`, `b`" as {"a", "b"}.
std::vector<std::string> listedIn(const std::string& cell) {
    std::vector<std::string> items = textsBetween(", ", ",", ", " + without("`", cell));
    for (std::string& item : items) item = item.substr(0, item.find(" and others"));
    return items;
}

// All about the first program's options and lines.
std::string guide() {
    return document("docs/kxVerifyExrModes.md");
}

std::set<std::string> guideOptions() {
    std::set<std::string> options;
    for (const std::string& text : textsBetween("\n| `-", "`", guide())) {
        options.insert("-" + without("<>", text));
    }
    return options;
}

// A section of the manual page as one line of plain text, without fonts.
std::string manualSection(const std::string& title) {
    const std::string page = document("docs/kxVerifyExrModes.1");
    const std::size_t begin = page.find("\n.SH " + title + "\n") + 5;
    const std::string section = without("\\\"", page.substr(begin, page.find("\n.SH ", begin) - begin));
    return withReplaced(section, "\n([.]B[RI]? )?| +", " ");
}

// Each option is what follows ".TP" up to the sentence about it.
std::set<std::string> manualOptions() {
    std::set<std::string> options;
    for (const Match& option : allMatches(manualSection("OPTIONS"), "[.]TP (-[A-Za-z]+(?: [a-z]+)*) +[A-Z]"))
        options.insert(option[1]);
    return options;
}

// The printed texts by the names of the compressions.
std::map<std::string, std::string> guideCompressions() {
    std::map<std::string, std::string> texts;
    const std::string text = guide();
    const std::size_t begin = text.find("| compression | printed as |");
    const std::string rows = text.substr(begin, text.find("\n\n", begin) - begin);
    for (const Match& row : allMatches(rows, "\n[|] ([^-|]+) [|] (`[^|]+`) [|]")) {
        const std::vector<std::string> names = listedIn(row[1]);
        const std::vector<std::string> printed = listedIn(row[2]);
        for (std::size_t i = 0; i < names.size(); ++i) texts[names[i]] = printed[std::min(i, printed.size() - 1)];
    }
    return texts;
}

std::map<std::string, std::string> manualCompressions() {
    std::map<std::string, std::string> texts;
    const std::string text = manualSection("OUTPUT");
    const std::size_t begin = text.find("compression ") + 11;
    const std::string items = text.substr(begin, text.find(".TP", begin) - begin);
    for (const Match& item : allMatches(items, " ([^()]+) [(]([^()]+)[)][,.]")) {
        for (const std::string& name : listedIn(item[2])) texts[name] = item[1];
    }
    return texts;
}

// What stands behind "## " in the CHANGELOG.
std::vector<std::string> releases() {
    return textsBetween("\n## ", "\n", document("CHANGELOG.md"));
}

class DocumentsTest : public ToolTest {
protected:
    // Writes the sample sequence into `dir`; the file to verify.
    std::string sampleFile() const {
        const ProcessResult result = runProcess({KX_SAMPLE_WRITER, dir.path()});
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return result.out.substr(0, result.out.find('\n'));
    }

    std::string printedCompression(Imf::Compression compression) {
        SamplePart part;
        part.compression = compression;
        frame("f.0001.exr", part);
        const std::string text = textsBetween("scanline ", "\n", verify("f.0001.exr")).at(0);
        return withReplaced(text, "^ *(.*?)  .*", "\\1");
    }
};

}  // namespace

TEST_F(DocumentsTest, ReadmeShowsTheRunOfTheSampleSequence) {
    const ProcessResult result = tool({sampleFile(), "-requireMultiLayer", "-showChannel"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(blockAfter(document("README.md"), "$ scripts/verify"), result.out);
}

// An option is written as its name and the names of its values: "-seq start end step offset".
TEST_F(DocumentsTest, GuideManualPageAndUsageHaveTheSameOptions) {
    std::set<std::string> expected = {"-threadID n", "-kxRoot dir"};  // accepted and ignored, the usage omits them
    for (const std::string& text : textsBetween("\n  -", ":", tool({}).out)) {
        expected.insert("-" + without("<>", text.substr(0, text.find_last_not_of(' ') + 1)));
    }
    EXPECT_EQ(expected.size(), 8U);
    EXPECT_EQ(guideOptions(), expected);
    EXPECT_EQ(manualOptions(), expected);
}

TEST_F(DocumentsTest, OptionsOfTheDocumentsAreThoseOfTheCode) {
    std::set<std::string> inDocuments;
    for (const std::string& option : guideOptions()) {
        const auto values = std::count(option.begin(), option.end(), ' ');
        if (option != "-kxRoot dir")
            inDocuments.insert(option.substr(0, option.find(' ')) + std::to_string(values));
    }
    std::set<std::string> inCode;
    for (const std::string& row : textsBetween("\n    {\"-", "}", document("tool/main.cpp"))) {
        const std::size_t count = row.find_first_of("0123456789", row.find("Qt::Case"));
        inCode.insert("-" + row.substr(0, row.find('"')) + row.at(count));
    }
    EXPECT_EQ(inCode, inDocuments);
}

TEST_F(DocumentsTest, GuideAndManualPageTellCompressionsAsTheToolPrintsThem) {
    const struct {
        const char* name;
        Imf::Compression compression;
    } table[] = {
        {"none", Imf::NO_COMPRESSION},   {"RLE", Imf::RLE_COMPRESSION},   {"ZIPS", Imf::ZIPS_COMPRESSION},
        {"ZIP", Imf::ZIP_COMPRESSION},   {"PIZ", Imf::PIZ_COMPRESSION},   {"PXR24", Imf::PXR24_COMPRESSION},
        {"B44", Imf::B44_COMPRESSION},   {"B44A", Imf::B44A_COMPRESSION}, {"DWAA", Imf::DWAA_COMPRESSION},
        {"DWAB", Imf::DWAB_COMPRESSION},
    };
    std::map<std::string, std::string> expected;
    for (const auto& row : table) expected[row.name] = printedCompression(row.compression);
    EXPECT_EQ(guideCompressions(), expected);
    EXPECT_EQ(manualCompressions(), expected);
}

TEST_F(DocumentsTest, GuideHasTheMessagesAndTheirExitCodes) {
    const std::string section = sectionOf(guide(), "## Exit codes and streams");
    for (const char* file : {"no slash", "/nowhere at all/f.0001.exr", "f.0001.exr"}) {
        const ProcessResult result = tool({file[0] == 'f' ? dir.file(file) : file});
        std::string message = without("\n", result.err);
        const std::size_t quote = message.find('\'');
        if (quote != std::string::npos) message = message.substr(0, quote) + "'...'";
        const std::string row = "| `" + message + "` | standard error | " + std::to_string(result.exitCode) + " |";
        EXPECT_TRUE(contains(section, row)) << row;
    }
}

TEST_F(DocumentsTest, DocumentsHaveTheLargestNumberOfFrames) {
    const std::string most = std::to_string(_kxViewSequence::slotCount - 1);
    const std::string allSlots = std::to_string(_kxViewSequence::slotCount);
    EXPECT_TRUE(contains(guide(), " holds " + allSlots + " frame slots and fills " + most + " of them"));
    EXPECT_TRUE(contains(document("docs/kxVerifyExrModes.1"), "\nAt most " + most + " files"));
    EXPECT_TRUE(contains(document("SECURITY.md"), " at most " + most + " files"));
}

TEST_F(DocumentsTest, VersionIsTheSameEverywhere) {
    const std::string version = KX_PROJECT_VERSION;
    EXPECT_EQ(kxVersionString, " " + version);
    EXPECT_EQ(releases().at(0).substr(0, version.size() + 1), version + ",");
    EXPECT_TRUE(contains(document("docs/client-shared-memory.md"), "\nthe version string, ` " + version + "`."));
}

TEST_F(DocumentsTest, ReleasesHaveDatesFromNewToOld) {
    std::string later = "9999";
    for (const std::string& release : releases()) {
        EXPECT_TRUE(hasMatch(release, "^[0-9]+[.][0-9]+[.][0-9]+, [0-9]{4}-[0-9]{2}-[0-9]{2}$")) << release;
        const std::string date = release.substr(release.find(' ') + 1);
        EXPECT_LE(date, later);
        later = date;
    }
}

TEST_F(DocumentsTest, ManualPagesAreOfTheNewestRelease) {
    const std::string version = KX_PROJECT_VERSION;
    const std::string date = releases().at(0).substr(version.size() + 2);
    const std::string heading = " 1 " + date + " \"kxVerifyExrModes " + version + "\" \"User Commands\"";
    for (const char* page : {"docs/kxVerifyExrModes.1", "docs/kxCheckFrames.1"}) {
        const std::string title = textsBetween(".TH ", "\n", document(page)).at(0);
        EXPECT_EQ(title.substr(title.find(' ')), heading) << page;
    }
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

// They all stand in one folder.
TEST_F(DocumentsTest, LinksOfInstalledDocumentsLeadToInstalledOnes) {
    const std::string list = textsBetween("install(FILES\n", "D", document("cmake/install.cmake")).at(0);
    std::set<std::string> installed;
    std::istringstream words(list);
    for (fs::path path; words >> path;) installed.insert(path.filename().string());
    EXPECT_TRUE(installed.count("kxCheckFrames.md"));
    int links = 0;
    for (const std::string& name : installed) {
        for (const std::string& target : textsBetween("](", ")#", document("docs/" + name))) {
            EXPECT_TRUE(target.empty() || installed.count(target)) << name << ": " << target;
            ++links;
        }
    }
    EXPECT_GT(links, 0);
}
