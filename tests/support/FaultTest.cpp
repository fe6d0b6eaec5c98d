// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/FaultTest.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using Names = std::vector<std::string>;

// The sanitizer's options of this run and one more.
std::string sanitizerOptions(const std::string& option) {
    const char* options = std::getenv("ASAN_OPTIONS");
    return "ASAN_OPTIONS=" + (options ? options + (":" + option) : option);
}

std::string withoutSlash(const std::string& directory) {
    return directory.substr(0, directory.size() - 1);
}

ProcessOptions preloadedWith(const std::vector<Fault>& faults, const std::string& directory,
                             const std::string& logPath) {
    std::ostringstream rules;
    rules << "KX_FAULTS=";
    for (const Fault& f : faults) {
        rules << f.call << ' ' << f.name << ' ' << f.fault << ' ' << f.skip << ' ' << f.times << ';';
    }
    ProcessOptions options;
    options.preload = KX_WATCHED_CALLS;
    options.environment = {rules.str(), "KX_FAULT_DIRECTORY=" + directory, "KX_FAULT_LOG=" + logPath,
                           sanitizerOptions("verify_asan_link_order=0")};
    return options;
}

void expectEachStruck(const std::vector<Fault>& faults, const std::string& struck) {
    for (const Fault& f : faults) {
        EXPECT_NE(("\n" + struck).find("\n" + f.call + " " + (f.name == "*" ? "" : f.name + "\n")),
                  std::string::npos)
            << f.call << " never failed; faults were:\n"
            << struck;
    }
}

std::string describe(const fs::path& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) return "gone";
    std::ostringstream text;
    text << status.st_ino << ' ' << status.st_mode << ' ' << status.st_nlink << ' ' << status.st_size << ' '
         << status.st_mtim.tv_sec << '.' << status.st_mtim.tv_nsec << ' ' << status.st_ctim.tv_sec << '.'
         << status.st_ctim.tv_nsec << ' ';
    if (S_ISREG(status.st_mode)) text << readFileBytes(path.string());
    if (S_ISLNK(status.st_mode)) text << fs::read_symlink(path).string();
    return text.str();
}

}  // namespace

Snapshot snapshotOf(const std::string& directory) {
    Snapshot snapshot;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        snapshot[entry.path().filename().string()] = describe(entry.path());
    }
    return snapshot;
}

void FaultTest::SetUp() {
    for (const std::string& name : passing) frame(name, samplePartOf({"A", "B", "G", "R", "Z"}));
    frames({"shot.0002.exr", "shot.0003.exr"});
}

Names FaultTest::deletingArguments() const {
    return {dir.file("shot.0001.exr"), "-requireMultiLayer", "-del"};
}

ProcessResult FaultTest::runUnder(const std::vector<Fault>& faults, const Names& arguments) const {
    const TempDir logs;
    ProcessResult result = tool(arguments, preloadedWith(faults, withoutSlash(dir.path()), logs.file("faults")));
    expectEachStruck(faults, readFileBytes(logs.file("faults")));
    return result;
}

std::string FaultTest::runUnder(const std::vector<Fault>& faults) const {
    const ProcessResult result = runUnder(faults, deletingArguments());
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out.substr(0, toolBanner.size()), toolBanner);
    return result.out.size() < toolBanner.size() ? result.out : result.out.substr(toolBanner.size());
}

void FaultTest::expectSecondFrame(const Fault& fault, const Names& lines, const Names& left) {
    SetUp();
    Names expected{"0001: " + layers, "0002: " + lines.at(0)};
    expected.insert(expected.end(), lines.begin() + 1, lines.end());
    expected.insert(expected.end(), {"0003: " + deleted, "0004: " + layers});
    EXPECT_EQ(runUnder({fault}), foundSequence("1-4, 1", expected)) << fault.call << ' ' << fault.fault;
    EXPECT_EQ(dir.entries(), left) << fault.call << ' ' << fault.fault;
}

ProcessResult FaultTest::runScript(const std::string& script) const {
    ProcessOptions options;
    options.environment = {"dir=" + withoutSlash(dir.path())};
    Names arguments{"/bin/bash", "-c", script, "bash", toolPath()};
    for (const std::string& argument : deletingArguments()) arguments.push_back(argument);
    return runProcess(arguments, options);
}

ProcessResult FaultTest::runScriptWithMounts(const std::string& script) const {
    return runScript("exec unshare --mount /bin/bash -c '" + script + "' bash \"$@\"");
}

bool FaultTest::canMount() {
    const TempDir point;
    return runProcess({"/usr/bin/unshare", "--mount", "mount", "-t", "tmpfs", "tmpfs", point.path()}).exitCode == 0;
}
