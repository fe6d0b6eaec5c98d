// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/RunProcess.h"

#include "tests/support/TempDir.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

int openForWriting(const std::string& path) {
    return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
}

// The test's own environment, with these entries in place of those of their names.
std::vector<std::string> environmentWith(const std::vector<std::string>& entries) {
    std::map<std::string, std::string> all;
    const auto put = [&all](const std::string& entry) { all[entry.substr(0, entry.find('='))] = entry; };
    for (char** entry = environ; *entry; ++entry) put(*entry);
    for (const std::string& entry : entries) put(entry);
    std::vector<std::string> texts;
    for (const auto& [name, entry] : all) texts.push_back(entry);
    return texts;
}

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

// As a shell starts it that waits for it. A test that runs in the background may have inherited otherwise.
void heedInterruptions() {
    for (const int number : {SIGHUP, SIGINT, SIGQUIT}) std::signal(number, SIG_DFL);
}

// In the child; never returns. Gets nothing from the heap, whose lock another thread of the test may have held when
// it forked. The standard streams are in place before the user changes.
[[noreturn]] void runChild(const std::vector<char*>& argv, const std::vector<char*>& environment,
                           const ProcessOptions& options, int outFd, int errFd) {
    heedInterruptions();
    const int nullFd = open("/dev/null", O_RDONLY);
    dup2(nullFd, STDIN_FILENO);
    dup2(options.stdoutFd >= 0 ? options.stdoutFd : outFd, STDOUT_FILENO);
    dup2(errFd, STDERR_FILENO);
    if (!options.workingDirectory.empty() && chdir(options.workingDirectory.c_str()) != 0) _exit(126);
    if (options.userId != 0 && (setgid(options.userId) != 0 || setuid(options.userId) != 0)) _exit(126);
    execve(argv[0], argv.data(), environment.data());
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
    const std::vector<std::string> environment = environmentWith(options.environment);
    const std::vector<char*> argv = pointersTo(arguments);
    const std::vector<char*> envp = pointersTo(environment);
    const pid_t child = fork();
    if (child == 0) runChild(argv, envp, options, outFd, errFd);
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
