// SPDX-License-Identifier: BSD-3-Clause
// What a worker finds around it, told by the workers themselves in the text of a finding.
#include "check/kxWorker.h"

#include "check/kxWorkerPool.h"
#include "check/private/kxCallFilter.h"
#include "check/private/kxWriteLimit.h"
#include "shared/kxMemoryLimit.h"
#include "tests/support/PlayedPool.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kxCheck;

namespace {

constexpr int memoryMiB = 64;

// What `tell` says in a worker.
QByteArray toldByWorker(const std::function<QByteArray()>& tell, const std::string& writableDirectory = {}) {
    PoolOptions options;
    options.limits.memoryMiB = memoryMiB;
    options.limits.writableDirectory = QByteArray::fromStdString(writableDirectory);
    options.secondsPerFrame = 60;
    WorkerPool pool(options, [&tell](const FileCheck&) {
        FileReport report;
        report.findings = {makeFinding(Code::header, tell())};
        return report;
    });
    pool.add({"", Level::headers});
    return firstFinding(pool.next().value_or(FileReport())).mid(8);
}

QByteArray yesOrNo(bool value) {
    return value ? "yes" : "no";
}

QByteArray hardLimit(__rlimit_resource resource) {
    rlimit limit = {};
    getrlimit(resource, &limit);
    return QByteArray::number(static_cast<qulonglong>(limit.rlim_max));
}

// The value of a field of /proc/self/status.
QByteArray statusOf(const std::string& field) {
    std::ifstream status("/proc/self/status");
    for (std::string name, value; std::getline(status, name, ':') && std::getline(status, value);)
        if (name == field) return QByteArray::fromStdString(value).trimmed();
    return QByteArray();
}

// What is limited is limited for that thread alone.
bool isDoneInThread(const std::function<bool()>& limit) {
    bool isDone = false;
    std::thread([&] { isDone = limit(); }).join();
    return isDone;
}

bool canBeContained() {
    return !kxIsSanitizerBuild() && (isDoneInThread([] { return limitWriting(QByteArray()); }) ||
                                     isDoneInThread([] { return limitSystemCalls(FileChanges::refused); }));
}

}  // namespace

TEST(Worker, HoldsNoDescriptorButItsSocketAndTheStandardStreams) {
    const TempDir dir;
    const int held = open(dir.path().c_str(), O_RDONLY);
    ASSERT_GE(held, 0);
    const QByteArray told = toldByWorker([] {
        QByteArray open;
        for (int descriptor = 0; descriptor < 1000; ++descriptor)
            if (fcntl(descriptor, F_GETFD) >= 0) open += QByteArray::number(descriptor) + " ";
        return open;
    });
    EXPECT_EQ(told, "0 1 2 3 ");
    close(held);
}

TEST(Worker, WritesToNobodysStandardOutput) {
    std::fputs("", stdout);
    EXPECT_EQ(toldByWorker([] {
                  return QByteArray::fromStdString(std::filesystem::read_symlink("/proc/self/fd/1").string());
              }),
              "/dev/null");
}

TEST(Worker, IgnoresWhatATerminalSendsAndHasAllElseAtDefault) {
    std::signal(SIGUSR1, SIG_IGN);
    std::signal(SIGALRM, [](int) {});
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR2);
    sigprocmask(SIG_BLOCK, &blocked, nullptr);
    const QByteArray told = toldByWorker([] {
        QByteArray ignored;
        for (const int number : {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGPIPE, SIGUSR1, SIGALRM, SIGCHLD}) {
            struct sigaction action = {};
            sigaction(number, nullptr, &action);
            ignored += action.sa_handler == SIG_IGN ? "i" : action.sa_handler == SIG_DFL ? "d" : "?";
        }
        sigset_t mask;
        sigprocmask(SIG_BLOCK, nullptr, &mask);
        return ignored + yesOrNo(sigismember(&mask, SIGUSR2) != 0);
    });
    EXPECT_EQ(told, "iiiiidddno");
    sigprocmask(SIG_UNBLOCK, &blocked, nullptr);
    std::signal(SIGUSR1, SIG_DFL);
    std::signal(SIGALRM, SIG_DFL);
}

TEST(Worker, LeavesNoCoreFile) {
    EXPECT_EQ(toldByWorker([] { return hardLimit(RLIMIT_CORE); }), "0");
}

TEST(Worker, HasWhatItNeedsAndNoMore) {
    if (kxIsSanitizerBuild()) GTEST_SKIP() << "a sanitizer needs more";
    const TempDir dir;
    EXPECT_EQ(toldByWorker([] { return statusOf("NoNewPrivs") + hardLimit(RLIMIT_NPROC); }), "10");
    EXPECT_EQ(toldByWorker([] { return hardLimit(RLIMIT_NOFILE); }), "32");
    EXPECT_EQ(toldByWorker([] { return hardLimit(RLIMIT_FSIZE); }), "0");
    EXPECT_EQ(toldByWorker([] { return hardLimit(RLIMIT_FSIZE); }, dir.path()), "16777216");
}

// By two walls where the kernel and the build have them, by one at least.
TEST(Worker, ChangesNoFiles) {
    if (!canBeContained()) GTEST_SKIP() << "neither the kernel nor the build can keep it from that";
    const TempDir dir;
    const std::string file = dir.file("file");
    ASSERT_TRUE(writeFileBytes(file, "bytes"));
    EXPECT_EQ(toldByWorker([&] {
                  return yesOrNo(open(file.c_str(), O_WRONLY) >= 0) + yesOrNo(unlink(file.c_str()) == 0) +
                         yesOrNo(open((file + "2").c_str(), O_RDONLY | O_CREAT, 0666) >= 0) +
                         yesOrNo(rename(file.c_str(), (file + "3").c_str()) == 0) +
                         yesOrNo(readFileBytes(file) == "bytes");
              }),
              "nonononoyes");
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"file"});
}

TEST(Worker, ChangesFilesInOneDirectoryWhereItIsTold) {
    if (!canBeContained()) GTEST_SKIP() << "neither the kernel nor the build can keep it from that";
    const TempDir dir;
    const TempDir other;
    // As entries are written; a file that is there could not be emptied.
    const auto isWritten = [](const std::string& path) {
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
        return file >= 0 && write(file, "bytes", 5) == 5 && close(file) == 0;
    };
    const auto writes = [&] {
        return yesOrNo(isWritten(dir.file("file"))) + yesOrNo(isWritten(other.file("file")));
    };
    EXPECT_EQ(toldByWorker(writes), "nono");
    const bool canBeLimited = isDoneInThread([] { return limitWriting(QByteArray()); });
    EXPECT_EQ(toldByWorker(writes, dir.path()), canBeLimited ? "yesno" : "yesyes");
}

TEST(Worker, StartsNothingAndConnectsToNobody) {
    const bool isFiltered = isDoneInThread([] { return limitSystemCalls(FileChanges::refused); });
    if (kxIsSanitizerBuild() || !isFiltered) GTEST_SKIP() << "there is no filter in this build or on this system";
    EXPECT_EQ(toldByWorker([] {
                  const pid_t process = fork();
                  if (process == 0) _exit(0);
                  return yesOrNo(process > 0) + yesOrNo(std::system("true") == 0) +
                         yesOrNo(socket(AF_INET, SOCK_STREAM, 0) >= 0) + yesOrNo(kill(getppid(), 0) == 0) +
                         statusOf("Seccomp");
              }),
              "nononono2");
}

TEST(Worker, GetsNoMoreMemoryThanItsLimit) {
    if (kxIsSanitizerBuild()) GTEST_SKIP() << "memory is not limited in builds with a sanitizer";
    PoolOptions options = withJobs(1);
    options.limits.memoryMiB = memoryMiB;
    WorkerPool pool(options, playedCheck);
    for (const char* path : {"touch 32", "allocate 65", "allocate 1000000", "touch 48"})
        pool.add({path, Level::structure});
    EXPECT_EQ(numberOf(pool.next().value_or(FileReport())), 32);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(firstFinding(pool.next().value_or(FileReport())),
                  "limit: the reader ran out of memory (limit 64 MiB)");
    EXPECT_EQ(numberOf(pool.next().value_or(FileReport())), 48);
    options.limits.memoryMiB = 1;
    WorkerPool least(options, playedCheck);
    least.add({"allocate 64", Level::structure});
    EXPECT_EQ(firstFinding(least.next().value_or(FileReport())),
              "limit: the reader ran out of memory (limit 1 MiB)");
}

// The run between is killed while its worker sleeps.
TEST(Worker, DoesNotOutliveItsRun) {
    sharedNotes().process = 0;
    const pid_t run = fork();
    if (run == 0) {
        WorkerPool pool(PoolOptions(), playedCheck);
        pool.add({"sleep 600000", Level::structure});
        (void)pool.next();
        _exit(0);
    }
    while (sharedNotes().process == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    kill(run, SIGKILL);
    waitpid(run, nullptr, 0);
    const pid_t worker = sharedNotes().process;
    // Who takes orphans over may leave them unreaped: a zombie is gone too.
    const auto isRunning = [worker] {
        std::ifstream status("/proc/" + std::to_string(worker) + "/stat");
        std::string number, name, state;
        return static_cast<bool>(status >> number >> name >> state) && state != "Z";
    };
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (isRunning() && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_FALSE(isRunning());
}

// Whatever is left to the run when its descriptors run out, its workers start.
TEST(Worker, NeedsNoDescriptorThatItsRunCouldNotHave) {
    if (kxIsSanitizerBuild()) GTEST_SKIP() << "the sanitizer looks at memory through descriptors of its own";
    const int lowest = dup(STDERR_FILENO);
    close(lowest);
    for (int spare = 2; spare < 12; ++spare) {
        const pid_t run = fork();
        if (run == 0) {
            const auto most = static_cast<rlim_t>(lowest) + static_cast<rlim_t>(spare);
            const rlimit limit{most, most};
            setrlimit(RLIMIT_NOFILE, &limit);
            PoolOptions options;
            options.jobs = 16;
            WorkerPool pool(options, playedCheck);
            for (int i = 0; i < 40; ++i) pool.add({"good " + QByteArray::number(i), Level::pixels});
            for (int i = 0; i < 40; ++i)
                if (numberOf(pool.next().value_or(FileReport())) != i) _exit(1);
            _exit(0);
        }
        int status = -1;
        waitpid(run, &status, 0);
        EXPECT_EQ(status, 0) << spare;
    }
}

TEST(Worker, EndsWhereItsRunHadNoStandardStreams) {
    const pid_t run = fork();
    if (run == 0) {
        for (int stream = 0; stream < 3; ++stream) close(stream);
        PoolOptions options;
        options.jobs = 4;
        WorkerPool pool(options, playedCheck);
        for (int i = 0; i < 40; ++i) pool.add({"good " + QByteArray::number(i), Level::pixels});
        for (int i = 0; i < 40; ++i)
            if (numberOf(pool.next().value_or(FileReport())) != i) _exit(1);
        _exit(0);
    }
    int status = -1;
    waitpid(run, &status, 0);
    EXPECT_EQ(status, 0);
}
