// SPDX-License-Identifier: BSD-3-Clause
// What goes through a filter, in a thread that ends with it.
#include "check/private/kxCallFilter.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

using namespace kxCheck;

namespace {

struct Attempt {
    const char* name;
    std::function<bool()> goesThrough;
};
using Attempts = std::vector<Attempt>;
using Names = std::vector<std::string>;

bool isOpened(int descriptor) {
    return descriptor >= 0 && close(descriptor) == 0;
}

// Sanitizers look at the virtual functions of streams, with calls that are refused here.
bool canRead(const char* path) {
    char bytes[8];
    const int descriptor = open(path, O_RDONLY);
    return pread(descriptor, bytes, sizeof bytes, 1) == 4 && read(descriptor, bytes, 1) == 1 &&
           lseek(descriptor, 0, SEEK_END) == 5 && close(descriptor) == 0;
}

bool isMapped(int protection) {
    void* const page = mmap(nullptr, 4096, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return page != MAP_FAILED && munmap(page, 4096) == 0;
}

bool becomesExecutable() {
    void* const page = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    const bool became = mprotect(page, 4096, PROT_READ | PROT_EXEC) == 0;
    munmap(page, 4096);
    return became;
}

bool makesProcess() {
    const pid_t process = fork();
    if (process == 0) _exit(0);
    return process > 0;
}

// Were it run, the test would end with its exit code.
bool runsProgram() {
    char program[] = "/bin/false";
    char* const arguments[] = {program, nullptr};
    char* const environment[] = {nullptr};
    execve(program, arguments, environment);
    return false;
}

bool waits() {
    const timespec moment{0, 1000};
    pollfd none{-1, 0, 0};
    return nanosleep(&moment, nullptr) == 0 && poll(&none, 1, 1) == 0;
}

bool lowersLimit() {
    rlimit limit{};
    return getrlimit(RLIMIT_CORE, &limit) == 0 && setrlimit(RLIMIT_CORE, &limit) == 0;
}

// A kernel that does looks for the filter, which is nowhere.
bool doesKernelTakeFilters() {
    return prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, nullptr) != 0 && errno == EFAULT;
}

// The names of those that go through; nothing where there is no filter.
std::optional<Names> through(FileChanges changes, const Attempts& attempts) {
    std::optional<Names> names;
    std::thread([&] {
        if (!limitSystemCalls(changes)) return;
        names.emplace();
        for (const Attempt& attempt : attempts)
            if (attempt.goesThrough()) names->push_back(attempt.name);
    }).join();
    return names;
}

Names namesOf(const Attempts& attempts) {
    Names names;
    for (const Attempt& attempt : attempts) names.push_back(attempt.name);
    return names;
}

class CallFilterTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!canLimitSystemCalls()) GTEST_SKIP() << "this build has no libseccomp";
        if (!doesKernelTakeFilters()) GTEST_SKIP() << "the kernel takes no filters here";
        ASSERT_TRUE(writeFileBytes(file, "bytes"));
        ASSERT_EQ(pipe(pipe_), 0);
    }
    ~CallFilterTest() override {
        for (const int end : pipe_)
            if (end >= 0) close(end);
    }

    Attempts reading() const {
        return {
            {"open", [this] { return isOpened(open(name(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)); }},
            {"open a directory", [this] { return isOpened(open(dir.path().c_str(), O_RDONLY | O_DIRECTORY)); }},
            {"stat",
             [this] {
                 struct stat status;
                 return stat(name(), &status) == 0 && lstat(name(), &status) == 0;
             }},
            {"read", [this] { return canRead(name()); }},
            {"memory", [] { return isMapped(PROT_READ | PROT_WRITE) && std::string(1 << 24, 'x').size() > 0; }},
            {"wait", waits},
            {"write what is open", [this] { return write(pipe_[1], "x", 1) == 1; }},
            {"signal itself", [] { return std::signal(SIGUSR1, SIG_IGN) != SIG_ERR && raise(SIGUSR1) == 0; }},
        };
    }
    Attempts changing() const {
        return {
            {"open to write", [this] { return isOpened(open(name(), O_WRONLY)); }},
            {"open to change", [this] { return isOpened(open(name(), O_RDWR)); }},
            {"create", [this] { return isOpened(open((file + "1").c_str(), O_RDONLY | O_CREAT, 0666)); }},
            {"make a directory", [this] { return mkdir((file + "2").c_str(), 0777) == 0; }},
            {"rename", [this] { return rename((file + "1").c_str(), (file + "3").c_str()) == 0; }},
            {"remove", [this] { return unlink(name()) == 0; }},
        };
    }
    // The file is there.
    Attempts worse() const;

    [[nodiscard]] const char* name() const { return file.c_str(); }

    const TempDir dir;
    const std::string file = dir.file("file");
    int pipe_[2] = {-1, -1};
};

Attempts CallFilterTest::worse() const {
    return {
        {"openat2",
         [this] {
             const std::uint64_t how[3] = {O_RDWR, 0, 0};
             return isOpened(static_cast<int>(syscall(SYS_openat2, AT_FDCWD, name(), how, sizeof how)));
         }},
        {"link", [this] { return link(name(), (file + "5").c_str()) == 0; }},
        {"symlink", [this] { return symlink(name(), (file + "6").c_str()) == 0; }},
        {"chmod", [this] { return chmod(name(), 0600) == 0; }},
        {"set times", [this] { return utimensat(AT_FDCWD, name(), nullptr, 0) == 0; }},
        {"empty",
         [this] {
             return isOpened(open(name(), O_RDONLY | O_TRUNC)) || isOpened(open(name(), O_WRONLY | O_TRUNC));
         }},
        {"cut", [this] { return ::truncate(name(), 1) == 0; }},
        {"executable memory", [] { return isMapped(PROT_READ | PROT_EXEC) || becomesExecutable(); }},
        {"memory with a name", [] { return isOpened(memfd_create("x", 0)); }},
        {"socket",
         [] { return isOpened(socket(AF_INET, SOCK_STREAM, 0)) || isOpened(socket(AF_UNIX, SOCK_DGRAM, 0)); }},
        {"process", makesProcess},
        {"program", runsProgram},
        {"signal others", [] { return kill(getppid(), 0) == 0; }},
        {"signal others' threads", [] { return syscall(SYS_tgkill, getppid(), getppid(), 0) == 0; }},
        {"be signalled", [this] { return fcntl(pipe_[0], F_SETOWN, getppid()) == 0; }},
        {"look into others", [] { return ptrace(PTRACE_SEIZE, getppid(), nullptr, nullptr) == 0; }},
        {"set limits", lowersLimit},
        {"io_uring",
         [] {
             char nothing[120] = {};
             return isOpened(static_cast<int>(syscall(SYS_io_uring_setup, 1, nothing)));
         }},
        {"device",
         [this] {
             int waiting = 0;
             return ioctl(pipe_[0], FIONREAD, &waiting) == 0;
         }},
        {"unknown", [] { return syscall(100000) != -1 || errno != ENOSYS; }},
    };
}

}  // namespace

TEST_F(CallFilterTest, LetsFilesBeRead) {
    EXPECT_EQ(through(FileChanges::refused, reading()), namesOf(reading()));
}

TEST_F(CallFilterTest, RefusesAllThatChangesFiles) {
    EXPECT_EQ(through(FileChanges::refused, changing()), Names());
    EXPECT_EQ(readFileBytes(file), "bytes");
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"file"});
}

TEST_F(CallFilterTest, LetsFilesBeReplacedWhereThatIsAllowed) {
    EXPECT_EQ(through(FileChanges::allowed, reading()), namesOf(reading()));
    EXPECT_EQ(through(FileChanges::allowed, changing()), namesOf(changing()));
    EXPECT_EQ(dir.entries(), (std::vector<std::string>{"file2", "file3"}));
}

TEST_F(CallFilterTest, RefusesAllElse) {
    for (const FileChanges changes : {FileChanges::refused, FileChanges::allowed})
        EXPECT_EQ(through(changes, worse()), Names());
    EXPECT_EQ(readFileBytes(file), "bytes");
}

// A library then takes an older call that does the same.
TEST_F(CallFilterTest, SaysThatTheKernelHasNoSuchCall) {
    int reason = 0;
    through(FileChanges::refused, {{"", [&reason, this] {
                                        reason = open(name(), O_RDWR) < 0 ? errno : 0;
                                        return true;
                                    }}});
    EXPECT_EQ(reason, ENOSYS);
}
