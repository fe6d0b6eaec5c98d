// SPDX-License-Identifier: BSD-3-Clause
// Preloaded into a program under test: lets chosen file-system calls fail, or changes the disk right before them.
//
// $KX_FAULTS holds rules separated by ";", each "<call> <name> <fault> <skip> <times>":
//
//   call   opendir, readdir, fstatat, lstat, unlink, fopen or read
//   name   last component of the file's or directory's path, "*" for any
//   fault  an errno value that the call fails with; or what happens to the file before the call goes through:
//          remove; makeDirectory, makePipe (in the file's place); moveDirectory ($KX_FAULT_DIRECTORY is renamed
//          to "<directory>.moved"); kill (of the process)
//   skip   calls that go through before the first fault
//   times  faults before all goes through again, 0 for no end
//
// Only $KX_FAULT_DIRECTORY, without final "/", and the files in it are ever changed. Every fault adds a line
// "<call> <name>" to the file $KX_FAULT_LOG: a test can see that its fault took place.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

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

template <class Function>
Function original(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

std::string pathOfDescriptor(int fd) {
    char path[PATH_MAX];
    const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path, sizeof path);
    return length < 0 ? std::string() : std::string(path, static_cast<size_t>(length));
}

std::string absolutePath(int directory, const char* path) {
    if (path[0] == '/' || directory == AT_FDCWD) return path;
    return pathOfDescriptor(directory) + "/" + path;
}

// Of "/a/b" and of "/a/b/" the "b".
std::string nameOf(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path.substr(path.rfind('/') + 1);
}

void log(const Rule& rule, const std::string& path) {
    const char* file = std::getenv("KX_FAULT_LOG");
    if (!file) return;
    const std::string line = rule.call + " " + nameOf(path) + "\n";
    const int fd = open(file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd < 0 || write(fd, line.data(), line.size()) < 0) std::abort();
    close(fd);
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
    if (fault == "moveDirectory") moveDirectory();
    if (fault == "remove" || fault == "makeDirectory" || fault == "makePipe") removeFile(path);
    if (fault == "makeDirectory") mkdir(path.c_str(), 0777);
    if (fault == "makePipe") mkfifo(path.c_str(), 0666);
    return static_cast<int>(std::strtol(fault.c_str(), nullptr, 10));
}

// True with errno set when the call has to fail.
bool failing(const char* call, const std::string& path) {
    static std::vector<Rule>& rules = *new std::vector<Rule>(readRules());  // calls come until the very end
    for (Rule& rule : rules) {
        if (rule.call != call || (rule.name != "*" && rule.name != nameOf(path)) || !rule.strikes()) continue;
        log(rule, path);
        const int code = carryOut(rule.fault, path);
        errno = code;
        return code != 0;
    }
    return false;
}

}  // namespace

extern "C" {

DIR* opendir(const char* path) {
    if (failing("opendir", path)) return nullptr;
    return original<DIR* (*)(const char*)>("opendir")(path);
}

dirent* readdir(DIR* directory) {
    if (failing("readdir", pathOfDescriptor(dirfd(directory)))) return nullptr;
    return original<dirent* (*)(DIR*)>("readdir")(directory);
}

int fstatat(int directory, const char* path, struct stat* status, int flags) noexcept {
    if (failing("fstatat", absolutePath(directory, path))) return -1;
    return original<int (*)(int, const char*, struct stat*, int)>("fstatat")(directory, path, status, flags);
}

int lstat(const char* path, struct stat* status) noexcept {
    if (failing("lstat", path)) return -1;
    return original<int (*)(const char*, struct stat*)>("lstat")(path, status);
}

int unlink(const char* path) noexcept {
    if (failing("unlink", path)) return -1;
    return original<int (*)(const char*)>("unlink")(path);
}

// The EXR library opens files through the standard library's streams, which use this one.
FILE* fopen64(const char* path, const char* mode) {
    if (failing("fopen", path)) return nullptr;
    return original<FILE* (*)(const char*, const char*)>("fopen64")(path, mode);
}

ssize_t read(int fd, void* bytes, size_t size) {
    if (failing("read", pathOfDescriptor(fd))) return -1;
    return original<ssize_t (*)(int, void*, size_t)>("read")(fd, bytes, size);
}

}  // extern "C"
