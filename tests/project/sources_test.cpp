// SPDX-License-Identifier: BSD-3-Clause
// What holds for every source file of the project.
#include "tests/support/Documents.h"
#include "tests/support/Patterns.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <set>

namespace fs = std::filesystem;

namespace {

bool isBuildOrRepository(const fs::path& dir) {
    return dir.filename() == ".git" || dir == projectDir() / "build" || fs::exists(dir / "CMakeCache.txt");
}

// Calls `look` with the path from the top folder and the text of every file.
void forEachFile(const std::function<void(const fs::path& path, const std::string& text)>& look) {
    for (fs::recursive_directory_iterator entry(projectDir()), end; entry != end; ++entry) {
        if (entry->is_directory() && isBuildOrRepository(entry->path())) entry.disable_recursion_pending();
        if (!entry->is_regular_file()) continue;
        look(fs::relative(entry->path(), projectDir()), readFileBytes(entry->path().string()));
    }
}

bool isCpp(const fs::path& path) {
    return path.extension() == ".h" || path.extension() == ".cpp";
}

bool isSource(const fs::path& path, const std::string& text) {
    return isCpp(path) || path.filename() == "CMakeLists.txt" || text.substr(0, 2) == "#!";
}

std::string topFolder(const fs::path& path) {
    return path.begin()->string();
}

// A private header serves the sources of its folder, its own neighbours and the folder's tests. A public header
// would hand it on to everybody.
bool mayIncludePrivate(const fs::path& path, const fs::path& included) {
    const fs::path folder = included.parent_path().parent_path();
    const fs::path from = path.parent_path();
    return from == folder / "private" || from == "tests" / folder || (from == folder && path.extension() == ".cpp");
}

std::set<std::string> includedFolders(const std::string& text) {
    std::set<std::string> folders;
    for (const std::string& path : textsBetween("\n#include \"", "\"", "\n" + text))
        folders.insert(topFolder(path));
    return folders;
}

// The sources that CMakeLists.txt lists for a library.
std::vector<std::string> sourcesOf(const std::string& library) {
    const std::string build = document("CMakeLists.txt");
    const std::size_t begin = build.find("add_library(" + library + " STATIC");
    return textsBetween("\n  ", "\n)", build.substr(begin, build.find(')', begin) + 1 - begin));
}

bool isModuleFolder(const std::string& folder) {
    return folder == "check" || folder == "image" || folder == "shared";
}

// Headers and sources of the libraries, without folder and extension.
std::set<std::string> modules() {
    std::set<std::string> names;
    forEachFile([&](const fs::path& path, const std::string&) {
        if (isCpp(path) && isModuleFolder(topFolder(path))) names.insert(path.stem());
    });
    return names;
}

}  // namespace

TEST(SourcesTest, NameTheirLicence) {
    std::map<std::string, int> count;
    forEachFile([&](const fs::path& path, const std::string& text) {
        if (!isSource(path, text)) return;
        ++count[path.extension()];
        const std::size_t firstLines = text.find('\n', text.find('\n') + 1);
        EXPECT_TRUE(contains(text.substr(0, firstLines), " SPDX-License-Identifier: BSD-3-Clause")) << path;
    });
    for (const char* kind : {".h", ".cpp", ".txt", ""}) EXPECT_GT(count[kind], 3) << kind;
    EXPECT_TRUE(contains(document("LICENSE"), "BSD 3-Clause License"));
}

// The arrows of docs/architecture.md.
TEST(SourcesTest, IncludeOnlyFoldersThatTheirsMayUse) {
    const std::map<std::string, std::set<std::string>> allowed = {{"shared", {"shared"}},
                                                                  {"image", {"image", "shared"}},
                                                                  {"check", {"check", "image", "shared"}},
                                                                  {"tool", {"tool", "image", "shared"}}};
    std::map<std::string, int> count;
    forEachFile([&](const fs::path& path, const std::string& text) {
        const auto row = allowed.find(topFolder(path));
        if (!isCpp(path) || row == allowed.end()) return;
        ++count[row->first];
        for (const std::string& folder : includedFolders(text))
            EXPECT_TRUE(row->second.count(folder)) << path << folder;
    });
    EXPECT_EQ(count.size(), allowed.size());
}

// Whoever links a library decides what is printed and when the process ends.
TEST(SourcesTest, LibrariesNeitherPrintNorEndTheProcess) {
    // A worker is a process of its own, which ends here and drops the standard streams that it inherited.
    const std::set<std::string> excepted = {"check/kxWorker.cpp"};
    const std::string use =
        "\\b(stdout|stderr|STDOUT_FILENO|STDERR_FILENO|cout|cerr|clog|qDebug|qInfo|qWarning|qCritical|qFatal)\\b"
        "|\\b(exit|_exit|_Exit|quick_exit|abort|terminate|f?printf|puts|perror)\\(";
    for (const char* library : {"kxShared", "kxImage", "kxCheck"}) {
        const std::vector<std::string> sources = sourcesOf(library);
        EXPECT_GT(sources.size(), 5U) << library;
        for (const std::string& source : sources) {
            const std::string code = document(source);
            EXPECT_NE(code, "") << source;
            EXPECT_EQ(hasMatch(code, use), excepted.count(source) > 0) << source;
        }
    }
    EXPECT_TRUE(hasMatch(document("tool/main.cpp"), use));
    EXPECT_TRUE(hasMatch(document("check/main.cpp"), use));
}

TEST(SourcesTest, HaveAPlaceInTheMap) {
    const std::string map = document("docs/architecture.md");
    EXPECT_GT(modules().size(), 50U);
    for (const std::string& module : modules())
        EXPECT_TRUE(module == "main" || hasMatch(map, "\\b" + module + "\\b")) << module;
}

TEST(SourcesTest, AreWhatTheMapNames) {
    const std::set<std::string> existing = modules();
    const std::string name = "`(?:private/)?(kx[A-Za-z]+|KX_[A-Za-z_]+)`";
    int rows = 0;
    for (const std::string& cell : textsBetween("\n| `", "|", document("docs/architecture.md"))) {
        for (const Match& match : allMatches("`" + cell, name)) {
            EXPECT_TRUE(existing.count(match[1])) << match[1];
            ++rows;
        }
    }
    EXPECT_GT(rows, 50);
}

TEST(SourcesTest, IncludePrivateHeadersOnlyFromTheirFolderAndItsTests) {
    int count = 0;
    forEachFile([&](const fs::path& path, const std::string& text) {
        if (!isCpp(path)) return;
        for (const std::string& included : textsBetween("\n#include \"", "\"", "\n" + text)) {
            if (!contains(included, "private/")) continue;
            ++count;
            EXPECT_TRUE(mayIncludePrivate(path, included)) << path << ": " << included;
        }
    });
    EXPECT_GT(count, 0);
}

TEST(SourcesTest, KeepPrivateHeadersOutOfPublicOnesAndOtherFolders) {
    const std::string header = "image/private/a.h";
    for (const char* path : {"image/b.cpp", "image/private/b.h", "tests/image/a_test.cpp"})
        EXPECT_TRUE(mayIncludePrivate(path, header)) << path;
    for (const char* path :
         {"image/b.h", "shared/b.cpp", "tests/tool/a_test.cpp", "tests/support/b.h", "fuzz/b.cpp"})
        EXPECT_FALSE(mayIncludePrivate(path, header)) << path;
}

TEST(SourcesTest, KeepTheExrLibraryOutOfSharedCodeAndOfPublicHeaders) {
    forEachFile([](const fs::path& path, const std::string& text) {
        const std::string folder = topFolder(path);
        const bool isOfProgram = folder == "image" || folder == "check" || folder == "tool";
        const bool isHeader = path.extension() == ".h" && isOfProgram && path.parent_path().filename() != "private";
        if (!isHeader && folder != "shared") return;
        EXPECT_FALSE(contains(text, "#include <Im")) << path;
        EXPECT_FALSE(contains(text, "#include <openexr")) << path;
    });
}
