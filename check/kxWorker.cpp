// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxWorker.h"

#include "check/kxWorkerMessage.h"
#include "check/private/kxCallFilter.h"
#include "check/private/kxWriteLimit.h"
#include "shared/kxMemoryLimit.h"
#include "shared/kxSystemCall.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <thread>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kxCheck {

namespace {

// Exit codes of a worker that knows why it ends.
constexpr int outOfMemory = 100;
constexpr int unknownException = 101;
constexpr int badRequest = 102;

constexpr int workerSocket = 3;

constexpr rlim_t mostDescriptors = 32;
constexpr rlim_t largestFile = 16 << 20;  // far more than an entry of a cache has

// --- The worker's surroundings
// ------------------------------------------------------------------------------------

void endWithParent(pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(0);  // it went before the call
}

// Signals of faults stay as they are: only a sanitizer's runtime handles them.
void resetSignals() {
    constexpr int ignored[] = {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ};
    constexpr int kept[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP};
    for (int number = 1; number < NSIG; ++number)
        if (std::find(std::begin(kept), std::end(kept), number) == std::end(kept)) std::signal(number, SIG_DFL);
    for (const int number : ignored) std::signal(number, SIG_IGN);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

void closeFrom(unsigned first) {
    if (close_range(first, ~0U, 0) == 0) return;
    const long limit = sysconf(_SC_OPEN_MAX);
    for (long descriptor = first; descriptor < limit; ++descriptor) close(static_cast<int>(descriptor));
}

// Leaves the standard streams, on /dev/null, and the socket as number 3. The run may have as many descriptors as it
// is allowed: number 3 is taken over, and no other is needed before they are closed.
void keepOnly(int socket) {
    if (dup2(socket, workerSocket) < 0) _exit(badRequest);
    closeFrom(workerSocket + 1);
    const int nothing = open("/dev/null", O_RDWR);
    if (nothing < 0) return;
    for (int stream = STDIN_FILENO; stream <= (kxIsSanitizerBuild() ? STDOUT_FILENO : STDERR_FILENO); ++stream)
        dup2(nothing, stream);
    if (nothing > workerSocket) close(nothing);
}

// Also for good; what is lower already stays.
void lowerLimit(__rlimit_resource resource, rlim_t most) {
    rlimit limit{};
    if (getrlimit(resource, &limit) != 0) return;
    limit.rlim_max = std::min(limit.rlim_max, most);
    limit.rlim_cur = std::min(limit.rlim_cur, limit.rlim_max);
    setrlimit(resource, &limit);
}

// Sanitizers and valgrind live in the process and need much that it does not: executable memory, files, programs.
bool isUnderChecker() {
    const char* const preloaded = std::getenv("LD_PRELOAD");
    return kxIsSanitizerBuild() || (preloaded && std::strstr(preloaded, "vgpreload_"));
}

void limitResources(const WorkerLimits& limits) {
    lowerLimit(RLIMIT_CORE, 0);
    if (limits.memoryMiB > 0) kxLimitFurtherAddressSpace(limits.memoryMiB * (1 << 20));
    if (isUnderChecker()) return;
    lowerLimit(RLIMIT_NPROC, 0);
    lowerLimit(RLIMIT_NOFILE, mostDescriptors);
    lowerLimit(RLIMIT_FSIZE, limits.writableDirectory.isEmpty() ? 0 : largestFile);
}

// What the kernel has no means for, or does not allow here, is done without: each of these is one more wall behind
// the others.
void limitCalls(const WorkerLimits& limits) {
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    if (isUnderChecker()) return;
    static_cast<void>(limitWriting(limits.writableDirectory));
    static_cast<void>(
        limitSystemCalls(limits.writableDirectory.isEmpty() ? FileChanges::refused : FileChanges::allowed));
}

// --- The worker's work
// --------------------------------------------------------------------------------------------

// False at the end of the stream and when it breaks.
bool receiveMore(QByteArray& received) {
    char bytes[16384];
    const auto count = kxRetryInterrupted<ssize_t>(-1, [&] { return read(workerSocket, bytes, sizeof bytes); });
    if (count <= 0) return false;
    received.append(bytes, static_cast<int>(count));
    return true;
}

bool sendAll(const QByteArray& bytes) {
    const char* at = bytes.constData();
    auto left = static_cast<std::size_t>(bytes.size());
    while (left > 0) {
        const auto count = kxRetryInterrupted<ssize_t>(-1, [&] { return write(workerSocket, at, left); });
        if (count <= 0) return false;
        at += count;
        left -= static_cast<std::size_t>(count);
    }
    return true;
}

bool answer(const QByteArray& request, const CheckFunction& check, ReportEncoder& encoder) {
    const auto checks = decodeChecks(request);
    if (!checks) _exit(badRequest);
    for (const FileCheck& file : *checks) {
        QByteArray message;
        appendMessage(message, encoder.encode(check(file)));
        if (!sendAll(message)) return false;
    }
    return true;
}

void serve(const CheckFunction& check) {
    ReportEncoder encoder;
    QByteArray received;
    do {
        QByteArray request;
        int at = 0;
        while (readMessage(received, at, request) == Arrival::whole)
            if (!answer(request, check, encoder)) return;
        received.remove(0, at);
    } while (receiveMore(received));
}

// Leaves by _exit only: what stdio holds of the parent's output must not be written twice.
[[noreturn]] void runWorker(const CheckFunction& check, const WorkerLimits& limits, pid_t parent, int socket) {
    try {
        endWithParent(parent);
        resetSignals();
        keepOnly(socket);
        limitResources(limits);
        limitCalls(limits);
        serve(check);
    } catch (const std::bad_alloc&) {
        _exit(outOfMemory);
    } catch (...) {
        _exit(unknownException);
    }
    _exit(0);
}

QByteArray signalText(int number) {
    QByteArray text = "was killed by signal " + QByteArray::number(number);
    if (const char* name = sigabbrev_np(number)) text += " (" + QByteArray(name) + ")";
    return text;
}

}  // namespace

int startWorker(const CheckFunction& check, const WorkerLimits& limits, Worker& worker) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return errno;
    const pid_t parent = getpid();
    const pid_t process = fork();
    if (process == 0) runWorker(check, limits, parent, ends[1]);
    const int error = process < 0 ? errno : 0;
    close(ends[1]);
    if (error != 0) {
        close(ends[0]);
        return error;
    }
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    worker = {process, ends[0]};
    return 0;
}

QByteArray workerEndText(int waitStatus, const WorkerLimits& limits) {
    if (WIFSIGNALED(waitStatus)) return signalText(WTERMSIG(waitStatus));
    switch (WEXITSTATUS(waitStatus)) {
        case outOfMemory:
            return "ran out of memory (limit " + QByteArray::number(qlonglong{limits.memoryMiB}) + " MiB)";
        case unknownException:
            return "failed with an unexpected error";
        default:
            return "ended with exit code " + QByteArray::number(WEXITSTATUS(waitStatus));
    }
}

bool isWorkerGone(pid_t process, int& waitStatus) {
    const auto result = kxRetryInterrupted<pid_t>(-1, [&] { return waitpid(process, &waitStatus, WNOHANG); });
    return result != 0;
}

bool isWorkerGoneWithin(pid_t process, int& waitStatus, std::chrono::milliseconds most) {
    const auto end = std::chrono::steady_clock::now() + most;
    while (!isWorkerGone(process, waitStatus)) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace kxCheck
