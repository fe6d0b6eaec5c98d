// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/RunProcess.h"

#include "tests/support/TempDir.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

int openForWriting(const std::string& path) {
    return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
}

// In the child; never returns. The standard streams are in place before the user changes.
[[noreturn]] void runChild(const std::vector<std::string>& arguments, const ProcessOptions& options, int outFd,
                           int errFd) {
    const int nullFd = open("/dev/null", O_RDONLY);
    dup2(nullFd, STDIN_FILENO);
    dup2(options.stdoutFd >= 0 ? options.stdoutFd : outFd, STDOUT_FILENO);
    dup2(errFd, STDERR_FILENO);
    if (!options.workingDirectory.empty() && chdir(options.workingDirectory.c_str()) != 0) _exit(126);
    for (const std::string& entry : options.environment) putenv(const_cast<char*>(entry.c_str()));
    if (options.userId != 0 && (setgid(options.userId) != 0 || setuid(options.userId) != 0)) _exit(126);
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
}

// The wait status, and what the child used; it is killed when its time is up.
int waitFor(pid_t child, int secondsToLive, rusage& usage) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(secondsToLive);
    int status = 0;
    while (wait4(child, &status, WNOHANG, &usage) == 0) {
        if (std::chrono::steady_clock::now() > end) kill(child, SIGKILL);
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    return status;
}

// The loader takes a blank in LD_PRELOAD for the end of a name: it gets a link without one.
void preload(const std::string& library, const std::string& link, std::vector<std::string>& environment) {
    if (library.empty()) return;
    std::filesystem::create_symlink(library, link);
    environment.push_back("LD_PRELOAD=" + link);
}

}  // namespace

ProcessResult runProcess(const std::vector<std::string>& arguments, const ProcessOptions& givenOptions) {
    const TempDir capture;
    ProcessOptions options = givenOptions;
    preload(options.preload, capture.file("preload.so"), options.environment);
    const int outFd = openForWriting(capture.file("out"));
    const int errFd = openForWriting(capture.file("err"));
    const pid_t child = fork();
    if (child == 0) runChild(arguments, options, outFd, errFd);
    close(outFd);
    close(errFd);
    rusage usage{};
    const int status = waitFor(child, options.secondsToLive, usage);
    ProcessResult result;
    result.peakMemory = usage.ru_maxrss;
    if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
    result.out = readFileBytes(capture.file("out"));
    result.err = readFileBytes(capture.file("err"));
    return result;
}
