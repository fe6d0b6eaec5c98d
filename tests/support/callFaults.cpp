// SPDX-License-Identifier: BSD-3-Clause
// Lets chosen calls fail, or changes the disk right before them.
//
// $KX_FAULTS holds rules separated by ";", each "<call> <name> <fault> <skip> <times>":
//
//   call   opendir, readdir, open, read, stat (of a path), lstat, fstat (of an open file) or unlink
//   name   last component of the file's or directory's path, "*" for any
//   fault  an errno value that the call fails with; or what happens to the file before the call goes through:
//          remove; makeDirectory, makePipe (in the file's place); moveDirectory ($KX_FAULT_DIRECTORY is renamed
//          to "<directory>.moved"); kill (of the process); hang (it never comes back)
//   skip   calls that go through before the first fault
//   times  faults before all goes through again, 0 for no end
//
// Only $KX_FAULT_DIRECTORY, without final "/", and the files in it are ever changed. Every fault adds a line
// "<call> <name>" to the file $KX_FAULT_LOG, which is filled up with zeros: a test can see that its fault took
// place.
#include "tests/support/watchedCalls.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Rule {
    std::string call;
    std::string name;
    std::string fault;
    int skip = 0;
    int times = 0;
    int calls = 0;

    // Counts the call; true when the fault strikes.
    bool strikes() {
        const int faultsBefore = calls++ - skip;
        return faultsBefore >= 0 && (times == 0 || faultsBefore < times);
    }
};

std::vector<Rule> readRules() {
    std::vector<Rule> rules;
    const char* text = std::getenv("KX_FAULTS");
    std::istringstream all(text ? text : "");
    std::string one;
    while (std::getline(all, one, ';')) {
        std::istringstream words(one);
        Rule rule;
        words >> rule.call >> rule.name >> rule.fault >> rule.skip >> rule.times;
        rules.push_back(rule);
    }
    return rules;
}

// Of "/a/b" and of "/a/b/" the "b".
std::string nameOf(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path.substr(path.rfind('/') + 1);
}

// Workers may write to no file, but into memory that they were given.
struct Log {
    char text[65528];
    std::atomic<std::size_t> used;
};

// Null without a log. Made when the library is loaded, before there are workers.
Log* mapLog() {
    const char* const file = std::getenv("KX_FAULT_LOG");
    if (!file) return nullptr;
    const int fd = original<int (*)(const char*, int, ...)>("open")(file, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0 || ftruncate(fd, sizeof(Log)) != 0) std::abort();
    void* const mapped = mmap(nullptr, sizeof(Log), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (mapped == MAP_FAILED) std::abort();
    original<int (*)(int)>("close")(fd);
    return static_cast<Log*>(mapped);
}

Log* const theLog = mapLog();

void log(const Rule& rule, const std::string& path) {
    if (!theLog) return;
    const std::string line = rule.call + " " + nameOf(path) + "\n";
    const std::size_t at = theLog->used.fetch_add(line.size());
    if (at + line.size() <= sizeof theLog->text) line.copy(theLog->text + at, line.size());
}

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : std::string();
}

// The file in the test's directory is gone, and `path` names it.
void removeFile(const std::string& path) {
    if (path != environment("KX_FAULT_DIRECTORY") + "/" + nameOf(path)) std::abort();
    original<int (*)(const char*)>("unlink")(path.c_str());
}

void moveDirectory() {
    const std::string directory = environment("KX_FAULT_DIRECTORY");
    if (nameOf(directory).rfind("kxtest", 0) != 0) std::abort();  // no directory but a test's own
    std::rename(directory.c_str(), (directory + ".moved").c_str());
}

// The errno value that the call fails with, or 0 when it goes through.
int carryOut(const std::string& fault, const std::string& path) {
    if (fault == "kill") raise(SIGKILL);
    while (fault == "hang") pause();
    if (fault == "moveDirectory") moveDirectory();
    if (fault == "remove" || fault == "makeDirectory" || fault == "makePipe") removeFile(path);
    if (fault == "makeDirectory") mkdir(path.c_str(), 0777);
    if (fault == "makePipe") mkfifo(path.c_str(), 0666);
    return static_cast<int>(std::strtol(fault.c_str(), nullptr, 10));
}

// Calls come until the very end of the process: the rules are never destroyed.
std::vector<Rule>& rules() {
    static std::vector<Rule>& all = *new std::vector<Rule>(readRules());
    return all;
}

// "-" for a call that cannot fail.
const char* nameOf(FileCall call) {
    switch (call) {
        case FileCall::Opendir:
            return "opendir";
        case FileCall::Readdir:
            return "readdir";
        case FileCall::Open:
            return "open";
        case FileCall::Read:
            return "read";
        case FileCall::Stat:
            return "stat";
        case FileCall::Lstat:
            return "lstat";
        case FileCall::Fstat:
            return "fstat";
        case FileCall::Unlink:
            return "unlink";
        default:
            return "-";
    }
}

}  // namespace

bool anyFaults() {
    return !rules().empty();
}

bool callFails(FileCall call, const std::string& path) {
    for (Rule& rule : rules()) {
        if (rule.call != nameOf(call) || (rule.name != "*" && rule.name != nameOf(path)) || !rule.strikes())
            continue;
        log(rule, path);
        const int code = carryOut(rule.fault, path);
        errno = code;
        return code != 0;
    }
    return false;
}
